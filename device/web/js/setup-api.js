/** The set-up of cameras and head: POST /api/setup. */

const TIMEOUT = 10000; // milliseconds

/**
 * @param {string} method
 * @param {object} [params]
 * @returns {Promise<object>} "data" of the answer
 */
export async function callSetUp(method, params = {}) {
  let response;
  try {
    response = await fetch('/api/setup', {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify({ method, params }),
      signal: AbortSignal.timeout(TIMEOUT),
    });
  } catch {
    throw new Error('The device is not reachable.');
  }
  if (response.status === 404) throw new Error('This device has its own cameras.');
  let answer;
  try {
    answer = await response.json();
  } catch {
    throw new Error(`The device's answer could not be read (${response.status}).`);
  }
  if (answer.error) throw new Error(answer.error.message);
  return answer.data;
}
