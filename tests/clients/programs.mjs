// Starts the programs under test in a private folder, and waits for what they do.

import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { test as nodeTest } from 'node:test';

const deadlineMs = 20_000;

/** A test that can't hang. */
export const test = (claim, body) => nodeTest(claim, { timeout: 3 * deadlineMs }, body);

const providerProgram = process.env.FERRIN_SAMPLE_PROVIDER;
const relayProgram = process.env.FERRIN_RELAY_PROGRAM;

/** Runs a program that says where it listens in its first line. */
async function start(program, args) {
  const child = spawn(program, args, { stdio: ['ignore', 'pipe', 'inherit'] });
  const ended = new Promise((resolve) => child.once('exit', (code, signal) => resolve(code ?? signal)));
  const lines = createInterface({ input: child.stdout });
  const firstLine = await Promise.race([
    new Promise((resolve) => lines.once('line', resolve)),
    ended.then((status) => Promise.reject(new Error(`${program} ended with ${status}`))),
  ]);
  const url = /^listening on (https?:\/\/[^ ,]+)/.exec(firstLine)?.[1];
  if (!url) throw new Error(`${program} began with: ${firstLine}`);
  const stop = () => {
    child.kill('SIGTERM');
    return ended;
  };
  return { url, stop };
}

/** Waits until `condition` gives something true, and returns it. */
export async function until(what, condition) {
  for (const deadline = Date.now() + deadlineMs; Date.now() < deadline; ) {
    const value = await condition();
    if (value) return value;
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
  throw new Error(`in vain waited until ${what}`);
}

/**
 * A sample provider for as long as `use` runs. It gets the provider's address and its statistics as
 * a function, and a private folder.
 */
export async function withProvider(options, use) {
  const folder = mkdtempSync(join(tmpdir(), 'ferrin-clients-'));
  const keyFile = join(folder, 'provider.key');
  writeFileSync(keyFile, 'the-provider-key\n');
  let provider;
  try {
    provider = await start(providerProgram, ['--key-file', keyFile, ...options]);
    const stats = async () => (await fetch(new URL('/stats', provider.url))).json();
    return await use({ url: provider.url, stats, folder, stop: provider.stop });
  } finally {
    await provider?.stop();
    rmSync(folder, { recursive: true });
  }
}

/**
 * A provider that is reached directly, or through a relay that holds the key: `base` and `key` are
 * what a client is configured with, whichever it is.
 */
export async function withRoute(way, options, use, key = 'the-provider-key') {
  await withProvider(options, async (provider) => {
    if (way === 'direct') return use({ ...provider, base: provider.url, key });
    const keyFile = join(provider.folder, 'relay.key');
    writeFileSync(keyFile, `${key}\n`, { mode: 0o600 });
    const relay = await start(relayProgram, [
      '--host', '127.0.0.1', '--port', '0', '--upstream', provider.url, '--api-key-file', keyFile, '--timeout', '30',
    ]);
    try {
      await use({ ...provider, base: relay.url, key: 'a-key-of-no-importance' });
    } finally {
      await relay.stop();
    }
  });
}
