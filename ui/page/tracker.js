'use strict';
// The Tracker: record, continue, undo, play; the recording switches and playback options; the event list.

Q.tracker = (function () {
  const $ = Q.$;
  const ROW = 30;
  const SWITCHES = ['tr-tmv', 'tr-tclk', 'tr-tscr', 'tr-tkey', 'tr-trel'];
  let events = [];
  let state = 'Idle';
  let lastCount = -1;
  let lastState = 'Idle';

  // ---- Options ----
  function speed() {
    const v = Number($('tr-speed').value);
    // A speed of 0 would never reach the first event.
    return Number.isFinite(v) ? Math.min(100, Math.max(0.1, Math.round(v * 100) / 100)) : 1;
  }
  // five recording switches, speed, loop, loop interval
  function trackerText() {
    return SWITCHES.map((id) => String($(id).checked))
      .concat([String(speed()), String($('tr-loop').checked), String(Q.int($('tr-loop-ms')))]).join(',');
  }
  const send = Q.debounce(() => Q.call('updateTracker', trackerText()), 300);

  function fill(d) {
    if (!d || typeof d !== 'object') return;
    const keys = ['tmv', 'tclk', 'tscr', 'tkey', 'trel'];
    SWITCHES.forEach((id, i) => { if (typeof d[keys[i]] === 'boolean') $(id).checked = d[keys[i]]; });
    if (typeof d.tspd === 'number') $('tr-speed').value = d.tspd;
    if (typeof d.tloop === 'boolean') $('tr-loop').checked = d.tloop;
    if (typeof d.tloopMs === 'number') $('tr-loop-ms').value = d.tloopMs;
    $('tr-loop-ms').disabled = !$('tr-loop').checked;
  }

  // ---- Event list, drawn a window of rows at a time: a macro can hold many thousands ----
  const box = $('tr-events');
  const spacer = box.querySelector('.events-spacer');

  function row(ev) {
    const time = Q.el('input', { type: 'number', step: '0.001', value: Number(ev.time).toFixed(3), 'aria-label': 'Time of event ' + ev.id + ' in seconds' });
    time.addEventListener('change', () => {
      const t = Number(time.value);
      if (time.value.trim() === '' || !Number.isFinite(t)) {
        time.value = Number(ev.time).toFixed(3);
        return;
      }
      edit('updateEventTime', ev.id + ',' + t);
    });
    time.addEventListener('keydown', (e) => { if (e.key === 'Enter') time.blur(); });
    return Q.el('div', { class: 'ev', role: 'listitem', style: 'top:' + ev.id * ROW + 'px' },
      Q.el('span', { class: 'idx', text: '#' + ev.id }),
      time,
      Q.el('span', { class: 'desc', text: ev.desc, title: ev.desc }),
      Q.el('button', { class: 'x', type: 'button', text: '×', 'aria-label': 'Delete event ' + ev.id, onclick: () => edit('deleteEvent', ev.id) }));
  }

  let drawn = '';
  function draw(force) {
    const first = Math.max(0, Math.floor(box.scrollTop / ROW) - 8);
    const last = Math.min(events.length, first + Math.ceil((box.clientHeight || 186) / ROW) + 16);
    const key = first + ':' + last;
    if (!force && key === drawn) return;
    // Keep the row being edited: redrawing would take the focus from it.
    if (!force && box.contains(document.activeElement) && document.activeElement.closest('.ev')) return;
    drawn = key;
    box.querySelectorAll('.ev').forEach((n) => n.remove());
    const rows = [];
    for (let i = first; i < last; i++) rows.push(row(events[i]));
    box.append(...rows);
  }

  function show(list) {
    // The id is the index; rows are placed by it.
    events = (Array.isArray(list) ? list : []).map((e, i) => ({ id: i, time: e.time, desc: String(e.desc || '') }));
    spacer.style.height = events.length * ROW + 'px';
    box.classList.toggle('has-events', events.length > 0);
    $('tr-count').textContent = events.length.toLocaleString('en-US');
    draw(true);
  }

  let fetching = null;
  async function loadEvents() {
    if (fetching) return fetching;
    fetching = Q.call('getMacroEvents').then((list) => { if (list !== undefined) show(list); }).finally(() => { fetching = null; });
    return fetching;
  }
  const loadSoon = Q.debounce(loadEvents, 150);
  // A fetch already under way may have read the list before the change: a fresh one follows it.
  const reloadEvents = () => (fetching || Promise.resolve()).then(loadEvents);

  async function edit(name, arg) {
    await Q.call(name, arg);
    await loadEvents();
  }

  // ---- Transport ----
  function onStatus(s) {
    state = s.state === 'Recording' || s.state === 'Playing' ? s.state : 'Idle';
    const rec = state === 'Recording';
    const play = state === 'Playing';
    $('tr-record').textContent = rec ? 'Stop' : 'Record';
    $('tr-record').classList.toggle('stop', rec);
    $('tr-record').disabled = play;
    $('tr-continue').disabled = rec || play;
    $('tr-undo').disabled = s.canUndoContinue !== true;
    $('tr-play').textContent = play ? 'Stop' : 'Play';
    $('tr-play').classList.toggle('stop', play);
    $('tr-play').classList.toggle('accent', !play);
    $('tr-play').disabled = rec;
    ['tr-optimize'].forEach((id) => { $(id).disabled = rec || play; });

    const badge = $('tr-badge');
    badge.textContent = rec ? 'Recording' : play ? 'Playing' : '';
    badge.className = 'run-badge' + (rec ? ' on recording' : play ? ' on' : '');
    const chip = $('state-chip');
    // Everything that runs: the Tracker's state and the tools, which run beside it.
    const tools = [s.autoClicking === true ? 'Spammer' : '', s.keySpamming === true ? 'Key Spammer' : ''].filter(Boolean);
    const parts = (rec ? ['Recording'] : play ? ['Playing'] : []).concat(tools.length ? [tools.join(' + ') + ' running'] : []);
    const word = parts.length ? parts.join(' · ') : 'Idle';
    // A live region: written only when it changes, so that it is announced once.
    if (chip.textContent !== word) chip.textContent = word;
    chip.className = 'chip' + (rec ? ' recording' : play ? ' playing' : tools.length ? ' running' : '');

    // The list follows the macro: at once when it changes, at most every second while recording.
    const count = typeof s.count === 'number' ? s.count : 0;
    if (state !== lastState) {
      // A recording ends with its last events, which the throttled loads may not have shown yet.
      if (lastState === 'Recording') loadSoon();
      lastState = state;
    }
    if (count !== lastCount) {
      lastCount = count;
      if (rec) throttled(); else loadSoon();
    }
  }
  let lastLoad = 0;
  let trailing = 0;
  function throttled() {
    const wait = 1000 - (Date.now() - lastLoad);
    if (wait > 0) {
      // The last change of a burst still shows, a moment later.
      if (!trailing) trailing = setTimeout(() => { trailing = 0; throttled(); }, wait);
      return;
    }
    lastLoad = Date.now();
    loadEvents();
  }

  async function record() {
    if (state === 'Recording') return Q.call('stopRecording');
    if (events.length > 0) {
      const go = await Q.warnOnce('record-replaces', {
        title: 'Record starts over',
        text: 'A new recording replaces the ' + events.length + ' events of this profile. To add to them, use Continue instead.',
        ok: 'Record', cancel: 'Cancel',
      });
      if (!go) return;
    }
    return Q.call('startRecording');
  }

  async function optimise() {
    const before = events.length;
    await Q.call('optimizeMacro');
    await loadEvents();
    const dropped = before - events.length;
    Q.toast(dropped > 0 ? 'Removed ' + dropped + ' mouse points that were close together.' : 'Nothing to remove.');
  }

  async function timeline() {
    if (!Q.has('openTimelineEditor')) {
      Q.toast('The Timeline Editor isn\'t available in this version.');
      return;
    }
    const answer = await Q.call('openTimelineEditor');
    if (typeof answer === 'string' && answer) Q.toast(answer, 'error');
  }

  function init() {
    SWITCHES.concat(['tr-loop']).forEach((id) => $(id).addEventListener('change', () => {
      $('tr-loop-ms').disabled = !$('tr-loop').checked;
      send.now();
    }));
    $('tr-speed').setAttribute('aria-label', 'Playback speed');
    $('tr-loop-ms').setAttribute('aria-label', 'Milliseconds between loops');
    Q.range($('tr-speed'), 0.1, 100, { step: 0.01, fallback: 1 });
    Q.range($('tr-loop-ms'), 0, 86400000);
    ['tr-speed', 'tr-loop-ms'].forEach((id) => {
      $(id).addEventListener('input', () => send());
      $(id).addEventListener('change', () => {
        Q.settle($(id));
        send.now();
      });
    });
    $('tr-record').addEventListener('click', record);
    $('tr-continue').addEventListener('click', () => Q.call('continueRecording'));
    $('tr-undo').addEventListener('click', () => Q.call('undoContinueRecording'));
    $('tr-play').addEventListener('click', () => Q.call(state === 'Playing' ? 'stopPlayback' : 'startPlayback'));
    $('tr-optimize').addEventListener('click', optimise);
    $('tr-timeline').addEventListener('click', timeline);
    box.addEventListener('scroll', () => draw(false), { passive: true });
    box.addEventListener('keydown', (e) => {
      if (e.target !== box) return;
      const step = { ArrowDown: ROW, ArrowUp: -ROW, PageDown: box.clientHeight, PageUp: -box.clientHeight }[e.key];
      if (step) { box.scrollTop += step; e.preventDefault(); }
    });
    Q.onStatus(onStatus);
  }

  return { init, fill, loadEvents, reloadEvents };
})();

// The native side calls this after the Timeline Editor saved into the active profile.
function refreshExpertList() {
  return Q.tracker.reloadEvents();
}
