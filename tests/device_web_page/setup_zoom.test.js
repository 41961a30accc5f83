import assert from 'node:assert/strict';
import { test } from 'node:test';

import { angleOfMarks, isSameZoom, withRow } from '../../device/web/js/setup-zoom.js';

const radians = (degrees) => (degrees * Math.PI) / 180;
const degrees = (radian) => (radian * 180) / Math.PI;

/** A place of the picture in the world, turned about the axes one after the other. */
function directionSeen({ pan, tilt }, [x, z], fieldAngle) {
  const t = Math.tan(radians(fieldAngle / 2));
  const [right, forward, up] = [x * t, 1, z * t];
  const [ahead, height] = [
    forward * Math.cos(radians(tilt)) - up * Math.sin(radians(tilt)),
    forward * Math.sin(radians(tilt)) + up * Math.cos(radians(tilt)),
  ];
  const bearing = pan + degrees(Math.atan2(right, ahead));
  return { bearing, rise: degrees(Math.atan2(height, Math.hypot(right, ahead))) };
}

/** Where the head looks that sees a thing of this direction at 10 % or 90 % of the width. */
function lookTo(thing, place, fieldAngle, zoom = 0.5) {
  let [low, high] = [-89, 89];
  for (let i = 0; i < 60; ++i) {
    const tilt = (low + high) / 2;
    if (directionSeen({ pan: 0, tilt }, place, fieldAngle).rise < thing.rise) low = tilt;
    else high = tilt;
  }
  const pan = thing.bearing - directionSeen({ pan: 0, tilt: low }, place, fieldAngle).bearing;
  return { pan: ((((pan + 180) % 360) + 360) % 360) - 180, tilt: low, zoom };
}

function measured(thing, fieldAngle, above = 0) {
  return angleOfMarks(
    lookTo(thing, [-0.8, above], fieldAngle),
    lookTo(thing, [0.8, -above], fieldAngle),
  );
}

const isNear = (is, ought) => assert.ok(Math.abs(is - ought) < 1e-6, `${is}, not ${ought}`);

test('the angle across the whole picture is exact, wide or narrow, level or tilted', () => {
  for (const rise of [0, -12, -35, 18]) {
    for (const field of [2.5, 20, 63.4, 100]) {
      isNear(measured({ bearing: 10, rise }, field).angle, field);
    }
  }
});

test('a turn across the seam of a circle is a small one', () => {
  isNear(measured({ bearing: 179, rise: -20 }, 40).angle, 40);
});

test('by hand: level and 60 wide, it turns by twice the angle whose tangent is 0.8 of that of 30', () => {
  const half = 24.791281; // degrees
  isNear(angleOfMarks({ pan: half, tilt: 0, zoom: 1 }, { pan: -half, tilt: 0, zoom: 1 }).angle, 60);
});

test('a thing that was as far above the middle as below it counts with its tilt', () => {
  for (const above of [0.05, -0.12]) {
    isNear(measured({ bearing: 0, rise: -25 }, 50, above).angle, 50);
    isNear(measured({ bearing: 0, rise: 5 }, 8, above).angle, 8);
  }
});

test('what cannot be is refused with its reason', () => {
  const at = (pan, tilt = 0, zoom = 0) => ({ pan, tilt, zoom });
  for (const [left, right, why] of [
    [at(5), at(5), /not moved/],
    [at(0.2), at(-0.2), /less than half a degree/],
    [at(-10), at(10), /the other way/],
    [at(10, 0), at(-10, 8), /up or down/],
    [at(3, 9), at(3, -9), /up or down/],
    [at(10, -70), at(-10, -70), /nearer to the horizon/],
    [at(60), at(-60), /130 degrees cannot be/],
    [at(10, 0, 0.2), at(-10, 0, 0.25), /begin anew/],
  ]) {
    const found = angleOfMarks(left, right);
    assert.equal(found.angle, undefined, JSON.stringify([left, right]));
    assert.match(found.refusal, why);
  }
});

test('a line joins the table in its order, and takes the place of an old one', () => {
  assert.deepEqual(withRow('', 0, 63.4001), { text: '0 63.4' });
  assert.deepEqual(withRow('0 63.4\n1 2.5', 0.50001, 20.12345), { text: '0 63.4\n0.5 20.123\n1 2.5' });
  assert.deepEqual(withRow('0 63.4\n0.501 19\n1 2.5', 0.5, 20), { text: '0 63.4\n0.5 20\n1 2.5' });
  assert.deepEqual(withRow('4.3, 60\n120; 2.5', 119.8, 2.6), { text: '4.3 60\n119.8 2.6' });
});

test('a line that does not fall is refused, and so is a table that cannot be read', () => {
  assert.match(withRow('0 63.4\n1 2.5', 0.5, 70).refusal, /70 degrees at 0\.5 do not fit/);
  assert.match(withRow('0 63.4\n1 2.5', 0.5, 2.5).refusal, /do not fit/);
  assert.throws(() => withRow('0 wide', 0.5, 20), /Enter a zoom position/);
});

test('noise of the zoom is no other zoom', () => {
  assert.ok(isSameZoom(0, 0.001) && isSameZoom(120, 120.5));
  assert.ok(!isSameZoom(0.1, 0.11) && !isSameZoom(4.3, 4.4));
});
