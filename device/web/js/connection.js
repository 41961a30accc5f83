/** The banner: whether the device is reachable and its daemon runs. */

import { byTestId, setText } from './dom.js';

const WORDS = {
  connecting: 'Connecting to the device ...',
  unreachable: 'Device not reachable. Trying again; nothing you have typed is lost.',
  daemonDown: 'Daemon not running. What you have typed stays here until it is back.',
  fine: '',
};

function stateOf({ reachable, daemonRunning }) {
  if (reachable === null) return 'connecting';
  if (!reachable) return 'unreachable';
  return daemonRunning === false ? 'daemonDown' : 'fine';
}

export function showConnection(store) {
  const banner = byTestId('banner');
  const show = () => {
    const state = stateOf(store);
    banner.dataset.state = state;
    setText(banner, WORDS[state]);
  };
  for (const type of ['model', 'reachable', 'daemon']) store.on(type, show);
  show();
}
