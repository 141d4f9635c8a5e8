// The Timeline Editor's page with a 100,000-event macro in Debian's Chromium (software rendering, as in
// the app's web view on this machine): the time from the page's start to the macro on screen, a reload,
// then the frame times of scrolling and zooming, each frame a full redraw of what is in view.
// Run: node bench/timeline-page.js [events]   (needs tests/ui's packages: scripts/setup.sh installs them;
// `cmake --build --preset release --target bench` runs it with the others)
const path = require('path');
const h = require(path.resolve(__dirname, '../tests/ui/harness'));

const count = Number(process.argv[2] || 100000);

// A recorded-looking macro: moves every 8 ms, with clicks, keys and the odd wheel in between.
function macro(n) {
  const events = [];
  let t = 0;
  for (let i = 0; events.length < n; i++) {
    t = Math.round((t + 0.008) * 1e6) / 1e6;
    const k = i % 50;
    if (k === 10) events.push([2, t, 400 + (i % 300), 300, 2, 0, 0, 0], [2, t + 0.004, 400 + (i % 300), 300, 4, 0, 0, 0]);
    else if (k === 30) events.push([3, t, 0, 0, 0, 65 + (i % 26), 1, 0], [3, t + 0.005, 0, 0, 0, 65 + (i % 26), 0, 0]);
    else if (k === 45) events.push([4, t, 500, 300, 0, 0, 0, i % 2 ? 120 : -120]);
    else events.push([0, t, 200 + Math.round(300 * Math.sin(i / 40)), 300 + Math.round(200 * Math.cos(i / 55)), 0, 0, 0, 0]);
  }
  return events.slice(0, n);
}

const pct = (a, p) => a.slice().sort((x, y) => x - y)[Math.min(a.length - 1, Math.floor(a.length * p))];

(async () => {
  const keys = {};
  for (let v = 65; v <= 90; v++) keys[v] = String.fromCharCode(v);
  // The load document is fetched when the page asks for it, as the app reads it from the master's file.
  const url = 'http://quorvane.test/load.json';
  const text = JSON.stringify({ profile: 'Bench', profileIdx: 0, keys, events: macro(count) });
  const started = Date.now();
  const page = await h.openTimeline({ width: 1280, height: 800, init: { loadUrl: url }, routes: { [url]: text } });

  const result = await page.evaluate(async (n) => {
    const frame = () => new Promise((r) => requestAnimationFrame(() => r(performance.now())));
    // The frame after the one that drew the macro: by then it is on screen.
    const painted = async () => {
      while (TL.events().length !== n || TL.dirty()) await frame();
      await frame();
      return frame();
    };
    const out = { frames: { scrollFit: [], zoomIn: [], scrollZoomed: [], zoomOut: [], scrollFitAllSelected: [] } };
    out.openMs = await painted();  // the page's clock starts at navigation
    // A reload (Revert without edits) of the same macro, from the click to the macro on screen.
    const before = TL.events();
    const t0 = performance.now();
    document.getElementById('b-revert').click();
    while (TL.events() === before) await frame();
    out.reloadMs = (await painted()) - t0;

    const run = async (name, steps, act) => {
      let last = await frame();
      for (let i = 0; i < steps; i++) {
        act(i);
        const now = await frame();
        out.frames[name].push(now - last);
        last = now;
      }
    };
    TL.fit();
    await run('scrollFit', 60, () => TL.scrollBy(15));
    TL.fit();
    await run('zoomIn', 60, () => TL.zoomAt(1.12, 640));
    await run('scrollZoomed', 120, (i) => TL.scrollBy(i < 60 ? 40 : -40));
    await run('zoomOut', 60, () => TL.zoomAt(1 / 1.12, 640));
    // The draw alone at the widest view, rasterised (reading a pixel back waits for the canvas's drawing).
    TL.fit();
    const canvas = document.getElementById('canvas').getContext('2d');
    const side = document.getElementById('path').getContext('2d');
    const drawn = () => { TL.draw(); canvas.getImageData(0, 0, 1, 1); side.getImageData(0, 0, 1, 1); };
    drawn();
    let s = performance.now();
    for (let i = 0; i < 20; i++) drawn();
    out.drawFitMs = (performance.now() - s) / 20;
    // Everything selected: the selection is drawn over the lanes in its own colour.
    document.getElementById('canvas').dispatchEvent(new KeyboardEvent('keydown', { key: 'a', ctrlKey: true, bubbles: true }));
    drawn();
    s = performance.now();
    for (let i = 0; i < 20; i++) drawn();
    out.drawFitSelectedMs = (performance.now() - s) / 20;
    await run('scrollFitAllSelected', 60, () => TL.scrollBy(15));
    return out;
  }, count);

  console.log(`events: ${count}`);
  console.log(`open: page start to the macro on screen ${result.openMs.toFixed(0)} ms (page clock; ${Date.now() - started} ms wall time including Chromium's start)`);
  console.log(`reload (Revert) to the macro on screen: ${result.reloadMs.toFixed(0)} ms`);
  for (const [name, a] of Object.entries(result.frames)) {
    const fps = 1000 / (a.reduce((sum, v) => sum + v, 0) / a.length);
    console.log(`${name}: ${a.length} frames, ${fps.toFixed(1)} fps, p50 ${pct(a, 0.5).toFixed(1)} ms, p95 ${pct(a, 0.95).toFixed(1)} ms`);
  }
  console.log(`one full redraw of the whole macro in view, rasterised: ${result.drawFitMs.toFixed(1)} ms; all selected: ${result.drawFitSelectedMs.toFixed(1)} ms`);
  if (page.errors.length) console.log('page errors:', page.errors);
  await h.close();
  if (page.errors.length) process.exit(1);
})();
