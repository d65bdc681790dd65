// Benchmark (not a test): the time from a slider change in `ortavel ui` to
// the new corrected preview on screen, for a 24-megapixel photo at a
// 1024-pixel preview, in Debian's chromium, headless.
//
//   node latency_bench.mjs ORTAVEL [ROUNDS]
// The photo is made here: 6000 x 4000 RGB, a chessboard under gradients.
// Each round moves the k1 slider by one step (an input event, as a drag
// does) and waits until the page has drawn the corrected preview for the new
// value and the browser has painted the next frame.
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { chromium } from 'playwright-core';
import { encodePng } from './png.mjs';
import { launchChromium, startEditor } from './harness.mjs';

const [ortavel, roundsText] = process.argv.slice(2);
const rounds = Number(roundsText ?? 40);
const W = 6000, H = 4000;

const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ortavel-ui-bench-'));
const photo = path.join(dir, 'photo-24mp.png');
const rgb = Buffer.alloc(W * H * 3);
for (let y = 0, i = 0; y < H; ++y) {
  for (let x = 0; x < W; ++x, i += 3) {
    const square = ((x >> 7) + (y >> 7)) & 1;
    rgb[i] = square ? 230 : (x * 255) / W;
    rgb[i + 1] = square ? 225 : (y * 255) / H;
    rgb[i + 2] = square ? 210 : 60;
  }
}
fs.writeFileSync(photo, encodePng(W, H, rgb));

const editor = await startEditor(ortavel, photo);
const browser = await launchChromium(chromium);
try {
  // One picture on screen, 1024 CSS pixels wide at a device pixel ratio of 1.
  const page = await browser.newPage({ viewport: { width: 1420, height: 900 },
    deviceScaleFactor: 1 });
  await page.goto(editor.url);
  await page.selectOption('#view-mode', 'toggle');
  // Size the window so that the picture's space is 1024 pixels across.
  for (let i = 0, width = 1420; i < 5; ++i) {
    const across = await page.evaluate(() => document.getElementById('viewer').clientWidth);
    if (across === 1024) break;
    width += 1024 - across;
    await page.setViewportSize({ width, height: 900 });
  }
  await page.waitForFunction(() =>
    document.getElementById('preview-state').textContent === 'Up to date' &&
    document.getElementById('after').width > 0, null, { timeout: 120_000 });
  const size = await page.evaluate(() => {
    const c = document.getElementById('after');
    return `${c.width} x ${c.height}`;
  });

  const times = [];
  const server = [];
  for (let r = 0; r < rounds; ++r) {
    const t = await page.evaluate(async (round) => {
      const range = document.getElementById('k1-range');
      const after = document.getElementById('after');
      performance.clearResourceTimings();
      const value = (-0.05 - 0.002 * (round % 50)).toFixed(3);
      const painted = new Promise((resolve) => {
        const seen = new MutationObserver(() => {
          if (JSON.parse(after.dataset.settings)[0] !== Number(value)) return;
          seen.disconnect();
          requestAnimationFrame(() => requestAnimationFrame(() => resolve(performance.now())));
        });
        seen.observe(after, { attributes: true, attributeFilter: ['data-settings'] });
      });
      const t0 = performance.now();
      range.value = value;
      range.dispatchEvent(new Event('input', { bubbles: true }));
      const t1 = await painted;
      const requests = performance.getEntriesByType('resource')
        .filter((e) => e.name.includes('/api/preview'));
      return { total: t1 - t0, request: requests.length ? requests.at(-1).duration : NaN };
    }, r);
    times.push(t.total);
    server.push(t.request);
  }
  const stats = (a) => {
    const s = [...a].sort((x, y) => x - y);
    const at = (q) => s[Math.min(s.length - 1, Math.floor(q * s.length))];
    return `median ${at(0.5).toFixed(1)} ms, p90 ${at(0.9).toFixed(1)} ms, ` +
      `min ${s[0].toFixed(1)} ms, max ${s.at(-1).toFixed(1)} ms`;
  };
  console.log(`photo ${W} x ${H}, corrected preview ${size}, method bicubic, ${rounds} rounds`);
  console.log(`slider change -> new preview painted: ${stats(times)}`);
  console.log(`  of which the preview request:       ${stats(server)}`);
} finally {
  await browser.close();
  await editor.stop();
  fs.rmSync(dir, { recursive: true, force: true });
}
