import assert from 'node:assert/strict';
import { test } from 'node:test';

import { safeStyle, safeTree, withoutStyleAttributes } from '../../device/web/js/svg-frame.js';

const element = (localName, attributes = {}, ...childNodes) => ({
  nodeType: 1,
  localName,
  attributes: Object.entries(attributes).map(([name, value]) => ({ name, value })),
  childNodes,
});

const STYLE = 'fill:#FF0000;fill-opacity:0.200000;stroke:#FF0000;stroke-width:0.005000;';

test("the daemon's drawing passes whole", () => {
  const drawing = element(
    'svg',
    { version: '1.1', width: '100%', viewBox: '-1 -1 2 2', preserveAspectRatio: 'none' },
    element(
      'g',
      { transform: 'matrix(1 0 0 -1 0 0) matrix(1.0000 0.0000 0.0000 1.0000 0.0000 0.0000 )' },
      element('polygon', {
        class: 'object',
        points: ' -0.500,0.250 0.125,1.000 0.000,-1.000',
        style: STYLE,
      }),
    ),
  );
  const safe = safeTree(drawing);
  assert.equal(safe.name, 'svg');
  assert.deepEqual(Object.fromEntries(safe.attributes).viewBox, '-1 -1 2 2');
  const [group] = safe.children;
  assert.match(group.attributes[0][1], /^matrix\(1 0 0 -1 0 0\) matrix\(/);
  const [polygon] = group.children;
  assert.deepEqual(polygon.attributes, [
    ['class', 'object'],
    ['points', ' -0.500,0.250 0.125,1.000 0.000,-1.000'],
  ]);
  assert.deepEqual(polygon.style, [
    ['fill', '#FF0000'],
    ['fill-opacity', '0.200000'],
    ['stroke', '#FF0000'],
    ['stroke-width', '0.005000'],
  ]);
});

test('scripts, images, links and styles are left out with what is in them', () => {
  for (const name of ['script', 'foreignObject', 'image', 'a', 'style', 'use', 'animate', 'set']) {
    const tree = safeTree(element('svg', {}, element(name, {}, element('polygon'))));
    assert.deepEqual(tree.children, [], name);
  }
  assert.equal(safeTree(element('html')), null);
});

test('event handlers and references are left out', () => {
  const hostile = {
    onload: 'alert(1)',
    onclick: 'x',
    href: 'http://x',
    'xlink:href': 'x',
    id: 'a',
  };
  assert.deepEqual(safeTree(element('polygon', hostile)).attributes, []);
  assert.deepEqual(safeTree(element('g', { fill: 'url(http://x/y)' })).attributes, []);
  assert.deepEqual(safeTree(element('g', { transform: '"><script>' })).attributes, []);
});

test('texts and comments are left out', () => {
  const text = { nodeType: 3, localName: undefined, attributes: [], childNodes: [] };
  assert.deepEqual(safeTree(element('svg', {}, text)).children, []);
});

test('a drawing of endless depth is cut', () => {
  let deep = element('polygon');
  for (let i = 0; i < 5000; ++i) deep = element('g', {}, deep);
  assert.doesNotThrow(() => safeTree(element('svg', {}, deep)));
});

test('only harmless declarations of a style are kept', () => {
  assert.deepEqual(safeStyle('fill:red;background:url(x);position:fixed'), [['fill', 'red']]);
  assert.deepEqual(safeStyle('fill:url(#a);stroke:u\\72l(x)'), []);
  assert.deepEqual(safeStyle(''), []);
  assert.deepEqual(safeStyle('fill'), []);
});

test('style attributes are renamed before parsing and understood under the other name', () => {
  const text = '<polygon points="0,0" style="fill:red" />';
  const renamed = withoutStyleAttributes(text);
  assert.doesNotMatch(renamed, /\sstyle=/);
  const [, name] = renamed.match(/ (\S+)="fill:red"/);
  assert.deepEqual(safeTree(element('polygon', { [name]: 'fill:red' })).style, [['fill', 'red']]);
});
