/** The tracker's state and the head's position in words and numbers. */

import { byTestId, setText } from './dom.js';
import { angleBetween } from './geometry.js';
import { speedsOf } from './store.js';

const degrees = (value) => `${value.toFixed(1)}°`;

export class Numbers {
  constructor(store) {
    this.store = store;
    for (const type of ['model', 'daemon', 'event', 'replayed', 'undeclared', 'reachable']) {
      store.on(type, () => this.showState());
    }
    store.on('model', (model) => this.showModel(model));
  }

  showModel(model) {
    const { head, tracks, transport, seed } = model;
    setText(byTestId('model-name'), model.name);
    setText(
      byTestId('model-about'),
      `head ${head.product}, people: ${tracks}, scenes by ${transport}, seed ${seed}`,
    );
  }

  showState() {
    const { reachable, trackerState, isSteering } = this.store;
    const isKnown = reachable && trackerState !== null;
    setText(byTestId('tracker-state'), isKnown ? trackerState : 'unknown');
    byTestId('tracker-state').dataset.state = isKnown ? trackerState : 'unknown';
    setText(byTestId('steering'), isKnown && isSteering ? 'following' : 'not following');
  }

  draw() {
    const { head, heads, model, nearest, people } = this.store;
    if (!head || !model) return;
    const speeds = speedsOf(heads);
    setText(byTestId('head-pan'), degrees(head.pan));
    setText(byTestId('head-tilt'), degrees(head.tilt));
    setText(byTestId('head-pan-speed'), `${speeds.pan.toFixed(1)}°/s`);
    setText(byTestId('head-tilt-speed'), `${speeds.tilt.toFixed(1)}°/s`);
    setText(byTestId('head-zoom'), `×${(model.head.max_field_angle / head.hfov).toFixed(1)}`);
    setText(byTestId('head-field'), `${degrees(head.hfov)} × ${degrees(head.vfov)}`);
    setText(byTestId('people-count'), String(people.length));
    setText(
      byTestId('target-error'),
      nearest ? degrees(angleBetween(head, nearest)) : 'nobody there',
    );
  }
}
