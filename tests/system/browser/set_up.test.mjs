/**
 * The set-up in a browser, as docs/onvif.md tells it: from a camera that nobody knows to somebody who
 * is followed, by what the pages show and take alone. Needs SENTREL_BUILD, the build folder; writes the
 * guide's pictures into the folder SENTREL_GUIDE_PICTURES when that is set.
 */

import assert from 'node:assert/strict';
import { createHash, randomBytes } from 'node:crypto';
import { mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';

import {
  calibratedCamera,
  directionOf,
  placeOfAxis,
  sightTo,
} from '../../../device/web/js/calibrated-camera.js';
import { angleBetween } from '../../../device/web/js/geometry.js';
import { BUILD, directionOfHead, launch, restingHead } from './browser.mjs';
import { DeviceRun, REPOSITORY } from './device_run.mjs';

const PATIENCE = 90_000; // milliseconds; more than a machine that is busy needs
const USER = 'anna';
const PASSWORD = 'a secret word';
const CAMERA = /^camera: ONVIF: http:\/\/(127\.0\.0\.1:\d+)\//;
const MAST = 18; // metres
// How the model's camera really hangs.
const TRUTH = { pan: 0, tilt: -20.8, hfov: 27, vfov: 15.38 };
const EXACT = 0.3; // degrees
const RANGES = {
  'field-in': '2.5',
  'field-out': '63.4',
  'pan-low': '-180',
  'pan-high': '180',
  'tilt-low': '-90',
  'tilt-high': '20',
};
const LED_WITHIN = 10_000; // milliseconds; then the key is pressed anew, as a user would
const FOLLOWED = 3; // degrees
const CALM = 0.4; // degrees, for a picture of the guide
const SETTLING = 8000; // milliseconds, likewise: until the head has zoomed in
const TURNED = 2; // degrees, after somebody
const PLACES = [
  [-10, -15.5],
  [10, -15.5],
  [10, -26],
  [-10, -26],
  [0, -22],
];
// Gains of this head, which would be tuned first otherwise.
const TUNED = {
  sentrel_enabled: true,
  return_to_home_enabled: true,
  camera_name: 'OV-1000',
  pan_kp: 2.5,
  pan_ki: 0.15,
  pan_kd: 0.1,
  tilt_kp: 2.5,
  tilt_ki: 0.15,
  tilt_kd: 0.1,
};

/** One person who walks round and round and stays for longer than any test. */
function somebodyWhoStays() {
  const rows = Array.from({ length: 3001 }, (_, step) => {
    const turn = (2 * Math.PI * step) / 5 / 40;
    return `${step / 5},1,${(4 * Math.cos(turn)).toFixed(3)},${(4 * Math.sin(turn)).toFixed(3)}`;
  });
  return ['time_s,id,x_m,y_m', ...rows, ''].join('\n');
}

// Where the run, too, can read it.
const folder = mkdtempSync(path.join(BUILD, 'set-up-'));
const file = (name, text) => {
  const where = path.join(folder, name);
  mkdirSync(path.dirname(where), { recursive: true });
  writeFileSync(where, text);
  return where;
};
file('state/sentrelvideo.json', JSON.stringify(TUNED));
const run = new DeviceRun(
  BUILD,
  '--through-onvif',
  '--set-up',
  '--restart-daemon',
  // It ends by itself should nobody be left to end it.
  ...['--duration', '500'],
  ...['--state', path.join(folder, 'state')],
  ...['--tracks', file('stays.csv', somebodyWhoStays()), '--as-recorded'],
  ...['--onvif-user', USER, '--onvif-password-file', file('password', `${PASSWORD}\n`)],
);
let url;
let browser;
let page;
let heard = ''; // all that the device has answered

const element = (id) => page.getByTestId(id).first();
const settled = (id, hasText) => page.getByTestId(id).filter({ hasText }).first().waitFor();
const settings = () => JSON.parse(readFileSync(path.join(folder, 'state/cameras.json'), 'utf8'));

before(async () => {
  url = await run.address();
  browser = await launch();
  page = await browser.newPage({ viewport: { width: 1100, height: 800 }, colorScheme: 'light' });
  page.setDefaultTimeout(PATIENCE);
  page.on('response', async (response) => {
    if (response.url().endsWith('/api/setup')) heard += await response.text().catch(() => '');
  });
  await page.goto(new URL('setup.html', url).href);
});

after(async () => {
  await browser?.close();
  const status = await run.stop();
  rmSync(folder, { recursive: true });
  assert.equal(status, 0, run.lines.join('\n'));
});

/** A picture for the guide: of a part of the page, or of all that the window shows. */
async function takePicture(name, part) {
  if (!process.env.SENTREL_GUIDE_PICTURES) return;
  const where = path.resolve(REPOSITORY, process.env.SENTREL_GUIDE_PICTURES);
  mkdirSync(where, { recursive: true });
  await page.evaluate(() => document.activeElement?.blur());
  const options = { path: path.join(where, `set-up-${name}`) };
  if (name.endsWith('.jpg')) options.quality = 85;
  if (part) await page.locator(`section:has(> #${part}-title)`).screenshot(options);
  else await page.screenshot({ ...options, fullPage: true });
}

const addressOfCamera = () => run.lines.find((line) => CAMERA.test(line)).match(CAMERA)[1];

async function lookAtCamera(password) {
  await element('find-address').fill(addressOfCamera());
  await element('find-user').fill(USER);
  await element('find-password').fill(password);
  await element('find-inspect').click();
}

test('a camera is found, and a wrong password is told where it was entered', async () => {
  await settled('missing', 'look at the camera that has the head');
  await lookAtCamera('a guess');
  await settled('find-trouble', 'does not accept the user or the password');
  await lookAtCamera(PASSWORD);
  await settled('find-words', 'Its positions are degrees');
  assert.equal(await element('find-trouble').textContent(), '');
  await takePicture('find.png', 'find');
});

test('what the head does not say is asked for, and the head is checked', async () => {
  await element('head-use').click();
  await settled('head-trouble', 'Enter how many degrees wide the picture is');
  if (!process.env.SENTREL_GUIDE_PICTURES) await element('head-zoom').uncheck();
  // What the pictures' cross follows from.
  for (const [field, value] of Object.entries(RANGES)) await element(`head-${field}`).fill(value);
  assert.equal(await element('head-sight').isChecked(), false, 'it knows degrees');
  await element('head-sight').check();
  await element('head-check').click();
  await settled('head-step', /…/);
  // What it measures is another test's; here the end of it is told.
  await settled('head-words', 'It answers within');
  await page.locator('[data-testid="head-use"]:enabled').waitFor();
  assert.equal(await element('head-step').textContent(), '');
  await settled('head-words', 'told are 180.0');
  await lookAtSight();
  await element('head-use').click();
  await settled('head-done', 'It is kept');
  assert.equal(await element('head-trouble').textContent(), '');
  assert.deepEqual(settings().head.field_angles, [2.5, 63.4]);
  await takePicture('head.png', 'head');
});

test('the zoom is led by buttons, and a look of the same place on both crosses is refused', async () => {
  await element('zoom-eye').locator('summary').click();
  await page.locator('[data-testid="zoom-picture"]:not([hidden])').waitFor();
  const led = page.waitForRequest((request) => /"zoom":4/.test(request.postData() ?? ''));
  await element('zoom-in').focus();
  await page.keyboard.down(' ');
  await led;
  await page.keyboard.up(' ');
  await element('zoom-left').click();
  await settled('zoom-words', 'on the right cross');
  await element('zoom-right').click();
  await settled('zoom-words', 'has not moved between the marks');
  await element('zoom-eye').locator('summary').click();
});

/** Who clicks where the cross is finds the ranges right. */
async function lookAtSight() {
  await settled('sight-words', 'Does it lie under the cross?');
  await takePicture('sight.jpg', 'head');
  const cross = await element('sight-cross').evaluate(({ dataset }) => ({ ...dataset }));
  // To the left and down by ten degrees, of a picture that is 63.4 wide.
  assert.ok(cross.x > 0.2 && cross.x < 0.4 && cross.y > 0.4 && cross.y < 0.6, JSON.stringify(cross));
  const { width, height } = await element('sight-after').boundingBox();
  const position = { x: ((Number(cross.x) + 1) / 2) * width, y: ((1 - cross.y) / 2) * height };
  await element('sight-after').click({ position });
  await settled('sight-words', /pan (1\.0|0\.99)\d+ times, its tilt (1\.0|0\.99)/);
  await element('sight-take').click();
  assert.ok(Math.abs((await element('head-pan-high').inputValue()) - 180) < 2);
  for (const [field, value] of Object.entries(RANGES)) await element(`head-${field}`).fill(value);
}

test('an overview camera is seen, and what was entered outlives a page that is loaded anew', async () => {
  await element('mast-height').fill(String(MAST));
  await element('general-use').click();
  await settled('general-done', 'It is kept');
  await element('camera-name').fill('Square');
  await element('camera-angle').fill('30');
  await page.reload();
  await page.locator('[data-testid="camera-picture"][src]').waitFor();
  assert.equal(await element('camera-name').inputValue(), 'Square');
  assert.equal(await element('camera-angle').inputValue(), '30');
  assert.equal(await element('find-password').inputValue(), '');
  await takePicture('overview.jpg', 'camera');
  await element('camera-use').click();
  await settled('camera-done', 'It is kept');
  await settled('missing', 'calibrate Square');
  // The same camera is not taken twice.
  await settled('camera-use', 'Keep the change');
  await settled('camera-objects', 'It tells 1 object now');
  await page.locator('[data-testid="camera-outlines"] .outline').waitFor({ state: 'attached' });
  await element('camera-more').locator('summary').click();
  await element('camera-least-delay').fill('0.1');
  await element('camera-use').click();
  await settled('camera-done', 'It is kept');
  assert.equal(settings().cameras[0].least_delay, 0.1);
  await element('camera-least-delay').fill('');
  await element('camera-use').click();
  await settled('camera-done', 'It is kept');
  assert.equal(settings().cameras[0].least_delay, undefined);
  assert.equal(settings().cameras.length, 1);
});

test('on a phone nothing is cut off, and from and to stand beside each other', async () => {
  const size = page.viewportSize();
  await page.setViewportSize({ width: 390, height: size.height });
  const isCut = () => document.documentElement.scrollWidth > window.innerWidth;
  assert.equal(await page.evaluate(isCut), false);
  for (const axis of ['pan', 'tilt']) {
    const [low, high] = await Promise.all(
      ['low', 'high'].map((end) => element(`head-${axis}-${end}`).boundingBox()),
    );
    assert.equal(low.y, high.y, axis);
  }
  await page.setViewportSize(size);
});

/** As a client of the camera, which comes to a place however busy the machine is. */
async function takeHead(pan, tilt) {
  for (;;) {
    await moveHead(pan, tilt);
    const head = await restingHead(page);
    // The daemon's last word may have come later, which was a stop.
    if (Math.abs(head.pan - pan) < 0.1 && Math.abs(head.tilt - tilt) < 0.1) return head;
  }
}

async function moveHead(pan, tilt) {
  const nonce = randomBytes(16);
  const created = new Date().toISOString();
  const digest = createHash('sha1').update(nonce).update(created).update(PASSWORD).digest('base64');
  const secext = 'http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd';
  const utility = 'http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd';
  const profile = 'http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0';
  const degrees = 'http://www.onvif.org/ver10/tptz/PanTiltSpaces/SphericalPositionSpaceDegrees';
  const body = `<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"
      xmlns:p="http://www.onvif.org/ver20/ptz/wsdl" xmlns:t="http://www.onvif.org/ver10/schema"
      xmlns:w="${secext}" xmlns:u="${utility}">
    <s:Header><w:Security><w:UsernameToken><w:Username>${USER}</w:Username>
      <w:Password Type="${profile}#PasswordDigest">${digest}</w:Password>
      <w:Nonce>${nonce.toString('base64')}</w:Nonce><u:Created>${created}</u:Created>
    </w:UsernameToken></w:Security></s:Header>
    <s:Body><p:AbsoluteMove><p:ProfileToken>head</p:ProfileToken><p:Position>
      <t:PanTilt x="${pan}" y="${tilt}" space="${degrees}"/></p:Position></p:AbsoluteMove></s:Body>
    </s:Envelope>`;
  const headers = { 'Content-Type': 'application/soap+xml; charset=utf-8' };
  const where = `http://${addressOfCamera()}/onvif/ptz_service`;
  const answer = await fetch(where, { method: 'POST', headers, body });
  assert.equal(answer.status, 200, await answer.text());
}

/** By a key that is held, and no more when it is not; answers where it stands. */
async function leadByKey(key, axis, way) {
  const from = (await directionOfHead(page))[axis];
  for (let hasMoved = false; !hasMoved; ) {
    await element('calibration').focus();
    await page.keyboard.down(key);
    hasMoved = await page
      .waitForFunction(
        ([name, start, sign]) =>
          (document.querySelector('[data-testid=head-direction]').dataset[name] - start) * sign > 1,
        [axis, from, way],
        { timeout: LED_WITHIN },
      )
      .then(
        () => true,
        () => false,
      );
    await page.keyboard.up(key);
  }
  return restingHead(page);
}

/** @param {{x: number, y: number}} place -1 to 1; where the picture is at the moment of the click */
async function clickIntoPicture({ x, y }) {
  const picture = element('picture-1');
  const { width, height } = await picture.boundingBox();
  await picture.click({ position: { x: ((x + 1) / 2) * width, y: ((1 - y) / 2) * height } });
}

/** What the page says in place of a result. */
async function tellCalibration(error) {
  const points = await element('calibration-points').innerText();
  const refusal = await element('calibration-refusal').innerText();
  throw new Error(`${refusal}\n${points}`, { cause: error });
}

test('it is calibrated by clicks and arrow keys', { timeout: 4 * PATIENCE }, async () => {
  await element('camera-calibrate').click();
  await page.locator('[data-testid="overview-seen"]:not([hidden])').waitFor();
  await page.locator('[data-testid="head-seen"]:not([hidden])').waitFor();
  await element('following-switch').filter({ hasText: 'off' }).click();
  await settled('following-state', 'Following is off');
  await page.locator('[data-testid="head-direction"][data-pan]').waitFor();

  const camera = calibratedCamera(TRUTH, MAST);
  let taken = 0;
  for (const [pan, tilt] of PLACES) {
    let head = await takeHead(pan, tilt);
    if (pan === 0) {
      await leadByKey('ArrowRight', 'pan', 1);
      head = await leadByKey('ArrowUp', 'tilt', 1);
    }
    // A user would lead the head to what he has clicked; here what the head sees is clicked.
    await clickIntoPicture(placeOfAxis(camera, head));
    await element('calibration-take').click();
    await page.getByTestId('calibration-point').nth(taken).waitFor();
    ++taken;
  }
  await settled('calibration-result', 'Field').catch(tellCalibration);
  await takePicture('calibrate.jpg');

  await page.reload();
  await settled('calibration-result', 'Field');
  assert.equal(await page.getByTestId('calibration-point').count(), PLACES.length);
  await element('calibration-keep').click();
  await settled('calibration-kept', 'It is kept. The daemon takes it');
  const [kept] = settings().cameras;
  const { horizontal_fov: hfov, vertical_fov: vfov } = kept;
  const found = calibratedCamera({ ...kept, hfov, vfov }, MAST);
  for (const x of [-0.7, 0, 0.7]) {
    for (const y of [-0.7, 0, 0.7]) {
      const [is, ought] = [found, camera].map((one) => directionOf(sightTo(one, { x, y })));
      assert.ok(angleBetween(is, ought) < EXACT, JSON.stringify(kept));
    }
  }
});

/** The daemon starts anew at this time, and is asked again once it is there. */
async function switchFollowingOn() {
  const state = element('following-state');
  while (!(await state.textContent()).includes('is on')) {
    const button = page.getByTestId('following-switch').filter({ hasText: 'on', visible: true });
    if (await button.count()) await button.click({ timeout: 1000 }).catch(() => {});
    await page.waitForTimeout(250);
  }
}

/** And the head has turned after him. */
function isSomebodyFollowed(from) {
  return page.evaluate(
    ([pan, turned, followed]) => {
      const of = (id) => document.querySelector(`[data-testid=${id}]`);
      const { off } = of('walk-moment').dataset;
      const isThere = off !== '' && Number(off) < followed && of('head-marks').querySelector('.expected');
      return Boolean(isThere) && Math.abs(of('head-direction').dataset.pan - pan) > turned;
    },
    [from, TURNED, FOLLOWED],
  );
}

/** Somebody at the page would wait until the cross is on the person. */
function pressWhenOffBy(degrees) {
  return page.waitForFunction((most) => {
    const of = (id) => document.querySelector(`[data-testid=${id}]`);
    const { off } = of('walk-moment').dataset;
    if (off === '' || Number(off) > most) return false;
    of('walk-crossed').click();
    return true;
  }, degrees);
}

test('the walk test shows head and person', { timeout: 4 * PATIENCE }, async () => {
  const { pan } = await directionOfHead(page);
  const end = Date.now() + 3 * PATIENCE;
  while (!(await isSomebodyFollowed(pan))) {
    assert.ok(Date.now() < end, await element('walk-moment').textContent());
    // Whoever was asked before the daemon started anew may have forgotten it.
    await switchFollowingOn();
    await page.waitForTimeout(250);
  }
  if (process.env.SENTREL_GUIDE_PICTURES) await page.waitForTimeout(SETTLING);
  await pressWhenOffBy(process.env.SENTREL_GUIDE_PICTURES ? CALM : FOLLOWED);
  await settled('walk-finding', /: \d\.\d° off$/);
  assert.match(await element('walk-words').textContent(), /° off at most/);
  for (const mark of ['box', 'ought', 'axis']) {
    assert.equal(await page.locator(`[data-testid="walk-marks"] .${mark}`).count(), 1, mark);
  }
  await takePicture('walk.jpg');
});

test('on the page objects come and the daemon follows', async () => {
  await page.goto(url);
  await page.getByTestId('object').first().waitFor({ state: 'attached' });
  await page.getByTestId('area').first().waitFor({ state: 'attached' });
  await settled('steering', /^following$/);
  await takePicture('areas.jpg', 'overview');
});

test('the password has come out nowhere', () => {
  assert.ok(heard.includes('"words"'));
  for (const text of [heard, run.lines.join('\n'), JSON.stringify(settings())]) {
    assert.ok(!text.includes(PASSWORD));
  }
});
