import { keyOf } from './alarms.js';
import { Histories } from './histories.js';
import { Rows } from './rows.js';
import { Sites, statusOf, wordsOf } from './sites.js';

const REFRESH = 30000; // milliseconds, for the words that tell a time

const byId = (name) => document.querySelector(`[data-testid="${name}"]`);
const here = () => Date.now() / 1000;

const sites = new Sites();
const rows = new Rows(byId('sites'), fillRow, openSite);
const histories = new Histories(drawSoon);
let isDrawn = false;
let drawnAlarms = '';

function part(row, name) {
  let element = row.querySelector(`.${name}`);
  if (!element) {
    element = document.createElement('span');
    element.className = name;
    row.append(element);
  }
  return element;
}

function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

function fillRow(row, site) {
  row.dataset.testid = `site-${site.name}`;
  row.dataset.status = statusOf(site);
  row.title = site.url;
  setText(part(row, 'name'), site.name);
  setText(part(row, 'status'), wordsOf(site, sites.now(here())));
  setText(part(row, 'more'), [site.alarms.join(' '), site.model, site.version].filter(Boolean).join(' · '));
}

// The address is http or https: whoever serves this page has seen to it.
function openSite(site) {
  if (site.url) {
    window.open(site.url, '_blank', 'noopener');
  }
}

/** Leads to the site's own page, where that is known. */
function alarmRow(alarm) {
  const url = sites.get(alarm.site)?.url;
  const row = document.createElement(url ? 'a' : 'div');
  if (url) {
    Object.assign(row, { href: url, target: '_blank', rel: 'noopener' });
  }
  row.dataset.key = keyOf(alarm);
  const time = document.createElement('time');
  time.dateTime = alarm.time;
  time.textContent = alarm.time.slice(0, 19).replace('T', ' ');
  const words = `${alarm.site}: ${alarm.nice || alarm.alarm} ${alarm.active ? 'begins' : 'ends'}`;
  row.append(time, ` ${words}`);
  const item = document.createElement('li');
  item.dataset.testid = 'alarm';
  item.dataset.site = alarm.site;
  item.append(row);
  return item;
}

/** Made anew only when it changes, and who is at one of them stays there. */
function drawAlarms() {
  const wanted = byId('alarm-search').value.trim();
  histories.choose(sites.get(wanted) ? wanted : '');
  const list = histories.shown.list(byId('alarm-search').value);
  setText(byId('alarms-since'), histories.words);
  const signature = JSON.stringify(list.map((alarm) => [alarm, sites.get(alarm.site)?.url]));
  if (signature === drawnAlarms) {
    return;
  }
  drawnAlarms = signature;
  const box = byId('last-alarms');
  const focused = box.contains(document.activeElement) && document.activeElement.dataset.key;
  box.replaceChildren(...list.map(alarmRow));
  if (focused) {
    box.querySelector(`[data-key="${CSS.escape(focused)}"]`)?.focus({ preventScroll: true });
  }
}

function draw() {
  isDrawn = false;
  for (const kind of ['all', 'gone', 'alarm', 'following']) {
    setText(byId(`count-${kind}`), String(sites.count(kind)));
  }
  const list = sites.list(byId('show').value, byId('search').value);
  setText(byId('shown'), `${list.length} shown`);
  rows.items = list;
  drawAlarms();
}

function drawSoon() {
  if (!isDrawn) {
    isDrawn = true;
    requestAnimationFrame(draw);
  }
}

function tell(state, words) {
  byId('link').dataset.state = state;
  setText(byId('link'), words);
}

function take(change) {
  sites.change(change, here());
  histories.add(change.alarms);
}

// What changes while everything is on its way is put on top of it.
function listen() {
  let waiting = [];
  const stream = new EventSource('changes');
  stream.addEventListener('begin', async () => {
    waiting = [];
    try {
      const told = await (await fetch('sites')).json();
      sites.replace(told, here());
      histories.add(told.alarms);
      waiting.forEach(take);
      waiting = undefined;
      tell('fine', 'connected');
      histories.readAgain();
      drawSoon();
    } catch {
      tell('lost', 'the fleet cannot be read');
    }
  });
  stream.addEventListener('changes', (event) => {
    const change = JSON.parse(event.data);
    if (waiting) {
      waiting.push(change);
    } else {
      take(change);
      drawSoon();
    }
  });
  stream.addEventListener('error', () => tell('lost', 'connection lost'));
}

const SEARCHES = { search: 'search', show: 'show', alarms: 'alarm-search' }; // by name in the address

/** Who loads the page again finds what was searched for. */
function recall() {
  for (const [name, value] of new URLSearchParams(location.search)) {
    if (SEARCHES[name]) {
      byId(SEARCHES[name]).value = value;
    }
  }
}

function search() {
  const searched = new URLSearchParams();
  for (const [name, id] of Object.entries(SEARCHES)) {
    const { value } = byId(id);
    if (value && value !== 'all') {
      searched.set(name, value);
    }
  }
  history.replaceState(null, '', searched.size ? `?${searched}` : location.pathname);
  drawSoon();
}

for (const form of document.querySelectorAll('form')) {
  form.addEventListener('submit', (event) => event.preventDefault());
  form.addEventListener('input', search);
}
setInterval(drawSoon, REFRESH);
recall();
listen();
