import assert from 'node:assert/strict';
import { test } from 'node:test';

import { FollowingPanel, atWork, thoughtTexts } from '../../device/web/js/following.js';
import { Store } from '../../device/web/js/store.js';

const HEAD = {
  pan: { deadTime: 0.255, speed: 118.4, acceleration: 301, ratio: 1 },
  tilt: { deadTime: 0.2, speed: 80, acceleration: 150, ratio: 1 },
  misfit: 0.25,
};
const AIM = { pan: 10, tilt: -20, width: 2, height: 6, deviation: 0.34, ahead: 0.15, gap: 1.25 };

const person = (identity, x, y, others = {}) => ({
  identity,
  place: [x, y],
  velocity: [0, 0],
  covariance: [0.04, 0, 0.01],
  height: 1.7,
  unseen: 0,
  wanted: true,
  followed: false,
  ...others,
});

const told = (time, people, aim = AIM) => ({
  time,
  chosen: 'predictive',
  thought: { head: HEAD, aim, people },
});

test('what prediction goes by is told in words', () => {
  const texts = thoughtTexts({
    head: HEAD,
    aim: AIM,
    people: [person(1, 0, 5), person(2, 3, 3, { wanted: false })],
  });
  assert.deepEqual(texts, {
    'thought-dead-time': '255 ms, 200 ms',
    'thought-speed': '118 °/s, 80 °/s',
    'thought-acceleration': '301 °/s², 150 °/s²',
    'thought-misfit': '25 %',
    'thought-ahead': '150 ms',
    'thought-deviation': '0.3 °',
    'thought-gap': '1.3 s',
    'thought-people': '2, wanted 1',
  });
});

test('without a thought, and of a head that is not known, there is nothing to tell', () => {
  assert.deepEqual([...new Set(Object.values(thoughtTexts(null)))], ['-']);
  const texts = thoughtTexts({ head: null, aim: null, people: [] });
  assert.equal(texts['thought-dead-time'], '-');
  assert.equal(texts['thought-gap'], '-');
  assert.equal(texts['thought-people'], '0, wanted 0');
});

test('what is chosen and what is at work are kept apart', () => {
  const thought = { head: HEAD, aim: null, people: [] };
  const state = (chosen, thoughts) => atWork({ chosen, thought: thoughts }).state;
  assert.equal(state('predictive', thought), 'predictive');
  assert.equal(state('predictive', { ...thought, head: null }), 'identifying');
  assert.equal(state('predictive', null), 'specified');
  assert.equal(state('specified', null), 'specified');
  assert.equal(state('specified', thought), 'predictive');
  const texts = [
    ['predictive', thought],
    ['predictive', null],
    ['specified', null],
    ['specified', thought],
  ].map(([chosen, thoughts]) => atWork({ chosen, thought: thoughts }).text);
  assert.equal(new Set(texts).size, 4);
});

test('aims and tracks by identity are kept', () => {
  const store = new Store();
  const { daemon, following } = store.handlers();
  daemon({ running: true });
  following(told(1, [person(7, 0, 5)]));
  following(told(2, [person(7, 0.5, 5), person(8, 3, 3)], null));
  assert.deepEqual(store.aims, [{ time: 1, pan: 10, tilt: -20 }]);
  assert.deepEqual(store.tracks.get(7), [
    { time: 1, x: 0, y: 5 },
    { time: 2, x: 0.5, y: 5 },
  ]);
  assert.deepEqual([...store.tracks.keys()], [7, 8]);
  following(told(18, [person(8, 3, 4)]));
  assert.deepEqual([...store.tracks.keys()], [8], 'who has gone leaves no track');
});

test('a daemon that does not run thinks nothing', () => {
  const store = new Store();
  const { daemon, following, model } = store.handlers();
  daemon({ running: true });
  following(told(1, []));
  assert.equal(store.thought.head, HEAD);
  daemon({ running: false });
  assert.equal(store.thought, null);
  daemon({ running: true });
  following({ time: 2, chosen: 'specified', thought: null });
  assert.equal(store.thought, null);
  model({ channels: [] });
  assert.equal(store.following, null);
  assert.deepEqual([store.aims.length, store.tracks.size], [0, 0]);
});

test('what the user has to do after a choice is told until the next one', async (context) => {
  const elements = {};
  const elementOf = (id) =>
    (elements[id] ??= { dataset: {}, addEventListener() {}, setAttribute() {}, textContent: '' });
  globalThis.document = { querySelector: (selector) => elementOf(/"(.*)"/.exec(selector)[1]) };
  context.after(() => delete globalThis.document);
  let answer = { data: { notice: 'Start it again' } };
  context.mock.method(globalThis, 'fetch', async () => Response.json(answer));
  const panel = new FollowingPanel({ on() {} });
  const notice = () => elementOf('notice-following').textContent;
  await panel.choose('specified');
  assert.equal(notice(), 'Start it again');
  assert.equal(elementOf('error-following').textContent, '', 'nothing went wrong');
  answer = { data: {} };
  await panel.choose('predictive');
  assert.equal(notice(), '');
  answer = { data: { notice: 'Start it again' } };
  await panel.choose('specified');
  answer = { error: { code: '1000', message: 'It cannot be written' } };
  await panel.choose('predictive');
  assert.equal(notice(), '', 'that choice was not taken');
  assert.match(elementOf('error-following').textContent, /cannot be written/);
});
