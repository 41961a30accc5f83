import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  adviceOf,
  fieldsOfCamera,
  fieldsOfHead,
  headAddress,
  indexOfCamera,
  isCleared,
  nextStep,
  pairOf,
  picturesOf,
  plainTrouble,
  toldOfCalibration,
  toldOfCamera,
  toldOfHead,
  toldOfObjects,
  toldOfZoomTable,
  verticalAngle,
  wordsOfObjects,
} from '../../device/web/js/setup-told.js';

const EMPTY = {
  fieldIn: NaN,
  fieldOut: NaN,
  panLow: NaN,
  panHigh: NaN,
  tiltLow: NaN,
  tiltHigh: NaN,
  sensorWidth: NaN,
  invertPan: false,
  invertTilt: false,
  homePan: NaN,
  homeTilt: NaN,
  panEndLow: NaN,
  panEndHigh: NaN,
  tiltEndLow: NaN,
  tiltEndHigh: NaN,
  zoomUnit: '',
  product: '',
  statusAge: NaN,
  metadata: true,
};

test('a pair needs both of its numbers', () => {
  assert.deepEqual(pairOf(2.5, 63.4), [2.5, 63.4]);
  assert.equal(pairOf(NaN, 63.4), undefined);
  assert.equal(pairOf(2.5, NaN), undefined);
});

const ALWAYS = { invert_pan: false, invert_tilt: false, metadata: true };

test('what was never entered is left to what was measured', () => {
  assert.deepEqual(toldOfHead(EMPTY, {}), ALWAYS);
  const entered = { tiltLow: -90, tiltHigh: 20, invertPan: true, homePan: 10, homeTilt: -5 };
  assert.deepEqual(toldOfHead({ ...EMPTY, ...entered }, {}), {
    ...ALWAYS,
    tilt_range: [-90, 20],
    invert_pan: true,
    home: [10, -5],
  });
});

test('what is cleared is taken away from the head, but for angles that a check has found', () => {
  const former = { field_angles: [3, 60], pan_range: [-90, 90], product: 'Gate', zoom_unit: 'generic' };
  const cleared = { field_angles: null, pan_range: null, product: null, zoom_unit: null };
  assert.deepEqual(toldOfHead(EMPTY, former), { ...ALWAYS, ...cleared });
  const found = { field_angles: [2.5, 63.4], pan_range: [-85, 85] };
  const { field_angles: taken, ...others } = toldOfHead(EMPTY, former, found);
  assert.equal(taken, undefined);
  assert.equal(others.pan_range, null);
});

test('what is rarely needed of a head is told and filled in', () => {
  const entered = {
    panEndLow: -80,
    panEndHigh: 85,
    zoomUnit: 'millimetres',
    product: ' Gate ',
    statusAge: 0.2,
    metadata: false,
  };
  const told = toldOfHead({ ...EMPTY, ...entered }, {});
  assert.deepEqual(told, {
    ...ALWAYS,
    pan_ends: [-80, 85],
    zoom_unit: 'millimetres',
    product: 'Gate',
    status_age: 0.2,
    metadata: false,
  });
  const fields = fieldsOfHead(told);
  assert.equal(fields['head-pan-end-high'], 85);
  assert.equal(fields['head-zoom-unit'], 'millimetres');
  assert.equal(fields['head-product'], 'Gate');
  assert.equal(fields['head-status-age'], 0.2);
  assert.equal(fields['head-metadata'], false);
  assert.equal(fieldsOfHead({})['head-metadata'], true);
});

test('a zoom table is told when it is another one than is kept', () => {
  const table = [
    [0, 60],
    [0.5, 20],
  ];
  assert.deepEqual(toldOfZoomTable('0 60\n0.5 20\n', table), {});
  assert.deepEqual(toldOfZoomTable('', undefined), {});
  assert.deepEqual(toldOfZoomTable('', table), { zoom_table: null });
  assert.deepEqual(toldOfZoomTable(' 0, 60\n\n1 3', table), {
    zoom_table: [
      [0, 60],
      [1, 3],
    ],
  });
  assert.throws(() => toldOfZoomTable('0 60 1', table), /in each line/);
  assert.throws(() => toldOfZoomTable('wide 60', table), /in each line/);
  assert.equal(fieldsOfHead({ zoom_table: table })['head-zoom-table'], '0 60\n0.5 20');
});

test('how objects are understood is told, and taken away when it is cleared', () => {
  const empty = { pixelsWide: NaN, pixelsHigh: NaN, classes: '', likelihood: NaN, leastDelay: NaN };
  const nothing = { pixels: null, classes: null, likelihood: null, least_delay: null };
  assert.deepEqual(toldOfObjects(empty), nothing);
  const told = toldOfObjects({
    pixelsWide: 640,
    pixelsHigh: 360,
    classes: 'Human, Vehicle,',
    likelihood: 0.4,
    leastDelay: 0.25,
  });
  const known = { pixels: [640, 360], classes: ['Human', 'Vehicle'], likelihood: 0.4, least_delay: 0.25 };
  assert.deepEqual(told, known);
  const fields = fieldsOfCamera({ ...GATE, ...known, horizontal_fov: 60 });
  assert.equal(fields['camera-pixels-high'], 360);
  assert.equal(fields['camera-classes'], 'Human, Vehicle');
  assert.equal(fields['camera-likelihood'], 0.4);
  assert.equal(fields['camera-least-delay'], 0.25);
});

test('a fixed camera with a zoom by motor is an overview camera, the head is none', () => {
  const [head, zoom, plain] = [
    { token: 'head', head: true, picture: true },
    { token: 'zoom', head: true, picture: true },
    { token: 'plain', head: false, picture: true },
  ];
  const sound = { token: 'sound', head: false, picture: false };
  const tokens = (profiles, settings) =>
    picturesOf({ address: GATE.address, profiles }, settings).map(({ token }) => token);
  assert.deepEqual(tokens([zoom, plain, sound], { head: HEAD }), ['plain', 'zoom']);
  assert.deepEqual(tokens([head, plain], { head: { ...HEAD, address: GATE.address } }), ['plain']);
});

test('the angle from bottom to top follows from the picture', () => {
  assert.ok(Math.abs(verticalAngle(90, 100, 100) - 90) < 1e-9);
  // tan(45 degrees) * 9 / 16 = 0.5625, whose angle is 29.3578 degrees, twice
  assert.ok(Math.abs(verticalAngle(90, 1600, 900) - 58.7155) < 1e-3);
});

test('a camera that does not tell its picture has 16 to 9', () => {
  const told = toldOfCamera({ name: 'Gate', angle: 90 }, { width: 0, height: 0 });
  assert.equal(told.name, 'Gate');
  assert.equal(told.horizontal_fov, 90);
  assert.ok(Math.abs(told.vertical_fov - 58.7155) < 1e-3);
});

test('a calibration is kept whole', () => {
  const found = { pan: 1, tilt: 2, roll: 3, hfov: 4, vfov: 5, distortion: 6, offset_x_m: 7, offset_y_m: 8 };
  assert.deepEqual(toldOfCalibration(found), {
    pan: 1,
    tilt: 2,
    roll: 3,
    horizontal_fov: 4,
    vertical_fov: 5,
    distortion: 6,
    offset_x: 7,
    offset_y: 8,
  });
});

test('metadata that are off are told apart from a camera without analytics', () => {
  assert.equal(adviceOf({ objects: true, analytics: true }), '');
  assert.match(adviceOf({ objects: false, analytics: true }), /off in its metadata/);
  assert.match(adviceOf({ objects: false, analytics: false }), /in the camera itself/);
  assert.equal(adviceOf(undefined), '');
});

const HEAD = { address: 'http://10.0.0.1/onvif/device_service', profile: 'head' };
const GATE = { address: 'http://10.0.0.2:81/onvif/device_service', profile: 'one', name: 'Gate' };
const moving = {
  running: false,
  address: HEAD.address,
  profiles: [{ head: true, picture: true }],
};
const fixed = { running: false, profiles: [{ head: false, picture: true }] };

test('what is to be done next follows from what there is', () => {
  const next = (settings, camera = null, check = null) => nextStep({ settings, camera, check });
  assert.match(next({}), /look at the camera that has the head \(1\)/);
  assert.match(next({}, { running: true, profiles: [] }), /is being asked/);
  assert.match(next({}, fixed), /that has the head/);
  assert.match(next({}, moving), /that it is the head \(2\)/);
  assert.match(next({}, moving, { running: true }), /is being checked/);
  assert.match(next({ head: HEAD }, moving), /look at an overview camera \(1\)/);
  assert.match(next({ head: HEAD }, fixed), /this is an overview camera \(3\)/);
  assert.match(next({ head: HEAD, cameras: [GATE] }), /calibrate Gate \(4\)/);
  assert.match(next({ head: HEAD, cameras: [{ ...GATE, tilt: -20 }] }), /are set up/);
});

test('a camera is known by its address and profile', () => {
  assert.equal(indexOfCamera({}, GATE.address, 'one'), -1);
  assert.equal(indexOfCamera({ cameras: [HEAD, GATE] }, GATE.address, 'one'), 1);
  assert.equal(indexOfCamera({ cameras: [GATE] }, GATE.address, 'two'), -1);
  assert.equal(headAddress(GATE), '10.0.0.2:81');
});

test('fields are filled by the settings, and emptied for another camera', () => {
  const fields = fieldsOfHead({ ...HEAD, field_angles: [2.5, 63.4], invert_tilt: true });
  assert.equal(fields['head-field-in'], 2.5);
  assert.equal(fields['head-field-out'], 63.4);
  assert.equal(fields['head-pan-low'], '');
  assert.equal(fields['head-invert-tilt'], true);
  assert.equal(fields['head-profile'], 'head');
  assert.equal(fieldsOfHead({})['head-field-in'], '');
  assert.equal(fieldsOfHead({})['head-invert-tilt'], false);
});

test('a name that is changed leaves the calibration as it is', () => {
  const known = { ...GATE, horizontal_fov: 81.98765, vertical_fov: 51 };
  const picture = { width: 1600, height: 900 };
  const fields = fieldsOfCamera(known);
  assert.equal(fields['camera-angle'], 81.99);
  const unchanged = { name: 'Door', angle: fields['camera-angle'] };
  assert.deepEqual(toldOfCamera(unchanged, picture, known), { name: 'Door' });
  assert.equal(toldOfCamera({ name: 'Door', angle: 60 }, picture, known).horizontal_fov, 60);
  assert.equal(fieldsOfCamera(undefined)['camera-name'], 'Overview');
  assert.equal(fieldsOfCamera(undefined)['camera-angle'], 60);
});

test('objects are told as they come, of a camera that is taken', () => {
  assert.match(wordsOfObjects(0, undefined), /once it is an overview camera/);
  assert.match(wordsOfObjects(1, undefined), /no objects yet/);
  assert.equal(wordsOfObjects(1, [{}]), 'It tells 1 object now.');
  assert.equal(wordsOfObjects(2, []), 'It tells 0 objects now.');
});

test('what the settings refuse is told in plain words', () => {
  const told = plainTrouble(
    'cameras.json: head.field_angles has to be the angles fully in and fully out, in degrees',
  );
  assert.match(told, /^Enter how many degrees wide/);
  assert.match(plainTrouble('cameras.json: mast_height has to be a number'), /in metres/);
  assert.match(plainTrouble('Say first which camera'), /step 1/);
  assert.equal(plainTrouble('The disk is full'), 'The disk is full');
});

test('ends that are reached empty their fields, and no others', () => {
  const found = { pan_ends: null, tilt_ends: [-90, 15] };
  assert.equal(isCleared(found, 'head-pan-end-low'), true);
  assert.equal(isCleared(found, 'head-pan-end-high'), true);
  assert.equal(isCleared(found, 'head-tilt-end-low'), false);
  assert.equal(isCleared(found, 'head-pan-low'), false);
  assert.equal(isCleared({}, 'head-pan-end-low'), false);
});
