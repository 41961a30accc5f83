/** Shows a calibration: markers and residuals on the overview picture, points and result beside it. */

import {
  describeCamera,
  gradeOf,
  placeOfClick,
  residualArrow,
  wantedNext,
} from './calibration-points.js';
import { isArrow } from './calibration-session.js';
import { h, setText, svg, withHalo } from './dom.js';

const asDrawn = ({ x, y }) => [x, -y];

const CURSOR = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] };
const SLOW = 0.004; // of half a picture, for each press of a key
const FAST = 0.05;

export class CalibrationPanel {
  /**
   * @param {HTMLElement} element takes the panel in
   * @param {HTMLElement} picture the overview picture, over which is drawn
   * @param {CalibrationSession} session
   * @param {{toSeen?: (place: object) => object, toDrawn?: (place: object) => object}} [turn]
   *     between the picture as it is drawn and as it is seen upright; further height: metres of both
   *     above the ground, where they are told elsewhere; kept: points and heights of before
   */
  constructor(element, picture, session, options = {}) {
    const { toSeen = (p) => p, toDrawn = (p) => p, height = null, kept = null } = options;
    this.session = session;
    this.toSeen = toSeen;
    this.toDrawn = toDrawn;
    this.height = height;
    this.kept = kept;
    this.cursor = null; // where the keyboard is in the picture, as it is drawn
    this.picture = picture;
    this.marks = svg('svg', {
      class: 'calibration-marks',
      viewBox: '-1 -1 2 2',
      preserveAspectRatio: 'none',
      'data-testid': 'calibration-marks',
      'aria-hidden': 'true',
    });
    picture.append(this.marks);
    picture.addEventListener('click', ({ clientX, clientY }) => {
      const place = placeOfClick(picture.getBoundingClientRect(), clientX, clientY);
      session.click(place && toSeen(place));
      this.element.focus();
    });
    this.takeKeys();
    this.build(element);
    session.addEventListener('change', () => this.show());
    this.show();
    if (kept?.points.length) session.restore(kept);
  }

  /** The keyboard's way to a place of the picture. */
  takeKeys() {
    const { picture } = this;
    picture.tabIndex = 0;
    picture.setAttribute('role', 'application');
    picture.setAttribute('aria-label', 'Overview: arrow keys move the ring, Enter takes the place');
    picture.addEventListener('focus', () => this.moveCursor(0, 0));
    picture.addEventListener('blur', () => {
      this.cursor = null;
      this.show();
    });
    picture.addEventListener('keydown', (event) => {
      const way = CURSOR[event.key];
      if (!way && event.key !== 'Enter') return;
      event.preventDefault();
      if (way) return this.moveCursor(...way.map((step) => step * (event.shiftKey ? FAST : SLOW)));
      this.session.click(this.toSeen(this.cursor));
      this.element.focus();
    });
  }

  moveCursor(x, y) {
    const within = (value) => Math.min(1, Math.max(-1, value));
    const from = this.cursor ?? this.toDrawn(wantedNext(this.session.points) ?? { x: 0, y: 0 });
    this.cursor = { x: within(from.x + x), y: within(from.y + y) };
    this.show();
  }

  build(element) {
    const { session } = this;
    this.advice = h('p', { role: 'status', 'data-testid': 'calibration-advice' });
    this.take = h(
      'button',
      { type: 'button', 'data-testid': 'calibration-take', onclick: () => session.take() },
      'The head is on it',
    );
    this.clear = h(
      'button',
      {
        type: 'button',
        'data-testid': 'calibration-clear',
        onclick: () => {
          session.removeAll();
          this.element.focus();
        },
      },
      'Begin anew',
    );
    this.list = h('ol', { class: 'calibration-points', 'data-testid': 'calibration-points' });
    this.result = h('dl', { class: 'numbers', 'data-testid': 'calibration-result' });
    this.refusal = h('p', { class: 'error', role: 'alert', 'data-testid': 'calibration-refusal' });
    this.element = h(
      'div',
      {
        class: 'calibration',
        tabindex: '0',
        'data-testid': 'calibration',
        'aria-label': 'Calibration: arrow keys move the head, with Shift faster',
        onkeydown: (event) => this.pressed(event),
        onkeyup: (event) => session.release(event.key),
        onblur: () => session.releaseAll(),
      },
      this.advice,
      h('p', {}, this.take, ' ', this.clear),
      this.heightFields(),
      this.list,
      this.refusal,
      this.result,
    );
    globalThis.addEventListener('blur', () => session.releaseAll());
    element.append(this.element);
  }

  heightFields() {
    const { session } = this;
    const metres = (name) =>
      h('input', {
        type: 'number',
        min: '0.5',
        max: '200',
        step: '0.1',
        value: String(this.kept?.heights?.[name.toLowerCase()] ?? this.height ?? 5),
        disabled: this.height !== null,
        'aria-label': `${name} above the ground, metres`,
        'data-testid': `calibration-height-${name.toLowerCase()}`,
        onchange: () => apply(),
      });
    const camera = metres('Camera');
    const head = metres('Head');
    const beside = h('input', {
      type: 'checkbox',
      'data-testid': 'calibration-beside',
      checked: Boolean(this.kept?.heights),
      onchange: () => apply(),
    });
    const apply = () => {
      const heights = { camera: camera.valueAsNumber, head: head.valueAsNumber };
      session.setHeights(beside.checked ? heights : null);
    };
    const label = h('label', {}, beside, ' The camera hangs beside the head, more than a hand away');
    const where =
      this.height === null ? ' m above the ground' : ' m above the ground, as the set-up says';
    return h('p', {}, label, ': camera ', camera, ' m, head ', head, where);
  }

  pressed(event) {
    if (event.target instanceof HTMLInputElement || !isArrow(event.key)) return;
    event.preventDefault();
    this.session.press(event.key, event.shiftKey);
  }

  show() {
    const { session } = this;
    setText(this.advice, session.advice);
    this.take.disabled = !session.pending;
    this.clear.disabled = !session.pending && !session.points.length;
    const found = session.answer?.data;
    const refused = session.answer?.refusal;
    setText(this.refusal, session.problem || refused?.text || '');
    this.list.replaceChildren(...session.points.map((point, i) => this.pointLine(i, found, refused)));
    this.result.replaceChildren(
      ...(found ? describeCamera(found) : []).map(([name, value]) =>
        h('div', {}, h('dt', {}, name), h('dd', {}, value)),
      ),
    );
    this.drawMarks(found, refused);
  }

  pointLine(index, found, refused) {
    const told = found?.points[index];
    const residual = told?.residual ?? refused?.residuals[index];
    const isSuspect = told?.outlier || refused?.points.includes(index);
    const text = `Point ${index + 1} ${residual === undefined ? '' : `${residual.toFixed(2)}° off `}`;
    return h(
      'li',
      { class: isSuspect ? 'suspect' : '', 'data-testid': 'calibration-point' },
      text,
      isSuspect ? h('strong', {}, told ? 'left out: wrong ' : 'wrong? ') : null,
      h(
        'button',
        {
          type: 'button',
          'aria-label': `Remove point ${index + 1}`,
          onclick: () => this.session.remove(index),
        },
        'Remove',
      ),
    );
  }

  drawMarks(found, refused) {
    const { session } = this;
    const marks = [];
    session.points.forEach(({ place }, i) => {
      const told = found?.points[i];
      const suspect = refused?.points.includes(i) ? 'outlier' : '';
      if (told) marks.push(...this.arrow(place, told));
      marks.push(this.mark(place, `point ${told ? gradeOf(told) : suspect}`));
      marks.push(this.number(place, i + 1));
    });
    if (session.pending) marks.push(this.mark(session.pending, 'pending'));
    const wanted = session.pending || session.isFull ? null : wantedNext(session.points);
    if (wanted) marks.push(this.mark(wanted, 'wanted'));
    if (this.cursor) {
      const [cx, cy] = asDrawn(this.cursor);
      marks.push(svg('circle', { class: 'cursor', cx, cy, r: 0.03 }));
    }
    this.marks.replaceChildren(...marks.flatMap(withHalo));
  }

  mark(place, kind) {
    const [cx, cy] = asDrawn(this.toDrawn(place));
    return svg('circle', { class: kind, cx, cy, r: kind === 'wanted' ? 0.08 : 0.015 });
  }

  /** Beside a mark, upright in a picture that is stretched. */
  number(place, text) {
    const [x, y] = asDrawn(this.toDrawn(place));
    const { width, height } = this.picture.getBoundingClientRect();
    const narrow = width > 0 ? height / width : 1;
    const transform = `translate(${x + 0.03 * narrow} ${y}) scale(${narrow} 1)`;
    const label = svg('text', { class: 'number', transform });
    label.textContent = text;
    return label;
  }

  arrow(place, told) {
    const arrow = residualArrow(place, told);
    if (!arrow) return [];
    const [x1, y1] = asDrawn(this.toDrawn(arrow.from));
    const [x2, y2] = asDrawn(this.toDrawn(arrow.to));
    return [svg('line', { class: `residual ${gradeOf(told)}`, x1, y1, x2, y2 })];
  }
}
