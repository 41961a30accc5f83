/**
 * The place and its cameras. World coordinates are metres: x to the right and y straight ahead as
 * seen from the mast with the head at pan 0, z upwards from the ground; the mast's foot is the
 * origin. Angles are degrees in the head's frame: pan grows to the right, tilt upwards. Picture
 * coordinates are -1 to 1 from left to right and from bottom to top.
 *
 * @typedef {{x: number, y: number, z: number}} SpacePoint metres
 * @typedef {{x: number, y: number}} PicturePoint
 * @typedef {{pan: number, tilt: number}} Direction degrees
 * @typedef {{position: SpacePoint, pan: number, tilt: number, tanX: number, tanY: number,
 *            rotation: number, right: SpacePoint, forward: SpacePoint, up: SpacePoint}} Camera
 *     tanX, tanY: tangents of half the field angles of the upright picture
 */

const NEAREST = 0.1; // metres; nothing nearer to the lens is drawn

export const toRadians = (degrees) => (degrees * Math.PI) / 180;
export const toDegrees = (radians) => (radians * 180) / Math.PI;

/** An angle in [-180, 180). */
export function normalisedPan(degrees) {
  return ((((degrees + 180) % 360) + 360) % 360) - 180;
}

export function dot(a, b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

/** The vector of length 1 of a line of sight. */
export function unitVector({ pan, tilt }) {
  const p = toRadians(pan);
  const t = toRadians(tilt);
  return { x: Math.sin(p) * Math.cos(t), y: Math.cos(p) * Math.cos(t), z: Math.sin(t) };
}

/** The angle between two lines of sight, degrees, 0 to 180. */
export function angleBetween(a, b) {
  const cosine = dot(unitVector(a), unitVector(b));
  return toDegrees(Math.acos(Math.min(1, Math.max(-1, cosine))));
}

/** The one of people (each with pan and tilt) nearest to a line of sight; null without people. */
export function nearestTo(direction, people) {
  let nearest = null;
  let smallest = Infinity;
  for (const person of people) {
    const angle = angleBetween(direction, person);
    if (angle < smallest) {
      smallest = angle;
      nearest = person;
    }
  }
  return nearest;
}

/**
 * A pinhole camera.
 * @param {SpacePoint} position
 * @param {Direction} axis
 * @param {number} hfov field angle across the upright picture's width, degrees
 * @param {number} vfov across its height
 * @param {number} [rotation] of the sensor: 0, 90, 180 or 270
 * @returns {Camera}
 */
export function makeCamera(position, { pan, tilt }, hfov, vfov, rotation = 0) {
  const p = toRadians(pan);
  const t = toRadians(tilt);
  return {
    position,
    pan,
    tilt,
    rotation,
    tanX: Math.tan(toRadians(hfov / 2)),
    tanY: Math.tan(toRadians(vfov / 2)),
    right: { x: Math.cos(p), y: -Math.sin(p), z: 0 },
    forward: unitVector({ pan, tilt }),
    up: { x: -Math.sin(p) * Math.sin(t), y: -Math.cos(p) * Math.sin(t), z: Math.cos(t) },
  };
}

/** A point as right, forward and up of the camera, metres. */
function toCamera(camera, point) {
  const ray = {
    x: point.x - camera.position.x,
    y: point.y - camera.position.y,
    z: point.z - camera.position.z,
  };
  return { x: dot(ray, camera.right), y: dot(ray, camera.forward), z: dot(ray, camera.up) };
}

function toPicture(camera, seen) {
  return { x: seen.x / seen.y / camera.tanX, y: seen.z / seen.y / camera.tanY };
}

/**
 * Where a point of the world appears in the upright picture, also beyond its edges.
 * @returns {PicturePoint|null} null for a point that is not in front of the lens
 */
export function project(camera, point) {
  const seen = toCamera(camera, point);
  return seen.y < NEAREST ? null : toPicture(camera, seen);
}

/**
 * The part of a line that lies in front of the lens.
 * @returns {[PicturePoint, PicturePoint]|null}
 */
export function projectSegment(camera, from, to) {
  const a = toCamera(camera, from);
  const b = toCamera(camera, to);
  if (a.y < NEAREST && b.y < NEAREST) return null;
  const cut = (behind, ahead) => {
    const share = (NEAREST - behind.y) / (ahead.y - behind.y);
    return {
      x: behind.x + share * (ahead.x - behind.x),
      y: NEAREST,
      z: behind.z + share * (ahead.z - behind.z),
    };
  };
  return [
    toPicture(camera, a.y < NEAREST ? cut(a, b) : a),
    toPicture(camera, b.y < NEAREST ? cut(b, a) : b),
  ];
}

/** The picture height (y) of the horizon; beyond -1 to 1 when it is out of the picture. */
export function horizonHeight(camera) {
  return -Math.tan(toRadians(camera.tilt)) / camera.tanY;
}

/**
 * The ground seen at a point of the upright picture.
 * @param {number} limit metres from the mast's foot; what is farther or is sky lies at the limit
 * @returns {{x: number, y: number}} metres
 */
export function groundAt(camera, point, limit) {
  const sideways = point.x * camera.tanX;
  const upwards = point.y * camera.tanY;
  const along = (axis) =>
    camera.forward[axis] + sideways * camera.right[axis] + upwards * camera.up[axis];
  const ray = { x: along('x'), y: along('y'), z: along('z') };
  const level = Math.hypot(ray.x, ray.y);
  const reach = ray.z < 0 ? (camera.position.z / -ray.z) * level : Infinity;
  const scale = level > 0 ? Math.min(reach, limit) / level : 0;
  return { x: camera.position.x + scale * ray.x, y: camera.position.y + scale * ray.y };
}

/** The ground within a picture: its four corners from the bottom left on, clockwise. */
export function footprint(camera, limit) {
  return [
    [-1, -1],
    [-1, 1],
    [1, 1],
    [1, -1],
  ].map(([x, y]) => groundAt(camera, { x, y }, limit));
}

/** From the upright picture to the sensor's own coordinates, in which scenes are told. */
export function toScene(rotation, { x, y }) {
  if (rotation === 90) return { x: -y, y: x };
  if (rotation === 180) return { x: -x, y: -y };
  if (rotation === 270) return { x: y, y: -x };
  return { x, y };
}

/**
 * The lines of a square grid on the ground around a point.
 * @param {{x: number, y: number}} centre metres
 * @param {number} step metres between lines, which lie at its multiples
 * @param {number} count lines to each side
 * @returns {Array<[SpacePoint, SpacePoint]>}
 */
export function groundGrid(centre, step, count) {
  const cx = Math.round(centre.x / step) * step;
  const cy = Math.round(centre.y / step) * step;
  const reach = count * step;
  const lines = [];
  for (let i = -count; i <= count; ++i) {
    const x = cx + i * step;
    const y = cy + i * step;
    lines.push([
      { x, y: cy - reach, z: 0 },
      { x, y: cy + reach, z: 0 },
    ]);
    lines.push([
      { x: cx - reach, y, z: 0 },
      { x: cx + reach, y, z: 0 },
    ]);
  }
  return lines;
}

/** The smallest of 1, 2, 5, 10, 20, 50 ... that is not below a wanted step above 0. */
export function niceStep(wanted) {
  const power = 10 ** Math.floor(Math.log10(wanted));
  const factor = [1, 2, 5, 10].find((candidate) => candidate * power >= wanted * 0.999999);
  return factor * power;
}

/**
 * The outline of a standing person, turned to the camera, in the upright picture.
 * @param {{x: number, y: number, height: number}} person metres
 * @returns {{head: PicturePoint, headRadius: number, body: PicturePoint[]}|null}
 *     headRadius: as a share of the picture's height from its middle to its edge; null when some
 *     of it is behind the lens
 */
export function figureOf(camera, person) {
  const tall = person.height;
  const at = (side, z) =>
    project(camera, {
      x: person.x + side * camera.right.x,
      y: person.y + side * camera.right.y,
      z: (person.z_foot ?? 0) + z * tall,
    });
  const body = [
    at(-0.13, 0),
    at(-0.17, 0.48),
    at(-0.25, 0.5),
    at(-0.22, 0.8),
    at(-0.06, 0.84),
    at(0.06, 0.84),
    at(0.22, 0.8),
    at(0.25, 0.5),
    at(0.17, 0.48),
    at(0.13, 0),
    at(0.02, 0),
    at(0, 0.45),
    at(-0.02, 0),
  ];
  const head = at(0, 0.92);
  const side = at(0.13, 0.92);
  if (!head || !side || body.some((point) => point === null)) return null;
  const headRadius = ((side.x - head.x) * camera.tanX) / camera.tanY;
  return { head, headRadius, body };
}

// So many deviations hold a place of the ground with 95 %: the root of -2 ln 0.05.
const LIKELY = Math.sqrt(-2 * Math.log(0.05));

/**
 * Where something on the ground is with 95 %.
 * @param {[number, number, number]} covariance its variance in x, its covariance and its variance in y
 * @returns {{long: number, short: number, angle: number}} half axes; the long one's angle from x
 *     towards y, radians
 */
export function likelyEllipse([xx, xy, yy]) {
  const middle = (xx + yy) / 2;
  const spread = Math.hypot((xx - yy) / 2, xy);
  const half = (variance) => LIKELY * Math.sqrt(Math.max(variance, 0));
  return {
    long: half(middle + spread),
    short: half(middle - spread),
    angle: Math.atan2(2 * xy, xx - yy) / 2,
  };
}
