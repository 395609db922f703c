// A proxy as one would write it with Node: node node-proxy.mjs PORT TARGET
import { Agent as PlainAgent } from 'node:http';
import { Agent as TlsAgent } from 'node:https';
import { createServer } from 'node:http';
import httpProxy from 'http-proxy';

const [port, target] = process.argv.slice(2);
const Agent = target.startsWith('https:') ? TlsAgent : PlainAgent;
const proxy = httpProxy.createProxyServer({
  target,
  agent: new Agent({ keepAlive: true }),
  changeOrigin: true,
  headers: { authorization: 'Bearer sk-bench' },
});
proxy.on('error', (error, request, response) => response.destroy?.(error));
createServer((request, response) => {
  response.on('finish', () => process.stdout.write(`${request.method} ${request.url} ${response.statusCode}\n`));
  proxy.web(request, response);
}).listen(Number(port), '127.0.0.1', 4096);
