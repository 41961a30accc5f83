/** The running score, and whether the head is tuned. */

import { byTestId, setText } from './dom.js';

const percent = (share) => (share === null ? '-' : `${(100 * share).toFixed(0)} %`);
const withUnit = (value, digits, unit) =>
  value === null ? '-' : `${value.toFixed(digits)} ${unit}`;

/** What each figure of the panel shows of the device's message. */
const FIGURES = {
  'score-seconds': ({ seconds_with_somebody, seconds }) =>
    `${seconds_with_somebody.toFixed(0)} of ${seconds.toFixed(0)} s`,
  'score-detected': ({ detected }) => percent(detected),
  'score-recognised': ({ recognised }) => percent(recognised),
  'score-identified': ({ identified }) => percent(identified),
  'score-in-picture': ({ in_picture }) => percent(in_picture),
  'score-error': ({ rms_deg }) => withUnit(rms_deg, 1, '°'),
  'score-acquisition': ({ acquisition_s, acquisitions, never }) =>
    acquisitions === 0
      ? '-'
      : `${withUnit(acquisition_s, 1, 's')}, never ${never} of ${acquisitions}`,
  'score-changes': ({ changes }) => String(changes),
  'score-starts': ({ starts_per_s }) => withUnit(starts_per_s, 2, '/s'),
  'score-reversals': ({ reversals_per_s }) => withUnit(reversals_per_s, 2, '/s'),
  'score-acceleration': ({ acceleration_rms }) => withUnit(acceleration_rms, 0, '°/s²'),
  'score-zoom-reversals': ({ zoom_reversals_per_s }) => withUnit(zoom_reversals_per_s, 2, '/s'),
};

/** @returns {Record<string, string>} texts by test id */
export function scoreTexts(score) {
  return Object.fromEntries(Object.entries(FIGURES).map(([id, show]) => [id, show(score)]));
}

/**
 * @param {{attempts: number, failed_attempts: number, succeeded: boolean | null,
 *   identified: boolean | null}} tuning
 * @returns {string} for the user; empty while there is nothing to tell
 */
export function tuningText({ attempts, failed_attempts, succeeded, identified }) {
  if (identified === false) {
    return (
      'The head could not be identified. It is steered without being known and may lag behind or ' +
      'swing; it is identified again at the next start.'
    );
  }
  if (succeeded === false && identified) {
    return (
      'Tuning the head by swinging it did not succeed. It was identified all the same and is steered ' +
      'by that.'
    );
  }
  if (succeeded === false) {
    return (
      'Tuning the head did not succeed. It is steered with the gains it had and may lag behind or ' +
      'swing; it is tuned again at the next start.'
    );
  }
  if (succeeded === null && failed_attempts > 0) {
    return `${failed_attempts} of ${attempts} attempts to tune the head failed so far.`;
  }
  return '';
}

export class ScorePanel {
  constructor(store) {
    this.score = null;
    store.on('score', (score) => {
      this.score = score;
    });
    store.on('model', () => {
      this.score = null;
    });
  }

  draw() {
    if (!this.score) return;
    for (const [id, text] of Object.entries(scoreTexts(this.score))) setText(byTestId(id), text);
    const text = tuningText(this.score.tuning);
    const notice = byTestId('tuning-notice');
    setText(notice, text);
    notice.hidden = text === '';
  }
}
