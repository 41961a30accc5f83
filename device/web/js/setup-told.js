/** What the set-up's fields say, in the words of the settings. */

const degreesOf = (radians) => (radians * 180) / Math.PI;
const radiansOf = (degrees) => (degrees * Math.PI) / 180;

const roundedAngle = (degrees) => Math.round(degrees * 100) / 100;

/** Two numbers, or nothing when one of them is missing. */
export function pairOf(low, high) {
  return Number.isFinite(low) && Number.isFinite(high) ? [low, high] : undefined;
}

/** Degrees from the bottom to the top of a picture that is so many degrees wide. */
export function verticalAngle(horizontal, width, height) {
  return degreesOf(2 * Math.atan((Math.tan(radiansOf(horizontal / 2)) * height) / width));
}

const orNull = (number) => (Number.isFinite(number) ? number : null);

/**
 * What was never entered is left out: the measured, or what the head tells itself, counts there. What
 * was cleared is null, and stays so.
 * @param {object} former the head as the settings have it
 * @param {object} [found] by a check: angles without which there is no head may be cleared for those
 */
export function toldOfHead(fields, former, found = {}) {
  const entered = {
    field_angles: pairOf(fields.fieldIn, fields.fieldOut),
    pan_range: pairOf(fields.panLow, fields.panHigh),
    tilt_range: pairOf(fields.tiltLow, fields.tiltHigh),
    pan_ends: pairOf(fields.panEndLow, fields.panEndHigh),
    tilt_ends: pairOf(fields.tiltEndLow, fields.tiltEndHigh),
    sensor_width: orNull(fields.sensorWidth) ?? undefined,
    home: pairOf(fields.homePan, fields.homeTilt),
    zoom_unit: fields.zoomUnit || undefined,
    product: fields.product.trim() || undefined,
    status_age: orNull(fields.statusAge) ?? undefined,
  };
  const told = {
    invert_pan: fields.invertPan,
    invert_tilt: fields.invertTilt,
    metadata: fields.metadata,
  };
  for (const [key, value] of Object.entries(entered)) {
    const isForFound = key === 'field_angles' && found.field_angles;
    if (value !== undefined) told[key] = value;
    else if (former[key] !== undefined && !isForFound) told[key] = null;
  }
  return told;
}

/** Lines of a zoom position and the degrees there. */
export function textOfZoomTable(table) {
  return (table ?? []).map((point) => point.join(' ')).join('\n');
}

/**
 * What was measured counts where the text is as the settings have it.
 * @throws {Error} with words for the user
 */
export function toldOfZoomTable(text, former) {
  if (text.trim() === textOfZoomTable(former)) return {};
  const lines = text.split('\n').filter((line) => line.trim());
  const table = lines.map((line) => line.trim().split(/[\s,;]+/).map(Number));
  if (!table.every((point) => point.length === 2 && point.every(Number.isFinite))) {
    throw new Error('Enter a zoom position and the degrees there in each line of the zoom table.');
  }
  return { zoom_table: table.length ? table : null };
}

/** How a camera's objects are understood; what is empty is null. */
export function toldOfObjects({ pixelsWide, pixelsHigh, classes, likelihood, leastDelay }) {
  const names = classes.split(',').map((name) => name.trim());
  const wanted = names.filter(Boolean);
  return {
    pixels: pairOf(pixelsWide, pixelsHigh) ?? null,
    classes: wanted.length ? wanted : null,
    likelihood: orNull(likelihood),
    least_delay: orNull(leastDelay),
  };
}

/**
 * @param {object} [known] the camera as the settings have it: where its angle is the one that is
 *     entered, what a calibration has made of it stays
 */
export function toldOfCamera({ name, angle }, { width, height }, known) {
  if (known && roundedAngle(known.horizontal_fov) === angle) return { name };
  const isKnown = width > 0 && height > 0;
  const [wide, high] = isKnown ? [width, height] : [16, 9];
  return { name, horizontal_fov: angle, vertical_fov: verticalAngle(angle, wide, high) };
}

/** What a calibration has found, in the words of the settings. */
export function toldOfCalibration(found) {
  return {
    pan: found.pan,
    tilt: found.tilt,
    roll: found.roll,
    horizontal_fov: found.hfov,
    vertical_fov: found.vfov,
    distortion: found.distortion,
    offset_x: found.offset_x_m,
    offset_y: found.offset_y_m,
  };
}

/** What a profile needs before it tells objects; empty when nothing. */
export function adviceOf(profile) {
  if (!profile || profile.objects) return '';
  return profile.analytics
    ? 'This profile finds objects, but does not tell them: analytics are off in its metadata.'
    : 'This profile finds no objects: switch object analytics on in the camera itself.';
}

/**
 * @param {number} number of the camera among the settings', from 1; 0 for none
 * @param {object[]} [objects] of its last frame
 */
export function wordsOfObjects(number, objects) {
  if (number === 0) return 'Its objects are shown as they come once it is an overview camera.';
  if (!objects) return 'It has told no objects yet: let somebody walk through its picture.';
  return `It tells ${objects.length} ${objects.length === 1 ? 'object' : 'objects'} now.`;
}

/** The host of a camera of the settings, for a person. */
export function headAddress({ address }) {
  try {
    return new URL(address).host;
  } catch {
    return address;
  }
}

/** Which of the settings' cameras has this address and profile, from 0; -1 for none. */
export function indexOfCamera(settings, address, profile) {
  return (settings.cameras ?? []).findIndex(
    (camera) => camera.address === address && camera.profile === profile,
  );
}

/** A camera that nobody has calibrated or written by hand has no direction. */
export const isCalibrated = (camera) => camera.pan !== undefined || camera.tilt !== undefined;

/** Whether a check has found that there is nothing to be said in that field. */
export function isCleared(found, id) {
  const [, axis] = /^head-(pan|tilt)-end-/.exec(id) ?? [];
  return axis !== undefined && found[`${axis}_ends`] === null;
}

/** The fields of the head's step, by test id, as its settings fill them. */
export function fieldsOfHead(head) {
  const [fieldIn, fieldOut] = head.field_angles ?? [];
  const [panLow, panHigh] = head.pan_range ?? [];
  const [tiltLow, tiltHigh] = head.tilt_range ?? [];
  const [homePan, homeTilt] = head.home ?? [];
  const [panEndLow, panEndHigh] = head.pan_ends ?? [];
  const [tiltEndLow, tiltEndHigh] = head.tilt_ends ?? [];
  const numbers = {
    'head-home-pan': homePan,
    'head-home-tilt': homeTilt,
    'head-field-in': fieldIn,
    'head-field-out': fieldOut,
    'head-pan-low': panLow,
    'head-pan-high': panHigh,
    'head-tilt-low': tiltLow,
    'head-tilt-high': tiltHigh,
    'head-sensor-width': head.sensor_width,
    'head-pan-end-low': panEndLow,
    'head-pan-end-high': panEndHigh,
    'head-tilt-end-low': tiltEndLow,
    'head-tilt-end-high': tiltEndHigh,
    'head-product': head.product,
    'head-status-age': head.status_age,
    'head-zoom-unit': head.zoom_unit,
  };
  return {
    ...Object.fromEntries(Object.entries(numbers).map(([id, value]) => [id, value ?? ''])),
    'head-invert-pan': head.invert_pan ?? false,
    'head-invert-tilt': head.invert_tilt ?? false,
    'head-zoom-table': textOfZoomTable(head.zoom_table),
    'head-metadata': head.metadata ?? true,
    ...(head.profile ? { 'head-profile': head.profile } : {}),
  };
}

/** Those of an overview camera; of one that is new without it. */
export function fieldsOfCamera(camera) {
  return {
    'camera-name': camera?.name ?? 'Overview',
    'camera-angle': camera ? roundedAngle(camera.horizontal_fov) : 60,
    'camera-pixels-wide': camera?.pixels?.[0] ?? '',
    'camera-pixels-high': camera?.pixels?.[1] ?? '',
    'camera-classes': camera?.classes?.join(', ') ?? '',
    'camera-likelihood': camera?.likelihood ?? '',
    'camera-least-delay': camera?.least_delay ?? '',
  };
}

/**
 * Profiles that may be an overview camera's, those that move nothing first: a fixed camera with a zoom
 * by motor says of its profiles that they move, too. The head's own are none.
 */
export function picturesOf({ address, profiles }, { head }) {
  const isHead = head?.address === address;
  const may = profiles.filter((profile) => profile.picture && !(isHead && profile.head));
  return may.toSorted((one, other) => Number(one.head) - Number(other.head));
}

/** What has to be done next. */
export function nextStep({ settings, camera, check }) {
  if (camera?.running) return 'The camera is being asked what it can.';
  if (check?.running) return 'The head is being checked.';
  const canMove = camera?.profiles.some(({ head }) => head);
  if (!settings.head) {
    return canMove
      ? 'Next: let the head be checked, and say that it is the head (2).'
      : 'Next: look at the camera that has the head (1).';
  }
  const { cameras = [] } = settings;
  if (!cameras.length) {
    const isFixed = camera && picturesOf(camera, settings).length > 0;
    return isFixed
      ? 'Next: say that this is an overview camera (3), or look at another one (1).'
      : 'Next: look at an overview camera (1).';
  }
  const open = cameras.find((one) => !isCalibrated(one));
  if (open) return `Next: calibrate ${open.name ?? 'Overview'} (4).`;
  return 'Head and cameras are set up. Draw the areas (5), or go on with another camera.';
}

const PLAIN = [
  [
    /field_angles/,
    'Enter how many degrees wide the picture is, fully in (the smaller) and fully out; or let the ' +
      'check go through the zoom, where the head tells its angle.',
  ],
  [/pan_range|pan_ends/, 'The pan and tilt ranges have to grow: enter the smaller number first.'],
  [/status_age/, 'Enter the age of the status in seconds: 0 to 5.'],
  [/horizontal_fov|vertical_fov/, 'Enter how many degrees wide the picture is: 0.1 to 179.'],
  [/mast_height/, 'Enter the height in metres: 0.5 to 200.'],
  [/zoom_table/, 'In the zoom table positions have to grow from line to line, and degrees to fall.'],
  [/least_delay/, 'Enter the least delay in seconds: 0 to 5.'],
  [/likelihood/, 'Enter the least likelihood as a number from 0 to 1.'],
  [/pixels/, 'Enter width and height in whole pixels.'],
  [/sensor_width/, 'Enter the width of the sensor in millimetres: up to 100.'],
  [/^Say first which camera$/, 'Look at a camera first: step 1.'],
  [/cameras has to be a list of at most/, 'There are four overview cameras at most: remove one first.'],
];

/** What the settings refuse, in the words of the page. */
export function plainTrouble(message) {
  return PLAIN.find(([pattern]) => pattern.test(message))?.[1] ?? message;
}
