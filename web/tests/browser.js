/** The page in a real browser: a server for its files, and Debian's Chromium. */
import { createReadStream, existsSync } from 'node:fs';
import { createServer } from 'node:http';
import { createRequire } from 'node:module';
import { extname } from 'node:path';
import { fileURLToPath } from 'node:url';

const PAGE = new URL('../../build/web/page/', import.meta.url);
const TYPES = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css', '.wasm': 'application/wasm' };
const CHROMIUM = '/usr/bin/chromium';

const { chromium } = createRequire(new URL('../../build/web/browser/', import.meta.url))('playwright-core');

function serve(request, response) {
  const path = new URL(request.url, 'http://page').pathname.slice(1) || 'index.html';
  const file = fileURLToPath(new URL(path, PAGE));
  if (!existsSync(file)) {
    response.writeHead(404).end();
    return;
  }
  response.writeHead(200, { 'content-type': TYPES[extname(file)] ?? 'application/octet-stream' });
  createReadStream(file).pipe(response);
}

/** Starts both; `open(hash, options)` gives a page that has run its chain, and whose errors are kept. */
export async function startBrowser() {
  const server = createServer(serve).listen(0);
  const address = `http://localhost:${server.address().port}/`;
  // Root may use Chromium without its sandbox alone; what it loads is ours.
  const browser = await chromium.launch({ executablePath: CHROMIUM, args: ['--no-sandbox'] });
  const errors = [];
  return {
    address,
    errors,
    async open(hash = '', options = {}) {
      const context = await browser.newContext({ viewport: { width: 1320, height: 900 }, permissions: ['clipboard-read', 'clipboard-write'], ...options });
      const page = await context.newPage();
      page.on('console', (message) => message.type() === 'error' && errors.push(message.text()));
      page.on('pageerror', (error) => errors.push(String(error)));
      await page.goto(`${address}${hash}`);
      await ran(page);
      return page;
    },
    async stop() {
      await browser.close();
      server.close();
    },
  };
}

/** Waits until the page has run a chain `count` times, and none waits. */
export async function ran(page, count = 1) {
  await page.waitForFunction((n) => Number(document.body.dataset.runs ?? 0) >= n, count, { timeout: 60000 });
}
