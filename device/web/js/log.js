/** Lists that grow by themselves: the events and the daemon's log. */

import { byTestId, h, setText } from './dom.js';

const LONGEST = 300; // entries

/** Syslog's names, the gravest first. */
const LEVELS = ['emerg', 'alert', 'crit', 'err', 'warning', 'notice', 'info', 'debug'];

/** The severity of a level; one that is not known counts as notice. */
export function severityOf(level) {
  const severity = LEVELS.indexOf(level);
  return severity < 0 ? LEVELS.indexOf('notice') : severity;
}

/** A bounded list, newest last, that may be paused; what came meanwhile is shown afterwards. */
export class GrowingList {
  constructor(list, pauseButton) {
    this.list = list;
    this.waiting = [];
    this.isPaused = false;
    this.button = pauseButton;
    pauseButton.addEventListener('click', () => this.togglePause());
  }

  add(item) {
    this.waiting.push(item);
    if (this.waiting.length > LONGEST) this.waiting.shift();
    if (this.isPaused) setText(this.button, `Go on (${this.waiting.length} more)`);
  }

  togglePause() {
    this.isPaused = !this.isPaused;
    this.button.setAttribute('aria-pressed', String(this.isPaused));
    setText(this.button, this.isPaused ? 'Go on' : 'Pause');
    this.draw();
  }

  clear() {
    this.waiting = [];
    this.list.replaceChildren();
  }

  /** Shows what has come; stays at the end when it was there. */
  draw() {
    if (this.isPaused || this.waiting.length === 0) return;
    const { list } = this;
    const isAtEnd = list.scrollTop + list.clientHeight >= list.scrollHeight - 8;
    list.append(...this.waiting);
    this.waiting = [];
    while (list.children.length > LONGEST) list.firstElementChild.remove();
    if (isAtEnd) list.scrollTop = list.scrollHeight;
  }
}

export class LogList extends GrowingList {
  constructor(store) {
    super(byTestId('log-list'), byTestId('log-pause'));
    const level = byTestId('log-level');
    const filter = () => {
      this.list.dataset.level = level.value;
    };
    level.addEventListener('change', filter);
    filter();
    store.on('model', () => this.clear()); // the latest lines are told again
    store.on('log', (line) => this.add(this.entry(line)));
  }

  entry({ time, level, text }) {
    const severity = severityOf(level);
    const grade = severity <= 3 ? 'error' : severity === 4 ? 'warning' : 'info';
    return h(
      'li',
      { 'data-grade': grade, 'data-testid': 'log-line' },
      h('span', { class: 'when' }, `${time.toFixed(1)} s`),
      h('span', { class: 'level' }, level),
      h('span', { class: 'what' }, text),
    );
  }
}

const shown = (values) =>
  Object.entries(values)
    .map(([key, value]) => `${key} ${value}`)
    .join(', ');

export class EventList extends GrowingList {
  constructor(store) {
    super(byTestId('event-list'), byTestId('event-pause'));
    this.store = store;
    for (const type of ['event', 'past']) {
      store.on(type, (event) => {
        // A drawing comes with every frame and is seen in its picture.
        if (event.data.svgframe === undefined) this.add(this.entry(event));
      });
    }
  }

  entry(event) {
    const details = [shown(event.data), shown(event.source)].filter(Boolean).join('; ');
    return h(
      'li',
      { 'data-testid': 'event', 'data-name': this.store.nameOf(event) },
      h('time', { class: 'when', datetime: event.time }, event.time.slice(11, 23)),
      h('span', { class: 'level' }, this.store.nameOf(event)),
      h('span', { class: 'what' }, event.nice ? `${details} - ${event.nice}` : details),
    );
  }
}
