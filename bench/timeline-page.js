// The Timeline Editor's page with a 100,000-event macro in Debian's Chromium (software rendering, as in
// the app's web view on this machine): the time from the page's start to the macro on screen, then the
// frame times of scrolling and zooming, each frame a full redraw of what is in view.
// Run: node bench/timeline-page.js [events]   (needs tests/ui's packages: scripts/setup.sh installs them)
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
  const load = { profile: 'Bench', profileIdx: 0, keys, events: macro(count) };
  const started = Date.now();
  const page = await h.openTimeline({ load, width: 1280, height: 800 });
  await page.evaluate(() => new Promise((r) => requestAnimationFrame(() => requestAnimationFrame(r))));
  const openMs = Date.now() - started;
  // The same, measured inside the page: from navigation start to the first frame with the macro.
  const inPage = await page.evaluate(() => performance.now());

  // Frames: each step changes the view and waits for the frame that shows it.
  const frames = await page.evaluate(async () => {
    const out = { scrollFit: [], zoomIn: [], scrollZoomed: [], zoomOut: [] };
    const frame = () => new Promise((r) => requestAnimationFrame(() => r(performance.now())));
    const run = async (name, steps, act) => {
      let last = await frame();
      for (let i = 0; i < steps; i++) {
        act(i);
        const now = await frame();
        out[name].push(now - last);
        last = now;
      }
    };
    TL.fit();
    await run('scrollFit', 60, () => TL.scrollBy(15));
    TL.fit();
    await run('zoomIn', 60, () => TL.zoomAt(1.12, 640));
    await run('scrollZoomed', 120, (i) => TL.scrollBy(i < 60 ? 40 : -40));
    await run('zoomOut', 60, () => TL.zoomAt(1 / 1.12, 640));
    // The draw alone, synchronously, at the widest view.
    TL.fit();
    const t0 = performance.now();
    for (let i = 0; i < 20; i++) TL.draw();
    out.drawFitMs = (performance.now() - t0) / 20;
    return out;
  });

  console.log(`events: ${count}`);
  console.log(`open (harness start to painted macro): ${openMs} ms; page clock at that point: ${inPage.toFixed(0)} ms`);
  for (const name of ['scrollFit', 'zoomIn', 'scrollZoomed', 'zoomOut']) {
    const a = frames[name];
    const fps = 1000 / (a.reduce((s, v) => s + v, 0) / a.length);
    console.log(`${name}: ${a.length} frames, ${fps.toFixed(1)} fps, p50 ${pct(a, 0.5).toFixed(1)} ms, p95 ${pct(a, 0.95).toFixed(1)} ms`);
  }
  console.log(`one full redraw of the whole macro in view: ${frames.drawFitMs.toFixed(2)} ms`);
  if (page.errors.length) console.log('page errors:', page.errors);
  await h.close();
})();
