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

const pulse = (id, time) => ({ ...EVENT, id, time, stateful: false });

test('a page that is opened has the last minute', () => {
  const store = new Store();
  const { model, history, head, world } = store.handlers();
  model({ channels: [] });
  history({
    time: 60,
    heads: [
      [10, 5, -20, 700, 30, 17],
      [50, 8, -21, 800, 20, 12],
    ],
    people: [
      [10, [[1, 0.5, 6, 4, -19]]],
      [
        50,
        [
          [1, 1, 6, 170, -19],
          [2, 2, 7, 12, -22],
        ],
      ],
    ],
    expected: [
      [10, [4.5, -19.5], [[31, 0.6, 6.1]]],
      [50, null, [[31, 1.1, 6.1]]],
    ],
    events: [],
  });
  assert.deepEqual(store.heads, [
    { time: 10, pan: 5, tilt: -20, zoom: 700, hfov: 30, vfov: 17 },
    { time: 50, pan: 8, tilt: -21, zoom: 800, hfov: 20, vfov: 12 },
  ]);
  assert.deepEqual(store.targets, [
    { time: 10, id: 1, pan: 4, tilt: -19 },
    { time: 50, id: 2, pan: 12, tilt: -22 },
  ]);
  assert.deepEqual(store.aims, [{ time: 10, pan: 4.5, tilt: -19.5 }]);
  assert.deepEqual(store.tracks.get(31), [{ time: 50, x: 1.1, y: 6.1 }], 'trails are shorter');
  assert.deepEqual([...store.trails.keys()], [1, 2]);
  // What comes now goes on from there.
  head(at(60, 9));
  world({ time: 60, people: [{ id: 2, x: 2, y: 8, pan: 10, tilt: 0 }] });
  assert.equal(store.heads.length, 3);
  assert.equal(store.trails.get(2).length, 2);
});

test('events of the last minute are told once, and set no state', () => {
  const store = new Store();
  const heard = [];
  for (const type of ['event', 'replayed', 'past']) {
    store.on(type, ({ id }) => heard.push(`${type} ${id}`));
  }
  const { model, event, history } = store.handlers();
  const minute = (events) => history({ time: 9, heads: [], people: [], expected: [], events });
  const gone = { ...EVENT, id: 3, topics: { topic2: 'alarm' } };
  minute([gone, pulse(4, 'a'), EVENT]);
  event(EVENT);
  event(pulse(5, 'b'));
  event(pulse(5, 'b'));
  assert.equal(store.states.has('alarm'), false);
  assert.equal(store.states.get('state').id, EVENT.id);
  model({ channels: [] });
  minute([gone, pulse(4, 'a'), EVENT, pulse(5, 'b'), pulse(6, 'c')]);
  event(EVENT);
  const first = ['past 3', 'past 4', 'past 6', 'replayed 6', 'event 5', 'event 5'];
  assert.deepEqual(heard, [...first, 'past 6', 'replayed 6']);
});

test('a plot shows at least ten degrees, with round ends around all values', () => {
  assert.deepEqual(rangeOf([0, 0]), { low: -5, high: 5, step: 5 });
  const { low, high, step } = rangeOf([-47.2, -3.6]);
  assert.deepEqual([low, high, step], [-60, 0, 20]);
});
