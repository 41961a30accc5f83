/**
 * The fleet's page in a browser, with 10,000 sites at a real broker. Needs SENTREL_BUILD, the build
 * folder.
 */

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { connect, createServer } from 'node:net';
import path from 'node:path';
import { createInterface } from 'node:readline';
import { after, before, test } from 'node:test';

import { BUILD, launch } from './browser.mjs';

const PATIENCE = 60_000; // milliseconds; more than a machine that is busy needs
const SITES = 10_000;
const MOST_ROWS = 80; // in the document; a window has some twenty
const HOST = '127.0.0.1';
const FILES = path.join(import.meta.dirname, '../../../fleet/web');
const OWN = 'MiruPlatform/SentrelVideo';

const children = [];
let broker;
let browser;
let page;
let url;
let port;

function start(program, ...options) {
  const child = spawn(program, options, { stdio: ['ignore', 'pipe', 'ignore'] });
  children.push(child);
  return child;
}

async function freePort() {
  const server = createServer().listen(0, HOST);
  await once(server, 'listening');
  const { port: found } = server.address();
  server.close();
  return found;
}

async function whenServed(tried) {
  for (;;) {
    const socket = connect(tried, HOST);
    try {
      await once(socket, 'connect');
      return socket;
    } catch {
      await new Promise((resume) => setTimeout(resume, 50));
    }
  }
}

/** A client of the broker that only publishes what is retained: MQTT 3.1.1, without answers. */
class Publisher {
  #socket;

  constructor(socket) {
    this.#socket = socket;
    const text = Publisher.#text('sites-of-a-test');
    this.#send(0x10, Buffer.from([0, 4, 77, 81, 84, 84, 4, 2, 0, 0]), text);
  }

  static #text(text) {
    const bytes = Buffer.from(text);
    return Buffer.concat([Buffer.from([bytes.length >> 8, bytes.length & 255]), bytes]);
  }

  retain(topic, payload) {
    this.#send(0x31, Publisher.#text(topic), Buffer.from(payload));
  }

  close() {
    this.#socket.destroy();
  }

  #send(kind, ...parts) {
    const body = Buffer.concat(parts);
    const size = [];
    let rest = body.length;
    do {
      size.push((rest & 127) | (rest > 127 ? 128 : 0));
      rest >>= 7;
    } while (rest > 0);
    this.#socket.write(Buffer.concat([Buffer.from([kind, ...size]), body]));
  }
}

const nameOf = (number) => `site-${String(number).padStart(5, '0')}`;
const told = (data, seq = 1) =>
  JSON.stringify({ data, time: '2026-01-01T12:00:00.000Z', nice: 'Door', start: 'S', seq });

before(async () => {
  const brokersPort = await freePort();
  start('mosquitto', '-p', String(brokersPort));
  broker = new Publisher(await whenServed(brokersPort));
  for (let number = 1; number <= SITES; number += 1) {
    const site = `sites/${nameOf(number)}`;
    broker.retain(`${site}/SentrelVideo/device`, number === 5 ? 'offline' : 'online');
    broker.retain(`${site}/${OWN}/state`, told({ value: 'running' }));
  }
  const shown = start(
    path.join(BUILD, 'bin/fleet_page'),
    ...['--mqtt', `${HOST}:${brokersPort}`, '--port', '0', '--web', FILES],
  );
  for await (const line of createInterface({ input: shown.stdout })) {
    url = /The fleet's page: (\S+)$/.exec(line)?.[1];
    if (url) {
      break;
    }
  }
  port = new URL(url).port;
  shown.stdout.resume();
  browser = await launch();
  page = await (await browser.newContext()).newPage();
  page.setDefaultTimeout(PATIENCE);
  await page.goto(url);
  await page.waitForFunction(
    (count) => document.querySelector('[data-testid="count-all"]').textContent === count,
    String(SITES),
  );
});

after(async () => {
  await browser?.close();
  broker?.close();
  children.forEach((child) => child.kill());
});

const byId = (name) => page.locator(`[data-testid="${name}"]`);
const hasText = (name, text) =>
  page.waitForFunction(
    ([id, wanted]) => document.querySelector(`[data-testid="${id}"]`)?.textContent === wanted,
    [name, text],
  );

test('only the rows in sight are in the document, and the worst comes first', async () => {
  assert.ok((await page.locator('.row').count()) <= MOST_ROWS);
  assert.equal(await page.locator('.row').first().getAttribute('data-testid'), `site-${nameOf(5)}`);
  await hasText('count-gone', '1');
});

test('the keyboard leads to the last site, and its row is there', async () => {
  await byId('sites').focus();
  await page.keyboard.press('End');
  await page.waitForSelector(`[data-testid="site-${nameOf(SITES)}"][aria-selected="true"]`);
  assert.ok((await page.locator('.row').count()) <= MOST_ROWS);
  await page.keyboard.press('Home');
  await page.waitForSelector(`[data-testid="site-${nameOf(5)}"][aria-selected="true"]`);
});

test('an alarm comes up by itself, and among the last ones', async () => {
  broker.retain(`sites/${nameOf(7777)}/${OWN}/Camera1ProfileANY`, told({ active: true }));
  await hasText('count-alarm', '1');
  await page.waitForSelector(`[data-testid="alarm"][data-site="${nameOf(7777)}"]`);
  assert.match(await byId('last-alarms').textContent(), /site-07777: Door begins/);
  await byId('show').selectOption('alarm');
  await hasText('shown', '1 shown');
  await byId('show').selectOption('all');
});

test('the history is there, also when the page is loaded again, and leads to the site', async () => {
  const name = nameOf(8888);
  broker.retain(
    `sites/${name}/SentrelVideo/about`,
    JSON.stringify({ version: '1.0.0', model: 'k47', url: `http://${HOST}:${port}/its-page` }),
  );
  const kept = (nice) => ({
    since: '2025-12-24T08:00:00.000Z',
    alarms: [{ site: name, alarm: 'Camera1ProfileANY', nice, time: '2025-12-25T09:00:00.000Z', active: true }],
  });
  await page.route('**/history*', (route) =>
    route.fulfill({ json: kept(route.request().url().endsWith(`?site=${name}`) ? 'Of one' : 'Of all') }),
  );
  await page.reload();
  await hasText('alarms-since', 'since 2025-12-24 08:00');
  assert.match(await byId('last-alarms').textContent(), /2025-12-25 09:00:00 site-08888: Of all begins/);
  await byId('alarm-search').fill(name);
  const row = page.locator(`[data-testid="alarm"][data-site="${name}"]`);
  await row.getByText('Of one').waitFor();
  await page.reload();
  await row.getByText('Of one').waitFor();
  assert.equal(await byId('alarm-search').inputValue(), name);
  const opening = page.context().waitForEvent('page');
  await row.locator('a').click();
  const opened = await opening;
  await opened.waitForURL(/its-page$/);
  await opened.close();
  await page.unroute('**/history*');
  await byId('alarm-search').fill('');
});

test('a search finds a site, and Enter opens its own page', async () => {
  broker.retain(
    `sites/${nameOf(4321)}/SentrelVideo/about`,
    JSON.stringify({ version: '1.0.0', model: 'k47', url: `http://${HOST}:${port}/site-page` }),
  );
  await byId('search').fill(nameOf(4321));
  await hasText('shown', '1 shown');
  const row = byId(`site-${nameOf(4321)}`);
  await page.waitForFunction(() => document.querySelector('.row')?.title !== '');
  await byId('sites').focus();
  await page.keyboard.press('Home');
  const opening = page.context().waitForEvent('page');
  await page.keyboard.press('Enter');
  const opened = await opening;
  await opened.waitForURL(/site-page$/);
  await opened.close();
  assert.equal(await row.getAttribute('aria-selected'), 'true');
  await byId('search').fill('');
});

test('scrolling through all of them does not hold the page up', async () => {
  const typical = await page.evaluate(async () => {
    const box = document.querySelector('[data-testid="sites"]');
    const frame = () => new Promise((resume) => requestAnimationFrame(resume));
    const works = [];
    for (let step = 0; step <= 50; step += 1) {
      const begun = performance.now();
      box.scrollTop = (box.scrollHeight * step) / 50;
      box.dispatchEvent(new Event('scroll'));
      works.push(performance.now() - begun);
      await frame();
    }
    return works.sort((a, b) => a - b)[Math.floor(works.length / 2)];
  });
  assert.ok(typical < 50, `a step of scrolling takes ${typical} ms`);
});

test('it fits a phone, and its colours go with the light', async () => {
  const colour = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  await page.emulateMedia({ colorScheme: 'light' });
  const light = await colour();
  await page.emulateMedia({ colorScheme: 'dark' });
  assert.notEqual(await colour(), light);
  await page.setViewportSize({ width: 360, height: 640 });
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= 360));
  assert.ok(await byId('sites').isVisible());
});
