'use strict';
// installer_controller and application as an installer UI uses them: each
// script in a fresh process on a private machine (host executable
// C:\Setup\setup.exe, the product package beside it), its results printed
// as JSON at the end, its trace file read back.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const path = require('path');
const { spawnSync } = require('child_process');
const { runChild, traceFiles, machineTool } = require('./child');
const { packageMachine } = require('./package_machine');
const { buildDir } = require('./addons');

const BETA = '{5B2D7E61-3C4A-4F8E-9A17-C6E0D2B48F35}';
const fixture = (name) => path.join(buildDir, 'tests', 'fixtures', `${name}.msi`);

// Runs `body` (which pushes to `out`) with tracing on; gives `out`, the
// texts of the trace file's lines and the child.
function ui(body, { machine = packageMachine('product'), conf = '', cwd, level = 700 } = {}) {
  const root = machine.env.INSTALLER_ORNEL_MACHINE;
  if (conf) fs.appendFileSync(path.join(root, 'machine.conf'), conf);
  const child = runChild(`
    const out = [], control = query('installer_controller'), app = query('application');
    const tracer = query('tracer_controller');
    tracer.setTraceLevel(${level});
    process.on('exit', () => console.log(JSON.stringify(out)));
    ${body}`, { env: machine.env, cwd, timeout: 60000 });
  assert.strictEqual(child.status, 0, child.stderr);
  const files = traceFiles(child.dir);
  const texts = files.length ? fs.readFileSync(path.join(child.dir, files[0]), 'utf8').split('\r\n')
    .filter(Boolean).map((line) => line.slice(9)) : [];
  return { out: JSON.parse(child.stdout.trim().split('\n').pop()), texts, child, root };
}

test('without a bootstrapper: no command line, no splash screen, the version once', () => {
  const { out, texts } = ui(`
    tracer.turnOnTraces();
    out.push(control.getCommandLine(), app.run(), control.hideSplashScreen(),
      control.getWindowsVersionProperty(), control.getWindowsVersionProperty());`, { level: 800 });
  const version = 'osMajorVer=10 osMinorVer=0 osBuildNumber=19045 osServicePackNumber=0 osEdition=256 osProductType=1';
  assert.deepStrictEqual(out, ['', true, 0, version, version]);
  assert.deepStrictEqual(texts.slice(0, 5), ['', 'bl\tApplication run', 'bl\t2', 'bl\tHide splash screen', version]);
  assert.strictEqual(texts.filter((t) => t === version).length, 1);
});

test('the host executable\'s directory', () => {
  for (const [exe, expected] of [['C:\\setup.exe', 'C:\\'], ['C:\\Setup\\setup.exe', 'C:\\Setup']]) {
    const { out } = ui('out.push(control.getCurrentPath());', { conf: `hostExecutable=${exe}\n` });
    assert.deepStrictEqual(out, [expected]);
  }
});

// The cached package of the registered beta, checked through a session on it.
function agreed(root) {
  const dir = path.join(root, 'drive_c', 'Windows', 'Installer');
  const cached = fs.readdirSync(dir).filter((name) => /\.msi$/i.test(name)).map((name) => path.join(dir, name));
  assert.strictEqual(cached.length, 1);
  return machineTool(root, 'condition', cached[0], 'AGREETOEULA = "1"').out;
}

test('fixBeta adds AGREETOEULA=1 once to the installed beta\'s cached package', () => {
  const machine = packageMachine('product');
  const root = machine.env.INSTALLER_ORNEL_MACHINE;
  assert.deepStrictEqual(ui('out.push(control.fixBeta());', { machine }).out, [1605]);
  assert.strictEqual(machineTool(root, 'register', fixture('product'), '--product-code', BETA).status, 0);
  assert.strictEqual(agreed(root), 'false');
  const { out } = ui('out.push(control.fixBeta(), control.fixBeta());', { machine });
  assert.strictEqual(out[0], 0);
  assert.notStrictEqual(out[1], 0);
  assert.strictEqual(agreed(root), 'true');
  machine.remove();
});

test('join releases the package and the setup state, which come back when used', () => {
  const { out, texts } = ui(`
    tracer.turnOnTraces();
    const info = query('msi_product_info'), setup = query('msi_setup_manager');
    out.push(app.join(), info.getProductName(), app.join(), app.join(), info.getProductName());
    setup.runPreinstallTask('', { progressChanged() {}, completed: (code) => out.push(code) });`);
  assert.strictEqual(out.length, 6);
  assert.deepStrictEqual([out[0], out[2], out[3], out[5]], [true, true, true, 0]);
  assert.strictEqual(out[1], out[4]);
  assert.strictEqual(texts.filter((t) => t === 'bl\tApplication join').length, 3);
});

test('every method in its asynchronous form', () => {
  const { out } = ui(`
    const methods = ['getCommandLine', 'getWindowsVersionProperty', 'getCurrentPath', 'fixBeta', 'hideSplashScreen'];
    for (const name of methods) control[name]((result) => out.push([name, result]));
    for (const name of ['run', 'join']) app[name]((result) => out.push([name, result]));`);
  assert.deepStrictEqual(Object.fromEntries(out), {
    getCommandLine: '', getWindowsVersionProperty: 'osMajorVer=10 osMinorVer=0 osBuildNumber=19045 osServicePackNumber=0 osEdition=256 osProductType=1',
    getCurrentPath: 'C:\\Setup', fixBeta: 1605, hideSplashScreen: 0, run: true, join: true,
  });
});

const MAPPING = 'Local\\E2974B1D-08C3-4A6E-B5F1-7D2C9E430A86';

// A machine whose bootstrapper left `commandLine` in its mapping.
function withCommandLine(commandLine) {
  const machine = packageMachine('product');
  const root = machine.env.INSTALLER_ORNEL_MACHINE;
  assert.strictEqual(machineTool(root, 'mapping', 'create', MAPPING, commandLine).status, 0);
  return machine;
}

test('the command line: read afresh, at most 1024 units, traced at level 800 when short', () => {
  const long = 'x'.repeat(1100);
  const { out, texts } = ui('tracer.turnOnTraces(); out.push(control.getCommandLine(), control.getCommandLine());',
    { machine: withCommandLine('setup.exe /quiet'), level: 800 });
  assert.deepStrictEqual(out, ['setup.exe /quiet', 'setup.exe /quiet']);
  assert.deepStrictEqual(texts.slice(0, 2), ['setup.exe /quiet', 'setup.exe /quiet']);
  const cut = ui('tracer.turnOnTraces(); out.push(control.getCommandLine());', { machine: withCommandLine(long), level: 800 });
  assert.deepStrictEqual([cut.out, cut.texts], [['x'.repeat(1024)], ['tracer closed']]);
});

test('run opens the trace file in the first lower-case /log directory', () => {
  const cases = [
    ['/log "C:\\My Logs"', 'My Logs'], ['setup.exe /log C:\\Logs /quiet', 'Logs'], ['/LOG C:\\Logs', null],
    ['/log C:\\First /log C:\\Second', 'First'], ['/log "" /quiet', null],
  ];
  for (const [commandLine, directory] of cases) {
    const machine = withCommandLine(commandLine);
    const drive = path.join(machine.env.INSTALLER_ORNEL_MACHINE, 'drive_c');
    for (const name of ['My Logs', 'Logs', 'First', 'Second']) fs.mkdirSync(path.join(drive, name));
    const { out } = ui('out.push(app.run(), app.run());', { machine });
    assert.deepStrictEqual(out, [true, true]);
    const written = ['My Logs', 'Logs', 'First', 'Second'].filter((name) => traceFiles(path.join(drive, name)).length);
    assert.deepStrictEqual(written, directory ? [directory] : [], commandLine);
    if (directory) {
      const dir = path.join(drive, directory);
      const lines = fs.readFileSync(path.join(dir, traceFiles(dir)[0]), 'utf8').split('\r\n');
      assert.match(lines[0], /^\d\d:\d\d:\d\d\tbl\tApplication run$/);
    }
    machine.remove();
  }
});

test('reboot asks for a restart with the shutdown privilege, or gives the failing step\'s code', () => {
  const machine = packageMachine('product');
  const root = machine.env.INSTALLER_ORNEL_MACHINE;
  assert.deepStrictEqual(ui('out.push(control.reboot());', { machine }).out, [0]);
  const restarts = machineTool(root, 'restarts').out;
  assert.match(restarts, /0x00000006/);
  assert.match(restarts, /0x80000001/);
  // The machine cannot record the request: the restart step fails with ERROR_WRITE_FAULT.
  fs.rmSync(path.join(root, 'records'), { recursive: true, force: true });
  fs.writeFileSync(path.join(root, 'records'), '');
  assert.deepStrictEqual(ui('out.push(control.reboot());', { machine }).out, [29]);
  machine.remove();
});

// A current directory holding the product package with this WixShellExecTarget.
function shellTarget(target) {
  const dir = fs.mkdtempSync(path.join(require('os').tmpdir(), 'ornel-ui-'));
  const file = path.join(dir, 'brindle_installer.msi');
  fs.copyFileSync(fixture('product'), file);
  const insert = `INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('WixShellExecTarget', '${target}')`;
  const made = spawnSync(path.join(buildDir, 'tests', 'fixtures', 'msi_fixture'), [file, '-q', insert]);
  assert.strictEqual(made.status, 0, String(made.stderr));
  return dir;
}

test('startProduct: a short target, a missing file, no package', () => {
  const body = 'try { out.push(control.startProduct()); } catch (e) { out.push(e.message); }';
  const cases = [['[', 'invalid string position'], ['[#missing_product.exe]', 2]];
  for (const [target, expected] of cases) assert.deepStrictEqual(ui(body, { cwd: shellTarget(target) }).out, [expected]);
  assert.notStrictEqual(ui(body).out[0], 0);
});
