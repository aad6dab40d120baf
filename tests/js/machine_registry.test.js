'use strict';
// The scenario tool's registry command: what a scenario seeds, read back.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { machineTool: machine } = require('./child');

test('values of each type set, read back and deleted', () => {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-registry-'));
  const key = 'HKLM\\Software\\Maker\\Product';
  const values = [
    [['Dir', 'C:\\Apps\\'], 'C:\\Apps\\', 'REG_SZ'],
    [['Build', '0x10', '--type', 'REG_DWORD'], '16', 'REG_DWORD'],
    [['Big', '4294967296', '--type', 'REG_QWORD'], '4294967296', 'REG_QWORD'],
    [['Paths', 'a', 'b', '--type', 'REG_MULTI_SZ'], 'a\nb', 'REG_MULTI_SZ'],
    [['Blob', '00ff', '--type', 'REG_BINARY'], '00ff', 'REG_BINARY'],
    [['', 'default'], 'default', 'REG_SZ'],
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
});

test('mistakes change nothing', () => {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-registry-'));
  assert.match(machine(root, 'registry', 'set', 'HKXX\\Software', 'a', 'b').err, /not a registry key/);
  assert.match(machine(root, 'registry', 'set', 'HKLM\\A', 'n', '-1', '--type', 'REG_DWORD').err, /not a number/);
  assert.match(machine(root, 'registry', 'set', 'HKLM\\A', 'n', 'x', '--type', 'REG_LINK').err, /unknown type/);
  assert.strictEqual(machine(root, 'registry', 'get', 'HKLM\\A').status, 1);
});
