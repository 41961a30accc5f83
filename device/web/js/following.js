/** The way of following: which one is chosen and at work, and what prediction goes by. */

import { callDevice, describe } from './api.js';
import { byTestId, setText } from './dom.js';

const number = (value, digits, unit) =>
  typeof value === 'number' ? `${value.toFixed(digits)} ${unit}` : '-';
const both = (head, show) => (head ? `${show(head.pan)}, ${show(head.tilt)}` : '-');
const milliseconds = (seconds) => number(1000 * seconds, 0, 'ms');

/** What each figure of the panel shows of what the daemon thinks. */
const FIGURES = {
  'thought-dead-time': ({ head }) => both(head, ({ deadTime }) => milliseconds(deadTime)),
  'thought-speed': ({ head }) => both(head, ({ speed }) => number(speed, 0, '°/s')),
  'thought-acceleration': ({ head }) =>
    both(head, ({ acceleration }) => number(acceleration, 0, '°/s²')),
  'thought-misfit': ({ head }) => (head ? number(100 * head.misfit, 0, '%') : '-'),
  'thought-ahead': ({ aim }) => (aim ? milliseconds(aim.ahead) : '-'),
  'thought-deviation': ({ aim }) => (aim ? number(aim.deviation, 1, '°') : '-'),
  'thought-gap': ({ aim }) => (aim ? number(aim.gap, 1, 's') : '-'),
  'thought-people': ({ people }) =>
    `${people.length}, wanted ${people.filter(({ wanted }) => wanted).length}`,
};

/** @returns {Record<string, string>} texts by test id; those of nothing without a thought */
export function thoughtTexts(thought) {
  return Object.fromEntries(
    Object.entries(FIGURES).map(([id, show]) => [id, thought ? show(thought) : '-']),
  );
}

/**
 * @param {{chosen: string, thought: object | null}} following
 * @returns {{state: string, text: string}} state: predictive, identifying or specified
 */
export function atWork({ chosen, thought }) {
  if (!thought) {
    return chosen === 'predictive'
      ? {
          state: 'specified',
          text:
            'The specified way is at work: the head does not rest yet, or could not be identified.',
        }
      : { state: 'specified', text: 'The specified way is at work.' };
  }
  if (chosen !== 'predictive') {
    return { state: 'predictive', text: 'Prediction is at work until the head rests.' };
  }
  return thought.head
    ? { state: 'predictive', text: 'Prediction is at work.' }
    : { state: 'identifying', text: 'Prediction begins once the head is identified.' };
}

export class FollowingPanel {
  constructor(store) {
    this.store = store;
    this.field = byTestId('field-following');
    this.isUnsent = false;
    this.field.addEventListener('change', () => this.choose(this.field.value));
    byTestId('identify').addEventListener('click', () => this.identify());
    for (const type of ['model', 'following', 'daemon']) store.on(type, () => this.showState());
  }

  async choose(following) {
    this.isUnsent = true;
    try {
      const { notice = '' } = await callDevice('setDeviceSettings', { following });
      this.showError('');
      setText(byTestId('notice-following'), notice);
    } catch (error) {
      this.showError(describe(error));
      setText(byTestId('notice-following'), '');
    }
    // A choice that was not taken must not look as if it had been.
    this.isUnsent = false;
    this.showState();
  }

  async identify() {
    let text = 'The head is identified anew as soon as it rests.';
    try {
      await callDevice('identifyHead');
      this.showError('');
    } catch (error) {
      this.showError(describe(error));
      text = '';
    }
    setText(byTestId('identify-status'), text);
  }

  showError(text) {
    setText(byTestId('error-following'), text);
    this.field.setAttribute('aria-invalid', String(text !== ''));
  }

  showState() {
    const { following, daemonRunning } = this.store;
    if (!following) return;
    if (!this.isUnsent) this.field.value = following.chosen;
    const { state, text } = daemonRunning ? atWork(following) : { state: 'unknown', text: '' };
    const element = byTestId('following-state');
    if (element.dataset.state !== state && state === 'identifying') {
      setText(byTestId('identify-status'), '');
    }
    element.dataset.state = state;
    setText(element, text);
    byTestId('identify').disabled = following.chosen !== 'predictive';
  }

  draw() {
    const texts = thoughtTexts(this.store.thought);
    for (const [id, text] of Object.entries(texts)) setText(byTestId(id), text);
  }
}
