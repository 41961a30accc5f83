/**
 * The configuration that is being edited, beside the one that is in force. Nothing but revert() and
 * a save changes the edited one against the user's will.
 */

import { areaOf, copyOf, isSame } from './configuration.js';

/**
 * Emits: load (another document), structure (fields come or go), change (a value), selection,
 * errors.
 */
export class EditorState extends EventTarget {
  capabilities = null;
  saved = null; // the document in force, as last read
  edited = null;
  errors = new Map(); // messages by path
  profileIndex = 0;
  area = { kind: 'includeArea', index: 0 };
  vertex = 0;

  on(types, listener) {
    for (const type of types.split(' ')) this.addEventListener(type, listener);
  }

  emit(type) {
    this.dispatchEvent(new Event(type));
  }

  get isLoaded() {
    return this.edited !== null && this.capabilities !== null;
  }

  get isDirty() {
    return this.isLoaded && !isSame(this.edited, this.saved);
  }

  get profile() {
    return this.edited?.profiles[this.profileIndex] ?? null;
  }

  /** The vertices of the selected area; null without one. */
  get vertices() {
    const area = this.profile && areaOf(this.profile, this.area.kind, this.area.index);
    return Array.isArray(area?.entry.data) ? area.entry.data : null;
  }

  set vertices(vertices) {
    const isRenumbered = vertices.length !== this.vertices.length;
    areaOf(this.profile, this.area.kind, this.area.index).entry.data = vertices;
    if (isRenumbered) this.setErrors(new Map());
    this.vertex = Math.min(this.vertex, vertices.length - 1);
    this.emit('change');
  }

  get vertexLimits() {
    const entry = [...this.capabilities.triggers, ...this.capabilities.filters].find(
      ({ type }) => type === this.area.kind,
    );
    return { fewest: entry.minNbrVertices, most: entry.maxNbrVertices };
  }

  /**
   * Takes the document in force. What is being edited stays when it has unsaved changes.
   * @returns {boolean} whether unsaved changes now stand against a document that others changed
   */
  load(document, capabilities) {
    const wasDirty = this.isDirty;
    const changedElsewhere = wasDirty && !isSame(document, this.saved);
    this.capabilities = capabilities;
    this.saved = document;
    if (wasDirty) this.emit('change');
    else if (this.edited === null || !isSame(document, this.edited)) this.replace(document);
    return changedElsewhere;
  }

  revert() {
    this.replace(this.saved);
  }

  /** What was sent is in force now; what was typed since then is unsaved. */
  markSaved(document) {
    this.saved = document;
    this.setErrors(new Map());
    this.emit('change');
  }

  replace(document) {
    this.edited = copyOf(document);
    this.errors = new Map();
    this.profileIndex = Math.min(this.profileIndex, Math.max(0, this.edited.profiles.length - 1));
    this.keepAreaSelected();
    this.emit('load');
  }

  keepAreaSelected() {
    if (this.profile && !areaOf(this.profile, this.area.kind, this.area.index)) {
      this.area = { kind: 'includeArea', index: 0 };
    }
    this.vertex = Math.max(0, Math.min(this.vertex, (this.vertices?.length ?? 1) - 1));
  }

  setErrors(errors) {
    this.errors = errors;
    this.emit('errors');
  }

  selectProfile(index) {
    this.profileIndex = index;
    this.area = { kind: 'includeArea', index: 0 };
    this.vertex = 0;
    this.emit('selection');
  }

  selectArea(kind, index) {
    this.area = { kind, index };
    this.vertex = 0;
    this.emit('selection');
  }

  selectVertex(index) {
    if (this.vertex === index) return;
    this.vertex = index;
    this.emit('vertex');
  }

  /** Applies a change that adds or removes profiles, areas or filters. */
  restructure(change) {
    change(this.edited);
    this.setErrors(new Map());
    this.profileIndex = Math.min(this.profileIndex, Math.max(0, this.edited.profiles.length - 1));
    this.keepAreaSelected();
    this.emit('structure');
  }

  /** Applies a change of a value. */
  change(change) {
    change(this.profile);
    this.emit('change');
  }
}
