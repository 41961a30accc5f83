/** Reading, saving and reverting the configuration. */

import { call, describe } from './api.js';
import { copyOf, placeError, violationsOf } from './configuration.js';
import { byTestId, setText } from './dom.js';
import { ProfileForm } from './profile-form.js';
import { ProfileList } from './profile-list.js';

const REFRESH = 10000; // milliseconds
const AGAIN_AFTER = 1000; // milliseconds; a daemon that starts does not answer at once

export class Editor {
  constructor(store, state, confirmation) {
    this.store = store;
    this.state = state;
    this.isSaving = false;
    this.loads = 0; // a counter: answers to old requests are passed over
    new ProfileList(byTestId('profile-list'), store, state, confirmation);
    new ProfileForm(byTestId('profile-form'), store, state);
    byTestId('save').addEventListener('click', () => this.save());
    byTestId('revert').addEventListener('click', () => this.revert());
    state.on('load structure change', () => this.showDirty());
    store.on('daemon', (running) => running && this.load());
    document.addEventListener('visibilitychange', () => document.hidden || this.load());
    setInterval(() => document.hidden || this.load(), REFRESH);
    addEventListener('beforeunload', (event) => {
      if (state.isDirty) event.preventDefault();
    });
  }

  showDirty() {
    const { isDirty, isLoaded } = this.state;
    byTestId('save-bar').toggleAttribute('data-dirty', isDirty);
    setText(byTestId('unsaved'), isDirty ? 'Unsaved changes' : '');
    byTestId('revert').disabled = !isDirty;
    byTestId('save').disabled = !isLoaded || this.isSaving;
    if (isDirty) setText(byTestId('editor-status'), '');
  }

  showError(text) {
    setText(byTestId('api-error'), text);
  }

  async load(isOwnChange = false) {
    if (!this.store.daemonRunning || this.isSaving) return;
    const number = ++this.loads;
    try {
      const capabilities = await call('getConfigurationCapabilities');
      const configuration = await call('getConfiguration');
      if (number !== this.loads || this.isSaving) return;
      const isFirst = !this.state.isLoaded;
      const changedElsewhere = this.state.load(configuration, capabilities);
      if (changedElsewhere && !isOwnChange) {
        setText(
          byTestId('changed-elsewhere'),
          'The configuration was changed elsewhere. Save replaces it, Revert takes it over.',
        );
      }
      if (isFirst) this.showError('');
    } catch (error) {
      // The banner tells of a device or daemon that is not there.
      if (!['network', 'HTTP'].includes(error.code)) this.showError(describe(error));
      else if (number === this.loads) setTimeout(() => this.load(isOwnChange), AGAIN_AFTER);
    }
  }

  revert() {
    this.state.revert();
    this.showError('');
    setText(byTestId('changed-elsewhere'), '');
    setText(byTestId('editor-status'), 'Reverted to the configuration in force.');
  }

  async save() {
    if (this.isSaving || !this.state.isLoaded) return;
    const sent = copyOf(this.state.edited);
    this.isSaving = true;
    byTestId('save').disabled = true;
    setText(byTestId('editor-status'), 'Saving ...');
    try {
      await call('setConfiguration', sent);
      this.state.markSaved(sent);
      this.showError('');
      setText(byTestId('changed-elsewhere'), '');
      setText(byTestId('editor-status'), 'Saved.');
    } catch (error) {
      this.refuse(error, sent);
      return;
    } finally {
      this.isSaving = false;
      this.showDirty();
    }
    await this.load(true);
  }

  /** Shows an error at the fields to blame for it and goes to the first of them. */
  refuse(error, sent) {
    const message = describe(error);
    const isAboutContent = /^200[1-4]$/.test(error.code);
    const cameraCount = this.store.model?.channels.length;
    const violations = violationsOf(sent, this.state.capabilities, cameraCount);
    const errors = isAboutContent ? placeError(violations, error.code, message) : new Map();
    setText(byTestId('editor-status'), '');
    this.showError(
      errors.size ? `Not saved: ${message}. See the marked fields.` : `Not saved: ${message}`,
    );
    this.goTo([...errors.keys()][0]);
    this.state.setErrors(errors);
  }

  /** Chooses the profile, area and vertex of a path. */
  goTo(path) {
    const [, profile, kind, area, vertex] = path?.match(
      /^profiles\.(\d+)(?:\.(includeArea|excludeArea)(?:\.(\d+)(?:\.(\d+))?)?)?/,
    ) ?? [null];
    const { state } = this;
    if (profile === undefined || !state.edited.profiles[Number(profile)]) return;
    if (Number(profile) !== state.profileIndex) state.selectProfile(Number(profile));
    if (area !== undefined) state.selectArea(kind, Number(area));
    if (vertex !== undefined) state.selectVertex(Number(vertex));
    document.querySelector(`[data-path^="${path}"]`)?.focus();
  }
}
