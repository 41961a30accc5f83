/**
 * The width of a head's picture by eye, and the zoom table that grows of it. One thing lay on a mark
 * near the left edge of the picture, and then, with the head turned, on one near the right edge.
 *
 * @typedef {{pan: number, tilt: number, zoom: number}} Look degrees of the application, and the
 *     zoom's position in the head's own numbers
 */

import { normalisedPan, toDegrees, toRadians } from './geometry.js';
import { textOfZoomTable, toldOfZoomTable } from './setup-told.js';

/** How far from the middle of the picture both marks are, of half its width: at 10 % and 90 %. */
export const MARK = 0.8;

const LEAST_TURN = 0.5; // degrees, of which an angle is told
const SAME_PLACE = 0.05; // degrees
const MOST_CLIMB = 0.25; // of the turn
const STEEPEST = 60; // degrees; beyond, pan turns the picture round
const WIDEST = 120; // degrees
const ZOOM_STEP = 0.002; // of a generic position; less is the same
const ZOOM_SHARE = 0.005; // likewise, of any position

const rounded = (number, places) => Number(number.toFixed(places));

/** Whether two positions of the zoom are one, for a head that tells it with some noise. */
export function isSameZoom(one, other) {
  const most = Math.max(Math.abs(one), Math.abs(other));
  return Math.abs(one - other) <= Math.max(ZOOM_STEP, ZOOM_SHARE * most);
}

/**
 * The angle across the whole picture.
 *
 * Seen at a tilt t the thing is the ray (-c right, 1 forward, w up), and (c, 1, -w) at the other tilt
 * u: a thing that was not quite in the middle of the height is as far above it as below it. Both
 * rays rise equally above the horizon, so w is the tangent of h = (u - t) / 2; and both forward
 * parts on the horizon are cos((t + u) / 2) / cos(h), so half the turn tells c.
 * @param {Look} left where the head looked with the thing on the left mark
 * @param {Look} right
 * @returns {{angle: number}|{refusal: string}} degrees, or words for the user
 */
export function angleOfMarks(left, right) {
  const turn = normalisedPan(left.pan - right.pan);
  const climb = Math.abs(right.tilt - left.tilt);
  const tilt = (left.tilt + right.tilt) / 2;
  if (!isSameZoom(left.zoom, right.zoom)) {
    return { refusal: 'The zoom is another than at the first mark: begin anew.' };
  }
  if (Math.hypot(turn, climb) < SAME_PLACE) {
    return { refusal: 'The head has not moved between the marks: lead the same thing to the other one.' };
  }
  if (climb > MOST_CLIMB * Math.abs(turn)) {
    return { refusal: 'The head has turned up or down: lead it sideways alone, by a thing at half height.' };
  }
  if (turn < 0) {
    return { refusal: 'The head has turned the other way: is it the same thing, or does its pan grow to the left?' };
  }
  if (turn < LEAST_TURN) {
    return { refusal: 'The head has turned by less than half a degree: enter this line by hand.' };
  }
  if (Math.abs(tilt) > STEEPEST) {
    return { refusal: 'The head looks too far up or down: choose a thing nearer to the horizon.' };
  }
  const c =
    (Math.tan(toRadians(turn / 2)) * Math.cos(toRadians(tilt))) / Math.cos(toRadians(climb / 2));
  const angle = toDegrees(2 * Math.atan(c / MARK));
  return angle > WIDEST
    ? { refusal: `A picture of ${angle.toFixed(0)} degrees cannot be: was it the same thing?` }
    : { angle };
}

/**
 * The lines of the zoom table with one more, which takes the place of one of the same position.
 * @param {string} text of the lines; throws as toldOfZoomTable
 * @returns {{text: string}|{refusal: string}}
 */
export function withRow(text, zoom, angle) {
  const table = toldOfZoomTable(text).zoom_table ?? [];
  const row = [rounded(zoom, 4), rounded(angle, 3)];
  const others = table.filter(([position]) => !isSameZoom(position, zoom));
  const rows = [...others, row].sort(([one], [other]) => one - other);
  const wrong = rows.find(([, degrees], i) => i > 0 && degrees >= rows[i - 1][1]);
  return wrong
    ? {
        refusal:
          `${row[1]} degrees at ${row[0]} do not fit the other lines, as degrees have to fall: ` +
          'measure once more, or take the wrong line away.',
      }
    : { text: textOfZoomTable(rows) };
}
