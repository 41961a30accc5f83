/** A long list of which only the rows in sight are there. */

const MARGIN = 5; // rows above and below those in sight

/** Which rows are to be there: first and one past the last. */
export function rowsInSight(top, height, rowHeight, count) {
  const first = Math.max(0, Math.floor(top / rowHeight) - MARGIN);
  const end = Math.min(count, Math.ceil((top + height) / rowHeight) + MARGIN);
  return [Math.min(first, count), Math.max(end, Math.min(first, count))];
}

/** Where a key leads from a row; undefined for other keys. */
export function rowAfter(key, row, page, count) {
  const steps = {
    ArrowDown: row + 1,
    ArrowUp: row - 1,
    PageDown: row + page,
    PageUp: row - page,
    Home: 0,
    End: count - 1,
  };
  const next = steps[key];
  return next === undefined ? undefined : Math.max(0, Math.min(count - 1, next));
}

export class Rows {
  #box;
  #space;
  #fill;
  #open;
  #items = [];
  #chosen; // name of the row that the keyboard is at
  #rows = new Map(); // by name

  /** fill(row, item) writes an item into a row's element; open(item) follows it. */
  constructor(box, fill, open) {
    this.#box = box;
    this.#space = box.querySelector('.space');
    this.#fill = fill;
    this.#open = open;
    box.addEventListener('scroll', () => this.#show(), { passive: true });
    box.addEventListener('keydown', (event) => this.#key(event));
    new ResizeObserver(() => this.#show()).observe(box);
  }

  set items(items) {
    this.#items = items;
    this.#show();
  }

  get #height() {
    return 2.5 * parseFloat(getComputedStyle(document.documentElement).fontSize);
  }

  #show() {
    const height = this.#height;
    this.#space.style.height = `${this.#items.length * height}px`;
    const [first, end] = rowsInSight(
      this.#box.scrollTop,
      this.#box.clientHeight,
      height,
      this.#items.length,
    );
    const before = this.#rows;
    this.#rows = new Map();
    for (let index = first; index < end; index += 1) {
      const item = this.#items[index];
      const row = before.get(item.name) ?? this.#make();
      before.delete(item.name);
      row.style.top = `${index * height}px`;
      row.id = `site-${item.name}`;
      row.setAttribute('aria-setsize', this.#items.length);
      row.setAttribute('aria-posinset', index + 1);
      row.setAttribute('aria-selected', String(item.name === this.#chosen));
      row.onclick = () => this.#choose(index, true);
      this.#fill(row, item);
      this.#rows.set(item.name, row);
    }
    for (const row of before.values()) {
      row.remove();
    }
    const chosen = this.#rows.get(this.#chosen);
    if (chosen) {
      this.#box.setAttribute('aria-activedescendant', chosen.id);
    } else {
      this.#box.removeAttribute('aria-activedescendant');
    }
  }

  #make() {
    const row = document.createElement('div');
    row.className = 'row';
    row.setAttribute('role', 'option');
    this.#box.append(row);
    return row;
  }

  #choose(index, opens) {
    const item = this.#items[index];
    this.#chosen = item.name;
    this.#show();
    if (opens) {
      this.#open(item);
    }
  }

  #key(event) {
    const at = this.#items.findIndex((item) => item.name === this.#chosen);
    if (event.key === 'Enter' && at >= 0) {
      event.preventDefault();
      this.#open(this.#items[at]);
      return;
    }
    const height = this.#height;
    const page = Math.max(1, Math.floor(this.#box.clientHeight / height) - 1);
    const next = rowAfter(event.key, at, page, this.#items.length);
    if (next === undefined || this.#items.length === 0) {
      return;
    }
    event.preventDefault();
    this.#choose(next, false);
    const top = next * height;
    const last = top + height - this.#box.clientHeight;
    this.#box.scrollTop = Math.max(last, Math.min(top, this.#box.scrollTop));
  }
}
