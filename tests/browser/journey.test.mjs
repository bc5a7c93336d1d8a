// A visitor's journey through the demo site in headless Chromium: search,
// show, vCard, modify, add, delete, the minimal pages, a script and a frame
// in directory values that must not run or load, and forged writes from
// another site that the web server refuses. The test starts its own demo
// (on free ports, in a state folder under the build tree) and a second site
// (http://localhost:PORT, another site to the browser than 127.0.0.1), and
// stops both at the end.
// Screenshots of every step land in $KESTREL_BROWSER_OUT/screenshots.
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

import { Browser, ELEMENT, freePort, waitFor } from './webdriver.mjs';

const repo = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const out = process.env.KESTREL_BROWSER_OUT ??
  fs.mkdtempSync(path.join(os.tmpdir(), 'kestrel-browser-'));
const shots = path.join(out, 'screenshots');
const password = 'journey-secret';

const missing = process.getuid?.() !== 0 ? 'needs root (mount namespace)'
  : !fs.existsSync('/usr/bin/chromium') ? 'chromium is not installed'
  : spawnSync('which', ['chromedriver']).status !== 0 ? 'chromedriver is not installed'
  : null;
const step = (name, body) => test(name, { skip: missing ?? false }, body);

let demo; // the demo's process
let demoEnv;
let site; // http://127.0.0.1:PORT
let ldapPort;
let other; // http://localhost:PORT, the second site
let otherServer;
const otherRequests = []; // paths the second site was asked for
let browser;
let shot = 0;

async function screenshot(name) {
  shot += 1;
  await browser.screenshot(path.join(shots, `${String(shot).padStart(2, '0')}-${name}.png`));
}

// Waits for the page that a click or a submit opened.
async function waitForTitle(fragment) {
  return waitFor(async () => (await browser.title()).includes(fragment) &&
    (await browser.run('return document.readyState')) === 'complete',
  10000, `a page titled "${fragment}"`);
}

async function search(page, option, text) {
  await browser.go(`${site}/${page}`);
  await browser.run(`document.getElementById('selectoption').value = arguments[0]`, option);
  await browser.fill({ '#searchfor': text });
  await browser.click(await browser.find('input[type=submit]'));
  await waitForTitle('Example.org');
  return browser.text();
}

function startDemo(httpPort, ldapPort) {
  demoEnv = {
    ...process.env,
    KESTREL_DEMO_DIR: path.join(out, 'demo'),
    KESTREL_DEMO_HTTP_PORT: String(httpPort),
    KESTREL_DEMO_LDAP_PORT: String(ldapPort),
    KESTREL_DEMO_PASSWORD: password,
    // Bounds the servers' life should this process be killed outright.
    KESTREL_DEMO_LIFETIME: '600',
  };
  if (process.env.KESTREL_CGI) demoEnv.KESTREL_DEMO_CGI = process.env.KESTREL_CGI;
  // KESTREL_BROWSER_MODE=fastcgi: the demo serves through the FastCGI snippet.
  if (process.env.KESTREL_BROWSER_MODE) {
    demoEnv.KESTREL_DEMO_MODE = process.env.KESTREL_BROWSER_MODE;
  }
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

// The second site: a page to be framed, and pages that send forged writes
// to the demo as soon as they load. The forms carry the right password, as
// a site that binds with its configured password needs none.
function otherPage(url) {
  const program = `${site}/cgi-bin/kestrel.cgi`;
  const grace = 'cn=Grace Trailing,ou=People,dc=example,dc=com';
  const form = (fields) => `<body onload="document.forms[0].submit()">
    <form method="post" action="${program}">${Object.entries(fields).map(([name, value]) =>
    `<input type="hidden" name="${name}" value="${value}">`).join('')}</form>`;
  const pages = {
    '/frame.html': '<title>Sign in</title><form>Password: <input type="password"></form>',
    '/modify.html': form({
      kestreldomain: 'demo', entrydn: grace, ldapcn: 'Grace Trailing',
      telephoneNumber: '+1 (555) 010-6666', updatepassword: password,
    }),
    '/delete.html': form({ kestreldomain: 'demo', delentry: grace, deletepassword: password }),
    // A GET does it too: images whose addresses delete, with the field's
    // name as typed, in other letters and encoded.
    '/images.html': ['delentry', 'DelEntry', '%64elentry'].map((name) =>
      `<img src="${program}?kestreldomain=demo&${name}=${encodeURIComponent(grace)}` +
      `&deletepassword=${password}">`).join(''),
  };
  return pages[url];
}

function startOtherSite(port) {
  otherServer = http.createServer((request, response) => {
    otherRequests.push(request.url);
    const page = otherPage(request.url);
    response.writeHead(page ? 200 : 404, { 'Content-Type': 'text/html; charset=utf-8' });
    response.end(page ? `<!doctype html>${page}` : 'not found');
  });
  return new Promise((resolve) => otherServer.listen(port, '127.0.0.1', resolve));
}

// Runs an LDAP tool of ldap-utils against the demo's directory as its admin.
function ldap(tool, args, input) {
  const result = spawnSync(tool, ['-x', '-H', `ldap://127.0.0.1:${ldapPort}`,
    '-D', 'cn=admin,dc=example,dc=com', '-w', password, ...args],
  { input, encoding: 'utf8', timeout: 30000 });
  assert.equal(result.status, 0, `${tool}: ${result.stderr}`);
  return result.stdout;
}

function stopDemo() {
  if (!demo) return;
  spawnSync('bash', [path.join(repo, 'scripts/demo.sh'), 'stop'], {
    env: demoEnv, stdio: 'ignore', timeout: 30000,
  });
  if (demo.exitCode === null && demo.signalCode === null) demo.kill('SIGTERM');
}

before(async () => {
  if (missing) return;
  fs.rmSync(shots, { recursive: true, force: true });
  fs.mkdirSync(shots, { recursive: true });
  const httpPort = await freePort();
  ldapPort = await freePort();
  site = `http://127.0.0.1:${httpPort}`;
  const otherPort = await freePort();
  other = `http://localhost:${otherPort}`;
  await startOtherSite(otherPort);
  await startDemo(httpPort, ldapPort);
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'kestrel-chromium-'));
  fs.mkdirSync(path.join(out, 'downloads'), { recursive: true });
  browser = await Browser.start({ profile, downloads: path.join(out, 'downloads') });
});

after(async () => {
  try {
    if (browser) await browser.quit();
  } finally {
    stopDemo();
    otherServer?.close();
  }
}, { timeout: 60000 });
process.on('exit', () => {
  browser?.stopDriver();
  if (demo && demo.exitCode === null) demo.kill('SIGKILL');
});

step('home page offers the search form of the sample domain', async () => {
  await browser.go(`${site}/`);
  assert.equal(await browser.title(), 'Example.org directory');
  const options = await browser.run(
    `return [...document.querySelectorAll('#selectoption option')].map(o => o.text)`);
  assert.deepEqual(options.slice(0, 4), ['Name', 'Surname', 'Given name', 'Title']);
  const domain = await browser.find('input[name=kestreldomain]');
  assert.equal(await browser.attribute(domain, 'value'), 'demo');
  await screenshot('home');
});

step('a wildcard name search lists both people called John Smith', async () => {
  const text = await search('', 'Name', 'jo*n');
  assert.match(await browser.title(), /Results from database search/);
  const smiths = text.split('\n').filter((line) => line.startsWith('Smith, John'));
  assert.equal(smiths.length, 2, text);
  const rows = await browser.run('return document.querySelectorAll("table tr").length');
  const count = Number(/Number of matches:\s*(-?\d+)/.exec(text)?.[1]);
  assert.equal(count, rows - 1, 'one row per match below the head');
  assert.match(text, /Search filter: \(&\(objectClass=inetOrgPerson\)\(cn=\*jo\*n\*\)\)/);
  await screenshot('results');
});

step('Display shows every entry of the name', async () => {
  await search('', 'Name', 'John Smith');
  await browser.click(await browser.linkNear('tr', 'Accountant', 'Display'));
  await waitForTitle('Database Information');
  const text = await browser.text();
  assert.match(text, /Accountant/);
  assert.match(text, /Courier/);
  assert.match(text, /john\.smith@example\.com/);
  await screenshot('display');
});

step('the vCard download carries the entry', async () => {
  const downloads = path.join(out, 'downloads');
  for (const file of fs.readdirSync(downloads)) fs.rmSync(path.join(downloads, file));
  await search('', 'Name', 'Victor');
  const link = await browser.linkNear('tr', 'Twophones', 'VCard');
  const href = await browser.attribute(link, 'href');
  await browser.click(link);
  // Chromium writes to a hidden or .crdownload file and renames it at the end.
  const file = await waitFor(() => fs.readdirSync(downloads)
    .find((name) => !name.startsWith('.') && !name.endsWith('.crdownload')),
  15000, 'the download');
  const card = fs.readFileSync(path.join(downloads, file), 'utf8');
  assert.equal(card, [
    'begin:vcard',
    'org:Example Org',
    'fn:Victor Twophones',
    'n:Twophones;Victor',
    'title:Field Engineer',
    'email;internet:victor.twophones@example.com',
    'tel;work:+1 (555) 010-7003',
    'adr;type=work:;;40 Mill Lane;Denver;CO;80202;US',
    'url:http://www.example.com/~vtwophones',
    'end:vcard',
    '',
  ].join('\n'), `downloaded from ${href}`);
  const headers = (await fetch(href)).headers;
  assert.match(headers.get('content-type'), /^text\/x-vcard; charset=us-ascii/);
});

step('Modify with the admin password changes a phone number', async () => {
  await search('', 'Name', 'John Smith');
  await browser.click(await browser.linkNear('tr', 'Accountant', 'Modify'));
  await waitForTitle('Modify database entry');
  await screenshot('modify-form');
  // Two forms, one per John Smith; the Accountant's is the one to change.
  const formOf = `[...document.forms].find(f =>
      f.entrydn.value === 'cn=John Smith,ou=People,dc=example,dc=com')`;
  const setAndSubmit = async (secret) => {
    await browser.run(`const f = ${formOf};
      f.telephoneNumber.value = '+1 (555) 010-9999';
      f.updatepassword.value = arguments[0];`, secret);
    const submit = await browser.run(`return ${formOf}.querySelector('input[type=submit]')`);
    await browser.click(submit[ELEMENT]);
    await waitForTitle('Database Update');
    return browser.text();
  };

  let text = await setAndSubmit('wrong');
  assert.match(text, /Bind password incorrect/);
  assert.doesNotMatch(text, /Update Complete/);

  await browser.go(`${site}/cgi-bin/kestrel.cgi?createupdateform=John+Smith&kestreldomain=demo`);
  await waitForTitle('Modify database entry');
  text = await setAndSubmit(password);
  assert.match(text, /Update Complete/);
  assert.match(text, /Trigger Complete/);
  await screenshot('update-complete');

  await browser.go(`${site}/cgi-bin/kestrel.cgi?info=John+Smith&kestreldomain=demo`);
  await waitForTitle('Database Information');
  assert.match(await browser.text(), /\+1 \(555\) 010-9999/);
  await screenshot('display-after-update');

  const log = fs.readFileSync(
    path.join(out, 'demo/varlib-upper/kestrel/changes.log'), 'utf8');
  assert.ok(log.includes('John Smith,Smith,John,Accountant,Finance,' +
    'john.smith@example.com,+1 (555) 010-9999,,Boston,\n'), log);
});

step('a person added through the add form can be found', async () => {
  await browser.go(`${site}/add.html`);
  await browser.fill({
    '#givenname': 'Zelda', '#initial': 'Q', '#surname': 'Testperson',
    '#title': 'QA Engineer', '#department': 'Research',
    '#email': 'zelda.testperson@example.com', '#phone': '+1 (555) 010-4242',
    '#city': 'Springfield', '#state': 'IL', '#zip': '62701', '#country': 'US',
    '#addpassword': password,
  });
  await browser.click(await browser.find('input[type=submit]'));
  await waitForTitle('Database Entry Addition');
  const text = await browser.text();
  assert.match(text, /Entry addition complete/);
  assert.match(text, /cn=Zelda Q\. Testperson,ou=People,dc=example,dc=com/);
  await screenshot('added');

  assert.match(await search('', 'Surname', 'Testper'), /Testperson, Zelda/);
  await screenshot('found-added');
});

step('Delete with confirmation removes the person', async () => {
  await search('', 'Surname', 'Testper');
  await browser.click(await browser.linkNear('tr', 'Testperson', 'Delete'));
  await waitForTitle('Delete Database Entry');
  assert.match(await browser.text(),
    /Entry to delete: cn=Zelda Q\. Testperson,ou=People,dc=example,dc=com/);
  await screenshot('delete-confirm');
  await browser.fill({ 'input[name=deletepassword]': password });
  await browser.click(await browser.find('input[type=submit]'));
  await waitForTitle('Database Information');
  assert.match(await browser.text(), /Entry Deleted/);
  await screenshot('deleted');

  const text = await search('', 'Surname', 'Testper');
  assert.doesNotMatch(text, /Testperson/);
  assert.match(text, /Number of matches:\s*0/);
});

step('the minimal domain serves lean pages', async () => {
  const text = await search('minimal.html', 'Name', 'jo*n');
  assert.equal(await browser.title(), 'Example.org');
  assert.equal(await browser.run('return document.querySelectorAll("table").length'), 0);
  assert.match(text, /Smith, John/);
  await screenshot('minimal-results');

  await search('minimal.html', 'Name', 'Victor');
  await browser.click(await browser.linkNear('body', 'Twophones', 'Display'));
  await waitFor(async () => (await browser.url()).includes('info='), 10000, 'the display page');
  const display = await browser.text();
  assert.match(display, /Twophones/);
  assert.match(display, /\+1 \(555\) 010-7003/);
  await screenshot('minimal-display');
});

step('a script in a directory value reaches the page but does not run', async () => {
  const response = await fetch(
    `${site}/cgi-bin/kestrel.cgi?info=Mallory+Markup&kestreldomain=demo`);
  const policy = response.headers.get('content-security-policy');
  for (const directive of ["default-src 'none'", "script-src 'none'", "frame-src 'none'",
    "frame-ancestors 'none'", "form-action 'self'"]) {
    assert.ok(policy.split(/\s*;\s*/).includes(directive), `${directive} in ${policy}`);
  }
  assert.equal(response.headers.get('x-frame-options'), 'DENY');
  assert.equal(response.headers.get('x-content-type-options'), 'nosniff');
  assert.equal(response.headers.get('referrer-policy'), 'same-origin');

  await search('', 'Name', 'Mallory');
  await browser.click(await browser.linkNear('tr', 'Markup', 'Display'));
  await waitForTitle('Database Information');
  assert.equal(await browser.run('return document.querySelectorAll("body script").length'), 1,
    'the value is written as markup');
  assert.equal(await browser.title(), 'Example.org: Database Information.');
  assert.equal(await browser.run('return document.body.getAttribute("data-script-ran")'), null);
  await screenshot('script-blocked');
});

step('photos on the site itself still show under the policy', async () => {
  await browser.go(`${site}/cgi-bin/kestrel.cgi?info=Ada+Adler&kestreldomain=demo`);
  await waitForTitle('Database Information');
  assert.deepEqual(await browser.run(
    'return [...document.images].map((i) => i.complete && i.naturalWidth > 0)'), [true]);
});

step('a frame from another site in a directory value does not load', async () => {
  ldap('ldapadd', [], [
    'dn: cn=Ivy Frame,ou=People,dc=example,dc=com',
    'objectClass: inetOrgPerson',
    'cn: Ivy Frame',
    'sn: Frame',
    `title: Intern <iframe src="${other}/frame.html" width="400" height="120"></iframe>`,
    '',
  ].join('\n'));
  await browser.go(`${site}/cgi-bin/kestrel.cgi?info=Ivy+Frame&kestreldomain=demo`);
  // The page is complete only when its frames are.
  await waitForTitle('Database Information');
  assert.equal(await browser.run('return document.querySelectorAll("iframe").length'), 1,
    'the value is written as markup');
  assert.ok(!otherRequests.includes('/frame.html'), 'the frame was fetched');
  await screenshot('frame-blocked');
});

step('writes sent from another site are refused and change nothing', async () => {
  const grace = async () => (await fetch(
    `${site}/cgi-bin/kestrel.cgi?info=Grace+Trailing&kestreldomain=demo`)).text();
  assert.match(await grace(), /\+1 \(555\) 010-7001/);

  for (const page of ['modify', 'delete']) {
    await browser.go(`${other}/${page}.html`);
    await waitFor(async () => (await browser.url()).startsWith(site) &&
      (await browser.run('return document.readyState')) === 'complete',
    10000, `the forged ${page}`);
    assert.match(await browser.text(), /403 Forbidden/);
    await screenshot(`forged-${page}`);
  }
  await browser.go(`${other}/images.html`);
  await waitFor(async () => (await browser.run('return document.readyState')) === 'complete',
    10000, 'the images');

  const text = await grace();
  assert.match(text, /\+1 \(555\) 010-7001/);
  assert.doesNotMatch(text, /010-6666/);
});

step('without Sec-Fetch-Site the Origin header decides; reads stay open', async () => {
  const program = `${site}/cgi-bin/kestrel.cgi`;
  const post = async (headers) => (await fetch(program, {
    method: 'POST',
    headers: { 'Content-Type': 'application/x-www-form-urlencoded', ...headers },
    body: 'kestreldomain=demo&searchfor=Grace&selectoption=Name',
  })).status;
  assert.equal(await post({ Origin: other }), 403);
  assert.equal(await post({ Origin: 'null' }), 403);
  assert.equal(await post({ Origin: site }), 200);
  assert.equal(await post({}), 200);
  // A link from another site to a search or an entry still works.
  const read = await fetch(`${program}?kestreldomain=demo&info=Grace+Trailing`,
    { headers: { 'Sec-Fetch-Site': 'cross-site', Origin: other } });
  assert.equal(read.status, 200);
});
