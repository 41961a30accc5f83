/**
 * An overview camera as its calibration has it: turned, with a lens that distorts, beside the head.
 * World coordinates are metres from below the head, x to the right (pan 90), y forward (pan 0), z up
 * from the ground; places are -1 to 1 from left to right and from bottom to top of the picture as it
 * is seen.
 *
 * @typedef {import('./geometry.js').SpacePoint} SpacePoint
 * @typedef {import('./geometry.js').Direction} Direction
 * @typedef {{x: number, y: number}} Place
 * @typedef {{left: number, right: number, bottom: number, top: number}} Box of places
 */

import { dot, normalisedPan, toDegrees, toRadians, unitVector } from './geometry.js';

const FAR = 1e6; // metres, for what has no ground behind it
const LEAST_DEPTH = 0.02; // of a direction; less is beside or behind the camera
const STEPS = 20; // of Newton's method

const sum = (a, b, scale = 1) => ({
  x: a.x + scale * b.x,
  y: a.y + scale * b.y,
  z: a.z + scale * b.z,
});
const level = ({ x, y }) => Math.hypot(x, y);

/** The direction of a vector of any length. */
export function directionOf(vector) {
  return {
    pan: level(vector) === 0 ? 0 : normalisedPan(toDegrees(Math.atan2(vector.x, vector.y))),
    tilt: toDegrees(Math.atan2(vector.z, level(vector))),
  };
}

/**
 * @param {{pan: number, tilt: number, roll?: number, hfov: number, vfov: number,
 *          distortion?: number, offset_x_m?: number, offset_y_m?: number}} found degrees and metres,
 *     of a calibration or of a channel
 * @param {number|{camera: number, head: number}} heights metres of both above the ground
 */
export function calibratedCamera(found, heights) {
  const { camera, head } =
    typeof heights === 'number' ? { camera: heights, head: heights } : heights;
  const [p, t, r] = [found.pan, found.tilt, found.roll ?? 0].map(toRadians);
  const right = { x: Math.cos(p), y: -Math.sin(p), z: 0 };
  const up = { x: -Math.sin(p) * Math.sin(t), y: -Math.cos(p) * Math.sin(t), z: Math.cos(t) };
  const turned = (a, b, sine) => sum(scaled(a, Math.cos(r)), b, sine);
  return {
    position: { x: found.offset_x_m ?? 0, y: found.offset_y_m ?? 0, z: camera },
    head: { x: 0, y: 0, z: head },
    right: turned(right, up, -Math.sin(r)),
    up: turned(up, right, Math.sin(r)),
    forward: unitVector(found),
    tanX: Math.tan(toRadians(found.hfov / 2)),
    tanY: Math.tan(toRadians(found.vfov / 2)),
    distortion: found.distortion ?? 0,
  };
}

function scaled({ x, y, z }, scale) {
  return { x: x * scale, y: y * scale, z: z * scale };
}

/** Where r (1 + k r^2) turns back; what lies beyond is not seen. */
const reachOf = (k) => (k < 0 ? Math.sqrt(-1 / (3 * k)) : Infinity);

/** The r of which the lens makes r (1 + k r^2). */
function undistorted(k, shown) {
  const reach = reachOf(k);
  let r = Math.min(shown, reach * 0.99);
  for (let i = 0; i < STEPS; ++i) {
    const slope = 1 + 3 * k * r * r;
    if (slope <= 0) return reach;
    r = Math.min(r - (r * (1 + k * r * r) - shown) / slope, reach);
  }
  return r;
}

/** The camera's line of sight to a place, of any length. */
export function sightTo(camera, place) {
  let x = place.x * camera.tanX;
  let y = place.y * camera.tanY;
  const shown = Math.hypot(x, y);
  if (shown > 0 && camera.distortion !== 0) {
    const scale = undistorted(camera.distortion, shown) / shown;
    x *= scale;
    y *= scale;
  }
  return sum(sum(camera.forward, camera.right, x), camera.up, y);
}

/** Where the picture shows a point of the world, also beyond its edges; null for what it cannot. */
export function placeOf(camera, point) {
  const ray = sum(point, camera.position, -1);
  const depth = dot(ray, camera.forward);
  if (depth < LEAST_DEPTH * Math.hypot(ray.x, ray.y, ray.z)) return null;
  const x = dot(ray, camera.right) / depth;
  const y = dot(ray, camera.up) / depth;
  const r = Math.hypot(x, y);
  if (r >= reachOf(camera.distortion)) return null;
  const scale = 1 + camera.distortion * r * r;
  return { x: (x * scale) / camera.tanX, y: (y * scale) / camera.tanY };
}

/**
 * Somebody who stands upright on the ground, by the box around him.
 * @param {Box} box
 * @returns {{middle: SpacePoint, corners: SpacePoint[]}} corners from the lower left on, clockwise;
 *     far away when his foot is not below the horizon
 */
export function standingIn(camera, box) {
  const across = (box.left + box.right) / 2;
  const foot = sightTo(camera, { x: across, y: box.bottom });
  const distance = foot.z < 0 ? (level(foot) * camera.position.z) / -foot.z : FAR;
  const at = (x, y) => {
    const sight = sightTo(camera, { x, y });
    return sum(camera.position, sight, Math.min(distance, FAR) / level(sight));
  };
  return {
    middle: at(across, (box.bottom + box.top) / 2),
    corners: [
      at(box.left, box.bottom),
      at(box.left, box.top),
      at(box.right, box.top),
      at(box.right, box.bottom),
    ],
  };
}

/** Where the head has to look to see a point of the world. */
export function headTo(camera, point) {
  return directionOf(sum(point, camera.head, -1));
}

/**
 * The place at which the head's axis is seen.
 * @param {Direction} direction of the head
 * @param {SpacePoint} [near] the axis is looked at as far away as this; without it at the ground
 */
export function placeOfAxis(camera, direction, near) {
  const sight = unitVector(direction);
  const ground = sight.z < 0 ? camera.head.z / -sight.z : FAR;
  const away = near && level(sight) > 0 ? level(sum(near, camera.head, -1)) / level(sight) : ground;
  return placeOf(camera, sum(camera.head, sight, Math.min(away, FAR)));
}
