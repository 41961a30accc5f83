import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  angleBetween,
  figureOf,
  footprint,
  groundAt,
  groundGrid,
  horizonHeight,
  likelyEllipse,
  makeCamera,
  nearestTo,
  niceStep,
  normalisedPan,
  project,
  projectSegment,
  toScene,
} from '../../device/web/js/geometry.js';

const MAST = { x: 0, y: 0, z: 18 };
const north = (tilt = 0) => makeCamera(MAST, { pan: 0, tilt }, 90, 90);

function near(actual, expected, tolerance = 1e-9) {
  assert.deepEqual(Object.keys(actual).sort(), Object.keys(expected).sort());
  for (const [key, value] of Object.entries(expected)) {
    assert.ok(Math.abs(actual[key] - value) < tolerance, `${key}: ${actual[key]}, not ${value}`);
  }
}

test('a point ahead is in the middle of the picture', () => {
  near(project(north(), { x: 0, y: 10, z: 18 }), { x: 0, y: 0 });
});

test('right of the axis is right, below is below, in shares of half the picture', () => {
  near(project(north(), { x: 5, y: 10, z: 18 }), { x: 0.5, y: 0 });
  near(project(north(), { x: 0, y: 10, z: 13 }), { x: 0, y: -0.5 });
});

test('pan grows to the right: at 90 degrees the camera looks along x and south is right', () => {
  const east = makeCamera(MAST, { pan: 90, tilt: 0 }, 90, 90);
  near(project(east, { x: 10, y: 0, z: 18 }), { x: 0, y: 0 });
  near(project(east, { x: 10, y: -5, z: 18 }), { x: 0.5, y: 0 });
});

test('width and height have field angles of their own', () => {
  // tan(26.565 degrees) is a half.
  const camera = makeCamera(MAST, { pan: 0, tilt: 0 }, 90, 2 * 26.56505117707799);
  near(project(camera, { x: 5, y: 10, z: 20.5 }), { x: 0.5, y: 0.5 });
});

test('nothing behind the lens or at it is projected', () => {
  assert.equal(project(north(), { x: 0, y: -10, z: 18 }), null);
  assert.equal(project(north(), MAST), null);
});

test('a line that passes the lens is cut at it', () => {
  const [from, to] = projectSegment(north(), { x: 0, y: 10, z: 0 }, { x: 0, y: -10, z: 0 });
  near(from, { x: 0, y: -1.8 });
  near(to, { x: 0, y: -180 }, 1e-6);
  assert.equal(projectSegment(north(), { x: 0, y: -1, z: 0 }, { x: 5, y: -9, z: 0 }), null);
});

test('at 45 degrees down the ground in the middle is as far away as the mast is high', () => {
  near(groundAt(north(-45), { x: 0, y: 0 }, 100), { x: 0, y: 18 });
  near(groundAt(north(-45), { x: 0, y: -1 }, 100), { x: 0, y: 0 });
});

test('sky and far ground lie at the limit', () => {
  near(groundAt(north(), { x: 0, y: 0.5 }, 100), { x: 0, y: 100 });
  near(groundAt(north(), { x: 0, y: -0.1 }, 100), { x: 0, y: 100 });
  near(groundAt(north(), { x: 0, y: -0.2 }, 100), { x: 0, y: 90 });
});

test('what is projected from the ground is found there again', () => {
  const camera = makeCamera(MAST, { pan: -130, tilt: -25 }, 27, 15.4);
  for (const point of [
    { x: 0.3, y: -0.7 },
    { x: -1, y: 1 },
    { x: 0, y: 0 },
  ]) {
    const ground = groundAt(camera, point, 1e6);
    near(project(camera, { ...ground, z: 0 }), point);
  }
});

test('a footprint begins at the bottom left and goes round clockwise', () => {
  const [bottomLeft, topLeft, topRight, bottomRight] = footprint(north(-60), 500);
  assert.ok(bottomLeft.x < 0 && topLeft.x < 0 && topRight.x > 0 && bottomRight.x > 0);
  assert.ok(topLeft.y > bottomLeft.y && topRight.y > bottomRight.y);
});

test('the horizon is in the middle when level, at the upper edge when half the field down', () => {
  assert.equal(Math.abs(horizonHeight(north())), 0);
  assert.ok(Math.abs(horizonHeight(north(-45)) - 1) < 1e-9);
  assert.ok(horizonHeight(north(-60)) > 1);
});

test('each rotation turns the upright picture into the sensor as its scenes tell it', () => {
  const point = { x: 0.25, y: 0.5 };
  assert.deepEqual(toScene(0, point), { x: 0.25, y: 0.5 });
  assert.deepEqual(toScene(90, point), { x: -0.5, y: 0.25 });
  assert.deepEqual(toScene(180, point), { x: -0.25, y: -0.5 });
  assert.deepEqual(toScene(270, point), { x: 0.5, y: -0.25 });
});

test('angles are taken the short way round', () => {
  assert.ok(Math.abs(angleBetween({ pan: 170, tilt: 0 }, { pan: -170, tilt: 0 }) - 20) < 1e-9);
  assert.ok(Math.abs(angleBetween({ pan: 0, tilt: 80 }, { pan: 180, tilt: 80 }) - 20) < 1e-6);
  assert.equal(normalisedPan(180), -180);
  assert.equal(normalisedPan(-190), 170);
  assert.equal(normalisedPan(725), 5);
});

test('the nearest person may be beyond the end of the pan scale', () => {
  const people = [
    { id: 1, pan: 150, tilt: -20 },
    { id: 2, pan: -178, tilt: -20 },
  ];
  assert.equal(nearestTo({ pan: 175, tilt: -20 }, people).id, 2);
  assert.equal(nearestTo({ pan: 0, tilt: 0 }, []), null);
});

test('a person stands upright with the head above the feet', () => {
  const camera = makeCamera({ x: 0, y: 0, z: 0 }, { pan: 0, tilt: 0 }, 90, 90);
  const figure = figureOf(camera, { x: 0, y: 10, height: 2, z_foot: 0 });
  near(figure.head, { x: 0, y: 0.184 });
  assert.ok(Math.abs(figure.headRadius - 0.013) < 1e-9);
  const widest = Math.max(...figure.body.map(({ x }) => x));
  assert.ok(Math.abs(widest - 0.025) < 1e-9, 'half a metre wide at 10 m');
  assert.equal(figureOf(camera, { x: 0, y: -10, height: 2, z_foot: 0 }), null);
});

test('grid lines lie at multiples of the step, with the centre among them', () => {
  const lines = groundGrid({ x: 7, y: -12 }, 5, 2);
  assert.equal(lines.length, 10);
  for (const [from, to] of lines) {
    for (const value of [from.x, from.y, to.x, to.y]) assert.equal(Math.abs(value % 5), 0);
    assert.equal(Math.hypot(to.x - from.x, to.y - from.y), 20);
  }
});

test('steps are 1, 2 or 5 of a power of ten, and never smaller than wanted', () => {
  const steps = [1, 1.1, 0.3, 7, 23, 0.05].map(niceStep);
  const expected = [1, 2, 0.5, 10, 50, 0.05];
  steps.forEach((step, i) => assert.ok(Math.abs(step - expected[i]) < 1e-9, `${step}`));
});

// 95 % of a normal distribution in two dimensions lie within the root of 5.991 deviations.
test('an ellipse holds what is likely', () => {
  const k = Math.sqrt(5.99146);
  const near = (found, expected) =>
    Object.entries(expected).forEach(([key, value]) =>
      assert.ok(Math.abs(found[key] - value) < 1e-4, `${key}: ${found[key]}`),
    );
  near(likelyEllipse([4, 0, 1]), { long: 2 * k, short: k, angle: 0 });
  near(likelyEllipse([1, 0, 4]), { long: 2 * k, short: k, angle: Math.PI / 2 });
  // Variances 4 along (1, 1) and 1 across it.
  near(likelyEllipse([2.5, 1.5, 2.5]), { long: 2 * k, short: k, angle: Math.PI / 4 });
  near(likelyEllipse([2.5, -1.5, 2.5]), { long: 2 * k, short: k, angle: -Math.PI / 4 });
  near(likelyEllipse([0, 0, 0]), { long: 0, short: 0 });
});
