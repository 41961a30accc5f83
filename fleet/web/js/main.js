import { Rows } from './rows.js';
import { Sites, statusOf, wordsOf } from './sites.js';

const ALARMS_SHOWN = 100;
const REFRESH = 30000; // milliseconds, for the words that tell a time

const byId = (name) => document.querySelector(`[data-testid="${name}"]`);
const here = () => Date.now() / 1000;

const sites = new Sites();
const rows = new Rows(byId('sites'), fillRow, openSite);
let isDrawn = false;

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

function alarmRow(alarm) {
  const item = document.createElement('li');
  item.dataset.testid = 'alarm';
  item.dataset.site = alarm.site;
  const time = document.createElement('time');
  time.dateTime = alarm.time;
  time.textContent = alarm.time.slice(0, 19).replace('T', ' ');
  const words = `${alarm.site}: ${alarm.nice || alarm.alarm} ${alarm.active ? 'begins' : 'ends'}`;
  item.append(time, ` ${words}`);
  return item;
}

function draw() {
  isDrawn = false;
  for (const kind of ['all', 'gone', 'alarm', 'following']) {
    setText(byId(`count-${kind}`), String(sites.count(kind)));
  }
  const list = sites.list(byId('show').value, byId('search').value);
  setText(byId('shown'), `${list.length} shown`);
  rows.items = list;
  byId('last-alarms').replaceChildren(...sites.alarms.slice(0, ALARMS_SHOWN).map(alarmRow));
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

// What changes while everything is on its way is put on top of it.
function listen() {
  let waiting = [];
  const stream = new EventSource('changes');
  stream.addEventListener('begin', async () => {
    waiting = [];
    try {
      const told = await (await fetch('sites')).json();
      sites.replace(told, here());
      waiting.forEach((change) => sites.change(change, here()));
      waiting = undefined;
      tell('fine', 'connected');
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
      sites.change(change, here());
      drawSoon();
    }
  });
  stream.addEventListener('error', () => tell('lost', 'connection lost'));
}

document.querySelector('form').addEventListener('submit', (event) => event.preventDefault());
byId('search').addEventListener('input', drawSoon);
byId('show').addEventListener('change', drawSoon);
setInterval(drawSoon, REFRESH);
listen();
