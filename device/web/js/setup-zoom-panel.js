/** The head's picture between two marks, by which a person measures how wide it is. */

import { moveHead } from './calibration-api.js';
import { CalibrationSession } from './calibration-session.js';
import { showCamera } from './camera-view.js';
import { byTestId, setText } from './dom.js';
import { offerToLead } from './lead-buttons.js';
import { callSetUp } from './setup-api.js';
import { angleOfMarks, isSameZoom, MARK } from './setup-zoom.js';
import { forgetOlder, speedsOf } from './store.js';

const STANDS = 0.2; // degrees a second: slower than that the head stands
const LATELY = 2; // seconds of the head's positions
const LED = { ArrowLeft: true, ArrowRight: true, ArrowUp: true, ArrowDown: true, '+': true, '-': true };
const BUTTONS = {
  'zoom-pan-left': 'ArrowLeft',
  'zoom-pan-right': 'ArrowRight',
  'zoom-tilt-up': 'ArrowUp',
  'zoom-tilt-down': 'ArrowDown',
  'zoom-in': '+',
  'zoom-out': '-',
};

const panel = byTestId('zoom-eye');
const heads = []; // of the live stream
let looks = {}; // left and right, until both are there
let onRow = () => {};

const words = (text) => setText(byTestId('zoom-words'), text);

const session = new CalibrationSession({ moveHead, zooms: true });
session.addEventListener('change', () => words(session.problem));

/** Its head is the settings' one, and nobody else moves it. */
export function showZoomByEye(isOffered) {
  if (panel.hidden !== isOffered) return;
  panel.hidden = !isOffered;
  looks = {};
  session.releaseAll();
}

export function headIsAt(head) {
  heads.push(head);
  forgetOlder(heads, LATELY);
}

export function forgetHead() {
  heads.length = 0;
}

/** @param {(measured: {zoom: number, unit: string, angle: number}) => string} take gives words */
export function takeRowsBy(take) {
  onRow = take;
}

async function presentLook() {
  const head = heads.at(-1);
  if (!head) throw new Error('The head does not say where it is.');
  const { pan, tilt } = speedsOf(heads);
  if (Math.max(Math.abs(pan), Math.abs(tilt)) > STANDS) {
    throw new Error('The head still moves: press it when it stands.');
  }
  const { position: zoom, unit } = await callSetUp('headZoom');
  if (zoom === null) throw new Error('The head does not tell the position of its zoom.');
  return { pan: head.pan, tilt: head.tilt, zoom, unit };
}

async function take(side, other) {
  try {
    const look = await presentLook();
    if (looks[other] && !isSameZoom(looks[other].zoom, look.zoom)) delete looks[other];
    looks[side] = look;
    if (!looks[other]) {
      return words(`Now lead the head until the same thing is on the ${other} cross; leave the zoom.`);
    }
    const { left, right } = looks;
    looks = {};
    const { angle, refusal } = angleOfMarks(left, right);
    words(refusal ?? onRow({ zoom: look.zoom, unit: look.unit, angle }));
  } catch (error) {
    words(error.message);
  }
}

byTestId('zoom-marks').setAttribute(
  'd',
  [-MARK, MARK].map((x) => `M${x},-1 V1 M${x - 0.03},0 H${x + 0.03}`).join(' '),
);
byTestId('zoom-left').addEventListener('click', () => take('left', 'right'));
byTestId('zoom-right').addEventListener('click', () => take('right', 'left'));
offerToLead(
  session,
  Object.entries(BUTTONS).map(([id, key]) => [byTestId(id), key]),
  () => byTestId('zoom-fast').checked,
);
const lead = byTestId('zoom-lead');
lead.addEventListener('keydown', (event) => {
  if (!LED[event.key]) return;
  event.preventDefault();
  session.press(event.key, event.shiftKey || byTestId('zoom-fast').checked);
});
lead.addEventListener('keyup', (event) => session.release(event.key));
lead.addEventListener('blur', () => session.releaseAll());
globalThis.addEventListener('blur', () => session.releaseAll());
panel.addEventListener('toggle', () => {
  if (!panel.open) session.releaseAll();
});
showCamera(
  byTestId('zoom-picture'),
  byTestId('zoom-trouble'),
  { head: true },
  () => panel.open && !panel.hidden,
);
