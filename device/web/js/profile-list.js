/** Cameras and their profiles: choosing, adding and removing, test alarms, visual confirmation. */

import { call, describe } from './api.js';
import { ROTATIONS, addProfile, ensureCamera } from './configuration.js';
import { h, setText } from './dom.js';
import { checkField, rebuild, selectField, showErrors } from './fields.js';

export class ProfileList {
  constructor(root, store, state, confirmation) {
    this.root = root;
    this.store = store;
    this.state = state;
    this.confirmation = confirmation;
    this.answers = new Map(); // errors of test alarms and confirmations by uid
    state.on('load structure selection', () => this.render());
    state.on('change', () => this.showNames());
    state.on('errors', () => this.showErrors());
    store.on('model', () => this.render());
    confirmation.addEventListener('change', () => this.showStates());
    for (const type of ['event', 'replayed', 'undeclared', 'daemon']) {
      store.on(type, () => this.showStates());
    }
  }

  /** Numbers of the device's cameras and of those that the document names. */
  cameraIds() {
    const channels = (this.store.model?.channels ?? []).map(({ camera }) => camera);
    const { cameras, profiles } = this.state.edited;
    const named = [...cameras.map(({ id }) => id), ...profiles.map(({ camera }) => camera)];
    return [...new Set([...channels, ...named])].sort((a, b) => a - b);
  }

  render() {
    if (!this.state.isLoaded) return;
    rebuild(
      this.root,
      this.cameraIds().map((id) => this.renderCamera(id)),
    );
    this.showStates();
    this.showErrors();
  }

  renderCamera(id) {
    const { state } = this;
    const channel = this.store.model?.channels.find(({ camera }) => camera === id);
    const entry = state.edited.cameras.find((camera) => camera.id === id);
    const most = state.capabilities.profiles.maxNbrProfilesPerCamera;
    const profiles = state.edited.profiles
      .map((profile, index) => ({ profile, index }))
      .filter(({ profile }) => profile.camera === id);
    const setCamera = (key, value) =>
      state.restructure((document) => {
        ensureCamera(document, id)[key] = value;
      });
    return h(
      'fieldset',
      { class: 'camera', 'data-testid': `camera-${id}`, 'data-camera': id },
      h('legend', {}, channel ? `Camera ${id}: ${channel.name}` : `Camera ${id}`),
      h(
        'div',
        { class: 'row' },
        checkField({
          key: `camera-${id}-active`,
          path: `cameras.${id}.active`,
          label: 'Profiles run',
          value: entry?.active,
          onvalue: (value) => setCamera('active', value),
        }),
        selectField({
          key: `camera-${id}-rotation`,
          path: `cameras.${id}.rotation`,
          label: 'Rotation (degrees)',
          value: entry?.rotation ?? 0,
          choices: ROTATIONS,
          onvalue: (value) => setCamera('rotation', Number(value)),
        }),
      ),
      h('ul', { class: 'profiles' }, ...profiles.map((item) => this.renderProfile(item))),
      h('p', { class: 'error', 'data-error-of': `cameras.${id}.profiles` }),
      h(
        'button',
        {
          type: 'button',
          'data-testid': 'profile-add',
          'data-key': `add-${id}`,
          'data-camera': id,
          disabled: profiles.length >= most,
          onclick: () => this.add(id),
        },
        'Add a profile',
      ),
      h('span', { class: 'hint' }, ` ${profiles.length} of at most ${most}`),
    );
  }

  renderProfile({ profile, index }) {
    const { uid } = profile;
    const action = (testId, text, onclick) =>
      h(
        'button',
        {
          type: 'button',
          'data-testid': testId,
          'data-uid': uid,
          'data-key': `${testId}-${index}`,
          onclick,
        },
        text,
      );
    return h(
      'li',
      { 'data-testid': 'profile', 'data-uid': uid, 'data-index': index },
      h(
        'button',
        {
          type: 'button',
          class: 'choose',
          'data-testid': 'profile-select',
          'data-uid': uid,
          'data-key': `choose-${index}`,
          'aria-pressed': index === this.state.profileIndex,
          onclick: () => this.state.selectProfile(index),
        },
        h('span', { class: 'profile-name' }, profile.name),
        h('span', { class: 'alarm', 'data-testid': 'profile-alarm' }),
      ),
      h(
        'div',
        { class: 'actions' },
        action('test-alarm', 'Test alarm', () =>
          this.ask(uid, () => call('sendAlarmEvent', { profile: uid })),
        ),
        action('visual-confirmation', 'Show what it sees', () =>
          this.ask(uid, () =>
            this.confirmation.isOn(uid) ? this.confirmation.stop() : this.confirmation.start(uid),
          ),
        ),
        action('profile-remove', 'Remove', () => this.remove(index)),
      ),
      h('p', { class: 'error', 'data-testid': 'profile-error', role: 'alert' }),
    );
  }

  add(camera) {
    const { state } = this;
    state.restructure((document) => {
      ensureCamera(document, camera);
      addProfile(document, camera, state.capabilities);
    });
    state.selectProfile(state.edited.profiles.length - 1);
  }

  remove(index) {
    this.state.restructure((document) => document.profiles.splice(index, 1));
    this.root.querySelector('[data-testid="profile-select"]')?.focus();
  }

  /** Runs a request about a profile; its error is shown at the profile. */
  async ask(uid, request) {
    try {
      await request();
      this.answers.delete(uid);
    } catch (error) {
      const isUnsaved = !this.state.saved.profiles.some((profile) => profile.uid === uid);
      this.answers.set(uid, describe(error) + (isUnsaved ? '. Save the profile first.' : ''));
    }
    this.showErrors();
  }

  rows() {
    return this.root.querySelectorAll('[data-testid="profile"]');
  }

  showNames() {
    for (const row of this.rows()) {
      const profile = this.state.edited.profiles[Number(row.dataset.index)];
      if (profile) setText(row.querySelector('.profile-name'), profile.name);
    }
  }

  showStates() {
    for (const row of this.rows()) {
      const uid = Number(row.dataset.uid);
      const { camera } = this.state.edited.profiles[Number(row.dataset.index)] ?? {};
      const event = this.store.states.get(`Camera${camera}Profile${uid}`);
      setText(row.querySelector('.alarm'), event && Number(event.data.active) === 1 ? 'Alarm' : '');
      const isOn = this.confirmation.isOn(uid);
      const button = row.querySelector('[data-testid="visual-confirmation"]');
      button.setAttribute('aria-pressed', String(isOn));
      setText(button, isOn ? 'Stop showing' : 'Show what it sees');
    }
  }

  showErrors() {
    if (!this.state.isLoaded) return;
    showErrors(this.root, this.state.errors);
    for (const row of this.rows()) {
      const path = `profiles.${row.dataset.index}.`;
      const isWrong = [...this.state.errors.keys()].some((at) => at.startsWith(path));
      row.classList.toggle('wrong', isWrong);
      const answer = this.answers.get(Number(row.dataset.uid)) ?? '';
      setText(row.querySelector('[data-testid="profile-error"]'), answer);
    }
  }
}
