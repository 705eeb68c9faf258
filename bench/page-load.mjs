// The image settings page's load time to its first rendered control, in Debian's headless Chromium, beside the
// requests the page waits for before drawing it, timed on the same server.
//
//   node bench/page-load.mjs SENSORCTL [RUNS]     (Playwright from tests/browser: npm ci there first)
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import path from 'node:path';

const require = createRequire(new URL('../tests/browser/package.json', import.meta.url));
const { chromium } = require('@playwright/test');

const [sensorctl, runsText = '20'] = process.argv.slice(2);
const runs = Number(runsText);

// What the page fetches before it draws its first control, in its order.
const PAGE_FILES = ['/', '/app.js', '/api.js', '/controls.js', '/style.css'];
const PAGE_API = ['/api/camera', '/api/channels/1/controls', '/api/channels/1/scheme'];

const median = (list) => [...list].sort((a, b) => a - b)[Math.floor(list.length / 2)];

const dir = mkdtempSync(path.join(tmpdir(), 'page-load-'));
const root = path.join(dir, 'root');
execFileSync(sensorctl, ['init-root', root, '--profile', 'bullet']);
const server = spawn(sensorctl, ['serve', '--root', root, '--listen', '127.0.0.1:0'], {
  stdio: ['ignore', 'pipe', 'inherit'],
});
try {
  const url = await new Promise((resolve, reject) => {
    let out = '';
    server.stdout.on('data', (chunk) => {
      out += chunk;
      const found = out.match(/serving (http:\/\/\S+)\n/);
      if (found) resolve(found[1].replace(/\/$/, ''));
    });
    server.on('exit', (code) => reject(new Error(`sensorctl serve ended (${code}): ${out}`)));
  });

  // The page: a fresh context (no cache) per run; the time is the page's own
  // clock at the first frame drawn with a control in the open tab.
  const browser = await chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking'],
  });
  const page = [];
  for (let i = 0; i < runs; ++i) {
    const context = await browser.newContext();
    const tab = await context.newPage();
    await tab.addInitScript(() => {
      const seen = new MutationObserver(() => {
        if (!document.querySelector('[role=tabpanel]:not([hidden]) li')) return;
        seen.disconnect();
        requestAnimationFrame(() => (window.firstControl = performance.now()));
      });
      seen.observe(document, { childList: true, subtree: true });
    });
    await tab.goto(url);
    await tab.waitForFunction(() => window.firstControl !== undefined);
    page.push(await tab.evaluate(() => window.firstControl));
    await context.close();
  }
  await browser.close();

  // The same requests one after the other (the page makes the last two at once).
  const requests = [];
  for (let i = 0; i < runs; ++i) {
    const start = performance.now();
    for (const file of [...PAGE_FILES, ...PAGE_API]) await (await fetch(url + file)).arrayBuffer();
    requests.push(performance.now() - start);
  }
  const controls = await (await fetch(`${url}/api/channels/1/controls`)).json();
  const values = controls.tabs.flatMap((t) => t.controls).filter((c) => c.value !== undefined).length;
  console.log(`| page loaded to its first rendered control (median of ${runs}, fresh context each) | ` +
    `${median(page).toFixed(1)} ms |`);
  console.log(`| the first of them (the browser's first page) | ${page[0].toFixed(1)} ms |`);
  console.log(`| its ${PAGE_FILES.length + PAGE_API.length} requests one after the other, median (in the module: ` +
    `${values} getParameter calls) | ${median(requests).toFixed(1)} ms |`);
} finally {
  server.kill('SIGTERM');
  rmSync(dir, { recursive: true, force: true });
}
