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

/** Leaves out what is not said: the measured, or what the head tells itself, counts there. */
export function toldOfHead(fields) {
  const told = {
    field_angles: pairOf(fields.fieldIn, fields.fieldOut),
    pan_range: pairOf(fields.panLow, fields.panHigh),
    tilt_range: pairOf(fields.tiltLow, fields.tiltHigh),
    sensor_width: Number.isFinite(fields.sensorWidth) ? fields.sensorWidth : undefined,
    invert_pan: fields.invertPan || undefined,
    invert_tilt: fields.invertTilt || undefined,
  };
  return Object.fromEntries(Object.entries(told).filter(([, value]) => value !== undefined));
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

/** The fields of the head's step, by test id, as its settings fill them. */
export function fieldsOfHead(head) {
  const [fieldIn, fieldOut] = head.field_angles ?? [];
  const [panLow, panHigh] = head.pan_range ?? [];
  const [tiltLow, tiltHigh] = head.tilt_range ?? [];
  const numbers = {
    'head-field-in': fieldIn,
    'head-field-out': fieldOut,
    'head-pan-low': panLow,
    'head-pan-high': panHigh,
    'head-tilt-low': tiltLow,
    'head-tilt-high': tiltHigh,
    'head-sensor-width': head.sensor_width,
  };
  return {
    ...Object.fromEntries(Object.entries(numbers).map(([id, value]) => [id, value ?? ''])),
    'head-invert-pan': head.invert_pan ?? false,
    'head-invert-tilt': head.invert_tilt ?? false,
    ...(head.profile ? { 'head-profile': head.profile } : {}),
  };
}

/** Those of an overview camera; of one that is new without it. */
export function fieldsOfCamera(camera) {
  return {
    'camera-name': camera?.name ?? 'Overview',
    'camera-angle': camera ? roundedAngle(camera.horizontal_fov) : 60,
  };
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
    const isFixed = camera?.profiles.some(({ head, picture }) => picture && !head);
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
  [/pan_range/, 'The pan and tilt ranges have to grow: enter the smaller number first.'],
  [/horizontal_fov|vertical_fov/, 'Enter how many degrees wide the picture is: 0.1 to 179.'],
  [/mast_height/, 'Enter the height in metres: 0.5 to 200.'],
  [/sensor_width/, 'Enter the width of the sensor in millimetres: up to 100.'],
  [/^Say first which camera$/, 'Look at a camera first: step 1.'],
  [/cameras has to be a list of at most/, 'There are four overview cameras at most: remove one first.'],
];

/** What the settings refuse, in the words of the page. */
export function plainTrouble(message) {
  return PLAIN.find(([pattern]) => pattern.test(message))?.[1] ?? message;
}
