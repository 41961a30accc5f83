/** Calibrates one of the device's own cameras: calibration.html?camera=1. */

import { moveHead, solve } from './calibration-api.js';
import { CalibrationPanel } from './calibration-panel.js';
import { CalibrationSession } from './calibration-session.js';
import { byTestId, setText } from './dom.js';
import { EditorState } from './editor-state.js';
import { toScene } from './geometry.js';
import { HeadView } from './head-view.js';
import { listen } from './live.js';
import { OverviewPictures } from './overview.js';
import { callSetUp } from './setup-api.js';
import { toldOfCalibration } from './setup-told.js';
import { Store } from './store.js';

const wanted = Number(new URLSearchParams(location.search).get('camera') ?? 1);
const store = new Store();
const pictures = new OverviewPictures(byTestId('overviews'), store, new EditorState());
const headView = new HeadView(byTestId('head-view'), store);
let session = null;

function begin(channel) {
  const isSideways = channel.rotation % 180 !== 0;
  const picture = isSideways
    ? { width: channel.height, height: channel.width }
    : { width: channel.width, height: channel.height };
  session = new CalibrationSession({ picture, headDirection: () => store.head, solve, moveHead });
  new CalibrationPanel(
    byTestId('calibration-step'),
    byTestId(`picture-${channel.camera}`),
    session,
    {
      toSeen: (place) => toScene((360 - channel.rotation) % 360, place),
      toDrawn: (place) => toScene(channel.rotation, place),
    },
  );
  if (store.model.transport === 'onvif') offerToKeep(channel.camera);
}

/** Cameras of others stand in settings that can be changed from here. */
function offerToKeep(number) {
  const button = byTestId('calibration-keep');
  const status = byTestId('calibration-kept');
  session.addEventListener('change', () => {
    button.hidden = !session.answer?.data;
    setText(status, '');
  });
  button.addEventListener('click', async () => {
    try {
      await callSetUp('useCamera', { number, told: toldOfCalibration(session.answer.data) });
      setText(status, 'It is kept; the daemon takes it with a new start.');
    } catch (error) {
      setText(status, error.message);
    }
  });
}

store.on('model', (model) => {
  const channel = model.channels.find(({ camera }) => camera === wanted);
  for (const { camera } of model.channels) {
    byTestId(`overview-${camera}`).hidden = camera !== wanted;
  }
  setText(byTestId('problem'), channel ? '' : `There is no camera ${wanted}.`);
  if (channel && !session) begin(channel);
});

function showDirection() {
  if (!store.head) return;
  const { pan, tilt } = store.head;
  const shown = byTestId('head-direction');
  setText(shown, `The head looks to pan ${pan.toFixed(2)}°, tilt ${tilt.toFixed(2)}°.`);
  shown.dataset.pan = pan;
  shown.dataset.tilt = tilt;
}

function draw() {
  showDirection();
  pictures.draw();
  headView.draw();
  requestAnimationFrame(draw);
}

listen(store.handlers(), (reachable) => store.setReachable(reachable));
requestAnimationFrame(draw);
