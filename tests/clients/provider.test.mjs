// What the sample provider promises beyond what ordinary clients show: its command line, its end, TLS.

import assert from 'node:assert/strict';
import { execFile, spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { promisify } from 'node:util';

import { start, test } from './programs.mjs';

const body = JSON.stringify({ model: 'm', input: 'x', stream: true });
const headers = { authorization: 'Bearer the-provider-key' };
const post = ({ base }) => fetch(`${base}/responses`, { method: 'POST', headers, body });

test("a command line or file that can't be used is one line and a status", [], ({ folder, base }) => {
  const rows = JSON.parse(readFileSync(new URL('command-lines.json', import.meta.url)));
  for (const [line, status, complaint] of rows) {
    const args = line.replace('PORT', new URL(base).port).split(' ');
    const options = { cwd: folder, encoding: 'utf8', timeout: 10_000 };
    const ended = spawnSync(process.env.FERRIN_SAMPLE_PROVIDER, args, options);
    assert.equal(ended.status, status, `${line}: ${ended.stderr}`);
    assert.match(ended.stderr, new RegExp(`^${complaint}`));
    assert.equal(ended.stderr.trim().split('\n').length, 1);
    assert.equal(ended.stdout, '');
    assert(!ended.stderr.includes('the-provider-key'));
  }
});

test('SIGTERM ends it while streams are open', ['--events', '1000', '--interval-ms', '1000'], post);

test('TLS: trusted by the certificate that it wrote, or by the pair it was given', [], async ({ folder }) => {
  const at = (name) => join(folder, name);
  const made = spawnSync('openssl', [
    'req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-subj', '/CN=localhost',
    '-addext', 'subjectAltName=IP:127.0.0.1', '-keyout', at('key.pem'), '-out', at('given.pem'),
  ]);
  assert.equal(made.status, 0, String(made.stderr));
  for (const [certificate, ...options] of [
    [at('given.pem'), '--tls-certificate', at('given.pem'), '--tls-key', at('key.pem')],
    [at('made.pem'), '--tls-self-made', at('made.pem')],
  ]) {
    const provider = await start(process.env.FERRIN_SAMPLE_PROVIDER, '--key-file', at('provider.key'), ...options);
    const ask = (...more) => promisify(execFile)('curl', ['--silent', ...more, `${provider.url}/stats`]);
    assert.match((await ask('--cacert', certificate)).stdout, /"requests":0/);
    await assert.rejects(ask(), { code: 60 });
    await provider.stop();
  }
  assert(!readFileSync(at('made.pem'), 'utf8').includes('PRIVATE'));
});
