'use strict';
// The scenario tool's preinstall command: the add-on's pre-installation
// task on a package, its result code and the messages its handler got.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { buildDir } = require('./addons');
const { machineTool } = require('./child');

const fixture = path.join(buildDir, 'tests', 'fixtures', 'actions.msi');

test('preinstall runs the sequence up to LaunchConditions, then costing and validation', () => {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-preinstall-'));
  const messages = path.join(root, 'messages.json');
  const run = (...args) => machineTool(root, 'preinstall', fixture, ...args, '--messages', messages);
  const read = () => fs.readFileSync(messages, 'utf8').trim().split('\n').map((line) => JSON.parse(line));
  const starts = (list) => list.filter((m) => m.type === '0x08000000')
    .map((m) => m.text.replace(/^Action \d{1,2}:\d\d:\d\d: /, ''));

  const passed = run();
  assert.strictEqual(passed.out, '0', passed.err);
  assert.deepStrictEqual(starts(read()), ['FindRelatedProducts. ', 'AppSearch. ', 'LaunchConditions. ',
    'CostInitialize. ', 'FileCost. ', 'CostFinalize. ', 'InstallValidate. ']);

  const blocked = run('BLOCKED=1');
  assert.strictEqual(blocked.out, '1603', blocked.err);
  assert.deepStrictEqual(read().slice(-1), [{ type: '0x01000000', text: 'Blocked on ORNEL-PC' }]);
  fs.rmSync(root, { recursive: true, force: true });
});
