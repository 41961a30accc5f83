import assert from 'node:assert/strict';
import { test } from 'node:test';

import { CalibrationSession } from '../../device/web/js/calibration-session.js';

const PICTURE = { width: 1920, height: 1080 };

/** A session whose device is the test; time passes by tick(). */
function start(means = {}) {
  const told = { moves: [], requests: [], later: [] };
  const timers = new Map();
  const session = new CalibrationSession({
    picture: PICTURE,
    headDirection: () => ({ pan: 30, tilt: -10, hfov: 60 }),
    solve: async (request) => {
      told.requests.push(request);
      return { data: { points: [] } };
    },
    moveHead: async (speeds) => told.moves.push(speeds),
    setInterval: (call) => {
      const id = timers.size + 1;
      timers.set(id, call);
      return id;
    },
    clearInterval: (id) => timers.delete(id),
    setTimeout: (call) => told.later.push(call),
    ...means,
  });
  return { session, told, timers, tick: () => [...timers.values()].forEach((call) => call()) };
}

const answered = () => new Promise((resolve) => setImmediate(resolve));

async function addPoints(session, count) {
  for (let i = 0; i < count; ++i) {
    session.click({ x: i / 20, y: 0 });
    await session.take();
  }
}

test('a point is a click and then the head on it', async () => {
  const { session } = start();
  await session.take();
  assert.equal(session.points.length, 0);
  session.click({ x: 0.5, y: -0.5 });
  assert.match(session.advice, /Lead the head/);
  await session.take();
  assert.deepEqual(session.points, [{ place: { x: 0.5, y: -0.5 }, head: { pan: 30, tilt: -10 } }]);
  assert.equal(session.pending, null);
});

test('without a direction of the head nothing is taken', async () => {
  const { session } = start({ headDirection: () => null });
  session.click({ x: 0, y: 0 });
  await session.take();
  assert.equal(session.points.length, 0);
});

test('no point is taken while the head moves, and that is told', async () => {
  let isMoving = true;
  const { session } = start({ isMoving: () => isMoving });
  session.click({ x: 0, y: 0 });
  await session.take();
  assert.equal(session.points.length, 0);
  assert.match(session.problem, /still moves/);
  isMoving = false;
  await session.take();
  assert.equal(session.points.length, 1);
  assert.equal(session.problem, '');
});

test('the camera is asked for from the fourth point on, beside the head from the fifth', async () => {
  const { session, told } = start();
  await addPoints(session, 3);
  assert.equal(told.requests.length, 0);
  await addPoints(session, 1);
  assert.equal(told.requests.length, 1);
  assert.ok(session.answer.data);
  await session.setHeights({ camera: 5, head: 5 });
  assert.equal(told.requests.length, 1);
  assert.equal(session.answer, null);
  await addPoints(session, 1);
  assert.deepEqual(told.requests[1].heights, { camera_m: 5, head_m: 5 });
});

test('removing a point asks anew', async () => {
  const { session, told } = start();
  await addPoints(session, 5);
  await session.remove(0);
  assert.equal(told.requests.at(-1).points.length, 4);
});

test('points that were kept are there again, and can go together', async () => {
  const { session, told } = start();
  const points = Array.from({ length: 5 }, (_, i) => ({
    place: { x: i / 20, y: 0 },
    head: { pan: i, tilt: 0 },
  }));
  await session.restore({ points, heights: { camera: 6, head: 5 } });
  assert.equal(session.points.length, 5);
  assert.deepEqual(told.requests[0].heights, { camera_m: 6, head_m: 5 });
  session.click({ x: 0.9, y: 0 });
  await session.removeAll();
  assert.deepEqual([session.points, session.pending], [[], null]);
  assert.deepEqual(session.heights, { camera: 6, head: 5 });
});

test('no more than twelve points', async () => {
  const { session } = start();
  await addPoints(session, 14);
  assert.equal(session.points.length, 12);
});

test('what fails is told, and an old answer is gone', async () => {
  const { session } = start({
    solve: async () => {
      throw new Error('The device is not reachable.');
    },
  });
  await addPoints(session, 4);
  assert.equal(session.problem, 'The device is not reachable.');
  assert.equal(session.answer, null);
});

test('who was not answered asks again, until there are other points', async () => {
  let isThere = false;
  const { session, told } = start({
    solve: async () => {
      if (!isThere) throw new Error('The device is not reachable.');
      return { data: 'found' };
    },
  });
  await addPoints(session, 5);
  const [former, last] = told.later;
  isThere = true;
  await former();
  assert.equal(session.answer, null);
  await last();
  assert.deepEqual(session.answer, { data: 'found' });
  assert.equal(session.problem, '');
});

test('an answer that comes late counts no more', async () => {
  const waiting = [];
  const { session } = start({ solve: () => new Promise((resolve) => waiting.push(resolve)) });
  await addPoints(session, 3);
  session.click({ x: 0.9, y: 0 });
  const fourth = session.take();
  session.click({ x: 0.9, y: 0.9 });
  const fifth = session.take();
  waiting[1]({ data: 'new' });
  waiting[0]({ data: 'old' });
  await Promise.all([fourth, fifth]);
  assert.deepEqual(session.answer, { data: 'new' });
});

test('arrow keys move the head at once and again while they are held', async () => {
  const { session, told, timers, tick } = start();
  session.press('ArrowLeft', false);
  assert.deepEqual(told.moves, [{ pan: -4, tilt: 0 }]);
  session.press('ArrowLeft', false); // repeated by the keyboard
  assert.equal(told.moves.length, 1);
  await answered();
  tick();
  assert.equal(told.moves.length, 2);
  await answered();
  session.press('ArrowUp', false);
  assert.deepEqual(told.moves.at(-1), { pan: -4, tilt: 4 });
  await answered();
  session.release('ArrowLeft');
  assert.deepEqual(told.moves.at(-1), { pan: 0, tilt: 4 });
  await answered();
  session.release('ArrowUp');
  assert.deepEqual(told.moves.at(-1), { pan: 0, tilt: 0 });
  assert.equal(timers.size, 0);
});

test('no speed overtakes a stop: a stop is told at once, and again after what was on its way', async () => {
  const answers = [];
  const moves = [];
  const moveHead = (speeds) => {
    moves.push(speeds.pan);
    return new Promise((resolve) => answers.push(resolve));
  };
  const { session, tick } = start({ moveHead });
  session.press('ArrowRight', false);
  tick();
  tick();
  assert.deepEqual(moves, [4]);
  session.release('ArrowRight');
  assert.deepEqual(moves, [4, 0]);
  answers[1]();
  await answered();
  assert.deepEqual(moves, [4, 0]);
  answers[0]();
  await answered();
  assert.deepEqual(moves, [4, 0, 0]);
  answers[2]();
  await answered();
  assert.equal(moves.length, 3);
});

test('the zoom is led where that is wished, and stands when its key is released', async () => {
  const { session, told } = start({ zooms: true });
  session.press('+', false);
  assert.deepEqual(told.moves.at(-1), { pan: 0, tilt: 0, zoom: 4 });
  await answered();
  session.release('+');
  assert.deepEqual(told.moves.at(-1), { pan: 0, tilt: 0, zoom: 0 });
  await answered();
  session.press('-', true);
  assert.deepEqual(told.moves.at(-1), { pan: 0, tilt: 0, zoom: -30 });
  const without = start();
  without.session.press('+', false);
  assert.deepEqual(without.told.moves, []);
});

test('with shift it is faster, other keys do nothing', () => {
  const { session, told } = start();
  session.press('a', false);
  assert.equal(told.moves.length, 0);
  session.press('ArrowDown', true);
  assert.deepEqual(told.moves, [{ pan: 0, tilt: -30 }]);
});

test('losing the focus stops the head', () => {
  const { session, told, timers } = start();
  session.releaseAll();
  assert.equal(told.moves.length, 0);
  session.press('ArrowRight', false);
  session.releaseAll();
  assert.deepEqual(told.moves.at(-1), { pan: 0, tilt: 0 });
  assert.equal(timers.size, 0);
});
