import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  clampCoordinate,
  edgeMiddle,
  insertVertex,
  moveVertex,
  removeVertex,
} from '../../device/web/js/polygon.js';

const SQUARE = [
  [-0.5, -0.5],
  [-0.5, 0.5],
  [0.5, 0.5],
  [0.5, -0.5],
];

test('a vertex is moved alone, and the given area stays as it is', () => {
  const before = JSON.stringify(SQUARE);
  assert.deepEqual(moveVertex(SQUARE, 1, -0.25, 0.75)[1], [-0.25, 0.75]);
  assert.deepEqual(moveVertex(SQUARE, 1, -0.25, 0.75)[0], [-0.5, -0.5]);
  assert.equal(JSON.stringify(SQUARE), before);
});

test('a vertex that is dragged out of the picture stays at its edge', () => {
  assert.deepEqual(moveVertex(SQUARE, 0, -1.7, 1.2)[0], [-1, 1]);
});

test('coordinates have three decimals and no negative zero', () => {
  assert.equal(clampCoordinate(0.123456), 0.123);
  assert.ok(Object.is(clampCoordinate(-0.0001), 0));
});

test('a vertex is added in the middle of the edge after another, also of the closing edge', () => {
  assert.deepEqual(insertVertex(SQUARE, 0)[1], [-0.5, 0]);
  assert.deepEqual(insertVertex(SQUARE, 3)[4], [0, -0.5]);
  assert.equal(insertVertex(SQUARE, 3).length, 5);
  assert.deepEqual(edgeMiddle(SQUARE, 1), [0, 0.5]);
});

test('a vertex is removed and the others keep their order', () => {
  assert.deepEqual(removeVertex(SQUARE, 1), [SQUARE[0], SQUARE[2], SQUARE[3]]);
});
