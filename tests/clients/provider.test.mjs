// What the sample provider promises beyond what ordinary clients show: its command line, its endings, many
// connections.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync, statSync, writeFileSync } from 'node:fs';
import http from 'node:http';
import https from 'node:https';
import net from 'node:net';
import { join } from 'node:path';

import { test, until, withProvider } from './programs.mjs';

const program = process.env.FERRIN_SAMPLE_PROVIDER;
const body = JSON.stringify({ model: 'm', input: 'x', stream: true });
const headers = { authorization: 'Bearer the-provider-key', 'content-length': body.length };

const requestText = (bytes = body, extra = '') =>
  `POST /responses HTTP/1.1\r\nHost: h\r\nAuthorization: ${headers.authorization}\r\n${extra}` +
  `Content-Length: ${bytes.length}\r\n\r\n${bytes}`;

/** Sends `text` as it is; what comes back until the connection's end, and how that was. */
function exchange(url, text) {
  return new Promise((resolve) => {
    const socket = net.connect({ port: new URL(url).port, host: '127.0.0.1', allowHalfOpen: true });
    let received = '';
    let ending = 'fin';
    socket.on('data', (data) => (received += data));
    socket.on('error', (error) => (ending = error.code));
    socket.on('end', () => socket.end());
    socket.on('close', () => resolve({ received, ending }));
    socket.write(text);
  });
}

async function post(module, url, options = {}) {
  const request = module.request(`${url}/responses`, { method: 'POST', headers, ...options }).end(body);
  const [response] = await once(request, 'response');
  let text = '';
  for await (const chunk of response) text += chunk;
  return text;
}

test('a command line or file that can\'t be used is one line and a status', () =>
  withProvider([], async ({ folder, url }) => {
    const key = join(folder, 'provider.key');
    const empty = join(folder, 'empty');
    writeFileSync(empty, '');
    const port = new URL(url).port;
    for (const [args, status, line] of [
      [['--colour', 'red'], 2, /^--colour: no such option\n$/],
      [['--port'], 2, /^--port: its value/],
      [['--echo', '--echo'], 2, /^--echo: given twice/],
      [['--port', '1'], 2, /^--key-file: missing/],
      [['--port', '65536'], 2, /^--port: not a whole number/],
      [['--events', '0'], 2, /^--events: not a whole number/],
      [['--prefix', '/v1/'], 2, /^--prefix: a path that/],
      [['--key-file', 'k', '--break-with', 'fin'], 2, /^--break-with: needs --break-after/],
      [['--key-file', 'k', '--tls-key', 'f'], 2, /^--tls-key: needs --tls-certificate/],
      [['--key-file', 'k', '--status', '302'], 2, /^--status: 200, or/],
      [['--key-file', 'k', '--events', '1000', '--delta-bytes', '1048576'], 2, /^--delta-bytes: makes/],
      [['--key-file', join(folder, 'none')], 1, /none: .*\n$/],
      [['--key-file', empty], 1, /empty: no key in its first line\n$/],
      [['--key-file', key, '--port', port], 1, new RegExp(`^127.0.0.1:${port}: Address already in use\n$`)],
      [['--key-file', key, '--tls-certificate', key, '--tls-key', key], 1, /provider\.key: .*\n$/],
      [['--key-file', key, '--tls-self-made', join(folder, 'none', 'c.pem')], 1, /c\.pem: No such file.*\n$/],
    ]) {
      const { status: ended, stdout, stderr } = spawnSync(program, args, { encoding: 'utf8', timeout: 10_000 });
      assert.equal(ended, status, `${args}: ${stderr}`);
      assert.match(stderr, line);
      assert.equal(stderr.trim().split('\n').length, 1);
      assert.equal(stdout, '');
      assert(!stderr.includes('the-provider-key'));
    }
  }));

test('SIGTERM ends it while streams are open', () =>
  withProvider(['--events', '1000', '--interval-ms', '1000'], async ({ url, stop }) => {
    const broken = post(http, url).catch((error) => error);
    const whole = net.connect(new URL(url).port, '127.0.0.1');
    await once(whole, 'connect');
    assert.equal(await stop(), 0);
    assert((await broken) instanceof Error);
    whole.destroy();
  }));

test('TLS: trusted by the certificate that it wrote, or by the pair it was given', () =>
  withProvider([], async ({ folder }) => {
    const certificate = join(folder, 'certificate.pem');
    const key = join(folder, 'key.pem');
    const made = spawnSync('openssl', [
      'req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-subj', '/CN=localhost',
      '-addext', 'subjectAltName=IP:127.0.0.1', '-keyout', key, '-out', certificate,
    ]);
    assert.equal(made.status, 0, String(made.stderr));
    const selfMade = join(folder, 'self-made.pem');
    for (const [options, ca] of [
      [['--tls-certificate', certificate, '--tls-key', key], certificate],
      [['--tls-self-made', selfMade], selfMade],
    ]) {
      await withProvider([...options, '--interval-ms', '1'], async ({ url }) => {
        assert(url.startsWith('https://'));
        const agent = new https.Agent({ ca: readFileSync(ca), keepAlive: true, maxSockets: 1 });
        for (let round = 0; round < 3; ++round) assert.match(await post(https, url, { agent }), /response\.completed/);
        agent.destroy();
        await assert.rejects(post(https, url), { code: /SELF_SIGNED|UNABLE_TO_VERIFY/ });
      });
    }
    assert(statSync(selfMade).size > 0);
    assert(!readFileSync(selfMade, 'utf8').includes('PRIVATE'));
  }));

test('requests follow each other on one connection, sent ahead or in the middle of a stream', () =>
  withProvider(['--interval-ms', '1', '--events', '3'], async ({ url, stats }) => {
    const ahead = requestText() + requestText() + requestText(body, 'Connection: close\r\n');
    const { received, ending } = await exchange(url, ahead);
    assert.equal(received.match(/\r\n0\r\n\r\n/g).length, 3);
    assert.equal(ending, 'fin');
    const { connections, answered, aborted } = await stats();
    assert.deepEqual({ connections, answered, aborted }, { connections: 1, answered: 3, aborted: 0 });
  }));

test('what is no request is refused, and a request left in the middle is an abort', () =>
  withProvider([], async ({ url, stats }) => {
    const { received, ending } = await exchange(url, 'no request at all\r\n\r\n');
    assert.match(received, /^HTTP\/1\.1 400 /);
    assert.equal(ending, 'fin');
    const socket = net.connect(new URL(url).port, '127.0.0.1');
    socket.end(requestText().slice(0, -3));
    await until('the abort is counted', async () => (await stats()).aborted === 1);
    socket.destroy();
  }));

test('a thousand streams at a time', () =>
  withProvider(['--events', '5', '--interval-ms', '100'], async ({ url, stats }) => {
    const agent = new http.Agent({ maxSockets: Infinity });
    const answers = await Promise.all(Array.from({ length: 1000 }, () => post(http, url, { agent })));
    for (const answer of answers) assert.match(answer, /event: response\.completed\n/);
    const { connections, answered, in_flight: inFlight } = await stats();
    assert.deepEqual({ connections, answered, inFlight }, { connections: 1000, answered: 1000, inFlight: 0 });
  }));
