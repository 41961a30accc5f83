// Calls a camera by the package onvif: cam.js PORT USER PASSWORD STEPS [digest]
//
// With "digest" it logs in by HTTP digest, else by tokens where it has a user.
// STEPS is a JSON list of calls ["getStatus", {...}]; ["stand"] waits until the head stands, and
// ["events"] writes each event in a line of its own until the end. The results are one line of JSON.
const { Cam } = require('onvif');

const [port, username, password, steps, login] = process.argv.slice(2);

function call(cam, name, ...parameters) {
  return new Promise((resolve, reject) => {
    cam[name](...parameters, (error, result) => (error ? reject(error) : resolve(result)));
  });
}

async function stand(cam) {
  for (;;) {
    const { moveStatus } = await call(cam, 'getStatus', {});
    if (moveStatus.panTilt === 'IDLE' && moveStatus.zoom === 'IDLE') return;
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
}

function listen(cam) {
  cam.on('event', (event) => console.log(JSON.stringify(event)));
  return new Promise(() => {});
}

async function run(cam) {
  const results = [];
  for (const [name, ...parameters] of JSON.parse(steps)) {
    if (name === 'stand') await stand(cam);
    else if (name === 'events') await listen(cam);
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
