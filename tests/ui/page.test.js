// The main page in a real browser engine against a fake native side: what each control sends, how the
// status documents show, the import confirmation, themes and skins, and screenshots for a person to look at.
const { test, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const path = require('path');
const h = require('./harness');

const artifacts = process.env.QVN_ARTIFACTS || path.resolve(__dirname, '../../build/ui-artifacts');
fs.mkdirSync(artifacts, { recursive: true });
after(h.close);

const set = (page, sel, value) => page.fill(sel, String(value)).then(() => page.dispatchEvent(sel, 'change'));
const last = async (page, name) => (await h.calls(page, name)).at(-1);
const toastSays = (page, re) => page.waitForFunction((src) => new RegExp(src).test(document.getElementById('toasts').textContent), re.source);

test('start-up: settings first, saved order and collapse, theme, then shown', async () => {
  const table = h.docs({ getSharedTheme: 'graphite', getPendingThemeAlert: 'That macro file could not be imported.' });
  table.getAppSettings.panelOrder = ['panel-ui', 'panel-tracker'];
  table.getAppSettings.minimizedPanels = ['panel-keyspam'];
  const page = await h.open({ table });
  const first = await page.evaluate(() => window.__qvn.calls[0].name);
  assert.equal(first, 'getAppSettings');
  const order = await page.$$eval('#dashboard > .panel', (ps) => ps.map((p) => p.id));
  assert.deepEqual(order, ['panel-ui', 'panel-tracker', 'panel-spammer', 'panel-keyspam', 'panel-profile']);
  assert.equal(await page.isVisible('#panel-keyspam .panel-body'), false);
  assert.equal(await page.getAttribute('#panel-keyspam [data-act="collapse"]', 'aria-expanded'), 'false');
  assert.equal(await page.evaluate(() => currentThemeKey), 'graphite');
  assert.equal(await page.$eval('#theme-select', (s) => s.value), 'graphite');
  assert.equal(await page.$eval('body', (b) => getComputedStyle(b).backgroundColor), 'rgb(18, 18, 18)');
  // The app's start-up script words the login option for this platform.
  assert.match(await page.textContent('label:has(#opt-launch-startup)'), /^\s*Launch at login$/);
  // A message kept for the page while it wasn't up is shown once it is.
  await page.waitForSelector('#ask-dialog[open]');
  assert.equal(await page.textContent('#ask-text'), 'That macro file could not be imported.');
  await page.click('#ask-ok');
  // A binding that refuses its argument rejects with a sentence, which the page shows.
  await h.setDoc(page, 'updateSpammer', { __reject: 'updateSpammer: needs nine whole numbers' });
  await set(page, '#sp-ms', 20);
  await toastSays(page, /needs nine whole numbers/);
  assert.deepEqual(page.errors, []);
});

test('each tool control sends its binding with the argument text the native side reads', async () => {
  const page = await h.open();
  await h.clearCalls(page);

  await set(page, '#sp-s', 1);
  await set(page, '#sp-ms', 250);
  await page.click('#panel-spammer .seg label:has-text("Right")');
  await page.click('#panel-spammer .seg label:has-text("Double")');
  await page.click('#sp-times');
  await set(page, '#sp-times', 7);
  await page.click('input[name="sp-loc"][value="1"]');
  assert.equal(await last(page, 'updateSpammer'), '0,0,1,250,1,1,0,7,1');
  // A value that isn't a whole number never reaches the native parser as such.
  await set(page, '#sp-h', -3);
  assert.equal(await last(page, 'updateSpammer'), '0,0,1,250,1,1,0,7,1');
  await set(page, '#sp-h', 99999999999);
  assert.equal(await last(page, 'updateSpammer'), '1000000,0,1,250,1,1,0,7,1');

  await set(page, '#ks-m', 2);
  await set(page, '#ks-ms', 5);
  assert.equal(await last(page, 'updateKeySpam'), '0,2,0,5,1,10');

  await page.click('label:has(#sp-hold)');
  await page.click('label:has(#ks-hold)');
  await page.click('label:has(#ks-chord)');
  await page.click('#sp-pick');
  await page.click('[data-key="hkAuto"]');
  await page.click('#ks-add');

  await page.click('label:has(#tr-tmv)');
  await set(page, '#tr-speed', 0);
  await page.click('label:has(#tr-loop)');
  await set(page, '#tr-loop-ms', 1500);
  assert.equal(await last(page, 'updateTracker'), 'false,true,true,true,false,0.1,true,1500');

  const seen = await page.evaluate(() => window.__qvn.calls.map((c) => c.name + ':' + c.text));
  for (const expected of ['setHoldMode:auto,1', 'setHoldMode:keyspam,1', 'setKeySpamChordMode:1', 'pickLocation:',
    'reassignKey:auto', 'reassignKey:keyspamtarget']) {
    assert.ok(seen.includes(expected), expected + ' in ' + seen.join(' '));
  }
  assert.deepEqual(page.errors, []);
});

test('number fields: the range is shown, a corrected value is marked and said, a start of no rounds says why', async () => {
  const notice = 'The session file could not be read, so Quorvane started from the defaults. The old file is kept '
    + 'unchanged as /home/u/.local/share/Quorvane/session.dat.unreadable-20260101-120000Z.';
  const page = await h.open({ table: h.docs({ takeNotices: [notice] }), extra: ['takeNotices'] });
  // What the native side had to say before the page was up comes once, in the page's own dialog.
  await page.waitForSelector('#ask-dialog[open]');
  assert.equal(await page.textContent('#ask-text'), notice);
  await page.click('#ask-ok');
  assert.equal((await h.calls(page, 'takeNotices')).length, 1);

  assert.equal(await page.getAttribute('#sp-h', 'title'), 'From 0 to 1,000,000');
  await page.focus('#tr-speed');
  assert.equal(await page.textContent('#range-hint'), '0.1 to 100');
  await page.focus('#sp-h');  // shown under the field that has the focus, and only while it has
  assert.equal(await page.textContent('#range-hint'), '0 to 1,000,000, whole numbers');
  const [hint, field] = await Promise.all(['#range-hint', '#sp-h'].map((s) => page.$eval(s, (e) => e.getBoundingClientRect().toJSON())));
  assert.ok(hint.top >= field.bottom && hint.top - field.bottom < 10, JSON.stringify({ hint, field }));
  await page.screenshot({ path: path.join(artifacts, 'range-hint.png') });
  await page.focus('#sp-start');
  assert.equal(await page.isVisible('#range-hint'), false);
  assert.equal(await page.getAttribute('#tr-speed', 'max'), '100');
  await set(page, '#sp-h', 99999999999);
  await toastSays(page, /Hours between clicks: "99999999999" is outside 0 to 1,000,000 \(whole numbers\), so it is now 1,000,000\./);
  assert.equal(await page.getAttribute('#sp-h', 'aria-invalid'), 'true');
  assert.equal(await page.$eval('#sp-h', (i) => i.classList.contains('corrected')), true);
  await set(page, '#sp-ms', '');
  await toastSays(page, /"empty" is outside 0 to 1,000,000 \(whole numbers\), so it is now 0\./);
  await set(page, '#sp-s', 2.7);
  assert.equal(await last(page, 'updateSpammer'), '1000000,0,3,0,0,0,1,10,0');
  await set(page, '#sp-m', 4);  // a value in range is taken as typed, unmarked
  assert.equal(await page.getAttribute('#sp-m', 'aria-invalid'), null);
  await set(page, '#tr-speed', 500);
  await toastSays(page, /Playback speed: "500" is outside 0.1 to 100, so it is now 100\./);
  assert.match(await last(page, 'updateTracker'), /,100,false,0$/);

  await page.click('#sp-times');
  await set(page, '#sp-times', 0);
  await h.clearCalls(page);
  await page.click('#sp-start');
  await toastSays(page, /The Spammer is set to run 0 times, so Start and its hotkey do nothing/);
  assert.deepEqual(await h.calls(page, 'startSpammer'), []);
  // A hotkey's start that did nothing, as the native side tells it.
  await page.evaluate(() => window.onToolStartIgnored('ks-keys'));
  await toastSays(page, /The Key Spammer has no keys to press, so its hotkey does nothing/);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'ks-add');
  await page.screenshot({ path: path.join(artifacts, 'number-fields.png') });
  assert.deepEqual(page.errors, []);
});

test('start and stop follow the status; the Key Spammer needs a key; targets are removed by index', async () => {
  const page = await h.open();
  await h.clearCalls(page);
  await page.click('#sp-start');
  // At once, before a poll could tell: the first clicks come within milliseconds, under the cursor.
  assert.equal(await page.isDisabled('#sp-start'), true);
  assert.equal(await page.isDisabled('#ks-start'), true);
  await page.focus('#ks-chord');
  await h.clearCalls(page);
  await h.setDoc(page, 'getTrackerStatus', h.status({ autoClicking: true, keySpamming: true, keySpamTargets: ['A', 'Space', 'A'] }));
  await h.nextPoll(page);
  // While the Spammer clicks at the cursor, the Start under it does nothing; the keys of the Key Spammer
  // find no control of the page in focus.
  assert.equal(await page.evaluate(() => document.activeElement === document.body), true);
  await page.click('#sp-start', { force: true });
  await page.click('#sp-stop');
  await page.click('#ks-stop');
  await page.click('#ks-targets li:nth-child(2) .x');
  const seen = await page.evaluate(() => window.__qvn.calls.filter((c) => !/^(get|update)/.test(c.name)).map((c) => c.name + ':' + c.text));
  assert.deepEqual(seen, ['stopSpammer:', 'stopKeySpam:', 'removeKeySpamTarget:1']);
  assert.deepEqual(await page.$$eval('#ks-targets kbd', (k) => k.map((x) => x.textContent)), ['A', 'Space', 'A']);
  assert.equal(await page.textContent('#state-chip'), 'Spammer + Key Spammer running');

  // The readouts are what the native side counted and measured, not worked out from the interval.
  await h.setDoc(page, 'getTrackerStatus', h.status({ autoClicking: true, state: 'Recording',
    measured: { clicks: 1200, clicksPerSecond: 987.4, keyPresses: 7, keyPressesPerSecond: 9.5 } }));
  await h.nextPoll(page);
  assert.equal(await page.textContent('#sp-count'), '1,200');
  assert.equal(await page.textContent('#sp-cps'), '987');
  assert.equal(await page.textContent('#ks-count'), '7');
  assert.equal(await page.textContent('#ks-cps'), '9.5');
  assert.equal(await page.textContent('#state-chip'), 'Recording · Spammer running');
  // Stopped: the last run's figures stay, dimmed; a status without them reads as nothing done.
  await h.setDoc(page, 'getTrackerStatus', h.status({ measured: { clicks: 200, clicksPerSecond: 10 } }));
  await h.nextPoll(page);
  assert.equal(await page.textContent('#sp-count'), '200');
  assert.equal(await page.textContent('#sp-cps'), '10');
  assert.equal(await page.$eval('#sp-count', (b) => b.closest('.readout').classList.contains('idle')), true);
  assert.equal(await page.textContent('#ks-count'), '0');
  assert.equal(await page.textContent('#state-chip'), 'Idle');
});

test('status documents render: a full one, then the idle default literal with its fewer keys', async () => {
  const page = await h.open();
  await h.setDoc(page, 'getTrackerStatus', h.status({
    state: 'Recording', count: 3, hkRec: 'Ctrl', hkAuto: 'Q', hkUnlock: 'Pause', lockOn: true, unlocked: false,
    keySpamTargets: ['W'], keySpamChord: true, reassigning: 'keyspamtarget', canUndoContinue: true,
  }));
  await h.nextPoll(page);
  assert.equal(await page.textContent('#state-chip'), 'Recording');
  assert.equal(await page.textContent('#tr-record'), 'Stop');
  assert.equal(await page.isDisabled('#tr-play'), true);
  assert.equal(await page.isDisabled('#tr-undo'), false);
  assert.equal(await page.isDisabled('#pf-add'), true);
  assert.equal(await page.textContent('[data-key="hkRec"] kbd'), 'Ctrl');
  assert.equal(await page.textContent('[data-key="hkAuto"] kbd'), 'Q');
  assert.equal(await page.isChecked('#ks-chord'), true);
  assert.match(await page.textContent('#lock-chip'), /locked · Pause/);
  assert.equal(await page.isVisible('#capture-bar'), true);
  assert.match(await page.textContent('#capture-title'), /add to the Key Spammer/);
  assert.equal(await page.getAttribute('#ks-add', 'class'), 'btn small listening');

  await h.setDoc(page, 'getTrackerStatus', JSON.parse(h.IDLE_LITERAL));
  await h.nextPoll(page);
  assert.equal(await page.textContent('#state-chip'), 'Idle');
  assert.equal(await page.textContent('#tr-record'), 'Record');
  assert.equal(await page.isDisabled('#tr-undo'), true);
  assert.equal(await page.isHidden('#capture-bar'), true);
  assert.equal(await page.isHidden('#lock-chip'), true);
  assert.equal(await page.textContent('[data-key="hkUnlock"] kbd'), '—');
  assert.equal(await page.textContent('[data-key="hkRec"] kbd'), '—');
  assert.equal(await page.$$eval('#ks-targets li', (l) => l.length), 0);
  assert.equal(await page.isDisabled('#ks-start'), true);
  assert.deepEqual(page.errors, []);
});

test('the Tracker: transport, event list edits, warning shown once before a take is replaced', async () => {
  const events = [...Array(500)].map((_, i) => ({ id: i, time: (i / 10).toFixed(6), desc: 'Abs Move to X:' + i + ' Y:1' }));
  const page = await h.open({ table: h.docs({ getMacroEvents: events }) });
  // Only a window of rows is drawn, however long the macro.
  assert.ok((await page.$$eval('.ev', (r) => r.length)) < 40);
  assert.equal(await page.textContent('#tr-count'), '500');
  await h.clearCalls(page);

  await page.click('.ev:nth-of-type(4) .x');
  // The list is read again after each edit; the next edit waits for it, as a person's would.
  await page.waitForFunction(() => window.__qvn.calls.findLastIndex((c) => c.name === 'getMacroEvents')
    > window.__qvn.calls.findIndex((c) => c.name === 'deleteEvent'));
  await page.fill('.ev:nth-of-type(3) input', '2.5');
  await page.press('.ev:nth-of-type(3) input', 'Enter');
  await page.click('#tr-optimize');
  await page.click('#tr-continue');
  await page.click('#tr-play');

  await page.click('#tr-record');
  assert.equal(await page.isVisible('#ask-dialog'), true);
  await page.click('#ask-ok');
  await page.waitForFunction(() => window.__qvn.calls.some((c) => c.name === 'startRecording'));
  await page.click('#tr-record');  // seen once: no question the second time
  const seen = await page.evaluate(() => window.__qvn.calls.filter((c) => !/^get/.test(c.name)).map((c) => c.name + ':' + c.text));
  assert.deepEqual(seen, ['deleteEvent:2', 'updateEventTime:1,2.5', 'optimizeMacro:', 'continueRecording:', 'startPlayback:',
    'markWarningSeen:record-replaces', 'startRecording:', 'startRecording:']);

  // During a recording the list reloads at most once a second; the take's last events still show.
  const ev = (n) => [...Array(n)].map((_, i) => ({ id: i, time: '0.000000', desc: 'Rel Move dX:1 dY:0' }));
  await h.setDoc(page, 'getMacroEvents', ev(1));
  await h.setDoc(page, 'getTrackerStatus', h.status({ state: 'Recording', count: 1 }));
  await page.waitForFunction(() => document.getElementById('tr-count').textContent === '1');
  await h.setDoc(page, 'getMacroEvents', ev(2));
  await h.setDoc(page, 'getTrackerStatus', h.status({ state: 'Recording', count: 2 }));
  await h.nextPoll(page);
  await h.setDoc(page, 'getTrackerStatus', h.status({ state: 'Idle', count: 2 }));
  await page.waitForFunction(() => document.getElementById('tr-count').textContent === '2');

  await page.click('#tr-timeline');
  await toastSays(page, /Timeline Editor isn't available/);
});

test('profiles: switch, add, delete and clear after asking, import outcomes', async () => {
  const page = await h.open();
  await h.clearCalls(page);
  await page.click('#pf-list .profile:nth-child(2)');
  await page.fill('#pf-name', 'Farm "late" [2]');
  await page.press('#pf-name', 'Enter');
  await page.click('#pf-delete');
  await page.click('#ask-cancel');
  await page.click('#pf-clear');
  await page.click('#ask-ok');
  await page.click('#pf-export');
  await h.setDoc(page, 'importProfile', { outcome: 'error', message: '.mcr files are no longer supported.' });
  await page.click('#pf-import');
  await page.waitForFunction(() => document.getElementById('ask-text').textContent === '.mcr files are no longer supported.');
  await page.click('#ask-ok');
  const seen = await page.evaluate(() => window.__qvn.calls.filter((c) => !/^get/.test(c.name)).map((c) => c.name + ':' + c.text));
  assert.deepEqual(seen, ['switchProfile:1', 'addProfile:Farm late 2', 'clearProfile:', 'exportProfile:', 'importProfile:']);
  // The default profile is reset, not deleted, and the button says so.
  assert.equal(await page.textContent('#pf-delete'), 'Reset');
});

const PENDING = {
  outcome: 'pending', pendingId: '0123456789abcdef0123456789abcdef', level: 'danger',
  // As the native side stages them: the scanner's own messages, a Linux desktop's among them.
  matches: [
    { severity: 'DANGER', message: "Opens the desktop's Run dialog (Alt+F2), types something and presses Enter. This can start programs or run commands on your computer.", atSec: 1.5 },
    { severity: 'CAUTION', message: 'Switches to a text console (Ctrl+Alt+F1 to F12) and types there, outside the desktop and its windows.', atSec: 12 },
  ],
};

test('a staged macro import is answered with its pending id: confirm, and cancel by Escape', async () => {
  const page = await h.open({ table: h.docs({ getPendingMacroImport: PENDING }) });
  await page.waitForSelector('#import-dialog[open]');
  const rows = await page.$$eval('#import-findings li', (l) => l.map((li) => li.innerText.replace(/\s+/g, ' ').trim()));
  assert.deepEqual(rows, PENDING.matches.map((m) => `${m.severity} ${m.message} at ${m.atSec} s`));
  await h.clearCalls(page);
  await page.click('#import-confirm');
  await page.waitForFunction(() => window.__qvn.calls.some((c) => c.name === 'getProfiles'));
  assert.deepEqual(await h.calls(page, 'confirmMacroImport'), [PENDING.pendingId]);

  // A file opened later arrives through the native call; the newest staged macro is the one answered.
  const later = { ...PENDING, pendingId: 'ffffffffffffffffffffffffffffffff', level: 'caution', matches: [PENDING.matches[1]] };
  await page.evaluate((d) => { if (window.onPendingMacroImport) window.onPendingMacroImport(d); }, later);
  await page.waitForSelector('#import-dialog[open]');
  assert.match(await page.textContent('#import-title'), /Check this macro/);
  await page.keyboard.press('Escape');
  await page.waitForFunction(() => window.__qvn.calls.some((c) => c.name === 'cancelMacroImport'));
  assert.deepEqual(await h.calls(page, 'cancelMacroImport'), [later.pendingId]);
  assert.deepEqual(await h.calls(page, 'confirmMacroImport'), [PENDING.pendingId]);
});

test('settings panel: switches, collapse and order, hotkeys, links', async () => {
  const page = await h.open();
  await h.clearCalls(page);
  await page.click('label:has(#opt-always-on-top)');
  await page.click('label:has(#opt-hotkey-lock)');
  await page.click('label:has(#opt-disable-animations)');
  await page.click('#panel-spammer [data-act="collapse"]');
  await page.focus('#panel-ui [data-act="collapse"]');
  await page.keyboard.press('Alt+ArrowUp');
  await page.click('#ui-reset-hotkeys');
  await page.click('[data-link="docs"]');
  await page.click('[data-link="discord"]');
  await page.click('[data-key="hkUnlock"]');
  const seen = await page.evaluate(() => window.__qvn.calls.filter((c) => !/^get/.test(c.name)).map((c) => c.name + ':' + c.text));
  assert.deepEqual(seen, ['setAppSetting:alwaysOnTop,1', 'setAppSetting:hotkeyLock,0', 'setAppSetting:disableAnimations,1',
    'setAppSetting:min:panel-spammer,1', 'setPanelOrder:panel-spammer,panel-keyspam,panel-tracker,panel-ui,panel-profile',
    'resetHotkeys:', 'openLink:docs', 'openLink:discord', 'reassignKey:unlock']);
  assert.equal(await page.evaluate(() => document.activeElement.closest('.panel').id), 'panel-ui');
  assert.equal(await page.evaluate(() => document.documentElement.classList.contains('no-motion')), true);
});

test('pop-out: absent binding leaves the panel; a popped panel hides and comes back by the restore list', async () => {
  let page = await h.open();
  await page.click('#panel-tracker [data-act="popout"]');
  assert.equal(await page.isVisible('#panel-tracker'), true);
  await toastSays(page, /Pop-out panels aren't available/);

  page = await h.open({ absent: [] });
  await h.setDoc(page, 'popOutPanel', '');
  await page.click('#panel-tracker [data-act="popout"]');
  assert.deepEqual(await h.calls(page, 'popOutPanel'), ['Tracker|panel-tracker|0|0']);
  await page.waitForSelector('#panel-tracker', { state: 'hidden' });
  await h.setDoc(page, 'getTrackerStatus', h.status({ restore: ['panel-tracker'], panelHover: true }));
  await h.nextPoll(page);
  assert.equal(await page.isVisible('#panel-tracker'), true);
  assert.equal(await page.isVisible('#dock-hint'), true);
  // A refusal keeps the panel where it is and says why.
  await h.setDoc(page, 'popOutPanel', 'Pop-out panels are unavailable right now - restart Quorvane.');
  await page.click('#panel-spammer [data-act="popout"]');
  await toastSays(page, /restart Quorvane/);
  assert.equal(await page.isVisible('#panel-spammer'), true);
});

test('a pop-out window: one panel, dock button closes it, the window follows the panel', async () => {
  const page = await h.open({ extra: ['closeThisWindow'] });
  // What the panel process writes before </body>, in effect.
  await page.evaluate(() => {
    applyTheme('daylight');
    document.querySelectorAll('.panel').forEach((p) => { p.style.display = 'none'; });
    const p = document.getElementById('panel-keyspam');
    p.style.display = 'block';
    document.body.style.padding = '0';
    resizeHostWindow();
  });
  await page.waitForFunction(() => window.__qvn.calls.some((c) => c.name === 'resizeWindow'));
  const [w, hgt] = (await last(page, 'resizeWindow')).split(',').map(Number);
  const panelHeight = await page.$eval('#panel-keyspam', (p) => p.getBoundingClientRect().height);
  assert.equal(w, 420);
  assert.ok(Math.abs(hgt - panelHeight) < 4, hgt + ' vs ' + panelHeight);
  assert.equal(await page.isVisible('.topbar'), false);
  await page.click('#panel-keyspam [data-act="popout"]');
  assert.deepEqual(await h.calls(page, 'closeThisWindow'), ['']);
});

test('themes: custom list, a skinned theme, unknown keys fall back, folder and drop notices', async () => {
  const piece = (w, hh, top, bottom, border) => h.png(w, hh, { top, bottom, border }).toString('base64');
  const skin = {
    'panel': piece(256, 256, [40, 28, 60], [24, 18, 38], [150, 110, 220]),
    'panel-header': piece(256, 78, [92, 56, 150], [60, 36, 104], [150, 110, 220]),
    'button': piece(192, 64, [70, 52, 100], [48, 34, 70], [140, 100, 200]),
    'button.on': piece(192, 64, [96, 70, 140], [70, 50, 100], [180, 140, 240]),
    'button-accent': piece(192, 64, [246, 150, 60], [214, 100, 40], [255, 200, 120]),
    'field': piece(128, 64, [22, 16, 34], [28, 20, 44], [110, 80, 160]),
    'switch.on': piece(68, 40, [246, 150, 60], [214, 100, 40], [255, 200, 120]),
    'window': piece(1024, 768, [30, 20, 48], [12, 8, 22], [30, 20, 48]),
  };
  const custom = [
    { key: 'Violet Dusk', name: 'Violet Dusk', bgMain: '#140e22', bgPanel: 'rgb(30,22,46)', bgHeader: '#2a1d42', accent: '#f59a3c',
      accentHover: '#ffb15c', text: '#efe6ff', font: "'Segoe UI', Tahoma, Geneva, Verdana, sans-serif", hasSkin: true },
    { key: 'mono', name: 'Mono', bgMain: '#000', bgPanel: '#111', bgHeader: '#222', accent: '#fff', accentHover: '#ddd',
      text: '#eee', font: "'Consolas', 'Courier New', monospace", hasSkin: false },
  ];
  const page = await h.open({ table: h.docs({ getCustomThemes: custom, skin }) });
  assert.deepEqual(await page.$$eval('#theme-select option', (o) => o.map((x) => x.value)),
    ['quorvane', 'daylight', 'graphite', 'Violet Dusk', 'mono']);
  await h.clearCalls(page);
  await page.selectOption('#theme-select', 'Violet Dusk');
  await page.waitForFunction(() => document.documentElement.classList.contains('skin-button'));
  assert.equal(await last(page, 'setTheme'), 'Violet Dusk');
  const asked = await h.calls(page, 'getSkinPiece');
  assert.equal(asked.length, 24);
  assert.ok(asked.includes('Violet Dusk|button-accent.on'));
  const look = await page.evaluate(() => ({
    panel: getComputedStyle(document.querySelector('.panel')).borderImageSource.slice(0, 26),
    field: getComputedStyle(document.querySelector('.num')).borderImageSource.slice(0, 26),
    noScroll: document.documentElement.classList.contains('skin-scroll-thumb'),
    text: getComputedStyle(document.body).color,
  }));
  assert.deepEqual(look, { panel: 'url("data:image/png;base64', field: 'url("data:image/png;base64', noScroll: false, text: 'rgb(239, 230, 255)' });
  await page.screenshot({ path: path.join(artifacts, 'page-skinned.png') });

  // Back to a theme without a skin: no piece stays behind.
  await page.selectOption('#theme-select', 'mono');
  assert.equal(await page.evaluate(() => [...document.documentElement.classList].some((c) => c.startsWith('skin-'))), false);
  assert.match(await page.$eval('body', (b) => getComputedStyle(b).fontFamily), /Consolas/);

  await h.clearCalls(page);
  await page.click('#th-list li:nth-child(2) button');
  await page.click('#ask-ok');
  await page.waitForFunction(() => window.__qvn.calls.some((c) => c.name === 'deleteTheme'));
  assert.deepEqual(await h.calls(page, 'deleteTheme'), ['mono']);
  await h.setDoc(page, 'importTheme', 'Quorvane only imports .qvntheme theme files.');
  await page.click('#th-import');
  await page.waitForFunction(() => document.getElementById('ask-text').textContent === 'Quorvane only imports .qvntheme theme files.');
  await page.click('#ask-ok');

  // A theme that came into the folder since the list was read: nothing shows until it is painted.
  await h.setDoc(page, 'getCustomThemes', custom.concat({ ...custom[1], key: 'late', name: 'Late', bgMain: '#303030' }));
  const hiddenAtFirst = await page.evaluate(() => { applyTheme('late'); return getComputedStyle(document.getElementById('dashboard')).visibility; });
  assert.equal(hiddenAtFirst, 'hidden');
  await page.waitForFunction(() => currentThemeKey === 'late' && getComputedStyle(document.getElementById('dashboard')).visibility === 'visible');
  assert.equal(await page.$eval('body', (b) => getComputedStyle(b).backgroundColor), 'rgb(48, 48, 48)');

  // An unknown key (a theme deleted meanwhile) shows the default look and says so in the select.
  await page.evaluate(() => applyTheme('gone'));
  await page.waitForFunction(() => currentThemeKey === 'quorvane' && !document.documentElement.classList.contains('theming'));
  assert.equal(await page.$eval('#theme-select', (s) => s.value), 'quorvane');

  await h.setDoc(page, 'getSharedTheme', 'daylight');
  await page.evaluate(() => window.onThemeFolderChanged());
  await page.waitForFunction(() => currentThemeKey === 'daylight');
  await page.evaluate(() => window.onThemeDropInstalled({ appliedKey: 'mono', rejects: [{ name: 'bad.qvntheme', reason: 'That theme file failed validation.' }] }));
  await page.waitForFunction(() => currentThemeKey === 'mono');
  assert.match(await page.textContent('#ask-text'), /bad.qvntheme: That theme file failed validation./);
  assert.deepEqual(page.errors, []);
});

test('update offer: progress, installing, and a failure message from startUpdate', async () => {
  const page = await h.open({ absent: [] });
  await h.setDoc(page, 'startUpdate', 'Update failed: the download did not complete. Check your connection and try again.');
  await page.evaluate(() => { if (window.onUpdateAvailable) window.onUpdateAvailable('1.0.2', '1.0.1'); });
  assert.match(await page.textContent('#update-title'), /1\.0\.2 is available/);
  await page.evaluate(() => { if (window.onUpdateProgress) onUpdateProgress(5242880, 10485760); });
  assert.equal(await page.textContent('#update-detail'), '5.0 MB of 10.0 MB');
  assert.equal(await page.$eval('.progress-fill', (f) => f.style.width), '50%');
  await page.click('#update-start');
  await page.waitForFunction(() => /did not complete/.test(document.getElementById('update-detail').textContent));
  assert.equal(await page.textContent('#update-start'), 'Try again');
  await page.evaluate(() => { if (window.onUpdateInstalling) onUpdateInstalling(); });
  assert.match(await page.textContent('#update-title'), /Installing/);
});

test('update progress: bytes, time left, and a bar that assistive tools can read', async () => {
  const page = await h.open({ absent: [] });
  // A clock the test moves, so the time left doesn't depend on the machine's speed.
  await page.evaluate(() => { let t = 1000; performance.now = () => t; window.__advance = (ms) => { t += ms; }; });
  const detail = () => page.textContent('#update-detail');
  const bar = '#update-progress';
  await page.evaluate(() => { window.onUpdateAvailable('1.0.2', '1.0.1'); onUpdateProgress(0, 104857600); });
  assert.equal(await detail(), '0.0 MB of 100.0 MB');
  await page.evaluate(() => { __advance(2000); onUpdateProgress(20971520, 104857600); });
  assert.equal(await detail(), '20.0 MB of 100.0 MB · about 10 s left');  // 10 MB/s, 80 MB to go
  assert.equal(await page.getAttribute(bar, 'aria-valuenow'), '20');
  assert.equal(await page.getAttribute(bar, 'role'), 'progressbar');
  await page.evaluate(() => { __advance(60000); onUpdateProgress(23068672, 104857600); });
  assert.equal(await detail(), '22.0 MB of 100.0 MB · about 4 minutes left');
  await page.screenshot({ path: path.join(artifacts, 'page-update-progress.png'), clip: { x: 0, y: 0, width: 420, height: 160 } });
  await page.evaluate(() => onUpdateProgress(104857600, 104857600));
  assert.equal(await detail(), '100.0 MB of 100.0 MB · checking');
  // Without a known total: the bytes alone, a moving bar, no value for assistive tools.
  await page.evaluate(() => onUpdateProgress(5242880, 0));
  assert.equal(await detail(), '5.0 MB');
  assert.equal(await page.getAttribute(bar, 'aria-valuenow'), null);
  assert.match(await page.getAttribute(bar, 'class'), /indeterminate/);
  assert.deepEqual(page.errors, []);
});

test('screenshots of the built-in themes', async () => {
  const events = [
    { id: 0, time: '0.000000', desc: 'Abs Move to X:640 Y:360' }, { id: 1, time: '0.412000', desc: 'Mouse Click at X:640 Y:360' },
    { id: 2, time: '1.030000', desc: 'Keyboard VK: 65 (DOWN)' }, { id: 3, time: '1.090000', desc: 'Keyboard VK: 65 (UP)' },
  ];
  for (const theme of ['quorvane', 'daylight', 'graphite']) {
    const page = await h.open({ table: h.docs({ getSharedTheme: theme, getMacroEvents: events,
      getTrackerStatus: h.status({ keySpamTargets: ['A', 'Space'], count: 4 }) }) });
    await h.nextPoll(page);
    await page.screenshot({ path: path.join(artifacts, 'page-' + theme + '.png') });
    await page.screenshot({ path: path.join(artifacts, 'page-' + theme + '-full.png'), fullPage: true });
    assert.deepEqual(page.errors, []);
  }
  const wide = await h.open({ width: 1100, height: 760, table: h.docs({ getMacroEvents: events }) });
  await wide.click('#panel-keyspam [data-act="collapse"]');
  await wide.waitForTimeout(100);
  // Columns packed by height: side by side, and no panel over another, also after one folds.
  const boxes = await wide.$$eval('.panel', (ps) => ps.map((p) => p.getBoundingClientRect().toJSON()));
  assert.ok(new Set(boxes.map((b) => Math.round(b.left))).size >= 2);
  for (const a of boxes) for (const b of boxes) {
    if (a !== b) assert.ok(a.bottom <= b.top || b.bottom <= a.top || a.right <= b.left || b.right <= a.left, 'panels overlap');
  }
  await wide.screenshot({ path: path.join(artifacts, 'page-wide.png') });
  const dialog = await h.open({ table: h.docs({ getPendingMacroImport: PENDING }) });
  await dialog.waitForSelector('#import-dialog[open]');
  await dialog.screenshot({ path: path.join(artifacts, 'page-import-dialog.png') });
});
