/**
 * The walk test of a calibration: where the head is, where the calibration wants it while somebody
 * walks, and how far somebody really was from there. The calibration itself cannot tell that: a
 * person does, who shows in the head's picture where he sees him.
 *
 * @typedef {import('./calibrated-camera.js').Box} Box
 * @typedef {import('./geometry.js').Direction} Direction
 * @typedef {{x: number, y: number}} Place -1 to 1 to the right and up
 */

import { headTo, placeOfAxis, standingIn } from './calibrated-camera.js';
import { angleBetween, makeCamera, normalisedPan, project, toDegrees, toRadians } from './geometry.js';

const GOOD = 0.5; // degrees
const FAIR = 1;
const MOST = 30; // findings that are kept

/** The box around an outline; null without one. @returns {Box|null} */
export function boxOf(polygon) {
  if (!polygon.length) return null;
  const xs = polygon.map(([x]) => x);
  const ys = polygon.map(([, y]) => y);
  return {
    left: Math.min(...xs),
    right: Math.max(...xs),
    bottom: Math.min(...ys),
    top: Math.max(...ys),
  };
}

/**
 * Of those whom the camera sees the one to whom the head has the shortest way.
 * @param {object} camera of calibratedCamera
 * @param {Array<{id: number, box: Box}>} objects
 * @param {Direction & {hfov: number, vfov: number}} head
 * @returns {{id: number, box: Box, wanted: Direction, off: number, axis: Place|null,
 *            middle: Place, frame: Place[]|null}|null}
 *     wanted: where the head ought to look; off: degrees from there to where it looks; axis: where
 *     that is seen in the overview picture; middle: of the box; frame: the box in the head's picture
 */
export function compare(camera, objects, head) {
  let nearest = null;
  for (const { id, box } of objects) {
    const { middle, corners } = standingIn(camera, box);
    const wanted = headTo(camera, middle);
    const off = angleBetween(wanted, head);
    if (!nearest || off < nearest.off) nearest = { id, box, wanted, off, point: middle, corners };
  }
  if (!nearest) return null;
  const { point, corners, ...found } = nearest;
  const { left, right, bottom, top } = found.box;
  const eye = makeCamera(camera.head, head, head.hfov, head.vfov);
  const frame = corners.map((corner) => project(eye, corner));
  return {
    ...found,
    axis: placeOfAxis(camera, head, point),
    middle: { x: (left + right) / 2, y: (bottom + top) / 2 },
    frame: frame.includes(null) ? null : frame,
  };
}

/** The head's direction to a place of its own picture. */
export function directionAt(head, place) {
  const across = Math.tan(toRadians(head.hfov / 2)) * place.x;
  const upwards = Math.tan(toRadians(head.vfov / 2)) * place.y;
  const t = toRadians(head.tilt);
  const forward = Math.cos(t) - upwards * Math.sin(t);
  const up = Math.sin(t) + upwards * Math.cos(t);
  return {
    pan: normalisedPan(head.pan + toDegrees(Math.atan2(across, forward))),
    tilt: toDegrees(Math.atan2(up, Math.hypot(across, forward))),
  };
}

/** @returns {'good'|'fair'|'bad'} of so many degrees */
export function gradeOfMiss(degrees) {
  if (degrees <= GOOD) return 'good';
  return degrees <= FAIR ? 'fair' : 'bad';
}

/** Which ninth of a picture, in words. */
export function nameOfPlace({ x, y }) {
  const side = (value, low, high) => (value < -1 / 3 ? low : value > 1 / 3 ? high : '');
  const [height, width] = [side(y, 'lower', 'upper'), side(x, 'left', 'right')];
  if (height && width) return `${height} ${width}`;
  if (height) return `${height} middle`;
  return width ? `${width} middle` : 'middle';
}

/** What was found at places of the overview picture. */
export class WalkFindings {
  list = []; // {place, miss: degrees}

  /**
   * Somebody is seen at a place of the head's picture, and the calibration said where.
   * @param {ReturnType<typeof compare>} compared
   * @param {Place} seen 0, 0 is the middle of the head's picture
   */
  add(compared, head, seen) {
    const miss = angleBetween(directionAt(head, seen), compared.wanted);
    this.list.push({ place: compared.middle, miss });
    if (this.list.length > MOST) this.list.shift();
    return miss;
  }

  clear() {
    this.list = [];
  }

  /** What that means, for a person. */
  get words() {
    const { list } = this;
    if (!list.length) return '';
    const worst = list.reduce((a, b) => (b.miss > a.miss ? b : a));
    const places = new Set(list.map(({ place }) => nameOfPlace(place)));
    const where = nameOfPlace(worst.place);
    const off = `${worst.miss.toFixed(1)}° off at most, ${where}`;
    if (worst.miss > FAIR) {
      return `${off}: add a point there and calibrate again, or look whether the heights are right.`;
    }
    const enough = places.size >= 3 ? '' : ' Try other parts of the picture, too.';
    return worst.miss > GOOD
      ? `${off}: somebody stays in the picture, but not in its middle.${enough}`
      : `${off}: good.${enough}`;
  }
}

/** What the moment says, for a person. */
export function wordsOfMoment(compared, head) {
  if (!head) return 'Nothing is known of the head yet.';
  if (!compared) return 'The camera tells nobody at the moment.';
  const degrees = ({ pan, tilt }) => `pan ${pan.toFixed(1)}°, tilt ${tilt.toFixed(1)}°`;
  return (
    `By this calibration the head ought to look to ${degrees(compared.wanted)}; ` +
    `it looks to ${degrees(head)}: ${compared.off.toFixed(1)}° from there.`
  );
}
