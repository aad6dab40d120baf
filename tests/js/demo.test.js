'use strict';
// npm start, the terminal installer, used as a person uses it: in a terminal
// (tmux, with keys sent and the screen read back), and without one, as in CI.
const test = require('node:test'), assert = require('node:assert'), { spawn, spawnSync } = require('child_process');
const fs = require('fs'), os = require('os'), path = require('path'), { snapshot } = require('./install_machine');

const REPO = path.join(__dirname, '..', '..'), START = path.join(REPO, 'examples', 'terminal-installer', 'start.js');

// Calls `read` every 200 ms until `check` gives something other than
// undefined, and returns that; fails after `seconds`.
async function until(what, read, check, seconds = 300) {
  let last;
  for (const end = Date.now() + seconds * 1000; Date.now() < end;) {
    last = read();
    const found = check(last);
    if (found !== undefined) return found;
    await new Promise((resolve) => setTimeout(resolve, 200));
  }
  assert.fail(`no ${what} after ${seconds} s; last seen:\n${last}`);
}

// The machine, less what changes while the UI runs whatever it does: the
// bootstrapper's kernel objects and the trace and MSI logs of C:\Setup\Logs.
const machineState = (root) => Object.fromEntries(Object.entries(snapshot(root))
  .filter(([name]) => !name.startsWith('kernel/') && !name.startsWith('drive_c/Setup/Logs/')));

test('in a terminal: Enter installs, the bar moves, c cancels, and the machine is as before', async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-demo-')), root = path.join(dir, 'machine');
  const socket = `ornel-demo-${process.pid}`;
  // The tmux server passes its own environment to the command, less the
  // sanitizer runtimes, which only the command gets.
  const env = { ...process.env };
  delete env.LD_PRELOAD;
  const preload = process.env.LD_PRELOAD ? ['-e', `LD_PRELOAD=${process.env.LD_PRELOAD}`] : [];
  const tmux = (...args) => spawnSync('tmux', ['-L', socket, ...args], { env, encoding: 'utf8' });
  const screen = () => tmux('capture-pane', '-p', '-t', 'demo').stdout || '';
  try {
    const started = tmux('-u', 'new-session', '-d', '-s', 'demo', '-x', '100', '-y', '32', '-c', REPO, ...preload,
      `npm start -- --root '${root}'; echo "npm start ended: $?"; sleep 600`);
    assert.strictEqual(started.status, 0, started.stderr);
    await until('Welcome screen', screen, (text) => (/Press Enter to install/.test(text) ? true : undefined));
    const before = machineState(root);
    tmux('send-keys', '-t', 'demo', 'Enter');
    // The installation's bar (the pre-installation check has one too).
    const percent = (text) => { const m = /Installing [^]*^\s*(\d+)% /m.exec(text); return m ? Number(m[1]) : undefined; };
    const first = await until('progress bar', screen, percent);
    await until('moving bar', screen, (text) => (percent(text) > first ? true : undefined));
    tmux('send-keys', '-t', 'demo', 'c');
    await until('cancelled state', screen, (text) => (text.includes('Installation cancelled (1602)') ? true : undefined));
    assert.deepStrictEqual(machineState(root), before);
  } finally {
    tmux('kill-server');
    fs.rmSync(dir, { recursive: true, force: true });
  }
});

test('without a terminal: install then uninstall, one line per progress event; the exit code says how it went', async () => {
  const cases = [
    { scenario: 'fresh', status: 0, lines: [/^install +\d+% forward/m, /^uninstall +\d+% forward/m, /is uninstalled \(0\)/] },
    // An older release registered under its own product code is upgraded.
    { scenario: 'older', status: 0, lines: [/same family: yes/, /is installed \(0\)/, /is uninstalled \(0\)/] },
    { scenario: 'old-windows', status: 1, lines: [/failed \(1603\)/, /VersionNT >= 603\s+Brindle Studio needs Windows 8\.1/] },
  ];
  for (const c of cases) {
    const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-demo-'));
    const child = spawn(process.execPath, [START, '--root', dir, '--scenario', c.scenario, '--tick-delay', '5'],
      { stdio: ['pipe', 'pipe', 'pipe'] });
    let out = '';
    child.stdout.on('data', (data) => { out += data; });
    child.stderr.on('data', (data) => { out += data; });
    const status = await new Promise((resolve) => child.on('exit', resolve));
    fs.rmSync(dir, { recursive: true, force: true });
    assert.strictEqual(status, c.status, out);
    assert.ok(out.startsWith(`Emulated machine: ${dir}\n`), out);
    for (const line of c.lines) assert.match(out, line);
  }
});
