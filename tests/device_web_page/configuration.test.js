import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  addArea,
  addProfile,
  areasOf,
  copyOf,
  ensureCamera,
  ensureFilter,
  filterOf,
  isSame,
  placeError,
  removeArea,
  violationsOf,
} from '../../device/web/js/configuration.js';
import { CAPABILITIES, configuration } from './capabilities.js';

/** "path code" of every rule that is broken after a change. */
function broken(change) {
  const document = configuration();
  change(document.profiles[0], document);
  return violationsOf(document, CAPABILITIES, 2).map(({ path, code }) => `${path} ${code}`);
}

const at = (field, code) => [`profiles.0.${field} ${code}`];
const setFilter = (type, data) => (profile) => (filterOf(profile, type).data = data);
const polygonOf = (count) =>
  Array.from({ length: count }, (_, i) => [i / count, (i * i) / (count * count)]);

test('a configuration within the capabilities breaks no rule', () => {
  assert.deepEqual(
    broken(() => {}),
    [],
  );
});

test('a name has 1 to 15 characters without the blanks around it', () => {
  const named = (name) => broken((profile) => (profile.name = name));
  assert.deepEqual(named('x'), []);
  assert.deepEqual(named('123456789012345'), []);
  assert.deepEqual(named('  12345678901234  '), []);
  assert.deepEqual(named('ÄÖÜäöüßÄÖÜäöüßé'), []);
  assert.deepEqual(named(''), at('name', '2004'));
  assert.deepEqual(named('   '), at('name', '2004'));
  assert.deepEqual(named('1234567890123456'), at('name', '2004'));
});

test('a name has no angle brackets and is a text', () => {
  for (const name of ['<', 'a>b']) {
    assert.deepEqual(
      broken((profile) => (profile.name = name)),
      at('name', '2004'),
    );
  }
  assert.deepEqual(
    broken((profile) => delete profile.name),
    at('name', '2003'),
  );
});

test('a priority is a whole number of 32 bits', () => {
  for (const priority of [0, -5, 2147483647, -2147483648]) {
    assert.deepEqual(
      broken((profile) => (profile.priority = priority)),
      [],
    );
  }
  for (const priority of [null, 1.5, '1', 2147483648, -2147483649]) {
    assert.deepEqual(
      broken((profile) => (profile.priority = priority)),
      at('priority', '2003'),
    );
  }
});

test('a duration may be missing, or is a whole number of microseconds in 32 bits', () => {
  const held = (value) => broken((profile) => (profile.xinternalEventDuration = value));
  assert.deepEqual(held(5000000), []);
  assert.deepEqual(held(2147483648), at('duration', '2003'));
  assert.deepEqual(held(0.5), at('duration', '2003'));
});

test('filter values keep their bounds, both ends included', () => {
  const cases = [
    ['timeShortLivedLimit', 1, 5],
    ['distanceSwayingObject', 3, 20],
  ];
  for (const [type, min, max] of cases) {
    assert.deepEqual(broken(setFilter(type, min)), []);
    assert.deepEqual(broken(setFilter(type, max)), []);
    assert.deepEqual(broken(setFilter(type, min - 1)), at(type, '2004'));
    assert.deepEqual(broken(setFilter(type, max + 1)), at(type, '2004'));
    assert.deepEqual(broken(setFilter(type, null)), at(type, '2003'));
    assert.deepEqual(broken(setFilter(type, min + 0.5)), at(type, '2003'));
  }
});

test('width and height of the size filter are told apart', () => {
  assert.deepEqual(broken(setFilter('sizePercentage', [3, 100])), []);
  assert.deepEqual(broken(setFilter('sizePercentage', [2, 5])), at('sizePercentage.width', '2004'));
  assert.deepEqual(
    broken(setFilter('sizePercentage', [5, 101])),
    at('sizePercentage.height', '2004'),
  );
  assert.deepEqual(
    broken(setFilter('sizePercentage', [5, null])),
    at('sizePercentage.height', '2003'),
  );
});

test('a profile has exactly one include area', () => {
  assert.deepEqual(
    broken((profile) => (profile.triggers = [])),
    at('includeArea', '2002'),
  );
  const second = (profile) => addArea(profile, 'includeArea', CAPABILITIES);
  assert.deepEqual(broken(second), at('includeArea', '2002'));
});

test('a profile has at most three exclude areas', () => {
  const more = (count) => (profile) => {
    for (let i = 0; i < count; ++i) addArea(profile, 'excludeArea', CAPABILITIES);
  };
  assert.deepEqual(broken(more(2)), []);
  assert.deepEqual(broken(more(3)), at('excludeArea', '2004'));
});

test('an area has 3 to 20 vertices', () => {
  const include = (count) => (profile) => (profile.triggers[0].data = polygonOf(count));
  assert.deepEqual(broken(include(3)), []);
  assert.deepEqual(broken(include(20)), []);
  assert.deepEqual(broken(include(2)), at('includeArea.0', '2004'));
  assert.deepEqual(broken(include(21)), at('includeArea.0', '2004'));
});

test('a coordinate out of the picture is found at its vertex', () => {
  const excludes = (profile) => filterOf(profile, 'excludeArea').data;
  assert.deepEqual(
    broken((profile) => (excludes(profile)[2] = [1, -1])),
    [],
  );
  assert.deepEqual(
    broken((profile) => (excludes(profile)[2] = [1.001, 0])),
    at('excludeArea.0.2.x', '2004'),
  );
  assert.deepEqual(
    broken((profile) => (excludes(profile)[1] = [0, null])),
    at('excludeArea.0.1.y', '2003'),
  );
});

test('profiles have numbers of their own and known cameras', () => {
  const twins = broken((profile, document) => {
    document.profiles.push({ ...copyOf(profile), name: 'Twin' });
  });
  assert.deepEqual(twins, ['profiles.0.name 2002', 'profiles.1.name 2002']);
  assert.deepEqual(
    broken((profile) => (profile.camera = 3)),
    at('name', '2002'),
  );
});

test('a camera has at most three profiles', () => {
  const added = broken((_, document) => {
    for (let i = 0; i < 3; ++i) addProfile(document, 1, CAPABILITIES);
  });
  assert.deepEqual(added, ['cameras.1.profiles 2002']);
});

test('rotations are quarter turns, and the device knows the camera', () => {
  assert.deepEqual(
    broken((_, document) => (document.cameras[1].rotation = 45)),
    ['cameras.2.rotation 2004'],
  );
  assert.deepEqual(
    broken((_, document) => ensureCamera(document, 3)),
    ['cameras.3.profiles 2004'],
  );
});

test('presets are -1 to 32767, one at most', () => {
  const bound = (presets) => broken((profile) => (profile.presets = presets));
  assert.deepEqual(bound([]), []);
  assert.deepEqual(bound([-1]), []);
  assert.deepEqual(bound([-2]), at('preset', '2004'));
  assert.deepEqual(bound([1, 2]), at('preset', '2002'));
});

test('an error is shown at the fields that break a rule of its code', () => {
  const violations = [
    { path: 'profiles.0.name', code: '2004', reason: 'Too long.' },
    { path: 'profiles.1.priority', code: '2003', reason: 'A number.' },
  ];
  const placed = placeError(violations, '2003', 'Missing (2003)');
  assert.equal(placed.get('profiles.1.priority'), 'Missing (2003). A number.');
  assert.equal(placed.get('profiles.0.name'), 'Too long.');
});

test('an error of another code is shown at every field that breaks a rule', () => {
  const violations = [{ path: 'profiles.0.name', code: '2004', reason: 'Too long.' }];
  const placed = placeError(violations, '2002', 'Contradiction');
  assert.equal(placed.get('profiles.0.name'), 'Contradiction. Too long.');
});

test('an error that no field explains has no field', () => {
  assert.equal(placeError([], '2002', 'Contradiction').size, 0);
});

test('a new profile breaks no rule and is told apart from the others', () => {
  const document = configuration();
  const first = addProfile(document, 1, CAPABILITIES);
  const second = addProfile(document, 1, CAPABILITIES);
  assert.deepEqual([first.uid, second.uid], [5, 6]);
  assert.notEqual(first.name, second.name);
  assert.deepEqual(violationsOf(document, CAPABILITIES), []);
  first.triggers[0].data[0][0] = 0;
  assert.equal(second.triggers[0].data[0][0], -0.97, 'areas are not shared');
  assert.equal(CAPABILITIES.triggers[0].default[0][0], -0.97);
});

test('a filter that a profile does not have is added switched off, with its default', () => {
  const [profile] = configuration().profiles;
  profile.filters = [];
  const added = ensureFilter(profile, 'timeShortLivedLimit', CAPABILITIES);
  assert.deepEqual(added, { active: false, data: 1, type: 'timeShortLivedLimit' });
  assert.equal(ensureFilter(profile, 'timeShortLivedLimit', CAPABILITIES), added);
});

test('areas are added and removed without touching filters', () => {
  const [profile] = configuration().profiles;
  const index = addArea(profile, 'excludeArea', CAPABILITIES);
  assert.equal(index, 1);
  removeArea(profile, 'excludeArea', 0);
  const kinds = areasOf(profile).map((area) => `${area.kind} ${area.index}`);
  assert.deepEqual(kinds, ['includeArea 0', 'excludeArea 0']);
  assert.deepEqual(areasOf(profile)[1].entry.data[0], [-0.2, -0.2]);
  assert.equal(profile.filters.length, 4);
});

test("the daemon's counter is no difference; anything else is", () => {
  const other = { ...configuration(), configurationStatus: 8 };
  assert.ok(isSame(configuration(), other));
  other.profiles[0].filters[0].active = false;
  assert.ok(!isSame(configuration(), other));
});
