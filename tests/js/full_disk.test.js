'use strict';
// Tracing on a full disk: the trace file opens (on Windows opening a file needs no room), so
// turnOnTraces returns 0 and the state reads on, but every line is lost; once there is room again,
// turning tracing off and on resumes the file.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { runChild, traceFiles } = require('./child');

// The trace file's name for the local time `ms`.
const traceName = (ms) => {
  const t = new Date(ms);
  const two = (n) => String(n).padStart(2, '0');
  return `tolv_installer_${two(t.getMonth() + 1)}.${two(t.getDate())}_${two(t.getHours())}.${two(t.getMinutes())}.INST.log`;
};

test('on a full disk tracing reads on and loses its lines, and resumes once there is room', () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-full-'));
  // Every name the child's tracer may take points at a disk that is always full.
  const names = [-1, 0, 1, 2].map((minutes) => traceName(Date.now() + minutes * 60000));
  for (const name of names) fs.symlinkSync('/dev/full', path.join(dir, name));
  const child = runChild(`
    const tracer = query('tracer_controller');
    const trace = query('trace_helper');
    const enabled = {}, level = {};
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
