/** Alarms as they began and ended, from whoever told them. No document, no network. */

const MOST = 500;

/** The same for the same begin or end, whoever tells it. */
export const keyOf = (alarm) => [alarm.time, alarm.site, alarm.alarm, alarm.active].join(' ');

export class Alarms {
  #alarms = new Map(); // by key
  #isCut = false;

  /** What is there already counts once; the latest are kept. */
  add(alarms) {
    for (const alarm of alarms) {
      this.#alarms.set(keyOf(alarm), alarm);
    }
    if (this.#alarms.size > MOST) {
      this.#alarms = new Map(this.list('').map((alarm) => [keyOf(alarm), alarm]));
      this.#isCut = true;
    }
  }

  /** The earliest time that is kept, once earlier ones had to go; otherwise empty. */
  get cutAt() {
    return this.#isCut ? this.list('').at(-1).time : '';
  }

  /** The latest first: those whose site, name or topic has the text. */
  list(text) {
    const wanted = text.trim().toLowerCase();
    const has = (alarm) =>
      [alarm.site, alarm.nice, alarm.alarm].some((word) => word.toLowerCase().includes(wanted));
    return [...this.#alarms.values()]
      .filter(has)
      .sort((a, b) => (a.time < b.time ? 1 : a.time > b.time ? -1 : 0))
      .slice(0, MOST);
  }
}
