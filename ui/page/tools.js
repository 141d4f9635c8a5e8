'use strict';
// The Spammer, the Key Spammer, and the hotkeys of every tool with their key capture.

Q.tools = (function () {
  const $ = Q.$;
  const radio = (name) => document.querySelector('input[name="' + name + '"]:checked');
  const setRadio = (name, value) => {
    const r = document.querySelector('input[name="' + name + '"][value="' + value + '"]');
    if (r) r.checked = true;
  };
  const interval = (p) => [p + '-h', p + '-m', p + '-s', p + '-ms'].map((id) => Q.int($(id)));
  const intervalMs = (p) => { const [h, m, s, ms] = interval(p); return h * 3600000 + m * 60000 + s * 1000 + ms; };
  let loading = false;

  // ---- Spammer ----
  // hours, minutes, seconds, ms, button, click type, repeat mode, repeat times, location mode
  function spammerText() {
    return interval('sp').concat([
      Number(radio('sp-btn').value), Number(radio('sp-type').value), Number(radio('sp-rpt').value),
      Q.int($('sp-times')), Number(radio('sp-loc').value),
    ]).join(',');
  }
  const sendSpammer = Q.debounce(() => { if (!loading) Q.call('updateSpammer', spammerText()); }, 300);

  // ---- Key Spammer ----
  // hours, minutes, seconds, ms, repeat mode, repeat times
  function keySpamText() {
    return interval('ks').concat([Number(radio('ks-rpt').value), Q.int($('ks-times'))]).join(',');
  }
  const sendKeySpam = Q.debounce(() => { if (!loading) Q.call('updateKeySpam', keySpamText()); }, 300);

  function wire(panelId, send) {
    const panel = $(panelId);
    panel.querySelectorAll('.interval input').forEach((input) => Q.range(input, 0, 1000000));
    Q.range(panel.querySelector('.times'), 0, 1000000000);
    panel.querySelectorAll('.interval input, .times').forEach((input) => {
      input.addEventListener('input', () => send());
      input.addEventListener('change', () => {
        Q.settle(input);
        send.now();
      });
    });
    panel.querySelectorAll('input[type=radio]').forEach((r) => r.addEventListener('change', () => send.now()));
    // Clicking into the count, or typing one, picks the counted mode (passing through with Tab doesn't).
    const times = panel.querySelector('.times');
    const counted = times.closest('label').querySelector('input[type=radio]');
    const pickCounted = () => { if (!counted.checked) { counted.checked = true; send.now(); } };
    times.addEventListener('click', pickCounted);
    times.addEventListener('input', pickCounted);
  }

  function showPoint(x, y) { $('sp-point').textContent = x + ', ' + y; }

  // The settings document fills both tools (and the Tracker's options, in tracker.js).
  function fill(d) {
    if (!d || typeof d !== 'object') return;
    loading = true;
    const put = (id, v) => { if (typeof v === 'number') $(id).value = v; };
    put('sp-h', d.sh); put('sp-m', d.sm); put('sp-s', d.ss); put('sp-ms', d.sms);
    if ([0, 1, 2].includes(d.sbtn)) setRadio('sp-btn', d.sbtn);
    setRadio('sp-type', d.stype === 1 ? 1 : 0);
    setRadio('sp-rpt', d.rptMode === 0 ? 0 : 1);
    put('sp-times', d.rptTimes);
    setRadio('sp-loc', d.locMode === 1 ? 1 : 0);
    if (typeof d.fixedX === 'number') showPoint(d.fixedX, d.fixedY);
    put('ks-h', d.ksh); put('ks-m', d.ksm); put('ks-s', d.kss); put('ks-ms', d.ksms);
    setRadio('ks-rpt', d.ksRptMode === 0 ? 0 : 1);
    put('ks-times', d.ksRptTimes);
    $('sp-hold').checked = d.holdAuto === true;
    $('ks-hold').checked = d.holdKeySpam === true;
    loading = false;
  }

  async function loadSettings() {
    const d = await Q.call('getSettings');
    fill(d);
    if (Q.tracker) Q.tracker.fill(d);
    return d;
  }

  // The fixed point is set by the next click anywhere; the settings document shows when it has come.
  let picking = 0;
  async function pick() {
    const before = await Q.call('getSettings');
    await Q.call('pickLocation');
    const token = ++picking;
    $('sp-pick-hint').hidden = false;
    const until = Date.now() + 30000;
    while (token === picking && Date.now() < until) {
      await new Promise((r) => setTimeout(r, 400));
      const d = await Q.call('getSettings');
      if (!d || !before) break;
      if (d.fixedX !== before.fixedX || d.fixedY !== before.fixedY || d.locMode !== before.locMode) {
        showPoint(d.fixedX, d.fixedY);
        setRadio('sp-loc', d.locMode === 1 ? 1 : 0);
        break;
      }
    }
    if (token === picking) $('sp-pick-hint').hidden = true;
  }

  // The readouts show what the tools really did in their present or last run, as the native side counted it.
  function rate(perSecond) {
    const r = typeof perSecond === 'number' && perSecond > 0 ? perSecond : 0;
    return r >= 100 ? Math.round(r).toLocaleString('en-US') : r.toFixed(1).replace(/\.0$/, '');
  }
  function readout(prefix, presses, perSecond, on) {
    const count = $(prefix + '-count');
    const text = (typeof presses === 'number' ? presses : 0).toLocaleString('en-US');
    if (count.textContent !== text) count.textContent = text;
    const r = rate(perSecond);
    if ($(prefix + '-cps').textContent !== r) $(prefix + '-cps').textContent = r;
    count.closest('.readout').classList.toggle('idle', !on);
  }

  // Start and Stop are two buttons, and the one that doesn't apply is disabled: the Spammer clicks at the
  // cursor, which is on Start when it was just pressed, and a toggle there would stop it at its first click.
  // Likewise the Key Spammer's keys reach whatever control of this page holds the focus.
  function runState(prefix, running, canStart) {
    const start = $(prefix + '-start');
    const stop = $(prefix + '-stop');
    const was = stop.classList.contains('stop');
    const hadFocus = document.activeElement === start;
    start.disabled = running || !canStart;
    stop.disabled = !running;
    stop.classList.toggle('stop', running);
    if (!running || was) return;
    if (prefix === 'ks') {
      if (document.activeElement && document.activeElement !== document.body) document.activeElement.blur();
    } else if (hadFocus) {
      stop.focus();
    }
  }

  // A counted run of 0 rounds does nothing at all: said, rather than a Start (or a hotkey) that seems dead.
  function noRounds(prefix, what) {
    if (radio(prefix + '-rpt').value !== '0' || Q.int($(prefix + '-times')) > 0) return false;
    sayNoRounds(prefix, what);
    return true;
  }
  function sayNoRounds(prefix, what) {
    Q.toast(what + ' is set to run 0 times, so Start and its hotkey do nothing. Set a count above 0, or choose '
      + '"until stopped".', 'error');
    $(prefix + '-times').focus();
  }

  // The native side's word that a hotkey's start did nothing, and why.
  window.onToolStartIgnored = function (why) {
    if (why === 'sp-rounds') sayNoRounds('sp', 'The Spammer');
    else if (why === 'ks-rounds') sayNoRounds('ks', 'The Key Spammer');
    else if (why === 'ks-keys') {
      Q.toast('The Key Spammer has no keys to press, so its hotkey does nothing. Add a key with "Add key".', 'error');
      $('ks-add').focus();
    }
  };

  async function startSpammer() {
    if (noRounds('sp', 'The Spammer')) return;
    if (intervalMs('sp') < 10) {
      const go = await Q.warnOnce('spammer-fast', {
        title: 'Clicking very fast',
        text: 'Clicking every few milliseconds can flood the window under the cursor. The hotkey ('
          + (Q.status.hkAuto || 'F6') + ') stops the Spammer at any time.',
        ok: 'Start', cancel: 'Not now',
      });
      if (!go) return;
    }
    sendSpammer.now();
    started('sp');
    return Q.call('startSpammer');
  }

  // A start shows at once, before the poll can tell: the first clicks come within milliseconds.
  const startedAt = { sp: 0, ks: 0 };
  function started(prefix) {
    startedAt[prefix] = Date.now();
    runState(prefix, true, true);
  }
  const justStarted = (prefix) => Date.now() - startedAt[prefix] < 600;

  // ---- Key Spammer targets ----
  let targetsShown = null;
  function renderTargets(names) {
    const key = JSON.stringify(names);
    if (key === targetsShown) return;
    targetsShown = key;
    const list = $('ks-targets');
    list.replaceChildren(...names.map((name, i) => Q.el('li', {},
      Q.el('kbd', { text: name || '?' }),
      Q.el('button', { class: 'x', type: 'button', text: '×', 'aria-label': 'Remove ' + (name || 'key') + ' (' + (i + 1) + ')',
        onclick: () => Q.call('removeKeySpamTarget', i) }))));
  }

  // ---- Hotkeys and capture ----
  const CAPTURE_TITLES = {
    rec: 'Press the new Record hotkey', play: 'Press the new Play hotkey', auto: 'Press the new Spammer hotkey',
    keyspamhotkey: 'Press the new Key Spammer hotkey', keyspamtarget: 'Press a key to add to the Key Spammer',
    unlock: 'Press the new unlock key',
  };
  let asked = { word: '', at: 0 };

  function capturing(word) {
    $('capture-bar').hidden = !word;
    const title = CAPTURE_TITLES[word] || 'Press a key';
    if (word && $('capture-title').textContent !== title) $('capture-title').textContent = title;
    document.querySelectorAll('[data-reassign]').forEach((b) => {
      const on = b.dataset.reassign === word;
      b.classList.toggle('listening', on);
      if (b.classList.contains('hotkey')) {
        b.querySelector('kbd').textContent = on ? '…' : (Q.status[b.dataset.key] || '—');
      }
    });
  }

  function onStatus(s) {
    document.querySelectorAll('.hotkey[data-key]').forEach((b) => {
      const name = s[b.dataset.key] || '';
      if (!b.classList.contains('listening')) b.querySelector('kbd').textContent = name || '—';
      b.dataset.label = b.dataset.label || b.getAttribute('aria-label');
      b.setAttribute('aria-label', b.dataset.label + (name ? ', now ' + name : ''));
    });
    // The poll may not show a capture that was asked for a moment ago yet.
    let word = typeof s.reassigning === 'string' ? s.reassigning : '';
    if (!word && asked.word && Date.now() - asked.at < 700) word = asked.word;
    capturing(word);

    const clickingNow = s.autoClicking === true || justStarted('sp');
    runState('sp', clickingNow, true);
    const m = s.measured || {};
    readout('sp', m.clicks, m.clicksPerSecond, s.autoClicking === true);
    const spamming = s.keySpamming === true || justStarted('ks');
    readout('ks', m.keyPresses, m.keyPressesPerSecond, s.keySpamming === true);
    document.querySelectorAll('.run-badge[data-run]').forEach((b) => b.classList.toggle('on', s[b.dataset.run] === true));

    const targets = Array.isArray(s.keySpamTargets) ? s.keySpamTargets : [];
    renderTargets(targets);
    runState('ks', spamming, targets.length > 0);
    $('ks-empty').hidden = targets.length > 0 || spamming;
    if (!Q.recentlyTouched($('ks-chord'))) $('ks-chord').checked = s.keySpamChord === true;
  }

  function init() {
    wire('panel-spammer', sendSpammer);
    wire('panel-keyspam', sendKeySpam);
    $('sp-start').addEventListener('click', startSpammer);
    $('sp-stop').addEventListener('click', () => Q.call('stopSpammer'));
    $('ks-start').addEventListener('click', () => {
      if (noRounds('ks', 'The Key Spammer')) return;
      sendKeySpam.now();
      started('ks');
      return Q.call('startKeySpam');
    });
    $('ks-stop').addEventListener('click', () => Q.call('stopKeySpam'));
    $('sp-pick').addEventListener('click', pick);
    $('sp-hold').addEventListener('change', (e) => Q.call('setHoldMode', 'auto,' + (e.target.checked ? '1' : '0')));
    $('ks-hold').addEventListener('change', (e) => Q.call('setHoldMode', 'keyspam,' + (e.target.checked ? '1' : '0')));
    $('ks-chord').addEventListener('change', (e) => {
      Q.touch(e.target);
      Q.call('setKeySpamChordMode', e.target.checked ? '1' : '0');
    });
    document.querySelectorAll('[data-reassign]').forEach((b) => b.addEventListener('click', () => {
      asked = { word: b.dataset.reassign, at: Date.now() };
      capturing(asked.word);
      Q.call('reassignKey', asked.word);
    }));
    Q.onStatus(onStatus);
  }

  return { init, loadSettings };
})();
