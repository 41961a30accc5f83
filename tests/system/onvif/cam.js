// Calls a camera by the package onvif: cam.js PORT USER PASSWORD STEPS [digest]
//
// With "digest" it logs in by HTTP digest, else by tokens where it has a user.
// STEPS is a JSON list of calls ["getStatus", {...}]; ["stand"] waits until the head stands, ["turn"]
// until it has turned, and ["events"] writes each event in a line of its own until the end; the
// result of ["event"] is the topic of the first one. The results are one line of JSON.
const { Cam } = require('onvif');

const [port, username, password, steps, login] = process.argv.slice(2);

function call(cam, name, ...parameters) {
  return new Promise((resolve, reject) => {
    cam[name](...parameters, (error, result) => (error ? reject(error) : resolve(result)));
  });
}

async function until(cam, holds) {
  while (!holds(await call(cam, 'getStatus', {}))) {
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
}

function stand(cam) {
  return until(cam, ({ moveStatus }) => moveStatus.panTilt === 'IDLE' && moveStatus.zoom === 'IDLE');
}

async function turn(cam) {
  const { position: first } = await call(cam, 'getStatus', {});
  await until(cam, ({ position }) => position.x !== first.x);
}

function listen(cam) {
  cam.on('event', (event) => console.log(JSON.stringify(event)));
  return new Promise(() => {});
}

function firstEvent(cam) {
  return new Promise((resolve, reject) => {
    cam.once('eventsError', reject);
    cam.once('event', (event) => resolve(event.topic._));
  });
}

async function run(cam) {
  const results = [];
  for (const [name, ...parameters] of JSON.parse(steps)) {
    if (name === 'stand') await stand(cam);
    else if (name === 'turn') await turn(cam);
    else if (name === 'events') await listen(cam);
    else if (name === 'event') results.push(await firstEvent(cam));
    else results.push(await call(cam, name, ...parameters));
  }
  console.log(JSON.stringify(results));
}

const useWSSecurity = login !== 'digest';
new Cam({ hostname: '127.0.0.1', port, username, password, useWSSecurity }, function connected(error) {
  (error ? Promise.reject(error) : run(this)).then(
    () => process.exit(0),
    (reason) => {
      console.error(reason.message);
      process.exit(1);
    },
  );
});
