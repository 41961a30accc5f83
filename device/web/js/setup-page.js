/** Sets cameras and head up: setup.html. */

import { byTestId, h, setText } from './dom.js';
import { callSetUp } from './setup-api.js';
import { adviceOf, toldOfCamera, toldOfHead } from './setup-told.js';

const BUSY = 400; // milliseconds between two looks while something is being done
const IDLE = 3000;
const PICTURE = 1000;

let state = null;
let shownAddress = null;

const number = (id) => byTestId(id).valueAsNumber;
const chosen = (id) => state?.camera?.profiles.find(({ token }) => token === byTestId(id).value);

async function attempt(action) {
  try {
    await action();
    setText(byTestId('problem'), '');
  } catch (error) {
    setText(byTestId('problem'), error.message);
  }
}

function ask(method, params) {
  return attempt(async () => {
    await callSetUp(method, params);
    await look();
  });
}

function showList(id, texts) {
  const list = byTestId(id);
  if (list.children.length === texts.length && texts.every((t, i) => list.children[i].textContent === t)) {
    return;
  }
  list.replaceChildren(...texts.map((text) => h('li', {}, text)));
}

function showFound({ running, cameras }) {
  byTestId('find-search').disabled = running;
  setText(byTestId('find-search'), running ? 'Looks for cameras …' : 'Look for cameras');
  byTestId('find-list').replaceChildren(
    ...cameras.map(({ name, hardware, address }) =>
      h(
        'li',
        {},
        h(
          'button',
          {
            type: 'button',
            'data-testid': 'find-camera',
            onclick: () => {
              byTestId('find-address').value = address;
            },
          },
          `${name || hardware || 'A camera'}, ${address}`,
        ),
      ),
    ),
  );
}

function fillProfiles(id, profiles, isWanted) {
  const wanted = profiles.filter(isWanted);
  byTestId(id).replaceChildren(
    ...wanted.map(({ token, name }) => h('option', { value: token }, name || token)),
  );
}

function showCamera(camera) {
  setText(byTestId('find-trouble'), camera?.trouble ?? '');
  const waits = camera?.running ? [`Looks at ${camera.address} …`] : [];
  showList('find-words', camera?.words.length ? camera.words : waits);
  const key = camera && !camera.running ? JSON.stringify([camera.address, camera.profiles]) : null;
  if (key === shownAddress) return;
  shownAddress = key;
  const profiles = camera?.profiles ?? [];
  fillProfiles('head-profile', profiles, ({ head }) => head);
  fillProfiles('camera-profile', profiles, ({ picture, head }) => picture && !head);
}

function showCheck(check) {
  byTestId('head-check').disabled = Boolean(check?.running) || !chosen('head-profile');
  byTestId('head-stop').disabled = !check?.running;
  setText(byTestId('head-step'), check?.running ? `${check.step} …` : '');
  setText(byTestId('head-trouble'), check?.trouble ?? '');
  showList('head-words', check?.words ?? []);
  const [low, high] = check?.found.field_angles ?? [];
  byTestId('head-field-in').placeholder = low?.toFixed(1) ?? '';
  byTestId('head-field-out').placeholder = high?.toFixed(1) ?? '';
}

function showMetadata({ running, trouble, done }) {
  const advice = adviceOf(chosen('camera-profile'));
  const text = done && advice ? 'The camera says that it is done; look at it once more.' : advice;
  setText(byTestId('camera-metadata-status'), trouble || text);
  const button = byTestId('camera-metadata');
  button.hidden = !advice || !chosen('camera-profile')?.analytics;
  button.disabled = running;
}

function showSettings({ settings, missing }) {
  setText(byTestId('missing'), missing ? `${missing}.` : 'Head and cameras are set up.');
  byTestId('cameras-list').replaceChildren(
    ...(settings.cameras ?? []).map((camera, i) =>
      h(
        'li',
        { 'data-testid': 'camera-known' },
        `${camera.name ?? 'Overview'}, ${camera.address} `,
        h('a', { href: `calibration.html?camera=${i + 1}` }, 'Calibrate'),
        ' ',
        h(
          'button',
          { type: 'button', onclick: () => ask('removeCamera', { number: i + 1 }) },
          'Remove',
        ),
      ),
    ),
  );
  const height = byTestId('mast-height');
  if (document.activeElement !== height && !height.value) height.value = settings.mast_height ?? 5;
}

async function look() {
  state = await callSetUp('getSetUp');
  showFound(state.search);
  showCamera(state.camera);
  showCheck(state.check);
  showMetadata(state.metadata);
  showSettings(state);
}

async function watch() {
  await attempt(look);
  const isBusy =
    state?.search.running || state?.camera?.running || state?.check?.running || state?.metadata.running;
  setTimeout(watch, isBusy ? BUSY : IDLE);
}

async function showPicture() {
  const profile = chosen('camera-profile');
  const image = byTestId('camera-picture');
  image.hidden = !profile || !image.src;
  if (profile && !document.hidden) {
    await attempt(async () => {
      const { jpeg, trouble } = await callSetUp('snapshot', { profile: profile.token });
      setText(byTestId('camera-snapshot-trouble'), trouble);
      if (jpeg) image.src = `data:image/jpeg;base64,${jpeg}`;
    });
  }
  setTimeout(showPicture, PICTURE);
}

function onSubmit(id, action) {
  byTestId(id).addEventListener('submit', (event) => {
    event.preventDefault();
    action();
  });
}

byTestId('find-search').addEventListener('click', () => ask('search'));
onSubmit('find-form', () => {
  const [address, user, password] = ['address', 'user', 'password'].map(
    (name) => byTestId(`find-${name}`).value,
  );
  ask('inspect', { address, user, password });
});
byTestId('head-check').addEventListener('click', () =>
  ask('checkHead', {
    profile: byTestId('head-profile').value,
    zoom: byTestId('head-zoom').checked,
  }),
);
byTestId('head-stop').addEventListener('click', () => ask('stopCheck'));
onSubmit('head-form', () => {
  const told = toldOfHead({
    fieldIn: number('head-field-in'),
    fieldOut: number('head-field-out'),
    panLow: number('head-pan-low'),
    panHigh: number('head-pan-high'),
    tiltLow: number('head-tilt-low'),
    tiltHigh: number('head-tilt-high'),
    sensorWidth: number('head-sensor-width'),
    invertPan: byTestId('head-invert-pan').checked,
    invertTilt: byTestId('head-invert-tilt').checked,
  });
  ask('useHead', { profile: byTestId('head-profile').value, told });
});
byTestId('camera-metadata').addEventListener('click', () =>
  ask('switchMetadataOn', { profile: byTestId('camera-profile').value }),
);
onSubmit('camera-form', () => {
  const profile = chosen('camera-profile');
  if (!profile) return;
  const told = toldOfCamera(
    { name: byTestId('camera-name').value, angle: number('camera-angle') },
    profile,
  );
  ask('useCamera', { profile: profile.token, told });
});
onSubmit('general-form', () => ask('useGeneral', { told: { mast_height: number('mast-height') } }));

watch();
showPicture();
