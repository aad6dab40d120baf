'use strict';
// The scenario tool's condition command: a package's conditions evaluated
// on a configured machine after costing.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { buildDir } = require('./addons');
const { machineTool: machine } = require('./child');

const fixture = path.join(buildDir, 'tests', 'fixtures', 'session.msi');

test('conditions over the machine, the properties set and the resolved directories', () => {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-condition-'));
  const expressions = ['VersionNT >= 600', 'VersionNT64', '', 'INSTALLLEVEL = 3',
    'DocsDir = "C:\\Program Files\\Some Vendor\\Some App\\Documentation\\"'];
  const plain = machine(root, 'condition', fixture, '--set', 'INSTALLLEVEL=3', ...expressions);
  assert.strictEqual(plain.status, 0, plain.err);
  assert.deepStrictEqual(plain.out.split('\n'), ['true', 'false', 'none', 'true', 'true']);

  assert.strictEqual(machine(root, 'config', 'windows64Bit', '1').status, 0);
  assert.deepStrictEqual(machine(root, 'condition', fixture, 'VersionNT64').out, 'true');

  const missing = machine(root, 'condition', path.join(root, 'none.msi'), 'Installed');
  assert.deepStrictEqual([missing.status, missing.err], [1, `machine: cannot open package ${path.join(root, 'none.msi')} (error 1619)`]);
  fs.rmSync(root, { recursive: true, force: true });
});
