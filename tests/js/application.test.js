'use strict';
// installer_controller and application in a UI process on a private machine with the product package.
const test = require('node:test'), assert = require('node:assert');
const fs = require('fs'), os = require('os'), path = require('path'), { spawnSync } = require('child_process');
const { traceFiles, machineTool } = require('./child');
const { packageMachine } = require('./package_machine'), { buildDir } = require('./addons');

const REPO = path.join(__dirname, '..', '..'), BOOTSTRAPPER = path.join(REPO, 'tools', 'bootstrapper.js');
const PRODUCT = path.join(buildDir, 'tests', 'fixtures', 'product.msi');
const VERSION = 'osMajorVer=10 osMinorVer=0 osBuildNumber=19045 osServicePackNumber=0 osEdition=256 osProductType=1';

// Runs `body` (results pushed to `out`; `on()` traces) after `setup(root)`, through the bootstrapper given `commandLine`.
function ui(body, { setup = () => {}, cwd, level = 700, machine = packageMachine('product'), commandLine } = {}) {
  const root = machine.env.INSTALLER_ORNEL_MACHINE, dir = cwd || fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-ui-'));
  setup(root);
  const script = `const { query } = require(${JSON.stringify(REPO)});
    const out = [], control = query('installer_controller'), app = query('application');
    const tracer = query('tracer_controller'), on = () => tracer.turnOnTraces();
    tracer.setTraceLevel(${level}); process.on('exit', () => console.log(JSON.stringify(out)));
    ${body}`;
  const boot = commandLine === undefined ? [] : [BOOTSTRAPPER, '--root', root, '--command-line', commandLine, '--', process.execPath];
  const child = spawnSync(process.execPath, [...boot, '-e', script], { cwd: dir, env: machine.env, encoding: 'utf8', timeout: 60000 });
  assert.strictEqual(child.status, 0, child.stderr);
  const lines = traceFiles(dir).flatMap((f) => fs.readFileSync(path.join(dir, f), 'utf8').split('\r\n').slice(0, -1));
  const printed = child.stdout.trim().split('\n');
  return { out: JSON.parse(printed.find((l) => l.startsWith('['))), texts: lines.map((l) => l.slice(9)), printed };
}

test('without a bootstrapper; the version computed and traced once under concurrent first calls', () => {
  const { out, texts } = ui(`on(); out.push(control.getCommandLine(), app.run(), control.hideSplashScreen());
    for (let i = 0; i < 4; i++) control.getWindowsVersionProperty((text) => out.push(text));`, { level: 800 });
  assert.deepStrictEqual(out, ['', true, 0, VERSION, VERSION, VERSION, VERSION]);
  assert.deepStrictEqual(texts, ['', 'bl\tApplication run', 'bl\t2', 'bl\tHide splash screen', VERSION, 'tracer closed']);
  const conf = (exe) => (root) => fs.appendFileSync(path.join(root, 'machine.conf'), `hostExecutable=${exe}\n`);
  const directory = (exe) => ui('out.push(control.getCurrentPath());', { setup: conf(exe) }).out[0];
  assert.deepStrictEqual(['C:\\setup.exe', 'C:\\Setup\\setup.exe'].map(directory), ['C:\\', 'C:\\Setup']);
});

test('through the bootstrapper: the command line (at most 1024 units), the splash screen, /log', () => {
  const machine = packageMachine('product'), root = machine.env.INSTALLER_ORNEL_MACHINE;
  const body = 'on(); out.push(control.getCommandLine(), control.hideSplashScreen());';
  const { out, texts, printed } = ui(body, { machine, level: 800, commandLine: 'setup.exe /quiet' });
  assert.deepStrictEqual(out, ['setup.exe /quiet', 0]);
  assert.deepStrictEqual(texts.slice(0, 4), ['setup.exe /quiet', 'bl\t0', 'bl\tSet gui event1', 'bl\tHide splash screen']);
  assert.ok(printed.includes('splash screen hidden'));
  const long = ui(body, { machine, level: 800, commandLine: 'x'.repeat(1100) });  // no zero within 2048 bytes
  assert.deepStrictEqual([long.out[0], long.texts[0]], ['x'.repeat(1024), 'bl\t0']);  // too long to trace below 1000
  // run: the first switch names the trace file's directory (the switch's cases: log_paths_test.cc).
  const logs = path.join(root, 'drive_c', 'My Logs');
  fs.mkdirSync(logs);  // run opens no directory itself
  assert.deepStrictEqual(ui('out.push(app.run(), app.run());', { machine, commandLine: '/log "C:\\My Logs" /log C:\\' }).out, [true, true]);
  assert.match(fs.readFileSync(path.join(logs, traceFiles(logs)[0]), 'utf8'), /^\d\d:\d\d:\d\d\tbl\tApplication run\r\n/);
  machine.remove();
});

test('fixBeta adds AGREETOEULA=1 once to the installed beta\'s cached package; 1605 when not installed', () => {
  const machine = packageMachine('product'), root = machine.env.INSTALLER_ORNEL_MACHINE;
  const cache = path.join(root, 'drive_c', 'Windows', 'Installer'), cached = () => path.join(cache, fs.readdirSync(cache)[0]);
  const agreed = () => machineTool(root, 'condition', cached(), 'AGREETOEULA = "1"').out;  // a session: still a valid package
  assert.deepStrictEqual(ui('out.push(control.fixBeta());', { machine }).out, [1605]);
  machineTool(root, 'register', PRODUCT, '--product-code', '{5B2D7E61-3C4A-4F8E-9A17-C6E0D2B48F35}');
  assert.strictEqual(agreed(), 'false');
  const { out } = ui('out.push(control.fixBeta(), control.fixBeta());', { machine });  // the second insert fails
  assert.deepStrictEqual([out, agreed()], [[0, 1627], 'true']);
  machine.remove();
});

test('join twice, then the services work again; every method in its asynchronous form', () => {
  const { out, texts } = ui(`on(); const info = query('msi_product_info'), setup = query('msi_setup_manager');
    out.push(app.join(), info.getProductName(), app.join(), app.join(), info.getProductName());
    setup.runPreinstallTask('', { progressChanged() {}, completed: (code) => out.push(code) });
    for (const name of ['getCommandLine', 'getCurrentPath', 'fixBeta', 'hideSplashScreen', 'startProduct', 'run', 'join'])
      (control[name] ? control : app)[name]((result) => out.push([name, result]));`);
  assert.deepStrictEqual([out[0], out[1] === out[4], out[2], out[3]], [true, true, true, true]);
  assert.deepStrictEqual(Object.fromEntries(out.slice(5).filter(Array.isArray)), { getCommandLine: '',
    getCurrentPath: 'C:\\Setup', fixBeta: 1605, hideSplashScreen: 0, startProduct: 110, run: true, join: true });
  assert.ok(out.includes(0) && texts.filter((t) => t === 'bl\tApplication join').length === 4);
});

test('reboot records the restart or gives the failing step\'s code; startProduct\'s target', () => {
  const machine = packageMachine('product'), root = machine.env.INSTALLER_ORNEL_MACHINE;
  assert.deepStrictEqual([ui('out.push(control.reboot());', { machine }).out, /0x00000006.*0x80000001/.test(machineTool(root, 'restarts').out)], [[0], true]);
  const unrecordable = () => fs.rmSync(path.join(root, 'records'), { recursive: true }) || fs.writeFileSync(path.join(root, 'records'), '');
  assert.deepStrictEqual(ui('control.reboot((code) => out.push(code));', { machine, setup: unrecordable }).out, [29]);
  // A standard user of a server lacks the shutdown right: the restart step fails with 1314.
  const serverUser = (r) => fs.appendFileSync(path.join(r, 'machine.conf'), 'userIsAdmin=0\nwindowsProductType=3\n');
  assert.deepStrictEqual(ui('out.push(control.reboot());', { setup: serverUser }).out, [1314]);
  for (const [target, expected] of [['[', 'invalid string position'], ['[#missing_product.exe]', 2]]) {
    const cwd = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-ui-')), msi = path.join(cwd, 'brindle_installer.msi');
    fs.copyFileSync(PRODUCT, msi);
    const fixture = spawnSync(path.join(buildDir, 'tools', 'msi_fixture'), [msi, '-q', `INSERT INTO Property (Property, Value) VALUES ('WixShellExecTarget', '${target}')`]);
    assert.strictEqual(fixture.status, 0, String(fixture.error || fixture.stderr));
    assert.deepStrictEqual(ui('try { out.push(control.startProduct()); } catch (e) { out.push(e.message); }', { cwd }).out, [expected]);
  }
  machine.remove();
});

test('startProduct runs the installed product\'s script in its install directory', async () => {
  const machine = packageMachine('launcher'), root = machine.env.INSTALLER_ORNEL_MACHINE;
  const cwd = path.join(root, 'drive_c', 'Setup'), installed = path.join(root, 'drive_c', 'Program Files', 'Ornel Launcher');
  assert.strictEqual(machineTool(root, 'install', path.join(cwd, 'brindle_installer.msi')).out, '0');
  assert.deepStrictEqual(ui('out.push(control.startProduct());', { machine, cwd }).out, [0]);
  const started = path.join(installed, 'started.txt');  // the script runs detached
  for (let i = 0; i < 100 && !fs.existsSync(started); i++) await new Promise((r) => setTimeout(r, 50));
  assert.strictEqual(fs.readFileSync(started, 'utf8').trim(), installed);
  machine.remove();
});
