import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  calibratedCamera,
  headTo,
  placeOf,
  placeOfAxis,
  sightTo,
  standingIn,
  directionOf,
} from '../../device/web/js/calibrated-camera.js';

const DOWN = { pan: 0, tilt: -45, hfov: 90, vfov: 90 };
const near = (value, expected, within = 1e-9) =>
  assert.ok(Math.abs(value - expected) < within, `${value} is not ${expected}`);
const degrees = (radians) => (radians * 180) / Math.PI;

test('the middle is the axis', () => {
  const camera = calibratedCamera({ pan: 30, tilt: -20, roll: 7, hfov: 90, vfov: 60 }, 5);
  const { pan, tilt } = directionOf(sightTo(camera, { x: 0, y: 0 }));
  near(pan, 30);
  near(tilt, -20);
});

test('a camera that is rolled to the right shows what is above to the left', () => {
  const camera = calibratedCamera({ pan: 0, tilt: 0, roll: 90, hfov: 90, vfov: 90 }, 5);
  const { x, y } = placeOf(camera, { x: 0, y: 10, z: 10 }); // 5 m above the axis, in 10 m
  near(x, -0.5);
  near(y, 0);
});

test('a lens shows r at r (1 + k r^2), and a place is looked at the other way round', () => {
  const camera = calibratedCamera({ pan: 0, tilt: 0, hfov: 90, vfov: 90, distortion: 0.1 }, 5);
  near(placeOf(camera, { x: 5, y: 10, z: 5 }).x, 0.5125);
  near(degrees(Math.atan2(1, 2)), directionOf(sightTo(camera, { x: 0.5125, y: 0 })).pan, 1e-6);
  const barrel = calibratedCamera({ pan: 0, tilt: 0, hfov: 90, vfov: 90, distortion: -0.2 }, 5);
  near(placeOf(barrel, { x: 5, y: 10, z: 5 }).x, 0.475);
  near(degrees(Math.atan2(1, 2)), directionOf(sightTo(barrel, { x: 0.475, y: 0 })).pan, 1e-6);
  assert.equal(placeOf(barrel, { x: 20, y: 10, z: 5 }), null); // where the lens would turn back
});

test('what is behind the camera is nowhere', () => {
  assert.equal(placeOf(calibratedCamera(DOWN, 10), { x: 0, y: -20, z: 10 }), null);
});

// 45 degrees down from 10 m: the middle is (0, 10) on the ground. Who is 2 m tall there ends at
// (10 - 8) / (10 + 8) of half the picture; half of that is a height of 10 - 10 (1 - 1/18) / (1 + 1/18) m.
const TALL = { left: -0.05, right: 0.05, bottom: 0, top: 1 / 9 };
const HALF = 10 - (10 * 17) / 19;

test('who is in a box stands on the ground', () => {
  const { middle, corners } = standingIn(calibratedCamera(DOWN, 10), TALL);
  near(middle.x, 0);
  near(middle.y, 10);
  near(middle.z, HALF);
  near(corners[1].z, 2, 0.05);
  near(corners[0].z, 0, 0.05);
  assert.ok(corners[0].x < 0 && corners[3].x > 0);
});

test('the head looks at him from its own place', () => {
  const camera = calibratedCamera({ ...DOWN, offset_x_m: 3 }, 10);
  const { pan, tilt } = headTo(camera, standingIn(camera, TALL).middle);
  near(pan, degrees(Math.atan2(3, 10)));
  near(tilt, degrees(Math.atan2(HALF - 10, Math.hypot(3, 10))));
});

test('a head that hangs higher looks further down', () => {
  const camera = calibratedCamera(DOWN, { camera: 10, head: 12 });
  near(headTo(camera, standingIn(camera, TALL).middle).tilt, degrees(Math.atan2(HALF - 12, 10)));
});

test('who has no ground below the horizon is far away', () => {
  const camera = calibratedCamera({ pan: 10, tilt: 0, hfov: 90, vfov: 90, offset_x_m: 3 }, 5);
  const { pan, tilt } = headTo(
    camera,
    standingIn(camera, { left: -0.1, right: 0.1, bottom: 0.1, top: 0.3 }).middle,
  );
  near(pan, 10, 1e-3);
  near(tilt, degrees(Math.atan(0.2)), 1e-3);
});

test("the head's axis is seen where the person is whom it looks at", () => {
  const camera = calibratedCamera({ ...DOWN, offset_x_m: 3, distortion: 0.05, roll: 4 }, 10);
  const { middle } = standingIn(camera, TALL);
  const { x, y } = placeOfAxis(camera, headTo(camera, middle), middle);
  near(x, 0, 1e-6);
  near(y, 1 / 18, 1e-6);
});

test("without anybody the head's axis is seen on the ground", () => {
  const camera = calibratedCamera({ ...DOWN, offset_x_m: 3 }, 10);
  // The head's middle of 45 degrees down is (0, 10) on the ground: 3 m to the left, in 10 root 2.
  const { x, y } = placeOfAxis(camera, { pan: 0, tilt: -45 });
  near(x, -3 / (10 * Math.SQRT2));
  near(y, 0);
  assert.equal(placeOfAxis(camera, { pan: 180, tilt: 0 }), null);
});
