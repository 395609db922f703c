// What the sample provider promises beyond what ordinary clients show: its command line, its endings, many
// connections.

import assert from 'node:assert/strict';
import { execFile, spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import net from 'node:net';
import { join } from 'node:path';
import { promisify } from 'node:util';

import { start, test, until } from './programs.mjs';

const body = JSON.stringify({ model: 'm', input: 'x', stream: true });
const headers = { authorization: 'Bearer the-provider-key' };
const post = ({ base }) => fetch(`${base}/responses`, { method: 'POST', headers, body });
const request = 'POST /responses HTTP/1.1\r\nHost: h\r\nAuthorization: Bearer the-provider-key\r\n' +
  `Content-Length: ${body.length}\r\n\r\n${body}`;

/** Sends `bytes` as they are and then no more; what comes back until the connection's end. */
async function exchange({ base }, bytes) {
  const socket = net.connect(new URL(base).port, '127.0.0.1').end(bytes);
  let received = '';
  for await (const data of socket) received += data;
  return received;
}

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

test('requests follow each other on one connection, ahead of answers, until one is none', [], async (route) => {
  const answers = await exchange(route, request.repeat(3) + 'no request at all\r\n\r\n');
  assert.match(answers, /^(HTTP\/1\.1 200 [^]*?\r\n0\r\n\r\n){3}HTTP\/1\.1 400 /);
  const { connections, answered, aborted } = await route.stats();
  assert.deepEqual({ connections, answered, aborted }, { connections: 1, answered: 4, aborted: 0 });
  await exchange(route, request.slice(0, -3));
  await until(async () => (await route.stats()).aborted === 1);
});

test('a thousand streams at a time', ['--events', '5', '--interval-ms', '100'], async (route) => {
  const answers = await Promise.all(Array.from({ length: 1000 }, async () => (await post(route)).text()));
  for (const answer of answers) assert.match(answer, /event: response\.completed\n/);
  const { connections, answered, in_flight: inFlight } = await route.stats();
  assert.deepEqual({ connections, answered, inFlight }, { connections: 1000, answered: 1000, inFlight: 0 });
});
