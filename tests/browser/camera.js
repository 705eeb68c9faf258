// A fresh camera root per test, its controls as `sensorctl controls --json` lists them, served on a free port.
import { test as base } from '@playwright/test';
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const sensorctl =
  process.env.SENSORCTL ??
  path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../../build/plain/tools/sensorctl/sensorctl');

function controlsOf(root) {
  const channels = [];
  for (let channel = 1; ; ++channel) {
    try {
      const args = ['--root', root, '--channel', String(channel), 'controls', '--json'];
      channels.push(JSON.parse(execFileSync(sensorctl, args, { stdio: ['ignore', 'pipe', 'ignore'] })));
    } catch {
      return channels; // past the camera's last channel
    }
  }
}

async function start(profile, dir, args) {
  const root = path.join(dir, profile);
  execFileSync(sensorctl, ['init-root', root, '--profile', profile]);
  const channels = controlsOf(root);
  const server = spawn(sensorctl, ['serve', '--root', root, '--listen', '127.0.0.1:0', ...args], {
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  const url = await new Promise((resolve, reject) => {
    let out = '';
    server.stdout.on('data', (chunk) => {
      out += chunk;
      const found = out.match(/serving (http:\/\/\S+)\n/);
      if (found) resolve(found[1]);
    });
    server.on('exit', (code) => reject(new Error(`sensorctl serve ended (${code}): ${out}`)));
  });
  return { url, root, channels, server };
}

// `camera(profile, ...serveOptions)` serves a new root of a bundled camera; everything is removed after the test.
export const test = base.extend({
  camera: async ({}, use) => {
    const dir = mkdtempSync(path.join(tmpdir(), 'page-test-'));
    const started = [];
    await use(async (profile, ...args) => {
      const camera = await start(profile, dir, args);
      started.push(camera.server);
      return camera;
    });
    for (const server of started) {
      const ended = new Promise((resolve) => server.once('exit', resolve));
      server.kill('SIGTERM');
      await ended;
    }
    rmSync(dir, { recursive: true, force: true });
  },
});

export { expect } from '@playwright/test';
