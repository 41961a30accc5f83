import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  placeOfFormerMiddle,
  rangeTimes,
  rangesOfSight,
  scaleOfSight,
  wordsOfSight,
} from '../../device/web/js/setup-sight.js';

const SQUARE = { width: 1000, height: 1000 };
const WIDE = { width: 1600, height: 900 };
const isNear = (is, ought, most = 1e-6) => assert.ok(Math.abs(is - ought) < most, `${is}, not ${ought}`);

test('the former middle lies where the head came from', () => {
  // To the right by 10 degrees: to the left by tan(10) of tan(30).
  const right = placeOfFormerMiddle({ pan: 0, tilt: 0 }, { pan: 10, tilt: 0 }, 60, SQUARE);
  isNear(right.x, -0.305407, 1e-6);
  isNear(right.y, 0);
  // Up by 10 degrees: down by as much; the picture's height is 9 of 16.
  const up = placeOfFormerMiddle({ pan: 0, tilt: -5 }, { pan: 0, tilt: 5 }, 60, WIDE);
  isNear(up.x, 0);
  isNear(up.y, (-0.305407 * 16) / 9, 1e-5);
});

// What a head that turns so many times as far sees; by the picture's own projection.
function seenBy(times, { from, to, fieldAngle }) {
  const turned = ({ pan, tilt }) => ({ pan: pan * times.pan, tilt: tilt * times.tilt });
  return placeOfFormerMiddle(turned(from), turned(to), fieldAngle, WIDE);
}

test('where it really lies tells both scales, also far from the horizon', () => {
  for (const sight of [
    { from: { pan: 10, tilt: -20 }, to: { pan: 0, tilt: -10 }, fieldAngle: 60 },
    { from: { pan: -40, tilt: -55 }, to: { pan: -30, tilt: -45 }, fieldAngle: 60 },
    { from: { pan: 3, tilt: 12 }, to: { pan: 2.2, tilt: 11.2 }, fieldAngle: 4 },
  ]) {
    for (const times of [
      { pan: 1, tilt: 1 },
      { pan: 0.9, tilt: 1.04 },
      { pan: 1.2, tilt: 0.93 },
    ]) {
      const found = scaleOfSight(sight, seenBy(times, sight), WIDE);
      isNear(found.pan, times.pan, 1e-6);
      isNear(found.tilt, times.tilt, 1e-6);
    }
  }
});

test('a turn across the seam of a circle is a small one', () => {
  const sight = { from: { pan: 176, tilt: 0 }, to: { pan: -174, tilt: 0 }, fieldAngle: 60 };
  const place = placeOfFormerMiddle({ pan: 0, tilt: 0 }, { pan: 9, tilt: 0 }, 60, WIDE);
  isNear(scaleOfSight(sight, place, WIDE).pan, 0.9);
  assert.equal(scaleOfSight(sight, place, WIDE).tilt, 1);
});

test('of a pan that looks straight down no scale is told, nor of one that turned the other way', () => {
  const down = { from: { pan: 0, tilt: -85 }, to: { pan: 10, tilt: -78 }, fieldAngle: 60 };
  assert.equal(scaleOfSight(down, seenBy({ pan: 1, tilt: 1 }, down), WIDE).pan, null);
  const level = { from: { pan: 0, tilt: 0 }, to: { pan: 10, tilt: 0 }, fieldAngle: 60 };
  assert.equal(scaleOfSight(level, { x: 0.3, y: 0 }, WIDE).pan, null);
});

test('a range grows about its zero', () => {
  assert.deepEqual(rangeTimes([-180, 180], 0.95), [-171, 171]);
  assert.deepEqual(rangeTimes([-90, 20], 1.111), [-100, 22.2]);
});

test('told ranges are corrected, and what is not told stays so', () => {
  const scale = { pan: 0.95, tilt: 1.1 };
  assert.deepEqual(rangesOfSight({ pan_range: [-180, 180], tilt_range: [-90, 20] }, scale), {
    pan_range: [-171, 171],
    tilt_range: [-99, 22],
  });
  assert.deepEqual(rangesOfSight({ pan_range: [-180, 180] }, { pan: null, tilt: 1 }), {});
  assert.match(wordsOfSight(scale), /its pan 0\.950 times, its tilt 1\.100 times/);
  assert.match(wordsOfSight(null), /once more/);
});
