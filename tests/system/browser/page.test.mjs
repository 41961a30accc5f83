/**
 * The page in a browser, beside the real processes. Needs SENTREL_BUILD, the build folder; writes a
 * picture of the page to the file SENTREL_SCREENSHOT when that is set.
 */

import assert from 'node:assert/strict';
import { mkdirSync, writeFileSync } from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { BUILD, launch, restingHead } from './browser.mjs';
import { DeviceRun, REPOSITORY } from './device_run.mjs';

const PATIENCE = 90_000; // milliseconds; more than a machine that is busy needs
const SAMPLES = 120;
const SAMPLE_PERIOD = 250; // milliseconds: half a minute altogether
const FOLLOWING_WITHIN = 150_000; // milliseconds; there are rests in which nobody is there
const LEAST_TURN = 2; // degrees
const LEAST_IN_VIEW = 0.75; // as a share of the samples
const BAD_SIZE = 101; // per cent
const PHONE = { width: 390, height: 800 };
const LEAST_HISTORY = 20; // seconds, of those in which the head has followed for half a minute

// It ends by itself should nobody be left to end it.
const run = new DeviceRun(BUILD, '--restart-daemon', '--duration', '240');
let url;
let browser;
let page;

const element = (id) => page.getByTestId(id).first();

async function waitForState(id, state) {
  const selector = `[data-testid="${id}"][data-state="${state}"]`;
  await page.locator(selector).waitFor({ state: 'attached', timeout: PATIENCE });
}

async function ask(method, params) {
  const body = JSON.stringify({ apiVersion: '1.0', method, params });
  const answer = await fetch(new URL('api/sentrelvideo', url), { method: 'POST', body });
  return answer.json();
}

async function firstProfile() {
  const { data } = await ask('getConfiguration');
  return { configuration: data, profile: data.profiles[0] };
}

/** The vertices of a profile's include area. */
const areaOf = ({ triggers }) => triggers.find(({ type }) => type === 'includeArea').data;

before(async () => {
  url = await run.address();
  browser = await launch();
  page = await browser.newPage({ viewport: { width: 1400, height: 900 }, colorScheme: 'light' });
  page.setDefaultTimeout(PATIENCE);
  await page.goto(url);
  await waitForState('tracker-state', 'running');
});

after(async () => {
  await browser?.close();
  assert.equal(await run.stop(), 0, run.lines.join('\n'));
});

/** What the page shows while the head follows somebody. */
function readSamples({ count, period }) {
  const text = (id) => document.querySelector(`[data-testid="${id}"]`).textContent;
  const samples = [];
  return new Promise((resolve) => {
    const timer = setInterval(() => {
      const error = Number.parseFloat(text('target-error'));
      if (text('steering') !== 'following' || Number.isNaN(error)) return;
      samples.push({
        pan: Number.parseFloat(text('head-pan')),
        field: Number.parseFloat(text('head-field')),
        error,
      });
      if (samples.length < count) return;
      clearInterval(timer);
      resolve(samples);
    }, period);
  });
}

test(
  'the head follows people and keeps them in its picture',
  { timeout: FOLLOWING_WITHIN },
  async (t) => {
    const samples = await page.evaluate(readSamples, { count: SAMPLES, period: SAMPLE_PERIOD });
    const pans = samples.map(({ pan }) => pan);
    const inView = samples.filter(({ error, field }) => error < field / 2);
    const turned = Math.max(...pans) - Math.min(...pans);
    t.diagnostic(
      `In view ${inView.length} of ${SAMPLES} times, turned by ${turned.toFixed(1)} degrees`,
    );
    const all = JSON.stringify(samples);
    assert.ok(turned > LEAST_TURN, `The head hardly moved: ${all}`);
    assert.ok(inView.length >= LEAST_IN_VIEW * SAMPLES, `Nobody in its picture: ${all}`);
  },
);

/**
 * Whether more than some points of a canvas, from a share of its width to another, have a colour of the
 * page. Runs in it.
 */
function hasPixels([id, colour, from, to]) {
  const many = 10;
  const canvas = document.querySelector(`[data-testid="${id}"]`);
  const context = canvas.getContext('2d');
  const probe = document.createElement('canvas').getContext('2d');
  probe.fillStyle = getComputedStyle(canvas).getPropertyValue(`--${colour}`);
  probe.fillRect(0, 0, 1, 1);
  const [red, green, blue] = probe.getImageData(0, 0, 1, 1).data;
  const [left, right] = [from, to].map((share) => Math.round(share * canvas.width));
  const { data } = context.getImageData(left, 0, right - left, canvas.height);
  let count = 0;
  for (let at = 0; at < data.length; at += 4) {
    count += data[at] === red && data[at + 1] === green && data[at + 2] === blue ? 1 : 0;
  }
  return count > many;
}

/** Waits until a canvas shows something in a colour. */
const drawn = (shown, id, colour) =>
  shown.waitForFunction(hasPixels, [id, colour, 0, 1], { timeout: PATIENCE });

test('what prediction goes by is told and drawn', async () => {
  await waitForState('following-state', 'predictive');
  assert.match(await element('thought-dead-time').textContent(), /^\d+ ms, \d+ ms$/);
  assert.match(await element('thought-speed').textContent(), /^\d+ °\/s, \d+ °\/s$/);
  assert.match(await element('thought-misfit').textContent(), /^\d+ %$/);
  await page.getByTestId('thought-people').filter({ hasText: /^\d+, wanted [1-9]/ }).waitFor();
  await page.getByTestId('thought-ahead').filter({ hasText: /^\d+ ms$/ }).waitFor();
  await drawn(page, 'map', 'thought');
  await drawn(page, 'head-view', 'thought');
  await drawn(page, 'plot', 'thought');
});

test('a page that is opened later has the last minute at once, also on a phone at night', async () => {
  const late = await browser.newPage({ viewport: PHONE, colorScheme: 'dark' });
  const history = page.evaluate(
    () =>
      new Promise((resolve) => {
        const source = new EventSource('/live');
        source.addEventListener('history', (message) => {
          source.close();
          resolve(JSON.parse(message.data));
        });
      }),
  );
  await late.goto(url);
  await drawn(late, 'plot', 'head');
  // What has come since it was opened is nearer to now than that.
  assert.ok(await late.evaluate(hasPixels, ['plot', 'head', 0.4, 0.7]), 'nothing of the time before');
  const { time, heads, expected, events } = await history;
  assert.ok(time - heads[0][0] > LEAST_HISTORY, `${heads[0]} at ${time}`);
  assert.ok(expected.some(([, aim, people]) => aim && people.length > 0));
  assert.ok(events.length > 0);
  await late.getByTestId('event').first().waitFor();
  const overhang = await late.evaluate(() => document.documentElement.scrollWidth - innerWidth);
  assert.ok(overhang <= 0, `The page is ${overhang} pixels wider than the phone`);
  await late.close();
});

test('the running score is shown, and nothing about a tuning that succeeded', async () => {
  await page.getByTestId('score-detected').filter({ hasText: /^\d+ %$/ }).waitFor();
  assert.match(await element('score-seconds').textContent(), /^\d+ of \d+ s$/);
  assert.match(await element('score-error').textContent(), /^\d+\.\d °$/);
  assert.match(await element('score-acceleration').textContent(), /^\d+ °\/s²$/);
  assert.equal(await element('tuning-notice').isHidden(), true);
});

test('a vertex that is dragged and saved is in force', async () => {
  const { profile: old } = await firstProfile();
  await element('profile-select').click();
  const vertex = page.getByTestId('vertex').nth(1);
  await vertex.scrollIntoViewIfNeeded();
  const box = await vertex.boundingBox();
  const picture = await element('picture-1').boundingBox();
  const [fromX, fromY] = areaOf(old)[1];
  // Towards the middle, wherever the vertex is; y counts upwards.
  const [dx, dy] = [-Math.sign(fromX) * 40, Math.sign(fromY) * 24];
  const [x, y] = [box.x + box.width / 2, box.y + box.height / 2];
  await page.mouse.move(x, y);
  await page.mouse.down();
  await page.mouse.move(x + dx, y + dy, { steps: 8 });
  await page.mouse.up();
  await element('save').click();
  await page.getByTestId('editor-status').filter({ hasText: 'Saved.' }).waitFor();

  const { profile } = await firstProfile();
  const [toX, toY] = areaOf(profile)[1];
  const near = (value, expected) => assert.ok(Math.abs(value - expected) < 0.01, [value, expected]);
  near(toX, fromX + (2 * dx) / picture.width);
  near(toY, fromY - (2 * dy) / picture.height);
  await element('visual-confirmation').click();
  // Drawings have three decimals, of coordinates in steps of 1/4096.
  await page.waitForFunction(
    ([vertexX, vertexY]) => {
      const areas = document.querySelectorAll('[data-testid=confirmation-1] polygon.includeArea');
      return [...areas].some((area) =>
        [...area.points].some((point) => Math.hypot(point.x - vertexX, point.y - vertexY) < 0.002),
      );
    },
    [toX, toY],
  );
  await takePicture();
});

async function takePicture() {
  if (!process.env.SENTREL_SCREENSHOT) return;
  await page.evaluate(() => {
    document.activeElement?.blur();
    scrollTo(0, 0);
  });
  const file = path.resolve(REPOSITORY, process.env.SENTREL_SCREENSHOT);
  mkdirSync(path.dirname(file), { recursive: true });
  writeFileSync(file, await page.screenshot());
}

test('a value that the daemon refuses is told at its field', async () => {
  const { configuration } = await firstProfile();
  const bad = structuredClone(configuration);
  bad.profiles[0].filters.find(({ type }) => type === 'sizePercentage').data[0] = BAD_SIZE;
  const { error } = await ask('setConfiguration', bad);
  assert.ok(error.message);

  const field = element('field-sizePercentage-width');
  const before = await field.inputValue();
  await field.fill(String(BAD_SIZE));
  await element('save').click();
  await element('error-sizePercentage-width').filter({ hasText: error.message }).waitFor();
  await element('api-error').filter({ hasText: error.message }).waitFor();
  assert.equal(await field.getAttribute('aria-invalid'), 'true');
  assert.deepEqual((await firstProfile()).configuration, configuration);
  await field.fill(before);
});

/** As a user does who does not want to wait until the head rests. */
async function switchOffAndOn() {
  await element('field-enable').uncheck();
  await waitForState('tracker-state', 'stopped');
  await element('field-enable').check();
}

async function chosenWay() {
  const body = JSON.stringify({ apiVersion: '1.0', method: 'getDeviceSettings' });
  const answer = await fetch(new URL('api/device', url), { method: 'POST', body });
  return (await answer.json()).data.following;
}

test('the way of following is switched on the running daemon, by keyboard', async () => {
  const daemon = run.daemonPid();
  await element('field-following').focus();
  await page.keyboard.press('ArrowDown');
  await switchOffAndOn();
  await waitForState('following-state', 'specified');
  await waitForState('tracker-state', 'running');
  assert.equal(await chosenWay(), 'specified');
  const { error } = await ask('getFollowing');
  assert.equal(error.code, '2005');
  await page.getByTestId('thought-dead-time').filter({ hasText: /^-$/ }).waitFor();
  assert.equal(await element('identify').isDisabled(), true);

  await element('field-following').selectOption('predictive');
  await switchOffAndOn();
  await waitForState('following-state', 'predictive');
  assert.equal((await ask('getFollowing')).data.head.misfit, 0);
  await element('identify').click();
  await page.getByTestId('identify-status').filter({ hasText: /anew/ }).waitFor();
  await switchOffAndOn();
  await waitForState('tracker-state', 'autotuning');
  await waitForState('following-state', 'identifying');
  assert.equal(run.daemonPid(), daemon);
});

test('a daemon that is lost and comes back loses nothing that was typed', async () => {
  await element('field-name').fill('Kept');
  const lost = run.daemonPid();
  assert.ok(lost);
  process.kill(lost, 'SIGKILL');
  await waitForState('banner', 'daemonDown');
  assert.match(await element('banner').textContent(), /not running/);
  await waitForState('banner', 'fine');
  await waitForState('tracker-state', 'running');
  assert.notEqual(run.daemonPid(), lost);
  assert.equal(await element('field-name').inputValue(), 'Kept');
  await element('save').click();
  await page.getByTestId('editor-status').filter({ hasText: 'Saved.' }).waitFor();
  assert.equal((await firstProfile()).profile.name, 'Kept');
});

test('a camera is calibrated by clicks and arrow keys', async () => {
  await ask('setSentrel', { enable: false });
  await page.goto(new URL('calibration.html?camera=1', url).href);
  const direction = page.getByTestId('head-direction');
  await direction.and(page.locator('[data-pan]')).waitFor();
  const panOf = () => direction.evaluate(({ dataset }) => Number(dataset.pan));
  const marks = page.getByTestId('calibration-marks').locator('.point');
  await restingHead(page);
  const picture = await element('picture-1').boundingBox();
  for (const [x, y] of [[0.1, 0.1], [0.9, 0.1], [0.1, 0.9], [0.9, 0.9]]) {
    await page.mouse.click(picture.x + x * picture.width, picture.y + y * picture.height);
    await element('calibration-take').click();
  }
  // All with the head where it was.
  await page.getByTestId('calibration-refusal').filter({ hasText: 'contradict' }).waitFor();
  assert.equal(await marks.count(), 4);
  assert.equal(await page.getByTestId('calibration-point').count(), 4);

  await element('calibration').focus();
  const from = await panOf();
  await page.keyboard.down('ArrowRight');
  await page.waitForFunction(
    (start) => Number(document.querySelector('[data-testid=head-direction]').dataset.pan) - start > 5,
    from,
  );
  await page.keyboard.up('ArrowRight');
});

/** A calibration whose head is where the test says, by the device's own arithmetic. */
async function calibrateBy(points) {
  const { CalibrationPanel } = await import('/js/calibration-panel.js');
  const { CalibrationSession } = await import('/js/calibration-session.js');
  const { solve } = await import('/js/calibration-api.js');
  const picture = document.createElement('div');
  const step = document.createElement('div');
  document.body.append(picture, step);
  let head = null;
  const session = new CalibrationSession({
    picture: { width: 1000, height: 1000 },
    headDirection: () => head,
    solve,
    moveHead: async () => {},
  });
  new CalibrationPanel(step, picture, session);
  for (const [x, y, pan, tilt] of points) {
    head = { pan, tilt };
    session.click({ x, y });
    await session.take();
  }
  const classes = (selector) =>
    [...picture.querySelectorAll(`${selector}:not(.halo)`)].map((mark) => mark.getAttribute('class'));
  return { lines: classes('line'), marks: classes('circle'), text: step.textContent };
}

test('residuals are drawn, and a point that is wrong is named', async () => {
  const half = (Math.atan(0.5) * 180) / Math.PI;
  const { lines, marks, text } = await page.evaluate(calibrateBy, [
    // 90 degrees across; the last but one is 10 degrees off.
    [0, 0, 0, 0],
    [1, 0, 45, 0],
    [-1, 0, -45, 0],
    [0, 1, 0, 45],
    [0, -1, 0, -45],
    [0.5, 0, half, 0],
    [-0.5, 0, -half + 10, 0],
    [0, -0.5, 0, -half],
  ]);
  assert.equal(lines.length, 8);
  assert.deepEqual(
    marks.filter((mark) => mark.startsWith('point')),
    [...Array(6).fill('point good'), 'point outlier', 'point good'],
  );
  assert.match(text, /Point 7 10\.00° off left out/);
  assert.match(text, /Field90\.00/);
});
