/** The device's part in a calibration. */

const TIMEOUT = 5000; // milliseconds

async function post(path, body) {
  let response;
  try {
    response = await fetch(path, {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify(body),
      signal: AbortSignal.timeout(TIMEOUT),
    });
  } catch {
    throw new Error('The device is not reachable.');
  }
  let answer;
  try {
    answer = await response.json();
  } catch {
    throw new Error(`The device's answer could not be read (${response.status}).`);
  }
  if (answer.error) throw new Error(answer.error.message);
  return answer;
}

/** @returns {Promise<{data?: object, refusal?: object}>} */
export const solve = (request) => post('/api/calibration', request);

/** @param {{pan: number, tilt: number, zoom?: number}} speeds per cent */
export const moveHead = (speeds) => post('/api/calibration/head', speeds);
