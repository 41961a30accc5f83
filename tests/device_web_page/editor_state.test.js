import assert from 'node:assert/strict';
import { test } from 'node:test';

import { EditorState } from '../../device/web/js/editor-state.js';
import { CAPABILITIES, configuration } from './capabilities.js';

function loaded() {
  const state = new EditorState();
  state.load(configuration(), CAPABILITIES);
  return state;
}

test('what is loaded and not edited goes back as it came, unknown keys and all', () => {
  const state = loaded();
  assert.deepEqual(state.edited, configuration());
  assert.ok(!state.isDirty);
});

test('editing leaves the document in force alone, and reverting brings it back', () => {
  const state = loaded();
  state.change((profile) => (profile.name = 'Other'));
  state.vertices = state.vertices.slice(1);
  assert.ok(state.isDirty);
  assert.deepEqual(state.saved, configuration());
  state.revert();
  assert.ok(!state.isDirty);
  assert.deepEqual(state.edited, configuration());
});

test('unsaved changes survive a load, which tells when others changed the configuration', () => {
  const state = loaded();
  state.change((profile) => (profile.name = 'Mine'));
  assert.equal(state.load(configuration(), CAPABILITIES), false);
  const theirs = configuration();
  theirs.profiles[0].name = 'Theirs';
  assert.equal(state.load(theirs, CAPABILITIES), true);
  assert.equal(state.profile.name, 'Mine');
  assert.ok(state.isDirty);
  state.revert();
  assert.equal(state.profile.name, 'Theirs');
});

test('a load of the same configuration does not build the form anew', () => {
  const state = loaded();
  let loads = 0;
  state.on('load', () => ++loads);
  state.load({ ...configuration(), configurationStatus: 8 }, CAPABILITIES);
  assert.equal(loads, 0);
});

test('what is typed while a save is on its way is unsaved', () => {
  const state = loaded();
  state.change((profile) => (profile.name = 'Sent'));
  const sent = JSON.parse(JSON.stringify(state.edited));
  state.change((profile) => (profile.name = 'Typed later'));
  state.markSaved(sent);
  assert.ok(state.isDirty);
  assert.equal(state.profile.name, 'Typed later');
});

test('the chosen profile, area and vertex are there after any change', () => {
  const state = loaded();
  state.selectArea('excludeArea', 0);
  state.selectVertex(3);
  state.vertices = state.vertices.slice(0, 3);
  assert.equal(state.vertex, 2);
  state.restructure((document) => {
    document.profiles[0].filters.pop();
  });
  assert.deepEqual(state.area, { kind: 'includeArea', index: 0 });
  state.restructure((document) => document.profiles.pop());
  assert.equal(state.profile, null);
  assert.equal(state.vertices, null);
});
