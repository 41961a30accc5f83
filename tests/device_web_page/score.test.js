import assert from 'node:assert/strict';
import { test } from 'node:test';

import { scoreTexts, tuningText } from '../../device/web/js/score.js';

const SCORE = {
  seconds: 100,
  seconds_with_somebody: 40.4,
  detected: 0.955,
  recognised: 0.5,
  identified: 0,
  in_picture: 1,
  rms_deg: 1.26,
  acquisitions: 3,
  acquisition_s: 2.25,
  never: 1,
  changes: 2,
  starts_per_s: 0.126,
  reversals_per_s: 0.5,
  acceleration_rms: 83.4,
  zoom_reversals_per_s: 0,
};

test('a score is told in words', () => {
  assert.deepEqual(scoreTexts(SCORE), {
    'score-seconds': '40 of 100 s',
    'score-detected': '96 %',
    'score-recognised': '50 %',
    'score-identified': '0 %',
    'score-in-picture': '100 %',
    'score-error': '1.3 °',
    'score-acquisition': '2.3 s, never 1 of 3',
    'score-changes': '2',
    'score-starts': '0.13 /s',
    'score-reversals': '0.50 /s',
    'score-acceleration': '83 °/s²',
    'score-zoom-reversals': '0.00 /s',
  });
});

test('what there was no time for is no number', () => {
  const texts = scoreTexts({
    ...SCORE,
    detected: null,
    in_picture: null,
    rms_deg: null,
    acquisitions: 0,
    acquisition_s: null,
    never: 0,
  });
  for (const id of ['score-detected', 'score-in-picture', 'score-error', 'score-acquisition']) {
    assert.equal(texts[id], '-', id);
  }
});

test('a tuning that did not succeed is told', () => {
  const tuning = { attempts: 3, failed_attempts: 3, succeeded: false };
  assert.match(tuningText(tuning), /did not succeed/);
});

test('a head that was identified all the same is not told to lag', () => {
  const tuning = { attempts: 3, failed_attempts: 3, succeeded: false, identified: true };
  assert.match(tuningText(tuning), /identified all the same/);
  assert.doesNotMatch(tuningText(tuning), /lag/);
});

test('a head that could not be identified is told, tuned or not', () => {
  for (const succeeded of [true, false, null]) {
    const tuning = { attempts: 3, failed_attempts: 3, succeeded, identified: false };
    assert.match(tuningText(tuning), /could not be identified/);
  }
});

test('attempts that failed are told while it goes on', () => {
  const tuning = { attempts: 2, failed_attempts: 2, succeeded: null };
  assert.match(tuningText(tuning), /^2 of 2 attempts/);
});

test('a head that is tuned, or needed no tuning, is nothing to tell', () => {
  assert.equal(tuningText({ attempts: 2, failed_attempts: 1, succeeded: true }), '');
  assert.equal(tuningText({ attempts: 1, failed_attempts: 0, succeeded: true, identified: true }), '');
  assert.equal(tuningText({ attempts: 0, failed_attempts: 0, succeeded: null }), '');
});
