/** What is known of the sites, and which of them somebody wants to see. No document, no network. */

const RANKS = ['gone', 'silent', 'alarm', 'following', 'fine', 'waiting'];

/** One word for a site; the worst comes first. */
export function statusOf(site) {
  if (site.online === 'offline') {
    return 'gone';
  }
  if (site.silent) {
    return 'silent';
  }
  if (site.alarms.length > 0) {
    return 'alarm';
  }
  if (site.following) {
    return 'following';
  }
  return site.state === 'running' ? 'fine' : 'waiting';
}

const isGone = (site) => ['gone', 'silent'].includes(statusOf(site));
const KINDS = {
  all: () => true,
  gone: isGone,
  alarm: (site) => site.alarms.length > 0,
  following: (site) => site.following && !isGone(site),
};

/** For a reader: what the site is doing. */
export function wordsOf(site, now) {
  const status = statusOf(site);
  if (status === 'silent') {
    return `silent for ${Math.round((now - site.heard) / 60)} min`;
  }
  const words = { gone: 'offline', alarm: 'alarm', following: 'following' };
  return words[status] ?? (site.state || 'unknown');
}

export class Sites {
  #sites = new Map();
  #offset = 0;

  /** Everything that is known: replaces what was. */
  replace(told, here) {
    this.#sites = new Map(told.sites.map((site) => [site.name, site]));
    this.#offset = told.now - here;
  }

  change(told, here) {
    for (const site of told.sites) {
      this.#sites.set(site.name, site);
    }
    for (const name of told.gone) {
      this.#sites.delete(name);
    }
    this.#offset = told.now - here;
  }

  /** The clock of those who tell, in seconds. */
  now(here) {
    return here + this.#offset;
  }

  /** Undefined when there is none of that name. */
  get(name) {
    return this.#sites.get(name);
  }

  count(kind) {
    let count = 0;
    for (const site of this.#sites.values()) {
      count += KINDS[kind](site) ? 1 : 0;
    }
    return count;
  }

  /** Those whose name, model or version has the text, the worst first, then by name. */
  list(kind, text) {
    const wanted = text.trim().toLowerCase();
    const has = (site) =>
      [site.name, site.model, site.version].some((word) => word.toLowerCase().includes(wanted));
    const ranked = [...this.#sites.values()]
      .filter((site) => KINDS[kind](site) && has(site))
      .map((site) => [RANKS.indexOf(statusOf(site)), site]);
    ranked.sort(([a, one], [b, other]) => a - b || (one.name < other.name ? -1 : 1));
    return ranked.map(([, site]) => site);
  }
}
