/**
 * Points of a calibration: places of an overview picture, each with the head's direction to it.
 * Places are -1 to 1 from left to right and from bottom to top of the picture as it is seen.
 *
 * @typedef {{x: number, y: number}} Place
 * @typedef {{place: Place, head: {pan: number, tilt: number}}} Point degrees
 */

export const FEWEST = 4;
export const FEWEST_WITH_OFFSET = 5;
export const MOST = 12;

const NEAR = 0.35; // of half a picture, for a place that was asked for

/** Where points tell most, the most telling first; edges decide what the corners get. */
const WANTED = [
  { x: -0.88, y: -0.88, name: 'near the lower left corner' },
  { x: 0.88, y: -0.88, name: 'near the lower right corner' },
  { x: -0.88, y: 0.88, name: 'near the upper left corner' },
  { x: 0.88, y: 0.88, name: 'near the upper right corner' },
  { x: 0, y: -0.88, name: 'in the middle of the lower edge' },
  { x: 0, y: 0.88, name: 'in the middle of the upper edge' },
  { x: -0.88, y: 0, name: 'in the middle of the left edge' },
  { x: 0.88, y: 0, name: 'in the middle of the right edge' },
];

/**
 * The place of a click on a picture.
 * @param {{left: number, top: number, width: number, height: number}} box of the picture, pixels
 * @returns {Place|null} null beside the picture
 */
export function placeOfClick(box, clientX, clientY) {
  const x = ((clientX - box.left) / box.width) * 2 - 1;
  const y = 1 - ((clientY - box.top) / box.height) * 2;
  return Math.abs(x) <= 1 && Math.abs(y) <= 1 ? { x, y } : null;
}

/**
 * Where the next point should be.
 * @param {Point[]} points
 * @returns {{x: number, y: number, name: string}|null} null when all such places have one
 */
export function wantedNext(points) {
  const isTaken = (wanted) =>
    points.some(({ place }) => Math.hypot(place.x - wanted.x, place.y - wanted.y) < NEAR);
  return WANTED.find((wanted) => !isTaken(wanted)) ?? null;
}

/**
 * The body of the question for the camera.
 * @param {Point[]} points
 * @param {{width: number, height: number}} picture pixels
 * @param {{camera: number, head: number}|null} heights metres; null when both hang in one place
 */
export function requestFor(points, picture, heights) {
  const request = {
    width: picture.width,
    height: picture.height,
    points: points.map(({ place, head }) => ({ ...place, pan: head.pan, tilt: head.tilt })),
  };
  if (heights) request.heights = { camera_m: heights.camera, head_m: heights.head };
  return request;
}

/** @returns {'outlier'|'good'|'fair'|'bad'} for a point of an answer (degrees) */
export function gradeOf({ residual, outlier }) {
  if (outlier) return 'outlier';
  if (residual <= 0.15) return 'good';
  return residual <= 0.3 ? 'fair' : 'bad';
}

/**
 * From where a point was clicked to where the calibration shows what the head sees, so much longer
 * than it is that it can be seen.
 * @returns {{from: Place, to: Place}|null} null when the calibration does not show it
 */
export function residualArrow(place, shown, magnified = 10) {
  if (shown.x === null || shown.y === null) return null;
  const to = {
    x: place.x + (shown.x - place.x) * magnified,
    y: place.y + (shown.y - place.y) * magnified,
  };
  return { from: place, to };
}

/** What a calibration says, in a line for each fact. */
export function describeCamera(data) {
  const { deviations } = data;
  const pair = (value, deviation, unit, digits) =>
    deviation === null
      ? `${value.toFixed(digits)}${unit}`
      : `${value.toFixed(digits)} ± ${deviation.toFixed(digits)}${unit}`;
  const lines = [
    ['Pan', pair(data.pan, deviations.pan, '°', 2)],
    ['Tilt', pair(data.tilt, deviations.tilt, '°', 2)],
    ['Roll', pair(data.roll, deviations.roll, '°', 2)],
    ['Field', pair(data.hfov, deviations.hfov, '°', 2)],
    ['Distortion', pair(data.distortion, deviations.distortion, '', 4)],
  ];
  if (deviations.offset_m > 0) {
    lines.push(['To the right of the head', pair(data.offset_x_m, deviations.offset_m, ' m', 2)]);
    lines.push(['In front of the head', pair(data.offset_y_m, deviations.offset_m, ' m', 2)]);
  }
  lines.push(['Uncertain at the worst by', `${deviations.worst.toFixed(2)}°`]);
  return lines;
}

/** What outlives a page that is loaded anew. @returns {string} */
export function textToKeep({ points, heights }) {
  return JSON.stringify({ points, heights });
}

/**
 * What was kept; nothing of a text that is none of these.
 * @returns {{points: Point[], heights: {camera: number, head: number}|null}}
 */
export function keptIn(text) {
  const areNumbers = (...values) => values.every((value) => Number.isFinite(value));
  try {
    const { points, heights } = JSON.parse(text);
    const isPoint = ({ place, head }) => areNumbers(place.x, place.y, head.pan, head.tilt);
    if (!Array.isArray(points) || points.length > MOST || !points.every(isPoint)) throw new Error();
    const areHeights = heights && areNumbers(heights.camera, heights.head);
    return { points, heights: areHeights ? heights : null };
  } catch {
    return { points: [], heights: null };
  }
}
