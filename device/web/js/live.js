/** The device's live stream. */

const TYPES = [
  'model',
  'daemon',
  'history',
  'following',
  'frame',
  'head',
  'world',
  'event',
  'undeclared',
  'log',
  'score',
];
const AGAIN_AFTER = 2000; // milliseconds

/**
 * Listens for ever; connects again by itself.
 * @param {Record<string, (data: object) => void>} handlers by message type
 * @param {(reachable: boolean) => void} onReachable called when the stream comes or goes
 */
export function listen(handlers, onReachable) {
  const source = new EventSource('/live');
  for (const type of TYPES) {
    source.addEventListener(type, (message) => handlers[type]?.(JSON.parse(message.data)));
  }
  source.addEventListener('open', () => onReachable(true));
  source.addEventListener('error', () => {
    onReachable(false);
    // After some failures a browser gives up.
    if (source.readyState === EventSource.CLOSED) {
      setTimeout(() => listen(handlers, onReachable), AGAIN_AFTER);
    }
  });
  return source;
}
