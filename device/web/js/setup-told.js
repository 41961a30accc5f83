/** What the set-up's fields say, in the words of the settings. */

const degreesOf = (radians) => (radians * 180) / Math.PI;
const radiansOf = (degrees) => (degrees * Math.PI) / 180;

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

export function toldOfCamera({ name, angle }, { width, height }) {
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
