import assert from 'node:assert/strict';
import { test } from 'node:test';

import { rangeOf } from '../../device/web/js/range.js';
import { Store, forgetOlder, speedsOf } from '../../device/web/js/store.js';

const at = (time, pan, tilt = 0) => ({ time, pan, tilt });

test('speeds are taken over about half a second', () => {
  const heads = [at(0, -50), at(1, 0), at(1.25, 5), at(1.5, 10, -2)];
  assert.deepEqual(speedsOf(heads), { pan: 20, tilt: -4 });
});

test('a head that passes the end of the pan scale does not race', () => {
  assert.ok(Math.abs(speedsOf([at(0, 175), at(0.5, -175)]).pan - 20) < 1e-9);
});

test('without enough positions nothing moves', () => {
  assert.deepEqual(speedsOf([]), { pan: 0, tilt: 0 });
  assert.deepEqual(speedsOf([at(0, 1), at(0.1, 2)]), { pan: 0, tilt: 0 });
});

test('a history keeps its span', () => {
  const list = [0, 10, 59, 60, 70].map((time) => ({ time }));
  forgetOlder(list, 60);
  assert.deepEqual(
    list.map(({ time }) => time),
    [10, 59, 60, 70],
  );
});

const EVENT = {
  id: 6,
  topics: { topic0: 'MiruPlatform', topic1: 'SentrelVideo', topic2: 'state' },
  data: { value: 'running' },
  source: {},
  stateful: true,
  time: '2026-01-01T12:00:00.123Z',
};

function recorded(store) {
  const heard = [];
  for (const type of ['event', 'replayed']) store.on(type, () => heard.push(type));
  return heard;
}

test('a state that is told again with a new connection is no new event', () => {
  const store = new Store();
  const heard = recorded(store);
  const { model, event } = store.handlers();
  event(EVENT);
  model({ channels: [] });
  event(EVENT);
  event({ ...EVENT, time: '2026-01-01T12:00:09.000Z' });
  assert.deepEqual(heard, ['event', 'replayed', 'event']);
});

test('a state that is declared anew outlives its former declaration', () => {
  const store = new Store();
  const { event, undeclared } = store.handlers();
  event(EVENT);
  event({ ...EVENT, id: 9 });
  undeclared({ id: EVENT.id, topics: EVENT.topics });
  assert.equal(store.states.get('state')?.id, 9);
  undeclared({ id: 9, topics: EVENT.topics });
  assert.equal(store.states.has('state'), false);
});

test("the tracker's state is known while the daemon runs", () => {
  const store = new Store();
  const { daemon, event, undeclared } = store.handlers();
  assert.equal(store.trackerState, null);
  daemon({ running: true });
  event(EVENT);
  assert.equal(store.trackerState, 'running');
  undeclared({ id: 6, topics: EVENT.topics });
  assert.equal(store.trackerState, null);
  event({ ...EVENT, data: { value: 'stopped' } });
  daemon({ running: false });
  assert.equal(store.trackerState, null);
});

test('the nearest person is the target, and its trail is kept', () => {
  const store = new Store();
  const { head, world } = store.handlers();
  const person = (id, pan) => ({ id, x: id, y: 0, pan, tilt: 0 });
  head(at(1, 10));
  world({ time: 1, people: [person(1, -20), person(2, 15)] });
  assert.equal(store.nearest.id, 2);
  assert.deepEqual(store.targets, [{ time: 1, id: 2, pan: 15, tilt: 0 }]);
  world({ time: 30, people: [person(2, 15)] });
  assert.deepEqual([...store.trails.keys()], [2]);
});

test('a plot shows at least ten degrees, with round ends around all values', () => {
  assert.deepEqual(rangeOf([0, 0]), { low: -5, high: 5, step: 5 });
  const { low, high, step } = rangeOf([-47.2, -3.6]);
  assert.deepEqual([low, high, step], [-60, 0, 20]);
});
