/** Keeps an image element at what a camera of the settings sees. */

import { setText } from './dom.js';
import { callSetUp } from './setup-api.js';

const AGAIN = 500; // milliseconds between a picture and the question for the next
const LATER = 2000; // after what failed

/**
 * @param {HTMLImageElement} image hidden until there is a picture
 * @param {HTMLElement} trouble where it is told why there is none
 * @param {{camera: number}|{head: true}} which
 * @param {() => boolean} [isWanted] nothing is asked for while it is not
 */
export function showCamera(image, trouble, which, isWanted = () => true) {
  let have = 0;
  async function next() {
    let pause = AGAIN;
    if (!document.hidden && isWanted()) {
      try {
        const view = await callSetUp('view', { ...which, have });
        setText(trouble, view.trouble ? `${view.trouble}. It is tried again.` : '');
        if (view.jpeg) {
          have = view.number;
          image.src = `data:image/jpeg;base64,${view.jpeg}`;
          image.hidden = false;
        } else if (view.number < have) {
          have = 0; // the settings were written, or the bridge has started anew
        }
      } catch (error) {
        setText(trouble, error.message);
        pause = LATER;
      }
    }
    setTimeout(next, pause);
  }
  next();
}
