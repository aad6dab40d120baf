'use strict';
const test = require('node:test');
const assert = require('node:assert');
const { shapes } = require('./addons');

const s = shapes().query('shapes');
const fails = (fn, message) => assert.throws(fn, (e) => e instanceof Error && e.message === message);

test('each scalar conversion accepts only its own type', () => {
  const bad = [null, undefined, Symbol('x')];
  for (const v of [...bad, 1, 'true']) fails(() => s.fromBoolean(v), 'Failed to convert to Boolean type');
  for (const v of [...bad, true, '3']) fails(() => s.fromSigned(v), 'Failed to convert to Int32 type');
  for (const v of [...bad, false, '3']) fails(() => s.fromUnsigned(v), 'Failed to convert to UInt32 type');
  for (const v of [...bad, 7, true]) fails(() => s.echo(v), 'Failed to convert to String type');
  assert.strictEqual(s.fromBoolean(true), 1);
  assert.strictEqual(s.fromBoolean(false), 0);
});

test('numbers follow ToInt32 and ToUint32', () => {
  const cases = [[s.fromSigned, 3.9, 3], [s.fromSigned, -3.9, -3], [s.fromSigned, 4294967296, 0],
    [s.fromSigned, 2147483648, -2147483648], [s.fromSigned, NaN, 0], [s.fromSigned, -Infinity, 0],
    [s.fromUnsigned, 4294967296, 0],
    // -1 becomes 4294967295 natively and reaches script again as -1.
    [s.fromUnsigned, -1, -1]];
  for (const [method, input, expected] of cases) assert.strictEqual(method.call(s, input), expected, `${method.name}(${input})`);
  assert.strictEqual(s.bigUnsigned(), -1);
});

test('a "value" box stands for its content, any other object for the empty value', () => {
  assert.strictEqual(s.fromSigned({ value: 7 }), 7);
  assert.strictEqual(s.fromSigned({ value: { value: 7 } }), 7);
  assert.strictEqual(s.fromSigned(Object.create({ value: 5 })), 5);
  assert.strictEqual(s.echo({ value: 'boxed' }), 'boxed');
  // Fresh objects each time: an empty {} receives the argument's value
  // back after every call.
  const empties = () => [{}, [], () => 1, new Number(5), new String('text'), new Boolean(true)];
  for (const [method, expected] of [[s.fromSigned, 0], [s.fromUnsigned, 0], [s.fromBoolean, 0], [s.echo, '']]) {
    for (const empty of empties()) assert.strictEqual(method.call(s, empty), expected, method.name);
  }
  fails(() => s.fromSigned({ value: 'seven' }), 'Failed to convert to Int32 type');
  fails(() => s.fromBoolean({ value: null }), 'Failed to convert to Boolean type');
});

test('a box that contains itself fails instead of hanging', () => {
  const loop = {};
  loop.value = loop;
  fails(() => s.echo(loop), 'Failed to convert to String type');
  const endless = { get value() { return { get value() { return endless; } }; } };
  fails(() => s.fromSigned(endless), 'Failed to convert to Int32 type');
});

test('an exception thrown by a getter reaches the caller unchanged', () => {
  const boom = new RangeError('from the getter');
  assert.throws(() => s.echo({ get value() { throw boom; } }), (e) => e === boom);
  const trap = new Proxy({}, { has() { throw boom; } });
  assert.throws(() => s.fromSigned(trap), (e) => e === boom);
});

test('wide strings keep every UTF-16 unit', () => {
  assert.strictEqual(s.text(), 'a\0b');
  for (const text of ['', 'a\0b\0', '日本語', '\u{1F600}', '\uD800 lone', 'x'.repeat(100000)]) {
    assert.strictEqual(s.echo(text), text);
  }
  assert.deepStrictEqual(s.split('a\uD83D\uDE00'), [['a', '\uD83D', '\uDE00']]);
});
