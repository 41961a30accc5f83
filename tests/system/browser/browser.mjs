import { createRequire } from 'node:module';
import path from 'node:path';

export const BUILD = path.resolve(process.env.SENTREL_BUILD);

const { chromium } = createRequire(path.join(BUILD, 'browser/package.json'))('playwright-core');

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
