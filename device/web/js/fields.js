/** Labelled inputs with a hint and a place for an error. */

import { h } from './dom.js';

let nextId = 1;

/**
 * @param {object} options
 * @param {string} options.key test id: "field-KEY", and "error-KEY" of the error
 * @param {string} options.path where the value stands in the document, for errors
 * @param {string} options.label
 * @param {string} [options.hint] bounds and unit
 * @param {HTMLElement} options.input
 */
function labelled({ key, path, label, hint, input }) {
  const id = `field-${nextId++}`;
  input.id = id;
  input.dataset.testid = `field-${key}`;
  input.dataset.key = key;
  input.dataset.path = path;
  const error = h('p', {
    class: 'error',
    id: `${id}-error`,
    'data-testid': `error-${key}`,
    'data-error-of': path,
    'aria-live': 'polite',
  });
  const hintLine = hint ? h('span', { class: 'hint', id: `${id}-hint` }, hint) : null;
  input.setAttribute('aria-describedby', `${hint ? `${id}-hint ` : ''}${id}-error`);
  return { id, error, hintLine };
}

/** onvalue is called with the text at each change. */
export function textField({ onvalue, value, ...options }) {
  const input = h('input', {
    type: 'text',
    autocomplete: 'off',
    oninput: () => onvalue(input.value),
  });
  input.value = value ?? '';
  const { id, error, hintLine } = labelled({ ...options, input });
  return h(
    'div',
    { class: 'field' },
    h('label', { for: id }, options.label),
    input,
    hintLine,
    error,
  );
}

/** onvalue is called with the number, null when it is empty or none. */
export function numberField({ onvalue, value, min, max, step, ...options }) {
  const input = h('input', {
    type: 'number',
    min,
    max,
    step: step ?? 1,
    oninput: () => onvalue(input.value === '' ? null : Number(input.value)),
  });
  input.value = value ?? '';
  const { id, error, hintLine } = labelled({ ...options, input });
  return h(
    'div',
    { class: 'field' },
    h('label', { for: id }, options.label),
    input,
    hintLine,
    error,
  );
}

export function checkField({ onvalue, value, ...options }) {
  const input = h('input', { type: 'checkbox', onchange: () => onvalue(input.checked) });
  input.checked = value === true;
  const { id, error, hintLine } = labelled({ ...options, input });
  return h(
    'div',
    { class: 'field check' },
    input,
    h('label', { for: id }, options.label),
    hintLine,
    error,
  );
}

export function selectField({ onvalue, value, choices, ...options }) {
  const input = h(
    'select',
    { onchange: () => onvalue(input.value) },
    ...choices.map((choice) => h('option', { value: choice }, String(choice))),
  );
  input.value = String(value);
  const { id, error, hintLine } = labelled({ ...options, input });
  return h(
    'div',
    { class: 'field' },
    h('label', { for: id }, options.label),
    input,
    hintLine,
    error,
  );
}

/** Shows each error at the field of its path; an area shows those of its vertices too. */
export function showErrors(root, errors) {
  for (const place of root.querySelectorAll('[data-error-of]')) {
    const path = place.dataset.errorOf;
    const isGroup = place.dataset.group !== undefined;
    const found = [...errors].find(([at]) => at === path || (isGroup && at.startsWith(`${path}.`)));
    place.textContent = found ? found[1] : '';
  }
  for (const input of root.querySelectorAll('[data-path]')) {
    input.setAttribute('aria-invalid', String(errors.has(input.dataset.path)));
  }
}

/** Rebuilds a part of the page; what had the focus in it has it afterwards. */
export function rebuild(root, children) {
  const key = root.contains(document.activeElement) ? document.activeElement.dataset.key : null;
  root.replaceChildren(...children);
  if (key) root.querySelector(`[data-key="${CSS.escape(key)}"]`)?.focus();
}
