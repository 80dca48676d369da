// The page of navdb serve in headless Chromium: types a reading key by key and checks the greyed
// keys and the listed names against the API, searches around a clicked point, opens a picture,
// and takes the screenshot of the README.
//   node serve.test.js URL SCREENSHOT.png READING
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const {chromium} = require('playwright-core');

const [url, screenshot, reading] = process.argv.slice(2);
if (!url || !screenshot || !reading) {
  console.error('usage: node serve.test.js URL SCREENSHOT.png READING');
  process.exit(2);
}

// Katakana key of a hiragana character (the keyboard's data-key).
const key = (c) => String.fromCharCode(c.charCodeAt(0) + 0x60);

async function api(route, params) {
  const res = await fetch(`${url}api/${route}?${new URLSearchParams(params)}`);
  return res.json();
}

async function main() {
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'navdb-chromium-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: '/usr/bin/chromium',
    headless: true,
    viewport: {width: 1000, height: 860},
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
  const failures = [];
  try {
    const page = context.pages()[0] || (await context.newPage());
    page.on('pageerror', (e) => failures.push(`page error: ${e.message}`));
    // Nothing but the server itself is asked.
    page.on('request', (r) => { if (!r.url().startsWith(url)) failures.push(`outside request: ${r.url()}`); });
    await page.goto(url);

    // Type the reading key by key; after each key the page shows what the API says.
    let typed = '';
    for (const c of reading) {
      const button = page.locator(`#keyboard [data-key="${key(c)}"]`);
      await button.waitFor();
      assert.equal(await button.isEnabled(), true, `key ${c} after "${typed}" is greyed`);
      await button.click();
      typed += c;
      const want = await api('kana', {reading: typed, limit: 20});
      await page.waitForFunction((r) => document.getElementById('keyboard').dataset.reading === r, typed);
      assert.equal(await page.textContent('#kana-count'), `${want.count} matches`);
      const enabled = await page.$$eval('#keyboard [data-key]:not(:disabled)', (bs) => bs.map((b) => b.dataset.key));
      assert.deepEqual(enabled.sort(), [...want.next].sort(), `enabled keys after "${typed}"`);
      const greyed = await page.$$eval('#keyboard [data-key]:disabled', (bs) => bs.length);
      assert.equal(greyed + enabled.length, 49, 'every kana key is either enabled or greyed');
      const names = await page.$$eval('#kana-list tr td:first-child', (tds) => tds.map((td) => td.textContent));
      assert.deepEqual(names, want.pois.map((p) => p.name), `names listed after "${typed}"`);
    }
    assert.equal(await page.textContent('#kana-text'), reading);
    const listed = await page.$$eval('#kana-list tr td:first-child', (tds) => tds.length);
    assert.ok(listed > 0, `"${reading}" lists no names`);
    await page.screenshot({path: screenshot});

    // The delete key takes the last kana back.
    await page.click('#keyboard [data-edit="delete"]');
    await page.waitForFunction((r) => document.getElementById('kana-text').textContent === r, reading.slice(0, -1));

    // Vicinity: a click beside the centre moves the point and searches again.
    await page.click('#tabs [data-tab="near"]');
    await page.waitForFunction(() => /POIs of class/.test(document.getElementById('near-count').textContent));
    const before = await page.inputValue('#near-lat');
    await page.click('#near-map', {position: {x: 210, y: 150}});
    await page.waitForFunction((b) => document.getElementById('near-lat').value !== b, before);
    assert.ok(parseFloat(await page.inputValue('#near-lat')) > parseFloat(before), 'a click above the centre moves north');

    // Pictures: the first listed one loads as an image with a size.
    await page.click('#tabs [data-tab="pictures"]');
    const first = page.locator('#picture-kinds button').first();
    await first.waitFor();
    await first.click();
    await page.waitForFunction(() => {
      const img = document.getElementById('picture');
      return img.complete && img.naturalWidth > 0;
    });
    const size = await page.$eval('#picture', (img) => [img.naturalWidth, img.naturalHeight]);
    assert.ok(size[0] > 0 && size[1] > 0, 'the picture has a size');
    console.log(`picture ${await page.textContent('#picture-caption')}`);
  } finally {
    await context.close();
    fs.rmSync(profile, {recursive: true, force: true});
  }
  assert.deepEqual(failures, []);
  console.log(`browser test passed: typed ${reading}, screenshot ${screenshot}`);
}

main().catch((e) => {
  console.error(e);
  process.exit(1);
});
