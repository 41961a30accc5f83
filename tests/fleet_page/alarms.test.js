import assert from 'node:assert/strict';
import test from 'node:test';

import { Alarms } from '../../fleet/web/js/alarms.js';
import { Histories } from '../../fleet/web/js/histories.js';

const alarm = (time, more = {}) => ({
  site: 'north',
  alarm: 'Camera1ProfileANY',
  nice: 'Door',
  time,
  active: true,
  ...more,
});

const times = (list) => list.map((each) => each.time);
const tick = () => new Promise((resume) => setImmediate(resume));

test('what two have told counts once, and the latest comes first', () => {
  const alarms = new Alarms();
  alarms.add([alarm('2'), alarm('4')]);
  alarms.add([alarm('1'), alarm('2'), alarm('3'), alarm('3', { active: false })]);
  assert.deepEqual(times(alarms.list('')), ['4', '3', '3', '2', '1']);
});

test('500 alarms are kept, the latest, in whatever order they come', () => {
  const alarms = new Alarms();
  alarms.add(Array.from({ length: 600 }, (_, number) => alarm(String(1599 - number))));
  const list = alarms.list('');
  assert.equal(list.length, 500);
  assert.equal(list[0].time, '1599');
  assert.equal(list.at(-1).time, '1100');
});

test('alarms are found by site, name and topic', () => {
  const alarms = new Alarms();
  alarms.add([alarm('1'), alarm('2', { site: 'south', nice: 'Gate' }), alarm('3', { alarm: 'CameraANY' })]);
  assert.deepEqual(times(alarms.list(' SOUTH ')), ['2']);
  assert.deepEqual(times(alarms.list('door')), ['3', '1']);
  assert.deepEqual(times(alarms.list('cameraany')), ['3']);
});

/** answers: by path, [status, document]. */
function historiesOf(answers) {
  const asked = [];
  const histories = new Histories(
    () => asked.push('changed'),
    async (path) => {
      asked.push(path);
      const [status, told] = answers[path];
      return { status, ok: status === 200, json: async () => told };
    },
  );
  return { histories, asked };
}

test('the history of all and of one site is read, and what happens then is added to both', async () => {
  const { histories, asked } = historiesOf({
    history: [200, { since: '2026-01-01T12:00:00.000Z', alarms: [alarm('2', { site: 'south' })] }],
    'history?site=north': [200, { since: '2025-12-25T08:30:00.000Z', alarms: [alarm('1')] }],
  });
  histories.add([alarm('3')]);
  histories.readAgain();
  await tick();
  assert.deepEqual(times(histories.shown.list('')), ['3', '2']);
  assert.equal(histories.words, 'since 2026-01-01 12:00');
  histories.choose('north');
  histories.choose('north');
  assert.deepEqual(times(histories.shown.list('')), ['3']);
  await tick();
  assert.deepEqual(times(histories.shown.list('')), ['3', '1']);
  assert.equal(histories.words, 'since 2025-12-25 08:30');
  histories.add([alarm('5', { site: 'south' }), alarm('4')]);
  assert.deepEqual(times(histories.shown.list('')), ['4', '3', '1']);
  histories.choose('');
  assert.deepEqual(times(histories.shown.list('')), ['5', '4', '3', '2']);
  assert.deepEqual(asked, ['history', 'changed', 'history?site=north', 'changed']);
});

test('what had to go is a gap, and the words say since when there is none', async () => {
  const { histories } = historiesOf({
    history: [200, { since: '2026-01-01T12:00:00.000Z', alarms: [alarm('2026-01-01T12:30:00.000Z')] }],
  });
  histories.readAgain();
  await tick();
  const minute = (number) => `2026-01-02T${10 + Math.floor(number / 60)}:${10 + (number % 50)}:00.${number}Z`;
  histories.add(Array.from({ length: 499 }, (_, number) => alarm(minute(number))));
  assert.equal(histories.words, 'since 2026-01-01 12:00');
  histories.add([alarm('2026-01-03T12:00:00.000Z')]);
  assert.equal(histories.words, 'since 2026-01-02 10:10');
});

test('where no history is kept nothing is said of it, and one that cannot be read is told', async () => {
  const none = historiesOf({ history: [404, {}] });
  none.histories.readAgain();
  await tick();
  assert.equal(none.histories.words, '');
  const broken = historiesOf({ history: [503, {}] });
  broken.histories.add([alarm('3')]);
  broken.histories.readAgain();
  await tick();
  assert.equal(broken.histories.words, 'the history cannot be read');
  assert.deepEqual(times(broken.histories.shown.list('')), ['3']);
});
