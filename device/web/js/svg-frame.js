/**
 * The daemon's drawings. A drawing is taken apart into a plain tree of what may be shown - shapes,
 * groups, their places and colours - and built anew from that, so that nothing in it can run or
 * load anything. Styles are set property by property: the page's policy allows no style attributes.
 *
 * @typedef {{name: string, attributes: Array<[string, string]>, style: Array<[string, string]>,
 *            children: SafeNode[]}} SafeNode
 */

const SVG_NAMESPACE = 'http://www.w3.org/2000/svg';
const ELEMENT_NODE = 1;
const DEEPEST = 16;

const ELEMENTS = new Set(['svg', 'g', 'polygon', 'polyline', 'desc']);

const ATTRIBUTES = new Set([
  'class',
  'points',
  'transform',
  'viewBox',
  'preserveAspectRatio',
  'version',
  'baseProfile',
  'width',
  'height',
  'fill',
  'fill-opacity',
  'stroke',
  'stroke-opacity',
  'stroke-width',
]);

const PROPERTIES = new Set([
  'fill',
  'fill-opacity',
  'fill-rule',
  'opacity',
  'stroke',
  'stroke-dasharray',
  'stroke-linejoin',
  'stroke-opacity',
  'stroke-width',
]);

/** No references, escapes, quotes or markup: words, numbers, colours and lists of them. */
function isPlain(value) {
  return /^[\w\s#.,%()+-]*$/.test(value) && !/url\s*\(/i.test(value);
}

/** @returns {Array<[string, string]>} the harmless declarations of a style text */
export function safeStyle(text) {
  return text
    .split(';')
    .map((declaration) => {
      const colon = declaration.indexOf(':');
      return [
        declaration.slice(0, Math.max(colon, 0)).trim().toLowerCase(),
        declaration.slice(colon + 1).trim(),
      ];
    })
    .filter(([property, value]) => PROPERTIES.has(property) && value && isPlain(value));
}

/**
 * What of a parsed element may be shown.
 * @param {{nodeType: number, localName: string, attributes: Iterable<{name: string,
 *          value: string}>, childNodes: Iterable<object>}} element
 * @returns {SafeNode|null} null for an element that may not
 */
export function safeTree(element, depth = 0) {
  if (element.nodeType !== ELEMENT_NODE || !ELEMENTS.has(element.localName) || depth > DEEPEST) {
    return null;
  }
  const attributes = [];
  let style = [];
  for (const { name, value } of element.attributes) {
    if (name === 'style' || name === STYLE_STAND_IN) style = safeStyle(value);
    else if (ATTRIBUTES.has(name) && isPlain(value)) attributes.push([name, value]);
  }
  const children = [];
  for (const child of element.childNodes) {
    const safe = safeTree(child, depth + 1);
    if (safe) children.push(safe);
  }
  return { name: element.localName, attributes, style, children };
}

// Parsing a style attribute already counts as a breach of the page's policy.
const STYLE_STAND_IN = 'data-style';

export function withoutStyleAttributes(text) {
  return text.replace(/(\s)style(\s*=)/g, `$1${STYLE_STAND_IN}$2`);
}

function build(node) {
  const element = document.createElementNS(SVG_NAMESPACE, node.name);
  for (const [name, value] of node.attributes) element.setAttribute(name, value);
  for (const [property, value] of node.style) element.style.setProperty(property, value);
  element.append(...node.children.map(build));
  return element;
}

/**
 * The drawing of a text.
 * @param {string} text as the daemon sent it; an empty one clears the picture
 * @returns {SVGSVGElement|null} null when there is nothing to draw
 */
export function drawingOf(text) {
  if (!text) return null;
  const parsed = new DOMParser().parseFromString(withoutStyleAttributes(text), 'image/svg+xml');
  const tree = safeTree(parsed.documentElement);
  return tree && tree.name === 'svg' && tree.children.length > 0 ? build(tree) : null;
}
