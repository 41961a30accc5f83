import { createRequire } from 'node:module';
import path from 'node:path';

export const BUILD = path.resolve(process.env.SENTREL_BUILD);

const { chromium } = createRequire(path.join(BUILD, 'browser/package.json'))('playwright-core');

const STANDING = 0.6; // seconds

/** The browser, with further options on its command line. */
export function launch(...options) {
  return chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: [
      '--no-sandbox',
      '--disable-gpu',
      '--disable-quic',
      '--no-first-run',
      '--disable-background-networking',
      '--disable-component-update',
      '--disable-sync',
      ...options,
    ],
  });
}

/** Of a page that tells where the head looks. */
export function directionOfHead(page) {
  return page.getByTestId('head-direction').evaluate(({ dataset: { time, pan, tilt } }) => ({
    time: Number(time),
    pan: Number(pan),
    tilt: Number(tilt),
  }));
}

/** Where it stands: for so long by its own time, as a page of a busy machine may show it late. */
export async function restingHead(page) {
  for (let from = await directionOfHead(page); ; ) {
    await page.waitForTimeout(100);
    const head = await directionOfHead(page);
    if (head.pan !== from.pan || head.tilt !== from.tilt) from = head;
    else if (head.time - from.time >= STANDING) return head;
  }
}
