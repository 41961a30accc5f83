/**
 * Pages from elsewhere in a browser whose user is logged in at the device: what they send changes
 * nothing, and they read nothing. Needs SENTREL_BUILD, the build folder.
 */

import assert from 'node:assert/strict';
import { once } from 'node:events';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { BUILD, launch } from './browser.mjs';
import { DeviceRun } from './device_run.mjs';

const PATIENCE = 90_000; // milliseconds; more than a machine that is busy needs
const USER = { username: 'anna', password: 'secret word' };
const FORBIDDEN = 403;
const WISHED = 42; // seconds; nobody's default
const REBOUND = 'rebound.example';

// Where the run, too, can read it.
const secrets = mkdtempSync(path.join(BUILD, 'foreign-page-'));
const passwordFile = path.join(secrets, 'password');
writeFileSync(passwordFile, `${USER.password}\n`);

const options = ['--user', USER.username, '--password-file', passwordFile];
// It ends by itself should nobody be left to end it.
const run = new DeviceRun(BUILD, '--duration', '200', '--', ...options);
const elsewhere = createServer((request, response) => {
  response.setHeader('Content-Type', 'text/html');
  response.end(foreignPage());
});
let url;
let api;
let browser;
let context;
let own;

/** A document whose end is what a form adds between a name and its value. */
const wish = {
  name:
    `{"apiVersion":"1.0","method":"setSentrel","params":{"timePerObject":${WISHED}},` +
    '"context":"',
  value: '"}',
};

const foreignPage = () => `<!doctype html><title>Elsewhere</title>
  <form method="post" enctype="text/plain" action="${api}">
    <input type="hidden" name='${wish.name}' value='${wish.value}'><button>Go</button>
  </form>`;

/** As the device's own page asks. */
function ask(method, params) {
  const body = JSON.stringify({ apiVersion: '1.0', method, params });
  const post = async (text) =>
    (await fetch('api/sentrelvideo', { method: 'POST', body: text })).json();
  return own.evaluate(post, body);
}

const timePerObject = async () => (await ask('getSentrel')).data.timePerObject;

/** A page that another server has given out: another port of the same name, and another name. */
async function openElsewhere(host) {
  const page = await context.newPage();
  await page.goto(`http://${host}:${elsewhere.address().port}/`);
  assert.equal(await page.title(), 'Elsewhere');
  return page;
}

const answerOfApi = (page) => page.waitForResponse((response) => response.url() === api);

before(async () => {
  elsewhere.listen(0, '127.0.0.1');
  await once(elsewhere, 'listening');
  url = await run.address();
  api = new URL('api/sentrelvideo', url).href;
  browser = await launch(`--host-resolver-rules=MAP ${REBOUND} 127.0.0.1`);
  context = await browser.newContext({ httpCredentials: USER });
  context.setDefaultTimeout(PATIENCE);
  own = await context.newPage();
  assert.equal((await own.goto(url)).status(), 200);
  await own.locator('[data-testid="tracker-state"][data-state="running"]').waitFor();
  assert.notEqual(await timePerObject(), WISHED);
});

after(async () => {
  await browser?.close();
  elsewhere.close();
  const status = await run.stop();
  rmSync(secrets, { recursive: true });
  assert.equal(status, 0, run.lines.join('\n'));
});

for (const host of ['127.0.0.1', 'localhost']) {
  test(`a form of a page from ${host} changes nothing`, async () => {
    const page = await openElsewhere(host);
    const answer = answerOfApi(page);
    await page.locator('button').click();
    assert.equal((await answer).status(), FORBIDDEN);
    assert.notEqual(await timePerObject(), WISHED);
  });

  test(`a request of a page from ${host} changes nothing`, async () => {
    const page = await openElsewhere(host);
    const answer = answerOfApi(page);
    await page.evaluate(
      ([target, body]) =>
        fetch(target, { method: 'POST', mode: 'no-cors', credentials: 'include', body }),
      [api, `${wish.name}${wish.value}`],
    );
    assert.equal((await answer).status(), FORBIDDEN);
    assert.notEqual(await timePerObject(), WISHED);
  });

  test(`a page from ${host} reads neither events nor files`, async () => {
    const page = await openElsewhere(host);
    const read = ([base, target]) =>
      fetch(new URL(target, base), { credentials: 'include' }).then(
        (response) => `read ${response.status}`,
        () => 'nothing',
      );
    for (const target of ['events', 'live', 'index.html', 'api/sentrelvideo']) {
      assert.equal(await page.evaluate(read, [url, target]), 'nothing', target);
    }
  });
}

test('a name of somebody else that points at the device opens nothing', async () => {
  const page = await context.newPage();
  const response = await page.goto(`http://${REBOUND}:${new URL(url).port}/`);
  assert.equal(response.status(), FORBIDDEN);
});

test('the own page goes on through it all', async () => {
  await ask('setSentrel', { timePerObject: WISHED });
  assert.equal(await timePerObject(), WISHED);
});
