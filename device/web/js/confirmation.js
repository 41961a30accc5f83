/**
 * Visual confirmation: which profile's drawings are asked for, and the drawings. Their event does
 * not name the profile, so the page remembers which one it started, also over a reload.
 */

import { call } from './api.js';

const EVENT = 'xinternal_data';
const MEMORY = 'visual-confirmation-profile';

/** Emits "change" when drawings begin, end or are another profile's. */
export class VisualConfirmation extends EventTarget {
  constructor(store, editor, pictures) {
    super();
    this.editor = editor;
    this.pictures = pictures;
    this.isSending = false;
    this.profile = this.remembered();
    store.on('event', (event) => {
      if (store.nameOf(event) === EVENT) this.show(event.data.svgframe ?? '');
    });
    store.on('undeclared', (event) => {
      if (store.nameOf(event) === EVENT) this.end();
    });
    store.on('daemon', (running) => {
      if (!running) this.end();
    });
    store.on('model', () => this.end());
  }

  remembered() {
    const text = window.sessionStorage.getItem(MEMORY);
    return text === null ? null : Number(text);
  }

  remember(profile) {
    this.profile = profile;
    if (profile === null) window.sessionStorage.removeItem(MEMORY);
    else window.sessionStorage.setItem(MEMORY, String(profile));
    this.dispatchEvent(new Event('change'));
  }

  isOn(profile) {
    return this.isSending && this.profile === profile;
  }

  /** @throws {import('./api.js').ApiError} */
  async start(profile) {
    const before = this.profile;
    this.remember(profile);
    try {
      await call('startVisualConfirmation', { profile });
    } catch (error) {
      this.remember(before);
      throw error;
    }
    this.setSending(true);
  }

  async stop() {
    await call('stopVisualConfirmation');
    this.end();
  }

  /** The camera whose profile is shown; with a single camera there is no doubt. */
  camera() {
    const { pictures } = this.pictures;
    if (pictures.size === 1) return [...pictures.keys()][0];
    return this.editor.saved?.profiles.find(({ uid }) => uid === this.profile)?.camera ?? null;
  }

  /** An empty text ends the drawings; a picture in which nothing is seen is a drawing too. */
  show(text) {
    if (!text) {
      this.end();
      return;
    }
    this.pictures.showConfirmation(this.camera(), text);
    this.setSending(true);
  }

  end() {
    this.pictures.showConfirmation(null, null);
    this.setSending(false);
  }

  setSending(isSending) {
    if (this.isSending === isSending) return;
    this.isSending = isSending;
    this.dispatchEvent(new Event('change'));
  }
}
