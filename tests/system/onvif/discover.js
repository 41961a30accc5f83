// Looks for cameras with each of the packages and writes what they found as one line of JSON.
const { Discovery } = require('onvif');
const nodeOnvif = require('node-onvif');

function byOnvif() {
  return new Promise((resolve) => {
    Discovery.on('error', () => {});
    Discovery.probe({ timeout: 3000, resolve: false }, (error, cams) =>
      resolve(cams.map((cam) => cam.probeMatches.probeMatch.XAddrs)));
  });
}

async function byNodeOnvif() {
  return (await nodeOnvif.startProbe()).map((camera) => camera.xaddrs[0]);
}

async function run() {
  console.log(JSON.stringify({ onvif: await byOnvif(), nodeOnvif: await byNodeOnvif() }));
  process.exit(0);
}

run();
