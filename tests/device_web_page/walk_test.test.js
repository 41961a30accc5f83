import assert from 'node:assert/strict';
import { test } from 'node:test';

import { calibratedCamera } from '../../device/web/js/calibrated-camera.js';
import {
  boxOf,
  compare,
  directionAt,
  gradeOfMiss,
  nameOfPlace,
  WalkFindings,
  wordsOfMoment,
} from '../../device/web/js/walk-test.js';

const near = (value, expected, within = 1e-9) =>
  assert.ok(Math.abs(value - expected) < within, `${value} is not ${expected}`);

// Far away and level: directions are those of the picture. 90 degrees across and upwards.
const CAMERA = calibratedCamera({ pan: 0, tilt: 0, hfov: 90, vfov: 90 }, 5);
const HEAD = { pan: 0, tilt: 0, hfov: 10, vfov: 6 };
const place = (pan) => Math.tan((pan * Math.PI) / 180);
/** Somebody above the horizon, at a pan, level. */
const at = (id, pan) => ({
  id,
  box: { left: place(pan) - 0.01, right: place(pan) + 0.01, bottom: 0, top: 0 },
});

test('a box is around its outline', () => {
  assert.deepEqual(boxOf([[0.1, -0.2], [0.3, 0.4], [-0.5, 0]]), {
    left: -0.5,
    right: 0.3,
    bottom: -0.2,
    top: 0.4,
  });
  assert.equal(boxOf([]), null);
});

test('of several the one is meant to whom the head has the shortest way', () => {
  const found = compare(CAMERA, [at(7, 20), at(8, -3), at(9, 5)], HEAD);
  assert.equal(found.id, 8);
  near(found.wanted.pan, -3, 1e-3);
  near(found.off, 3, 1e-3);
  assert.equal(compare(CAMERA, [], HEAD), null);
});

test('head and person are marked in the overview, and the box in the picture of the head', () => {
  const found = compare(CAMERA, [at(1, 3)], HEAD);
  near(found.axis.x, 0);
  near(found.middle.x, place(3));
  const xs = found.frame.map(({ x }) => x);
  near((Math.min(...xs) + Math.max(...xs)) / 2, place(3) / place(5), 1e-3);
  assert.equal(compare(CAMERA, [at(1, 3)], { ...HEAD, pan: 180 }).frame, null);
});

test("a place of the head's picture is a direction", () => {
  near(directionAt(HEAD, { x: 1, y: 0 }).pan, 5);
  near(directionAt(HEAD, { x: 0, y: 1 }).tilt, 3);
  near(directionAt({ ...HEAD, tilt: -60 }, { x: 0, y: 1 }).tilt, -57);
  const down = directionAt({ pan: 175, tilt: -60, hfov: 10, vfov: 6 }, { x: 1, y: 0 });
  // 5 degrees across are 9.9 of pan where the head looks 60 degrees down.
  near(down.pan, -185 + (Math.atan2(place(5), 0.5) * 180) / Math.PI);
});

test('what somebody sees is compared with what the calibration says', () => {
  const findings = new WalkFindings();
  const compared = compare(CAMERA, [at(1, 2)], HEAD);
  near(findings.add(compared, HEAD, { x: place(2) / place(5), y: 0 }), 0, 1e-3);
  assert.match(findings.words, /^0\.0° off at most, middle: good\. Try other parts/);
  near(findings.add(compared, HEAD, { x: 0, y: 0 }), 2, 1e-3);
  assert.match(findings.words, /^2\.0° off at most, middle: add a point there/);
  findings.clear();
  assert.equal(findings.words, '');
});

test('three parts of the picture are enough', () => {
  const findings = new WalkFindings();
  for (const pan of [-30, 0, 30]) {
    const head = { ...HEAD, pan: pan + 0.7 };
    findings.add(compare(CAMERA, [at(1, pan)], head), head, { x: 0, y: 0 });
  }
  assert.match(findings.words, /^0\.7° off at most, .* not in its middle\.$/);
});

test('misses have grades, and places names', () => {
  assert.deepEqual([0.5, 1, 1.01].map(gradeOfMiss), ['good', 'fair', 'bad']);
  assert.equal(nameOfPlace({ x: 0, y: 0 }), 'middle');
  assert.equal(nameOfPlace({ x: -0.9, y: -0.9 }), 'lower left');
  assert.equal(nameOfPlace({ x: 0.9, y: 0 }), 'right middle');
  assert.equal(nameOfPlace({ x: 0, y: 0.9 }), 'upper middle');
});

test('the moment is told in degrees', () => {
  assert.match(wordsOfMoment(null, null), /Nothing is known of the head/);
  assert.match(wordsOfMoment(null, HEAD), /nobody/);
  const words = wordsOfMoment(compare(CAMERA, [at(1, 3)], HEAD), HEAD);
  assert.match(words, /ought to look to pan 3\.0°, tilt 0\.0°; it looks to pan 0\.0°/);
  assert.match(words, /3\.0° from there/);
});
