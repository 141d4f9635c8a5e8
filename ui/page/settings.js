'use strict';
// The settings panel: themes (choose, import, delete), app switches, the hotkey lock, links; and the
// update offer at the top of the page.

Q.settings = (function () {
  const $ = Q.$;

  function renderThemes(builtIn, custom) {
    const select = $('theme-select');
    const group = (label, list) => Q.el('optgroup', { label }, ...list.map((t) => Q.el('option', { value: t.key, text: t.name || t.key })));
    select.replaceChildren(group('Built in', builtIn), ...(custom.length ? [group('Your themes', custom)] : []));
    select.value = currentThemeKey;

    $('th-list').replaceChildren(...custom.map((t) => Q.el('li', {},
      Q.el('span', { class: 'swatches', 'aria-hidden': 'true' },
        ...[t.bgMain, t.bgPanel, t.accent, t.text].map((c) => {
          const dot = Q.el('i');
          dot.style.background = Q.themes.rgb(c) ? c : 'transparent';
          return dot;
        })),
      Q.el('span', { class: 'name', text: t.name || t.key, title: t.key }),
      t.hasSkin ? Q.el('span', { class: 'tag', text: 'skin' }) : null,
      Q.el('button', { class: 'btn danger small', type: 'button', text: 'Delete', 'aria-label': 'Delete theme ' + (t.name || t.key),
        onclick: () => removeTheme(t) }))));
  }

  async function choose(key) {
    await applyTheme(key);
    Q.call('setTheme', key);
  }

  // After the library changed: the list again, and the theme the native side now holds as current.
  async function refresh() {
    await Q.themes.loadCustom();
    const key = await Q.call('getSharedTheme');
    await applyTheme(typeof key === 'string' && key ? key : currentThemeKey);
  }

  async function importTheme() {
    const message = await Q.call('importTheme');
    if (typeof message === 'string' && message) {
      Q.tell('Theme not imported', message);
      return;
    }
    await refresh();
  }

  async function removeTheme(t) {
    const go = await Q.ask({ title: 'Delete the theme “' + (t.name || t.key) + '”?', text: 'Its file is removed from the themes folder.', ok: 'Delete', danger: true });
    if (!go) return;
    await Q.call('deleteTheme', t.key);
    await refresh();
  }

  function fill(app) {
    document.querySelectorAll('[data-setting]').forEach((box) => {
      if (typeof app[box.dataset.setting] === 'boolean') box.checked = app[box.dataset.setting];
    });
    document.documentElement.classList.toggle('no-motion', app.disableAnimations === true);
  }

  function onStatus(s) {
    const key = s.hkUnlock || 'F10';
    const locked = s.lockOn === true && s.unlocked !== true;
    const chip = $('lock-chip');
    const off = Q.app && Q.app.hotkeysEnabled === false;
    chip.hidden = !(locked || off);
    chip.textContent = off ? 'Hotkeys off' : 'Hotkeys locked · ' + key;
    chip.title = off ? 'Turn hotkeys on in the settings panel' : 'Press ' + key + ' to unlock the hotkeys';
    chip.className = 'chip locked';
    $('lock-state').textContent = s.lockOn === true ? (s.unlocked === true ? 'Unlocked now' : 'Locked now') : '';
  }

  // ---- Update offer ----
  function updateOffer(offered, current) {
    $('update-bar').hidden = false;
    $('update-title').textContent = 'Quorvane ' + offered + ' is available';
    $('update-detail').textContent = 'You have ' + current + '.';
    $('update-progress').hidden = true;
    $('update-start').disabled = false;
    $('update-start').textContent = 'Update now';
    $('update-later').hidden = false;
  }

  // Bytes so far, the total and the time left, from the average rate since the download began.
  let downloadStart = null;
  function timeLeft(seconds) {
    if (!isFinite(seconds) || seconds < 0) return '';
    if (seconds < 5) return 'a few seconds left';
    if (seconds < 60) return 'about ' + Math.ceil(seconds / 5) * 5 + ' s left';
    const minutes = Math.round(seconds / 60);
    return 'about ' + minutes + (minutes === 1 ? ' minute' : ' minutes') + ' left';
  }

  function updateProgress(received, total) {
    const bar = $('update-progress');
    bar.hidden = false;
    const r = Number(received) || 0;
    const t = Number(total) || 0;
    const mb = (n) => (n / 1048576).toFixed(1) + ' MB';
    const now = performance.now();
    if (downloadStart === null || r === 0) downloadStart = { time: now, bytes: r };
    bar.classList.toggle('indeterminate', t <= 0);
    const percent = t > 0 ? Math.min(100, (100 * r) / t) : 0;
    bar.querySelector('.progress-fill').style.width = t > 0 ? percent.toFixed(1) + '%' : '';
    if (t > 0) bar.setAttribute('aria-valuenow', String(Math.round(percent)));
    else bar.removeAttribute('aria-valuenow');
    $('update-title').textContent = 'Downloading the update';
    let detail = t > 0 ? mb(r) + ' of ' + mb(t) : mb(r);
    const elapsed = (now - downloadStart.time) / 1000;
    const rate = elapsed > 0.5 ? (r - downloadStart.bytes) / elapsed : 0;
    if (t > 0 && r >= t) detail += ' · checking';
    else if (t > 0 && rate > 0) detail += ' · ' + timeLeft((t - r) / rate);
    $('update-detail').textContent = detail;
  }

  function updateInstalling() {
    $('update-title').textContent = 'Installing the update';
    $('update-detail').textContent = 'Quorvane restarts by itself in a moment.';
    $('update-progress').classList.add('indeterminate');
    $('update-start').disabled = true;
    $('update-later').hidden = true;
  }

  async function startUpdate() {
    if (!Q.has('startUpdate')) {
      Q.toast('Updating from here isn\'t available in this version.');
      return;
    }
    $('update-start').disabled = true;
    $('update-start').textContent = 'Updating…';
    $('update-later').hidden = true;
    downloadStart = null;
    updateProgress(0, 0);
    $('update-title').textContent = 'Starting the update';
    // It answers only when the update failed; on success the app restarts.
    const message = await Q.call('startUpdate');
    if (typeof message === 'string' && message) {
      $('update-title').textContent = 'The update didn\'t finish';
      $('update-detail').textContent = message;
      $('update-progress').hidden = true;
      $('update-start').disabled = false;
      $('update-start').textContent = 'Try again';
      $('update-later').hidden = false;
    }
  }

  function init(app) {
    fill(app);
    $('theme-select').addEventListener('change', (e) => choose(e.target.value));
    $('th-import').addEventListener('click', importTheme);
    document.querySelectorAll('[data-setting]').forEach((box) => box.addEventListener('change', () => {
      const key = box.dataset.setting;
      if (Q.app) Q.app[key] = box.checked;
      Q.call('setAppSetting', key, box.checked ? '1' : '0');
      if (key === 'disableAnimations') document.documentElement.classList.toggle('no-motion', box.checked);
    }));
    $('ui-reset-hotkeys').addEventListener('click', async () => {
      await Q.call('resetHotkeys');
      Q.toast('Hotkeys are back to F6, F7, F8, F9 and F10.');
    });
    document.querySelectorAll('[data-link]').forEach((b) => b.addEventListener('click', () => Q.call('openLink', b.dataset.link)));
    $('update-start').addEventListener('click', startUpdate);
    $('update-later').addEventListener('click', () => { $('update-bar').hidden = true; });
    Q.onStatus(onStatus);

    window.onThemeFolderChanged = refresh;
    window.onThemeDropInstalled = async (d) => {
      await Q.themes.loadCustom();
      if (d && d.appliedKey) await applyTheme(d.appliedKey);
      const rejects = d && Array.isArray(d.rejects) ? d.rejects : [];
      if (rejects.length) Q.tell('Some themes weren\'t installed', rejects.map((r) => r.name + ': ' + r.reason).join('\n'));
      else if (d && d.appliedKey) Q.toast('Theme installed.');
    };
    window.onUpdateAvailable = updateOffer;
    window.onUpdateProgress = updateProgress;
    window.onUpdateInstalling = updateInstalling;
  }

  async function checkPendingAlert() {
    const message = await Q.call('getPendingThemeAlert');
    if (typeof message === 'string' && message) Q.tell('Something needs your attention', message);
  }

  // The built-in looks are there from the start, so that a theme select set before the library is read
  // (as a pop-out panel does) never stands blank.
  renderThemes(Q.themes.BUILT_IN, []);

  return { init, renderThemes, checkPendingAlert };
})();
