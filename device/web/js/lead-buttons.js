/** For those who have no arrow keys: as long as a button is pressed the head moves. */

/**
 * @param {import('./calibration-session.js').CalibrationSession} session
 * @param {Array<[HTMLElement, string]>} buttons each with the key that it stands for
 * @param {() => boolean} isFast
 */
export function offerToLead(session, buttons, isFast) {
  for (const [button, key] of buttons) {
    const press = () => session.press(key, isFast());
    const release = () => session.release(key);
    button.addEventListener('pointerdown', (event) => {
      button.setPointerCapture(event.pointerId);
      press();
    });
    for (const type of ['pointerup', 'pointercancel', 'lostpointercapture', 'blur', 'keyup']) {
      button.addEventListener(type, release);
    }
    button.addEventListener('keydown', (event) => {
      if (event.key !== ' ' && event.key !== 'Enter') return;
      event.preventDefault();
      press();
    });
    button.addEventListener('contextmenu', (event) => event.preventDefault());
  }
}
