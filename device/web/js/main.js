/** Puts the page together. */

import { VisualConfirmation } from './confirmation.js';
import { showConnection } from './connection.js';
import { byTestId } from './dom.js';
import { EditorState } from './editor-state.js';
import { Editor } from './editor.js';
import { FollowingPanel } from './following.js';
import { HeadView } from './head-view.js';
import { listen } from './live.js';
import { EventList, LogList } from './log.js';
import { PlaceMap } from './map.js';
import { Numbers } from './numbers.js';
import { OverviewPictures } from './overview.js';
import { HistoryPlot } from './plot.js';
import { ScorePanel } from './score.js';
import { Store } from './store.js';
import { TrackingControls } from './tracking.js';

const CALM = 500; // milliseconds between drawings for those who want little motion

const store = new Store();
const state = new EditorState();
const pictures = new OverviewPictures(byTestId('overviews'), store, state);
const confirmation = new VisualConfirmation(store, state, pictures);
const views = [
  pictures,
  new HeadView(byTestId('head-view'), store),
  new PlaceMap(byTestId('map'), store),
  new HistoryPlot(byTestId('plot'), store),
  new Numbers(store),
  new ScorePanel(store),
  new FollowingPanel(store),
  new LogList(store),
  new EventList(store),
];
const calm = matchMedia('(prefers-reduced-motion: reduce)');
let isDue = false;
let drawnAt = -Infinity;

function draw(now) {
  requestAnimationFrame(draw);
  if (!isDue || (calm.matches && now - drawnAt < CALM)) return;
  isDue = false;
  drawnAt = now;
  for (const view of views) view.draw();
}

const drawSoon = () => {
  isDue = true;
};
for (const type of ['model', 'history', 'following', 'frame', 'head', 'world', 'event', 'log', 'score']) {
  store.on(type, drawSoon);
}
for (const view of views) view.button?.addEventListener('click', drawSoon);
addEventListener('resize', drawSoon);

showConnection(store);
new TrackingControls(store);
new Editor(store, state, confirmation);
listen(store.handlers(), (reachable) => store.setReachable(reachable));
requestAnimationFrame(draw);
