'use strict';
// Profiles: the list, switching, adding, deleting, clearing, export and import, and the confirmation of a
// macro whose scan found something.

Q.profiles = (function () {
  const $ = Q.$;
  let doc = { current: 0, names: [], defaultName: '' };
  let recording = false;
  let pending = null;

  function render() {
    const list = $('pf-list');
    const rows = doc.names.map((name, i) => {
      const selected = i === doc.current;
      const b = Q.el('button', { class: 'profile', type: 'button', role: 'option', 'aria-selected': String(selected), tabindex: selected ? '0' : '-1' },
        Q.el('span', { class: 'name', text: name }),
        name === doc.defaultName ? Q.el('span', { class: 'tag', text: 'default' }) : null,
        selected ? Q.el('span', { class: 'tag', text: 'active' }) : null);
      b.disabled = recording;
      b.addEventListener('click', () => { if (!selected) switchTo(i); });
      return b;
    });
    list.replaceChildren(...rows);
    const current = doc.names[doc.current];
    $('pf-delete').textContent = current === doc.defaultName ? 'Reset' : 'Delete';
  }

  async function load() {
    const d = await Q.call('getProfiles');
    if (d && Array.isArray(d.names)) {
      doc = { current: Number(d.current) || 0, names: d.names.map(String), defaultName: String(d.defaultName || '') };
      render();
    }
  }

  // A profile carries its own tool setup and macro: everything shown of them comes again.
  async function reloadAll() {
    await Promise.all([load(), Q.tools.loadSettings(), Q.tracker.loadEvents()]);
  }

  async function switchTo(i) {
    await Q.call('switchProfile', i);
    await reloadAll();
    const row = $('pf-list').children[doc.current];
    if (row) row.focus();
  }

  async function add(e) {
    e.preventDefault();
    // Brackets and double quotes can't travel through the bridge; they would be dropped silently.
    const name = $('pf-name').value.replace(/[[\]"]/g, '').trim();
    if (!name) {
      $('pf-name').focus();
      return;
    }
    await Q.call('addProfile', name);
    $('pf-name').value = '';
    await reloadAll();
  }

  async function remove() {
    const name = doc.names[doc.current] || '';
    const isDefault = name === doc.defaultName;
    const go = await Q.ask(isDefault
      ? { title: 'Reset the default profile?', text: 'The default profile stays, but its macro is emptied and the Spammer and Key Spammer go back to their defaults.', ok: 'Reset', danger: true }
      : { title: 'Delete “' + name + '”?', text: 'The profile and its macro are removed. This can\'t be undone.', ok: 'Delete', danger: true });
    if (!go) return;
    await Q.call('deleteProfile');
    await reloadAll();
  }

  async function clear() {
    const name = doc.names[doc.current] || '';
    const go = await Q.ask({ title: 'Clear “' + name + '”?', text: 'Its macro is emptied and the Spammer and Key Spammer go back to their defaults. The name stays.', ok: 'Clear', danger: true });
    if (!go) return;
    await Q.call('clearProfile');
    await reloadAll();
  }

  async function importMacro() {
    const outcome = await Q.call('importProfile');
    await handleOutcome(outcome);
  }

  async function handleOutcome(d) {
    if (!d || typeof d !== 'object') return;
    if (d.outcome === 'imported') {
      Q.toast('Macro imported as a new profile.');
      await reloadAll();
    } else if (d.outcome === 'pending') {
      showPending(d);
    } else if (d.outcome === 'error') {
      Q.tell('Not imported', String(d.message || 'That macro file could not be imported.'));
    }
  }

  function fmtSeconds(v) {
    const n = Number(v);
    return Number.isFinite(n) ? (Math.round(n * 100) / 100) + ' s' : '';
  }

  // The staged macro waits natively under its id; only the answer with that id counts.
  function showPending(d) {
    if (!d || d.outcome !== 'pending' || typeof d.pendingId !== 'string') return;
    pending = d;
    const matches = Array.isArray(d.matches) ? d.matches : [];
    const danger = String(d.level).toLowerCase() === 'danger';
    $('import-title').textContent = danger ? 'This macro could do harm' : 'Check this macro before importing';
    $('import-summary').textContent = (danger
      ? 'It presses keys that can close, delete or run things if they land in the wrong window. '
      : 'It presses keys worth a look before it runs. ')
      + 'Import it only if you trust where it came from.';
    $('import-findings').replaceChildren(...matches.map((m) => {
      const sev = String(m.severity || '').toLowerCase();
      return Q.el('li', {},
        Q.el('span', { class: 'sev ' + (sev === 'danger' ? 'danger' : 'caution'), text: sev === 'danger' ? 'DANGER' : 'CAUTION' }),
        Q.el('span', { class: 'msg', text: String(m.message || '') }),
        Q.el('span', { class: 'at', text: 'at ' + fmtSeconds(m.atSec) }));
    }));
    const dlg = $('import-dialog');
    if (!dlg.open) {
      dlg.returnValue = '';
      dlg.showModal();
    }
  }

  async function answerPending() {
    const d = pending;
    pending = null;
    if (!d) return;
    if ($('import-dialog').returnValue === 'confirm') {
      await Q.call('confirmMacroImport', d.pendingId);
      await reloadAll();
    } else {
      await Q.call('cancelMacroImport', d.pendingId);
    }
  }

  function keyNav(e) {
    const rows = [...$('pf-list').children];
    const i = rows.indexOf(document.activeElement);
    if (i < 0) return;
    const j = { ArrowDown: i + 1, ArrowUp: i - 1, Home: 0, End: rows.length - 1 }[e.key];
    if (j === undefined || j < 0 || j >= rows.length) return;
    e.preventDefault();
    rows[j].focus();
  }

  function onStatus(s) {
    const rec = s.state === 'Recording';
    if (rec === recording) return;
    recording = rec;
    // The native side ignores profile changes during a recording; say so instead of doing nothing.
    ['pf-add', 'pf-delete', 'pf-clear', 'pf-import', 'pf-name'].forEach((id) => { $(id).disabled = rec; });
    $('pf-list').classList.toggle('locked', rec);
    $('pf-list').querySelectorAll('.profile').forEach((b) => { b.disabled = rec; });
    $('pf-note').hidden = !rec;
  }

  function init() {
    $('pf-add-form').addEventListener('submit', add);
    $('pf-delete').addEventListener('click', remove);
    $('pf-clear').addEventListener('click', clear);
    $('pf-export').addEventListener('click', () => Q.call('exportProfile'));
    $('pf-import').addEventListener('click', importMacro);
    $('pf-list').addEventListener('keydown', keyNav);
    $('import-dialog').addEventListener('close', answerPending);
    Q.onStatus(onStatus);
    window.onPendingMacroImport = showPending;
    window.onProfileImported = () => {
      Q.toast('Macro imported as a new profile.');
      reloadAll();
    };
  }

  async function checkPending() {
    const d = await Q.call('getPendingMacroImport');
    if (d && d.outcome === 'pending') showPending(d);
  }

  return { init, load, checkPending };
})();
