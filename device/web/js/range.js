/** Scales of plots. */

import { niceStep } from './geometry.js';

const LEAST_SPAN = 10; // degrees
const STEPS = 4; // wanted, about

/**
 * The range of a plot: everything in it, with round ends.
 * @returns {{low: number, high: number, step: number}} degrees
 */
export function rangeOf(values) {
  const least = values.length ? Math.min(...values) : 0;
  const most = values.length ? Math.max(...values) : 0;
  const missing = Math.max(0, LEAST_SPAN - (most - least)) / 2;
  const step = niceStep((most - least + 2 * missing) / STEPS);
  return {
    low: Math.floor((least - missing) / step) * step || 0, // no negative zero
    high: Math.ceil((most + missing) / step) * step || 0,
    step,
  };
}
