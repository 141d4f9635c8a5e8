'use strict';
// Start-up: settings first (that call tells the native side the page is up), then the theme, then the page
// shows; the rest loads behind it, and the status poll begins.

(function () {
  const POLL_MS = 250;

  // An unchanged status isn't published again: each publication rewrites parts of the page, and repainting
  // four times a second was most of what an idle window cost. For two seconds after the user changed a
  // control it is published at every poll all the same, so that a change the native side refused goes back.
  const REPUBLISH_MS = 2000;
  let lastText = '';
  for (const type of ['change', 'click', 'keydown']) {
    document.addEventListener(type, () => { Q.lastTouchAt = Date.now(); }, true);
  }
  function parseStatus(text) {
    try {
      const s = JSON.parse(text);
      return s && typeof s === 'object' ? s : null;
    } catch (e) {
      return null;
    }
  }
  async function poll() {
    const text = await Q.queryText('getTrackerStatus');
    if (text !== '' && (text !== lastText || Date.now() - Q.lastTouchAt < REPUBLISH_MS)) {
      const s = parseStatus(text);
      if (s) {
        lastText = text;
        Q.publishStatus(s);
      }
    }
    setTimeout(poll, document.hidden ? 4 * POLL_MS : POLL_MS);
  }

  async function boot() {
    const app = await Q.call('getAppSettings');
    Q.app = app && typeof app === 'object' ? app : {};
    Q.panels.init(Q.app);
    Q.settings.init(Q.app);
    Q.tools.init();
    Q.tracker.init();
    Q.profiles.init();

    await Q.themes.loadCustom();
    const key = await Q.call('getSharedTheme');
    await applyTheme(typeof key === 'string' && key ? key : 'quorvane');
    document.body.style.visibility = 'visible';

    await Promise.all([Q.tools.loadSettings(), Q.profiles.load(), Q.tracker.loadEvents()]);
    poll();
    await Q.profiles.checkPending();
    await Q.settings.checkPendingAlert();
    await showNotices();
  }

  // What the native side had to tell before the page was up (a session file it set aside): once each.
  async function showNotices() {
    const notices = await Q.call('takeNotices');
    if (!Array.isArray(notices)) return;
    for (const text of notices) await Q.tell('Your data is safe', String(text));
  }

  boot().catch((e) => {
    // Whatever failed, the page must not stay invisible.
    document.body.style.visibility = 'visible';
    console.error(e);
  });
})();
