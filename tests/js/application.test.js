'use strict';
// installer_controller and application in a UI process on a private machine (host executable
// C:\Setup\setup.exe, the product package beside it): results printed as JSON, the trace file read back.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const path = require('path');
const { spawnSync } = require('child_process');
const { runChild, traceFiles, machineTool } = require('./child');
const { packageMachine } = require('./package_machine');
const { buildDir } = require('./addons');

const PRODUCT = path.join(buildDir, 'tests', 'fixtures', 'product.msi');
const VERSION = 'osMajorVer=10 osMinorVer=0 osBuildNumber=19045 osServicePackNumber=0 osEdition=256 osProductType=1';
const MAPPING = 'Local\\E2974B1D-08C3-4A6E-B5F1-7D2C9E430A86';
const SPLASH = 'Global\\Event_TOLV_C81E4F29-5D07-4B3A-8E62-0A9DB7F31C54';

// Runs `body`, which pushes its results to `out` (`on()` turns tracing on), after `setup(root)`.
function ui(body, { setup = () => {}, cwd, level = 700, machine = packageMachine('product') } = {}) {
  const root = machine.env.INSTALLER_ORNEL_MACHINE;
  setup(root);
  const child = runChild(`const out = [], control = query('installer_controller'), app = query('application');
    const tracer = query('tracer_controller'), on = () => tracer.turnOnTraces();
    tracer.setTraceLevel(${level}); process.on('exit', () => console.log(JSON.stringify(out)));
    ${body}`, { env: machine.env, cwd, timeout: 60000 });
  assert.strictEqual(child.status, 0, child.stderr);
  const [file] = traceFiles(child.dir);
  const lines = file ? fs.readFileSync(path.join(child.dir, file), 'utf8').split('\r\n').slice(0, -1) : [];
  return { out: JSON.parse(child.stdout.trim().split('\n').pop()), texts: lines.map((l) => l.slice(9)), root };
}

test('without a bootstrapper; the version computed and traced once under concurrent first calls', () => {
  const { out, texts } = ui(`on(); out.push(control.getCommandLine(), app.run(), control.hideSplashScreen());
    for (let i = 0; i < 4; i++) control.getWindowsVersionProperty((text) => out.push(text));`, { level: 800 });
  assert.deepStrictEqual(out, ['', true, 0, VERSION, VERSION, VERSION, VERSION]);
  assert.deepStrictEqual(texts, ['', 'bl\tApplication run', 'bl\t2', 'bl\tHide splash screen', VERSION, 'tracer closed']);
  for (const [exe, dir] of [['C:\\setup.exe', 'C:\\'], ['C:\\Setup\\setup.exe', 'C:\\Setup']]) {
    const conf = (root) => fs.appendFileSync(path.join(root, 'machine.conf'), `hostExecutable=${exe}\n`);
    assert.deepStrictEqual(ui('out.push(control.getCurrentPath());', { setup: conf }).out, [dir]);
  }
});

test('with the bootstrapper\'s objects: its command line (at most 1024 units) and the splash screen', () => {
  const machine = packageMachine('product');
  const objects = (text) => (root) => {
    machineTool(root, 'mapping', 'remove', MAPPING);
    assert.strictEqual(machineTool(root, 'mapping', 'create', MAPPING, text).status, 0);
    assert.strictEqual(machineTool(root, 'event', 'create', SPLASH).status, 0);
  };
  const body = 'on(); out.push(control.getCommandLine(), control.hideSplashScreen());';
  const { out, texts, root } = ui(body, { machine, level: 800, setup: objects('setup.exe /quiet') });
  assert.deepStrictEqual(out, ['setup.exe /quiet', 0]);
  assert.deepStrictEqual(texts.slice(0, 4), ['setup.exe /quiet', 'bl\t0', 'bl\tSet gui event1', 'bl\tHide splash screen']);
  assert.strictEqual(machineTool(root, 'event', 'wait', SPLASH, '0').status, 0);
  const long = ui(body, { machine, level: 800, setup: objects('x'.repeat(1100)) });  // no zero within 2048 bytes
  assert.deepStrictEqual([long.out[0], long.texts[0]], ['x'.repeat(1024), 'bl\t0']);  // too long to trace below 1000
  machine.remove();
});

test('run opens the trace file in the first lower-case /log directory, "Application run" first', () => {
  const cases = [['/log "C:\\My Logs"', 'My Logs'], ['setup.exe /log C:\\Logs /quiet', 'Logs'], ['/LOG C:\\Logs', null],
    ['/log C:\\First /log C:\\Second', 'First'], ['/log "" /quiet', null]];
  for (const [commandLine, expected] of cases) {
    const dirs = ['My Logs', 'Logs', 'First', 'Second'];
    const setup = (root) => {
      machineTool(root, 'mapping', 'create', MAPPING, commandLine);
      for (const name of dirs) fs.mkdirSync(path.join(root, 'drive_c', name));
    };
    const { out, root } = ui('out.push(app.run(), app.run());', { setup });
    const logs = dirs.map((name) => path.join(root, 'drive_c', name)).filter((dir) => traceFiles(dir).length);
    assert.deepStrictEqual([out, logs.map((dir) => path.basename(dir))], [[true, true], expected ? [expected] : []]);
    if (expected) assert.match(fs.readFileSync(path.join(logs[0], traceFiles(logs[0])[0]), 'utf8'), /^\d\d:\d\d:\d\d\tbl\tApplication run\r\n/);
  }
});

test('fixBeta adds AGREETOEULA=1 once to the installed beta\'s cached package; 1605 when not installed', () => {
  const machine = packageMachine('product');
  const root = machine.env.INSTALLER_ORNEL_MACHINE;
  const cache = path.join(root, 'drive_c', 'Windows', 'Installer');
  const agreed = () => machineTool(root, 'condition', path.join(cache, fs.readdirSync(cache)[0]), 'AGREETOEULA = "1"').out;
  assert.deepStrictEqual(ui('out.push(control.fixBeta());', { machine }).out, [1605]);
  machineTool(root, 'register', PRODUCT, '--product-code', '{5B2D7E61-3C4A-4F8E-9A17-C6E0D2B48F35}');
  assert.strictEqual(agreed(), 'false');
  const { out } = ui('out.push(control.fixBeta(), control.fixBeta());', { machine });
  assert.deepStrictEqual([out[0], out[1] !== 0, agreed()], [0, true, 'true']);
  machine.remove();
});

test('join twice, then the services work again; every method in its asynchronous form', () => {
  const { out, texts } = ui(`on(); const info = query('msi_product_info'), setup = query('msi_setup_manager');
    out.push(app.join(), info.getProductName(), app.join(), app.join(), info.getProductName());
    setup.runPreinstallTask('', { progressChanged() {}, completed: (code) => out.push(code) });
    for (const name of ['getCommandLine', 'getCurrentPath', 'fixBeta', 'hideSplashScreen', 'startProduct'])
      control[name]((result) => out.push([name, result]));
    for (const name of ['run', 'join']) app[name]((result) => out.push([name, result]));`);
  assert.deepStrictEqual([out[0], out[1] === out[4], out[2], out[3]], [true, true, true, true]);
  assert.deepStrictEqual(Object.fromEntries(out.slice(5).filter(Array.isArray)), { getCommandLine: '',
    getCurrentPath: 'C:\\Setup', fixBeta: 1605, hideSplashScreen: 0, startProduct: 110, run: true, join: true });
  assert.ok(out.includes(0) && texts.filter((t) => t === 'bl\tApplication join').length === 4);
});

test('reboot records the restart, or gives the failing step\'s code', () => {
  const machine = packageMachine('product');
  const { out, root } = ui('out.push(control.reboot());', { machine });
  assert.deepStrictEqual([out, machineTool(root, 'restarts').out.includes('0x00000006')], [[0], true]);
  const unrecordable = (r) => { fs.rmSync(path.join(r, 'records'), { recursive: true }); fs.writeFileSync(path.join(r, 'records'), ''); };
  assert.deepStrictEqual(ui('control.reboot((code) => out.push(code));', { machine, setup: unrecordable }).out, [29]);
  machine.remove();
});

test('startProduct: a target shorter than 2 characters, a missing file', () => {
  for (const [target, expected] of [['[', 'invalid string position'], ['[#missing_product.exe]', 2]]) {
    const cwd = fs.mkdtempSync(path.join(require('os').tmpdir(), 'ornel-ui-'));
    fs.copyFileSync(PRODUCT, path.join(cwd, 'brindle_installer.msi'));
    const sql = `INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('WixShellExecTarget', '${target}')`;
    assert.strictEqual(spawnSync(path.join(buildDir, 'tests', 'fixtures', 'msi_fixture'), [cwd + '/brindle_installer.msi', '-q', sql]).status, 0);
    const body = 'try { out.push(control.startProduct()); } catch (e) { out.push(e.message); }';
    assert.deepStrictEqual(ui(body, { cwd }).out, [expected]);
  }
});
