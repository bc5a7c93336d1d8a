// A small WebDriver client: chromedriver on loopback drives Debian's
// headless Chromium. Only the calls the journey needs.
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';

export const ELEMENT = 'element-6066-11e4-a52e-4f735466cecf';

export function freePort() {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.on('error', reject);
    server.listen(0, '127.0.0.1', () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

export const sleep = (ms) => new Promise((r) => setTimeout(r, ms));

// Polls `probe` until it returns a truthy value; throws after `ms`.
export async function waitFor(probe, ms, what) {
  const deadline = Date.now() + ms;
  for (;;) {
    try {
      const value = await probe();
      if (value) return value;
    } catch {
      // not yet
    }
    if (Date.now() > deadline) throw new Error(`timed out waiting for ${what}`);
    await sleep(100);
  }
}

export class Browser {
  constructor(driver, base, session) {
    this.driver = driver;
    this.base = base;
    this.session = session;
  }

  // Starts chromedriver on a free port and opens a headless session with a
  // fresh profile; downloads go to `downloads`.
  static async start({ profile, downloads }) {
    const port = await freePort();
    const driver = spawn('chromedriver', [`--port=${port}`], {
      stdio: ['ignore', 'ignore', 'ignore'],
    });
    const base = `http://127.0.0.1:${port}`;
    await waitFor(async () => {
      const r = await fetch(`${base}/status`);
      return (await r.json()).value.ready;
    }, 15000, 'chromedriver');
    const args = [
      '--headless', '--no-sandbox', '--disable-gpu',
      '--disable-background-networking', '--disable-component-update',
      '--disable-sync', '--no-first-run', `--user-data-dir=${profile}`,
      '--window-size=1280,1000',
    ];
    const capabilities = {
      alwaysMatch: {
        browserName: 'chrome',
        'goog:chromeOptions': {
          binary: '/usr/bin/chromium',
          args,
          prefs: {
            'download.default_directory': downloads,
            'download.prompt_for_download': false,
          },
        },
      },
    };
    const browser = new Browser(driver, base, null);
    try {
      const value = await browser.call('POST', '/session', { capabilities });
      browser.session = value.sessionId;
    } catch (error) {
      browser.stopDriver();
      throw error;
    }
    return browser;
  }

  async call(method, path, body) {
    const url = this.session && !path.startsWith('/session')
      ? `${this.base}/session/${this.session}${path}`
      : `${this.base}${path}`;
    const response = await fetch(url, {
      signal: AbortSignal.timeout(30000),
      method,
      headers: { 'Content-Type': 'application/json' },
      body: body === undefined ? undefined : JSON.stringify(body),
    });
    const json = await response.json();
    if (!response.ok) {
      throw new Error(`${method} ${path}: ${json.value?.message ?? response.status}`);
    }
    return json.value;
  }

  go(url) { return this.call('POST', '/url', { url }); }
  title() { return this.call('GET', '/title'); }
  url() { return this.call('GET', '/url'); }
  run(script, ...args) {
    return this.call('POST', '/execute/sync', { script, args });
  }
  text() { return this.run('return document.body.innerText'); }
  html() { return this.run('return document.documentElement.outerHTML'); }

  async find(css) {
    const value = await this.call('POST', '/element',
      { using: 'css selector', value: css });
    return value[ELEMENT];
  }
  // The first link whose text is `text` inside the first element matching
  // `scope` that holds `marker` in its text.
  async linkNear(scope, marker, text) {
    const element = await this.run(`
      const [scope, marker, text] = arguments;
      for (const box of document.querySelectorAll(scope)) {
        if (!box.innerText.includes(marker)) continue;
        for (const a of box.querySelectorAll('a')) {
          if (a.innerText.trim() === text) return a;
        }
      }
      return null;`, scope, marker, text);
    if (!element) throw new Error(`no "${text}" link near "${marker}"`);
    return element[ELEMENT];
  }
  click(id) { return this.call('POST', `/element/${id}/click`, {}); }
  async type(id, text) {
    await this.call('POST', `/element/${id}/clear`, {});
    return this.call('POST', `/element/${id}/value`, { text });
  }
  async fill(fields) {
    for (const [css, value] of Object.entries(fields)) {
      await this.type(await this.find(css), value);
    }
  }
  async attribute(id, name) {
    return this.call('GET', `/element/${id}/attribute/${name}`);
  }

  async screenshot(file) {
    const png = await this.call('GET', '/screenshot');
    fs.writeFileSync(file, Buffer.from(png, 'base64'));
  }

  stopDriver() {
    if (this.driver.exitCode === null) this.driver.kill('SIGTERM');
  }

  // Closes the browser; the driver is stopped even when that fails.
  async quit() {
    try {
      if (this.session) await this.call('DELETE', `/session/${this.session}`);
    } catch {
      // the driver's end below takes the browser with it
    } finally {
      this.stopDriver();
    }
  }
}
