// Shared by the browser test and the latency benchmark: `ortavel ui` as a
// child process, and Debian's chromium as Playwright launches it here
// (headless, as root, with nothing reaching out to the network).
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

export const CHROMIUM = process.env.ORTAVEL_CHROMIUM ?? '/usr/bin/chromium';

export async function launchChromium(chromium) {
  if (!fs.existsSync(CHROMIUM)) {
    throw new Error(`${CHROMIUM} is missing: install Debian's chromium (scripts/ensure-deps browser)`);
  }
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'ortavel-chromium-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: CHROMIUM,
    headless: true,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--force-color-profile=srgb', '--disable-dev-shm-usage'],
  });
  return {
    newPage: (options) => context.newPage(options),
    close: async () => {
      await context.close();
      fs.rmSync(profile, { recursive: true, force: true });
    },
  };
}

// Starts `ortavel ui PHOTO --no-browser` on a free port and waits for the
// address it prints. stop() sends Ctrl-C and resolves to the exit code.
export function startEditor(ortavel, photo, extra = []) {
  const child = spawn(ortavel, ['ui', photo, '--no-browser', ...extra],
    { stdio: ['ignore', 'pipe', 'inherit'] });
  let exited = null;
  const exit = new Promise((resolve) => child.on('exit', (code) => {
    exited = code;
    resolve(code);
  }));
  return new Promise((resolve, reject) => {
    let out = '';
    const timer = setTimeout(() => reject(new Error('ortavel ui printed no address')), 60_000);
    child.stdout.on('data', (chunk) => {
      out += chunk;
      const m = out.match(/http:\/\/127\.0\.0\.1:(\d+)\/\?token=[0-9a-f]+/);
      if (m) {
        clearTimeout(timer);
        resolve({
          url: m[0],
          port: Number(m[1]),
          stop: async () => {
            if (exited === null) child.kill('SIGINT');
            return exit;
          },
        });
      }
    });
    exit.then((code) => reject(new Error(`ortavel ui ended with ${code} before serving`)));
  });
}

// A test script's checks: each printed as it is made, the failures counted
// for the exit code, and the whole run bounded in time, whatever hangs.
export function checks(name, limitMs = 240_000) {
  setTimeout(() => {
    console.error(`${name}: timed out`);
    process.exit(1);
  }, limitMs).unref();
  let failures = 0;
  return {
    check(ok, what) {
      console.log(`${ok ? 'ok  ' : 'FAIL'} ${what}`);
      if (!ok) failures += 1;
    },
    finish() {
      console.log(failures === 0 ? `${name}: all checks passed` : `${name}: ${failures} check(s) failed`);
      process.exit(failures === 0 ? 0 : 1);
    },
  };
}
