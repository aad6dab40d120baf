'use strict';
const test = require('node:test'), assert = require('node:assert'), { shapes, fails, catchingUncaught } = require('./addons');

const { query } = shapes(), s = query('shapes');

test('bound methods are named functions on the service object', () => {
  assert.strictEqual(s.echo.name, 'echo');
  assert.ok(Object.prototype.hasOwnProperty.call(s, 'echo'));
  // new is not refused by the engine, but its receiver is not the service.
  assert.throws(() => new s.yes(), TypeError);
});

test('arguments convert in the order of their shape, and failures reach script with exactly their text', () => {
  const cases = [
    [() => s.echo(), 'Index is out of range'], [() => s.textAndNumber('a'), 'Index is out of range'],
    [() => s.flagAndLevel(true), 'Index is out of range'],
    // A trailing function does not excuse a missing argument.
    [() => s.textAndNumber(() => {}), 'Index is out of range'],
    // First to last: argument 0 fails before the count is checked for argument 1.
    [() => s.textAndNumber(5), 'Failed to convert to String type'],
    // Last to first: the count, then argument 1, then argument 0.
    [() => s.flagAndLevel(5), 'Index is out of range'], [() => s.flagAndLevel(5, 'x'), 'Failed to convert to UInt32 type'],
    [() => s.flagAndLevel(5, 1), 'Failed to convert to Boolean type'],
    // Native exceptions, the framework's included.
    [() => s.fail('abcd'), 'msiProductInfo error: 4'], [() => s.failLogic(), 'Not implemented'],
    [() => s.failCheck(2), 'CheckFailedException'], [() => s.failLength(0), 'qor::basic_string_t constructor'],
    [() => s.failLength(1), 'qor::basic_string_t::reserve_extra()'],
    [() => s.failLength(2), 'qor::basic_string_t::resize_extra_at'], [() => s.failAllocation(), 'bad allocation'],
  ];
  for (const [call, message] of cases) fails(call, message);
  // Extra arguments that are not a trailing function are ignored. A function alone stands at index 0 of a
  // one-argument method: the call is synchronous and the function converts to the empty string.
  const results = [[s.textAndNumber('abc', 4), 3004], [s.flagAndLevel(true, 41), 42], [s.failCheck(0), 0],
    [s.failLength(3), 3], [s.echo('a', 'b'), 'a'], [s.yes(1, 2, 3), true], [s.echo(() => 'x'), '']];
  results.forEach(([actual, expected], i) => assert.strictEqual(actual, expected, `result ${i}`));
});

test('a failed call writes nothing back', () => {
  const out = {};
  fails(() => s.textAndNumber(out, 'x'), 'Failed to convert to Int32 type');
  assert.deepStrictEqual(Object.keys(out), []);
});

test('a method called on anything but its service object throws a TypeError', () => {
  const other = query('other');
  const receivers = [undefined, {}, 42, 'text', Object.create(null), new Proxy({}, {}), other,
    Object.create(other), [], () => {}];
  const methods = Object.keys(s);
  assert.ok(methods.length >= 20);
  for (const name of methods) {
    const method = s[name];
    receivers.forEach((receiver, i) => assert.throws(() => method.call(receiver, 'a', 1), TypeError, `${name} on ${i}`));
    assert.throws(() => method('a', 1), TypeError, `${name} called alone`);
  }
  assert.throws(() => other.seven.call(s), TypeError);
  // An object that shares the service's prototype is accepted.
  const twin = Object.setPrototypeOf({}, Object.getPrototypeOf(s));
  assert.strictEqual(s.minusOne.call(twin), -1);
  // Nor can a record object.
  const box = {};
  assert.throws(() => s.minusOne.call((s.touch(box), box.value)), TypeError);
});

const callAsync = (method, ...args) => new Promise((resolve) => {
  assert.strictEqual(method.call(s, ...args, function callback(...values) { resolve({ values, receiver: this }); }),
    undefined);
});

test('every shape can be called asynchronously', async () => {
  const cases = [
    [s.yes, [], true], [s.minusOne, [], -1], [s.bigUnsigned, [], -1], [s.text, [], 'a\0b'],
    [s.names, [], ['one', 'two', '']], [s.rows, [], [['a', 'b'], [], ['c']]],
    [s.fromBoolean, [true], 1], [s.fromUnsigned, [7], 7], [s.fromSigned, [-7], -7],
    [s.echo, ['hi'], 'hi'], [s.split, ['ab'], [['a', 'b']]], [s.threeSamples, [[]], 0],
    [s.touch, [{ name: 'n', count: 1, delta: 2, flag: true, level: { label: '', amount: 0 } }], true],
    [s.setText, [{}], 0], [s.textAndNumber, ['ab', 1], 2001], [s.flagAndLevel, [false, 9], 9],
  ];
  const results = await Promise.all(cases.map(([method, args]) => callAsync(method, ...args)));
  results.forEach(({ values, receiver }, i) => assert.deepStrictEqual([values, receiver], [[cases[i][2]], undefined],
    cases[i][0].name));
  // An asynchronous call writes nothing back.
  const out = {};
  await callAsync(s.setText, out);
  assert.deepStrictEqual(Object.keys(out), []);
});

test('a conversion failure throws at once and the callback never runs', async () => {
  let called = 0;
  fails(() => s.echo(5, () => { called += 1; }), 'Failed to convert to String type');
  fails(() => s.textAndNumber(() => { called += 1; }), 'Index is out of range');
  await new Promise((resolve) => setTimeout(resolve, 50));
  assert.strictEqual(called, 0);
});

test('an exception thrown by the callback reaches uncaughtException', async () => {
  const boom = new Error('from the callback');
  const errors = await catchingUncaught(() => new Promise((resolve) => {
    s.yes(() => { setImmediate(resolve); throw boom; });
  }));
  assert.deepStrictEqual(errors, [boom]);
});
