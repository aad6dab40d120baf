'use strict';
// The tracing services end to end; the tracer's own edge cases are tested natively (tests/cpp/tracing).
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), os = require('os');
const path = require('path'), { runChild, traceFiles } = require('./child');

// Runs `body` with tracing on; the trace file's bytes and the texts of its lines.
function traced(body) {
  const child = runChild(`
    const tracer = query('tracer_controller'), trace = query('trace_helper');
    if (tracer.turnOnTraces() !== 0) throw new Error('tracing did not start');
    ${body}`);
  assert.strictEqual(child.status, 0, child.stderr);
  const files = traceFiles(child.dir);
  assert.strictEqual(files.length, 1);
  const bytes = fs.readFileSync(path.join(child.dir, files[0])), lines = bytes.toString('utf8').split('\r\n');
  assert.strictEqual(lines.pop(), '', 'the file ends with a line end');
  for (const line of lines) assert.match(line, /^\d\d:\d\d:\d\d\t[^\r\n]*$/);
  return { bytes, texts: lines.map((line) => line.slice(9)) };
}

test('lines reach the file by level and size, across tracing off and on', () => {
  const { bytes, texts } = traced(`
    trace.trace('ünïcödé \\uD800', 700); trace.trace('701', 701); trace.trace('minus one', -1);
    tracer.setTraceLevel(4294967294); trace.trace('minus one under max', -1); trace.trace('800', 800);
    tracer.setTraceLevel(4294967295); trace.trace('minus one at max', -1);
    tracer.setTraceLevel(0); trace.trace('zero', 0); trace.trace('one', 1);
    const long = 'x'.repeat(600);
    tracer.setTraceLevel(700); trace.trace(long, 700); tracer.setTraceLevel(1000); trace.trace(long, 700);
    tracer.setTraceLevel(700);
    tracer.turnOffTraces(); trace.trace('while off', 700); tracer.turnOffTraces(); tracer.turnOnTraces();
    if (tracer.turnOnTraces() !== 0) throw new Error('a second start must succeed');
    trace.trace('on again', 700);`);
  assert.deepStrictEqual(texts, ['ünïcödé \uFFFD\uFFFD\uFFFD', '800', 'minus one at max', 'zero', 'x'.repeat(600),
    'on again', 'tracer closed']);
  // The lone surrogate is encoded on its own, as three bytes.
  assert.ok(bytes.includes(Buffer.from([0x20, 0xED, 0xA0, 0x80, 0x0D, 0x0A])));
});

test('no "tracer closed" when tracing is off at exit or the level is below 700', () => {
  assert.deepStrictEqual(traced(`trace.trace('one', 1); tracer.turnOffTraces();`).texts, ['one']);
  assert.deepStrictEqual(traced(`trace.trace('one', 1); tracer.setTraceLevel(699);`).texts, ['one']);
});

test('the state at start-up, argument checks, and a missing directory', () => {
  const child = runChild(`
    const out = [], t = (f) => { try { out.push(f()); } catch (e) { out.push(e.message); } };
    const tracer = query('tracer_controller'), enabled = {}, level = {}, debug = {};
    out.push(tracer.getTraceState(enabled, level), query('debug_configuration').isDebug(debug), enabled, level, debug);
    out.push(require('fs').readdirSync('.').filter((name) => name.endsWith('.log')));
    t(() => tracer.getTraceState({})); t(() => query('trace_helper').trace(5)); t(() => query('trace_helper').trace('x'));
    t(() => tracer.setTraceLevel('x')); t(() => tracer.turnOnTraces.call({}));
    require('fs').rmdirSync(process.cwd());
    const after = {};
    out.push(tracer.turnOnTraces(), query('trace_helper').trace('x', 700), tracer.getTraceState(after, {}), after);
    console.log(JSON.stringify(out));`);
  assert.strictEqual(child.status, 0, child.stderr);
  assert.deepStrictEqual(JSON.parse(child.stdout), [0, 0, { value: false }, { value: 700 }, { value: false }, [],
    'Index is out of range', 'Failed to convert to String type', 'Index is out of range',
    'Failed to convert to UInt32 type', 'Illegal invocation',
    // 0x8000004B, and tracing stays off.
    -2147483573, 0, 0, { value: false }]);
});

// On a full disk the trace file still opens (on Windows opening a file needs no room), so
// turnOnTraces returns 0 and the state reads on, but every line is lost until there is room again.
// The trace file's name for the local time `ms`.
const traceName = (ms) => {
  const t = new Date(ms), two = (n) => String(n).padStart(2, '0');
  return `tolv_installer_${two(t.getMonth() + 1)}.${two(t.getDate())}_${two(t.getHours())}.${two(t.getMinutes())}.INST.log`;
};

test('on a full disk tracing reads on and loses its lines, and resumes once there is room', () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-full-'));
  // Every name the child's tracer may take points at a disk that is always full.
  const names = [-1, 0, 1, 2].map((minutes) => traceName(Date.now() + minutes * 60000));
  for (const name of names) fs.symlinkSync('/dev/full', path.join(dir, name));
  const child = runChild(`
    const tracer = query('tracer_controller'), trace = query('trace_helper'), enabled = {}, level = {};
    const out = [tracer.turnOnTraces(), trace.trace('lost', 700)];
    tracer.getTraceState(enabled, level);
    out.push(enabled.value, level.value);
    for (const name of ${JSON.stringify(names)}) require('fs').unlinkSync(name);
    trace.trace('lost too: the file is still the full one', 700);
    out.push(tracer.turnOffTraces(), tracer.turnOnTraces(), trace.trace('written', 700));
    console.log(JSON.stringify(out));`, { cwd: dir });
  assert.strictEqual(child.status, 0, child.stderr);
  assert.strictEqual(child.stderr, '');
  assert.deepStrictEqual(JSON.parse(child.stdout), [0, 0, true, 700, 0, 0, 0]);
  const files = traceFiles(dir);
  assert.strictEqual(files.length, 1);
  const texts = fs.readFileSync(path.join(dir, files[0]), 'utf8').split('\r\n').map((line) => line.slice(9));
  assert.deepStrictEqual(texts, ['written', 'tracer closed', '']);
});
