// `ortavel ui` end to end in Debian's chromium, headless, driven by
// Playwright: the page's preview must be the plug-in's own (equal pixels to
// `ortavel preview`), its saved settings must replay with `ortavel correct
// --settings`, its Correct must write the very file `ortavel correct` writes,
// and a request without the token must be refused.
//
//   node ui_e2e.mjs ORTAVEL PHOTO
// Exits 0 when every check holds; prints what failed otherwise.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { decodePng } from './png.mjs';
import { checks, launchChromium, startEditor } from './harness.mjs';

const { chromium } = await import('playwright-core').catch(() => {
  console.error('ui_e2e: playwright-core is not installed: run `npm ci` in tests/browser ' +
    '(make test does)');
  process.exit(1);
});

const [ortavel, sourcePhoto] = process.argv.slice(2);
if (!ortavel || !sourcePhoto) {
  console.error('usage: node ui_e2e.mjs ORTAVEL PHOTO');
  process.exit(2);
}
const { check, finish } = checks('ui_e2e');

const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ortavel-ui-e2e-'));
const photo = path.join(dir, 'photo.jpg');
fs.copyFileSync(sourcePhoto, photo);
const run = (...args) => execFileSync(ortavel, args, { stdio: ['ignore', 'pipe', 'inherit'] });

const editor = await startEditor(ortavel, photo);
const browser = await launchChromium(chromium);
try {
  const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  page.on('pageerror', (e) => check(false, `no script error on the page: ${e.message}`));
  await page.goto(editor.url);

  // The page's own state line says when the picture matches the controls.
  const settled = () => page.waitForFunction(() => {
    const after = document.getElementById('after');
    return document.getElementById('preview-state').textContent === 'Up to date' &&
      after.dataset.settings !== undefined;
  }, null, { timeout: 30_000 });
  await settled();

  // k1 typed into its field, the method chosen from its list.
  await page.fill('#k1-number', '-0.27');
  await page.selectOption('#method', 'lanczos8');
  await settled();
  const shown = await page.evaluate(() => {
    const grab = (id) => {
      const c = document.getElementById(id);
      const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
      const rgb = [];
      for (let i = 0; i < d.length; i += 4) rgb.push(d[i], d[i + 1], d[i + 2]);
      return { width: c.width, height: c.height, rgb };
    };
    const after = document.getElementById('after');
    return { box: after.dataset.box, settings: after.dataset.settings, after: grab('after'),
      before: grab('before') };
  });
  check(JSON.parse(shown.settings)[0] === -0.27 && JSON.parse(shown.settings)[6] === 'lanczos8',
    `the shown picture is for k1 -0.27 and lanczos8 (${shown.settings})`);

  const previews = path.join(dir, 'previews');
  fs.mkdirSync(previews);
  run('preview', photo, '-o', previews, '--size', shown.box, '--k1', '-0.27', '--method',
    'lanczos8', '-q');
  for (const [name, file] of [['after', 'photo-corrected.png'], ['before', 'photo-uncorrected.png']]) {
    const want = decodePng(fs.readFileSync(path.join(previews, file)));
    const got = shown[name];
    check(got.width === want.width && got.height === want.height &&
      Buffer.from(got.rgb).equals(want.rgb),
    `${name} preview (${got.width}x${got.height}) equals ortavel preview's ${file} ` +
      `(${want.width}x${want.height})`);
  }

  // Vignetting: this photo names no camera, so the box does not stay ticked
  // and the page says why, in the words of the command.
  await page.click('#vignetting');
  await page.waitForFunction(() => !document.getElementById('vignetting').disabled &&
    document.getElementById('message').textContent.startsWith('no lens profile'));
  check(!(await page.isChecked('#vignetting')), 'the vignetting box stays off without a profile');

  // Keyboard: a slider and the centre marker move with the arrow keys.
  await page.focus('#k2-range');
  await page.keyboard.press('ArrowRight');
  await page.focus('#center-marker');
  await page.keyboard.press('ArrowRight');
  await settled();
  check(await page.inputValue('#k2-number') === '0.001', 'ArrowRight on the k2 slider sets 0.001');
  check(await page.inputValue('#centerX-number') === '0.005',
    'ArrowRight on the centre marker moves the centre to x 0.005');

  // Undo and redo, one step per edit: Ctrl+Z takes back the marker's move,
  // then the k2 step; Ctrl+Shift+Z brings both back.
  const values = async () =>
    `${await page.inputValue('#k2-number')} ${await page.inputValue('#centerX-number')}`;
  await page.keyboard.press('Control+z');
  check(await values() === '0.001 0', `Ctrl+Z takes back the centre's move (${await values()})`);
  await page.keyboard.press('Control+z');
  check(await values() === '0 0', `a second Ctrl+Z takes back the k2 step (${await values()})`);
  await settled();
  const undone = await page.evaluate(() => document.getElementById('after').dataset.settings);
  check(JSON.parse(undone)[1] === 0 && JSON.parse(undone)[0] === -0.27,
    `the preview follows the undone settings (${undone})`);
  await page.keyboard.press('Control+Shift+Z');
  await page.keyboard.press('Control+Shift+Z');
  check(await values() === '0.001 0.005', `Ctrl+Shift+Z twice redoes both (${await values()})`);
  await page.keyboard.press('Control+Shift+Z');
  check(await values() === '0.001 0.005', 'nothing left to redo changes nothing');
  await settled();

  // Save settings, then replay them with the command.
  const lens = path.join(dir, 'lens.txt');
  await page.fill('#settings-path', lens);
  await page.click('#save-settings');
  await page.waitForFunction(() =>
    document.getElementById('message').textContent.startsWith('Settings saved'));
  const replay = path.join(dir, 'replay.jpg');
  run('correct', photo, replay, '--settings', lens, '-q');

  // Correct from the page, and the same from the command line.
  const fromPage = path.join(dir, 'page.jpg');
  await page.fill('#output-path', fromPage);
  await page.click('#correct');
  await page.waitForFunction(() =>
    document.getElementById('message').textContent.startsWith('Corrected photo written'),
  null, { timeout: 60_000 });
  const fromCommand = path.join(dir, 'command.jpg');
  run('correct', photo, fromCommand, '--k1', '-0.27', '--k2', '0.001', '--center', '0.005,0',
    '--method', 'lanczos8', '-q');
  const written = fs.readFileSync(fromPage);
  check(written.equals(fs.readFileSync(fromCommand)),
    'Correct writes the file ortavel correct writes, bit for bit');
  check(written.equals(fs.readFileSync(replay)),
    'the saved settings replay to the same file with ortavel correct --settings');
  check(await page.evaluate(() => document.getElementById('job-progress').value) === 1,
    'the progress bar ends full');

  // An existing file is replaced only when the user confirms.
  const before = fs.statSync(fromPage).mtimeMs;
  page.once('dialog', (d) => d.dismiss());
  await page.click('#correct');
  await page.waitForTimeout(500);
  check(fs.statSync(fromPage).mtimeMs === before, 'a refused confirmation leaves the file alone');

  // Fill at a strong barrel: the zoom is applied with a warning that it
  // folds the picture, and the zoom slider shows it rather than its end.
  await page.fill('#k1-number', '-0.6');
  await page.click('#fill');
  await page.waitForFunction(() =>
    document.getElementById('message').textContent.includes('folds the picture'));
  const zoom = await page.evaluate(() => ({
    number: Number(document.getElementById('scale-number').value),
    slider: Number(document.getElementById('scale-range').value),
    message: document.getElementById('message').textContent,
  }));
  check(zoom.number > 0 && zoom.number < 1 && Math.abs(zoom.slider - zoom.number) <= 0.0005,
    `Fill's zoom ${zoom.number} is shown by the slider too (${zoom.slider})`);
  check(/a k1 of -0\.\d+/.test(zoom.message), `the warning names a k1 that does not fold (${zoom.message})`);

  // Without the token nothing is answered, from the page or from outside it.
  const status = await page.evaluate(async () => (await fetch('/api/state')).status);
  check(status === 403, `a request from the page without the token gets 403 (${status})`);
  const outside = await fetch(`http://127.0.0.1:${editor.port}/api/state`);
  check(outside.status === 403, `a request from outside without the token gets 403 (${outside.status})`);
  const html = await fetch(`http://127.0.0.1:${editor.port}/`);
  check(html.status === 403, `the page itself needs the token (${html.status})`);
} finally {
  await browser.close();
  const code = await editor.stop();
  check(code === 0, `Ctrl-C stops the server cleanly (exit ${code})`);
  fs.rmSync(dir, { recursive: true, force: true });
}
finish();
