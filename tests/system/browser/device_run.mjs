import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync, readdirSync } from 'node:fs';
import path from 'node:path';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';

export const REPOSITORY = fileURLToPath(new URL('../../..', import.meta.url));

const ADDRESS = /^The page: (http:\S+)$/;
const READY_WITHIN = 60_000; // milliseconds

/** script/run with a web server on a port of its own. */
export class DeviceRun {
  constructor(build, ...options) {
    const command = path.join(REPOSITORY, 'script/run');
    this.process = spawn(command, ['--build', build, '--port', '0', '--model', 'perfect', ...options], {
      stdio: ['ignore', 'pipe', 'inherit'],
    });
    this.ended = once(this.process, 'exit');
    this.lines = [];
    this.output = createInterface({ input: this.process.stdout });
    this.output.on('line', (line) => this.lines.push(line));
  }

  /** The page's address, as a user reads it. */
  async address() {
    const given = (line) => line.match(ADDRESS)?.[1];
    const signal = AbortSignal.timeout(READY_WITHIN);
    while (!this.lines.some(given)) {
      if (this.process.exitCode !== null) throw new Error(`It ended:\n${this.lines.join('\n')}`);
      await Promise.race([once(this.output, 'line', { signal }), this.ended]);
    }
    return given(this.lines.find(given));
  }

  /** The daemon's process id: a descendant of the run. */
  daemonPid() {
    const processes = readdirSync('/proc')
      .filter((name) => /^\d+$/.test(name))
      .map(readProcess);
    const parents = new Map(processes.map(({ pid, parent }) => [pid, parent]));
    const isOwn = (pid) =>
      pid !== undefined && (pid === this.process.pid || isOwn(parents.get(pid)));
    return processes.find(({ pid, name }) => name === 'sentrelvideo' && isOwn(pid))?.pid;
  }

  /** Ends it as Ctrl-C does; its exit status. */
  async stop() {
    if (this.process.exitCode === null) this.process.kill('SIGTERM');
    const [status] = await this.ended;
    return status;
  }
}

/** Nothing of a process that has ended meanwhile. */
function readProcess(entry) {
  try {
    const stat = readFileSync(`/proc/${entry}/stat`, 'utf8');
    const [, name, rest] = stat.match(/\((.*)\) (.*)/s);
    return { pid: Number(entry), name, parent: Number(rest.split(' ')[1]) };
  } catch {
    return {};
  }
}
