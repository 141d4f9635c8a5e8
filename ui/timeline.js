'use strict';
// The Timeline Editor's page. It edits a copy of the active profile's macro: the native side only carries
// files to and from Quorvane, named by nonces that this page makes. Events are kept as they travel, arrays
// of eight numbers [type, time, x, y, flags, vk, down, wheel], in time order; an edit never changes an
// array in place but replaces it, so that undo can keep whole lists and the selection can hold the arrays
// themselves.
var TL = (function () {
  const $ = (id) => document.getElementById(id);
  const TYPE = 0, TIME = 1, X = 2, Y = 3, FLAGS = 4, VK = 5, DOWN = 6, WHEEL = 7;
  const LIMIT = 1000000;
  const TRACKS = ['Moves', 'Clicks', 'Wheel', 'Keys', 'Tools'];
  const trackOf = (type) => [0, 0, 1, 3, 2, 4][type] ?? 4;
  const GUTTER = 78, RULER = 26, MIN_PX_PER_S = 1e-3, MAX_PX_PER_S = 2e6;
  const UNDO_BUDGET = 8e6;  // events kept across all undo steps (each step holds a list of references)
  const BUTTONS = { 2: 'Left', 4: 'Left', 8: 'Right', 16: 'Right', 32: 'Middle', 64: 'Middle', 128: 'Side', 256: 'Side' };
  const BUTTON_DOWN = [2, 8, 32, 128];
  const isPress = (e) => (e[TYPE] === 2 ? BUTTON_DOWN.includes(e[FLAGS]) : e[DOWN] === 1);  // a tool's "on" too
  // What pairs a press with its release: the key's number, or the button (above any key number).
  const pairId = (e) => (e[TYPE] === 3 ? e[VK] : e[TYPE] === 2 && BUTTONS[e[FLAGS]] ? 1000 + ((Math.log2(e[FLAGS]) - 1) >> 1) : -1);
  const TOOLS = { 1: 'Spammer', 2: 'Key Spammer' };

  // ---- State ------------------------------------------------------------------------------------------
  let events = [];
  let times = new Float64Array(0);
  let partner = new Map();  // key and click presses with their releases, both ways
  let laneIndex = [];       // per lane: its events and their times, in time order
  let laneBars = [];        // per lane: its press bars (see bars())
  let selIndex = null;      // the same two for the selection, made when first drawn
  let keys = {};            // key number to name, as Quorvane named them
  let profile = '';
  let loadNonce = '';
  let selection = new Set();
  let undo = [], redo = [];
  let version = 0, savedVersion = 0, nextVersion = 1;
  let busy = false, gone = false, saving = false, loading = false, loaded = false;
  let clipboard = [];
  let playhead = 0;
  let view = { t0: 0, pps: 100 };  // time at the left edge, pixels per second
  let drag = null;                 // a retime or a rubber band in progress
  let listShown = false;

  // ---- Calls into the native side ---------------------------------------------------------------------
  const has = (name) => typeof window[name] === 'function';
  const call = (name, ...args) => answer(name, () => window[name](...args));
  async function answer(name, ask) {
    if (!has(name)) return undefined;
    try {
      return await ask();
    } catch (e) {
      say(String(e && e.message ? e.message : e), true);
      return undefined;
    }
  }
  // The macro's document, megabytes of it, comes through the web engine's own message channel where the
  // native side opened one: the library's way makes a script of it that the page must compile first.
  const direct = window.webkit && window.webkit.messageHandlers && window.webkit.messageHandlers.qvnCall;
  const callDirect = (name, ...args) => (!direct ? call(name, ...args) : answer(name, async () => {
    const text = await direct.postMessage([name, JSON.stringify(args)]);
    return typeof text === 'string' && text !== '' ? JSON.parse(text) : undefined;
  }));
  const sleep = (ms) => new Promise((r) => setTimeout(r, ms));

  // 32 hexadecimal digits from the platform's random source.
  function newNonce() {
    const bytes = new Uint8Array(16);
    crypto.getRandomValues(bytes);
    return Array.from(bytes, (b) => b.toString(16).padStart(2, '0')).join('');
  }

  // ---- Validation: the rules and sentences of the save document's reader -------------------------------
  const eventError = (i, message) => 'Event ' + (i + 1) + ': ' + message;
  const whole = (v) => Math.floor(v) === v;
  // One field's value for event i; null when it is allowed.
  function fieldError(field, v, i) {
    if (typeof v !== 'number' || !Number.isFinite(v)) return eventError(i, 'has a value that is not a number.');
    switch (field) {
      case TYPE: return whole(v) && v >= 0 && v <= 5 ? null : eventError(i, 'unknown event type.');
      case TIME: return v >= 0 && v <= 1000000 ? null : eventError(i, 'time is out of range.');
      case X: case Y: return whole(v) && Math.abs(v) <= 1000000 ? null : eventError(i, 'position is out of range.');
      case FLAGS: return whole(v) && v >= 0 && v <= 4294967295 ? null : eventError(i, 'mouse flags are out of range.');
      case VK: return whole(v) && v >= 0 && v <= 255 ? null : eventError(i, 'key code is out of range.');
      case DOWN: return v === 0 || v === 1 ? null : eventError(i, 'the down flag must be 0 or 1.');
      default: return whole(v) && Math.abs(v) <= 1000000 ? null : eventError(i, 'scroll amount is out of range.');
    }
  }
  const CHECK_ORDER = [TYPE, X, Y, FLAGS, VK, DOWN, WHEEL, TIME];
  // The first error of a whole macro, or '' when Quorvane will take it.
  function validate(list) {
    if (list.length > LIMIT) return 'Too many events (' + list.length + '; the limit is ' + LIMIT + ').';
    for (let i = 0; i < list.length; i++) {
      const e = list[i];
      if (!Array.isArray(e) || e.length !== 8) return eventError(i, 'needs exactly 8 values.');
      for (const f of CHECK_ORDER) {
        const err = fieldError(f, e[f], i);
        if (err) return err;
      }
      if (i > 0 && e[TIME] < list[i - 1][TIME]) return eventError(i, 'times are out of order.');
    }
    return '';
  }

  // ---- Events and edits -------------------------------------------------------------------------------
  const round6 = (t) => Math.round(t * 1e6) / 1e6;
  const withField = (e, f, v) => { const c = e.slice(); c[f] = v; return c; };

  // After every change of the list: the times, which release belongs to which press, and each lane's own
  // events with their times, so that drawing and hit tests search by time instead of walking the list.
  function reindex() {
    const n = events.length;
    times = new Float64Array(n);
    partner = new Map();
    const open = new Map();
    const counts = TRACKS.map(() => 0);
    for (let i = 0; i < n; i++) counts[trackOf(events[i][TYPE])]++;
    laneIndex = counts.map((c) => ({ times: new Float64Array(c), events: new Array(c) }));
    const fill = TRACKS.map(() => 0);
    for (let i = 0; i < n; i++) {
      const e = events[i];
      times[i] = e[TIME];
      const k = trackOf(e[TYPE]);
      laneIndex[k].times[fill[k]] = e[TIME];
      laneIndex[k].events[fill[k]++] = e;
      const id = pairId(e);
      if (id < 0) continue;
      if (isPress(e)) {
        if (!open.has(id)) open.set(id, e);
      } else if (open.has(id)) {
        const d = open.get(id);
        open.delete(id);
        partner.set(d, e);
        partner.set(e, d);
      }
    }
    laneBars = laneIndex.map((l) => bars(l.events.filter((e) => partner.has(e) && isPress(e))));
    selIndex = null;
  }

  // The bars of presses in time order, each to its release: starts, ends, and the furthest end so far
  // (`reach`), which tells whether anything before a point still runs over it.
  function bars(presses) {
    const n = presses.length;
    const b = { start: new Float64Array(n), end: new Float64Array(n), reach: new Float64Array(n), press: presses };
    let reach = -Infinity;
    for (let i = 0; i < n; i++) {
      b.start[i] = presses[i][TIME];
      b.end[i] = partner.get(presses[i])[TIME];
      reach = b.reach[i] = Math.max(reach, b.end[i]);
    }
    return b;
  }

  // The selection's lanes and bars, made again only when the selection or the list changed.
  function selectionIndex() {
    if (selIndex && selIndex.of === selection && selIndex.size === selection.size && selIndex.list === events) return selIndex;
    const per = TRACKS.map(() => []);
    const presses = TRACKS.map(() => new Set());
    for (const e of selection) {
      const k = trackOf(e[TYPE]);
      per[k].push(e);
      const p = partner.get(e);
      if (p) presses[k].add(isPress(e) ? e : p);
    }
    const lanes = per.map((list) => {
      list.sort(byTime);
      return { times: Float64Array.from(list, (e) => e[TIME]), events: list };
    });
    const selBars = presses.map((set) => bars([...set].sort(byTime)));
    selIndex = { of: selection, size: selection.size, list: events, lanes, bars: selBars };
    return selIndex;
  }

  // First index of a sorted list of times, from `lo` on, whose time is at least t.
  function lowerIn(ts, t, lo = 0) {
    let hi = ts.length;
    while (lo < hi) {
      const mid = (lo + hi) >> 1;
      if (ts[mid] < t) lo = mid + 1; else hi = mid;
    }
    return lo;
  }
  const lowerBound = (t) => lowerIn(times, t);

  const byTime = (a, b) => a[TIME] - b[TIME];  // Array.prototype.sort is stable: equal times keep their order

  // Every edit goes through here: the list before it becomes an undo step.
  function commit(next, nextSel, note) {
    undo.push({ events, selection: [...selection], version });
    redo = [];
    let kept = 0;
    for (let i = undo.length - 1; i >= 0; i--) {
      kept += undo[i].events.length;
      if (kept > UNDO_BUDGET) { undo = undo.slice(i + 1); break; }
    }
    events = next;
    selection = new Set(nextSel);
    version = nextVersion++;
    changed(note);
  }

  function restore(from, to) {
    const step = from.pop();
    if (!step) return;
    to.push({ events, selection: [...selection], version });
    events = step.events;
    selection = new Set(step.selection);
    version = step.version;
    changed(from === undo ? 'Undone.' : 'Redone.');
  }

  function changed(note) {
    reindex();
    updateDirty();
    refreshSide();
    refreshButtons();
    if (listShown) renderList();
    if (note) say(note);
    invalidate();
  }

  function updateDirty() {
    const dirty = version !== savedVersion;
    $('dirty-mark').hidden = !dirty;
    document.title = (dirty ? '• ' : '') + 'Quorvane - Timeline Editor';
    if (dirty !== updateDirty.last) {
      updateDirty.last = dirty;
      call('tlSetDirty', dirty ? '1' : '0');
    }
  }
  const isDirty = () => version !== savedVersion;

  function selected() { return events.filter((e) => selection.has(e)); }

  // Moves the selected events by dt seconds (never before 0), keeping the list in time order.
  function shiftSelection(dt, note) {
    if (!selection.size || !dt) return;
    const sel = selected();
    const first = sel[0][TIME];
    if (first + dt < 0) dt = -first;
    if (!dt) return;
    const moved = new Set();
    const next = events.map((e) => {
      if (!selection.has(e)) return e;
      const c = withField(e, TIME, round6(e[TIME] + dt));
      moved.add(c);
      return c;
    });
    next.sort(byTime);
    commit(next, moved, note || (dt > 0 ? 'Moved later by ' : 'Moved earlier by ') + fmtDur(Math.abs(dt)) + '.');
  }

  function deleteSelection() {
    if (!selection.size) return;
    const n = selection.size;
    commit(events.filter((e) => !selection.has(e)), [], 'Deleted ' + n + (n === 1 ? ' event.' : ' events.'));
  }

  // A copy of the selection right after it; what follows moves later by the same span.
  function duplicateSelection() {
    if (!selection.size) return;
    const sel = selected();
    if (events.length + sel.length > LIMIT) return say('Too many events (' + (events.length + sel.length) + '; the limit is ' + LIMIT + ').', true);
    const start = sel[0][TIME], end = sel[sel.length - 1][TIME];
    const offset = round6(end - start + gapAfter(end));
    const copies = sel.map((e) => withField(e, TIME, round6(e[TIME] + offset)));
    const lastSel = events.lastIndexOf(sel[sel.length - 1]);
    const next = events.map((e, i) => (i > lastSel ? withField(e, TIME, round6(e[TIME] + offset)) : e));
    next.splice(lastSel + 1, 0, ...copies);
    next.sort(byTime);
    commit(next, copies, 'Duplicated ' + copies.length + (copies.length === 1 ? ' event.' : ' events.'));
  }
  // The pause between the end of a selection and what follows it, or a tenth of a second at the end.
  function gapAfter(end) {
    const i = lowerBound(end + 1e-9);
    return i < events.length ? Math.max(events[i][TIME] - end, 0.01) : 0.1;
  }

  function insertPause(at, seconds) {
    if (!(seconds > 0)) return;
    const next = events.map((e) => (e[TIME] >= at ? withField(e, TIME, round6(e[TIME] + seconds)) : e));
    const moved = next.filter((e, i) => e !== events[i]);
    commit(next, moved, 'Inserted a pause of ' + fmtDur(seconds) + ' at ' + fmtTime(at) + '.');
  }

  function copySelection() {
    const sel = selected();
    if (!sel.length) return;
    const base = sel[0][TIME];
    clipboard = sel.map((e) => withField(e, TIME, e[TIME] - base));
    say('Copied ' + sel.length + (sel.length === 1 ? ' event.' : ' events.'));
  }

  function paste() {
    if (!clipboard.length) return say('Nothing copied yet: select events and press Ctrl+C.');
    if (events.length + clipboard.length > LIMIT) return say('Too many events (' + (events.length + clipboard.length) + '; the limit is ' + LIMIT + ').', true);
    const at = playhead;
    const copies = clipboard.map((e) => withField(e, TIME, round6(e[TIME] + at)));
    const next = events.concat(copies).sort(byTime);
    commit(next, copies, 'Pasted ' + copies.length + (copies.length === 1 ? ' event at ' : ' events at ') + fmtTime(at) + '.');
  }

  // Puts one event's edited fields in place; a new time moves it to its place in the order.
  function replaceEvent(old, fresh) {
    const next = events.map((e) => (e === old ? fresh : e));
    if (fresh[TIME] !== old[TIME]) next.sort(byTime);
    commit(next, [fresh], 'Event changed.');
  }

  // The list view's reorder: the chosen events trade places, each taking the time slot of the place it
  // lands in, so the rhythm of the macro stays.
  function reorder(items, from, to) {
    if (from === to || from < 0 || to < 0 || from >= items.length || to >= items.length) return;
    const slots = items.map((e) => e[TIME]);
    const order = items.slice();
    const [moving] = order.splice(from, 1);
    order.splice(to, 0, moving);
    const map = new Map();
    order.forEach((e, i) => { if (e[TIME] !== slots[i] || e !== items[i]) map.set(e, withField(e, TIME, slots[i])); });
    const next = events.map((e) => map.get(e) || e);
    // Equal slot times must keep the new order: place the reordered events by their position in `order`.
    const rank = new Map(order.map((e, i) => [map.get(e) || e, i]));
    next.sort((a, b) => a[TIME] - b[TIME] || ((rank.has(a) && rank.has(b)) ? rank.get(a) - rank.get(b) : 0));
    commit(next, [map.get(moving) || moving], 'Order changed.');
  }

  // ---- Formatting -------------------------------------------------------------------------------------
  function fmtTime(t) {
    const m = Math.floor(t / 60);
    const s = t - m * 60;
    return (m ? m + ':' + (s < 10 ? '0' : '') : '') + s.toFixed(3) + (m ? '' : ' s');
  }
  const fmtDur = (d) => (d < 1 ? Math.round(d * 1000) + ' ms' : (+d.toFixed(3)) + ' s');
  const keyName = (vk) => keys[vk] || 'VK ' + vk;
  function describe(e) {
    switch (e[TYPE]) {
      case 0: return 'Move to ' + e[X] + ', ' + e[Y];
      case 1: return 'Move by ' + e[X] + ', ' + e[Y];
      case 2: {
        const b = BUTTONS[e[FLAGS]];
        const d = [2, 8, 32, 128].includes(e[FLAGS]);
        return b ? b + ' button ' + (d ? 'down' : 'up') + ' at ' + e[X] + ', ' + e[Y] : 'Click (flags ' + e[FLAGS] + ') at ' + e[X] + ', ' + e[Y];
      }
      case 3: return keyName(e[VK]) + (e[DOWN] ? ' down' : ' up');
      case 4: return 'Wheel ' + (e[WHEEL] > 0 ? 'up ' : 'down ') + Math.abs(e[WHEEL] / 120) + ' at ' + e[X] + ', ' + e[Y];
      default: return (TOOLS[e[VK]] || 'Tool ' + e[VK]) + (e[DOWN] ? ' on' : ' off');
    }
  }

  let sayTimer = 0;
  function say(text, error) {
    const m = $('message');
    m.textContent = text;
    m.className = error ? 'error' : '';
    clearTimeout(sayTimer);
    if (!error) sayTimer = setTimeout(() => { m.textContent = ''; }, 5000);
  }

  // ---- Drawing ----------------------------------------------------------------------------------------
  const canvas = $('canvas');
  const ctx = canvas.getContext('2d');
  let frame = 0;
  let colors = {};
  function invalidate() {
    if (!frame) frame = requestAnimationFrame(() => { frame = 0; draw(); });
  }
  function readColors() {
    const css = getComputedStyle(document.documentElement);
    const v = (n) => css.getPropertyValue(n).trim();
    colors = { bg: v('--field'), panel: v('--panel'), line: v('--line'), text: v('--text'), muted: v('--muted'),
      accent: v('--accent'), band: v('--accent-soft'), tracks: [v('--c-move'), v('--c-click'), v('--c-wheel'), v('--c-key'), v('--c-tool')],
      font: '11px ' + getComputedStyle(document.body).fontFamily };
    // Every other lane is shaded with the panel colour; mixed once here, it is painted opaque.
    const mix = document.createElement('canvas').getContext('2d', { willReadFrequently: true });
    mix.fillStyle = colors.bg; mix.fillRect(0, 0, 1, 1);
    mix.globalAlpha = 0.55; mix.fillStyle = colors.panel; mix.fillRect(0, 0, 1, 1);
    const [r, g, b] = mix.getImageData(0, 0, 1, 1).data;
    colors.shade = 'rgb(' + r + ',' + g + ',' + b + ')';
  }
  // The canvas's size in CSS pixels, read again only after it changed (reading it forces a layout).
  let box = null;
  const canvasBox = () => box || (box = canvas.getBoundingClientRect());
  function size() {
    const r = canvasBox();
    const dpr = window.devicePixelRatio || 1;
    const w = Math.max(1, Math.round(r.width * dpr)), h = Math.max(1, Math.round(r.height * dpr));
    if (canvas.width !== w || canvas.height !== h) { canvas.width = w; canvas.height = h; }
    return { w: r.width, h: r.height, dpr };
  }
  function lanes(h) {
    const lh = Math.max(30, (h - RULER) / TRACKS.length);
    return TRACKS.map((name, i) => ({ name, top: RULER + i * lh, h: lh }));
  }
  const xOf = (t) => GUTTER + (t - view.t0) * view.pps;
  const tOf = (x) => view.t0 + (x - GUTTER) / view.pps;

  // Ruler steps: 1, 2, 5 times a power of ten, then minutes.
  function gridStep(minPx) {
    const steps = [];
    for (let p = -3; p <= 1; p++) for (const m of [1, 2, 5]) steps.push(m * 10 ** p);
    steps.push(30, 60, 120, 300, 600, 1200, 1800, 3600, 7200, 18000, 36000, 86400, 172800, 432000);
    for (const s of steps) if (s * view.pps >= minPx) return s;
    return steps[steps.length - 1];
  }

  function draw() {
    const { w, h, dpr } = size();
    ctx.setTransform(dpr, 0, 0, dpr, 0, 0);
    ctx.fillStyle = colors.bg;
    ctx.fillRect(0, 0, w, h);
    const ls = lanes(h);
    const t1 = tOf(w);
    // Lanes and grid.
    ctx.fillStyle = colors.shade;
    ls.forEach((l, i) => { if (i % 2 === 0) ctx.fillRect(0, l.top, w, l.h); });
    const major = gridStep(80), minor = major / (major >= 60 ? 6 : 5);
    ctx.strokeStyle = colors.line;
    ctx.lineWidth = 1;
    ctx.beginPath();
    for (let t = Math.floor(view.t0 / minor) * minor; t <= t1; t += minor) {
      const x = Math.round(xOf(t)) + 0.5;
      if (x < GUTTER) continue;
      ctx.moveTo(x, RULER - (Math.abs(t / major - Math.round(t / major)) < 1e-6 ? 10 : 4));
      ctx.lineTo(x, h);
    }
    ctx.stroke();
    ctx.fillStyle = colors.muted;
    ctx.font = colors.font;
    ctx.textBaseline = 'middle';
    for (let t = Math.ceil(view.t0 / major) * major; t <= t1; t += major) {
      const x = xOf(t);
      if (x >= GUTTER) ctx.fillText(rulerLabel(t, major), x + 3, 9);
    }

    drawEvents(ls, w, t1);

    // Rubber band, playhead.
    if (drag && drag.kind === 'band') {
      const x0 = Math.min(drag.x0, drag.x1), y0 = Math.min(drag.y0, drag.y1);
      ctx.fillStyle = colors.band;
      ctx.globalAlpha = 0.5;
      ctx.fillRect(x0, y0, Math.abs(drag.x1 - drag.x0), Math.abs(drag.y1 - drag.y0));
      ctx.globalAlpha = 1;
      ctx.strokeStyle = colors.accent;
      ctx.strokeRect(x0 + 0.5, y0 + 0.5, Math.abs(drag.x1 - drag.x0), Math.abs(drag.y1 - drag.y0));
    }
    const px = xOf(playhead);
    if (px >= GUTTER && px <= w) {
      ctx.strokeStyle = colors.accent;
      ctx.lineWidth = 2;
      ctx.beginPath();
      ctx.moveTo(px, 0); ctx.lineTo(px, h);
      ctx.stroke();
      ctx.lineWidth = 1;
    }
    // Gutter with the lane names, drawn last so that nothing runs under it.
    ctx.fillStyle = colors.panel;
    ctx.fillRect(0, 0, GUTTER, h);
    ctx.strokeStyle = colors.line;
    ctx.beginPath(); ctx.moveTo(GUTTER + 0.5, 0); ctx.lineTo(GUTTER + 0.5, h); ctx.moveTo(0, RULER + 0.5); ctx.lineTo(w, RULER + 0.5); ctx.stroke();
    ls.forEach((l, i) => {
      ctx.fillStyle = colors.tracks[i];
      ctx.fillRect(10, l.top + l.h / 2 - 4, 8, 8);
      ctx.fillStyle = colors.text;
      ctx.fillText(l.name, 24, l.top + l.h / 2);
    });
    $('readout').textContent = fmtTime(Math.max(0, view.t0)) + ' – ' + fmtTime(t1) + '  ·  playhead ' + fmtTime(playhead);
    syncScroll();
    pathSoon();
  }

  // The side panel's path costs as much as the timeline in some web views: while the view keeps changing
  // it is drawn at most every 150 ms, and always once more after the last change.
  let pathAt = -Infinity, pathTimer = 0;
  function pathSoon() {
    const wait = pathAt + 150 - performance.now();
    if (wait <= 0) {
      clearTimeout(pathTimer);
      pathTimer = 0;
      pathAt = performance.now();
      drawPath(tOf(canvasBox().width));
    } else if (!pathTimer) {
      pathTimer = setTimeout(() => { pathTimer = 0; pathSoon(); }, wait);
    }
  }

  function rulerLabel(t, step) {
    if (step >= 60) { const m = Math.floor(t / 60); return m + ':' + String(Math.round(t - m * 60)).padStart(2, '0'); }
    const digits = step >= 1 ? 0 : step >= 0.1 ? 1 : step >= 0.01 ? 2 : 3;
    return t.toFixed(digits) + 's';
  }

  // Calls fn(e, x) for the events of a lane (or of the selection's lane) from ta to tb, but only for the
  // first of the events that fall within one pixel (or `columns` pixels): each step is a search for the next pixel column, so the
  // cost follows the width of the view, not the number of events in it. `shift` draws them moved in time.
  function eachColumn(lane, ta, tb, fn, shift = 0, columns = 1) {
    const ts = lane.times, n = ts.length, px = columns / view.pps;
    let i = lowerIn(ts, ta);
    while (i < n && ts[i] <= tb) {
      fn(lane.events[i], xOf(ts[i] + shift));
      const next = ts[i] + px;
      i = i + 1 < n && ts[i + 1] >= next ? i + 1 : lowerIn(ts, next, i + 1);
    }
  }

  // Calls fn(t0, t1, press) for each stretch of press bars from ta to tb, where bars that overlap or lie
  // within a pixel of each other make one stretch; `press` is the bar's press when the stretch is one bar.
  // Every stretch but the last ends at least a pixel before the next, so there are at most as many as columns.
  function eachBarRun(b, ta, tb, fn) {
    const n = b.start.length, px = 1 / view.pps;
    let i = lowerIn(b.start, ta);
    let from, to, single;
    if (i > 0 && b.reach[i - 1] >= ta) { from = ta; to = b.reach[i - 1]; single = null; }
    else if (i < n && b.start[i] <= tb) { from = b.start[i]; to = b.end[i]; single = b.press[i]; i++; }
    else return;
    for (;;) {
      // Take in every bar that starts within a pixel of the stretch's end, for as long as that extends it.
      for (;;) {
        const j = lowerIn(b.start, to + px, i);
        if (j === i) break;
        single = null;
        i = j;
        if (b.reach[j - 1] <= to) break;
        to = b.reach[j - 1];
      }
      fn(from, to, single);
      if (to >= tb || i >= n || b.start[i] > tb) return;
      from = b.start[i]; to = b.end[i]; single = b.press[i]; i++;
    }
  }

  function drawBars(l, k, b, ta, tb, w, sel) {
    ctx.fillStyle = sel ? colors.accent : colors.tracks[k];
    ctx.globalAlpha = sel ? 0.55 : 0.3;
    const labels = [];
    eachBarRun(b, ta, tb, (from, to, press) => {
      const x0 = Math.max(GUTTER, xOf(from)), x1 = Math.min(w, xOf(to));
      ctx.fillRect(x0, l.top + l.h * 0.3, Math.max(1, x1 - x0), l.h * 0.4);
      if (press && k === 3 && x1 - x0 > 26) labels.push([press, x0, x1]);
    });
    ctx.globalAlpha = 1;
    if (!labels.length) return;
    ctx.fillStyle = colors.text;
    for (const [press, x0, x1] of labels) {
      ctx.save();
      ctx.beginPath(); ctx.rect(x0, l.top, x1 - x0, l.h); ctx.clip();
      ctx.fillText(keyName(press[VK]), x0 + 9, l.top + l.h / 2);
      ctx.restore();
    }
  }

  // One lane's marks. Each is filled on its own: the rasteriser is much slower on one path of many
  // overlapping shapes than on the shapes one by one.
  function drawMarks(l, k, lane, ta, tb, sel, shift = 0) {
    const mid = l.top + l.h / 2;
    const r = sel ? 5.5 : 4;
    ctx.fillStyle = ctx.strokeStyle = sel ? colors.accent : colors.tracks[k];
    ctx.lineWidth = 2;
    eachColumn(lane, ta, tb, (e, x) => {
      if (k === 0) {
        ctx.fillRect(x - (sel ? 1.5 : 0.5), mid - l.h * 0.28, sel ? 3 : 1, l.h * 0.56);
        return;
      }
      ctx.beginPath();
      if (k === 2) {
        const up = e[WHEEL] > 0, s = sel ? 6 : 4.5;
        ctx.moveTo(x, up ? mid - s : mid + s); ctx.lineTo(x - s, up ? mid + s / 2 : mid - s / 2); ctx.lineTo(x + s, up ? mid + s / 2 : mid - s / 2);
        ctx.fill();
        return;
      }
      if (k === 4) { ctx.moveTo(x, mid - r - 1); ctx.lineTo(x + r + 1, mid); ctx.lineTo(x, mid + r + 1); ctx.lineTo(x - r - 1, mid); ctx.closePath(); } else ctx.arc(x, mid, r, 0, Math.PI * 2);
      if (isPress(e)) ctx.fill(); else ctx.stroke();
    }, shift, k === 0 ? 1 : 4);  // marks 8 pixels wide still overlap when one is drawn every 4 columns
    ctx.lineWidth = 1;
  }

  // Only what is in view is drawn, at most one mark and one bar per pixel column and lane; the selection
  // goes over it in the accent colour.
  function drawEvents(ls, w, t1) {
    const ta = view.t0 - 8 / view.pps, tb = t1 + 8 / view.pps;
    const sel = selection.size ? selectionIndex() : null;
    ls.forEach((l, k) => {
      drawBars(l, k, laneBars[k], view.t0, t1, w, false);
      if (sel) drawBars(l, k, sel.bars[k], view.t0, t1, w, true);
      drawMarks(l, k, laneIndex[k], ta, tb, false);
      if (sel) drawMarks(l, k, sel.lanes[k], ta, tb, true);
    });
    if (sel && drag && drag.kind === 'move' && drag.dt) {
      // Where the selection will land.
      const dt = drag.dt;
      ctx.fillStyle = colors.accent;
      ctx.globalAlpha = 0.35;
      ls.forEach((l, k) => eachColumn(sel.lanes[k], ta - dt, tb - dt, (e, x) => ctx.fillRect(x - 1, l.top + 3, 2, l.h - 6), dt));
      ctx.globalAlpha = 1;
    }
  }

  // The pointer's path over the moves in view, scaled into the side panel. A few thousand points at most
  // are drawn: the panel has fewer pixels than that along any path.
  const pathCanvas = $('path');
  const PATH_POINTS = 3000;
  function drawPath(t1) {
    const pc = pathCanvas.getContext('2d');
    const W = pathCanvas.width, H = pathCanvas.height;
    pc.fillStyle = colors.bg;
    pc.fillRect(0, 0, W, H);
    const inView = (lane) => {
      const a = lowerIn(lane.times, view.t0), b = lowerIn(lane.times, t1);
      return { lane, a, b, step: Math.max(1, Math.ceil((b - a) / PATH_POINTS)) };
    };
    const each = (r, fn) => { for (let i = r.a; i < r.b; i += r.step) fn(r.lane.events[i]); };
    const moves = inView(laneIndex[0]), clicks = inView(laneIndex[1]);
    let minX = Infinity, minY = Infinity, maxX = -Infinity, maxY = -Infinity;
    const grow = (e) => {
      if (e[TYPE] === 1) return;
      minX = Math.min(minX, e[X]); maxX = Math.max(maxX, e[X]); minY = Math.min(minY, e[Y]); maxY = Math.max(maxY, e[Y]);
    };
    each(moves, grow);
    each(clicks, grow);
    if (minX === Infinity) return;
    const s = Math.min((W - 16) / Math.max(1, maxX - minX), (H - 16) / Math.max(1, maxY - minY));
    const px = (v) => 8 + (v - minX) * s, py = (v) => 8 + (v - minY) * s;
    pc.strokeStyle = colors.tracks[0];
    // A hairline, and a point only where the path has moved a pixel: a long macro goes over the same
    // ground again and again, and a wide stroke of thousands of overlapping segments is slow to rasterise.
    pc.lineWidth = 1;
    pc.beginPath();
    let lastX = NaN, lastY = NaN;
    each(moves, (e) => {
      if (e[TYPE] !== 0) return;
      const x = px(e[X]), y = py(e[Y]);
      if (Math.abs(x - lastX) < 1 && Math.abs(y - lastY) < 1) return;
      if (lastX === lastX) pc.lineTo(x, y); else pc.moveTo(x, y);
      lastX = x; lastY = y;
    });
    pc.stroke();
    // One dot per few pixels (dots overlap at that spacing anyway): clicks repeated at one place, or a
    // selection of thousands of moves, cost what the panel's area does.
    const dots = (r, pick, radius) => {
      const step = radius / 2, cols = Math.ceil(W / step) + 1;
      const done = new Uint8Array(cols * (Math.ceil(H / step) + 1));
      each(r, (e) => {
        if (!pick(e)) return;
        const x = px(e[X]), y = py(e[Y]);
        const cell = Math.round(y / step) * cols + Math.round(x / step);
        if (done[cell]) return;
        done[cell] = 1;
        pc.beginPath();
        pc.arc(x, y, radius, 0, Math.PI * 2);
        pc.fill();
      });
    };
    pc.fillStyle = colors.tracks[1];
    dots(clicks, () => true, 3);
    if (selection.size) {
      const sel = selectionIndex();
      pc.fillStyle = colors.accent;
      dots(inView(sel.lanes[0]), (e) => e[TYPE] === 0, 4);
      dots(inView(sel.lanes[1]), () => true, 4);
    }
  }

  // ---- View: zoom and scroll --------------------------------------------------------------------------
  const span = () => (events.length ? events[events.length - 1][TIME] : 0);
  function clampView() {
    const w = canvasBox().width - GUTTER;
    view.pps = Math.min(MAX_PX_PER_S, Math.max(MIN_PX_PER_S, view.pps));
    const maxT0 = Math.max(0, span() + 1 - w / view.pps * 0.5);
    view.t0 = Math.min(Math.max(view.t0, -0.02 * w / view.pps), maxT0);
  }
  function zoomAt(factor, x) {
    const t = tOf(x);
    view.pps *= factor;
    clampView();
    view.t0 = t - (x - GUTTER) / view.pps;
    clampView();
    invalidate();
    if (listShown) renderList();
  }
  function fit() {
    const w = Math.max(100, canvasBox().width - GUTTER);
    const s = Math.max(span(), 0.5);
    view.pps = (w * 0.93) / s;
    view.t0 = -0.025 * s;
    clampView();
    invalidate();
    if (listShown) renderList();
  }
  function scrollBy(dx) {
    view.t0 += dx / view.pps;
    clampView();
    invalidate();
  }
  function reveal(t) {
    const w = canvasBox().width;
    if (xOf(t) < GUTTER + 20 || xOf(t) > w - 20) { view.t0 = t - (w - GUTTER) / view.pps / 2; clampView(); }
  }
  const hscroll = $('hscroll');
  function syncScroll() {
    const total = span() + 1;
    hscroll.value = String(Math.round(1000 * Math.max(0, view.t0) / total));
  }
  hscroll.addEventListener('input', () => { view.t0 = (Number(hscroll.value) / 1000) * (span() + 1); clampView(); invalidate(); });

  // ---- Pointer ----------------------------------------------------------------------------------------
  // The event under a point: a mark within 6 px in its lane, else a press bar (which gives its press).
  function hit(x, y) {
    const ls = lanes(canvasBox().height);
    const lane = ls.findIndex((l) => y >= l.top && y < l.top + l.h);
    if (lane < 0 || x < GUTTER) return null;
    const t = tOf(x), slack = 6 / view.pps;
    const { times: ts, events: list } = laneIndex[lane];
    // The nearest on either side; of equal times, the first.
    const i = lowerIn(ts, t);
    let j = i;
    if (i > 0 && (i === ts.length || t - ts[i - 1] <= ts[i] - t)) j = lowerIn(ts, ts[i - 1]);
    if (j < ts.length && Math.abs(ts[j] - t) <= slack) return list[j];
    // A bar: the latest press at or before t whose release is after it.
    const b = laneBars[lane];
    const last = lowerIn(b.start, t + 1e-12) - 1;
    for (let k = last; k >= 0 && k > last - 5000 && b.reach[k] >= t; k--) if (b.end[k] >= t) return b.press[k];
    return null;
  }

  function pointerDown(ev) {
    if (busy || ev.button !== 0) return;
    canvas.focus();
    const r = canvas.getBoundingClientRect();
    const x = ev.clientX - r.left, y = ev.clientY - r.top;
    if (y < RULER && x >= GUTTER) { playhead = Math.max(0, round6(tOf(x))); invalidate(); drag = { kind: 'playhead' }; canvas.setPointerCapture(ev.pointerId); return; }
    const e = hit(x, y);
    if (e) {
      // A mark is one event; the bar between a press and its release is both.
      const p = partner.get(e);
      const picked = p && !nearMark(e, x) ? [e, p] : [e];
      if (ev.shiftKey || ev.ctrlKey) {
        const add = !selection.has(e);
        for (const it of picked) { if (add) selection.add(it); else selection.delete(it); }
        selectionChanged();
        return;
      }
      if (!selection.has(e)) {
        selection = new Set(picked);
        selectionChanged();
      }
      drag = { kind: 'move', x0: x, anchor: e, dt: 0 };
    } else {
      drag = { kind: 'band', x0: x, y0: y, x1: x, y1: y, add: ev.shiftKey || ev.ctrlKey, base: new Set(selection) };
    }
    canvas.setPointerCapture(ev.pointerId);
  }
  const nearMark = (e, x) => Math.abs(xOf(e[TIME]) - x) <= 6;

  function pointerMove(ev) {
    const r = canvas.getBoundingClientRect();
    const x = ev.clientX - r.left, y = ev.clientY - r.top;
    if (!drag) { canvas.style.cursor = hit(x, y) ? 'grab' : 'default'; return; }
    if (drag.kind === 'playhead') { playhead = Math.max(0, round6(tOf(x))); invalidate(); return; }
    if (drag.kind === 'move') {
      let target = drag.anchor[TIME] + (x - drag.x0) / view.pps;
      if ($('snap').checked && !ev.altKey) { const g = gridStep(80) / 5; target = Math.round(target / g) * g; }
      let dt = target - drag.anchor[TIME];
      const first = selected()[0];
      if (first && first[TIME] + dt < 0) dt = -first[TIME];
      drag.dt = dt;
      $('readout').textContent = (dt >= 0 ? '+' : '−') + fmtDur(Math.abs(dt)) + '  →  ' + fmtTime(drag.anchor[TIME] + dt);
      canvas.style.cursor = 'grabbing';
      invalidate();
      return;
    }
    drag.x1 = x; drag.y1 = y;
    const ls = lanes(r.height);
    const ta = tOf(Math.min(drag.x0, x)), tb = tOf(Math.max(drag.x0, x));
    const y0 = Math.min(drag.y0, y), y1 = Math.max(drag.y0, y);
    const lanesIn = ls.map((l, i) => (l.top + l.h > y0 && l.top < y1 ? i : -1)).filter((i) => i >= 0);
    const next = new Set(drag.add ? drag.base : []);
    for (let i = lowerBound(ta); i < events.length && times[i] <= tb; i++) if (lanesIn.includes(trackOf(events[i][TYPE]))) next.add(events[i]);
    selection = next;
    invalidate();
  }

  function pointerUp(ev) {
    if (!drag) return;
    const d = drag;
    drag = null;
    if (d.kind === 'move') {
      if (Math.abs(d.dt) > 1e-9) shiftSelection(d.dt); else invalidate();
    } else if (d.kind === 'band') {
      if (Math.abs(d.x1 - d.x0) < 3 && Math.abs(d.y1 - d.y0) < 3) {
        // A plain click on empty space: the playhead goes there and the selection is let go.
        playhead = Math.max(0, round6(tOf(d.x0)));
        if (!d.add) selection = new Set();
      }
      selectionChanged();
    }
    canvas.style.cursor = 'default';
    if (ev && canvas.hasPointerCapture(ev.pointerId)) canvas.releasePointerCapture(ev.pointerId);
  }

  function wheel(ev) {
    ev.preventDefault();
    if (busy) return;
    const r = canvas.getBoundingClientRect();
    if (ev.ctrlKey) zoomAt(Math.exp(-ev.deltaY * 0.0025), ev.clientX - r.left);
    else scrollBy((Math.abs(ev.deltaX) > Math.abs(ev.deltaY) ? ev.deltaX : ev.deltaY));
  }

  // ---- Keyboard ---------------------------------------------------------------------------------------
  function keydown(ev) {
    if (busy) { ev.preventDefault(); return; }
    if (document.querySelector('dialog[open]')) return;
    const inField = /^(INPUT|SELECT|TEXTAREA)$/.test(ev.target.tagName) && ev.target.id !== 'hscroll' && ev.target.type !== 'checkbox';
    const ctrl = ev.ctrlKey || ev.metaKey;
    const k = ev.key.toLowerCase();
    let done = true;
    if (ctrl && k === 's') save();
    else if (ctrl && k === 'z' && !ev.shiftKey) { if (!inField) restore(undo, redo); else done = false; }
    else if (ctrl && (k === 'y' || (k === 'z' && ev.shiftKey))) { if (!inField) restore(redo, undo); else done = false; }
    else if (inField) done = false;
    else if (ctrl && k === 'a') { selection = new Set(events); selectionChanged(); }
    else if (ctrl && k === 'c') copySelection();
    else if (ctrl && k === 'v') paste();
    else if (ctrl && k === 'd') duplicateSelection();
    else if (ev.key === 'Delete' || ev.key === 'Backspace') deleteSelection();
    else if (ev.key === 'Escape') { selection = new Set(); selectionChanged(); }
    else if (ev.target.closest && ev.target.closest('#list')) done = false;
    else if (ev.key === 'ArrowLeft' || ev.key === 'ArrowRight') {
      const dir = ev.key === 'ArrowLeft' ? -1 : 1;
      if (selection.size) shiftSelection(dir * (ev.shiftKey ? 0.1 : 0.01));
      else scrollBy(dir * 60);
    } else if (ev.key === 'ArrowUp' || ev.key === 'ArrowDown' || ev.key === 'Home' || ev.key === 'End') step(ev.key, ev.shiftKey);
    else if (ev.key === '+' || ev.key === '=') zoomAt(1.5, (GUTTER + canvasBox().width) / 2);
    else if (ev.key === '-') zoomAt(1 / 1.5, (GUTTER + canvasBox().width) / 2);
    else if (ev.key === '0') fit();
    else if (k === 'p' && !ctrl) askPause();
    else if (ev.key === 'PageDown' || ev.key === 'PageUp') scrollBy((ev.key === 'PageDown' ? 1 : -1) * (canvasBox().width - GUTTER) * 0.8);
    else done = false;
    if (done) ev.preventDefault();
  }

  // Walks the selection through the events in time order; Shift extends it.
  function step(key, extend) {
    if (!events.length) return;
    const sel = selected();
    let i;
    if (key === 'Home') i = 0;
    else if (key === 'End') i = events.length - 1;
    else if (!sel.length) i = Math.min(lowerBound(playhead), events.length - 1);
    else if (key === 'ArrowDown') i = Math.min(events.length - 1, events.indexOf(sel[sel.length - 1]) + 1);
    else i = Math.max(0, events.indexOf(sel[0]) - 1);
    const e = events[i];
    selection = extend ? new Set([...selection, e]) : new Set([e]);
    playhead = e[TIME];
    reveal(e[TIME]);
    selectionChanged();
  }

  function selectionChanged() {
    refreshSide();
    refreshButtons();
    if (listShown) markListSelection();
    invalidate();
  }

  // ---- Side panel -------------------------------------------------------------------------------------
  const FIELDS = [['f-type', TYPE], ['f-time', TIME], ['f-x', X], ['f-y', Y], ['f-flags', FLAGS], ['f-vk', VK], ['f-down', DOWN], ['f-wheel', WHEEL]];
  // Which fields a kind of event uses; the others keep their values out of sight.
  const USED = { 0: [X, Y], 1: [X, Y], 2: [X, Y, FLAGS], 3: [VK, DOWN], 4: [X, Y, WHEEL], 5: [VK, DOWN] };
  let editing = null;

  function refreshSide() {
    const sel = selected();
    const one = sel.length === 1 ? sel[0] : null;
    $('fields').hidden = !one;
    $('multi').hidden = sel.length < 2;
    $('side-hint').hidden = sel.length > 0;
    $('side-title').textContent = one ? describe(one) : sel.length ? sel.length + ' events selected' : 'Nothing selected';
    $('sel-count').textContent = sel.length ? sel.length + ' selected' : '';
    if (one !== editing) {
      editing = one;
      if (one) {
        for (const [id, f] of FIELDS) $(id).value = String(one[f]);
        showFields(one[TYPE]);
        $('f-error').textContent = '';
        $('f-apply').disabled = true;
      }
    }
  }
  function showFields(type) {
    const used = USED[type] || [];
    for (const [id, f] of FIELDS) {
      if (f === TYPE || f === TIME) continue;
      $(id).closest('label').hidden = !used.includes(f);
    }
    $('f-vk').previousSibling.textContent = type === 5 ? 'Tool (1 Spammer, 2 Key Spammer)' : 'Key code';
  }
  // Reads the form: the new event, or an error in the save document's words.
  function readFields() {
    const i = events.indexOf(editing);
    const fresh = editing.slice();
    for (const [id, f] of FIELDS) {
      const text = $(id).value.trim();
      const v = text === '' ? NaN : Number(text);
      const err = fieldError(f, v, i);
      if (err) return { err, id };
      fresh[f] = f === TIME ? v : v + 0;  // -0 reads as 0
      if (Object.is(fresh[f], -0)) fresh[f] = 0;
    }
    return { fresh };
  }
  function fieldsInput() {
    if (!editing) return;
    showFields(Number($('f-type').value));
    const { err, id } = readFields();
    $('f-error').textContent = err || '';
    for (const [fid] of FIELDS) $(fid).classList.toggle('bad', fid === id);
    $('f-apply').disabled = !!err;
  }
  function applyFields(ev) {
    if (ev) ev.preventDefault();
    if (!editing || busy) return;
    const { err, fresh } = readFields();
    if (err) { $('f-error').textContent = err; return; }
    if (fresh.every((v, i) => v === editing[i])) return;
    replaceEvent(editing, fresh);
  }

  function refreshButtons() {
    $('b-undo').disabled = !undo.length;
    $('b-redo').disabled = !redo.length;
    $('b-delete').disabled = $('b-duplicate').disabled = !selection.size;
    $('b-save').disabled = !loaded || gone || saving || !isDirty();
    $('b-revert').disabled = gone || loading;
    $('count').textContent = events.length.toLocaleString('en-US') + (events.length === 1 ? ' event' : ' events') + (events.length ? ' · ' + fmtTime(span()) : '');
    $('empty').hidden = !loaded || events.length > 0;
  }

  // ---- List view (keys and clicks) ---------------------------------------------------------------------
  const LIST_MAX = 400;
  let listItems = [];
  let sortable = null;
  function renderList() {
    const w = canvasBox().width || 800;
    const t1 = tOf(w);
    const all = [];
    let total = 0;
    for (let i = lowerBound(Math.max(0, view.t0)); i < events.length && times[i] <= t1; i++) {
      const e = events[i];
      if (e[TYPE] !== 2 && e[TYPE] !== 3) continue;
      total++;
      if (all.length < LIST_MAX) all.push(e);
    }
    listItems = all;
    $('list-note').textContent = total > LIST_MAX ? 'Showing the first ' + LIST_MAX + ' of ' + total + ' in view: zoom in on the timeline to reach the others.'
      : total ? 'The ' + total + ' keys and clicks in the timeline\'s view.' : 'No keys or clicks in the timeline\'s view.';
    const ol = $('list');
    ol.textContent = '';
    listItems.forEach((e, i) => {
      const li = document.createElement('li');
      li.tabIndex = 0;
      li.dataset.i = String(i);
      li.innerHTML = '<span class="grip" aria-hidden="true">⠿</span><span class="t mono"></span><span class="d"></span>';
      li.children[1].textContent = fmtTime(e[TIME]);
      li.children[2].textContent = describe(e);
      li.className = e[TYPE] === 3 ? 'key' : 'click';
      ol.append(li);
    });
    markListSelection();
  }
  function markListSelection() {
    for (const li of $('list').children) li.classList.toggle('sel', selection.has(listItems[Number(li.dataset.i)]));
  }
  function setupList() {
    const ol = $('list');
    if (window.Sortable) {
      sortable = window.Sortable.create(ol, { animation: 120, handle: 'li', ghostClass: 'ghost',
        onEnd: (ev) => { if (!busy) reorder(listItems, ev.oldIndex, ev.newIndex); else renderList(); } });
    }
    ol.addEventListener('click', (ev) => {
      const li = ev.target.closest('li');
      if (!li) return;
      const e = listItems[Number(li.dataset.i)];
      selection = ev.shiftKey ? new Set([...selection, e]) : new Set([e]);
      playhead = e[TIME];
      selectionChanged();
    });
    ol.addEventListener('keydown', (ev) => {
      const li = ev.target.closest('li');
      if (!li || busy) return;
      const i = Number(li.dataset.i);
      if (ev.altKey && (ev.key === 'ArrowUp' || ev.key === 'ArrowDown')) {
        ev.preventDefault();
        const to = i + (ev.key === 'ArrowUp' ? -1 : 1);
        if (to < 0 || to >= listItems.length) return;
        reorder(listItems, i, to);
        const again = $('list').children[to];
        if (again) again.focus();
      } else if (ev.key === 'ArrowUp' || ev.key === 'ArrowDown') {
        ev.preventDefault();
        const next = li[ev.key === 'ArrowUp' ? 'previousElementSibling' : 'nextElementSibling'];
        if (next) { next.focus(); next.click(); }
      } else if (ev.key === ' ' || ev.key === 'Enter') { ev.preventDefault(); li.click(); }
    });
  }
  function showView(list) {
    listShown = list;
    $('timeline-view').hidden = list;
    $('list-view').hidden = !list;
    $('v-timeline').classList.toggle('on', !list);
    $('v-list').classList.toggle('on', list);
    $('v-timeline').setAttribute('aria-selected', String(!list));
    $('v-list').setAttribute('aria-selected', String(list));
    if (list) renderList(); else invalidate();
  }

  // ---- Dialogs ----------------------------------------------------------------------------------------
  // Resolves 'ok', 'third' or 'cancel'. With `input`, resolves { answer, value }.
  function ask({ title, text, ok = 'OK', cancel = 'Cancel', third = null, danger = false, input = null }) {
    const dlg = $('ask');
    $('ask-title').textContent = title;
    $('ask-text').textContent = text;
    let field = null;
    if (input) {
      field = document.createElement('input');
      field.id = 'ask-input';
      field.value = input;
      $('ask-text').append(field);
    }
    $('ask-ok').textContent = ok;
    $('ask-ok').className = 'btn ' + (danger ? 'danger' : 'accent');
    $('ask-cancel').textContent = cancel || '';
    $('ask-cancel').hidden = !cancel;
    $('ask-third').textContent = third || '';
    $('ask-third').hidden = !third;
    return new Promise((resolve) => {
      // The close event comes a task later: one left over from the previous question finds this one open.
      const done = () => {
        if (dlg.open) return;
        dlg.removeEventListener('close', done);
        const answer = dlg.returnValue || 'cancel';
        resolve(field ? { answer, value: field.value } : answer);
      };
      dlg.addEventListener('close', done);
      dlg.returnValue = '';
      dlg.showModal();
      if (field) { field.focus(); field.select(); } else (cancel ? $('ask-cancel') : $('ask-ok')).focus();
    });
  }

  async function askPause() {
    if (busy) return;
    const r = await ask({ title: 'Insert a pause', text: 'Everything from ' + fmtTime(playhead) + ' on moves later by this many seconds: ', ok: 'Insert', input: '1' });
    if (r.answer !== 'ok') return;
    const s = Number(r.value);
    if (!(s > 0) || s > 1000000) return say('A pause is a number of seconds above 0.', true);
    insertPause(playhead, s);
  }

  // ---- Exchange with Quorvane -------------------------------------------------------------------------
  // Polls fn every `every` ms until it gives something other than null or undefined.
  async function pollFor(fn, every, stop) {
    for (;;) {
      const v = await fn();
      if (v !== null && v !== undefined) return v;
      if (stop && stop()) return null;
      await sleep(every);
    }
  }

  async function load() {
    if (loading || gone) return;
    loading = true;
    refreshButtons();
    const nonce = newNonce();
    const shown = setTimeout(() => { $('loading').hidden = false; }, 250);
    const slow = setTimeout(() => { $('loading-text').textContent = 'Waiting for Quorvane… (it answers when a profile is selected)'; }, 3000);
    await call('tlRequestLoad', nonce);
    const text = await pollFor(() => callDirect('tlReadLoad', nonce), 30, () => gone);
    clearTimeout(shown); clearTimeout(slow);
    $('loading').hidden = true;
    $('loading-text').textContent = 'Loading the macro…';
    loading = false;
    if (text === null) { refreshButtons(); return; }
    let doc = null;
    try { doc = JSON.parse(text); } catch (e) { doc = { error: 'The macro from Quorvane could not be read.' }; }
    if (!doc || typeof doc.error === 'string' || !Array.isArray(doc.events)) {
      const why = doc && typeof doc.error === 'string' ? doc.error : 'The macro from Quorvane could not be read.';
      loadNonce = '';
      refreshButtons();
      await ask({ title: 'Can\'t edit this macro', text: why, cancel: null });
      return;
    }
    loadNonce = nonce;
    profile = String(doc.profile || '');
    keys = doc.keys && typeof doc.keys === 'object' ? doc.keys : {};
    events = doc.events;
    selection = new Set();
    undo = []; redo = [];
    version = savedVersion = nextVersion++;
    editing = null;
    loaded = true;
    $('profile').textContent = profile;
    playhead = 0;
    changed('Loaded ' + events.length.toLocaleString('en-US') + ' events of "' + profile + '".');
    fit();
  }

  async function revert() {
    if (busy || gone) return;
    if (isDirty()) {
      const a = await ask({ title: 'Revert to Quorvane\'s copy?', text: 'Your unsaved edits are dropped and the macro is loaded again.', ok: 'Revert', danger: true });
      if (a !== 'ok') return;
    }
    await load();
  }

  // Sends the edited macro; true once Quorvane has taken it.
  async function save() {
    if (busy || gone || saving || !loaded || !loadNonce) return false;
    const err = validate(events);
    if (err) { say('Not saved: ' + err, true); return false; }
    saving = true;
    refreshButtons();
    say('Saving…');
    const nonce = newNonce();
    const savingVersion = version;
    try {
      const sent = await call('tlSave', { nonce, loadNonce, events });
      if (!sent || sent.ok !== true) {
        say(sent && sent.message ? sent.message : 'Not saved: Quorvane did not take the request.', true);
        return false;
      }
      let waited = 0;
      const result = await pollFor(() => call('tlReadResult', nonce), 30, () => (waited += 30) > 10000 || gone);
      if (!result) {
        say(gone ? 'Not saved: Quorvane has closed.' : 'Quorvane hasn\'t answered the save yet. Try again in a moment.', true);
        return false;
      }
      if (result.ok) {
        savedVersion = savingVersion;
        updateDirty();
        say(result.message || 'Saved.');
        return true;
      }
      say(result.message, true);
      if (/out of date|changed outside the editor|renamed or deleted/.test(result.message)) {
        const a = await ask({ title: 'Not saved', text: result.message + ' Reloading drops the edits made here.', ok: 'Reload', cancel: 'Keep editing' });
        if (a === 'ok') await load();
      }
      return false;
    } finally {
      saving = false;
      refreshButtons();
    }
  }

  // ---- What the native side calls -----------------------------------------------------------------------
  function setBusy(on) {
    busy = !!on;
    if (busy && drag) { drag = null; invalidate(); }
    $('busy').hidden = !busy;
    document.body.classList.toggle('busy', busy);
    if (busy && document.activeElement && document.activeElement.blur) document.activeElement.blur();
  }
  window.onTimelineAutomation = function (on, seq) {
    setBusy(on);
    call('tlAckAutomation', String(seq));
  };
  window.onTimelineMasterGone = function () {
    gone = true;
    setBusy(false);
    $('gone').hidden = false;
    $('loading').hidden = true;
    refreshButtons();
  };
  window.onTimelineCloseRequested = async function () {
    if ($('ask').open) return;
    if (gone) {
      const a = await ask({ title: 'Close the Timeline Editor?', text: 'Quorvane has closed, so the unsaved edits here are lost.', ok: 'Close', danger: true });
      if (a === 'ok') close();
      return;
    }
    const a = await ask({ title: 'Save changes to "' + profile + '"?', text: 'The macro has edits that are not saved yet.', ok: 'Save', third: 'Don\'t save', cancel: 'Cancel' });
    if (a === 'third') close();
    else if (a === 'ok' && await save()) close();
  };
  function close() {
    call('tlSetDirty', '0');
    call('tlCloseWindow');
  }

  function copyEvents() {
    const text = JSON.stringify(events);
    const area = document.createElement('textarea');
    area.value = text;
    document.body.append(area);
    area.select();
    let ok = false;
    try { ok = document.execCommand('copy'); } catch (e) { ok = false; }
    area.remove();
    if (navigator.clipboard) navigator.clipboard.writeText(text).catch(() => {});
    say(ok ? 'The events are on the clipboard, as JSON.' : 'Couldn\'t reach the clipboard.', !ok);
  }

  // ---- Theme ------------------------------------------------------------------------------------------
  const SANS = "'Segoe UI', Tahoma, Geneva, Verdana, sans-serif";
  const BUILT_IN = {
    quorvane: { bgMain: '#0e1320', bgPanel: '#161d2d', bgHeader: '#1b2438', accent: '#6d8dff', accentHover: '#8aa4ff', text: '#e7ebf4' },
    daylight: { bgMain: '#eef1f6', bgPanel: '#ffffff', bgHeader: '#f5f7fb', accent: '#3563e9', accentHover: '#2a52c9', text: '#1c2433' },
    graphite: { bgMain: '#121212', bgPanel: '#1c1c1e', bgHeader: '#232326', accent: '#2fbf8f', accentHover: '#48d3a5', text: '#ececec' },
  };
  let themeKey = '';
  function luminance(text) {
    const s = String(text || '').trim();
    let c = null, m;
    if ((m = /^#([0-9a-f]{3})$/i.exec(s))) c = [...m[1]].map((h) => parseInt(h + h, 16));
    else if ((m = /^#([0-9a-f]{6})$/i.exec(s))) c = [0, 2, 4].map((i) => parseInt(m[1].slice(i, i + 2), 16));
    else if ((m = /^rgb\(\s*(\d+)\s*,\s*(\d+)\s*,\s*(\d+)\s*\)$/i.exec(s))) c = m.slice(1, 4).map(Number);
    if (!c) return 0;
    const [r, g, b] = c.map((v) => { v /= 255; return v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4; });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  }
  async function applyTheme() {
    const key = await call('getSharedTheme');
    if (typeof key !== 'string' || key === themeKey) return;
    let def = BUILT_IN[key];
    if (!def) {
      const list = await call('getCustomThemes');
      def = Array.isArray(list) ? list.find((t) => t && t.key === key) : null;
    }
    themeKey = key;
    def = def || BUILT_IN.quorvane;
    const root = document.documentElement;
    const set = (n, v) => root.style.setProperty(n, v);
    set('--bg', def.bgMain); set('--panel', def.bgPanel); set('--header', def.bgHeader);
    set('--accent', def.accent); set('--accent-hover', def.accentHover); set('--text', def.text);
    set('--font', def.font || SANS);
    set('--on-accent', luminance(def.accent) > 0.45 ? '#10131a' : '#ffffff');
    root.dataset.tone = luminance(def.bgMain) > 0.4 ? 'light' : 'dark';
    root.dataset.theme = key;
    readColors();
    invalidate();
  }

  // ---- Start ------------------------------------------------------------------------------------------
  function init() {
    reindex();
    readColors();
    new ResizeObserver(() => { box = null; invalidate(); }).observe(canvas);
    canvas.addEventListener('pointerdown', pointerDown);
    canvas.addEventListener('pointermove', pointerMove);
    canvas.addEventListener('pointerup', pointerUp);
    canvas.addEventListener('pointercancel', pointerUp);
    canvas.addEventListener('wheel', wheel, { passive: false });
    document.addEventListener('keydown', keydown);
    window.addEventListener('resize', () => { clampView(); invalidate(); });
    $('b-undo').addEventListener('click', () => restore(undo, redo));
    $('b-redo').addEventListener('click', () => restore(redo, undo));
    $('b-delete').addEventListener('click', deleteSelection);
    $('b-duplicate').addEventListener('click', duplicateSelection);
    $('b-pause').addEventListener('click', askPause);
    $('b-zoom-in').addEventListener('click', () => zoomAt(1.5, (GUTTER + canvasBox().width) / 2));
    $('b-zoom-out').addEventListener('click', () => zoomAt(1 / 1.5, (GUTTER + canvasBox().width) / 2));
    $('b-fit').addEventListener('click', fit);
    $('b-save').addEventListener('click', save);
    $('b-revert').addEventListener('click', revert);
    $('b-copy').addEventListener('click', copyEvents);
    $('b-close').addEventListener('click', close);
    $('v-timeline').addEventListener('click', () => showView(false));
    $('v-list').addEventListener('click', () => showView(true));
    $('fields').addEventListener('input', fieldsInput);
    $('fields').addEventListener('change', fieldsInput);
    $('fields').addEventListener('submit', applyFields);
    $('m-earlier').addEventListener('click', () => shiftSelection(-Math.abs(Number($('m-shift').value) || 0)));
    $('m-later').addEventListener('click', () => shiftSelection(Math.abs(Number($('m-shift').value) || 0)));
    setupList();
    refreshButtons();
    applyTheme().then(async () => {
      setBusy((await call('tlGetAutomation')) === true);
      load();
    });
    setInterval(applyTheme, 2000);
    invalidate();
  }
  if (document.readyState === 'loading') document.addEventListener('DOMContentLoaded', init); else init();

  // For the tests and the benchmark: read-only views of the state, and the view's controls.
  return {
    events: () => events, selection: () => selected(), view: () => ({ ...view }), playhead: () => playhead,
    dirty: isDirty, busy: () => busy, draw, fit, zoomAt, scrollBy, validate, xOf, lanes: () => lanes(canvasBox().height),
  };
})();
