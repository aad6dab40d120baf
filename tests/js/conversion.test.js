'use strict';
// Script values to native and back, through the test add-on's shapes: scalars, "value" boxes, records and arrays of
// records.
const test = require('node:test'), assert = require('node:assert'), { shapes, fails } = require('./addons');

const s = shapes().query('shapes');
const sample = (extra = {}) => ({ name: 'n', count: 1, delta: -2, flag: true, level: { label: 'l', amount: 3 }, ...extra });
const plain = (record) => JSON.parse(JSON.stringify(record));

test('each scalar conversion accepts only its own type', () => {
  const bad = [null, undefined, Symbol('x')];
  for (const v of [...bad, 1, 'true']) fails(() => s.fromBoolean(v), 'Failed to convert to Boolean type');
  for (const v of [...bad, true, '3']) fails(() => s.fromSigned(v), 'Failed to convert to Int32 type');
  for (const v of [...bad, false, '3']) fails(() => s.fromUnsigned(v), 'Failed to convert to UInt32 type');
  for (const v of [...bad, 7, true]) fails(() => s.echo(v), 'Failed to convert to String type');
  assert.deepStrictEqual([s.fromBoolean(true), s.fromBoolean(false)], [1, 0]);
});

test('numbers follow ToInt32 and ToUint32', () => {
  const cases = [[s.fromSigned, 3.9, 3], [s.fromSigned, -3.9, -3], [s.fromSigned, 4294967296, 0],
    [s.fromSigned, 2147483648, -2147483648], [s.fromSigned, NaN, 0], [s.fromSigned, -Infinity, 0],
    // -1 becomes 4294967295 natively and reaches script again as -1.
    [s.fromUnsigned, 4294967296, 0], [s.fromUnsigned, -1, -1]];
  for (const [method, input, expected] of cases) assert.strictEqual(method.call(s, input), expected, `${method.name}(${input})`);
  assert.strictEqual(s.bigUnsigned(), -1);
});

test('a "value" box stands for its content, any other object for the empty value', () => {
  assert.deepStrictEqual([s.fromSigned({ value: 7 }), s.fromSigned({ value: { value: 7 } }),
    s.fromSigned(Object.create({ value: 5 })), s.echo({ value: 'boxed' })], [7, 7, 5, 'boxed']);
  // Fresh objects each time: an empty {} receives the argument's value back after every call.
  const empties = () => [{}, [], () => 1, new Number(5), new String('text'), new Boolean(true)];
  for (const [method, expected] of [[s.fromSigned, 0], [s.fromUnsigned, 0], [s.fromBoolean, 0], [s.echo, '']]) {
    for (const empty of empties()) assert.strictEqual(method.call(s, empty), expected, method.name);
  }
  fails(() => s.fromSigned({ value: 'seven' }), 'Failed to convert to Int32 type');
  fails(() => s.fromBoolean({ value: null }), 'Failed to convert to Boolean type');
});

test('a box that contains itself fails instead of hanging', () => {
  const loop = {};
  fails(() => s.echo((loop.value = loop)), 'Failed to convert to String type');
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
  const texts = ['', 'a\0b\0', '日本語', '\u{1F600}', '\uD800 lone', 'x'.repeat(100000)];
  assert.deepStrictEqual(texts.map((text) => s.echo(text)), texts);
  assert.deepStrictEqual(s.split('a\uD83D\uDE00'), [['a', '\uD83D', '\uDE00']]);
});

test('an empty object receives scalar results in "value"', () => {
  const text = {}; const number = {}; const flag = {};
  s.setText(text); s.setNumber(number); s.setFlag(flag);
  assert.deepStrictEqual([text.value, number.value, flag.value], ['written', 42, true]);
  // Anything but an empty plain object is left alone.
  const [full, instance] = [{ other: 1 }, new (class Holder {})()];
  for (const target of [full, instance, []]) s.setText(target);
  assert.deepStrictEqual([full.value, instance.value], [undefined, undefined]);
  // Without a prototype an object still counts as plain.
  const bare = Object.create(null);
  assert.strictEqual((s.setText(bare), bare.value), 'written');
});

test('a record comes back in "value" and is read back through it', () => {
  const box = {};
  assert.strictEqual(s.touch(box), false, 'an empty object is a default record');
  assert.deepStrictEqual(plain(box.value), { name: '!', count: 1, delta: 0, flag: false, level: { label: '+', amount: 0 } });
  const first = box.value;
  // The box is no longer empty: the record is read from it and nothing is written.
  s.touch(box);
  assert.deepStrictEqual([box.value === first, first.name], [true, '!']);
});

test('a record given field by field is read in order and left untouched', () => {
  const input = sample();
  assert.strictEqual(s.touch(input), true);
  assert.deepStrictEqual(input, sample());
  const order = [], traced = new Proxy(sample(), { get(target, key) { order.push(key); return target[key]; } });
  s.touch(traced);
  assert.deepStrictEqual(order.filter((k) => typeof k === 'string' && k !== 'value'),
    ['name', 'count', 'delta', 'flag', 'level']);
});

test('record fields fail with their own conversion messages', () => {
  // A class instance without own properties is not an empty plain object.
  const cases = [[5, 'specified'], ['x', 'specified'], [{ value: 5 }, 'specified'], [{ name: 'only' }, 'UInt32'],
    [sample({ name: 1 }), 'String'], [sample({ flag: 'yes' }), 'Boolean'], [sample({ level: 4 }), 'specified'],
    [sample({ level: { label: 'x' } }), 'UInt32'], [new (class Info {})(), 'String']];
  for (const [record, type] of cases) fails(() => s.touch(record), `Failed to convert to ${type} type`);
});

test('integer fields go -1 to 4294967295 and back to -1', () => {
  const list = [sample({ count: -1, delta: -1, level: { label: '', amount: -1 } })];
  s.threeSamples(list);
  // count was incremented natively from 4294967295 and wrapped to 0.
  assert.deepStrictEqual([list[0].count, list[0].delta, list[0].level.amount], [0, -1, 0]);
  const arr = [sample({ count: 4294967294 })];
  s.threeSamples(arr);
  assert.strictEqual(arr[0].count, -1);
});

test('an array of records is rewritten in place, holes included', () => {
  const empty = [];
  assert.strictEqual(s.threeSamples(empty), 0);
  assert.deepStrictEqual(empty.map((r) => [r.level.amount, r.count]), [[0, 1], [1, 1], [2, 1]]);

  const ten = Array.from({ length: 10 }, () => sample());
  assert.deepStrictEqual([s.threeSamples(ten), ten.length, ten[0].count, ten[2].name], [10, 10, 2, 'n']);
  assert.deepStrictEqual([0, 1, 2, 3, 9].map((i) => i in ten), [true, true, true, false, false]);
});

test('arrays of records accept only arrays of convertible records', () => {
  for (const notArray of [{}, { value: [] }, 'x', null, undefined, 3]) {
    fails(() => s.threeSamples(notArray), 'Failed to convert to Array type');
  }
  const kept = [sample(), 'bad'];
  for (const list of [[sample(), 5], [sample(), undefined], kept]) {
    fails(() => s.threeSamples(list), 'Failed to convert to specified type');
  }
  assert.strictEqual(kept.length, 2, 'a failed call leaves the array as it was');
});

test('an array that grows while it is read is read to its new end', () => {
  const list = [sample()];
  Object.defineProperty(list, 0, { get() { if (list.length < 3) list.push(sample()); return sample(); }, configurable: true });
  assert.strictEqual(s.threeSamples(list), 2);
});

test('record objects carry their native copy and may be collected', () => {
  for (let i = 0; i < 20000; i++) s.touch({});
  const box = {};
  s.touch(box);
  assert.strictEqual(typeof Object.getPrototypeOf(box.value), 'object');
});
