import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  adviceOf,
  pairOf,
  toldOfCalibration,
  toldOfCamera,
  toldOfHead,
  verticalAngle,
} from '../../device/web/js/setup-told.js';

const EMPTY = {
  fieldIn: NaN,
  fieldOut: NaN,
  panLow: NaN,
  panHigh: NaN,
  tiltLow: NaN,
  tiltHigh: NaN,
  sensorWidth: NaN,
  invertPan: false,
  invertTilt: false,
};

test('a pair needs both of its numbers', () => {
  assert.deepEqual(pairOf(2.5, 63.4), [2.5, 63.4]);
  assert.equal(pairOf(NaN, 63.4), undefined);
  assert.equal(pairOf(2.5, NaN), undefined);
});

test('what is not entered is not told of the head', () => {
  assert.deepEqual(toldOfHead(EMPTY), {});
  assert.deepEqual(toldOfHead({ ...EMPTY, tiltLow: -90, tiltHigh: 20, invertPan: true }), {
    tilt_range: [-90, 20],
    invert_pan: true,
  });
});

test('the angle from bottom to top follows from the picture', () => {
  assert.ok(Math.abs(verticalAngle(90, 100, 100) - 90) < 1e-9);
  // tan(45 degrees) * 9 / 16 = 0.5625, whose angle is 29.3578 degrees, twice
  assert.ok(Math.abs(verticalAngle(90, 1600, 900) - 58.7155) < 1e-3);
});

test('a camera that does not tell its picture has 16 to 9', () => {
  const told = toldOfCamera({ name: 'Gate', angle: 90 }, { width: 0, height: 0 });
  assert.equal(told.name, 'Gate');
  assert.equal(told.horizontal_fov, 90);
  assert.ok(Math.abs(told.vertical_fov - 58.7155) < 1e-3);
});

test('a calibration is kept whole', () => {
  const found = { pan: 1, tilt: 2, roll: 3, hfov: 4, vfov: 5, distortion: 6, offset_x_m: 7, offset_y_m: 8 };
  assert.deepEqual(toldOfCalibration(found), {
    pan: 1,
    tilt: 2,
    roll: 3,
    horizontal_fov: 4,
    vertical_fov: 5,
    distortion: 6,
    offset_x: 7,
    offset_y: 8,
  });
});

test('metadata that are off are told apart from a camera without analytics', () => {
  assert.equal(adviceOf({ objects: true, analytics: true }), '');
  assert.match(adviceOf({ objects: false, analytics: true }), /off in its metadata/);
  assert.match(adviceOf({ objects: false, analytics: false }), /in the camera itself/);
  assert.equal(adviceOf(undefined), '');
});
