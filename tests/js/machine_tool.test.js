'use strict';
// The scenario tool, as a script author sets up a machine with it: products,
// events, conditions after costing, the registry and the pre-installation run.
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), os = require('os');
const path = require('path'), { buildDir } = require('./addons'), { machineTool: machine } = require('./child');

const fixtureOf = (name) => path.join(buildDir, 'tests', 'fixtures', `${name}.msi`), fixture = fixtureOf('product');
const freshRoot = () => fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-tool-'));

test('a package registered as installed, listed, and removed again', () => {
  const root = freshRoot();
  assert.strictEqual(machine(root, 'init').out, root);
  const registered = machine(root, 'register', fixture, '--version', '0.9.0', '--name', 'Beta',
    '--feature', 'Complete=absent');
  assert.strictEqual(registered.status, 0, registered.err);
  const code = registered.out;
  assert.match(code, /^\{[0-9A-F-]{36}\}$/);

  const listed = machine(root, 'list').out.split('\n');
  assert.match(listed[0], new RegExp(`^\\${code}\\tBeta\\t0\\.9\\.0\\tupgrade \\{.*\\}\\tpackage \\{.*\\}\\tC:\\\\Windows\\\\Installer\\\\[0-9a-f]{8}\\.msi$`));
  assert.ok(listed.includes('  feature Complete\tabsent'));
  const cached = listed[0].split('\t').pop().split('\\').pop();
  assert.ok(fs.existsSync(path.join(root, 'drive_c', 'Windows', 'Installer', cached)));

  assert.strictEqual(machine(root, 'unregister', code).status, 0);
  assert.strictEqual(machine(root, 'list').out, '');
  const again = machine(root, 'unregister', code);
  assert.strictEqual(again.status, 1);
  assert.match(again.err, /not installed/);
});

test('configuration, events and mistakes', () => {
  const root = freshRoot();
  assert.strictEqual(machine(root, 'config', 'hostExecutable', 'C:\\Setup\\setup.exe').status, 0);
  assert.strictEqual(fs.readFileSync(path.join(root, 'machine.conf'), 'utf8'), 'hostExecutable=C:\\Setup\\setup.exe\n');
  assert.strictEqual(machine(root, 'event', 'create', 'Global\\Ready').status, 0);
  assert.strictEqual(machine(root, 'event', 'set', 'Global\\Ready').status, 0);
  assert.strictEqual(fs.readFileSync(path.join(root, 'kernel', 'events', 'Ready'), 'utf8'), '1m');
  const missing = machine(root, 'event', 'set', 'Other');
  assert.deepStrictEqual([missing.status, missing.err], [1, 'machine: event Other: error 2']);
  assert.match(machine(root, 'register', path.join(root, 'none.msi')).err, /cannot open package .* \(error 110\)/);
  assert.match(machine(root, 'register', fixture, '--feature', 'X=on').err, /unknown feature state/);
  assert.match(machine(root, 'frobnicate').err, /unknown command/);
});


test('conditions over the machine, the properties set and the resolved directories', () => {
  const root = freshRoot();
  const expressions = ['VersionNT >= 600', 'VersionNT64', '', 'INSTALLLEVEL = 3', 'DocsDir >< "Documentation"'];
  const plain = machine(root, 'condition', fixtureOf('session'), '--set', 'INSTALLLEVEL=3', ...expressions);
  assert.strictEqual(plain.status, 0, plain.err);
  assert.deepStrictEqual(plain.out.split('\n'), ['true', 'false', 'none', 'true', 'true']);

  assert.strictEqual(machine(root, 'config', 'windows64Bit', '1').status, 0);
  assert.deepStrictEqual(machine(root, 'condition', fixtureOf('session'), 'VersionNT64').out, 'true');

  const missing = machine(root, 'condition', path.join(root, 'none.msi'), 'Installed');
  assert.deepStrictEqual([missing.status, missing.err], [1, `machine: cannot open package ${path.join(root, 'none.msi')} (error 1619)`]);
  fs.rmSync(root, { recursive: true, force: true });
});

test('registry values of each type set, read back and deleted; mistakes change nothing', () => {
  const root = freshRoot(), key = 'HKLM\\Software\\Maker\\Product';
  const values = [
    [['Dir', 'C:\\Apps\\'], 'C:\\Apps\\', 'REG_SZ'], [['Build', '0x10', '--type', 'REG_DWORD'], '16', 'REG_DWORD'],
    [['Big', '4294967296', '--type', 'REG_QWORD'], '4294967296', 'REG_QWORD'],
    [['Paths', 'a', 'b', '--type', 'REG_MULTI_SZ'], 'a\nb', 'REG_MULTI_SZ'],
    [['Blob', '00ff', '--type', 'REG_BINARY'], '00ff', 'REG_BINARY'], [['', 'default'], 'default', 'REG_SZ'],
  ];
  for (const [args, shown] of values) {
    assert.strictEqual(machine(root, 'registry', 'set', key, ...args).status, 0);
    assert.strictEqual(machine(root, 'registry', 'get', key.toLowerCase(), args[0].toUpperCase()).out, shown);
  }
  assert.strictEqual(machine(root, 'registry', 'set', `${key}\\Sub`).status, 0);
  const listed = machine(root, 'registry', 'get', key).out.split('\n');
  assert.deepStrictEqual(listed, [
    ...values.map(([args, shown, type]) => `${args[0] || '(Default)'}\t${type}\t${shown.replace('\n', '|')}`),
    'Sub\\',
  ]);

  assert.strictEqual(machine(root, 'registry', 'delete', key, 'Dir').status, 0);
  assert.match(machine(root, 'registry', 'get', key, 'Dir').err, /no such value/);
  assert.strictEqual(machine(root, 'registry', 'delete', 'HKLM\\Software\\Maker').status, 0);
  assert.strictEqual(machine(root, 'registry', 'get', key).status, 1);
  // Mistakes change nothing.
  assert.match(machine(root, 'registry', 'set', 'HKXX\\Software', 'a', 'b').err, /not a registry key/);
  assert.match(machine(root, 'registry', 'set', 'HKLM\\A', 'n', '-1', '--type', 'REG_DWORD').err, /not a number/);
  assert.match(machine(root, 'registry', 'set', 'HKLM\\A', 'n', 'x', '--type', 'REG_LINK').err, /unknown type/);
  assert.strictEqual(machine(root, 'registry', 'get', 'HKLM\\A').status, 1);
});

test('preinstall runs the sequence up to LaunchConditions, then costing and validation', () => {
  const root = freshRoot(), messages = path.join(root, 'messages.json');
  const read = () => fs.readFileSync(messages, 'utf8').trim().split('\n').map((line) => JSON.parse(line));
  const starts = (list) => list.filter((m) => m.type === '0x08000000')
    .map((m) => m.text.replace(/^Action \d{1,2}:\d\d:\d\d: /, ''));

  const passed = machine(root, 'preinstall', fixtureOf('actions'), '--messages', messages);
  assert.strictEqual(passed.out, '0', passed.err);
  assert.deepStrictEqual(starts(read()), ['FindRelatedProducts. ', 'AppSearch. ', 'LaunchConditions. ',
    'CostInitialize. ', 'FileCost. ', 'CostFinalize. ', 'InstallValidate. ']);

  // A false launch condition, its text and 1603: actions_test.cc and install.test.js.
  fs.rmSync(root, { recursive: true, force: true });
});
