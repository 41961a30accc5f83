/** Sets cameras and head up: setup.html. */

import { byTestId, h, setText, svg } from './dom.js';
import { listen } from './live.js';
import { callSetUp } from './setup-api.js';
import { enteredFromSight, showSight } from './setup-sight-panel.js';
import {
  adviceOf,
  fieldsOfCamera,
  fieldsOfHead,
  headAddress,
  indexOfCamera,
  isCalibrated,
  isCleared,
  nextStep,
  picturesOf,
  plainTrouble,
  toldOfCamera,
  toldOfHead,
  toldOfObjects,
  toldOfZoomTable,
  wordsOfObjects,
} from './setup-told.js';
import { withRow } from './setup-zoom.js';
import { forgetHead, headIsAt, showZoomByEye, takeRowsBy } from './setup-zoom-panel.js';

const BUSY = 400; // milliseconds between two looks while something is being done
const IDLE = 3000;
const PICTURE = 1000;
const DRAFT = 'set-up'; // what was entered, until the window is closed

// What is entered, but for the password: that is kept nowhere.
const ENTERED = [
  'find-address',
  'find-user',
  'head-profile',
  'head-zoom',
  'head-ends',
  'head-sight',
  'head-field-in',
  'head-field-out',
  'head-pan-low',
  'head-pan-high',
  'head-tilt-low',
  'head-tilt-high',
  'head-sensor-width',
  'head-invert-pan',
  'head-invert-tilt',
  'head-home-pan',
  'head-home-tilt',
  'head-zoom-table',
  'head-zoom-unit',
  'head-pan-end-low',
  'head-pan-end-high',
  'head-tilt-end-low',
  'head-tilt-end-high',
  'head-product',
  'head-status-age',
  'head-metadata',
  'camera-profile',
  'camera-name',
  'camera-angle',
  'camera-pixels-wide',
  'camera-pixels-high',
  'camera-classes',
  'camera-likelihood',
  'camera-least-delay',
];

let state = null;
let shownCamera = null;
let draft = JSON.parse(sessionStorage.getItem(DRAFT) ?? 'null') ?? { camera: null, values: {} };

const number = (id) => byTestId(id).valueAsNumber;
const chosen = (id) => state?.camera?.profiles.find(({ token }) => token === byTestId(id).value);

/** Tells what became of an action where it was asked for, until the next one there. */
async function act(step, action, done = '') {
  const tell = (kind, text) => {
    const place = byTestId(`${step}-${kind}`);
    if (place) setText(place, text);
  };
  tell('done', '');
  try {
    await action();
    troubles[step] = '';
    await look();
    tell('done', done);
  } catch (error) {
    troubles[step] = plainTrouble(error.message);
  }
  showTroubles();
}

const troubles = { find: '', head: '', camera: '', general: '', cameras: '' };

/** What was refused, and else what the device itself says went wrong. */
function showTroubles() {
  const told = { find: state?.camera?.trouble, head: state?.check?.trouble };
  for (const [step, text] of Object.entries(troubles)) {
    setText(byTestId(`${step}-trouble`), text || told[step] || '');
  }
}

function showList(id, texts) {
  const list = byTestId(id);
  if (list.children.length === texts.length && texts.every((t, i) => list.children[i].textContent === t)) {
    return;
  }
  list.replaceChildren(...texts.map((text) => h('li', {}, text)));
}

/** Elements are made anew only when they are others: what has the focus keeps it. */
function showItems(id, key, makeItems) {
  const list = byTestId(id);
  const text = JSON.stringify(key);
  if (list.dataset.shown === text) return;
  list.dataset.shown = text;
  list.replaceChildren(...makeItems());
}

function showFound({ running, cameras }) {
  byTestId('find-search').disabled = running;
  const isLooked = byTestId('find-search').dataset.asked === 'true';
  setText(byTestId('find-search'), running ? 'Looks for cameras …' : 'Look for cameras');
  const nobody = !running && isLooked && !cameras.length;
  showItems('find-list', [cameras, nobody], () =>
    nobody
      ? [h('li', {}, 'No camera has answered: enter its address.')]
      : cameras.map(({ name, hardware, address }) =>
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
                  keepDraft();
                  byTestId('find-user').focus();
                },
              },
              `${name || hardware || 'A camera'}, ${address}`,
            ),
          ),
        ),
  );
}

function fillProfiles(id, profiles) {
  byTestId(id).replaceChildren(
    ...profiles.map(({ token, name }) => h('option', { value: token }, name || token)),
  );
}

function showCamera(camera) {
  const waits = camera?.running ? [`Looks at ${camera.address} …`] : [];
  showList('find-words', camera?.words.length ? camera.words : waits);
  byTestId('find-inspect').disabled = Boolean(camera?.running);
  const { head } = state.settings;
  const key =
    camera && !camera.running
      ? JSON.stringify([camera.address, camera.profiles, head?.address])
      : null;
  if (key === shownCamera) return;
  shownCamera = key;
  const profiles = camera?.profiles ?? [];
  fillProfiles(
    'head-profile',
    profiles.filter((profile) => profile.head),
  );
  fillProfiles('camera-profile', camera ? picturesOf(camera, state.settings) : []);
  if (profiles.length) fillFields(camera.address);
}

/** With what is known of this camera, or what was entered before the page was loaded anew. */
function fillFields(address) {
  const isSame = draft.camera === address;
  if (isSame) return enter(draft.values);
  draft.camera = address;
  const { head } = state.settings;
  enter(fieldsOfHead(head?.address === address ? head : {}));
  enter({ 'head-sight': state.camera.profiles.some((one) => one.head) && !state.camera.degrees });
  fillCameraFields();
  for (const step of ['head', 'camera']) setText(byTestId(`${step}-done`), '');
}

function fillCameraFields() {
  const { cameras = [] } = state.settings;
  enter(fieldsOfCamera(cameras[knownIndex()]));
  keepDraft();
}

const knownIndex = () =>
  indexOfCamera(state.settings, state.camera?.address, byTestId('camera-profile').value);

function enter(values) {
  for (const [id, value] of Object.entries(values)) {
    const field = byTestId(id);
    if (field.type === 'checkbox') field.checked = Boolean(value);
    else if (field.tagName !== 'SELECT') field.value = value;
    else if ([...field.options].some((option) => option.value === value)) field.value = value;
  }
}

function keepDraft() {
  for (const id of ENTERED) {
    const field = byTestId(id);
    draft.values[id] = field.type === 'checkbox' ? field.checked : field.value;
  }
  // An address with a user and a password in it is refused, and kept nowhere.
  if (draft.values['find-address'].includes('@')) draft.values['find-address'] = '';
  sessionStorage.setItem(DRAFT, JSON.stringify(draft));
}

function showCheck(check) {
  const canMove = Boolean(chosen('head-profile'));
  byTestId('head-check').disabled = Boolean(check?.running) || !canMove;
  byTestId('head-stop').disabled = !check?.running;
  byTestId('head-use').disabled = Boolean(check?.running) || !canMove;
  const isLooked = state.camera && !state.camera.running && !state.camera.trouble;
  const hint = isLooked
    ? 'The camera of step 1 moves no head.'
    : 'Look at the camera with the head first: step 1.';
  setText(byTestId('head-step'), check?.running ? `${check.step} …` : canMove ? '' : hint);
  showList('head-words', check?.words ?? []);
  byTestId('head-take').hidden = check?.running || !TAKEN.some((key) => key in (check?.found ?? {}));
  showSight(check);
  const isHead = state.camera?.address === state.settings.head?.address;
  showZoomByEye(Boolean(state.settings.head && isHead && !check?.running));
  const [low, high] = check?.found.field_angles ?? [];
  byTestId('head-field-in').placeholder = low?.toFixed(1) ?? '';
  byTestId('head-field-out').placeholder = high?.toFixed(1) ?? '';
}

// What a check may find and the fields have.
const TAKEN = ['field_angles', 'pan_range', 'tilt_range', 'pan_ends', 'tilt_ends', 'zoom_table'];

/** The fields of what was found; the others stay as they are. */
function takeFound(found) {
  const filled = fieldsOfHead(found);
  const empty = fieldsOfHead({});
  const isTold = ([id, value]) => value !== empty[id] || isCleared(found, id);
  enter(Object.fromEntries(Object.entries(filled).filter(isTold)));
  keepDraft();
}

function showMetadata({ running, trouble, done }) {
  const profile = chosen('camera-profile');
  const advice = adviceOf(profile);
  const again = 'The camera says that it is done; look at it once more.';
  const isLooked = state.camera && !state.camera.running && !state.camera.trouble;
  const none = isLooked
    ? 'The camera of step 1 has no fixed picture: look at the next one.'
    : 'Look at an overview camera first: step 1.';
  setText(
    byTestId('camera-metadata-status'),
    profile ? trouble || (done && advice ? again : advice) : none,
  );
  const button = byTestId('camera-metadata');
  button.hidden = !advice || !profile?.analytics;
  button.disabled = running;
  const use = byTestId('camera-use');
  use.disabled = !profile;
  setText(use, profile && knownIndex() >= 0 ? 'Keep the change' : 'This is an overview camera');
}

function showSettings({ settings }) {
  const step = nextStep(state);
  setText(byTestId('missing'), step);
  const { head } = settings;
  showItems('head-known', head ?? null, () =>
    head
      ? [
          `The head is ${headAddress(head)}. `,
          h(
            'button',
            { type: 'button', 'data-testid': 'head-look', onclick: () => inspect({ head: true }) },
            'Look at it',
          ),
        ]
      : [],
  );
  showItems('cameras-list', settings.cameras ?? [], () => (settings.cameras ?? []).map(cameraItem));
  const height = byTestId('mast-height');
  if (document.activeElement !== height && !height.value) height.value = settings.mast_height ?? 5;
  const following = byTestId('general-following');
  const kept = settings.following ?? 'predictive';
  if (following.dataset.kept !== kept) following.value = following.dataset.kept = kept;
}

function cameraItem(camera, i) {
  const name = camera.name ?? 'Overview';
  const words = isCalibrated(camera) ? 'calibrated' : 'not calibrated yet';
  const remove = () => {
    if (!confirm(`Remove ${name}? Its calibration goes with it.`)) return;
    act('cameras', () => callSetUp('removeCamera', { number: i + 1 }));
  };
  return h(
    'li',
    { 'data-testid': 'camera-known' },
    `${name}, ${headAddress(camera)}: ${words}`,
    h(
      'a',
      { href: `calibration.html?camera=${i + 1}`, 'data-testid': 'camera-calibrate' },
      'Calibrate',
    ),
    h(
      'button',
      { type: 'button', 'data-testid': 'camera-look', onclick: () => inspect({ camera: i + 1 }) },
      'Look at it',
    ),
    h('button', { type: 'button', 'data-testid': 'camera-remove', onclick: remove }, 'Remove'),
  );
}

async function look() {
  state = await callSetUp('getSetUp');
  showFound(state.search);
  showCamera(state.camera);
  showCheck(state.check);
  showMetadata(state.metadata);
  showSettings(state);
  showTroubles();
  showObjects();
}

async function watch() {
  try {
    await look();
    setText(byTestId('problem'), '');
  } catch (error) {
    setText(byTestId('problem'), `${error.message} It is tried again; what is entered stays.`);
  }
  const isBusy =
    state?.search.running || state?.camera?.running || state?.check?.running || state?.metadata.running;
  setTimeout(watch, isBusy ? BUSY : IDLE);
}

async function showPicture() {
  const profile = chosen('camera-profile');
  const image = byTestId('camera-picture');
  const which = profile ? `${state.camera.address} ${profile.token}` : '';
  if (image.dataset.of !== which) {
    image.dataset.of = which;
    image.removeAttribute('src');
  }
  const trouble = byTestId('camera-snapshot-trouble');
  if (!profile) setText(trouble, '');
  else if (!document.hidden) {
    try {
      const told = await callSetUp('snapshot', { profile: profile.token });
      setText(trouble, told.trouble);
      if (told.jpeg) image.src = `data:image/jpeg;base64,${told.jpeg}`;
    } catch {
      // The watch tells it.
    }
  }
  image.hidden = !profile || !image.hasAttribute('src');
  setTimeout(showPicture, PICTURE);
}

const framesOf = new Map(); // the last one, by the number of its camera

/** What the camera that is looked at tells, once it is one of the settings'. */
function showObjects() {
  const profile = chosen('camera-profile');
  const number = profile ? knownIndex() + 1 : 0;
  const objects = framesOf.get(number)?.objects;
  setText(byTestId('camera-objects'), profile ? wordsOfObjects(number, objects) : '');
  byTestId('camera-outlines').replaceChildren(
    ...(number > 0 ? (objects ?? []) : []).map(({ polygon }) =>
      svg('polygon', { class: 'outline', points: polygon.map(([x, y]) => `${x},${-y}`).join(' ') }),
    ),
  );
}

function inspect(which) {
  return act('find', () => callSetUp('inspect', which));
}

function onSubmit(id, action) {
  byTestId(id).addEventListener('submit', (event) => {
    event.preventDefault();
    action();
  });
}

byTestId('find-search').addEventListener('click', ({ currentTarget }) => {
  currentTarget.dataset.asked = 'true';
  act('find', () => callSetUp('search'));
});
onSubmit('find-form', () => {
  const [address, user, password] = ['address', 'user', 'password'].map(
    (name) => byTestId(`find-${name}`).value,
  );
  inspect({ address, user, password });
});
byTestId('head-check').addEventListener('click', () =>
  act('head', () =>
    callSetUp('checkHead', {
      profile: byTestId('head-profile').value,
      zoom: byTestId('head-zoom').checked,
      ends: byTestId('head-ends').checked,
      sight: byTestId('head-sight').checked,
      told: headEntered(),
    }),
  ),
);
byTestId('head-stop').addEventListener('click', () => act('head', () => callSetUp('stopCheck')));
byTestId('head-take').addEventListener('click', () => takeFound(state.check.found));
byTestId('sight-take').addEventListener('click', () => {
  const { head } = state.settings;
  const known = head?.address === state.camera?.address ? head : {};
  takeFound(enteredFromSight({ ...known, ...headEntered() }));
});

takeRowsBy(({ zoom, unit, angle }) => {
  const { text, refusal } = withRow(byTestId('head-zoom-table').value, zoom, angle);
  if (refusal) return refusal;
  enter({ 'head-zoom-table': text, 'head-zoom-unit': unit });
  byTestId('head-more').open = true;
  keepDraft();
  return (
    `The picture is ${angle.toFixed(2)} degrees wide at ${zoom}: that line is in the zoom table. ` +
    'Go on at another zoom. From two lines on the table counts; "This is the head" keeps it.'
  );
});

function headEntered() {
  const known = state.settings.head;
  const former = known?.address === state.camera?.address ? known : {};
  const entered = {
    fieldIn: number('head-field-in'),
    fieldOut: number('head-field-out'),
    panLow: number('head-pan-low'),
    panHigh: number('head-pan-high'),
    tiltLow: number('head-tilt-low'),
    tiltHigh: number('head-tilt-high'),
    sensorWidth: number('head-sensor-width'),
    invertPan: byTestId('head-invert-pan').checked,
    invertTilt: byTestId('head-invert-tilt').checked,
    homePan: number('head-home-pan'),
    homeTilt: number('head-home-tilt'),
    panEndLow: number('head-pan-end-low'),
    panEndHigh: number('head-pan-end-high'),
    tiltEndLow: number('head-tilt-end-low'),
    tiltEndHigh: number('head-tilt-end-high'),
    zoomUnit: byTestId('head-zoom-unit').value,
    product: byTestId('head-product').value,
    statusAge: number('head-status-age'),
    metadata: byTestId('head-metadata').checked,
  };
  return {
    ...toldOfHead(entered, former, state.check?.found),
    ...toldOfZoomTable(byTestId('head-zoom-table').value, former.zoom_table),
  };
}

function objectsEntered() {
  return toldOfObjects({
    pixelsWide: number('camera-pixels-wide'),
    pixelsHigh: number('camera-pixels-high'),
    classes: byTestId('camera-classes').value,
    likelihood: number('camera-likelihood'),
    leastDelay: number('camera-least-delay'),
  });
}

onSubmit('head-form', () => {
  const profile = byTestId('head-profile').value;
  const use = async () => {
    await callSetUp('useHead', { profile, told: headEntered() });
    await look();
    enter(fieldsOfHead(state.settings.head)); // with what was measured
    keepDraft();
  };
  act('head', use, 'It is kept.');
});
byTestId('camera-metadata').addEventListener('click', () =>
  act('camera', () =>
    callSetUp('switchMetadataOn', { profile: byTestId('camera-profile').value }),
  ),
);
byTestId('camera-profile').addEventListener('change', fillCameraFields);
onSubmit('camera-form', () => {
  const profile = chosen('camera-profile');
  if (!profile) return;
  const entered = { name: byTestId('camera-name').value, angle: number('camera-angle') };
  const index = knownIndex();
  const known = state.settings.cameras?.[index];
  const told = { ...toldOfCamera(entered, profile, known), ...objectsEntered() };
  const which = known ? { number: index + 1 } : { profile: profile.token };
  act('camera', () => callSetUp('useCamera', { ...which, told }), 'It is kept.');
});
onSubmit('general-form', () =>
  act(
    'general',
    () =>
      callSetUp('useGeneral', {
        told: { mast_height: number('mast-height'), following: byTestId('general-following').value },
      }),
    'It is kept.',
  ),
);

for (const id of ENTERED) {
  byTestId(id).addEventListener('input', keepDraft);
  byTestId(id).addEventListener('change', keepDraft);
}
enter(draft.values);
watch();
showPicture();
listen(
  {
    // The cameras may be others.
    model: () => {
      framesOf.clear();
      forgetHead();
    },
    head: headIsAt,
    frame: (frame) => {
      framesOf.set(frame.camera, frame);
      if (state && !document.hidden) showObjects();
    },
  },
  () => {},
);
