// Runs the main page in Debian's Chromium against a fake native side: every bound name records its call
// and answers from a table of documents that a test can change while the page runs.
const fs = require('fs');
const path = require('path');
const { chromium } = require('playwright-core');
const { png } = require('./png');

const root = path.resolve(__dirname, '../..');
const ui = path.join(root, 'ui');

// The page as the native side hands it over: one document, its own files written in (a file that isn't
// there stays a tag, as in the app).
function inlinedPage(name = 'index.html') {
  const html = fs.readFileSync(path.join(ui, name), 'utf8');
  const text = (f) => (fs.existsSync(path.join(ui, f)) ? fs.readFileSync(path.join(ui, f), 'utf8') : null);
  return html
    .replace(/<link rel="stylesheet" href="([^"]+)">/g, (tag, f) => (text(f) === null ? tag : '<style>' + text(f) + '</style>'))
    .replace(/<script src="([^"]+)"><\/script>/g, (tag, f) => (text(f) === null ? tag : '<script>' + text(f) + '</script>'));
}

// The document-start script that the app installs in every window, taken from its source.
function startScript() {
  const src = fs.readFileSync(path.join(root, 'bridge/Bindings.cpp'), 'utf8');
  const m = /kDocumentStartScript = R"JS\(([\s\S]*?)\)JS"/.exec(src);
  if (!m) throw new Error('document-start script not found in bridge/Bindings.cpp');
  return m[1];
}

// The idle default that a panel reads before the main window has written a status: fewer keys, ksCap 0.
const IDLE_LITERAL = '{"state":"Idle","count":0,"restore":[],"hkRec":"","hkPlay":"","hkAuto":"","hkKeySpam":"","keySpamTargets":[],"keySpamChord":false,"ksCap":0,"reassigning":"","panelHover":false,"autoClicking":false,"keySpamming":false}';

function status(over = {}) {
  return Object.assign({
    state: 'Idle', count: 0, restore: [], hkRec: 'F8', hkPlay: 'F7', hkAuto: 'F6', hkKeySpam: 'F9', hkUnlock: 'F10',
    lockOn: false, unlocked: false, keySpamTargets: [], keySpamChord: false, ksCap: -1, reassigning: '',
    panelHover: false, autoClicking: false, keySpamming: false, canUndoContinue: false,
    measured: { clicks: 0, clicksPerSecond: 0, keyPresses: 0, keyPressesPerSecond: 0 },
  }, over);
}

function docs(over = {}) {
  return Object.assign({
    getAppSettings: { alwaysOnTop: false, launchOnStartup: false, startMinimized: false, hotkeysEnabled: true, hotkeyLock: true,
      stopToolsWithMacro: true, disableAnimations: false, showWarnings: true, seenWarnings: [], minimizedPanels: [], panelOrder: [] },
    getSettings: { sh: 0, sm: 0, ss: 0, sms: 100, sbtn: 0, stype: 0, rptMode: 1, rptTimes: 10, locMode: 0, fixedX: 0, fixedY: 0,
      tmv: true, tclk: true, tscr: true, tkey: true, trel: false, tspd: 1, tloop: false, tloopMs: 0,
      ksh: 0, ksm: 0, kss: 0, ksms: 100, ksRptMode: 1, ksRptTimes: 10, holdAuto: false, holdKeySpam: false },
    getTrackerStatus: status(),
    getProfiles: { current: 0, names: ['Default Tracking Profile', 'Farm'], cap: -1, defaultName: 'Default Tracking Profile' },
    getMacroEvents: [],
    getSharedTheme: 'quorvane',
    getCustomThemes: [],
    getPendingMacroImport: { outcome: 'none' },
    getPendingThemeAlert: '',
    importProfile: { outcome: 'cancelled' },
    skin: {},
    skinFont: '',
  }, over);
}

// Installed before the page's own scripts. Answers are copied so that the page can't change the table.
function fakeBridge({ table, absent, extra }) {
  const q = (window.__qvn = { calls: [], docs: table });
  const names = ['resizeWindow', 'updateSpammer', 'startSpammer', 'stopSpammer', 'updateKeySpam', 'startKeySpam',
    'stopKeySpam', 'removeKeySpamTarget', 'setKeySpamChordMode', 'pickLocation', 'popOutPanel', 'setHoldMode',
    'updateTracker', 'startRecording', 'stopRecording', 'continueRecording', 'undoContinueRecording', 'startPlayback',
    'stopPlayback', 'optimizeMacro', 'openTimelineEditor', 'getMacroEvents', 'deleteEvent', 'updateEventTime',
    'setTheme', 'getSharedTheme', 'getCustomThemes', 'getSkinPiece', 'getSkinFont', 'importTheme', 'deleteTheme',
    'getPendingThemeAlert', 'exportProfile', 'importProfile', 'confirmMacroImport', 'cancelMacroImport',
    'getPendingMacroImport', 'getAppSettings', 'markWarningSeen', 'setAppSetting', 'setPanelOrder', 'resetHotkeys',
    'openLink', 'getTrackerStatus', 'clearProfile', 'addProfile', 'deleteProfile', 'switchProfile', 'getProfiles',
    'getSettings', 'startUpdate', 'reassignKey', 'qvnMacAlert'].concat(extra);
  for (const name of names) {
    if (absent.includes(name)) continue;
    window[name] = (...args) => {
      // What the native side reads: the argument array's JSON without brackets and double quotes.
      const text = JSON.stringify(args).replace(/[[\]"]/g, '');
      q.calls.push({ name, text });
      let answer = q.docs[name];
      if (name === 'getSkinPiece') answer = q.docs.skin[text.split('|')[1]] || '';
      if (name === 'getSkinFont') answer = q.docs.skinFont;
      if (answer && answer.__reject) return Promise.reject(answer.__reject);
      return new Promise((resolve) => setTimeout(() => resolve(answer === undefined ? undefined : JSON.parse(JSON.stringify(answer))), 1));
    };
  }
}

let browser = null;
async function open({ table = docs(), absent = ['popOutPanel', 'openTimelineEditor', 'startUpdate'], extra = [],
  width = 420, height = 560 } = {}) {
  browser = browser || await chromium.launch({ executablePath: process.env.QVN_CHROMIUM || '/usr/bin/chromium', args: ['--no-sandbox'] });
  const page = await browser.newPage({ viewport: { width, height } });
  page.errors = [];
  page.on('pageerror', (e) => page.errors.push(String(e)));
  await page.addInitScript(startScript());
  await page.addInitScript(fakeBridge, { table, absent, extra });
  const html = inlinedPage();
  await page.route('http://quorvane.test/', (route) => route.fulfill({ contentType: 'text/html', body: html }));
  await page.goto('http://quorvane.test/');
  await page.waitForFunction(() => document.body.style.visibility === 'visible' && window.__qvn.calls.some((c) => c.name === 'getTrackerStatus'));
  return page;
}

// The boot page as the native side fills it in, in a page whose bridge answers the status calls from
// `statuses` in turn (the last one repeats) and records every call.
async function openBoot(mode, statuses, { width = 420, height = 560 } = {}) {
  browser = browser || await chromium.launch({ executablePath: process.env.QVN_CHROMIUM || '/usr/bin/chromium', args: ['--no-sandbox'] });
  const page = await browser.newPage({ viewport: { width, height } });
  page.errors = [];
  page.on('pageerror', (e) => page.errors.push(String(e)));
  await page.addInitScript(startScript());
  await page.addInitScript((answers) => {
    const q = (window.__qvn = { calls: [], statuses: answers });
    for (const name of ['qvnMacPermissionStatus', 'qvnMacRequestPermission', 'qvnMacOpenSoftwareUpdate', 'qvnMacContinue', 'qvnMacAlert']) {
      window[name] = (...args) => {
        q.calls.push({ name, text: JSON.stringify(args).replace(/[[\]"]/g, '') });
        const answer = name === 'qvnMacPermissionStatus' ? (q.statuses.length > 1 ? q.statuses.shift() : q.statuses[0]) : undefined;
        return new Promise((resolve) => setTimeout(() => resolve(answer === undefined ? undefined : JSON.parse(JSON.stringify(answer))), 1));
      };
    }
  }, statuses);
  const html = fs.readFileSync(path.join(ui, 'boot.html'), 'utf8').replace('__QVN_BOOT_MODE__', mode);
  await page.route('http://quorvane.test/', (route) => route.fulfill({ contentType: 'text/html', body: html }));
  await page.goto('http://quorvane.test/');
  return page;
}

async function close() {
  if (browser) await browser.close();
  browser = null;
}

const calls = (page, name) => page.evaluate((n) => window.__qvn.calls.filter((c) => !n || c.name === n).map((c) => c.text), name);
const clearCalls = (page) => page.evaluate(() => { window.__qvn.calls.length = 0; });
const setDoc = (page, name, value) => page.evaluate(([n, v]) => { window.__qvn.docs[n] = v; }, [name, value]);
// Waits for the next poll to have been answered with the table as it is now.
async function nextPoll(page) {
  const n = await page.evaluate(() => window.__qvn.calls.filter((c) => c.name === 'getTrackerStatus').length);
  await page.waitForFunction((k) => window.__qvn.calls.filter((c) => c.name === 'getTrackerStatus').length > k + 1, n);
}

// The Timeline Editor's native side: a load answered for the nonce asked, saves recorded and answered with
// `result` (the master's verdict) for the save's own nonce, and every other call recorded.
function fakeEditorBridge(init) {
  const q = (window.__tl = Object.assign({ calls: [], saved: [], load: null, busy: false, theme: 'quorvane', custom: [],
    accept: { ok: true, message: '' }, result: { ok: true, message: 'Saved.' }, pendingLoad: null, pendingResult: null }, init));
  const answer = (v) => new Promise((resolve) => setTimeout(() => resolve(v === undefined ? undefined : JSON.parse(JSON.stringify(v))), 1));
  const fns = {
    getSharedTheme: () => q.theme,
    getCustomThemes: () => q.custom,
    qvnMacAlert: () => undefined,
    tlGetStatus: () => '',
    // With `loadUrl`, the document is fetched when asked for, as the master writes it only then.
    tlRequestLoad: (nonce) => {
      if (q.loadUrl) fetch(q.loadUrl).then((r) => r.text()).then((text) => { q.pendingLoad = { nonce, text }; });
      else if (q.load !== null) q.pendingLoad = { nonce, text: JSON.stringify(q.load) };
    },
    tlReadLoad: (nonce) => {
      if (!q.pendingLoad || q.pendingLoad.nonce !== nonce) return null;
      const t = q.pendingLoad.text;
      q.pendingLoad = null;
      return t;
    },
    tlSave: (doc) => {
      q.saved.push(JSON.parse(JSON.stringify(doc)));
      if (q.accept.ok) q.pendingResult = Object.assign({ nonce: doc.nonce }, q.result);
      return q.accept;
    },
    tlReadResult: (nonce) => {
      if (!q.pendingResult || q.pendingResult.nonce !== nonce) return null;
      const r = q.pendingResult;
      q.pendingResult = null;
      return { ok: r.ok, message: r.message };
    },
    tlAckAutomation: () => undefined,
    tlGetAutomation: () => q.busy,
    tlSetDirty: () => undefined,
    tlCloseWindow: () => undefined,
  };
  for (const [name, fn] of Object.entries(fns)) {
    window[name] = (...args) => {
      q.calls.push({ name, args });
      return answer(fn(...args));
    };
  }
}

// Opens the editor's page; `load` is the load document the master would write (null: it never answers).
async function openTimeline({ load = null, width = 1100, height = 640, init = {}, routes = {} } = {}) {
  browser = browser || await chromium.launch({ executablePath: process.env.QVN_CHROMIUM || '/usr/bin/chromium', args: ['--no-sandbox'] });
  const page = await browser.newPage({ viewport: { width, height } });
  page.errors = [];
  page.on('pageerror', (e) => page.errors.push(String(e)));
  await page.addInitScript(startScript());
  await page.addInitScript(fakeEditorBridge, Object.assign({ load }, init));
  const html = inlinedPage('timeline.html');
  await page.route('http://quorvane.test/', (route) => route.fulfill({ contentType: 'text/html', body: html }));
  for (const [url, body] of Object.entries(routes)) await page.route(url, (route) => route.fulfill({ contentType: 'text/plain', body }));
  await page.goto('http://quorvane.test/');
  // The count reads "0 events" before the load too, so an empty macro is waited for by the load's own message.
  if (load && !load.error) await page.waitForFunction(() => TL.events().length > 0 || /^Loaded 0 events/.test(document.getElementById('message').textContent));
  return page;
}
const tlCalls = (page, name) => page.evaluate((n) => window.__tl.calls.filter((c) => c.name === n).map((c) => c.args), name);

module.exports = { open, openBoot, openTimeline, tlCalls, inlinedPage, close, docs, status, IDLE_LITERAL, calls, clearCalls, setDoc, nextPoll, png };
