/** The alarms of all sites and those of a chosen one, with what the brokers have kept of them. */

import { Alarms } from './alarms.js';

const FAULT = 'the history cannot be read';
const words = (since) => `since ${since.slice(0, 16).replace('T', ' ')}`;

export class Histories {
  #all = { alarms: new Alarms(), since: '', fault: '' };
  #one; // of the chosen site
  #site = '';
  #changed;
  #read;

  /** changed() is called when there is more. read(path): as fetch. */
  constructor(changed, read = (path) => fetch(path)) {
    this.#changed = changed;
    this.#read = read;
  }

  get #present() {
    return this.#one ?? this.#all;
  }

  /** Alarms. */
  get shown() {
    return this.#present.alarms;
  }

  /** For a reader: since when they are complete; empty where that is not known. */
  get words() {
    const { alarms, since, fault } = this.#present;
    return fault || (since && words(since > alarms.cutAt ? since : alarms.cutAt));
  }

  /** What has just happened, somewhere. */
  add(alarms) {
    this.#all.alarms.add(alarms);
    this.#one?.alarms.add(alarms.filter((alarm) => alarm.site === this.#site));
  }

  /** Shows one site's, or all for an empty name. */
  choose(site) {
    if (site === this.#site) {
      return;
    }
    this.#site = site;
    this.#one = undefined;
    if (site) {
      this.#one = { alarms: new Alarms(), since: '', fault: '' };
      this.#one.alarms.add(this.#all.alarms.list('').filter((alarm) => alarm.site === site));
      this.#ask(this.#one, `history?site=${encodeURIComponent(site)}`);
    }
  }

  /** After a connection was made anew. */
  readAgain() {
    this.#ask(this.#all, 'history');
    if (this.#one) {
      this.#ask(this.#one, `history?site=${encodeURIComponent(this.#site)}`);
    }
  }

  async #ask(place, path) {
    try {
      const answer = await this.#read(path);
      if (answer.status === 404) {
        return; // none is kept
      }
      const told = answer.ok ? await answer.json() : undefined;
      place.alarms.add(told?.alarms ?? []);
      place.since = told?.since ?? place.since;
      place.fault = told ? '' : FAULT;
    } catch {
      place.fault = FAULT;
    }
    this.#changed();
  }
}
