// Programs that people use, as they are: the official client package and curl. They talk to the provider through the
// relay of FERRIN_RELAY_PROGRAM, or directly where there is none.

import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { promisify } from 'node:util';
import OpenAI from 'openai';

import { test, until } from './programs.mjs';

const prompt = 'Grüße, 默认\nwith "quotes" and 😀';
const clientOf = ({ base, key }) => new OpenAI({ baseURL: base, apiKey: key, maxRetries: 0 });
const ask = (route, more, options) =>
  clientOf(route).responses.create({ model: 'm', input: prompt, ...more }, options);

test('a whole answer, and the list of models', ['--prefix', '/v1', '--echo'], async (route) => {
  const answer = await ask(route);
  assert.equal(answer.output_text, prompt);
  assert.equal(answer.status, 'completed');
  assert.match(answer._request_id, /^req_\d+$/);
  const { data } = await clientOf(route).models.list();
  assert.deepEqual(data.map(({ id }) => id), ['sample-model']);
});

const slowEcho = ['--echo', '--delta-bytes', '3', '--interval-ms', '20'];
test('a stream, event by event, each as it is made', slowEcho, async (route) => {
  const stream = clientOf(route).responses.stream({ model: 'm', input: prompt });
  const events = [];
  const arrivals = [];
  for await (const event of stream) {
    events.push(event);
    arrivals.push(performance.now());
  }
  const deltas = events.filter(({ type }) => type === 'response.output_text.delta').map(({ delta }) => delta);
  assert.equal(deltas.join(''), prompt);
  assert(deltas.length > 10);
  assert(arrivals.at(-1) - arrivals[0] > 100, 'all came at the end');
  assert.deepEqual(events.map((event) => event.sequence_number), [...events.keys()]);
  assert.equal((await stream.finalResponse()).output_text, prompt);
});

for (const [name, options, type, key] of [
  ['a wrong key', [], OpenAI.AuthenticationError, 'some-other-key'],
  ['a limit', ['--status', '429', '--retry-after', '1'], OpenAI.RateLimitError],
  ['a failure of the provider', ['--status', '500'], OpenAI.InternalServerError],
]) {
  test(`${name} comes in the provider's words, and the client may retry`, options, async (route) => {
    const started = performance.now();
    const error = await ask(route, {}, { maxRetries: key ? 0 : 1 }).catch((thrown) => thrown);
    assert(error instanceof type, String(error));
    assert.equal(error.headers.get('x-ferrin-relay'), null);
    if (key) return assert.equal(error.code, 'invalid_api_key');
    assert.equal((await route.stats()).requests, 2);
    const retryAfter = Number(error.headers.get('retry-after'));
    assert.equal(retryAfter, type === OpenAI.RateLimitError ? 1 : 0);
    assert(performance.now() - started >= 1000 * retryAfter, 'the client did not wait');
  }, key);
}

for (const [when, options, stream] of [
  ['in mid-stream', ['--events', '100000', '--interval-ms', '20'], true],
  ['before a whole answer', ['--delay-ms', '3600000'], false],
]) {
  test(`an abort ${when} reaches the provider`, options, async (route) => {
    const abort = new AbortController();
    const asked = ask(route, { stream }, { signal: abort.signal });
    await until(async () => (await route.stats()).in_flight === 1);
    if (stream) await asked;
    abort.abort();
    if (!stream) await assert.rejects(asked, OpenAI.APIUserAbortError);
    await until(async () => (await route.stats()).aborted === 1);
    assert.equal((await route.stats()).in_flight, 0);
  });
}

for (const ending of ['fin', 'reset']) {
  const options = ['--break-after', '8', '--break-with', ending];
  test(`a stream that breaks off (${ending}) is never taken for a whole one`, options, async (route) => {
    const types = [];
    await assert.rejects(async () => {
      for await (const event of await ask(route, { stream: true })) types.push(event.type);
    });
    assert(types.length > 0 && !types.includes('response.completed'), String(types));
  });
}

const megabytes = randomBytes(3 << 20).toString('base64');

/** What curl prints for this question. */
async function curl({ base, key, folder }, question, ...options) {
  const file = join(folder, 'body.json');
  writeFileSync(file, JSON.stringify({ model: 'm', ...question }));
  const { stdout } = await promisify(execFile)('curl', [
    '--silent', '--show-error', '--max-time', '30', '--oauth2-bearer', key, '--json', `@${file}`, ...options,
    `${base}/responses`,
  ], { maxBuffer: 64 << 20 });
  return stdout;
}

const fields = ['--header=Expect: 100-continue', '--header=Transfer-Encoding: chunked'];
for (const option of ['--http1.0', '--http1.1', ...fields]) {
  test(`curl ${option}: megabytes go up and come back the same, whole and streamed`, ['--echo'], async (route) => {
    const options = option.split('=');
    const whole = await curl(route, { input: megabytes }, ...options);
    assert(JSON.parse(whole).output[0].content[0].text === megabytes);
    const streamed = await curl(route, { input: prompt, stream: true }, '--include', ...options);
    assert.match(streamed, /event: response\.completed\ndata: \{.*\}\n\n$/);
    assert.equal(/\r\ntransfer-encoding: chunked\r\n/i.test(streamed), option !== '--http1.0');
  });
}
