'use strict';
// The page's common ground: calls into the native side, small DOM helpers, messages and questions.
// Native functions are bound on window by name; each answers with a promise. A pop-out panel binds fewer
// names than the main window, and some names arrive with later versions, so every call tolerates absence.
var Q = (function () {
  const Q = {};

  Q.has = (name) => typeof window[name] === 'function';

  // Calls a bound name. Resolves with its answer, or undefined when the name isn't bound or the call failed
  // (a failure is shown once as a message: the native side rejects with a sentence).
  Q.call = (name, ...args) => answer(name, () => window[name](...args));
  async function answer(name, ask) {
    if (!Q.has(name)) return undefined;
    try {
      return await ask();
    } catch (e) {
      Q.toast(String(e && e.message ? e.message : e), 'error');
      return undefined;
    }
  }

  // A query asked again and again (the status polls) goes through the web engine's own message channel where
  // the native side opened one: its answer is one message back, where a bound call's answer is a script of
  // its own to compile and run, which at four polls a second was most of what an idle window cost.
  const direct = window.webkit && window.webkit.messageHandlers && window.webkit.messageHandlers.qvnCall;
  // The answer's JSON text ('' for none), so that a poller can tell an unchanged answer without parsing it.
  Q.queryText = async (name) => {
    if (!direct) {
      const value = await Q.call(name);
      return value === undefined ? '' : JSON.stringify(value);
    }
    const text = await answer(name, () => direct.postMessage([name, '[]']));
    return typeof text === 'string' ? text : '';
  };

  Q.$ = (id) => document.getElementById(id);

  Q.el = function (tag, props, ...children) {
    const node = document.createElement(tag);
    for (const [k, v] of Object.entries(props || {})) {
      if (k === 'class') node.className = v;
      else if (k === 'text') node.textContent = v;
      else if (k.startsWith('on')) node.addEventListener(k.slice(2), v);
      else if (v !== false && v != null) node.setAttribute(k, v === true ? '' : v);
    }
    for (const c of children) if (c != null) node.append(c);
    return node;
  };

  // A whole number from an input, never negative and within a 32-bit int: the native parsers take nothing else.
  Q.int = function (input, fallback = 0) {
    const n = Math.floor(Number(input.value));
    return Number.isFinite(n) && n >= 0 ? Math.min(n, 2147483647) : fallback;
  };

  // A number field's accepted range, kept on the field itself: shown under the field while it has the
  // focus, as its tooltip and to assistive tools, and used by Q.settle. The native side refuses anything
  // outside it.
  Q.range = function (input, min, max, { step = 1, fallback = min } = {}) {
    input.min = min;
    input.max = max;
    input.step = step;
    input.dataset.fallback = fallback;
    const text = min.toLocaleString('en-US') + ' to ' + max.toLocaleString('en-US');
    input.title = 'From ' + text;
    input.setAttribute('aria-description', 'accepts ' + text);
    input.dataset.range = text + (step === 1 ? ', whole numbers' : '');
    input.addEventListener('focus', () => showRange(input));
    input.addEventListener('blur', () => { rangeHint().hidden = true; });
  };

  function rangeHint() {
    let hint = Q.$('range-hint');
    if (hint) return hint;
    hint = document.body.appendChild(Q.el('div', { id: 'range-hint', class: 'range-hint', hidden: true, 'aria-hidden': 'true' }));
    // Follows its field when the page scrolls (focusing a field scrolls it into view).
    document.addEventListener('scroll', () => {
      const field = document.activeElement;
      if (!hint.hidden && field && field.dataset.range) showRange(field);
    }, true);
    return hint;
  }
  function showRange(input) {
    const hint = rangeHint();
    hint.textContent = input.dataset.range;
    hint.hidden = false;
    const r = input.getBoundingClientRect();
    const below = r.bottom + 4 + hint.offsetHeight <= window.innerHeight;
    hint.style.top = (below ? r.bottom + 4 : r.top - 4 - hint.offsetHeight) + 'px';
    hint.style.left = Math.max(4, Math.min(r.left, window.innerWidth - hint.offsetWidth - 4)) + 'px';
  }

  // Puts a field's typed value into its range when the user leaves it. A value that had to change is
  // marked on the field and said in a message: what was typed, the range, what it became.
  Q.settle = function (input) {
    const min = Number(input.min), max = Number(input.max), step = Number(input.step) || 1;
    const typed = input.value.trim();
    const n = Number(typed);
    let value;
    if (typed === '' || !Number.isFinite(n)) value = Number(input.dataset.fallback);
    else value = Math.min(max, Math.max(min, step === 1 ? Math.round(n) : Math.round(n / step) * step));
    value = Number(value.toFixed(2));
    const changed = typed === '' || value !== n;
    input.value = value;
    input.classList.toggle('corrected', changed);
    if (changed) {
      input.setAttribute('aria-invalid', 'true');
      const name = input.getAttribute('aria-label') || input.closest('label')?.textContent.trim() || 'This field';
      Q.toast(name + ': "' + (typed || 'empty') + '" is outside ' + min.toLocaleString('en-US') + ' to '
        + max.toLocaleString('en-US') + (step === 1 ? ' (whole numbers)' : '') + ', so it is now '
        + value.toLocaleString('en-US') + '.', 'error');
      setTimeout(() => { input.classList.remove('corrected'); input.removeAttribute('aria-invalid'); }, 4000);
    } else {
      input.removeAttribute('aria-invalid');
    }
    return value;
  };

  Q.debounce = function (fn, ms) {
    let timer = 0;
    const run = (...args) => { clearTimeout(timer); timer = setTimeout(() => fn(...args), ms); };
    run.now = (...args) => { clearTimeout(timer); fn(...args); };
    return run;
  };

  Q.toast = function (text, kind = '') {
    if (!text) return;
    const box = Q.$('toasts');
    const t = Q.el('div', { class: 'toast ' + kind, text });
    box.append(t);
    while (box.children.length > 3) box.firstChild.remove();
    setTimeout(() => t.remove(), kind === 'error' ? 7000 : 3500);
  };

  // Asks a yes/no question in the page's own dialog. Resolves true for the confirming button. Questions
  // that come while one is open wait their turn.
  let asking = Promise.resolve();
  Q.ask = function (question) {
    const answer = asking.then(() => askNow(question));
    asking = answer.catch(() => false);
    return answer;
  };
  function askNow({ title, text, ok = 'OK', cancel = 'Cancel', danger = false }) {
    const dlg = Q.$('ask-dialog');
    Q.$('ask-title').textContent = title;
    Q.$('ask-text').textContent = text;
    Q.$('ask-ok').textContent = ok;
    Q.$('ask-ok').className = 'btn ' + (danger ? 'danger' : 'accent');
    Q.$('ask-cancel').textContent = cancel;
    Q.$('ask-cancel').hidden = cancel === null;
    return new Promise((resolve) => {
      dlg.addEventListener('close', () => resolve(dlg.returnValue === 'ok'), { once: true });
      dlg.returnValue = '';
      dlg.showModal();
      (cancel === null ? Q.$('ask-ok') : Q.$('ask-cancel')).focus();
    });
  }

  Q.tell = (title, text) => Q.ask({ title, text, ok: 'OK', cancel: null });

  // Tips and warnings that are shown once: true when the user goes ahead (or has seen it before).
  Q.warnOnce = async function (id, question) {
    const app = Q.app || {};
    const seen = app.seenWarnings || [];
    if (app.showWarnings === false || seen.includes(id)) return true;
    const go = await Q.ask(question);
    if (go) {
      app.seenWarnings = seen.concat(id);
      Q.call('markWarningSeen', id);
    }
    return go;
  };

  // Status documents go to every module that listens.
  const listeners = [];
  Q.onStatus = (fn) => listeners.push(fn);
  Q.status = {};
  Q.publishStatus = function (s) {
    Q.status = s;
    for (const fn of listeners) {
      try { fn(s); } catch (e) { console.error(e); }
    }
  };

  // A control the user just changed ignores the poll for a moment: a status taken before the change
  // would flip it back.
  const touched = new Map();
  Q.lastTouchAt = 0;
  Q.touch = (node) => { Q.lastTouchAt = Date.now(); touched.set(node, Q.lastTouchAt); };
  Q.recentlyTouched = (node) => Date.now() - (touched.get(node) || 0) < 800;

  // A pop-out window of one panel binds closeThisWindow; the main window doesn't.
  Q.isPopout = Q.has('closeThisWindow');

  return Q;
})();
