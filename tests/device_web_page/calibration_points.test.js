import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  describeCamera,
  gradeOf,
  keptIn,
  placeOfClick,
  requestFor,
  residualArrow,
  textToKeep,
  wantedNext,
} from '../../device/web/js/calibration-points.js';

const BOX = { left: 100, top: 50, width: 400, height: 200 };
const at = (x, y) => ({ place: { x, y }, head: { pan: 0, tilt: 0 } });

test('a click is told from the middle, to the right and up', () => {
  assert.deepEqual(placeOfClick(BOX, 300, 150), { x: 0, y: 0 });
  assert.deepEqual(placeOfClick(BOX, 500, 50), { x: 1, y: 1 });
  assert.deepEqual(placeOfClick(BOX, 200, 200), { x: -0.5, y: -0.5 });
});

test('a click beside the picture is none', () => {
  assert.equal(placeOfClick(BOX, 99, 150), null);
  assert.equal(placeOfClick(BOX, 300, 251), null);
});

test('corners are asked for first, then edges, each until it has a point', () => {
  assert.match(wantedNext([]).name, /lower left corner/);
  assert.match(wantedNext([at(-0.8, -0.9)]).name, /lower right corner/);
  const corners = [at(-0.9, -0.9), at(0.9, -0.9), at(-0.9, 0.9), at(0.9, 0.9)];
  assert.match(wantedNext(corners).name, /lower edge/);
  const edges = [at(0, -0.9), at(0, 0.9), at(-0.9, 0), at(0.9, 0)];
  assert.equal(wantedNext([...corners, ...edges]), null);
  assert.match(wantedNext([at(-0.4, -0.4)]).name, /lower left corner/);
});

test('the question names places, directions and, where there are some, heights', () => {
  const points = [{ place: { x: 0.5, y: -0.25 }, head: { pan: 30, tilt: -10 } }];
  const picture = { width: 1920, height: 1080 };
  const plain = {
    width: 1920,
    height: 1080,
    points: [{ x: 0.5, y: -0.25, pan: 30, tilt: -10 }],
  };
  assert.deepEqual(requestFor(points, picture, null), plain);
  assert.deepEqual(requestFor(points, picture, { camera: 5, head: 6 }), {
    ...plain,
    heights: { camera_m: 5, head_m: 6 },
  });
});

test('residuals have grades', () => {
  assert.equal(gradeOf({ residual: 0.15, outlier: false }), 'good');
  assert.equal(gradeOf({ residual: 0.3, outlier: false }), 'fair');
  assert.equal(gradeOf({ residual: 0.31, outlier: false }), 'bad');
  assert.equal(gradeOf({ residual: 0.01, outlier: true }), 'outlier');
});

test('a residual is drawn from the click to where it should be, magnified', () => {
  assert.deepEqual(residualArrow({ x: 0.5, y: 0 }, { x: 0.5, y: 0.125 }, 2), {
    from: { x: 0.5, y: 0 },
    to: { x: 0.5, y: 0.25 },
  });
  assert.equal(residualArrow({ x: 0, y: 0 }, { x: null, y: null }), null);
});

test('a camera is told with its deviations, an offset only where one was sought', () => {
  const data = {
    pan: 10,
    tilt: -20.5,
    roll: 0.25,
    hfov: 90,
    distortion: -0.1,
    offset_x_m: 1.5,
    offset_y_m: 0,
    deviations: { pan: null, tilt: 0.04, roll: 0.1, hfov: 0.2, distortion: 0.01, worst: 0.12 },
  };
  const plain = describeCamera(data).map(([name, value]) => `${name}: ${value}`);
  assert.ok(plain.includes('Pan: 10.00°'));
  assert.ok(plain.includes('Tilt: -20.50 ± 0.04°'));
  assert.ok(plain.includes('Uncertain at the worst by: 0.12°'));
  assert.ok(!plain.some((line) => line.includes('head')));
  data.deviations.offset_m = 0.05;
  const beside = describeCamera(data).map(([name, value]) => `${name}: ${value}`);
  assert.ok(beside.includes('To the right of the head: 1.50 ± 0.05 m'));
});

test('points outlive a page that is loaded anew', () => {
  const kept = { points: [at(0.5, -0.5)], heights: { camera: 6, head: 5 } };
  assert.deepEqual(keptIn(textToKeep(kept)), kept);
  assert.deepEqual(keptIn(textToKeep({ points: [], heights: null })), { points: [], heights: null });
});

test('what is no list of points is none', () => {
  const nothing = { points: [], heights: null };
  const many = textToKeep({ points: Array(13).fill(at(0, 0)), heights: null });
  for (const text of [null, '', '3', '{"points":[{"place":{"x":1}}]}', many]) {
    assert.deepEqual(keptIn(text), nothing);
  }
});
