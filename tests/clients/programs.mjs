// Starts the programs under test in a private folder, and waits for what they do.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { test as nodeTest } from 'node:test';
import { setTimeout } from 'node:timers/promises';

const { FERRIN_SAMPLE_PROVIDER: providerProgram, FERRIN_RELAY_PROGRAM: relayProgram } = process.env;

/** Runs a program that says where it listens in its first line. */
export async function start(program, ...args) {
  const child = spawn(program, args, { stdio: ['ignore', 'pipe', 'inherit'] });
  const ended = once(child, 'exit');
  const [firstLine] = await Promise.race([once(createInterface({ input: child.stdout }), 'line'), ended]);
  const url = /^listening on (https?:\/\/[^ ,]+)/.exec(firstLine)?.[1];
  assert(url, `${program} began with: ${firstLine}`);
  const stop = async () => {
    child.kill('SIGTERM');
    assert.deepEqual(await ended, [0, null], `how ${program} ends`);
  };
  return { url, stop };
}

/** Waits until `condition` gives something true. */
export async function until(condition) {
  for (const deadline = Date.now() + 20_000; !(await condition()); await setTimeout(10)) {
    assert(Date.now() < deadline, `in vain waited until ${condition}`);
  }
}

/**
 * A test with a sample provider, which ends well whatever `body` leaves open. Where there is a relay program, the relay
 * holds the key: `base` and `key` are what a client is configured with, whichever it is.
 */
export const test = (claim, options, body, heldKey = 'the-provider-key') =>
  nodeTest(claim, { timeout: 60_000 }, async () => {
    const folder = mkdtempSync(join(tmpdir(), 'ferrin-clients-'));
    const [providerKey, relayKey] = ['provider.key', 'relay.key'].map((name) => join(folder, name));
    writeFileSync(providerKey, 'the-provider-key\n');
    writeFileSync(relayKey, `${heldKey}\n`, { mode: 0o600 });
    const running = [];
    try {
      running.unshift(await start(providerProgram, '--key-file', providerKey, ...options));
      const { url } = running[0];
      const stats = async () => (await fetch(new URL('/stats', url))).json();
      if (!relayProgram) return await body({ base: url, key: heldKey, stats, folder });
      const relayOptions = ['--host', '127.0.0.1', '--port', '0', '--api-key-file', relayKey, '--timeout', '30'];
      running.unshift(await start(relayProgram, '--upstream', url, ...relayOptions));
      await body({ base: running[0].url, key: 'a-key-of-no-importance', stats, folder });
    } finally {
      for (const program of running) await program.stop();
      rmSync(folder, { recursive: true });
    }
  });
