/**
 * One calibration of an overview camera: points come and go, arrow keys lead the head, the camera is
 * asked for anew after each change. Knows no page; what shows it listens.
 */

import {
  FEWEST,
  FEWEST_WITH_OFFSET,
  MOST,
  requestFor,
  wantedNext,
} from './calibration-points.js';

const REPEAT = 400; // milliseconds; the head stands still a second after it was told last
const AGAIN = 2000; // milliseconds until the camera is asked for again after that failed
const SLOW = 4; // per cent of the head's full speed
const FAST = 30;

/** What is held, and which axis it leads where; the zoom's where that is led, too. */
const KEYS = {
  ArrowLeft: ['pan', -1],
  ArrowRight: ['pan', 1],
  ArrowUp: ['tilt', 1],
  ArrowDown: ['tilt', -1],
  '+': ['zoom', 1],
  '-': ['zoom', -1],
};

const isKey = (key) => Object.hasOwn(KEYS, key);
export const isArrow = (key) => isKey(key) && KEYS[key][0] !== 'zoom';

/** Emits "change" whenever something that is shown is another. */
export class CalibrationSession extends EventTarget {
  points = [];
  pending = null; // the place that was clicked, on which the head is not yet
  heights = null; // metres, where the camera stands beside the head
  answer = null; // {data} or {refusal} for the points as they are
  problem = ''; // why there is none, or why a point was not taken

  #pressed = new Set();
  #isFast = false;
  #timer = null;
  #asked = 0;
  #onTheirWay = 0; // speeds that are not answered yet
  #isMoveDue = false;

  /**
   * @param {{picture: {width: number, height: number},
   *          headDirection: () => ({pan: number, tilt: number}|null), isMoving?: () => boolean,
   *          solve: (request: object) => Promise<object>,
   *          moveHead: (speeds: {pan: number, tilt: number, zoom?: number}) => Promise<void>,
   *          zooms?: boolean,
   *          setInterval?: Function, clearInterval?: Function, setTimeout?: Function}} means
   */
  constructor(means) {
    super();
    const { setInterval, clearInterval, setTimeout } = globalThis;
    this.means = { setInterval, clearInterval, setTimeout, isMoving: () => false };
    Object.assign(this.means, means);
  }

  get isFull() {
    return this.points.length >= MOST;
  }

  get fewest() {
    return this.heights ? FEWEST_WITH_OFFSET : FEWEST;
  }

  /** What is to be done next, for a person. */
  get advice() {
    if (this.pending) {
      return 'Lead the head until the cross of its picture is on the same point, then take it.';
    }
    if (this.isFull) return 'That is as many points as are taken.';
    const wanted = wantedNext(this.points);
    const where = wanted ? ` ${wanted.name}` : '';
    const ground = this.heights ? ' on the ground' : '';
    return `Click a point${ground}${where} that the head can see, too.`;
  }

  click(place) {
    if (!place || this.isFull) return;
    this.pending = place;
    this.#changed();
  }

  /** The head is on the place that was clicked, and stands: its picture is later than its place. */
  async take() {
    const head = this.means.headDirection();
    if (!this.pending) return;
    if (!head || this.means.isMoving()) {
      this.problem = head
        ? 'The head still moves: take the point when it stands.'
        : 'The head does not say where it is: take the point when it does.';
      return this.#changed();
    }
    this.points.push({ place: this.pending, head: { pan: head.pan, tilt: head.tilt } });
    this.pending = null;
    await this.#solve();
  }

  /** As they were before the page was loaded anew. */
  async restore({ points, heights }) {
    this.points = points;
    this.heights = heights;
    await this.#solve();
  }

  async removeAll() {
    this.pending = null;
    await this.restore({ points: [], heights: this.heights });
  }

  async remove(index) {
    this.points.splice(index, 1);
    await this.#solve();
  }

  /** @param {{camera: number, head: number}|null} heights metres */
  async setHeights(heights) {
    this.heights = heights;
    await this.#solve();
  }

  press(key, isFast) {
    if (!this.#leads(key) || (this.#pressed.has(key) && this.#isFast === isFast)) return;
    this.#pressed.add(key);
    this.#isFast = isFast;
    this.#lead();
  }

  release(key) {
    if (this.#pressed.delete(key)) this.#lead();
  }

  /** All keys count as released: the page lost the focus. */
  releaseAll() {
    if (this.#pressed.size === 0) return;
    this.#pressed.clear();
    this.#lead();
  }

  #leads(key) {
    return isArrow(key) || (this.means.zooms && isKey(key));
  }

  get speeds() {
    const percent = this.#isFast ? FAST : SLOW;
    const sum = { pan: 0, tilt: 0, ...(this.means.zooms ? { zoom: 0 } : {}) };
    for (const key of this.#pressed) {
      const [axis, sign] = KEYS[key];
      sum[axis] += sign * percent;
    }
    return sum;
  }

  // At once, and again and again while a key is held.
  #lead() {
    this.means.clearInterval.call(globalThis, this.#timer);
    this.#timer = null;
    if (this.#pressed.size > 0) {
      this.#timer = this.means.setInterval.call(globalThis, () => this.#move(), REPEAT);
    }
    this.#move();
  }

  // One that is repeated waits for the one before it, lest it comes after a stop. A stop waits for
  // nothing, and is told again after what it may have overtaken.
  async #move() {
    const { speeds } = this;
    if (this.#onTheirWay > 0) {
      this.#isMoveDue = true;
      if (Object.values(speeds).some((speed) => speed !== 0)) return;
    }
    ++this.#onTheirWay;
    try {
      await this.means.moveHead(speeds);
    } catch (error) {
      this.problem = error.message;
      this.#changed();
    }
    if (--this.#onTheirWay > 0 || !this.#isMoveDue) return;
    this.#isMoveDue = false;
    await this.#move();
  }

  async #solve() {
    this.answer = null;
    this.problem = '';
    const asked = ++this.#asked;
    this.#changed();
    if (this.points.length >= this.fewest) await this.#ask(asked);
  }

  // Of answers that overtake each other the last question's counts; one without is asked again.
  async #ask(asked) {
    if (asked !== this.#asked) return;
    try {
      const request = requestFor(this.points, this.means.picture, this.heights);
      const answer = await this.means.solve(request);
      if (asked !== this.#asked) return;
      this.answer = answer;
      this.problem = '';
    } catch (error) {
      if (asked !== this.#asked) return;
      this.problem = error.message;
      this.means.setTimeout.call(globalThis, () => this.#ask(asked), AGAIN);
    }
    this.#changed();
  }

  #changed() {
    this.dispatchEvent(new Event('change'));
  }
}
