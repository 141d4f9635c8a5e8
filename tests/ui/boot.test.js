// The start-up check's page in a real browser engine against a fake native side: each mode shows its
// advice, the rows follow the status document, "Check again" asks afresh, and a ready session goes on to
// the main page by itself.
const { test, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const path = require('path');
const h = require('./harness');

const artifacts = process.env.QVN_ARTIFACTS || path.resolve(__dirname, '../../build/ui-artifacts');
fs.mkdirSync(artifacts, { recursive: true });
after(h.close);

const calls = (page, name) => page.evaluate((n) => window.__qvn.calls.filter((c) => c.name === n).length, name);
const rowState = (page) => page.$$eval('#checks li', (lis) => lis.filter((li) => !li.hidden)
  .map((li) => li.id.replace('check-', '') + ':' + (li.classList.contains('bad') ? 'bad' : li.classList.contains('optional') ? 'optional' : 'ok')));
const missing = (...words) => ({ accessibility: !words.includes('display'), input: false, ready: false, missing: words });

test('boot page, "permissions": names what is missing and how to get it; "Check again" asks again', async () => {
  const page = await h.openBoot('permissions', [missing('xtest', 'record')]);
  await page.waitForFunction(() => document.querySelector('#check-xtest.bad'));
  assert.equal(await page.isVisible('#mode-input'), true);
  assert.equal(await page.isVisible('#mode-update'), false);
  assert.deepEqual(await rowState(page), ['display:ok', 'xtest:bad', 'xinput:ok', 'record:optional']);
  assert.match(await page.textContent('#check-xtest .fix'), /no XTEST extension/);
  assert.equal(await page.isVisible('#check-xinput .fix'), false);
  assert.match(await page.textContent('#input-intro'), /missing something/);
  // Keyboard first: the one action has the focus.
  assert.equal(await page.evaluate(() => document.activeElement.id), 'check-again');
  await page.screenshot({ path: path.join(artifacts, 'boot-permissions.png') });
  const before = await calls(page, 'qvnMacPermissionStatus');
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => /Still missing/.test(document.getElementById('state').textContent));
  assert.ok((await calls(page, 'qvnMacPermissionStatus')) > before);
  assert.equal(await calls(page, 'qvnMacContinue'), 0);
  assert.deepEqual(page.errors, []);
});

test('boot page, "reset": says input worked before; a Wayland session gets its own row', async () => {
  const page = await h.openBoot('reset', [{ accessibility: true, input: true, ready: false, missing: ['wayland'] }]);
  await page.waitForFunction(() => document.querySelector('#check-wayland.bad'));
  assert.match(await page.textContent('#input-title'), /stopped working/);
  assert.match(await page.textContent('#input-intro'), /before/);
  assert.deepEqual(await rowState(page), ['display:ok', 'wayland:bad', 'xtest:ok', 'xinput:ok', 'record:ok']);
  assert.match(await page.textContent('#check-wayland .fix'), /X11 \(Xorg\) session/);
  await page.screenshot({ path: path.join(artifacts, 'boot-reset-wayland.png') });
});

test('boot page: once the session is ready it goes on to the main page by itself', async () => {
  const page = await h.openBoot('permissions', [missing('display'), { accessibility: true, input: true, ready: true, missing: [] }]);
  await page.waitForFunction(() => document.querySelector('#check-display.bad'));
  assert.deepEqual(await rowState(page), ['display:bad', 'xtest:ok', 'xinput:ok', 'record:ok']);
  await page.click('#check-again');
  await page.waitForFunction(() => window.__qvn.calls.some((c) => c.name === 'qvnMacContinue'));
  assert.match(await page.textContent('#state'), /All set/);
});

test('boot page, "update": the updater and a way on, no input check', async () => {
  const page = await h.openBoot('update', [missing()]);
  assert.equal(await page.isVisible('#mode-update'), true);
  assert.equal(await page.isVisible('#mode-input'), false);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'open-updates');
  await page.screenshot({ path: path.join(artifacts, 'boot-update.png') });
  await page.click('#open-updates');
  await page.click('#continue-anyway');
  await page.waitForFunction(() => window.__qvn.calls.some((c) => c.name === 'qvnMacContinue'));
  assert.equal(await calls(page, 'qvnMacOpenSoftwareUpdate'), 1);
  assert.equal(await calls(page, 'qvnMacPermissionStatus'), 0);
});
