// Programs that people use, as they are: the official client package and curl. FERRIN_WAY says whether
// they talk to the provider directly or through the relay.

import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { promisify } from 'node:util';
import OpenAI from 'openai';

import { test, until, withRoute } from './programs.mjs';

const way = process.env.FERRIN_WAY;
assert(['direct', 'relay'].includes(way), 'FERRIN_WAY is neither direct nor relay');

const clientOf = ({ base, key }) => new OpenAI({ baseURL: base, apiKey: key, maxRetries: 0 });
const prompt = 'Grüße, 默认\nwith "quotes" and 😀';

test('a whole answer', () =>
  withRoute(way, ['--prefix', '/v1', '--echo'], async (route) => {
    const answer = await clientOf(route).responses.create({ model: 'sample-model', input: prompt });
    assert.equal(answer.output_text, prompt);
    assert.equal(answer.status, 'completed');
    assert.match(answer._request_id, /^req_\d+$/);
  }));

test('the list of models', () =>
  withRoute(way, [], async (route) => {
    const ids = [];
    for await (const model of clientOf(route).models.list()) ids.push(model.id);
    assert.deepEqual(ids, ['sample-model']);
  }));

test('a stream, event by event and as the client puts it together', () =>
  withRoute(way, ['--prefix', '/v1', '--echo', '--delta-bytes', '3', '--interval-ms', '1'], async (route) => {
    const stream = clientOf(route).responses.stream({ model: 'sample-model', input: prompt });
    const deltas = [];
    const numbers = [];
    for await (const event of stream) {
      numbers.push(event.sequence_number);
      if (event.type === 'response.output_text.delta') deltas.push(event.delta);
    }
    assert.equal(deltas.join(''), prompt);
    assert(deltas.length > 10);
    assert.deepEqual(numbers, numbers.map((_, index) => index));
    assert.equal((await stream.finalResponse()).output_text, prompt);
  }));

test('events arrive one by one, not all at the end', () =>
  withRoute(way, ['--events', '3', '--interval-ms', '150'], async (route) => {
    const stream = await clientOf(route).responses.create({ model: 'm', input: 'x', stream: true });
    const arrivals = [];
    for await (const event of stream) {
      if (event.type === 'response.output_text.delta') arrivals.push(performance.now());
    }
    assert.equal(arrivals.length, 3);
    assert(arrivals[2] - arrivals[0] > 200, `all within ${arrivals[2] - arrivals[0]} ms`);
  }));

const failures = [
  ['a wrong key', [], OpenAI.AuthenticationError, 'some-other-key'],
  ['a limit', ['--status', '429', '--retry-after', '1'], OpenAI.RateLimitError],
  ['a failure of the provider', ['--status', '500'], OpenAI.InternalServerError],
];
for (const [name, options, type, key] of failures) {
  test(`${name} comes in the provider's words, and the client may retry`, () =>
    withRoute(way, options, async (route) => {
      const started = performance.now();
      const asked = clientOf(route).responses.create({ model: 'm', input: 'x' }, { maxRetries: key ? 0 : 1 });
      const error = await asked.catch((thrown) => thrown);
      assert(error instanceof type, String(error));
      assert.equal(error.headers.get('x-ferrin-relay'), null);
      if (key) return assert.equal(error.code, 'invalid_api_key');
      assert.equal((await route.stats()).requests, 2);
      const retryAfter = Number(error.headers.get('retry-after'));
      assert.equal(retryAfter, type === OpenAI.RateLimitError ? 1 : 0);
      assert(performance.now() - started >= 1000 * retryAfter, 'the client did not wait');
    }, key));
}

const slow = ['--events', '100000', '--interval-ms', '20'];
for (const [name, options, stream] of [
  ['an abort in mid-stream', slow, true],
  ['an abort before a whole answer', ['--delay-ms', '3600000'], false],
]) {
  test(`${name} reaches the provider`, () =>
    withRoute(way, options, async (route) => {
      const abort = new AbortController();
      const asked = clientOf(route).responses.create({ model: 'm', input: 'x', stream }, { signal: abort.signal });
      if (stream) {
        for await (const event of await asked) if (event.type === 'response.output_text.delta') break;
      } else {
        await until('the request is under way', async () => (await route.stats()).in_flight === 1);
        abort.abort();
        await assert.rejects(asked, OpenAI.APIUserAbortError);
      }
      await until('the provider sees the abort', async () => (await route.stats()).aborted === 1);
      assert.equal((await route.stats()).in_flight, 0);
    }));
}

for (const ending of ['fin', 'reset']) {
  test(`a stream that breaks off (${ending}) is never taken for a whole one`, () =>
    withRoute(way, ['--break-after', '8', '--break-with', ending], async (route) => {
      const stream = await clientOf(route).responses.create({ model: 'm', input: 'x', stream: true });
      const types = [];
      await assert.rejects(async () => {
        for await (const event of stream) types.push(event.type);
      });
      assert(!types.includes('response.completed'));
    }));
}

const run = promisify(execFile);

/** One request by curl: its exit status, the answer's head and the answer. */
async function curl({ base, key }, data, ...options) {
  const { stdout } = await run('curl', [
    '--silent', '--show-error', '--max-time', '30', '--include', '--no-buffer', ...options,
    '--header', `Authorization: Bearer ${key}`, '--header', 'Content-Type: application/json',
    '--data-binary', data, `${base}/responses`,
  ], { maxBuffer: 64 << 20 });
  const [head] = stdout.split('\r\n\r\n', 1);
  return { head: `${head}\r\n`, body: stdout.slice(head.length + 4) };
}

for (const version of ['--http1.0', '--http1.1']) {
  test(`curl ${version}: whole and streamed`, () =>
    withRoute(way, ['--echo'], async (route) => {
      const whole = await curl(route, JSON.stringify({ model: 'm', input: prompt }), version);
      assert.equal(JSON.parse(whole.body).output[0].content[0].text, prompt);
      const streamed = await curl(route, JSON.stringify({ model: 'm', input: prompt, stream: true }), version);
      assert.match(streamed.body, /event: response\.completed\ndata: \{.*\}\n\n$/);
      assert.equal(/\r\ntransfer-encoding: chunked\r\n/i.test(streamed.head), version === '--http1.1');
    }));
}

test('curl: megabytes go up, with Expect, by length and in chunks, and come back the same', () =>
  withRoute(way, ['--echo'], async (route) => {
    const input = randomBytes(3 << 20).toString('base64');
    const file = join(route.folder, 'body.json');
    writeFileSync(file, JSON.stringify({ model: 'm', input }));
    for (const options of [[], ['--header', 'Expect: 100-continue'], ['--header', 'Transfer-Encoding: chunked']]) {
      const answer = await curl(route, `@${file}`, ...options);
      const json = answer.body.slice(answer.body.indexOf('{'));
      assert(JSON.parse(json).output[0].content[0].text === input, `not the same: ${options}`);
    }
  }));
