/** Shows the walk test: marks on both pictures, the moment in degrees, and what was found. */

import { placeOfClick } from './calibration-points.js';
import { byTestId, h, setText, svg, withHalo } from './dom.js';
import { boxOf, compare, gradeOfMiss, nameOfPlace, WalkFindings, wordsOfMoment } from './walk-test.js';

const asDrawn = ({ x, y }) => [x, -y];
const points = (places) => places.map((place) => asDrawn(place).join(',')).join(' ');
const CROSS = 0.05; // of half a picture's width

const overlay = (name) =>
  svg('svg', {
    class: name,
    viewBox: '-1 -1 2 2',
    preserveAspectRatio: 'none',
    'data-testid': name,
    'aria-hidden': 'true',
  });

export class WalkPanel {
  /**
   * @param {HTMLElement} overview the overview picture; over it and the head's is drawn
   * @param {{camera: () => {found: object, source: string}, store: object, number: number,
   *          toSeen: Function, toDrawn: Function}} means camera: of calibratedCamera, and which it is
   */
  constructor(overview, means) {
    this.means = means;
    this.overview = overview;
    this.findings = new WalkFindings();
    this.marks = overlay('walk-marks');
    this.headMarks = overlay('head-marks');
    this.headPicture = byTestId('head-picture');
    overview.append(this.marks);
    this.headPicture.append(this.headMarks);
    this.headPicture.addEventListener('click', ({ clientX, clientY }) =>
      this.seenAt(placeOfClick(this.headPicture.getBoundingClientRect(), clientX, clientY)),
    );
    byTestId('walk-crossed').addEventListener('click', () => this.seenAt({ x: 0, y: 0 }));
    byTestId('walk-clear').addEventListener('click', () => {
      this.findings.clear();
      this.showFindings();
      this.drawOverview();
    });
  }

  draw() {
    const { store, number, toSeen } = this.means;
    const { found, source } = this.means.camera();
    const objects = (store.objects.get(number) ?? [])
      .map(({ id, polygon }) => {
        const seen = polygon.map(([x, y]) => toSeen({ x, y }));
        return { id, box: boxOf(seen.map(({ x, y }) => [x, y])) };
      })
      .filter(({ box }) => box);
    this.head = store.head;
    this.compared = this.head ? compare(found, objects, this.head) : null;
    setText(byTestId('walk-source'), source);
    const moment = byTestId('walk-moment');
    setText(moment, wordsOfMoment(this.compared, this.head));
    moment.dataset.off = this.compared?.off ?? '';
    byTestId('walk-crossed').disabled = !this.compared;
    this.drawOverview();
    this.drawHead();
  }

  drawOverview() {
    const { toDrawn } = this.means;
    const { width, height } = this.overview.getBoundingClientRect();
    const narrow = width > 0 ? height / width : 1;
    const marks = this.findings.list.map(({ place, miss }) => {
      const [cx, cy] = asDrawn(toDrawn(place));
      const [rx, ry] = [0.012 * narrow, 0.012];
      return svg('ellipse', { class: gradeOfMiss(miss), cx, cy, rx, ry });
    });
    if (this.compared) {
      const { box, axis, middle } = this.compared;
      const { left, right, bottom, top } = box;
      const corners = [
        { x: left, y: bottom },
        { x: left, y: top },
        { x: right, y: top },
        { x: right, y: bottom },
      ];
      const [cx, cy] = asDrawn(toDrawn(middle));
      marks.push(svg('polygon', { class: 'box', points: points(corners.map(toDrawn)) }));
      marks.push(svg('ellipse', { class: 'ought', cx, cy, rx: CROSS * narrow * 0.7, ry: CROSS * 0.7 }));
      if (axis) {
        const [x, y] = asDrawn(toDrawn(axis));
        marks.push(svg('line', { class: 'way', x1: cx, y1: cy, x2: x, y2: y }));
        marks.push(cross('axis', x, y, CROSS * narrow, CROSS));
      }
    }
    this.marks.replaceChildren(...marks.flatMap(withHalo));
  }

  drawHead() {
    const { width, height } = this.headPicture.getBoundingClientRect();
    const marks = [cross('cross', 0, 0, width > 0 ? (CROSS * height) / width : CROSS, CROSS)];
    if (this.compared?.frame) {
      marks.push(svg('polygon', { class: 'expected', points: points(this.compared.frame) }));
    }
    this.headMarks.replaceChildren(...marks.flatMap(withHalo));
  }

  /** Somebody is at a place of the head's picture. */
  seenAt(place) {
    if (!place || !this.compared) return;
    this.findings.add(this.compared, this.head, place);
    this.showFindings();
    this.drawOverview();
  }

  showFindings() {
    const { list, words } = this.findings;
    byTestId('walk-findings').replaceChildren(
      ...list.map(({ place, miss }) =>
        h(
          'li',
          { class: gradeOfMiss(miss), 'data-testid': 'walk-finding' },
          `${nameOfPlace(place)}: ${miss.toFixed(1)}° off`,
        ),
      ),
    );
    byTestId('walk-clear').disabled = !list.length;
    setText(byTestId('walk-words'), words);
  }
}

function cross(name, x, y, across, upwards) {
  const d = `M${x - across} ${y}H${x + across}M${x} ${y - upwards}V${y + upwards}`;
  return svg('path', { class: name, d });
}
