'use strict';
// The thread pool and the host-loop channel, driven through the test-only add-on: asynchronous calls, native
// threads that call script receivers, a failing wake-up, and how the process ends with all of that going on.
const test = require('node:test'), assert = require('node:assert'), { spawn } = require('node:child_process');
const { shapes, addonPath, catchingUncaught } = require('./addons');

const { query } = shapes(), [s, gates, hostCalls] = ['shapes', 'gates', 'host_calls'].map((name) => query(name));

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
// Long enough for a task started by mistake to show up.
const SETTLE_MS = 150;

async function until(condition, what, timeoutMs = 10000) {
  const deadline = Date.now() + timeoutMs;
  while (!condition()) {
    if (Date.now() > deadline) throw new Error(`timed out waiting for ${what}`);
    await sleep(5);
  }
}

// Starts host calls from native threads; resolves with the number of calls that threw on their worker.
function runHostCalls(receiver, threads, calls) {
  return new Promise((resolve) => {
    receiver.completed = resolve;
    assert.strictEqual(hostCalls.start(receiver, threads, calls), 0);
  });
}

// A failed call's slot goes to the next: 19 blocked calls, a failing one and 6 more leave 20 running.
test('the pool runs 20 calls at once, a failed one frees its slot, each delivers once', async () => {
  const base = gates.started(), exceptions = gates.poolExceptions(), done = [];
  for (let i = 0; i < 19; i++) gates.wait(i, (id) => done.push(id));
  s.fail('x', () => assert.fail('the callback of a failed call never runs'));
  for (let i = 19; i < 25; i++) gates.wait(i, (id) => done.push(id));
  await until(() => gates.started() === base + 20, '20 started');
  await sleep(SETTLE_MS);
  assert.strictEqual(gates.started(), base + 20);
  assert.strictEqual(gates.poolExceptions(), exceptions + 1);

  gates.open(1);
  await until(() => done.length === 1 && gates.started() === base + 21, 'one delivered, one more started');
  await sleep(SETTLE_MS);
  assert.strictEqual(gates.started(), base + 21);

  gates.open(24);
  await until(() => done.length === 25, 'all delivered');
  assert.deepStrictEqual([...done].sort((a, b) => a - b), [...Array(25).keys()]);
  await until(() => gates.poolRecords() === 0, 'records removed');
});

test('many calls in flight at once each deliver their own result once, then leave their keeper', async () => {
  const results = await Promise.all([...Array(300).keys()].map((i) =>
    new Promise((resolve) => s.fromSigned(i, (...args) => resolve(args)))));
  results.forEach((args, i) => assert.deepStrictEqual(args, [i]));
  assert.ok(gates.keptCalls() >= 1);
  await until(() => gates.keptCalls() === 0, 'the sweep', 5000);
});

test('host calls from native threads arrive once each, in order per thread, one at a time', async () => {
  const [THREADS, CALLS, seen] = [2, 300, []];
  let [inCall, overlaps] = [false, 0];
  const failures = await runHostCalls({
    event(value) {
      if (inCall) overlaps += 1;
      inCall = true;
      seen.push(value);
      for (let spin = 0; spin < 1000; spin++) Math.sqrt(spin);
      inCall = false;
    },
  }, THREADS, CALLS);
  assert.strictEqual(failures, 0);
  assert.strictEqual(overlaps, 0);
  assert.deepStrictEqual([...seen].sort((a, b) => a - b), [...Array(THREADS * CALLS).keys()]);
  for (let t = 0; t < THREADS; t++) {
    const own = seen.filter((v) => Math.floor(v / CALLS) === t);
    assert.deepStrictEqual(own, [...own].sort((a, b) => a - b), `thread ${t} in order`);
  }
});

// The method is looked up at each event: one replaced between events is the one the next event calls.
test('each event runs with an undefined receiver, and its nextTick and microtasks run before the next', async () => {
  const [ticks, late, receivers] = [[], [], []];
  const receiver = {
    event(...args) {
      assert.strictEqual(args.length, 1);
      receivers.push(this);
      if (ticks.length !== args[0] * 2) late.push(args[0]);
      process.nextTick(() => ticks.push(`tick ${args[0]}`));
      Promise.resolve().then(() => ticks.push(`micro ${args[0]}`));
      if (args[0] === 18) receiver.event = (v) => late.push(`replaced ${v}`);
    },
  };
  await runHostCalls(receiver, 1, 20);
  assert.deepStrictEqual(late, ['replaced 19']);
  assert.ok(receivers.every((r) => r === undefined));
});

test('a record argument reaches the receiver as a record object', async () => {
  const steps = [];
  await new Promise((resolve) => {
    hostCalls.startSteps({ progressChanged: (step) => steps.push(step), completed: resolve }, 3);
  });
  assert.deepStrictEqual(steps.map(({ label, amount }) => ({ label, amount })),
    [0, 1, 2].map((i) => ({ label: `step ${i}`, amount: i })));
  assert.deepStrictEqual(Object.keys(steps[0]), ['label', 'amount']);
});

test('a missing method or a throwing one: the worker goes on, the error reaches uncaughtException', async () => {
  const boom = new Error('from the receiver'), [delivered, failures] = [[], []];
  const errors = await catchingUncaught(async (seen) => {
    failures.push(await runHostCalls({ event(v) { delivered.push(v); if (v === 1) throw boom; } }, 1, 3));
    failures.push(await runHostCalls({}, 1, 2));
    hostCalls.start(null, 1, 1);
    await until(() => seen.length === 5, 'five errors');
  });
  assert.deepStrictEqual(delivered, [0, 1, 2]);
  assert.deepStrictEqual(failures, [0, 0]);
  assert.strictEqual(errors[0], boom);
  assert.deepStrictEqual(errors.slice(1).map((e) => [e.constructor, e.message]), [
    [TypeError, 'The receiver has no method event'], [TypeError, 'The receiver has no method event'],
    [TypeError, 'Cannot convert undefined or null to object'],
    [TypeError, 'Cannot convert undefined or null to object']]);
});

test('a failing wake-up throws its message on the worker, which does not wait', async () => {
  let called = 0;
  hostCalls.failWakeUps(1, -22);
  const message = await new Promise((resolve) => hostCalls.callOnce({ event() { called += 1; } }, 1, resolve));
  assert.strictEqual(message, 'Failed to send wake up event with error -22');
  assert.strictEqual(called, 0);
  // The channel works again afterwards.
  const ok = await new Promise((resolve) => hostCalls.callOnce({ event() { called += 1; } }, 2, resolve));
  assert.strictEqual(ok, '');
  assert.strictEqual(called, 1);
});

test('a host call made on the host thread throws instead of waiting for itself', () => {
  assert.throws(() => hostCalls.callOnce({ event() {} }, 1),
    { message: 'A host call on the host thread would wait for itself' });
});

// Runs `source` in a child node with the test add-on's path as `addon`. Resolves with its exit code, output and
// the milliseconds from its 'exit' event (it prints "exiting") to the end of the process.
function runChild(source) {
  const child = spawn(process.execPath, ['-e', `const addon = ${JSON.stringify(addonPath('installer_ornel_test'))};
    process.on('exit', () => console.log('exiting'));
    ${source}`]);
  let [stdout, stderr, exitingAt] = ['', '', undefined];
  child.stdout.on('data', (d) => {
    stdout += d;
    if (exitingAt === undefined && stdout.includes('exiting')) exitingAt = Date.now();
  });
  child.stderr.on('data', (d) => { stderr += d; });
  return new Promise((resolve) => child.on('close', (code, signal) => {
    resolve({ code, signal, stdout, stderr, teardownMs: Date.now() - exitingAt });
  }));
}

test('process.exit ends the process promptly with calls and host calls in flight', async () => {
  const result = await runChild(`
    const { query } = require(addon), gates = query('gates');
    for (let i = 0; i < 25; i++) gates.wait(i, () => {});
    query('shapes').sleep(60000, () => {});
    query('host_calls').start({ event() {}, completed() {} }, 4, 1e9);
    setTimeout(() => process.exit(7), 200);`);
  assert.deepStrictEqual([result.code, result.signal, result.stderr], [7, null, '']);
  // Waiting for the work in flight would take a minute; a loaded machine takes seconds at worst.
  assert.ok(result.teardownMs < 20000, `took ${result.teardownMs} ms after exit`);
});

test('the process ends by itself, promptly, once its calls are delivered and the pool is idle', async () => {
  const result = await runChild(`
    const { query } = require(addon);
    query('shapes').sleep(100, (v) => console.log('delivered', v));
    query('host_calls').start({ event() {}, completed: (f) => console.log('completed', f) }, 2, 50);
    query('shapes').yes(() => setTimeout(() => console.log('idle'), 300));`);
  assert.deepStrictEqual([result.code, result.signal, result.stderr], [0, null, '']);
  for (const line of [/delivered 100/, /completed 0/, /idle\nexiting/]) assert.match(result.stdout, line);
  assert.ok(result.teardownMs < 1000, `took ${result.teardownMs} ms after exit`);
});
