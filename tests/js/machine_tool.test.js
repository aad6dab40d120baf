'use strict';
// The scenario tool, as a script author sets up a machine with it.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { buildDir } = require('./addons');
const { machineTool: machine } = require('./child');

const fixture = path.join(buildDir, 'tests', 'fixtures', 'product.msi');

test('a package registered as installed, listed, and removed again', () => {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-tool-'));
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
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-tool-'));
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
