/**
 * The configuration as a document: what it may hold, and changes to it. The document is the
 * "params" of setConfiguration; keys that the page does not know are kept as they are.
 *
 * @typedef {{path: string, code: string, reason: string}} Violation
 *     path: the field ("profiles.0.name"); code: what the API would answer
 */

const INT32 = 2 ** 31;
export const DEFAULT_DURATION = 5000000; // microseconds, when a profile has none of its own
export const ROTATIONS = [0, 90, 180, 270];

/**
 * Filters with values, in the order of the form. label: what a filter holds back; parts: the names
 * of the two values of a filter that has two.
 */
export const FILTERS = [
  { type: 'sizePercentage', label: 'Small objects', unit: '%', parts: ['width', 'height'] },
  {
    type: 'timeShortLivedLimit',
    label: 'Short-lived objects',
    name: 'seen for less than',
    unit: 's',
  },
  { type: 'distanceSwayingObject', label: 'Swaying objects', name: 'within', unit: '%' },
];

export const copyOf = (value) => JSON.parse(JSON.stringify(value));

const isInt32 = (value) => Number.isInteger(value) && value >= -INT32 && value < INT32;

/** Whether two documents configure the same; the daemon's own counter does not. */
export function isSame(a, b) {
  const text = (document) => JSON.stringify({ ...document, configurationStatus: 0 });
  return text(a) === text(b);
}

/** Bounds and defaults of a filter or a trigger by its type. */
export function capabilityOf(capabilities, type) {
  return [...capabilities.filters, ...capabilities.triggers].find((entry) => entry.type === type);
}

export const filterOf = (profile, type) =>
  (profile.filters ?? []).find((filter) => filter.type === type);

/** The filter of a type; added with its defaults, switched off, when there is none. */
export function ensureFilter(profile, type, capabilities) {
  const present = filterOf(profile, type);
  if (present) return present;
  const filter = { active: false, data: copyOf(capabilityOf(capabilities, type).default), type };
  profile.filters = [...(profile.filters ?? []), filter];
  return filter;
}

/** The areas of a profile, include areas first. entry: the trigger or filter that holds data. */
export function areasOf(profile) {
  const named = (list, kind) =>
    (list ?? [])
      .filter((entry) => entry.type === kind)
      .map((entry, index) => ({ kind, index, entry }));
  return [...named(profile.triggers, 'includeArea'), ...named(profile.filters, 'excludeArea')];
}

export function areaOf(profile, kind, index) {
  return areasOf(profile).find((area) => area.kind === kind && area.index === index) ?? null;
}

export function addArea(profile, kind, capabilities) {
  const list = kind === 'includeArea' ? 'triggers' : 'filters';
  const entry = { type: kind, data: copyOf(capabilityOf(capabilities, kind).default) };
  profile[list] = [...(profile[list] ?? []), entry];
  return areasOf(profile).filter((area) => area.kind === kind).length - 1;
}

export function removeArea(profile, kind, index) {
  const { entry } = areaOf(profile, kind, index);
  const list = kind === 'includeArea' ? 'triggers' : 'filters';
  profile[list] = profile[list].filter((candidate) => candidate !== entry);
}

/** The lowest free "Profile N" of a camera. */
function freeName(profiles) {
  const names = new Set(profiles.map((profile) => profile.name));
  let number = 1;
  while (names.has(`Profile ${number}`)) ++number;
  return `Profile ${number}`;
}

/** Adds a profile with the defaults to a camera and returns it. */
export function addProfile(document, camera, capabilities) {
  const uid = Math.max(0, ...document.profiles.map((profile) => profile.uid)) + 1;
  const ofCamera = document.profiles.filter((profile) => profile.camera === camera);
  const profile = {
    uid,
    camera,
    name: freeName(ofCamera),
    triggers: [
      { type: 'includeArea', data: copyOf(capabilityOf(capabilities, 'includeArea').default) },
    ],
    filters: FILTERS.map(({ type }) => {
      const { default: data, defaultActive } = capabilityOf(capabilities, type);
      return { active: defaultActive, data: copyOf(data), type };
    }),
    perspective: [],
    priority: 1,
  };
  document.profiles.push(profile);
  return profile;
}

/** The entry of a camera; added, not active, when there is none. */
export function ensureCamera(document, id) {
  let camera = document.cameras.find((candidate) => candidate.id === id);
  if (!camera) {
    camera = { id, active: false, rotation: 0 };
    document.cameras.push(camera);
  }
  return camera;
}

// ---- What a document may hold ----

function nameViolation(name, { minLengthName, maxLengthName }) {
  if (typeof name !== 'string') return ['2003', 'A name is needed.'];
  const length = [...name.trim()].length;
  if (length < minLengthName || length > maxLengthName) {
    return ['2004', `A name has ${minLengthName} to ${maxLengthName} characters.`];
  }
  return /[<>]/.test(name) ? ['2004', 'A name has no "<" or ">".'] : null;
}

function numberViolation(value, min, max, unit = '') {
  if (!Number.isInteger(value)) return ['2003', 'A whole number is needed.'];
  const bounds = `${min} to ${max}${unit ? ` ${unit}` : ''}`;
  return value < min || value > max ? ['2004', `The bounds are ${bounds}.`] : null;
}

function areaViolations(area, path, limits) {
  const vertices = area.entry.data;
  if (!Array.isArray(vertices)) return [{ path, code: '2003', reason: 'Vertices are needed.' }];
  const found = [];
  const { minNbrVertices: fewest, maxNbrVertices: most, min, max } = limits;
  if (vertices.length < fewest || vertices.length > most) {
    found.push({ path, code: '2004', reason: `An area has ${fewest} to ${most} vertices.` });
  }
  vertices.forEach((vertex, i) => {
    ['x', 'y'].forEach((axis, a) => {
      const at = `${path}.${i}.${axis}`;
      if (typeof vertex[a] !== 'number') {
        found.push({ path: at, code: '2003', reason: 'A number is needed.' });
      } else if (vertex[a] < min[a] || vertex[a] > max[a]) {
        found.push({ path: at, code: '2004', reason: `The bounds are ${min[a]} to ${max[a]}.` });
      }
    });
  });
  return found;
}

function filterViolations(profile, path, capabilities) {
  const found = [];
  const add = (at, violation) => {
    if (violation) found.push({ path: at, code: violation[0], reason: violation[1] });
  };
  for (const { type, parts, unit } of FILTERS) {
    const filter = filterOf(profile, type);
    if (!filter) continue;
    const at = `${path}.${type}`;
    const { min, max } = capabilityOf(capabilities, type);
    if (typeof filter.active !== 'boolean') add(`${at}.active`, ['2003', 'On or off is needed.']);
    if (!parts) {
      add(at, numberViolation(filter.data, min, max, unit));
      continue;
    }
    parts.forEach((part, i) => {
      add(`${at}.${part}`, numberViolation(filter.data?.[i], min[i], max[i], unit));
    });
  }
  return found;
}

function allAreaViolations(profile, path, capabilities) {
  const found = [];
  for (const kind of ['includeArea', 'excludeArea']) {
    const limits = capabilityOf(capabilities, kind);
    const areas = areasOf(profile).filter((area) => area.kind === kind);
    if (areas.length < limits.minNbrInstances || areas.length > limits.maxNbrInstances) {
      const { minNbrInstances: fewest, maxNbrInstances: most } = limits;
      const bounds = fewest === most ? `exactly ${most}` : `${fewest} to ${most}`;
      found.push({
        path: `${path}.${kind}`,
        code: kind === 'includeArea' ? '2002' : '2004',
        reason: `A profile has ${bounds} of these areas.`,
      });
    }
    for (const area of areas) {
      found.push(...areaViolations(area, `${path}.${kind}.${area.index}`, limits));
    }
  }
  return found;
}

function profileViolations(document, index, capabilities) {
  const profile = document.profiles[index];
  const path = `profiles.${index}`;
  const found = [];
  const add = (field, violation) => {
    if (violation) {
      found.push({ path: `${path}.${field}`, code: violation[0], reason: violation[1] });
    }
  };
  add('name', nameViolation(profile.name, capabilities.profiles));
  if (!isInt32(profile.priority)) add('priority', ['2003', 'A whole number is needed.']);
  const duration = profile.xinternalEventDuration;
  if (duration !== undefined && !isInt32(duration)) {
    add('duration', ['2003', 'At most 2147 seconds, to the microsecond.']);
  }
  if (document.profiles.some((other, i) => i !== index && other.uid === profile.uid)) {
    add('name', ['2002', `Two profiles have the number ${profile.uid}.`]);
  }
  if (!document.cameras.some((camera) => camera.id === profile.camera)) {
    add('name', ['2002', `There is no camera ${profile.camera}.`]);
  }
  presetViolations(profile, capabilities).forEach((violation) => add('preset', violation));
  found.push(...allAreaViolations(profile, path, capabilities));
  found.push(...filterViolations(profile, path, capabilities));
  return found;
}

function presetViolations({ presets }, { presets: limits }) {
  if (presets === undefined) return [];
  if (presets.length > limits.maxNbrPresetsPerProfile) return [['2002', 'Too many presets.']];
  return presets.map((number) => numberViolation(number, -1, 32767)).filter(Boolean);
}

function cameraViolations(document, capabilities, cameraCount) {
  const found = [];
  const most = capabilities.profiles.maxNbrProfilesPerCamera;
  for (const { id, rotation } of document.cameras) {
    if (id > cameraCount) {
      const reason = `The device has ${cameraCount} cameras.`;
      found.push({ path: `cameras.${id}.profiles`, code: '2004', reason });
    }
    const count = document.profiles.filter((profile) => profile.camera === id).length;
    if (count > most) {
      const reason = `A camera has at most ${most} profiles.`;
      found.push({ path: `cameras.${id}.profiles`, code: '2002', reason });
    }
    if (!ROTATIONS.includes(rotation)) {
      const reason = `One of ${ROTATIONS.join(', ')}.`;
      found.push({ path: `cameras.${id}.rotation`, code: '2004', reason });
    }
  }
  return found;
}

/**
 * Every rule of the capabilities that a document breaks.
 * @param {number} [cameraCount] of the device
 * @returns {Violation[]}
 */
export function violationsOf(document, capabilities, cameraCount = Infinity) {
  return [
    ...cameraViolations(document, capabilities, cameraCount),
    ...document.profiles.flatMap((_, i) => profileViolations(document, i, capabilities)),
  ];
}

/**
 * Where to show an error of the API: at the fields that break a rule with the same code, or when
 * there are none, at all that break one. Other broken rules are shown with their own reasons.
 * @returns {Map<string, string>} messages by path; empty when no field is to blame
 */
export function placeError(violations, code, message) {
  const toBlame = violations.filter((violation) => violation.code === code);
  const blamed = new Set(toBlame.length ? toBlame : violations);
  const placed = new Map();
  for (const violation of violations) {
    if (placed.has(violation.path)) continue;
    const text = blamed.has(violation) ? `${message}. ${violation.reason}` : violation.reason;
    placed.set(violation.path, text);
  }
  return placed;
}
