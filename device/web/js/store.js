/** What is known of the device at the moment. */

import { nearestTo, normalisedPan } from './geometry.js';

export const HISTORY = 60; // seconds
const TRAIL = 15; // seconds
const SEEN = 600; // events
const SPEED_SPAN = 0.45; // seconds over which a speed is measured

/**
 * Speeds at the end of a list of positions.
 * @param {Array<{time: number, pan: number, tilt: number}>} heads by growing time
 * @returns {{pan: number, tilt: number}} degrees a second; 0 while too little is known
 */
export function speedsOf(heads) {
  const last = heads[heads.length - 1];
  const first = heads.findLast((head) => last.time - head.time >= SPEED_SPAN);
  if (!last || !first) return { pan: 0, tilt: 0 };
  const span = last.time - first.time;
  return {
    pan: normalisedPan(last.pan - first.pan) / span,
    tilt: (last.tilt - first.tilt) / span,
  };
}

/** Drops what is older than a span before the newest. */
export function forgetOlder(list, span) {
  const limit = list.length ? list[list.length - 1].time - span : 0;
  const first = list.findIndex((item) => item.time >= limit);
  if (first > 0) list.splice(0, first);
}

/** Adds places ({id, x, y}) to lists by id, and drops what is older than a trail is long. */
export function growTrails(trails, time, places) {
  for (const { id, x, y } of places) {
    if (!trails.has(id)) trails.set(id, []);
    trails.get(id).push({ time, x, y });
  }
  for (const [id, trail] of trails) {
    const first = trail.findIndex((point) => point.time >= time - TRAIL);
    if (first < 0) trails.delete(id);
    else if (first > 0) trail.splice(0, first);
  }
}

/** Two events of one id and text are one: states are told again with each connection. */
const identityOf = (event) => JSON.stringify([event.id, event.time, event.data, event.topics]);

/**
 * Emits: model, reachable, daemon, history, following, frame, head, world, event, replayed, past (an
 * event of the last minute that was not heard of), undeclared, log, score. detail: the message.
 */
export class Store extends EventTarget {
  model = null;
  reachable = null; // null: not known yet
  daemonRunning = null;
  head = null;
  people = [];
  nearest = null; // the person nearest to the head's axis
  objects = new Map(); // by camera
  heads = []; // {time, pan, tilt, zoom, hfov, vfov}
  targets = []; // {time, id, pan, tilt}
  trails = new Map(); // person's id -> [{time, x, y}]
  following = null; // {chosen, thought}: the way of following, and what the daemon thinks by it
  aims = []; // {time, pan, tilt}: what the head was led to
  tracks = new Map(); // as trails, of those whom the daemon knows, by identity
  states = new Map(); // last topic -> event

  handlers() {
    return {
      model: (model) => this.begin(model),
      daemon: ({ running }) => this.setDaemon(running),
      history: (history) => this.addHistory(history),
      following: (following) => this.setFollowing(following),
      frame: (frame) => {
        this.objects.set(frame.camera, frame.objects);
        this.emit('frame', frame);
      },
      head: (head) => this.addHead(head),
      world: (world) => this.addWorld(world),
      event: (event) => this.addEvent(event),
      undeclared: (event) => {
        const name = this.nameOf(event);
        // One that is declared anew, as with another name, has its successor already.
        if (this.states.get(name)?.id === event.id) this.states.delete(name);
        this.emit('undeclared', event);
      },
      log: (line) => this.emit('log', line),
      score: (score) => this.emit('score', score),
    };
  }

  emit(type, detail) {
    this.dispatchEvent(Object.assign(new Event(type), { detail }));
  }

  on(type, listener) {
    this.addEventListener(type, (event) => listener(event.detail));
  }

  /** The last topic names an event. */
  nameOf({ topics }) {
    return topics.topic2 ?? topics.topic1 ?? topics.topic0 ?? '';
  }

  /** Whether the daemon says that it steers the head. */
  get isSteering() {
    return this.states.get('isSentreling')?.data.active === true;
  }

  get trackerState() {
    return this.daemonRunning ? (this.states.get('state')?.data.value ?? null) : null;
  }

  /** What the daemon thinks; null where the specified way is at work, and while it does not run. */
  get thought() {
    return (this.daemonRunning && this.following?.thought) || null;
  }

  setReachable(reachable) {
    if (this.reachable === reachable) return;
    this.reachable = reachable;
    this.emit('reachable', reachable);
  }

  setDaemon(running) {
    this.daemonRunning = running;
    if (!running) this.states.clear();
    this.emit('daemon', running);
  }

  /** A new connection, perhaps to a device that has started anew. */
  begin(model) {
    this.model = model;
    this.head = null;
    this.people = [];
    this.nearest = null;
    this.heads = [];
    this.targets = [];
    this.objects.clear();
    this.trails.clear();
    this.following = null;
    this.aims = [];
    this.tracks.clear();
    this.states.clear();
    this.emit('model', model);
  }

  addHead(head) {
    this.head = head;
    this.heads.push(head);
    forgetOlder(this.heads, HISTORY);
    this.emit('head', head);
  }

  addWorld({ time, people }) {
    this.people = people;
    this.nearest = this.head ? nearestTo(this.head, people) : null;
    if (this.nearest) {
      const { id, pan, tilt } = this.nearest;
      this.targets.push({ time, id, pan, tilt });
      forgetOlder(this.targets, HISTORY);
    }
    growTrails(this.trails, time, people);
    this.emit('world', people);
  }

  setFollowing(following) {
    this.following = following;
    const { time, thought } = following;
    if (thought) {
      if (thought.aim) this.addAim(time, thought.aim);
      const places = thought.people.map(({ identity, place: [x, y] }) => ({ id: identity, x, y }));
      growTrails(this.tracks, time, places);
    }
    this.emit('following', following);
  }

  addAim(time, { pan, tilt }) {
    this.aims.push({ time, pan, tilt });
    forgetOlder(this.aims, HISTORY);
  }

  /** The minute before the page was opened; lists instead of objects, as there are many. */
  addHistory({ heads, people, expected, events }) {
    this.heads = heads.map(([time, pan, tilt, zoom, hfov, vfov]) => ({
      time,
      pan,
      tilt,
      zoom,
      hfov,
      vfov,
    }));
    people.forEach(([time, list], i) => {
      const there = list.map(([id, x, y, pan, tilt]) => ({ id, x, y, pan, tilt }));
      const nearest = nearestTo(this.heads[i], there);
      if (nearest) this.targets.push({ time, id: nearest.id, pan: nearest.pan, tilt: nearest.tilt });
      growTrails(this.trails, time, there);
    });
    for (const [time, aim, list] of expected) {
      if (aim) this.addAim(time, { pan: aim[0], tilt: aim[1] });
      growTrails(
        this.tracks,
        time,
        list.map(([id, x, y]) => ({ id, x, y })),
      );
    }
    for (const event of events) {
      if (this.isNew(event)) this.emit('past', event);
    }
    this.emit('history', null);
  }

  seen = new Set(); // identities of the latest events, which survive a new connection

  /** Whether it was not heard of; from now on it was. */
  isNew(event) {
    const identity = identityOf(event);
    if (this.seen.has(identity)) return false;
    this.seen.add(identity);
    if (this.seen.size > SEEN) this.seen.delete(this.seen.values().next().value);
    return true;
  }

  addEvent(event) {
    const isNew = this.isNew(event);
    if (event.stateful) this.states.set(this.nameOf(event), event);
    // A pulse comes once, and two may look the same.
    this.emit(isNew || !event.stateful ? 'event' : 'replayed', event);
  }
}
