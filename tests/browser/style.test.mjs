// The demo's look in headless Chromium at a desktop and a phone size: the
// shipped stylesheet reaches every page, the page body never scrolls
// sideways on a phone (the result table scrolls in its own box), every
// link and control is at least 44 CSS px tall there, the information page
// prints without its controls, and the Content-Security-Policy in force
// reports no violation. Screenshots of each page at both sizes land in
// $KESTREL_BROWSER_OUT/style-screenshots as <width>-NN-<page>.png (apart
// from the journey's folder, which the journey empties when it starts).
import { after, before, describe, test } from 'node:test';
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

import { Browser, freePort, waitFor } from './webdriver.mjs';

const repo = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const out = process.env.KESTREL_BROWSER_OUT ??
  fs.mkdtempSync(path.join(os.tmpdir(), 'kestrel-browser-'));
const shots = path.join(out, 'style-screenshots');
const password = 'style-secret';

const missing = process.getuid?.() !== 0 ? 'needs root (mount namespace)'
  : !fs.existsSync('/usr/bin/chromium') ? 'chromium is not installed'
  : spawnSync('which', ['chromedriver']).status !== 0 ? 'chromedriver is not installed'
  : null;

// The page background the sheet sets: proof that it was loaded.
const sheetBackground = 'rgb(246, 247, 249)';

const sizes = [
  { name: 'desktop', width: 1280, height: 800, mobile: false },
  { name: 'phone', width: 390, height: 844, mobile: true },
];

// The pages of the demo, in the order a visitor meets them.
const cgi = '/cgi-bin/kestrel.cgi';
const victorDn = 'cn%3DVictor+Twophones%2Cou%3DPeople%2Cdc%3Dexample%2Cdc%3Dcom';
const pages = [
  { name: 'home', url: '/' },
  { name: 'results', url: `${cgi}?kestreldomain=demo&selectoption=Name&searchfor=jo*n` },
  { name: 'info', url: `${cgi}?kestreldomain=demo&info=Victor+Twophones` },
  { name: 'modify-form', url: `${cgi}?kestreldomain=demo&createupdateform=Victor+Twophones` },
  { name: 'delete-confirm', url: `${cgi}?kestreldomain=demo&createdeleteform=${victorDn}` },
  { name: 'add', url: '/add.html' },
  { name: 'generated-search', url: '/generated/search.html' },
  { name: 'generated-add', url: '/generated/add.html' },
  { name: 'minimal-results', url: `${cgi}?kestreldomain=mini&selectoption=Name&searchfor=jo*n` },
  { name: 'minimal-info', url: `${cgi}?kestreldomain=mini&info=Victor+Twophones` },
];

let demo;
let demoEnv;
let site;
let browser;

function startDemo(httpPort, ldapPort) {
  demoEnv = {
    ...process.env,
    KESTREL_DEMO_DIR: path.join(out, 'style-demo'),
    KESTREL_DEMO_HTTP_PORT: String(httpPort),
    KESTREL_DEMO_LDAP_PORT: String(ldapPort),
    KESTREL_DEMO_PASSWORD: password,
    KESTREL_DEMO_LIFETIME: '600',
  };
  if (process.env.KESTREL_CGI) demoEnv.KESTREL_DEMO_CGI = process.env.KESTREL_CGI;
  demo = spawn('bash', [path.join(repo, 'scripts/demo.sh')], {
    env: demoEnv, stdio: ['ignore', 'pipe', 'pipe'],
  });
  let output = '';
  demo.stdout.on('data', (chunk) => { output += chunk; });
  demo.stderr.on('data', (chunk) => { output += chunk; });
  return new Promise((resolve, reject) => {
    const timer = setTimeout(() => reject(new Error(`demo not ready:\n${output}`)), 120000);
    demo.stdout.on('data', () => {
      if (output.includes('is ready')) { clearTimeout(timer); resolve(); }
    });
    demo.on('exit', () => { clearTimeout(timer); reject(new Error(`demo ended:\n${output}`)); });
  });
}

function stopDemo() {
  if (!demo) return;
  spawnSync('bash', [path.join(repo, 'scripts/demo.sh'), 'stop'], {
    env: demoEnv, stdio: 'ignore', timeout: 30000,
  });
  if (demo.exitCode === null && demo.signalCode === null) demo.kill('SIGTERM');
}

const cdp = (cmd, params = {}) => browser.call('POST', '/goog/cdp/execute', { cmd, params });

async function resize({ width, height, mobile }) {
  await cdp('Emulation.setDeviceMetricsOverride',
    { width, height, deviceScaleFactor: 1, mobile });
}

// Opens a page and waits for it and its style sheet to be complete.
async function open(url) {
  await browser.go(`${site}${url}`);
  await waitFor(async () => (await browser.run('return document.readyState')) === 'complete',
    10000, `${url} to load`);
}

// Links and controls a visitor can reach, with their size.
const targetsScript = `
  return [...document.querySelectorAll('a[href], input:not([type=hidden]), select, button, textarea')]
    .filter((e) => e.getClientRects().length > 0)
    .map((e) => ({ what: e.outerHTML.slice(0, 80), height: e.getBoundingClientRect().height }));`;

before(async () => {
  if (missing) return;
  fs.rmSync(shots, { recursive: true, force: true });
  fs.mkdirSync(shots, { recursive: true });
  const httpPort = await freePort();
  const ldapPort = await freePort();
  site = `http://127.0.0.1:${httpPort}`;
  await startDemo(httpPort, ldapPort);
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'kestrel-chromium-'));
  browser = await Browser.start({ profile, downloads: path.join(out, 'downloads') });
  // Every document records the policy violations it sees; scripts added
  // this way run even where the page's own policy forbids scripts.
  await cdp('Page.enable');
  await cdp('Page.addScriptToEvaluateOnNewDocument', {
    source: `window.__violations = [];
      document.addEventListener('securitypolicyviolation', (e) =>
        window.__violations.push(e.violatedDirective + ' ' + e.blockedURI));`,
  });
});

after(async () => {
  try {
    if (browser) await browser.quit();
  } finally {
    stopDemo();
  }
}, { timeout: 60000 });
process.on('exit', () => {
  browser?.stopDriver();
  if (demo && demo.exitCode === null) demo.kill('SIGKILL');
});

describe('the demo with the shipped stylesheet', { skip: missing ?? false }, () => {
  test('program pages carry the policy that lets the sheet load', async () => {
    const response = await fetch(`${site}${pages[1].url}`);
    assert.match(response.headers.get('content-security-policy'), /style-src 'self'/);
    const page = await response.text();
    assert.match(page, /<link rel="stylesheet" href="\/kestrel.css" {2}\/>\n<meta name="viewport"/);
    const sheet = await fetch(`${site}/kestrel.css`);
    assert.match(sheet.headers.get('content-type'), /^text\/css/);
  });

  for (const size of sizes) {
    test(`every page at ${size.width}x${size.height}`, async () => {
      await resize(size);
      let step = 0;
      for (const page of pages) {
        step += 1;
        await open(page.url);
        const where = `${page.name} at ${size.width} px`;
        assert.equal(await browser.run('return getComputedStyle(document.body).backgroundColor'),
          sheetBackground, `${where}: the style sheet is not applied`);
        assert.deepEqual(await browser.run('return window.__violations'), [], where);
        if (size.mobile) {
          const [scrollWidth, width] = await browser.run(
            'return [document.documentElement.scrollWidth, window.innerWidth]');
          assert.ok(scrollWidth <= width, `${where}: the page is ${scrollWidth} px wide`);
          const small = (await browser.run(targetsScript)).filter((t) => t.height < 44);
          assert.deepEqual(small, [], `${where}: targets under 44 px`);
        }
        await browser.screenshot(path.join(shots,
          `${size.width}-${String(step).padStart(2, '0')}-${page.name}.png`));
      }
    });
  }

  test('the result table scrolls inside its own box on a phone', async () => {
    await resize(sizes[1]);
    await open(pages[1].url);
    const [boxWidth, tableWidth, overflow] = await browser.run(`
      const table = document.querySelector('table[border]');
      const box = table.parentElement;
      return [box.clientWidth, table.offsetWidth, getComputedStyle(box).overflowX];`);
    assert.ok(tableWidth > boxWidth, `table ${tableWidth} px in a box of ${boxWidth} px`);
    assert.equal(overflow, 'auto');
  });

  test('the information page prints without its controls', async () => {
    await resize(sizes[0]);
    await open(pages[2].url);
    await cdp('Emulation.setEmulatedMedia', { media: 'print' });
    try {
      const shown = await browser.run(`
        const visible = (e) => e.getClientRects().length > 0;
        return {
          credit: visible(document.querySelector('h1')),
          links: [...document.querySelectorAll('a')].filter(visible).map((a) => a.textContent),
          rows: [...document.querySelectorAll('td')].filter(visible).length,
        };`);
      assert.equal(shown.credit, false, 'the credit line');
      assert.deepEqual(shown.links, ['Home page']);
      assert.ok(shown.rows > 20, `${shown.rows} table cells`);
    } finally {
      await cdp('Emulation.setEmulatedMedia', { media: '' });
    }
  });
});
