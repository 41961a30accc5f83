/** The form of the chosen profile: name, priority, filters, areas and the chosen vertex. */

import {
  DEFAULT_DURATION,
  FILTERS,
  addArea,
  areasOf,
  capabilityOf,
  ensureFilter,
  filterOf,
  removeArea,
} from './configuration.js';
import { byTestId, h, setText } from './dom.js';
import { checkField, numberField, rebuild, showErrors, textField } from './fields.js';
import { insertVertex, removeVertex } from './polygon.js';

const MICROSECONDS = 1e6;

const KINDS = { includeArea: 'Include area', excludeArea: 'Exclude area' };

export class ProfileForm {
  constructor(root, store, state) {
    this.root = root;
    this.store = store;
    this.state = state;
    state.on('load structure selection', () => this.render());
    state.on('change vertex', () => this.showVertex());
    state.on('errors', () => this.showErrors());
  }

  get path() {
    return `profiles.${this.state.profileIndex}`;
  }

  render() {
    if (!this.state.isLoaded) return;
    const { profile } = this.state;
    const children = profile
      ? [
          h('h3', {}, 'Profile'),
          this.renderGeneral(profile),
          this.renderAreas(profile),
          this.renderVertex(),
          this.renderFilters(profile),
        ]
      : [h('p', { class: 'muted' }, 'There is no profile. Add one to a camera.')];
    rebuild(this.root, children);
    this.showVertex();
    this.showErrors();
  }

  showErrors() {
    showErrors(this.root, this.state.errors);
  }

  renderGeneral(profile) {
    const { state, path } = this;
    const { minLengthName, maxLengthName } = state.capabilities.profiles;
    const duration = profile.xinternalEventDuration;
    return h(
      'div',
      { class: 'row' },
      textField({
        key: 'name',
        path: `${path}.name`,
        label: 'Name',
        hint: `${minLengthName} to ${maxLengthName} characters`,
        value: profile.name,
        onvalue: (value) => state.change((edited) => (edited.name = value)),
      }),
      numberField({
        key: 'priority',
        path: `${path}.priority`,
        label: 'Priority',
        hint: 'the higher, the more important',
        value: profile.priority,
        onvalue: (value) => state.change((edited) => (edited.priority = value)),
      }),
      numberField({
        key: 'duration',
        path: `${path}.duration`,
        label: 'Alarm is held for (s)',
        hint: `empty: ${DEFAULT_DURATION / MICROSECONDS} s`,
        step: 'any',
        min: 0,
        value: duration === undefined ? '' : duration / MICROSECONDS,
        onvalue: (value) =>
          state.change((edited) => {
            if (value === null) delete edited.xinternalEventDuration;
            else edited.xinternalEventDuration = Math.round(value * MICROSECONDS);
          }),
      }),
      this.renderPreset(profile),
    );
  }

  /** Only profiles of a camera on the head know presets. */
  renderPreset(profile) {
    const channel = this.store.model?.channels.find(({ camera }) => camera === profile.camera);
    if (!channel?.moves_with_head && !profile.presets?.length) return null;
    return numberField({
      key: 'preset',
      path: `${this.path}.preset`,
      label: 'Preset',
      hint: '-1: any, empty: none',
      value: profile.presets?.[0],
      onvalue: (value) =>
        this.state.change((edited) => {
          edited.presets = value === null ? [] : [value];
        }),
    });
  }

  // ---- Filters ----

  renderFilters(profile) {
    return h(
      'fieldset',
      {},
      h('legend', {}, 'Held back'),
      ...FILTERS.map((filter) => this.renderFilter(profile, filter)),
    );
  }

  renderFilter(profile, { type, label, name, unit, parts }) {
    const { state, path } = this;
    const capability = capabilityOf(state.capabilities, type);
    const present = filterOf(profile, type);
    const data = present ? present.data : capability.default;
    const change = (set) =>
      state.change((edited) => set(ensureFilter(edited, type, state.capabilities)));
    const field = (part, index) => {
      const pick = (value) => (part ? value?.[index] : value);
      const [min, max] = [pick(capability.min), pick(capability.max)];
      return numberField({
        key: part ? `${type}-${part}` : type,
        path: part ? `${path}.${type}.${part}` : `${path}.${type}`,
        label: `${part ?? name} (${unit})`,
        hint: `${min} to ${max}, default ${pick(capability.default)}`,
        min,
        max,
        value: pick(data),
        onvalue: (value) =>
          change((filter) => {
            if (part) filter.data = filter.data.map((old, i) => (i === index ? value : old));
            else filter.data = value;
          }),
      });
    };
    return h(
      'div',
      { class: 'row filter' },
      checkField({
        key: `${type}-active`,
        path: `${path}.${type}.active`,
        label,
        value: present?.active,
        onvalue: (value) => change((filter) => (filter.active = value)),
      }),
      ...(parts ?? [null]).map(field),
    );
  }

  // ---- Areas ----

  renderAreas(profile) {
    const { state, path } = this;
    const areas = areasOf(profile);
    const adders = Object.entries(KINDS).map(([kind, name]) => {
      const { maxNbrInstances: most } = capabilityOf(state.capabilities, kind);
      const count = areas.filter((area) => area.kind === kind).length;
      if (kind === 'includeArea' && count >= most) return null;
      return h(
        'span',
        {},
        h(
          'button',
          {
            type: 'button',
            'data-testid': `${kind}-add`,
            'data-key': `${kind}-add`,
            disabled: count >= most,
            onclick: () => this.addArea(kind),
          },
          `Add an ${name.toLowerCase()}`,
        ),
        h('span', { class: 'hint' }, ` ${count} of at most ${most}`),
      );
    });
    return h(
      'fieldset',
      {},
      h('legend', {}, 'Areas'),
      h('ul', { class: 'area-list' }, ...areas.map((area) => this.renderArea(area, areas))),
      ...Object.keys(KINDS).map((kind) =>
        h('p', {
          class: 'error',
          'data-error-of': `${path}.${kind}`,
          'data-testid': `error-${kind}`,
        }),
      ),
      ...adders,
    );
  }

  renderArea({ kind, index }, areas) {
    const { state } = this;
    const isChosen = state.area.kind === kind && state.area.index === index;
    const isOnly =
      kind === 'includeArea' && areas.filter((area) => area.kind === kind).length === 1;
    return h(
      'li',
      {},
      h(
        'button',
        {
          type: 'button',
          class: `choose ${kind}`,
          'data-testid': 'area-select',
          'data-kind': kind,
          'data-index': index,
          'data-key': `area-${kind}-${index}`,
          'aria-pressed': isChosen,
          onclick: () => state.selectArea(kind, index),
        },
        kind === 'includeArea' ? KINDS[kind] : `${KINDS[kind]} ${index + 1}`,
      ),
      isOnly
        ? null
        : h(
            'button',
            {
              type: 'button',
              'data-testid': 'area-remove',
              'data-key': `area-remove-${kind}-${index}`,
              'aria-label': `Remove ${KINDS[kind].toLowerCase()} ${index + 1}`,
              onclick: () => this.removeArea(kind, index),
            },
            'Remove',
          ),
      h('p', {
        class: 'error',
        'data-error-of': `${this.path}.${kind}.${index}`,
        'data-group': true,
        'data-testid': `error-area-${kind}-${index}`,
      }),
    );
  }

  addArea(kind) {
    const { state } = this;
    let index = 0;
    state.restructure(() => {
      index = addArea(state.profile, kind, state.capabilities);
    });
    state.selectArea(kind, index);
  }

  removeArea(kind, index) {
    this.state.restructure(() => removeArea(this.state.profile, kind, index));
    this.root.querySelector('[data-testid="area-select"]')?.focus();
  }

  // ---- The chosen vertex ----

  renderVertex() {
    const { state } = this;
    if (!state.vertices) return '';
    const coordinate = (axis, a) =>
      numberField({
        key: axis,
        path: '',
        label: axis,
        hint: '-1 to 1',
        min: -1,
        max: 1,
        step: 0.01,
        onvalue: (value) => {
          state.vertices = state.vertices.map((vertex, i) =>
            i === state.vertex ? vertex.map((old, b) => (b === a ? value : old)) : vertex,
          );
        },
      });
    const { fewest, most } = state.vertexLimits;
    return h(
      'fieldset',
      { class: 'vertex-form' },
      h('legend', { 'data-testid': 'vertex-title' }),
      h(
        'p',
        { class: 'hint', id: 'vertex-help' },
        'Drag a vertex in the picture, or move it with the arrow keys (Shift: farther). ',
        `Enter adds one, Delete removes one; an area has ${fewest} to ${most}.`,
      ),
      h('div', { class: 'row' }, coordinate('x', 0), coordinate('y', 1)),
      h(
        'div',
        { class: 'buttons' },
        this.stepButton('Previous', -1),
        this.stepButton('Next', 1),
        h(
          'button',
          {
            type: 'button',
            'data-testid': 'vertex-add',
            'data-key': 'vertex-add',
            onclick: () => {
              const { vertex } = state;
              state.vertices = insertVertex(state.vertices, vertex);
              state.selectVertex(vertex + 1);
            },
          },
          'Add after it',
        ),
        h(
          'button',
          {
            type: 'button',
            'data-testid': 'vertex-remove',
            'data-key': 'vertex-remove',
            onclick: () => {
              state.vertices = removeVertex(state.vertices, state.vertex);
            },
          },
          'Remove it',
        ),
      ),
    );
  }

  stepButton(text, step) {
    const { state } = this;
    const move = () => {
      const count = state.vertices.length;
      state.selectVertex((state.vertex + step + count) % count);
    };
    return h('button', { type: 'button', 'data-key': `vertex-${text}`, onclick: move }, text);
  }

  showVertex() {
    const { state } = this;
    const title = byTestId('vertex-title', this.root);
    if (!title || !state.vertices?.length) return;
    const { vertices, vertex, vertexLimits, area } = state;
    setText(title, `Vertex ${vertex + 1} of ${vertices.length}`);
    ['x', 'y'].forEach((axis, a) => {
      const path = `${this.path}.${area.kind}.${area.index}.${vertex}.${axis}`;
      const input = byTestId(`field-${axis}`, this.root);
      input.dataset.path = path;
      byTestId(`error-${axis}`, this.root).dataset.errorOf = path;
      const value = vertices[vertex][a];
      // A half-typed number stays as it is typed.
      if (input.value === '' ? value !== null : Number(input.value) !== value) {
        input.value = value ?? '';
      }
    });
    byTestId('vertex-add', this.root).disabled = vertices.length >= vertexLimits.most;
    byTestId('vertex-remove', this.root).disabled = vertices.length <= vertexLimits.fewest;
    this.showErrors();
  }
}
