/** Small helpers for building elements. */

/** @returns {HTMLElement} the element with a test id */
export function byTestId(id, root = document) {
  return root.querySelector(`[data-testid="${id}"]`);
}

/**
 * Builds an element. A property that is a function is an event listener ("onclick"), false and
 * null leave an attribute out, true sets an empty one.
 */
export function h(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (typeof value === 'function') element.addEventListener(name.slice(2), value);
    else if (value !== false && value !== null && value !== undefined) {
      element.setAttribute(name, value === true ? '' : value);
    }
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

const SVG_NAMESPACE = 'http://www.w3.org/2000/svg';

export function svg(tag, attributes = {}, ...children) {
  const element = document.createElementNS(SVG_NAMESPACE, tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

/** A mark over a picture, bright or dark: with its own broad copy behind it. Texts stay alone. */
export function withHalo(mark) {
  if (mark.tagName === 'text') return [mark];
  const halo = mark.cloneNode();
  halo.setAttribute('class', 'halo');
  return [halo, mark];
}

/** Changes a text only when it differs, so that screen readers hear changes alone. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}
