/** The tracker's settings. Each control sends its own value as soon as it is changed. */

import { call, describe } from './api.js';
import { byTestId, setText } from './dom.js';

const REFRESH = 5000; // milliseconds

/** Numbers and the keys of their bounds. */
const NUMBERS = {
  timePerObject: ['minTimePerObject', 'maxTimePerObject'],
  returnToHomeTimeout: ['minReturnToHomeTimeout', 'maxReturnToHomeTimeout'],
};

const SWITCHES = ['enable', 'switchObject', 'returnToHome'];

const fieldOf = (name) => byTestId(`field-${name}`);

export class TrackingControls {
  constructor(store) {
    this.store = store;
    this.unsent = new Set(); // names of fields whose value the daemon has not taken
    for (const name of SWITCHES) {
      fieldOf(name).addEventListener('change', () => this.send(name, fieldOf(name).checked));
    }
    for (const name of Object.keys(NUMBERS)) this.listenToNumber(name);
    store.on('daemon', () => this.refresh());
    store.on('event', (event) => {
      if (store.nameOf(event) === 'state') this.refresh();
    });
    setInterval(() => this.refresh(), REFRESH);
  }

  listenToNumber(name) {
    const field = fieldOf(name);
    field.addEventListener('input', () => this.unsent.add(name));
    field.addEventListener('change', () => {
      // The daemon would pass over what is no whole number, without an error.
      const value = field.value === '' ? Number.NaN : Number(field.value);
      if (Number.isInteger(value)) this.send(name, value);
      else this.showError(name, 'A whole number of seconds is needed.');
    });
    field.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') this.forget(name);
    });
  }

  forget(name) {
    this.unsent.delete(name);
    this.showError(name, '');
    this.refresh();
  }

  async send(name, value) {
    this.unsent.add(name);
    try {
      await call('setSentrel', { [name]: value });
    } catch (error) {
      this.showError(name, [describe(error), this.boundsOf(name)].filter(Boolean).join('. '));
      if (SWITCHES.includes(name)) this.undo(name, !value);
      return;
    }
    // What was typed while the request was on its way is still unsent.
    if (SWITCHES.includes(name) || fieldOf(name).value === String(value)) this.unsent.delete(name);
    this.showError(name, '');
    await this.refresh();
  }

  /** A switch that did not take effect must not look as if it had. */
  undo(name, value) {
    fieldOf(name).checked = value;
    this.unsent.delete(name);
  }

  boundsOf(name) {
    const field = fieldOf(name);
    return name in NUMBERS && field.min ? `The bounds are ${field.min} to ${field.max} s.` : '';
  }

  showError(name, text) {
    setText(byTestId(`error-${name}`), text);
    fieldOf(name).setAttribute('aria-invalid', String(text !== ''));
  }

  async refresh() {
    if (!this.store.daemonRunning) return;
    let settings;
    try {
      settings = await call('getSentrel');
    } catch {
      return; // the banner tells
    }
    this.show({ ...settings, enable: settings.state !== 'stopped' });
  }

  show(settings) {
    for (const name of SWITCHES) {
      if (!this.unsent.has(name)) fieldOf(name).checked = settings[name];
    }
    for (const [name, [min, max]] of Object.entries(NUMBERS)) {
      const field = fieldOf(name);
      field.min = settings[min];
      field.max = settings[max];
      setText(byTestId(`bounds-${name}`), `${settings[min]} to ${settings[max]} s`);
      if (!this.unsent.has(name)) field.value = settings[name];
    }
  }
}
