/**
 * The vertices of the selected area as buttons on a picture: dragged, or moved with the arrow keys;
 * Enter, Insert or the button in the middle of an edge adds one, Delete removes one.
 */

import { h } from './dom.js';
import { edgeMiddle, insertVertex, moveVertex, removeVertex } from './polygon.js';

const STEP = 0.01; // of an arrow key
const LARGE_STEP = 0.1; // with Shift
const ROOM = 60; // pixels; on a shorter edge its button would cover the vertices

const ARROWS = {
  ArrowLeft: [-1, 0],
  ArrowRight: [1, 0],
  ArrowUp: [0, 1],
  ArrowDown: [0, -1],
};

function placeAt(element, [x, y]) {
  element.style.left = `${(x + 1) * 50}%`;
  element.style.top = `${(1 - y) * 50}%`;
}

export class VertexHandles {
  /** @param {import('./editor-state.js').EditorState} editor */
  constructor(editor) {
    this.editor = editor;
    this.element = h('div', { class: 'handles', role: 'group', 'aria-label': 'Vertices' });
    this.vertices = [];
    this.edges = [];
  }

  show(isEditing) {
    const vertices = isEditing ? this.editor.vertices : [];
    const canGrow = isEditing && vertices.length < this.editor.vertexLimits.most;
    this.fit(this.vertices, vertices.length, (index) => this.createVertex(index));
    this.fit(this.edges, canGrow ? vertices.length : 0, (index) => this.createEdge(index));
    vertices.forEach((vertex, index) => this.placeVertex(index, vertex));
    this.edges.forEach((edge, index) => {
      placeAt(edge, edgeMiddle(vertices, index));
      edge.hidden = this.lengthOf(vertices[index], vertices[(index + 1) % vertices.length]) < ROOM;
    });
  }

  /** Pixels between two vertices. */
  lengthOf([ax, ay], [bx, by]) {
    const { clientWidth, clientHeight } = this.element;
    return Math.hypot(((bx - ax) / 2) * clientWidth, ((by - ay) / 2) * clientHeight);
  }

  fit(buttons, count, create) {
    while (buttons.length > count) buttons.pop().remove();
    while (buttons.length < count) {
      buttons.push(create(buttons.length));
      this.element.append(buttons[buttons.length - 1]);
    }
  }

  placeVertex(index, vertex) {
    const button = this.vertices[index];
    placeAt(button, vertex);
    const isSelected = this.editor.vertex === index;
    button.classList.toggle('selected', isSelected);
    button.setAttribute('aria-pressed', String(isSelected));
    button.setAttribute('aria-label', `Vertex ${index + 1}: x ${vertex[0]}, y ${vertex[1]}`);
  }

  createVertex(index) {
    const button = h('button', {
      type: 'button',
      class: 'vertex',
      'data-testid': 'vertex',
      'data-index': index,
      'aria-describedby': 'vertex-help',
      onfocus: () => this.editor.selectVertex(index),
      onclick: () => this.editor.selectVertex(index),
      onkeydown: (event) => this.handleKey(event, index),
      onpointerdown: (event) => this.beginDrag(event, button, index),
    });
    return button;
  }

  createEdge(index) {
    return h(
      'button',
      {
        type: 'button',
        class: 'edge',
        'data-testid': 'edge-add',
        'data-index': index,
        'aria-label': `Add a vertex after vertex ${index + 1}`,
        onclick: () => this.add(index),
      },
      '+',
    );
  }

  beginDrag(event, button, index) {
    if (event.button !== 0) return;
    event.preventDefault();
    button.focus();
    button.setPointerCapture(event.pointerId);
    const bounds = this.element.getBoundingClientRect();
    const [startX, startY] = this.editor.vertices[index];
    const { clientX, clientY } = event;
    const drag = (moved) => {
      const x = startX + ((moved.clientX - clientX) / bounds.width) * 2;
      const y = startY - ((moved.clientY - clientY) / bounds.height) * 2;
      this.move(index, x, y);
    };
    const end = () => {
      button.removeEventListener('pointermove', drag);
      button.removeEventListener('lostpointercapture', end);
    };
    button.addEventListener('pointermove', drag);
    button.addEventListener('lostpointercapture', end);
  }

  handleKey(event, index) {
    const arrow = ARROWS[event.key];
    if (arrow) {
      const step = event.shiftKey ? LARGE_STEP : STEP;
      const [x, y] = this.editor.vertices[index];
      this.move(index, x + arrow[0] * step, y + arrow[1] * step);
    } else if (event.key === 'Delete' || event.key === 'Backspace') {
      this.remove(index);
    } else if (event.key === 'Insert' || event.key === 'Enter' || event.key === '+') {
      this.add(index);
    } else {
      return;
    }
    event.preventDefault();
  }

  move(index, x, y) {
    this.editor.vertices = moveVertex(this.editor.vertices, index, x, y);
  }

  add(index) {
    const { vertices, vertexLimits } = this.editor;
    if (vertices.length >= vertexLimits.most) return;
    this.editor.vertices = insertVertex(vertices, index);
    this.vertices[index + 1].focus();
  }

  remove(index) {
    const { vertices, vertexLimits } = this.editor;
    if (vertices.length <= vertexLimits.fewest) return;
    this.editor.vertices = removeVertex(vertices, index);
    this.vertices[Math.min(index, this.vertices.length - 1)].focus();
  }
}
