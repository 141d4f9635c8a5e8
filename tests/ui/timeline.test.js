// The Timeline Editor's page in a real browser engine against a fake native side: the load and save
// exchange, selecting and retiming with the mouse and keys, undo, field validation, the busy state, a
// master that has gone, closing with unsaved edits, and screenshots in each theme.
const { test, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('fs');
const path = require('path');
const h = require('./harness');

const artifacts = process.env.QVN_ARTIFACTS || path.resolve(__dirname, '../../build/ui-artifacts');
fs.mkdirSync(artifacts, { recursive: true });
after(h.close);

const MACRO = [
  [0, 0, 100, 100, 0, 0, 0, 0],
  [0, 0.1, 140, 120, 0, 0, 0, 0],
  [2, 0.5, 140, 120, 2, 0, 0, 0],
  [2, 0.6, 140, 120, 4, 0, 0, 0],
  [3, 1, 0, 0, 0, 65, 1, 0],
  [3, 1.2, 0, 0, 0, 65, 0, 0],
  [4, 1.5, 140, 120, 0, 0, 0, -120],
  [5, 2, 0, 0, 0, 1, 1, 0],
];
const LOAD = { profile: 'Farm', profileIdx: 1, keys: { 65: 'A' }, events: MACRO };

const events = (page) => page.evaluate(() => TL.events());
const calls = h.tlCalls;
const lastDirty = async (page) => (await calls(page, 'tlSetDirty')).map((a) => a[0]).at(-1);
const message = (page) => page.textContent('#message');

// Where event i is drawn, in page coordinates.
async function spot(page, i, dx = 0) {
  return page.evaluate(([i, dx]) => {
    const e = TL.events()[i];
    const lane = TL.lanes()[[0, 0, 1, 3, 2, 4][e[0]]];
    const r = document.getElementById('canvas').getBoundingClientRect();
    return { x: r.left + TL.xOf(e[1]) + dx, y: r.top + lane.top + lane.h / 2 };
  }, [i, dx]);
}
async function clickEvent(page, i, modifiers = []) {
  const p = await spot(page, i);
  for (const m of modifiers) await page.keyboard.down(m);
  await page.mouse.click(p.x, p.y);
  for (const m of modifiers) await page.keyboard.up(m);
}
const selectedTimes = (page) => page.evaluate(() => TL.selection().map((e) => e[1]));

test('load asks with a fresh random nonce, takes only its own answer, and shows the macro', async () => {
  const page = await h.openTimeline({ load: LOAD });
  const [[nonce]] = await calls(page, 'tlRequestLoad');
  assert.match(nonce, /^[0-9a-f]{32}$/);
  assert.deepEqual((await calls(page, 'tlReadLoad')).map((a) => a[0]).filter((n) => n !== nonce), []);
  assert.deepEqual(await events(page), MACRO);
  assert.equal(await page.textContent('#profile'), 'Farm');
  assert.match(await page.textContent('#count'), /^8 events/);
  assert.equal(await page.isDisabled('#b-save'), true);
  // A second editor copy asks again with another nonce.
  await page.click('#b-revert');
  await page.waitForFunction(() => window.__tl.calls.filter((c) => c.name === 'tlRequestLoad').length === 2);
  const nonces = (await calls(page, 'tlRequestLoad')).map((a) => a[0]);
  assert.notEqual(nonces[0], nonces[1]);
  assert.deepEqual(page.errors, []);
});

test('the refusal form of a load is shown in its own words, and nothing can be saved', async () => {
  const error = 'This macro has 1000001 events - more than the Timeline Editor\'s limit of 1000000.';
  const page = await h.openTimeline({ load: { error } });
  await page.waitForSelector('#ask[open]');
  assert.equal(await page.textContent('#ask-text'), error);
  await page.click('#ask-ok');
  await page.keyboard.press('Control+s');
  assert.deepEqual(await calls(page, 'tlSave'), []);
});

test('select by click, Shift-click and rubber band; drag retimes with snapping; undo and redo', async () => {
  const page = await h.openTimeline({ load: LOAD });
  await clickEvent(page, 2);
  assert.deepEqual(await selectedTimes(page), [0.5]);
  assert.match(await page.textContent('#side-title'), /Left button down at 140, 120/);
  await clickEvent(page, 4, ['Shift']);
  assert.deepEqual(await selectedTimes(page), [0.5, 1]);

  // A band across the keys lane from before the press to after the release takes both.
  const a = await spot(page, 4, -20), b = await spot(page, 5, 20);
  await page.mouse.move(a.x, a.y - 10);
  await page.mouse.down();
  await page.mouse.move(b.x, b.y + 10, { steps: 4 });
  await page.mouse.up();
  assert.deepEqual(await selectedTimes(page), [1, 1.2]);

  // Dragging the key press by about a quarter second lands on the grid and moves its release with it.
  const pps = (await page.evaluate(() => TL.view())).pps;
  const from = await spot(page, 4);
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  await page.mouse.move(from.x + 0.26 * pps, from.y, { steps: 5 });
  await page.mouse.up();
  const moved = (await events(page)).filter((e) => e[0] === 3).map((e) => e[1]);
  const step = await page.evaluate(() => { const p = TL.view().pps; for (const s of [0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1]) if (s * p >= 80) return s / 5; });
  assert.ok(Math.abs(moved[0] - 1.26) < step, `moved to ${moved[0]}`);
  assert.ok(Math.abs(moved[0] / step - Math.round(moved[0] / step)) < 1e-6, `on the grid: ${moved[0]}`);
  assert.ok(Math.abs(moved[1] - moved[0] - 0.2) < 1e-9);
  assert.equal(await lastDirty(page), '1');
  assert.equal(await page.isDisabled('#b-save'), false);

  await page.keyboard.press('Control+z');
  assert.deepEqual(await events(page), MACRO);
  assert.equal(await lastDirty(page), '0');
  await page.keyboard.press('Control+y');
  assert.equal((await events(page))[4][1], moved[0]);
  assert.deepEqual(page.errors, []);
});

test('a long macro is drawn by the pixel: lone events, the selection and a long hold all still show', async () => {
  // 100,000 moves over 800 s, a key held from 100 s to 700 s, and one click alone after the moves.
  const big = [];
  for (let i = 1; i <= 100000; i++) big.push([0, i * 0.008, 100 + (i % 50), 100, 0, 0, 0, 0]);
  big.push([3, 100.0001, 0, 0, 0, 65, 1, 0], [3, 700.0001, 0, 0, 0, 65, 0, 0], [2, 900, 5, 5, 2, 0, 0, 0], [2, 900.01, 5, 5, 4, 0, 0, 0]);
  big.sort((a, b) => a[1] - b[1]);
  const page = await h.openTimeline({ load: { profile: 'Long', profileIdx: 0, keys: {}, events: big } });
  // Canvas calls of one redraw of everything, and the colour at a point of a lane.
  const probe = (lane, t, dy = 0) => page.evaluate(([lane, t, dy]) => {
    const ctx = document.getElementById('canvas').getContext('2d');
    const l = TL.lanes()[lane];
    let n = 0;
    const names = ['fillRect', 'arc', 'fill', 'stroke', 'lineTo', 'rect'];
    const saved = names.map((m) => ctx[m]);
    names.forEach((m, i) => { ctx[m] = function (...a) { n++; return saved[i].apply(this, a); }; });
    TL.draw();
    names.forEach((m, i) => { ctx[m] = saved[i]; });
    const at = (x, y) => Array.from(ctx.getImageData(Math.floor(x), Math.floor(y), 1, 1).data.slice(0, 3));
    return { calls: n, width: ctx.canvas.width, mark: at(TL.xOf(t), l.top + l.h / 2 + dy), ground: at(TL.xOf(t), l.top + 2) };
  }, [lane, t, dy]);

  await page.evaluate(() => TL.fit());
  const lone = await probe(1, 900);
  assert.ok(lone.calls < 4 * lone.width, `${lone.calls} canvas calls for a ${lone.width} px wide view`);
  assert.notDeepEqual(lone.mark, lone.ground, 'the lone click is drawn');

  // A move picked out of the crowd is drawn in the accent colour over the merged marks.
  const moves = await page.evaluate(() => TL.lanes()[0]);
  const r = await page.evaluate(() => document.getElementById('canvas').getBoundingClientRect());
  await page.mouse.click(r.left + (await page.evaluate(() => TL.xOf(400))), r.top + moves.top + moves.h / 2);
  const [picked] = await page.evaluate(() => TL.selection());
  assert.equal(picked[0], 0);
  const accent = await page.evaluate(() => {
    const c = document.createElement('canvas').getContext('2d');
    c.fillStyle = getComputedStyle(document.documentElement).getPropertyValue('--accent');
    c.fillRect(0, 0, 1, 1);
    return Array.from(c.getImageData(0, 0, 1, 1).data.slice(0, 3));
  });
  const sel = await probe(0, picked[1], -moves.h * 0.2);
  assert.ok(sel.mark.every((v, i) => Math.abs(v - accent[i]) < 24), `selected move ${sel.mark} vs accent ${accent}`);

  // Zoomed in on 400 s, the hold's bar fills the keys lane though its press and release are far outside.
  await page.evaluate(() => TL.zoomAt(250, TL.xOf(400)));
  const hold = await probe(3, 400);
  assert.notDeepEqual(hold.mark, hold.ground, 'the bar runs through the view');
  await page.mouse.click(r.left + (await page.evaluate(() => TL.xOf(400))), r.top + (await page.evaluate(() => TL.lanes()[3])).top + 40);
  assert.deepEqual(await selectedTimes(page), [100.0001, 700.0001], 'a click on the bar takes the press and its release');
  assert.deepEqual(page.errors, []);
});

test('keys nudge, walk, delete, duplicate, pause, copy and paste, each undone in one step', async () => {
  const page = await h.openTimeline({ load: LOAD });
  await page.focus('#canvas');
  await page.keyboard.press('Home');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  assert.deepEqual(await selectedTimes(page), [0.5]);
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('Shift+ArrowRight');
  assert.deepEqual(await selectedTimes(page), [0.61]);
  // The click press now comes after its release: it takes its place in time order.
  assert.deepEqual((await events(page)).map((e) => e[1]), [0, 0.1, 0.6, 0.61, 1, 1.2, 1.5, 2]);
  await page.keyboard.press('Control+z');
  await page.keyboard.press('Control+z');
  assert.deepEqual(await events(page), MACRO);

  // Delete, then duplicate a key press with its release: the copy follows it and the rest moves later.
  await page.keyboard.press('Delete');
  assert.equal((await events(page)).length, 7);
  await page.keyboard.press('Control+z');
  await clickEvent(page, 4);
  await clickEvent(page, 5, ['Shift']);
  await page.keyboard.press('Control+d');
  const dup = await events(page);
  assert.deepEqual(dup.map((e) => e[1]), [0, 0.1, 0.5, 0.6, 1, 1.2, 1.5, 1.7, 2, 2.5]);
  assert.deepEqual(dup.slice(6, 8).map((e) => [e[5], e[6]]), [[65, 1], [65, 0]]);
  await page.keyboard.press('Control+z');

  // Copy the two keys, paste them at the playhead (set on the ruler).
  await page.keyboard.press('Control+c');
  const r = await page.$eval('#canvas', (c) => { const b = c.getBoundingClientRect(); return { left: b.left, top: b.top }; });
  const x = await page.evaluate(() => TL.xOf(1.8));
  await page.mouse.click(r.left + x, r.top + 8);
  const at = await page.evaluate(() => TL.playhead());
  assert.ok(Math.abs(at - 1.8) < 0.02);
  await page.focus('#canvas');
  await page.keyboard.press('Control+v');
  const pasted = (await events(page)).filter((e) => e[0] === 3).map((e) => [e[1], e[6]]);
  assert.deepEqual(pasted, [[1, 1], [1.2, 0], [at, 1], [Math.round((at + 0.2) * 1e6) / 1e6, 0]]);
  await page.keyboard.press('Control+z');

  // A pause at the playhead of 1 s moves what follows it.
  await page.evaluate(() => TL.fit());
  const x2 = await page.evaluate(() => TL.xOf(1.4));
  await page.mouse.click(r.left + x2, r.top + 8);
  await page.keyboard.press('p');
  await page.fill('#ask-input', '1');
  await page.click('#ask-ok');
  await page.waitForFunction(() => TL.events().at(-1)[1] !== 2);  // the pause goes in once the dialog has closed
  assert.deepEqual((await events(page)).map((e) => e[1]), [0, 0.1, 0.5, 0.6, 1, 1.2, 2.5, 3]);
  await page.keyboard.press('Control+z');
  assert.deepEqual(await events(page), MACRO);
  assert.deepEqual(page.errors, []);
});

test('the side panel refuses bad values with the save document\'s sentences and applies good ones', async () => {
  const page = await h.openTimeline({ load: LOAD });
  await clickEvent(page, 2);
  const rejected = [
    ['#f-x', '1000001', 'Event 3: position is out of range.'],
    ['#f-x', '1.5', 'Event 3: position is out of range.'],
    ['#f-x', 'abc', 'Event 3: has a value that is not a number.'],
    ['#f-flags', '-1', 'Event 3: mouse flags are out of range.'],
    ['#f-time', '1000000.5', 'Event 3: time is out of range.'],
    ['#f-time', '', 'Event 3: has a value that is not a number.'],
  ];
  for (const [sel, value, sentence] of rejected) {
    await page.fill(sel, value);
    assert.equal(await page.textContent('#f-error'), sentence, `${sel} = ${value}`);
    assert.equal(await page.isDisabled('#f-apply'), true);
    await page.fill(sel, sel === '#f-time' ? '0.5' : sel === '#f-flags' ? '2' : '140');
  }
  await page.selectOption('#f-type', '3');
  await page.fill('#f-vk', '256');
  assert.equal(await page.textContent('#f-error'), 'Event 3: key code is out of range.');
  await page.fill('#f-vk', '66');
  await page.selectOption('#f-type', '2');
  // A new time takes the event to its place in the order.
  await page.fill('#f-time', '1.7');
  await page.click('#f-apply');
  const after = await events(page);
  assert.deepEqual(after[6], [2, 1.7, 140, 120, 2, 66, 0, 0]);
  assert.deepEqual(after.map((e) => e[1]), [0, 0.1, 0.6, 1, 1.2, 1.5, 1.7, 2]);
  assert.equal(await page.evaluate(() => TL.validate(TL.events())), '');
  assert.match(await page.evaluate(() => TL.validate([[0, 1, 0, 0, 0, 0, 0, 0], [0, 0.5, 0, 0, 0, 0, 0, 0]])), /^Event 2: times are out of order\.$/);
});

test('save sends the document Quorvane reads, marks clean on its answer, and chains without a reload', async () => {
  const page = await h.openTimeline({ load: LOAD, init: { result: { ok: true, message: 'Saved 7 events to "Farm".' } } });
  const [[loadNonce]] = await calls(page, 'tlRequestLoad');
  await clickEvent(page, 6);
  await page.keyboard.press('Delete');
  await page.click('#b-save');
  await page.waitForFunction(() => /Saved 7 events/.test(document.getElementById('message').textContent));
  const [doc] = await page.evaluate(() => window.__tl.saved);
  assert.deepEqual(Object.keys(doc), ['nonce', 'loadNonce', 'events']);
  assert.match(doc.nonce, /^[0-9a-f]{32}$/);
  assert.notEqual(doc.nonce, loadNonce);
  assert.equal(doc.loadNonce, loadNonce);
  assert.deepEqual(doc.events, MACRO.filter((_, i) => i !== 6));
  assert.equal(await lastDirty(page), '0');
  assert.equal(await page.isDisabled('#b-save'), true);
  // The next save comes from the same load.
  await page.keyboard.press('Delete');
  await clickEvent(page, 0);
  await page.keyboard.press('Delete');
  await page.keyboard.press('Control+s');
  await page.waitForFunction(() => window.__tl.saved.length === 2);
  const second = (await page.evaluate(() => window.__tl.saved))[1];
  assert.equal(second.loadNonce, loadNonce);
  assert.notEqual(second.nonce, doc.nonce);
  assert.equal(second.events.length, 6);
  // A refusal from the editor's own check (a bad document) is shown and nothing waits for a result.
  await h.tlCalls(page, 'tlReadResult');
  await page.evaluate(() => { window.__tl.accept = { ok: false, message: 'Not saved: Event 1: time is out of range.' }; });
  await clickEvent(page, 0);
  await page.keyboard.press('Delete');
  await page.keyboard.press('Control+s');
  await page.waitForFunction(() => /Event 1: time is out of range/.test(document.getElementById('message').textContent));
  assert.equal(await lastDirty(page), '1');
});

test('a stale save shows the master\'s sentence and offers to reload', async () => {
  const stale = 'Not saved: the macro was changed outside the editor since it was loaded (recorded, imported or edited). Revert loads the current version.';
  const page = await h.openTimeline({ load: LOAD, init: { result: { ok: false, message: stale } } });
  await clickEvent(page, 0);
  await page.keyboard.press('Delete');
  await page.keyboard.press('Control+s');
  await page.waitForSelector('#ask[open]');
  assert.match(await page.textContent('#ask-text'), /changed outside the editor/);
  assert.equal(await message(page), stale);
  assert.equal(await lastDirty(page), '1');
  // Keep editing leaves the edits; Reload asks for a fresh copy and drops them.
  await page.click('#ask-cancel');
  assert.equal((await events(page)).length, 7);
  await page.keyboard.press('Control+s');
  await page.waitForSelector('#ask[open]');
  await page.click('#ask-ok');
  await page.waitForFunction(() => window.__tl.calls.filter((c) => c.name === 'tlRequestLoad').length === 2);
  await page.waitForFunction(() => TL.events().length === 8);
  assert.equal(await lastDirty(page), '0');
  // A refusal that isn't staleness (automation runs) offers no reload.
  await page.evaluate(() => { window.__tl.result = { ok: false, message: 'Not saved: Quorvane is playing. Stop it first, then save again.' }; });
  await clickEvent(page, 0);
  await page.keyboard.press('Delete');
  await page.keyboard.press('Control+s');
  await page.waitForFunction(() => /is playing/.test(document.getElementById('message').textContent));
  assert.equal(await page.isVisible('#ask'), false);
});

test('automation: the busy overlay blocks edits, and every state is acknowledged with its number', async () => {
  const page = await h.openTimeline({ load: LOAD });
  await clickEvent(page, 0);
  await page.evaluate(() => window.onTimelineAutomation(true, '7'));
  assert.equal(await page.isVisible('#busy'), true);
  await page.waitForFunction(() => window.__tl.calls.some((c) => c.name === 'tlAckAutomation'));
  assert.deepEqual(await calls(page, 'tlAckAutomation'), [['7']]);
  await page.keyboard.press('Delete');
  await page.keyboard.press('Control+s');
  assert.equal((await events(page)).length, 8);
  assert.deepEqual(await page.evaluate(() => window.__tl.saved), []);
  await page.evaluate(() => window.onTimelineAutomation(false, '8'));
  assert.equal(await page.isVisible('#busy'), false);
  await page.waitForFunction(() => window.__tl.calls.filter((c) => c.name === 'tlAckAutomation').length === 2);
  assert.deepEqual((await calls(page, 'tlAckAutomation')).at(-1), ['8']);
  await page.focus('#canvas');
  await page.keyboard.press('Delete');
  assert.equal((await events(page)).length, 7);

  // A page that opens while automation runs starts busy.
  const busyPage = await h.openTimeline({ load: LOAD, init: { busy: true } });
  await busyPage.waitForSelector('#busy', { state: 'visible' });
});

test('closing: unsaved edits ask first; a gone master is shown and the work can still be copied', async () => {
  const page = await h.openTimeline({ load: LOAD });
  await clickEvent(page, 0);
  await page.keyboard.press('Delete');
  await page.evaluate(() => { window.onTimelineCloseRequested(); });
  await page.waitForSelector('#ask[open]');
  assert.match(await page.textContent('#ask-title'), /Save changes to "Farm"/);
  await page.click('#ask-cancel');
  assert.deepEqual(await calls(page, 'tlCloseWindow'), []);
  await page.evaluate(() => { window.onTimelineCloseRequested(); });
  await page.click('#ask-third');
  await page.waitForFunction(() => window.__tl.calls.some((c) => c.name === 'tlCloseWindow'));
  assert.equal(await lastDirty(page), '0');

  // Save, then close.
  const saver = await h.openTimeline({ load: LOAD });
  await clickEvent(saver, 0);
  await saver.keyboard.press('Delete');
  await saver.evaluate(() => { window.onTimelineCloseRequested(); });
  await saver.click('#ask-ok');
  await saver.waitForFunction(() => window.__tl.calls.some((c) => c.name === 'tlCloseWindow'));
  assert.equal((await saver.evaluate(() => window.__tl.saved)).length, 1);

  const gone = await h.openTimeline({ load: LOAD });
  await clickEvent(gone, 0);
  await gone.keyboard.press('Delete');
  await gone.evaluate(() => window.onTimelineMasterGone());
  assert.equal(await gone.isVisible('#gone'), true);
  assert.equal(await gone.isDisabled('#b-save'), true);
  await gone.keyboard.press('Control+s');
  assert.deepEqual(await gone.evaluate(() => window.__tl.saved), []);
  await gone.click('#b-copy');
  assert.match(await gone.textContent('#message'), /clipboard/);
  await gone.click('#b-close');
  await gone.waitForFunction(() => window.__tl.calls.some((c) => c.name === 'tlCloseWindow'));
});

test('the list view reorders keys and clicks into each other\'s time slots, by keyboard', async () => {
  const page = await h.openTimeline({ load: LOAD });
  await page.click('#v-list');
  const rows = await page.$$eval('#list li', (ls) => ls.map((l) => l.textContent));
  assert.equal(rows.length, 4);
  assert.match(rows[0], /Left button down/);
  assert.match(rows[2], /A down/);
  await page.focus('#list li:nth-child(3)');
  await page.keyboard.press('Alt+ArrowUp');
  await page.keyboard.press('Alt+ArrowUp');
  const after = await events(page);
  // The key press took the click press's slot; everything else kept its time.
  assert.deepEqual(after.map((e) => e[1]), MACRO.map((e) => e[1]));
  assert.deepEqual(after.slice(2, 6).map((e) => e[0] + ':' + (e[0] === 3 ? e[6] : e[4])), ['3:1', '2:2', '2:4', '3:0']);
  assert.equal(await page.evaluate(() => typeof window.Sortable), fs.existsSync(path.join(__dirname, '../../ui/vendor/Sortable.min.js')) ? 'function' : 'undefined');
});

test('screenshots in each built-in theme and a custom one', async () => {
  const custom = [{ key: 'custom:neon', name: 'Neon', bgMain: '#101018', bgPanel: '#181826', bgHeader: '#20203a', accent: '#ff3db8',
    accentHover: '#ff70cc', text: '#f4f0ff', font: '', hasSkin: false }];
  for (const theme of ['quorvane', 'daylight', 'graphite', 'custom:neon']) {
    const page = await h.openTimeline({ load: LOAD, init: { theme, custom } });
    await page.waitForFunction((t) => document.documentElement.dataset.theme === t, theme);
    await clickEvent(page, 4);
    await page.evaluate(() => new Promise((r) => requestAnimationFrame(() => r())));
    await page.screenshot({ path: path.join(artifacts, 'timeline-' + theme.replace(':', '-') + '.png') });
    if (theme === 'custom:neon') {
      assert.equal(await page.$eval('body', (b) => getComputedStyle(b).backgroundColor), 'rgb(16, 16, 24)');
    }
    assert.deepEqual(page.errors, []);
    await page.close();
  }
});
