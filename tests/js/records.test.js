'use strict';
const test = require('node:test');
const assert = require('node:assert');
const { shapes } = require('./addons');

const s = shapes().query('shapes');
const fails = (fn, message) => assert.throws(fn, (e) => e instanceof Error && e.message === message);
const sample = (extra = {}) => ({ name: 'n', count: 1, delta: -2, flag: true, level: { label: 'l', amount: 3 }, ...extra });
const plain = (record) => JSON.parse(JSON.stringify(record));

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
  const order = [];
  const traced = new Proxy(sample(), { get(target, key) { order.push(key); return target[key]; } });
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
