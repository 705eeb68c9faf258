// The page's tests run in Debian's Chromium, headless; Playwright never downloads a browser of its own.
import { defineConfig } from '@playwright/test';

export default defineConfig({
  testDir: '.',
  timeout: 60_000,
  expect: { timeout: 10_000 },
  workers: 2,
  reporter: 'list',
  outputDir: process.env.PAGE_TEST_OUTPUT ?? '../../build/page-tests',
  use: {
    browserName: 'chromium',
    viewport: { width: 1400, height: 1000 },
    // Each launch gets a fresh temporary profile (--user-data-dir) from Playwright.
    launchOptions: {
      executablePath: '/usr/bin/chromium',
      args: [
        '--headless',
        '--no-sandbox',
        '--disable-gpu',
        '--disable-quic',
        '--no-first-run',
        '--disable-background-networking',
        '--disable-component-update',
        '--disable-sync',
      ],
    },
  },
});
