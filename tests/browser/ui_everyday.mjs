// `ortavel ui` for a photographer's everyday work, in Debian's chromium,
// headless, driven by Playwright: the lens picker (searching the mount's
// lenses, a choice applied at once as --lens-model applies it, undone and
// saved), the camera picker for a photo without a camera, and a rotated phone
// photo shown upright with its optical centre dragged in the upright view.
//
//   node ui_everyday.mjs ORTAVEL CAMERA_PHOTO BARE_PHOTO PHONE_PHOTO
// CAMERA_PHOTO records a camera and lens the database knows; BARE_PHOTO no
// EXIF; PHONE_PHOTO is turned here to EXIF orientation 6 with exiftool.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { decodePng } from './png.mjs';
import { checks, launchChromium, startEditor } from './harness.mjs';

const { chromium } = await import('playwright-core').catch(() => {
  console.error('ui_everyday: playwright-core is not installed: run `npm ci` in tests/browser ' +
    '(make test does)');
  process.exit(1);
});

const [ortavel, cameraPhoto, barePhoto, phonePhoto] = process.argv.slice(2);
if (!ortavel || !cameraPhoto || !barePhoto || !phonePhoto) {
  console.error('usage: node ui_everyday.mjs ORTAVEL CAMERA_PHOTO BARE_PHOTO PHONE_PHOTO');
  process.exit(2);
}
const { check, finish } = checks('ui_everyday');

const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ortavel-ui-everyday-'));
const run = (...args) => execFileSync(ortavel, args, { stdio: ['ignore', 'pipe', 'inherit'] });
const browser = await launchChromium(chromium);

// Opens the editor on `photo`, runs `body(page)`, stops it.
async function withEditor(photo, body) {
  const editor = await startEditor(ortavel, photo);
  try {
    const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
    page.on('pageerror', (e) => check(false, `no script error on the page: ${e.message}`));
    await page.goto(editor.url);
    await settled(page);
    await body(page);
    await page.close();
  } finally {
    const code = await editor.stop();
    check(code === 0, `Ctrl-C stops the server cleanly (exit ${code})`);
  }
}

function settled(page) {
  return page.waitForFunction(() => {
    const after = document.getElementById('after');
    return document.getElementById('preview-state').textContent === 'Up to date' &&
      after.dataset.settings !== undefined;
  }, null, { timeout: 30_000 });
}

// The settings `ortavel correct --auto` takes with these options.
function autoSettings(photo, ...options) {
  const saved = path.join(dir, `auto-${Math.random().toString(16).slice(2)}.txt`);
  run('correct', photo, path.join(dir, `${path.basename(saved, '.txt')}.jpg`), '--auto', ...options,
    '--save-settings', saved, '-q');
  const values = {};
  for (const line of fs.readFileSync(saved, 'utf8').split('\n')) {
    const m = line.match(/^([a-z0-9-]+) = (.*)$/);
    if (m) values[m[1]] = m[2];
  }
  return values;
}

try {
  // ---- the lens picker, on a Nikon D70 photo with its kit zoom recorded ----
  const d70 = path.join(dir, 'd70.jpg');
  fs.copyFileSync(cameraPhoto, d70);
  await withEditor(d70, async (page) => {
    await page.waitForFunction(() =>
      document.getElementById('lens-in-use').textContent.startsWith('In use:'));
    const inUse = await page.textContent('#lens-in-use');
    check(inUse.includes('18-70mm') && /fit error|exact/.test(inUse),
      `the lens in use is shown with its fit error (${inUse})`);
    check(await page.isHidden('#camera-row'), 'a known camera needs no camera picker');

    await page.fill('#lens-search', 'sigma 24-70');
    const shown = await page.$$eval('#lens-list option', (os) => os.map((o) => o.value));
    check(shown.length > 0 && shown.every((n) => /sigma/i.test(n) && n.includes('24-70')),
      `typing narrows the list to the matching lenses (${shown.join('; ')})`);

    const name = shown[0];
    await page.press('#lens-search', 'Enter');
    await page.waitForFunction((n) =>
      document.getElementById('lens-in-use').dataset.lens === n, name);
    await settled(page);
    const want = autoSettings(d70, '--lens-model', name);
    const k1 = Number(await page.inputValue('#k1-number'));
    const zoom = Number(await page.inputValue('#scale-number'));
    check(k1 === Number(want.k1) && zoom === Number(want.zoom),
      `choosing ${name} applies the profile --lens-model gives (k1 ${k1} vs ${want.k1}, ` +
      `zoom ${zoom} vs ${want.zoom})`);

    await page.focus('#k2-range');
    await page.keyboard.press('Control+z');
    check(Number(await page.inputValue('#k1-number')) === 0,
      'Ctrl+Z takes the chosen profile back');
    await page.keyboard.press('Control+Shift+Z');
    check(Number(await page.inputValue('#k1-number')) === k1, 'Ctrl+Shift+Z brings it again');
    await settled(page);

    const saved = path.join(dir, 'chosen.txt');
    await page.fill('#settings-path', saved);
    await page.click('#save-settings');
    await page.waitForFunction(() =>
      document.getElementById('message').textContent.startsWith('Settings saved'));
    check(fs.readFileSync(saved, 'utf8').includes(`\nlens = ${name}\n`),
      'the saved settings name the chosen lens');
    const replayed = autoSettings(d70, '--settings', saved);
    check(replayed.k1 === want.k1, `--auto with the saved settings takes that lens (${replayed.k1})`);
  });

  // ---- a photo without EXIF: the camera first, then its lenses ----
  const bare = path.join(dir, 'bare.jpg');
  fs.copyFileSync(barePhoto, bare);
  await withEditor(bare, async (page) => {
    await page.waitForSelector('#camera-row:not([hidden])');
    await page.fill('#camera-search', 'nikon d70');
    // The list may still be filling when the search is typed (on a loaded
    // machine it was read empty): wait for it, then check what it holds.
    await page.waitForFunction(() =>
      [...document.querySelectorAll('#camera-list option')].some((o) => o.value === 'Nikon D70'),
    null, { timeout: 30_000 }).catch(() => {});
    const cameras = await page.$$eval('#camera-list option', (os) => os.map((o) => o.value));
    check(cameras.includes('Nikon D70'), `the camera list finds the Nikon D70 (${cameras.join('; ')})`);
    await page.selectOption('#camera-list', 'Nikon D70');
    await page.waitForFunction(() => document.querySelectorAll('#lens-list option').length > 0);
    const lenses = await page.$$eval('#lens-list option', (os) => os.map((o) => o.value));
    check(lenses.some((n) => n.includes('Nikkor')), `then its mount's lenses (${lenses.length})`);
  });

  // ---- a phone photo held upright: EXIF orientation 6 ----
  const phone = path.join(dir, 'phone.jpg');
  execFileSync('exiftool', ['-q', '-n', '-Orientation=6', '-o', phone, phonePhoto],
    { stdio: 'ignore' });
  await withEditor(phone, async (page) => {
    const shown = await page.evaluate(() => {
      const grab = (id) => {
        const c = document.getElementById(id);
        const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
        const rgb = [];
        for (let i = 0; i < d.length; i += 4) rgb.push(d[i], d[i + 1], d[i + 2]);
        return { width: c.width, height: c.height, rgb };
      };
      return { box: document.getElementById('after').dataset.box, after: grab('after') };
    });
    check(shown.after.height > shown.after.width,
      `the 1278x720 photo is shown upright, ${shown.after.width}x${shown.after.height}`);
    // The box asked for is the stored picture's; ortavel preview takes the
    // shown one.
    const [bw, bh] = shown.box.split('x');
    const previews = path.join(dir, 'previews');
    fs.mkdirSync(previews);
    run('preview', phone, '-o', previews, '--size', `${bh}x${bw}`, '-q');
    const want = decodePng(fs.readFileSync(path.join(previews, 'phone-corrected.png')));
    check(shown.after.width === want.width && shown.after.height === want.height &&
      Buffer.from(shown.after.rgb).equals(want.rgb),
    'the upright preview equals ortavel preview\'s, pixel for pixel');

    // Dragging the centre in the upright view. Turned 90 degrees clockwise,
    // the stored picture's top edge is the right edge on screen: a point a
    // quarter of the way down the centre column is stored at x = W/4, y = H/2
    // (centre x -0.5, y 0); one a quarter from the left edge, halfway down, is
    // stored at x = W/2, y = 3H/4 (centre x 0, y (0.5 H + 1) / (W - 1) = 0.283).
    const rect = await page.$eval('#after', (c) => {
      const r = c.getBoundingClientRect();
      return { x: r.left, y: r.top, w: r.width, h: r.height };
    });
    const marker = await page.$eval('#center-marker', (m) => {
      const r = m.getBoundingClientRect();
      return { x: r.left + r.width / 2, y: r.top + r.height / 2 };
    });
    check(Math.abs(marker.x - (rect.x + rect.w / 2)) < 2 &&
      Math.abs(marker.y - (rect.y + rect.h / 2)) < 2, 'the centre marker starts in the middle');
    const centre = async () => [Number(await page.inputValue('#centerX-number')),
      Number(await page.inputValue('#centerY-number'))];
    let from = marker;
    for (const [fx, fy, wantX, wantY] of [[0.5, 0.25, -0.5, 0], [0.25, 0.5, 0, 361 / 1277]]) {
      const to = { x: rect.x + fx * rect.w, y: rect.y + fy * rect.h };
      await page.mouse.move(from.x, from.y);
      await page.mouse.down();
      await page.mouse.move(to.x, to.y, { steps: 4 });
      await page.mouse.up();
      const [cx, cy] = await centre();
      check(Math.abs(cx - wantX) < 0.01 && Math.abs(cy - wantY) < 0.01,
        `dragged to ${fx},${fy} of the upright view: centre ${cx}, ${cy} (want ${wantX}, ${wantY.toFixed(3)})`);
      const at = await page.$eval('#center-marker', (m) => {
        const r = m.getBoundingClientRect();
        return { x: r.left + r.width / 2, y: r.top + r.height / 2 };
      });
      check(Math.abs(at.x - to.x) < 2 && Math.abs(at.y - to.y) < 2,
        `the marker stays where it was dropped (${at.x.toFixed(1)},${at.y.toFixed(1)})`);
      from = at;
    }
    // The arrow keys move it as shown: right on screen is up the stored rows.
    await page.focus('#center-marker');
    const [x0, y0] = await centre();
    await page.keyboard.press('ArrowRight');
    const [x1, y1] = await centre();
    check(x1 === x0 && y1 < y0, `ArrowRight moves the centre right on screen (${x0},${y0} -> ${x1},${y1})`);

    // The 1:1 view: full-resolution pixels of the correction, upright, moved
    // by dragging; each window equals that part of ortavel correct's file.
    await page.fill('#k1-number', '-0.2');
    await settled(page);
    await page.selectOption('#view-mode', 'loupe');
    const loupe = async () => page.waitForFunction(() => {
      const l = document.getElementById('loupe');
      return document.getElementById('preview-state').textContent === 'Up to date' &&
        l.dataset.rect !== undefined ? { rect: l.dataset.rect, settings: l.dataset.settings } : null;
    }, null, { timeout: 30_000 }).then((h) => h.jsonValue());
    const corrected = path.join(dir, 'corrected.png');
    run('correct', phone, corrected, '--k1', '-0.2', '--center',
      `${await page.inputValue('#centerX-number')},${await page.inputValue('#centerY-number')}`,
      '-q');
    const full = decodePng(fs.readFileSync(corrected));
    const sameAsFile = async (what) => {
      const got = await page.evaluate(() => {
        const c = document.getElementById('loupe');
        const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
        return { width: c.width, height: c.height, rect: c.dataset.rect, rgba: Array.from(d) };
      });
      const [rx, ry, rw, rh] = got.rect.split(',').map(Number);
      let same = got.width === rh && got.height === rw;  // turned a quarter
      // Shown (u, v) is the window's stored pixel (v, rh - 1 - u).
      for (let v = 0; same && v < got.height; ++v) {
        for (let u = 0; same && u < got.width; ++u) {
          const at = ((ry + rh - 1 - u) * full.width + rx + v) * 3;
          const i = (v * got.width + u) * 4;
          same = got.rgba[i] === full.rgb[at] && got.rgba[i + 1] === full.rgb[at + 1] &&
            got.rgba[i + 2] === full.rgb[at + 2];
        }
      }
      check(same, `${what}: the 1:1 window ${got.rect} (${got.width}x${got.height} shown) ` +
        'equals the corrected file there');
      return got.rect;
    };
    await loupe();
    const first = await sameAsFile('at first');
    const box = await page.$eval('#loupe', (c) => {
      const r = c.getBoundingClientRect();
      return { x: r.left + r.width / 2, y: r.top + r.height / 2 };
    });
    await page.mouse.move(box.x, box.y);
    await page.mouse.down();
    await page.mouse.move(box.x + 60, box.y + 40, { steps: 3 });
    await page.mouse.up();
    // Dragged right and down on screen, the picture follows the pointer: the
    // window goes left and up on screen. Turned 90 degrees clockwise, the
    // screen's up is the stored picture's left (x - 40) and the screen's left
    // its bottom (y + 60, as far as the picture reaches).
    const [fx, fy, fw, fh] = first.split(',').map(Number);
    const wanted = `${fx - 40},${Math.min(720 - fh, fy + 60)},${fw},${fh}`;
    const reached = await page.waitForFunction((r) =>
      document.getElementById('loupe').dataset.rect === r, wanted, { timeout: 10_000 })
      .then(() => true, () => false);
    const moved = await sameAsFile('dragged');
    check(reached, `dragging 60 right and 40 down moves the window to ${wanted} (${moved})`);
  });
} finally {
  await browser.close();
  fs.rmSync(dir, { recursive: true, force: true });
}
finish();
