'use strict';
// The five panels: order and collapse (kept in the app settings), moving them by drag or Alt+arrows,
// popping them out into windows of their own and taking them back, and fitting a pop-out window (where
// Escape docks it).

Q.panels = (function () {
  const DEFAULT_ORDER = ['panel-spammer', 'panel-keyspam', 'panel-tracker', 'panel-profile', 'panel-ui'];
  const ICON_POP = '<svg viewBox="0 0 16 16" aria-hidden="true"><path d="M9 2.5h4.5V7M13.5 2.5 8 8M11.5 9.5v3a1 1 0 0 1-1 1h-7a1 1 0 0 1-1-1v-7a1 1 0 0 1 1-1h3"/></svg>';
  const ICON_DOCK = '<svg viewBox="0 0 16 16" aria-hidden="true"><path d="M8 13.5V6M4.5 9.5 8 13l3.5-3.5M2.5 2.5h11"/></svg>';
  const ICON_FOLD = '<svg viewBox="0 0 16 16" aria-hidden="true"><path d="M4 6l4 4 4-4"/></svg>';
  const dashboard = Q.$('dashboard');
  const panels = () => [...dashboard.querySelectorAll(':scope > .panel')];
  const titleOf = (panel) => panel.dataset.title || panel.id;

  function order() { return panels().map((p) => p.id); }

  function saveOrder() { Q.call('setPanelOrder', order().join(',')); }

  // Places the saved ids first, in their order; the others follow in the page's own order.
  function applyOrder(saved) {
    const ids = (Array.isArray(saved) ? saved : []).filter((id) => DEFAULT_ORDER.includes(id));
    for (const id of DEFAULT_ORDER) if (!ids.includes(id)) ids.push(id);
    for (const id of ids) dashboard.append(Q.$(id));
  }

  function setCollapsed(panel, collapsed, save) {
    panel.classList.toggle('collapsed', collapsed);
    const btn = panel.querySelector('[data-act="collapse"]');
    btn.setAttribute('aria-expanded', String(!collapsed));
    btn.setAttribute('aria-label', (collapsed ? 'Expand ' : 'Collapse ') + titleOf(panel));
    btn.title = collapsed ? 'Expand' : 'Collapse';
    if (save) Q.call('setAppSetting', 'min:' + panel.id, collapsed ? '1' : '0');
    if (Q.isPopout) fitSoon();
  }

  function move(panel, step) {
    const list = panels();
    const i = list.indexOf(panel);
    const j = i + step;
    if (j < 0 || j >= list.length) return;
    if (step < 0) dashboard.insertBefore(panel, list[j]);
    else dashboard.insertBefore(panel, list[j].nextSibling);
    saveOrder();
  }

  async function popOut(panel) {
    if (!Q.has('popOutPanel')) {
      Q.toast('Pop-out panels aren\'t available in this version.');
      return;
    }
    // Title and id; the last two fields are placeholders that the native side fills with the cursor's place.
    let error;
    try {
      error = await window.popOutPanel(titleOf(panel) + '|' + panel.id + '|0|0');
    } catch (e) {
      error = String(e && e.message ? e.message : e);
    }
    if (typeof error === 'string' && error) {
      Q.toast(error, 'error');
      return;
    }
    panel.classList.add('popped');
    renderPopped();
  }

  // Panels that have come home (their window closed or docked) show here again.
  function restore(ids) {
    for (const id of ids || []) {
      const panel = Q.$(id);
      if (panel) panel.classList.remove('popped');
    }
    renderPopped();
  }

  // Chips for panels living in windows of their own; a click shows the panel here again.
  function renderPopped() {
    const bar = document.querySelector('.top-status');
    bar.querySelectorAll('.chip.popped').forEach((c) => c.remove());
    for (const panel of panels().filter((p) => p.classList.contains('popped'))) {
      bar.prepend(Q.el('button', {
        class: 'chip popped', text: titleOf(panel) + ' ↗', title: 'In its own window. Click to show it here too.',
        onclick: () => restore([panel.id]),
      }));
    }
  }

  // Fits the window to what it shows; a pop-out window follows its one panel as it grows and shrinks.
  function resizeHostWindow() {
    const bottom = dashboard.getBoundingClientRect().bottom + window.scrollY;
    const pad = parseFloat(getComputedStyle(document.body).paddingBottom) || 0;
    const width = Math.max(320, Math.round(window.innerWidth));
    const height = Math.max(120, Math.ceil(bottom + pad));
    Q.call('resizeWindow', width, height);
  }
  const fitSoon = Q.debounce(resizeHostWindow, 80);

  function dragToReorder(panel, header) {
    let start = null;
    let dragging = false;
    header.addEventListener('pointerdown', (e) => {
      if (e.button !== 0 || e.target.closest('.panel-btn') || Q.isPopout) return;
      start = { x: e.clientX, y: e.clientY };
      dragging = false;
      header.setPointerCapture(e.pointerId);
    });
    header.addEventListener('pointermove', (e) => {
      if (!start) return;
      if (!dragging && Math.hypot(e.clientX - start.x, e.clientY - start.y) < 6) return;
      dragging = true;
      panel.classList.add('dragging');
      const under = document.elementFromPoint(e.clientX, e.clientY);
      const target = under && under.closest('#dashboard > .panel');
      if (!target || target === panel) return;
      const r = target.getBoundingClientRect();
      dashboard.insertBefore(panel, e.clientY < r.top + r.height / 2 ? target : target.nextSibling);
    });
    const end = () => {
      if (!start) return;
      start = null;
      panel.classList.remove('dragging');
      if (dragging) saveOrder();
      else setCollapsed(panel, !panel.classList.contains('collapsed'), true);
    };
    header.addEventListener('pointerup', end);
    header.addEventListener('pointercancel', () => { start = null; dragging = false; panel.classList.remove('dragging'); });
  }

  // In the wide layout each panel spans rows by its height, so that columns fill without holes.
  const wide = window.matchMedia('(min-width: 820px)');
  let packing = 0;
  function pack() {
    packing = 0;
    for (const panel of panels()) {
      const rows = wide.matches ? Math.ceil((panel.getBoundingClientRect().height + 12) / 4) : 0;
      panel.style.gridRowEnd = rows > 0 ? 'span ' + rows : '';
    }
  }
  const packSoon = () => { if (!packing) packing = setTimeout(pack, 16); };

  // In a window of its own, Escape sends the panel home, unless it is closing something of the page's
  // (a dialog, an open select) first.
  function dockOnEscape(e) {
    if (e.key !== 'Escape' || e.defaultPrevented || e.repeat) return;
    if (document.querySelector('dialog[open]')) return;
    e.preventDefault();
    Q.call('closeThisWindow', '');
  }

  function init(app) {
    if (Q.isPopout) {
      document.body.classList.add('popout');
      document.addEventListener('keydown', dockOnEscape);
    }
    for (const panel of panels()) {
      const header = panel.querySelector('.panel-header');
      const body = panel.querySelector('.panel-body');
      body.id = panel.id + '-body';
      panel.setAttribute('aria-label', titleOf(panel));
      const btns = panel.querySelector('.panel-btns');
      const pop = Q.el('button', { class: 'panel-btn', 'data-act': 'popout', type: 'button' });
      pop.innerHTML = Q.isPopout ? ICON_DOCK : ICON_POP;
      pop.title = Q.isPopout ? 'Back to the main window' : 'Pop out (Alt+↑/↓ moves the panel)';
      pop.setAttribute('aria-label', (Q.isPopout ? 'Dock ' : 'Pop out ') + titleOf(panel));
      pop.addEventListener('click', () => (Q.isPopout ? Q.call('closeThisWindow', '') : popOut(panel)));
      const fold = Q.el('button', { class: 'panel-btn', 'data-act': 'collapse', type: 'button', 'aria-controls': body.id });
      fold.innerHTML = ICON_FOLD;
      fold.addEventListener('click', () => setCollapsed(panel, !panel.classList.contains('collapsed'), true));
      btns.append(pop, fold);
      btns.addEventListener('keydown', (e) => {
        if (!e.altKey || (e.key !== 'ArrowUp' && e.key !== 'ArrowDown')) return;
        e.preventDefault();
        move(panel, e.key === 'ArrowUp' ? -1 : 1);
        e.target.focus();
      });
      dragToReorder(panel, header);
      setCollapsed(panel, (app.minimizedPanels || []).includes(panel.id), false);
    }
    applyOrder(app.panelOrder);
    if (Q.isPopout && 'ResizeObserver' in window) new ResizeObserver(fitSoon).observe(dashboard);
    if (!Q.isPopout && 'ResizeObserver' in window) {
      const watch = new ResizeObserver(packSoon);
      panels().forEach((p) => watch.observe(p));
      wide.addEventListener('change', packSoon);
    }
    pack();
  }

  Q.onStatus((s) => {
    if (Array.isArray(s.restore) && s.restore.length) restore(s.restore);
    const hover = s.panelHover === true;
    dashboard.classList.toggle('dock-target', hover);
    Q.$('dock-hint').hidden = !hover;
  });

  return { init, resizeHostWindow };
})();

function resizeHostWindow() {
  Q.panels.resizeHostWindow();
}
