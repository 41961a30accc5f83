import assert from 'node:assert/strict';
import test from 'node:test';

import { rowAfter, rowsInSight } from '../../fleet/web/js/rows.js';
import { Sites, statusOf, wordsOf } from '../../fleet/web/js/sites.js';

const site = (name, more = {}) => ({
  name,
  online: 'online',
  silent: false,
  state: 'running',
  following: false,
  alarms: [],
  url: '',
  model: 'k47',
  version: '1.0.0',
  heard: 1000,
  ...more,
});

const names = (list) => list.map((each) => each.name);

test('the worst that can be said of a site is its status', () => {
  const all = { online: 'offline', silent: true, alarms: ['a'], following: true };
  assert.equal(statusOf(site('a', all)), 'gone');
  assert.equal(statusOf(site('a', { ...all, online: 'unknown' })), 'silent');
  assert.equal(statusOf(site('a', { ...all, online: 'online', silent: false })), 'alarm');
  assert.equal(statusOf(site('a', { following: true })), 'following');
  assert.equal(statusOf(site('a')), 'fine');
  assert.equal(statusOf(site('a', { state: 'connecting' })), 'waiting');
});

test('the time of silence goes by the clock of those who tell', () => {
  const sites = new Sites();
  sites.replace({ sites: [], now: 1300 }, 5000);
  const silent = site('a', { silent: true });
  assert.equal(wordsOf(silent, sites.now(5060)), 'silent for 6 min');
  assert.equal(wordsOf(site('a', { state: '' }), 0), 'unknown');
});

test('sites are found by kind and by text, the worst first, then by name', () => {
  const sites = new Sites();
  const told = [
    site('north-2'),
    site('north-1'),
    site('south', { alarms: ['Camera1ANY'] }),
    site('west', { online: 'offline', following: true }),
    site('east', { silent: true, model: 'k99' }),
  ];
  sites.replace({ sites: told, now: 0 }, 0);
  assert.deepEqual(names(sites.list('all', '')), ['west', 'east', 'south', 'north-1', 'north-2']);
  assert.deepEqual(names(sites.list('all', ' NORTH ')), ['north-1', 'north-2']);
  assert.deepEqual(names(sites.list('all', 'k99')), ['east']);
  assert.deepEqual(names(sites.list('gone', '')), ['west', 'east']);
  assert.deepEqual(names(sites.list('alarm', '')), ['south']);
  assert.equal(sites.count('following'), 0);
  assert.equal(sites.count('all'), 5);
});

test('a change replaces its sites only', () => {
  const sites = new Sites();
  sites.replace({ sites: [site('a'), site('b')], now: 0 }, 0);
  sites.change({ sites: [site('b', { following: true })], gone: [], now: 1 }, 1);
  assert.deepEqual(names(sites.list('following', '')), ['b']);
  assert.equal(sites.count('all'), 2);
  assert.equal(sites.get('b').following, true);
  assert.equal(sites.get('c'), undefined);
});

test('a site that is no more leaves the list', () => {
  const sites = new Sites();
  sites.replace({ sites: [site('a'), site('b')], now: 0 }, 0);
  sites.change({ sites: [], gone: ['a', 'never'], now: 1 }, 1);
  assert.deepEqual(names(sites.list('all', '')), ['b']);
  sites.change({ sites: [site('a')], gone: [], now: 2 }, 2);
  assert.equal(sites.count('all'), 2);
});

test('only the rows in sight are there, however many there are', () => {
  assert.deepEqual(rowsInSight(0, 400, 40, 10000), [0, 15]);
  assert.deepEqual(rowsInSight(200000, 400, 40, 10000), [4995, 5015]);
  assert.deepEqual(rowsInSight(399600, 400, 40, 10000), [9985, 10000]);
  assert.deepEqual(rowsInSight(399600, 400, 40, 3), [3, 3]); // until it has scrolled back
  assert.deepEqual(rowsInSight(0, 400, 40, 0), [0, 0]);
});

test('keys lead through the list and not out of it', () => {
  assert.equal(rowAfter('ArrowDown', -1, 10, 100), 0);
  assert.equal(rowAfter('ArrowDown', 99, 10, 100), 99);
  assert.equal(rowAfter('ArrowUp', 0, 10, 100), 0);
  assert.equal(rowAfter('PageDown', 5, 10, 100), 15);
  assert.equal(rowAfter('PageUp', 5, 10, 100), 0);
  assert.equal(rowAfter('End', 5, 10, 100), 99);
  assert.equal(rowAfter('Home', 5, 10, 100), 0);
  assert.equal(rowAfter('a', 5, 10, 100), undefined);
});
