// Logs in to a camera by the package node-onvif, moves its head for a moment and stops it:
// device.js PORT USER PASSWORD. Writes what it was told as one line of JSON.
const onvif = require('node-onvif');

const [port, user, pass] = process.argv.slice(2);
const device = new onvif.OnvifDevice({
  xaddr: `http://127.0.0.1:${port}/onvif/device_service`, user, pass,
});

async function run() {
  const information = await device.init();
  await device.ptzMove({ speed: { x: 0.2, y: 0, z: 0 }, timeout: 1 });
  await device.ptzStop();
  const profiles = device.getProfileList().map((profile) => profile.token);
  console.log(JSON.stringify({ information, profiles }));
}

run().catch((error) => {
  console.error(error.message);
  process.exit(1);
});
