/** Calibrates one overview camera, and shows whether that is good: calibration.html?camera=1. */

import { call } from './api.js';
import { moveHead, solve } from './calibration-api.js';
import { calibratedCamera } from './calibrated-camera.js';
import { CalibrationPanel } from './calibration-panel.js';
import { keptIn, textToKeep } from './calibration-points.js';
import { CalibrationSession } from './calibration-session.js';
import { showCamera } from './camera-view.js';
import { byTestId, h, setText } from './dom.js';
import { EditorState } from './editor-state.js';
import { toScene } from './geometry.js';
import { HeadView } from './head-view.js';
import { offerToLead } from './lead-buttons.js';
import { listen } from './live.js';
import { OverviewPictures } from './overview.js';
import { callSetUp } from './setup-api.js';
import { toldOfCalibration } from './setup-told.js';
import { Store, speedsOf } from './store.js';
import { WalkPanel } from './walk-panel.js';

const LOOK = 2000; // milliseconds between two questions whether somebody is followed
const STANDS = 0.2; // degrees a second: slower than that the head stands

const wanted = Number(new URLSearchParams(location.search).get('camera') ?? 1);
const keptAs = `calibration of camera ${wanted}`;
const store = new Store();
const pictures = new OverviewPictures(byTestId('overviews'), store, new EditorState());
const headView = new HeadView(byTestId('head-view'), store);
let session = null;
let walk = null;
let isDue = false; // to be drawn anew
let overview = null;
let inForce = null; // of the settings, when it is another one than the model has

function isHeadMoving() {
  const { pan, tilt } = speedsOf(store.heads);
  return Math.max(Math.abs(pan), Math.abs(tilt)) > STANDS;
}

const channelOf = (model) => model.channels.find(({ camera }) => camera === wanted);
const isOfOthers = () => store.model.transport === 'onvif';

function begin(channel) {
  const isSideways = channel.rotation % 180 !== 0;
  const picture = isSideways
    ? { width: channel.height, height: channel.width }
    : { width: channel.width, height: channel.height };
  overview = byTestId(`picture-${channel.camera}`);
  const turn = {
    toSeen: (place) => toScene((360 - channel.rotation) % 360, place),
    toDrawn: (place) => toScene(channel.rotation, place),
  };
  const headDirection = () => store.head;
  const isMoving = isHeadMoving;
  session = new CalibrationSession({ picture, headDirection, isMoving, solve, moveHead });
  session.addEventListener('change', () => {
    sessionStorage.setItem(keptAs, textToKeep(session));
    drawSoon();
  });
  const kept = keptIn(sessionStorage.getItem(keptAs));
  const height = isOfOthers() ? store.model.mast_height_m : null;
  new CalibrationPanel(byTestId('calibration-step'), overview, session, { ...turn, height, kept });
  walk = new WalkPanel(overview, { ...turn, store, number: wanted, camera: cameraThatCounts });
  const keys = { left: 'ArrowLeft', right: 'ArrowRight', up: 'ArrowUp', down: 'ArrowDown' };
  const buttons = Object.entries(keys).map(([name, key]) => [byTestId(`lead-${name}`), key]);
  offerToLead(session, buttons, () => byTestId('lead-fast').checked);
  if (!isOfOthers()) return;
  offerToKeep();
  const seen = h('img', { class: 'seen', 'data-testid': 'overview-seen', alt: '', hidden: true });
  overview.prepend(seen);
  showCamera(seen, byTestId('overview-trouble'), { camera: wanted });
  showCamera(byTestId('head-seen'), byTestId('head-trouble'), { head: true });
}

/** What the points say; without it what is in force. */
function cameraThatCounts() {
  const { data } = session.answer ?? {};
  const metres = store.model.mast_height_m;
  return data
    ? {
        found: calibratedCamera(data, session.heights ?? metres),
        source: 'By the calibration of the points above.',
      }
    : {
        found: calibratedCamera(inForce ?? channelOf(store.model), metres),
        source: 'By the calibration that is in force.',
      };
}

/** Cameras of others stand in settings that can be changed from here. */
function offerToKeep() {
  const button = byTestId('calibration-keep');
  const status = byTestId('calibration-kept');
  session.addEventListener('change', () => {
    button.hidden = !session.answer?.data;
    setText(status, '');
  });
  button.addEventListener('click', async () => {
    const found = session.answer.data;
    try {
      await callSetUp('useCamera', { number: wanted, told: toldOfCalibration(found) });
      inForce = found;
      setText(
        status,
        'It is kept. The daemon takes it with its next start: by itself where it was started from ' +
          'here, as a service with "systemctl restart sentrelvideo". Then try it by the walk test.',
      );
    } catch (error) {
      setText(status, `It is not kept: ${error.message}`);
    }
  });
}

/** Somebody who is followed takes the head away from who calibrates. */
async function showFollowing(change) {
  const button = byTestId('following-switch');
  const status = byTestId('following-state');
  try {
    if (change !== undefined) await call('setSentrel', { enable: change });
    const isOn = (await call('getSentrel')).state !== 'stopped';
    button.dataset.on = isOn;
    button.hidden = false;
    setText(button, isOn ? 'Switch following off' : 'Switch following on');
    setText(status, isOn ? 'Following is on: it leads the head.' : 'Following is off.');
  } catch (error) {
    button.hidden = true;
    setText(status, store.model ? `The daemon does not answer: ${error.message}` : '');
  }
}

async function watchFollowing() {
  if (!document.hidden) await showFollowing();
  setTimeout(watchFollowing, LOOK);
}

byTestId('following-switch').addEventListener('click', ({ currentTarget }) =>
  showFollowing(currentTarget.dataset.on !== 'true'),
);

store.on('model', (model) => {
  const channel = channelOf(model);
  for (const { camera } of model.channels) {
    byTestId(`overview-${camera}`).hidden = camera !== wanted;
  }
  setText(
    byTestId('problem'),
    channel ? '' : `There is no camera ${wanted}: choose one in the set-up.`,
  );
  if (channel && !session) begin(channel);
  // Another camera than before stands there; the points are kept.
  else if (session && overview !== byTestId(`picture-${wanted}`)) location.reload();
});
store.on('reachable', (isReachable) => {
  if (isReachable) setText(byTestId('problem'), '');
  else setText(byTestId('problem'), 'Device not reachable. Trying again; your points are kept.');
});

function showDirection() {
  if (!store.head) return;
  const { time, pan, tilt } = store.head;
  const shown = byTestId('head-direction');
  setText(shown, `The head looks to pan ${pan.toFixed(2)}°, tilt ${tilt.toFixed(2)}°.`);
  shown.dataset.time = time;
  shown.dataset.pan = pan;
  shown.dataset.tilt = tilt;
}

function draw() {
  requestAnimationFrame(draw);
  if (!isDue || document.hidden) return;
  isDue = false;
  showDirection();
  pictures.draw();
  if (byTestId('head-seen').hidden) headView.draw();
  walk?.draw();
}

const drawSoon = () => {
  isDue = true;
};
for (const type of ['model', 'frame', 'head', 'world']) store.on(type, drawSoon);
addEventListener('resize', drawSoon);

listen(store.handlers(), (reachable) => store.setReachable(reachable));
watchFollowing();
requestAnimationFrame(draw);
