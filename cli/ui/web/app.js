// The editor's page: controls for the correction settings, the plug-in's
// previews drawn as they come, and the requests that save and correct.
//
// Previews: every change marks the shown picture stale and, after a short
// pause, asks for the corrected preview of the settings as they are then.
// One request is in flight at a time; when it returns and the settings have
// changed meanwhile, the newest settings are asked for at once, so a newer
// request supersedes the older ones still to be made. The corrected canvas
// records the settings it was made for (data-settings) and the state line
// says "Up to date" only when they are the ones the controls show.

const token = new URLSearchParams(location.search).get('token') ?? '';
const $ = (id) => document.getElementById(id);

const NUMBERS = ['k1', 'k2', 'centerX', 'centerY', 'scale', 'radiusLimit'];
const SIDES = ['top', 'bottom', 'left', 'right'];
const DEBOUNCE_MS = 12;
const METHOD_LABELS = {
  bilinear: 'Bilinear', bicubic: 'Bicubic', lanczos6: 'Lanczos 6', lanczos8: 'Lanczos 8',
  lanczos12: 'Lanczos 12', 'test-align': 'Alignment test pattern',
};

const page = {
  photo: null,        // {name, width, height, ...}
  initial: null,      // the settings the command was started with
  settings: null,     // what the controls show
  drawnKey: null,     // settings key of the corrected picture on screen
  drawnBox: null,     // "WxH" box it was made for
  beforeBox: null,    // box of the uncorrected picture on screen
  failedKey: null,    // settings whose preview failed (not asked again)
  inFlight: false,
  timer: 0,
  correcting: false,
  vignetting: false,  // previews and the correction start from the photo without vignetting
  undo: [],           // settings before each edit, newest last (Ctrl+Z)
  redo: [],           // settings undone, newest last (Ctrl+Shift+Z)
  committed: null,    // the settings as the last recorded edit left them
  editSource: null,   // the control of the edit not yet recorded
  lastSeen: null,     // the settings after that control's latest change
  editTimer: 0,
  loupe: { cx: null, cy: null, inFlight: false, again: false, timer: 0 },  // the 1:1 window
  shown: 1,           // the photo's EXIF orientation, 1..8, by which it is shown
  choice: { camera: null, lens: null },  // the picker's camera and lens (null: the photo's)
  lenses: [],         // the lenses that fit the camera
  cameras: [],        // every camera, fetched when the camera must be chosen
};

// ---- requests -------------------------------------------------------------

function url(path) {
  return `${path}?token=${encodeURIComponent(token)}`;
}

async function call(method, path, body) {
  const init = { method, headers: {} };
  if (body !== undefined) {
    init.headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(body);
  }
  const res = await fetch(url(path), init);
  const type = res.headers.get('Content-Type') ?? '';
  const data = type.startsWith('application/json') ? await res.json() : await res.arrayBuffer();
  return { status: res.status, ok: res.ok, data, headers: res.headers };
}

// ---- settings -------------------------------------------------------------

function settingsKey(s) {
  return JSON.stringify([s.k1, s.k2, s.centerX, s.centerY, s.radiusLimit, s.scale, s.method,
    s.orientation, s.margins.top, s.margins.bottom, s.margins.left, s.margins.right]);
}

function copySettings(s) {
  return { ...s, margins: { ...s.margins } };
}

// The values the lens model takes, as the server checks them: beyond these
// the number field is marked and nothing is sent.
const LIMITS = {
  k1: [-1e6, 1e6], k2: [-1e6, 1e6], centerX: [-1000, 1000], centerY: [-1000, 1000],
  scale: [1e-6, 1e6], radiusLimit: [0, Infinity],
};
// Each slider's own span, from the page; widened only to show a value that
// lies outside it (a zoom from Fill, a number typed), and narrowed back when
// the value returns, so that dragging stays fine-grained.
const SPANS = {};

function valid(key, v) {
  if (!Number.isFinite(v)) return false;
  const [lo, hi] = LIMITS[key];
  return v >= lo && v <= hi;
}

function fitSlider(key, v) {
  const range = $(`${key}-range`);
  SPANS[key] ??= [Number(range.min), Number(range.max)];
  const [lo, hi] = SPANS[key];
  range.min = String(Math.min(lo, v));
  range.max = String(Math.max(hi, v));
}

function showSettings(s) {
  for (const key of NUMBERS) {
    fitSlider(key, s[key]);
    $(`${key}-range`).value = String(s[key]);
    $(`${key}-number`).value = String(s[key]);
    $(`${key}-number`).removeAttribute('aria-invalid');
  }
  $('method').value = s.method;
  $('orientation').value = s.orientation;
  for (const side of SIDES) $(`margin-${side}`).value = String(s.margins[side]);
  placeMarker();
}

function applySettings(s, source) {
  page.settings = copySettings(s);
  showSettings(page.settings);
  settingsChanged(source);
}

// `source` names the control that made the change; none for undo and redo.
function settingsChanged(source) {
  placeMarker();
  schedulePreview();
  if (source) noteEdit(source);
}

// ---- undo and redo ------------------------------------------------------------
// One step per edit: a slider dragged or a number typed is one edit until
// another control is used or the control rests for a moment.

const EDIT_REST_MS = 600;

function noteEdit(source) {
  // Controls change the settings before they say so: another control's edit
  // ended with the settings as the last change left them.
  if (page.editSource !== null && page.editSource !== source) pushStep(page.lastSeen);
  page.editSource = source;
  page.lastSeen = copySettings(page.settings);
  clearTimeout(page.editTimer);
  page.editTimer = setTimeout(recordEdit, EDIT_REST_MS);
}

function pushStep(upTo) {
  if (settingsKey(upTo) === settingsKey(page.committed)) return;
  page.undo.push(page.committed);
  page.redo.length = 0;  // emptied in place: stepHistory may hold it
  page.committed = copySettings(upTo);
}

function recordEdit() {
  clearTimeout(page.editTimer);
  page.editSource = null;
  pushStep(page.settings);
}

function stepHistory(from, to) {
  recordEdit();
  if (from.length === 0) return;
  to.push(copySettings(page.settings));
  page.committed = from.pop();
  applySettings(page.committed);
}

const undo = () => stepHistory(page.undo, page.redo);
const redo = () => stepHistory(page.redo, page.undo);

function bindControls() {
  for (const key of NUMBERS) {
    const range = $(`${key}-range`);
    const number = $(`${key}-number`);
    // Shift with an arrow key: ten steps at once.
    range.addEventListener('keydown', (event) => {
      const sign = { ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1 }[event.key];
      if (!event.shiftKey || sign === undefined) return;
      event.preventDefault();
      const decimals = (range.step.split('.')[1] ?? '').length;
      const v = Math.min(Number(range.max), Math.max(Number(range.min),
        Number(range.value) + sign * 10 * Number(range.step)));
      range.value = v.toFixed(decimals);
      range.dispatchEvent(new Event('input', { bubbles: true }));
    });
    range.addEventListener('input', () => {
      page.settings[key] = Number(range.value);
      number.value = range.value;
      number.removeAttribute('aria-invalid');
      settingsChanged(key);
    });
    number.addEventListener('input', () => {
      const v = Number(number.value);
      if (number.value.trim() === '' || !valid(key, v)) {
        number.setAttribute('aria-invalid', 'true');
        return;
      }
      number.removeAttribute('aria-invalid');
      page.settings[key] = v;
      fitSlider(key, v);
      range.value = String(v);
      settingsChanged(key);
    });
  }
  for (const id of ['method', 'orientation']) {
    $(id).addEventListener('change', () => {
      page.settings[id] = $(id).value;
      settingsChanged(id);
    });
  }
  for (const side of SIDES) {
    const input = $(`margin-${side}`);
    input.addEventListener('input', () => {
      const v = Number(input.value);
      if (!Number.isInteger(v) || v < 0) {
        input.setAttribute('aria-invalid', 'true');
        return;
      }
      input.removeAttribute('aria-invalid');
      page.settings.margins[side] = v;
      settingsChanged(`margin-${side}`);
    });
  }
}

// ---- previews -------------------------------------------------------------

// The box the previews are fitted into: the space one picture has on screen,
// in device pixels, in steps of 16 so that small resizes ask for nothing.
function previewBox() {
  const viewer = $('viewer');
  const side = viewer.classList.contains('mode-side');
  const gap = 8;
  const caption = side ? 20 : 0;
  const cssW = side ? (viewer.clientWidth - gap) / 2 : viewer.clientWidth;
  const cssH = viewer.clientHeight - caption;
  const dpr = window.devicePixelRatio || 1;
  const step = (v) => Math.max(16, Math.floor((v * dpr) / 16) * 16);
  const w = Math.min(8192, step(cssW));
  const h = Math.min(8192, step(cssH));
  // The server fits the stored picture: a quarter turn shows it turned.
  return swapsSides() ? { width: h, height: w } : { width: w, height: h };
}

function setPreviewState(text, stale) {
  const el = $('preview-state');
  el.textContent = text;
  el.classList.toggle('stale', stale);
  // The corrected picture is not the one for the controls' settings yet.
  $('after-figure').setAttribute('aria-busy', String(stale));
}

// What a corrected preview depends on: the settings, and the photo it starts from.
function previewKey(settings) {
  return settingsKey(settings) + (page.vignetting ? '|vignetting' : '');
}

function schedulePreview() {
  if (page.settings === null) return;
  if (inLoupe()) {
    setPreviewState('Updating…', true);
    scheduleLoupe();
    return;
  }
  if (previewKey(page.settings) !== page.drawnKey) setPreviewState('Updating…', true);
  clearTimeout(page.timer);
  page.timer = setTimeout(pump, DEBOUNCE_MS);
}

class Busy extends Error {}

async function fetchPreview(settings, box, picture) {
  const r = await call('POST', '/api/preview',
    { settings, box, picture, vignetting: page.vignetting });
  if (r.ok) {
    return {
      width: Number(r.headers.get('X-Preview-Width')),
      height: Number(r.headers.get('X-Preview-Height')),
      rgb: new Uint8Array(r.data),
    };
  }
  if (r.data.superseded) return null;
  if (r.data.busy) {
    // Another page of this session is correcting: ask again later.
    setPreviewState('Paused while the photo is corrected', true);
    throw new Busy();
  }
  throw new Error(r.data.error ?? `preview failed (${r.status})`);
}

async function pump() {
  if (page.inFlight || page.correcting || page.settings === null || inLoupe()) return;
  const box = previewBox();
  const boxKey = `${box.width}x${box.height}`;
  const settings = copySettings(page.settings);
  const key = previewKey(settings);
  const needBefore = page.beforeBox !== boxKey;
  const needAfter = page.drawnKey !== key || page.drawnBox !== boxKey;
  if (!needBefore && !needAfter) {
    setPreviewState('Up to date', false);
    return;
  }
  if (key === page.failedKey && !needBefore) return;
  page.inFlight = true;
  try {
    if (needBefore) {
      const pic = await fetchPreview(settings, box, 'uncorrected');
      if (pic) {
        draw($('before'), pic);
        page.beforeBox = boxKey;
      }
    }
    if (needAfter) {
      const pic = await fetchPreview(settings, box, 'corrected');
      if (pic) {
        draw($('after'), pic);
        page.drawnKey = key;
        page.drawnBox = boxKey;
        page.failedKey = null;
        $('after').dataset.settings = settingsKey(settings);
        $('after').dataset.vignetting = String(page.vignetting);
        $('after').dataset.box = boxKey;
        placeMarker();
      }
    }
  } catch (e) {
    page.inFlight = false;
    if (e instanceof Busy) {
      setTimeout(pump, 1000);
      return;
    }
    page.failedKey = key;
    setPreviewState(`Preview failed: ${e.message}`, true);
    page.inFlight = false;
    return;
  }
  page.inFlight = false;
  if (page.correcting) return;
  if (previewKey(page.settings) !== page.drawnKey || previewBox().width !== box.width ||
      previewBox().height !== box.height) {
    pump();
  } else {
    setPreviewState('Up to date', false);
  }
}

// Draws the stored picture upright: each stored pixel where the photo's EXIF
// orientation shows it.
function draw(canvas, pic) {
  const turn = swapsSides();
  const w = turn ? pic.height : pic.width;
  const h = turn ? pic.width : pic.height;
  canvas.width = w;
  canvas.height = h;
  canvas.dataset.storedWidth = String(pic.width);
  canvas.dataset.storedHeight = String(pic.height);
  const ctx = canvas.getContext('2d');
  const image = ctx.createImageData(w, h);
  const out = new Uint32Array(image.data.buffer);
  const rgb = pic.rgb;
  const little = new Uint8Array(new Uint32Array([1]).buffer)[0] === 1;
  // Where the stored pixel (x, y) goes: start + x * dx + y * dy.
  const [u0, v0] = shownPixel(pic.width, pic.height, 0, 0);
  const [u1, v1] = shownPixel(pic.width, pic.height, 1, 0);
  const [u2, v2] = shownPixel(pic.width, pic.height, 0, 1);
  const start = v0 * w + u0;
  const dx = (v1 - v0) * w + (u1 - u0);
  const dy = (v2 - v0) * w + (u2 - u0);
  for (let y = 0, i = 0; y < pic.height; ++y) {
    for (let x = 0, j = start + y * dy; x < pic.width; ++x, i += 3, j += dx) {
      out[j] = little
        ? (0xff000000 | (rgb[i + 2] << 16) | (rgb[i + 1] << 8) | rgb[i]) >>> 0
        : ((rgb[i] << 24) | (rgb[i + 1] << 16) | (rgb[i + 2] << 8) | 0xff) >>> 0;
    }
  }
  ctx.putImageData(image, 0, 0);
  const dpr = window.devicePixelRatio || 1;
  canvas.style.width = `${w / dpr}px`;
  canvas.style.height = `${h / dpr}px`;
  drawGrid(canvas);
}

// ---- upright display --------------------------------------------------------
// The photo's EXIF orientation (1..8) turns what is shown; the settings, the
// optical centre included, stay in the stored picture's coordinates.

const swapsSides = () => page.shown >= 5 && page.shown <= 8;

// The stored pixel (x, y) of a w x h picture, as shown.
function shownPixel(w, h, x, y) {
  const xr = w - 1 - x;
  const yr = h - 1 - y;
  return [[x, y], [x, y], [xr, y], [xr, yr], [x, yr], [y, x], [yr, x], [yr, xr], [y, xr]][
    page.shown] ?? [x, y];
}

// A point of a w x h stored picture (in pixels from its top left corner) as
// shown, and back.
function toShown(w, h, x, y) {
  return [[x, y], [x, y], [w - x, y], [w - x, h - y], [x, h - y], [y, x], [h - y, x],
    [h - y, w - x], [y, w - x]][page.shown] ?? [x, y];
}

function fromShown(w, h, u, v) {
  return [[u, v], [u, v], [w - u, v], [w - u, h - v], [u, h - v], [v, u], [v, h - u],
    [w - v, h - u], [w - v, u]][page.shown] ?? [u, v];
}

// ---- grid -----------------------------------------------------------------

function drawGrid(picture) {
  const grid = picture.parentElement.querySelector('canvas.grid');
  const dpr = window.devicePixelRatio || 1;
  grid.width = picture.width;
  grid.height = picture.height;
  grid.style.width = picture.style.width;
  grid.style.height = picture.style.height;
  const ctx = grid.getContext('2d');
  ctx.clearRect(0, 0, grid.width, grid.height);
  const spacing = Number($('grid-spacing').value) * dpr;
  if (!$('grid-on').checked || !(spacing >= 4)) return;
  ctx.strokeStyle = 'rgba(255, 255, 255, 0.55)';
  ctx.lineWidth = 1;
  ctx.beginPath();
  const cx = grid.width / 2;
  const cy = grid.height / 2;
  for (let x = cx % spacing; x < grid.width; x += spacing) {
    ctx.moveTo(Math.round(x) + 0.5, 0);
    ctx.lineTo(Math.round(x) + 0.5, grid.height);
  }
  for (let y = cy % spacing; y < grid.height; y += spacing) {
    ctx.moveTo(0, Math.round(y) + 0.5);
    ctx.lineTo(grid.width, Math.round(y) + 0.5);
  }
  ctx.stroke();
}

function redrawGrids() {
  drawGrid($('before'));
  drawGrid($('after'));
}

// ---- optical centre ---------------------------------------------------------
// The centre as the lens model places it: offsets turned with the
// orientation, normalised by the reference side (width, or height for the
// turned orientations), and moved by the zoom.

const TURNS = [
  (x, y) => [x, y], (x, y) => [y, -x], (x, y) => [-x, -y], (x, y) => [-y, x],
  (x, y) => [-x, y], (x, y) => [-y, -x], (x, y) => [x, -y], (x, y) => [y, x],
];
const UNTURNS = [
  (a, b) => [a, b], (a, b) => [-b, a], (a, b) => [-a, -b], (a, b) => [b, -a],
  (a, b) => [-a, b], (a, b) => [-b, -a], (a, b) => [a, -b], (a, b) => [b, a],
];

function geometry() {
  const s = page.settings;
  const W = page.photo.width;
  const H = page.photo.height;
  const o = page.photo && page.orientations.indexOf(s.orientation);
  const D = o % 2 === 1 ? H : W;
  const canvas = $('after');
  const sw = Number(canvas.dataset.storedWidth ?? canvas.width);
  const sh = Number(canvas.dataset.storedHeight ?? canvas.height);
  const b = sw / (W + s.margins.left + s.margins.right);
  const css = canvas.clientWidth / canvas.width;
  return { s, W, H, o, D, b, css, sw, sh };
}

function placeMarker() {
  const marker = $('center-marker');
  if (!page.photo || $('after').width === 0) return;
  const { s, W, H, o, D, b, css, sw, sh } = geometry();
  const [cx, cy] = TURNS[o](s.centerX, s.centerY);
  const ox = ((W - 1) + cx * (D - 1) * s.scale) * 0.5;
  const oy = ((H - 1) + cy * (D - 1) * s.scale) * 0.5;
  const [u, v] = toShown(sw, sh, (ox + s.margins.left) * b, (oy + s.margins.top) * b);
  marker.style.left = `${u * css}px`;
  marker.style.top = `${v * css}px`;
  marker.setAttribute('aria-valuenow', String(s.centerX));
  marker.setAttribute('aria-valuetext', `x ${s.centerX.toFixed(3)}, y ${s.centerY.toFixed(3)}`);
}

function setCenter(cx, cy) {
  const { o } = geometry();
  const [x, y] = UNTURNS[o](cx, cy);
  const round = (v) => Math.round(Math.min(1, Math.max(-1, v)) * 10000) / 10000;
  page.settings.centerX = round(x) + 0;
  page.settings.centerY = round(y) + 0;
  showSettings(page.settings);
  settingsChanged('center');
}

function bindMarker() {
  const marker = $('center-marker');
  const move = (event) => {
    const { s, W, H, D, b, css, sw, sh } = geometry();
    const rect = $('after').getBoundingClientRect();
    const [x, y] = fromShown(sw, sh, (event.clientX - rect.left) / css,
      (event.clientY - rect.top) / css);
    const ox = x / b - s.margins.left;
    const oy = y / b - s.margins.top;
    setCenter((2 * ox - (W - 1)) / ((D - 1) * s.scale), (2 * oy - (H - 1)) / ((D - 1) * s.scale));
  };
  marker.addEventListener('pointerdown', (event) => {
    marker.setPointerCapture(event.pointerId);
    event.preventDefault();
  });
  marker.addEventListener('pointermove', (event) => {
    if (marker.hasPointerCapture(event.pointerId)) move(event);
  });
  marker.addEventListener('keydown', (event) => {
    const step = event.shiftKey ? 0.05 : 0.005;
    const moves = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step],
      ArrowDown: [0, step] };
    const shown = moves[event.key];
    if (!shown) return;
    event.preventDefault();
    // The arrow's direction on screen, in the stored picture.
    const d = fromShown(0, 0, shown[0], shown[1]);
    const { s, o } = geometry();
    const [cx, cy] = TURNS[o](s.centerX, s.centerY);
    setCenter(cx + d[0], cy + d[1]);
  });
}

// ---- 1:1 view ---------------------------------------------------------------
// The corrected photo at full resolution, one photo pixel to one screen
// pixel, in a window the user drags over it. The server makes the full-size
// correction once for each settings and cuts each window from it.

const inLoupe = () => $('viewer').classList.contains('mode-loupe');

// The corrected picture's size (margins included), in stored pixels.
function correctedSize() {
  const s = page.settings;
  return [page.photo.width + s.margins.left + s.margins.right,
    page.photo.height + s.margins.top + s.margins.bottom];
}

// The window in stored pixels: the viewer's size on screen (turned back
// when the photo is shown turned), about the loupe's centre, inside the picture.
function loupeRect() {
  const viewer = $('viewer');
  const dpr = window.devicePixelRatio || 1;
  const vw = Math.min(2048, Math.floor(viewer.clientWidth * dpr));
  const vh = Math.min(2048, Math.floor((viewer.clientHeight - 20) * dpr));
  const [cw, ch] = correctedSize();
  const w = Math.max(1, Math.min(cw, swapsSides() ? vh : vw));
  const h = Math.max(1, Math.min(ch, swapsSides() ? vw : vh));
  page.loupe.cx ??= cw / 2;
  page.loupe.cy ??= ch / 2;
  page.loupe.cx = Math.min(cw - w / 2, Math.max(w / 2, page.loupe.cx));
  page.loupe.cy = Math.min(ch - h / 2, Math.max(h / 2, page.loupe.cy));
  return { x: Math.round(page.loupe.cx - w / 2), y: Math.round(page.loupe.cy - h / 2),
    width: w, height: h };
}

function scheduleLoupe() {
  clearTimeout(page.loupe.timer);
  page.loupe.timer = setTimeout(fetchLoupe, DEBOUNCE_MS);
}

async function fetchLoupe() {
  if (!inLoupe() || page.correcting || page.settings === null) return;
  if (page.loupe.inFlight) {
    page.loupe.again = true;
    return;
  }
  page.loupe.inFlight = true;
  page.loupe.again = false;
  const settings = copySettings(page.settings);
  const rect = loupeRect();
  try {
    const r = await call('POST', '/api/crop', { settings, rect, vignetting: page.vignetting });
    if (r.ok) {
      draw($('loupe'), {
        width: Number(r.headers.get('X-Preview-Width')),
        height: Number(r.headers.get('X-Preview-Height')),
        rgb: new Uint8Array(r.data),
      });
      $('loupe').dataset.rect = `${rect.x},${rect.y},${rect.width},${rect.height}`;
      $('loupe').dataset.settings = settingsKey(settings);
      $('loupe-caption').textContent =
        `1:1 at x ${rect.x}, y ${rect.y} of the corrected photo: drag to move`;
      if (settingsKey(page.settings) === settingsKey(settings)) setPreviewState('Up to date', false);
    } else if (!r.data.superseded && !r.data.busy) {
      $('loupe-caption').textContent = `1:1 view failed: ${r.data.error}`;
    }
  } finally {
    page.loupe.inFlight = false;
  }
  if (page.loupe.again) fetchLoupe();
}

// Moves the window by (du, dv) screen pixels of the picture shown.
function panLoupe(du, dv) {
  const [dx, dy] = fromShown(0, 0, du, dv);
  loupeRect();
  page.loupe.cx += dx;
  page.loupe.cy += dy;
  fetchLoupe();
}

function bindLoupe() {
  const loupe = $('loupe');
  let last = null;
  loupe.addEventListener('pointerdown', (event) => {
    loupe.setPointerCapture(event.pointerId);
    last = [event.clientX, event.clientY];
    event.preventDefault();
  });
  loupe.addEventListener('pointermove', (event) => {
    if (last === null) return;
    const dpr = window.devicePixelRatio || 1;
    // The picture follows the pointer: the window moves the other way.
    panLoupe((last[0] - event.clientX) * dpr, (last[1] - event.clientY) * dpr);
    last = [event.clientX, event.clientY];
  });
  for (const end of ['pointerup', 'pointercancel']) {
    loupe.addEventListener(end, () => {
      last = null;
    });
  }
  loupe.addEventListener('keydown', (event) => {
    const step = event.shiftKey ? 400 : 50;
    const d = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step],
      ArrowDown: [0, step] }[event.key];
    if (!d) return;
    event.preventDefault();
    panLoupe(d[0], d[1]);
  });
}

// ---- view -----------------------------------------------------------------

function setView(mode) {
  const viewer = $('viewer');
  viewer.className = `mode-${mode}`;
  $('viewer-area').className = mode;
  $('show-before').setAttribute('aria-pressed', 'false');
  applySplit();
  schedulePreview();
}

function applySplit() {
  const split = $('viewer').classList.contains('mode-split');
  const p = Number($('split-position').value);
  $('after').parentElement.style.clipPath = split ? `inset(0 0 0 ${p}%)` : '';
  $('split-line').style.left = `${p}%`;
}

function toggleBefore() {
  const viewer = $('viewer');
  if (!viewer.classList.contains('mode-toggle')) return;
  const before = !viewer.classList.contains('before');
  viewer.classList.toggle('before', before);
  $('show-before').setAttribute('aria-pressed', String(before));
}

function bindView() {
  $('view-mode').addEventListener('change', () => setView($('view-mode').value));
  bindLoupe();
  $('split-position').addEventListener('input', applySplit);
  // In the split view, dragging across the picture moves the split.
  const dragSplit = (event) => {
    const rect = $('after').getBoundingClientRect();
    const p = Math.round(((event.clientX - rect.left) / rect.width) * 100);
    $('split-position').value = String(Math.min(100, Math.max(0, p)));
    applySplit();
  };
  $('viewer').addEventListener('pointerdown', (event) => {
    if (!$('viewer').classList.contains('mode-split')) return;
    event.currentTarget.setPointerCapture(event.pointerId);
    dragSplit(event);
  });
  $('viewer').addEventListener('pointermove', (event) => {
    if (event.currentTarget.hasPointerCapture(event.pointerId)) dragSplit(event);
  });
  $('show-before').addEventListener('click', toggleBefore);
  $('grid-on').addEventListener('change', redrawGrids);
  $('grid-spacing').addEventListener('input', redrawGrids);
  document.addEventListener('keydown', (event) => {
    const t = event.target;
    const typing = t instanceof HTMLInputElement && (t.type === 'text' || t.type === 'number');
    if ((event.key === 'b' || event.key === 'B') && !typing && !event.ctrlKey && !event.metaKey) {
      toggleBefore();
    }
    // Ctrl+Z / Ctrl+Shift+Z (Cmd on a Mac) step through the settings; a text
    // field (the paths) keeps its own undo.
    const textField = t instanceof HTMLInputElement && t.type === 'text';
    if ((event.ctrlKey || event.metaKey) && (event.key === 'z' || event.key === 'Z') &&
        !textField && page.settings !== null) {
      event.preventDefault();
      if (event.shiftKey) redo(); else undo();
    }
  });
  new ResizeObserver(() => {
    placeMarker();
    schedulePreview();
  }).observe($('viewer'));
}

// ---- saving and correcting ----------------------------------------------------

function say(text, error = false) {
  const el = $('message');
  el.textContent = text;
  el.classList.toggle('error', error);
}

// Sends a request that writes a file; when the file exists, asks the user
// before sending it again with overwrite set.
async function write(path, body) {
  let r = await call('POST', path, body);
  if (r.status === 409 && r.data.exists) {
    if (!window.confirm(`${r.data.path} exists. Replace it?`)) return null;
    r = await call('POST', path, { ...body, overwrite: true });
  }
  if (!r.ok) throw new Error(r.data.error ?? `request failed (${r.status})`);
  return r.data;
}

async function saveSettings() {
  try {
    const done = await write('/api/save-settings',
      { path: $('settings-path').value, settings: copySettings(page.settings) });
    if (done) say(`Settings saved to ${done.path}`);
  } catch (e) {
    say(e.message, true);
  }
}

function setCorrecting(on) {
  page.correcting = on;
  $('correct').disabled = on;
  $('cancel').disabled = !on;
  if (on) setPreviewState('Paused while the photo is corrected', true);
}

async function correct() {
  const quality = Number($('quality').value);
  try {
    const started = await write('/api/correct', {
      path: $('output-path').value,
      settings: copySettings(page.settings),
      quality: Number.isInteger(quality) ? quality : 95,
      vignetting: page.vignetting,
    });
    if (!started) return;
    setCorrecting(true);
    $('job-progress').value = 0;
    say(`Correcting into ${started.path}…`);
    followJob(started.id);
  } catch (e) {
    say(e.message, true);
  }
}

async function followJob(id) {
  const r = await call('GET', '/api/job');
  const job = r.data;
  if (job.id === id && job.state === 'running') {
    if (job.total > 0) $('job-progress').value = job.done / job.total;
    setTimeout(() => followJob(id), 150);
    return;
  }
  setCorrecting(false);
  if (job.state === 'done') {
    $('job-progress').value = 1;
    say(`Corrected photo written to ${job.path}${job.message ? `\n${job.message}` : ''}`);
  } else if (job.state === 'cancelled') {
    $('job-progress').value = 0;
    say('Cancelled; nothing was written.');
  } else {
    say(job.message || 'The correction failed.', true);
  }
  schedulePreview();
}

async function cancel() {
  await call('POST', '/api/job/cancel', {});
  say('Cancelling…');
}

// ---- profiles ---------------------------------------------------------------

// What the lens profile's answers say beyond the numbers, one item a line.
function showNotes(lines) {
  const list = $('profile-notes');
  list.replaceChildren(...lines.map((text) => {
    const item = document.createElement('li');
    item.textContent = text;
    return item;
  }));
}

// The checkbox asks the server to make the photo without its vignetting
// first; previews and the correction then start from that photo.
async function toggleVignetting() {
  const box = $('vignetting');
  if (box.checked) {
    box.disabled = true;
    const r = await call('POST', '/api/vignetting', {});
    box.disabled = false;
    if (!r.ok) {
      box.checked = false;
      say(r.data.error ?? 'no vignetting correction', true);
      return;
    }
    say(r.data.note);
  }
  page.vignetting = box.checked;
  page.beforeBox = null;  // the uncorrected picture changes too
  schedulePreview();
}

async function profile(path, apply, source) {
  const r = await call('POST', path, { settings: copySettings(page.settings) });
  if (!r.ok) {
    say(r.data.error ?? 'no answer', true);
    return;
  }
  apply(r.data);
  showSettings(page.settings);
  settingsChanged(source);
}

// ---- lens picker ------------------------------------------------------------
// The lenses of the camera's mount, filtered as the user types; choosing one
// asks the server to take it (as --lens-model) and applies its profile at
// once. Where the camera is unknown, the cameras first.

// Every word typed, in any order, case ignored.
function matches(name, text) {
  const lower = name.toLowerCase();
  return text.toLowerCase().split(/\s+/).filter((w) => w !== '').every((w) => lower.includes(w));
}

function fillList(list, items, text, label) {
  const shown = items.filter((it) => matches(it.name, text));
  list.replaceChildren(...shown.map((it) => new Option(label(it), it.name)));
  if (shown.length > 0) list.selectedIndex = -1;
}

function lensLabel(l) {
  const range = l.minFocal === l.maxFocal ? `${l.minFocal} mm` : `${l.minFocal}–${l.maxFocal} mm`;
  const notes = [l.calibrated ? '' : 'no distortion profile', l.coversFocal ? '' : 'other range']
    .filter((n) => n !== '');
  return notes.length ? `${l.name} (${range}; ${notes.join(', ')})` : `${l.name} (${range})`;
}

function showLenses() {
  fillList($('lens-list'), page.lenses, $('lens-search').value, lensLabel);
}

function showCameras() {
  fillList($('camera-list'), page.cameras.map((name) => ({ name })), $('camera-search').value,
    (c) => c.name);
}

// The profile in use, or why there is none.
function showInUse(profile, reason) {
  const el = $('lens-in-use');
  el.classList.toggle('none', !profile);
  if (profile) {
    const fit = profile.exact ? 'exact conversion' :
      `fit error ${Number(profile.fitErrorPx).toPrecision(3)} px`;
    el.textContent = `In use: ${profile.lens}, ${profile.focalLength} mm (${fit})`;
  } else {
    el.textContent = reason ? `No profile: ${reason}` : '';
  }
  el.dataset.lens = profile ? profile.lens : '';
}

async function loadLenses() {
  const r = await call('GET', '/api/lenses');
  if (!r.ok) {
    showInUse(null, r.data.error ?? 'the lens list is unavailable');
    return;
  }
  page.lenses = r.data.lenses;
  const unknown = r.data.camera === null;
  $('lens-search').placeholder = unknown ? 'Choose the camera first' :
    `Type to search the ${r.data.mount || 'camera'}'s lenses`;
  if (unknown || page.choice.camera !== null) await loadCameras();
  if (unknown) showInUse(null, r.data.reason);
  showLenses();
}

async function loadCameras() {
  $('camera-row').hidden = false;
  $('camera-list').hidden = false;
  if (page.cameras.length === 0) {
    const r = await call('GET', '/api/cameras');
    if (r.ok) page.cameras = r.data.cameras;
  }
  if (page.choice.camera !== null && $('camera-search').value === '') {
    $('camera-search').value = page.choice.camera;
  }
  showCameras();
}

// Takes a camera or lens (a name; null: the photo's own) and, when a profile
// follows, applies it as Auto does.
async function choose(names) {
  const r = await call('POST', '/api/lens', { ...names, settings: copySettings(page.settings) });
  if (!r.ok) {
    say(r.data.error ?? 'the choice was refused', true);
    return;
  }
  page.choice = r.data.choice;
  if (r.data.settings) {
    page.settings = copySettings(r.data.settings);
    showNotes(r.data.notes ?? []);
    showSettings(page.settings);
    settingsChanged('lens');
    recordEdit();
    say('');
  }
  showInUse(r.data.profile ?? null, r.data.reason);
  if ('camera' in names) await loadLenses();
}

function bindPicker() {
  $('lens-search').addEventListener('input', showLenses);
  $('camera-search').addEventListener('input', showCameras);
  // Enter in a search field takes the first match.
  const takeFirst = (search, list, key) => search.addEventListener('keydown', (event) => {
    if (event.key !== 'Enter') return;
    event.preventDefault();
    if (list.options.length > 0) choose({ [key]: list.options[0].value });
  });
  takeFirst($('lens-search'), $('lens-list'), 'lens');
  takeFirst($('camera-search'), $('camera-list'), 'camera');
  $('lens-list').addEventListener('change', () => {
    if ($('lens-list').value) choose({ lens: $('lens-list').value });
  });
  $('camera-list').addEventListener('change', () => {
    if ($('camera-list').value) choose({ camera: $('camera-list').value, lens: null });
  });
}

// ---- start ------------------------------------------------------------------

async function start() {
  const r = await call('GET', '/api/state');
  if (!r.ok) {
    say(r.data.error ?? 'cannot reach the server', true);
    return;
  }
  const st = r.data;
  page.photo = st.photo;
  page.shown = st.photo.orientation ?? 1;
  page.orientations = st.orientations;
  page.initial = st.settings;
  $('photo-name').textContent = `— ${st.photo.name}`;
  document.title = `Ortavel — ${st.photo.name}`;
  $('photo-size').textContent = `${st.photo.width} × ${st.photo.height}, ${st.photo.bits} bits` +
    (page.shown === 1 ? '' : `, shown upright (EXIF orientation ${page.shown})`);
  $('camera-make').textContent = st.camera.make ?? 'unknown';
  $('camera-model').textContent = st.camera.model ?? '';
  $('camera-lens').textContent = st.camera.lens ?? 'not recorded';
  $('camera-focal').textContent =
    st.camera.focalLength === null ? 'unknown' : `${st.camera.focalLength} mm`;
  for (const m of st.methods) $('method').add(new Option(METHOD_LABELS[m] ?? m, m));
  for (const o of st.orientations) $('orientation').add(new Option(o, o));
  $('output-path').value = st.suggested.output;
  $('settings-path').value = st.suggested.settings;
  for (const id of ['auto', 'fill']) {
    $(id).disabled = !st.profiles.available;
    if (!st.profiles.available) $(id).title = st.profiles.reason;
  }
  $('auto').addEventListener('click', () => profile('/api/auto', (d) => {
    page.settings = copySettings(d.settings);
    showNotes(d.notes ?? []);
    showInUse(d.profile ?? null);
  }, 'auto'));
  $('vignetting').disabled = !st.profiles.available;
  $('vignetting').addEventListener('change', toggleVignetting);
  $('fill').addEventListener('click', () => profile('/api/fill', (d) => {
    page.settings.scale = d.scale;
    // A zoom that folds the picture is still applied, for the user to see;
    // the warning says what would not fold.
    if (d.warning) {
      const k1 = d.strongestK1 === null ? '' :
        `; a k1 of ${d.strongestK1} (or nearer 0) would not`;
      say(`Fill: ${d.warning}${k1}.`, true);
    } else {
      say('');
    }
  }, 'fill'));
  $('reset').addEventListener('click', () => applySettings(page.initial, 'reset'));
  $('save-settings').addEventListener('click', saveSettings);
  $('correct').addEventListener('click', correct);
  $('cancel').addEventListener('click', cancel);
  bindControls();
  bindMarker();
  bindView();
  applySettings(page.initial);
  page.committed = copySettings(page.settings);
  page.choice = st.choice;
  if (st.profiles.available) {
    bindPicker();
    await loadLenses();
    // The profile Auto would take, shown but not applied.
    const a = await call('POST', '/api/auto', { settings: copySettings(page.settings) });
    if ($('lens-in-use').textContent === '') {
      showInUse(a.ok ? a.data.profile : null, a.ok ? '' : a.data.error);
    }
  } else {
    $('lens-picker').hidden = true;
  }
  const job = (await call('GET', '/api/job')).data;
  if (job.state === 'running') {
    setCorrecting(true);
    followJob(job.id);
  }
}

start();
