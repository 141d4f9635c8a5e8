'use strict';
// Themes: the built-in looks, custom themes from the themes folder (colours, font and skin pieces), and the
// contract with pop-out panels: applyTheme, currentThemeKey.

// The key of the theme on screen. A pop-out panel reads it to set its theme select.
var currentThemeKey = 'quorvane';

Q.themes = (function () {
  const SANS = "'Segoe UI', Tahoma, Geneva, Verdana, sans-serif";
  const BUILT_IN = [
    { key: 'quorvane', name: 'Quorvane', bgMain: '#0e1320', bgPanel: '#161d2d', bgHeader: '#1b2438',
      accent: '#6d8dff', accentHover: '#8aa4ff', text: '#e7ebf4', font: SANS },
    { key: 'daylight', name: 'Daylight', bgMain: '#eef1f6', bgPanel: '#ffffff', bgHeader: '#f5f7fb',
      accent: '#3563e9', accentHover: '#2a52c9', text: '#1c2433', font: SANS },
    { key: 'graphite', name: 'Graphite', bgMain: '#121212', bgPanel: '#1c1c1e', bgHeader: '#232326',
      accent: '#2fbf8f', accentHover: '#48d3a5', text: '#ececec', font: SANS },
  ];
  const PIECES = ['window', 'panel', 'panel-header', 'modal', 'modal-header', 'button', 'button-accent',
    'button-danger', 'button-small', 'field', 'switch', 'switch-knob', 'radio', 'scroll-track', 'scroll-thumb',
    'button.on', 'button-accent.on', 'button-danger.on', 'button-small.on', 'field.on', 'switch.on',
    'switch-knob.on', 'radio.on', 'scroll-thumb.on'];
  const BASE64 = /^[A-Za-z0-9+/]+=*$/;

  let custom = [];
  let generation = 0;

  // "#abc", "#aabbcc" or "rgb(r,g,b)", the forms a theme file may hold; null for anything else.
  function rgb(text) {
    const s = String(text || '').trim();
    let m = /^#([0-9a-f]{3})$/i.exec(s);
    if (m) return [...m[1]].map((c) => parseInt(c + c, 16));
    m = /^#([0-9a-f]{6})$/i.exec(s);
    if (m) return [0, 2, 4].map((i) => parseInt(m[1].slice(i, i + 2), 16));
    m = /^rgb\(\s*(\d+)\s*,\s*(\d+)\s*,\s*(\d+)\s*\)$/i.exec(s);
    return m ? m.slice(1, 4).map(Number) : null;
  }
  function luminance(text) {
    const c = rgb(text);
    if (!c) return 0;
    const [r, g, b] = c.map((v) => { v /= 255; return v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4; });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  }

  const find = (key) => BUILT_IN.find((t) => t.key === key) || custom.find((t) => t.key === key);

  function clearSkin() {
    const root = document.documentElement;
    for (const c of [...root.classList]) if (c.startsWith('skin-')) root.classList.remove(c);
    for (const p of PIECES) root.style.removeProperty('--skin-' + p.replace('.', '-'));
    const face = Q.$('skin-font');
    if (face) face.remove();
  }

  function paint(def) {
    const root = document.documentElement;
    const set = (name, value) => root.style.setProperty(name, value);
    set('--bg', def.bgMain);
    set('--panel', def.bgPanel);
    set('--header', def.bgHeader);
    set('--accent', def.accent);
    set('--accent-hover', def.accentHover);
    set('--text', def.text);
    set('--font', def.font || SANS);
    set('--on-accent', luminance(def.accent) > 0.45 ? '#10131a' : '#ffffff');
    root.dataset.tone = luminance(def.bgMain) > 0.4 ? 'light' : 'dark';
    clearSkin();
  }

  async function loadSkin(def, gen) {
    const root = document.documentElement;
    const answers = await Promise.all(PIECES.map((p) => Q.call('getSkinPiece', def.key + '|' + p)));
    const font = await Q.call('getSkinFont', def.key);
    if (gen !== generation) return;  // another theme was chosen meanwhile
    PIECES.forEach((p, i) => {
      const data = answers[i];
      if (typeof data !== 'string' || !BASE64.test(data)) return;
      const name = p.replace('.', '-');
      root.style.setProperty('--skin-' + name, 'url("data:image/png;base64,' + data + '")');
      root.classList.add('skin-' + name);
    });
    if (typeof font === 'string' && BASE64.test(font)) {
      const style = Q.el('style', { id: 'skin-font' });
      style.textContent = '@font-face { font-family: "QvnSkinFont"; src: url("data:font/ttf;base64,' + font + '"); }';
      document.head.append(style);
      root.style.setProperty('--font', '"QvnSkinFont", ' + (def.font || SANS));
    }
  }

  function show(def) {
    const gen = ++generation;
    currentThemeKey = def.key;
    paint(def);
    const select = Q.$('theme-select');
    if (select && select.value !== def.key) select.value = def.key;
    return def.hasSkin ? loadSkin(def, gen) : Promise.resolve();
  }

  async function loadCustom() {
    const list = await Q.call('getCustomThemes');
    custom = Array.isArray(list) ? list.filter((t) => t && typeof t.key === 'string') : [];
    if (Q.settings) Q.settings.renderThemes(BUILT_IN, custom);
    return custom;
  }

  // Applies a theme by key. A key that isn't known yet may be a custom theme whose list hasn't been read
  // (a pop-out panel is themed before its page has asked for anything): the default look stands until the
  // list is in, and stays if the key isn't there either.
  function apply(key) {
    const def = find(key);
    if (def) return show(def);
    // The panels stay out of sight meanwhile (a pop-out panel shows its page right after this call), but
    // never for long.
    const root = document.documentElement;
    root.classList.add('theming');
    const reveal = () => root.classList.remove('theming');
    const fallback = setTimeout(reveal, 1500);
    show(BUILT_IN[0]);
    const gen = generation;
    return loadCustom().then(() => {
      const later = find(key);
      if (later && gen === generation) return show(later);
    }).finally(() => {
      clearTimeout(fallback);
      reveal();
    });
  }

  return { BUILT_IN, apply, loadCustom, rgb };
})();

function applyTheme(key) {
  return Q.themes.apply(String(key || 'quorvane'));
}
