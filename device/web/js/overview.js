/** The overview pictures: one for each channel, in the sensor's own orientation. */

import { h, setText, svg } from './dom.js';
import {
  groundAt,
  groundGrid,
  horizonHeight,
  makeCamera,
  niceStep,
  projectSegment,
  toScene,
} from './geometry.js';
import { areasOf } from './configuration.js';
import { drawingOf } from './svg-frame.js';
import { VertexHandles } from './vertex-handles.js';

const FAR = 400; // metres
const GRID_LINES = 40; // to each side

/** "x,y x,y" with y turned down, as pictures are drawn. */
function pointsOf(vertices) {
  return vertices.map(([x, y]) => `${x},${-y}`).join(' ');
}

function isShape(vertices) {
  return Array.isArray(vertices) && vertices.every((v) => v.every((c) => typeof c === 'number'));
}

/** The camera of a channel; one on the head looks where the head looks. */
export function cameraOf(model, channel, head) {
  const position = { x: 0, y: 0, z: model.mast_height_m };
  const moved = channel.moves_with_head && head;
  const source = moved ? head : channel;
  return makeCamera(position, source, source.hfov, source.vfov, channel.rotation);
}

class OverviewPicture {
  constructor(channel, model, editor) {
    this.channel = channel;
    this.model = model;
    this.editor = editor;
    this.ground = svg('g', { class: 'ground' });
    this.objects = svg('g', { class: 'outlines' });
    this.areas = svg('g', { class: 'areas' });
    this.scene = svg(
      'svg',
      {
        class: 'scene',
        viewBox: '-1 -1 2 2',
        preserveAspectRatio: 'none',
        role: 'img',
        'aria-label': `What camera ${channel.camera} sees: outlines of objects, areas of profiles`,
      },
      this.ground,
      this.areas,
      this.objects,
    );
    this.confirmation = h('div', {
      class: 'confirmation',
      'data-testid': `confirmation-${channel.camera}`,
      'aria-hidden': 'true',
    });
    this.handles = new VertexHandles(editor);
    this.picture = h(
      'div',
      { class: 'picture', 'data-testid': `picture-${channel.camera}` },
      this.scene,
      this.confirmation,
      this.handles.element,
    );
    this.picture.style.aspectRatio = `${channel.width} / ${channel.height}`;
    this.alarm = h('span', { class: 'alarm', 'data-testid': `alarm-${channel.camera}` });
    this.count = h('span', { class: 'muted', 'data-testid': `object-count-${channel.camera}` });
    this.element = h(
      'figure',
      {
        class: 'overview',
        'data-testid': `overview-${channel.camera}`,
        'data-camera': channel.camera,
      },
      h(
        'figcaption',
        {},
        h('span', { class: 'caption-name' }, `Camera ${channel.camera}: ${channel.name}`),
        this.alarm,
        this.count,
      ),
      this.picture,
    );
    if (channel.height > channel.width) this.element.classList.add('upright');
    this.drawGround(null);
  }

  drawGround(head) {
    const camera = cameraOf(this.model, this.channel, head);
    const place = (point) => toScene(camera.rotation, point);
    const horizon = Math.min(50, Math.max(-50, horizonHeight(camera)));
    const field = [
      { x: -50, y: -50 },
      { x: -50, y: horizon },
      { x: 50, y: horizon },
      { x: 50, y: -50 },
    ].map((corner) => place(corner));
    const middle = groundAt(camera, { x: 0, y: 0 }, FAR);
    const step = niceStep(Math.hypot(middle.x, middle.y, camera.position.z) * camera.tanX * 0.2);
    const path = groundGrid(middle, step, GRID_LINES)
      .map(([from, to]) => projectSegment(camera, from, to))
      .filter(Boolean)
      .map(([a, b]) => [place(a), place(b)])
      .map(([a, b]) => `M${a.x.toFixed(4)} ${-a.y.toFixed(4)}L${b.x.toFixed(4)} ${-b.y.toFixed(4)}`)
      .join('');
    this.ground.replaceChildren(
      svg('rect', { class: 'sky', x: -1, y: -1, width: 2, height: 2 }),
      svg('polygon', { class: 'earth', points: pointsOf(field.map(({ x, y }) => [x, y])) }),
      svg('path', { class: 'grid', d: path }),
    );
  }

  drawObjects(objects) {
    this.objects.replaceChildren(
      ...objects.map(({ id, confidence, polygon }) => {
        const outline = svg('polygon', {
          class: 'outline',
          points: pointsOf(polygon),
          'data-testid': 'object',
          'data-object': id,
        });
        outline.style.strokeOpacity = String(0.35 + 0.65 * confidence);
        return outline;
      }),
    );
    setText(this.count, `${objects.length} ${objects.length === 1 ? 'object' : 'objects'}`);
  }

  drawAreas() {
    const { editor } = this;
    const shapes = [];
    editor.edited.profiles.forEach((profile, profileIndex) => {
      if (profile.camera !== this.channel.camera) return;
      for (const area of areasOf(profile)) {
        if (isShape(area.entry.data)) shapes.push(this.areaShape(profile, profileIndex, area));
      }
    });
    this.areas.replaceChildren(...shapes);
    const isEditing = editor.profile?.camera === this.channel.camera && isShape(editor.vertices);
    this.handles.show(isEditing);
  }

  areaShape(profile, profileIndex, { kind, index, entry }) {
    const { editor } = this;
    const isOfSelected = profileIndex === editor.profileIndex;
    const isSelected = isOfSelected && editor.area.kind === kind && editor.area.index === index;
    const shape = svg('polygon', {
      class: `area ${kind}${isOfSelected ? ' of-selected' : ''}${isSelected ? ' selected' : ''}`,
      points: pointsOf(entry.data),
      'data-testid': 'area',
      'data-kind': kind,
      'data-uid': profile.uid,
    });
    // A shortcut; the form's list of areas does the same.
    shape.addEventListener('click', () => {
      if (profileIndex !== editor.profileIndex) editor.selectProfile(profileIndex);
      editor.selectArea(kind, index);
    });
    return shape;
  }

  showConfirmation(text) {
    const drawing = drawingOf(text);
    this.confirmation.replaceChildren(...(drawing ? [drawing] : []));
  }

  setAlarm(isOn) {
    setText(this.alarm, isOn ? 'Alarm' : '');
  }
}

export class OverviewPictures {
  /** @param {HTMLElement} container */
  constructor(container, store, editor) {
    this.container = container;
    this.store = store;
    this.editor = editor;
    this.pictures = new Map(); // by camera
    this.changed = new Set();
    editor.on('load structure change selection', () => this.drawAreas());
    editor.on('vertex errors', () => this.drawAreas());
    store.on('model', (model) => this.build(model));
    store.on('frame', ({ camera }) => this.changed.add(camera));
    for (const type of ['event', 'replayed', 'undeclared', 'daemon']) {
      store.on(type, () => this.showAlarms());
    }
  }

  build(model) {
    const layout = JSON.stringify(model.channels);
    this.showConfirmation(null, null);
    if (layout === this.layout) return; // the same device again: what has the focus keeps it
    this.layout = layout;
    this.pictures.clear();
    for (const channel of model.channels) {
      this.pictures.set(channel.camera, new OverviewPicture(channel, model, this.editor));
    }
    this.container.replaceChildren(...[...this.pictures.values()].map(({ element }) => element));
    this.drawAreas();
    this.showAlarms();
  }

  drawAreas() {
    if (!this.editor.isLoaded) return;
    for (const picture of this.pictures.values()) picture.drawAreas();
  }

  /** Draws what has come since the last time. */
  draw() {
    for (const [camera, picture] of this.pictures) {
      if (!this.changed.has(camera)) continue;
      picture.drawObjects(this.store.objects.get(camera) ?? []);
      if (picture.channel.moves_with_head) picture.drawGround(this.store.head);
    }
    this.changed.clear();
  }

  showAlarms() {
    for (const [camera, picture] of this.pictures) {
      const state = this.store.states.get(`Camera${camera}ProfileANY`);
      picture.setAlarm(state?.data.active === true || Number(state?.data.active) === 1);
    }
  }

  /** A drawing of the daemon on the picture of a camera; null clears all pictures. */
  showConfirmation(camera, text) {
    for (const [own, picture] of this.pictures) {
      picture.showConfirmation(own === camera ? text : null);
    }
  }
}
