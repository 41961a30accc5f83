/** Two pictures of the head's check, by which a person tells whether its scale is right. */

import { byTestId, setText } from './dom.js';
import { callSetUp } from './setup-api.js';
import { placeOfFormerMiddle, rangesOfSight, scaleOfSight, wordsOfSight } from './setup-sight.js';

const KEY_STEP = 0.005; // of half a picture
const KEYS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] };

let isShown = false;
let sight = null; // what checkPictures says
let place = null; // of the cross in the second picture
let scale = null; // once it was put somewhere else

const size = () => {
  const { naturalWidth: width, naturalHeight: height } = byTestId('sight-after');
  return { width, height };
};

/** @param {object|null} check as getSetUp has it */
export async function showSight(check) {
  const isThere = Boolean(check?.sight && !check.running);
  if (isThere === isShown) return;
  isShown = isThere;
  byTestId('sight').hidden = !isThere;
  if (!isThere) return;
  scale = null;
  byTestId('sight-take').disabled = true;
  try {
    const { field_angle: fieldAngle, ...told } = await callSetUp('checkPictures');
    sight = { ...told, fieldAngle };
    for (const part of ['before', 'after']) {
      byTestId(`sight-${part}`).src = `data:image/jpeg;base64,${told[part]}`;
    }
    await byTestId('sight-after').decode();
    place = placeOfFormerMiddle(sight.from, sight.to, fieldAngle, size());
    showCross();
    setText(byTestId('sight-words'), 'Does it lie under the cross? Then there is nothing to do.');
  } catch (error) {
    isShown = false; // once more
    setText(byTestId('sight-words'), error.message);
  }
}

function showCross() {
  const { x, y } = place ?? { x: 2, y: 2 };
  byTestId('sight-cross').setAttribute('transform', `translate(${x},${-y})`);
  Object.assign(byTestId('sight-cross').dataset, { x: x.toFixed(4), y: y.toFixed(4) });
}

function putCross(to) {
  if (!sight) return;
  place = { x: Math.min(1, Math.max(-1, to.x)), y: Math.min(1, Math.max(-1, to.y)) };
  showCross();
  scale = scaleOfSight(sight, place, size());
  setText(byTestId('sight-words'), wordsOfSight(scale));
  byTestId('sight-take').disabled = !scale;
}

/** The told ranges as they have to be by where the cross lies, in the words of the settings. */
export const enteredFromSight = (told) => rangesOfSight(told, scale);

const picture = byTestId('sight-after');
const putByPointer = (event) => {
  const { left, top, width, height } = picture.getBoundingClientRect();
  putCross({
    x: ((event.clientX - left) / width) * 2 - 1,
    y: 1 - ((event.clientY - top) / height) * 2,
  });
};
picture.addEventListener('pointerdown', putByPointer);
picture.addEventListener('pointermove', (event) => {
  if (event.buttons) putByPointer(event);
});
picture.addEventListener('keydown', (event) => {
  const way = KEYS[event.key];
  if (!way || !place) return;
  event.preventDefault();
  putCross({ x: place.x + way[0] * KEY_STEP, y: place.y + way[1] * KEY_STEP });
});
