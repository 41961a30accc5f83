/** The daemon's API: one request, one answer. */

const ADDRESS = '/api/sentrelvideo';
const DEVICE_ADDRESS = '/api/device';
const TIMEOUT = 15000; // milliseconds; the device itself gives up after 10 s

/** An error of the API ("2004"), the device's server ("HTTP") or the way there ("network"). */
export class ApiError extends Error {
  constructor(code, message) {
    super(message);
    this.code = code;
  }
}

/** What a person is told of an error. */
export function describe(error) {
  return error instanceof ApiError && /^\d+$/.test(error.code)
    ? `${error.message} (${error.code})`
    : error.message;
}

async function answerOf(response) {
  try {
    return await response.json();
  } catch {
    throw new ApiError('network', `The device's answer could not be read (${response.status}).`);
  }
}

/**
 * @param {string} method
 * @param {object} [params]
 * @returns {Promise<object>} "data" of the answer
 * @throws {ApiError}
 */
export function call(method, params) {
  return post(ADDRESS, method, params);
}

/** The same of the device's own settings. */
export function callDevice(method, params) {
  return post(DEVICE_ADDRESS, method, params);
}

async function post(address, method, params) {
  const request = { apiVersion: '1.0', context: 'page', method };
  if (params !== undefined) request.params = params;
  let response;
  try {
    response = await fetch(address, {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify(request),
      signal: AbortSignal.timeout(TIMEOUT),
    });
  } catch {
    throw new ApiError('network', 'The device is not reachable.');
  }
  const answer = await answerOf(response);
  if (answer.error) throw new ApiError(String(answer.error.code), answer.error.message);
  return answer.data ?? {};
}
