'use strict';
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const path = require('path');
const { runChild, traceFiles } = require('./child');

// Runs `body` with tracing on and returns the trace file's lines (without
// their line ends) and the raw text.
function traced(body) {
  const child = runChild(`
    const tracer = query('tracer_controller');
    const trace = query('trace_helper');
    if (tracer.turnOnTraces() !== 0) throw new Error('tracing did not start');
    ${body}`);
  assert.strictEqual(child.status, 0, child.stderr);
  const files = traceFiles(child.dir);
  assert.strictEqual(files.length, 1);
  const bytes = fs.readFileSync(path.join(child.dir, files[0]));
  const raw = bytes.toString('utf8');
  const lines = raw.split('\r\n');
  assert.strictEqual(lines.pop(), '', 'the file ends with a line end');
  return { raw, bytes, lines, texts: lines.map((line) => line.slice(9)), child };
}

test('every line is a time stamp, a tab, the text and CR LF', () => {
  const { raw, bytes, lines } = traced(`trace.trace('first', 700); trace.trace('ünïcödé \\uD800', 1);`);
  assert.doesNotMatch(raw.replace(/\r\n/g, ''), /[\r\n]/, 'no bare CR or LF');
  for (const line of lines) assert.match(line, /^\d\d:\d\d:\d\d\t/);
  assert.deepStrictEqual(lines.map((l) => l.slice(9)), ['first', 'ünïcödé \uFFFD\uFFFD\uFFFD', 'tracer closed']);
  // The lone surrogate is encoded on its own, as three bytes.
  assert.ok(bytes.includes(Buffer.from([0x20, 0xED, 0xA0, 0x80, 0x0D, 0x0A])));
});

test('a line passes when its level is not above the trace level', () => {
  const { texts } = traced(`
    trace.trace('700', 700); trace.trace('701', 701); trace.trace('minus one', -1);
    tracer.setTraceLevel(4294967295); trace.trace('minus one at max', -1);
    tracer.setTraceLevel(0); trace.trace('zero', 0); trace.trace('one', 1);
    tracer.setTraceLevel(700);`);
  assert.deepStrictEqual(texts, ['700', 'minus one at max', 'zero', 'tracer closed']);
});

test('a line over 512 bytes is dropped whole below level 1000 and written whole from it', () => {
  const { texts } = traced(`
    const long = 'x'.repeat(600);
    trace.trace(long, 700);
    tracer.setTraceLevel(1000);
    trace.trace(long, 700);
    tracer.setTraceLevel(700);`);
  assert.deepStrictEqual(texts, ['x'.repeat(600), 'tracer closed']);
});

test('lines keep appending when tracing goes off and on again', () => {
  const { texts } = traced(`
    trace.trace('one', 700);
    tracer.turnOffTraces();
    trace.trace('while off', 700);
    tracer.turnOffTraces();
    tracer.turnOnTraces();
    if (tracer.turnOnTraces() !== 0) throw new Error('a second start must succeed');
    trace.trace('two', 700);`);
  assert.deepStrictEqual(texts, ['one', 'two', 'tracer closed']);
});

test('no "tracer closed" when tracing is off at exit or the level is below 700', () => {
  const off = traced(`trace.trace('one', 1); tracer.turnOffTraces();`);
  assert.deepStrictEqual(off.texts, ['one']);
  const low = traced(`trace.trace('one', 1); tracer.setTraceLevel(699);`);
  assert.deepStrictEqual(low.texts, ['one']);
});

test('tracing state at start-up, and the other services', () => {
  const child = runChild(`
    const enabled = {}, level = {}, debug = {};
    const results = [query('tracer_controller').getTraceState(enabled, level),
                     query('debug_configuration').isDebug(debug)];
    console.log(JSON.stringify({ results, enabled, level, debug }));`);
  assert.strictEqual(child.status, 0, child.stderr);
  assert.deepStrictEqual(JSON.parse(child.stdout),
    { results: [0, 0], enabled: { value: false }, level: { value: 700 }, debug: { value: false } });
  assert.deepStrictEqual(traceFiles(child.dir), []);
});

test('a missing directory gives 0x8000004B and tracing stays off', () => {
  const child = runChild(`
    const fs = require('fs');
    fs.rmdirSync(process.cwd());
    const tracer = query('tracer_controller');
    const enabled = {};
    console.log(JSON.stringify([tracer.turnOnTraces(), query('trace_helper').trace('x', 700),
                                tracer.getTraceState(enabled, {}), enabled.value]));`);
  assert.strictEqual(child.status, 0, child.stderr);
  assert.deepStrictEqual(JSON.parse(child.stdout), [-2147483573, 0, 0, false]);
});

test('tracing services check their arguments', () => {
  const child = runChild(`
    const out = [];
    const t = (f) => { try { f(); out.push('ok'); } catch (e) { out.push(e.message); } };
    t(() => query('tracer_controller').getTraceState({}));
    t(() => query('trace_helper').trace(5));
    t(() => query('trace_helper').trace('x'));
    t(() => query('tracer_controller').setTraceLevel('x'));
    t(() => query('tracer_controller').turnOnTraces.call({}));
    console.log(JSON.stringify(out));`);
  assert.deepStrictEqual(JSON.parse(child.stdout), ['Index is out of range', 'Failed to convert to String type',
    'Index is out of range', 'Failed to convert to UInt32 type', 'Illegal invocation']);
});
