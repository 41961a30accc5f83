/**
 * The scale of a head by eye. It was turned by what is told of it; where the point that was in the
 * middle of its first picture lies in the second tells by how much it really turned.
 *
 * Angles are degrees of the application; places are -1 to 1 from left to right and from bottom to
 * top of the picture.
 *
 * @typedef {{pan: number, tilt: number}} Direction
 * @typedef {{x: number, y: number}} Place
 */

import { calibratedCamera, placeOf } from './calibrated-camera.js';
import { toDegrees, toRadians, unitVector } from './geometry.js';
import { verticalAngle } from './setup-told.js';

const STRAIGHT_UP = 75; // degrees; there pan turns the picture round and moves it little
const LEAST_TURN = 0.5; // degrees, of which a scale is told
const [LEAST_TIMES, MOST_TIMES] = [0.5, 2];
const PARTS = 300; // of the search
const HALVINGS = 50;

const HERE = { camera: 0, head: 0 };

function tangents(fieldAngle, size) {
  const vertical = verticalAngle(fieldAngle, size.width, size.height);
  return { x: Math.tan(toRadians(fieldAngle / 2)), y: Math.tan(toRadians(vertical / 2)) };
}

/**
 * Where the middle of the picture from one direction lies in that from another.
 * @param {{width: number, height: number}} size of the pictures
 * @returns {Place|null} null for what is beside it
 */
export function placeOfFormerMiddle(from, to, fieldAngle, size) {
  const vfov = verticalAngle(fieldAngle, size.width, size.height);
  return placeOf(calibratedCamera({ ...to, hfov: fieldAngle, vfov }, HERE), unitVector(from));
}

/** The root of a function that is nearest to 1. */
function rootNearOne(value) {
  const widest = MOST_TIMES / LEAST_TIMES;
  const steps = Array.from({ length: PARTS + 1 }, (_, i) => LEAST_TIMES * widest ** (i / PARTS));
  const ends = steps
    .slice(1)
    .map((high, i) => [steps[i], high])
    .filter(([low, high]) => value(low) * value(high) <= 0)
    .sort((one, other) => Math.abs(Math.log(one[0])) - Math.abs(Math.log(other[0])))[0];
  if (!ends) return null;
  let [low, high] = ends;
  for (let i = 0; i < HALVINGS; ++i) {
    const middle = (low + high) / 2;
    if (value(low) * value(middle) <= 0) high = middle;
    else low = middle;
  }
  return (low + high) / 2;
}

/**
 * How many times what is told the head really turns, about 0 on each axis.
 *
 * Seen from the second direction, t1 up, the place is a ray (c right, 1 forward, d up). Its height
 * above the horizon has to be that of the first direction, which gives the tilt's scale alone; its
 * bearing from the second direction then is the pan's turn.
 * @param {Place} place where the former middle really lies
 * @returns {{pan: number|null, tilt: number}|null} null where there is no such scale
 */
export function scaleOfSight({ from, to, fieldAngle }, place, size) {
  const tan = tangents(fieldAngle, size);
  const [c, d] = [place.x * tan.x, place.y * tan.y];
  const length = Math.hypot(c, 1, d);
  const heightSeen = (t1) =>
    toDegrees(Math.asin((Math.sin(toRadians(t1)) + d * Math.cos(toRadians(t1))) / length));
  const isTilted = Math.abs(from.tilt - to.tilt) >= LEAST_TURN;
  const tilt = isTilted ? rootNearOne((times) => heightSeen(times * to.tilt) - times * from.tilt) : 1;
  if (tilt === null) return null;
  const t1 = toRadians(tilt * to.tilt);
  const bearing = toDegrees(Math.atan2(c, Math.cos(t1) - d * Math.sin(t1)));
  const told = ((from.pan - to.pan + 540) % 360) - 180;
  const isPanSeen =
    Math.abs(told) >= LEAST_TURN && Math.abs(tilt * to.tilt) < STRAIGHT_UP && bearing * told > 0;
  return { pan: isPanSeen ? bearing / told : null, tilt };
}

/** A told range that is so many times as wide about 0, in tenths of a degree. */
export function rangeTimes([low, high], times) {
  return [low, high].map((end) => Math.round(end * times * 10) / 10);
}

/** The ranges among what is told of a head, as that scale has them; what is not told stays so. */
export function rangesOfSight({ pan_range: pan, tilt_range: tilt }, scale) {
  return {
    ...(pan && scale?.pan ? { pan_range: rangeTimes(pan, scale.pan) } : {}),
    ...(tilt && scale?.tilt ? { tilt_range: rangeTimes(tilt, scale.tilt) } : {}),
  };
}

/** @param {{pan: number|null, tilt: number}|null} scale */
export function wordsOfSight(scale) {
  if (!scale) return 'It cannot lie there: look for the same point once more.';
  const pan = scale.pan === null ? 'its pan cannot be told there' : `its pan ${scale.pan.toFixed(3)} times`;
  return `It turns ${pan}, its tilt ${scale.tilt.toFixed(3)} times as far as is told.`;
}
