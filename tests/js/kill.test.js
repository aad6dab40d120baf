'use strict';
// An installation and a removal killed (SIGKILL) at several points of
// their execution, slowed by installTickDelayMs so that the kill lands
// between two progress reports: the next engine call, in another process,
// takes the half-made change back, and the machine is as it was.
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), path = require('path');
const m = require('./install_machine');

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
const count = (file) => (fs.existsSync(file) ? m.readMessages(file).length : 0);

// The message numbers (1-based) of the first progress report while the
// script is written, and of the execution's reports, all but the last, at
// most `most` of them evenly spread.
function killPoints(messages, most) {
  const execution = messages.findIndex((msg) => /^1: 0 2: \d+ 3: 0 4: 0 $/.test(msg.text));
  const reports = messages.map((msg, i) => i).filter((i) => /^1: 2 /.test(messages[i].text));
  const chosen = reports.filter((i) => i > execution).slice(0, -1);
  const stride = Math.max(1, Math.ceil(chosen.length / most));
  return [reports[0], ...chosen.filter((_, i) => i % stride === 0)].map((i) => i + 1);
}

for (const { name, prepare, command } of m.RUNS) {
  test(`a killed ${name} is taken back by the next engine call`, async () => {
    const points = killPoints(m.probe({ prepare, command }), 4);
    assert.ok(points.length >= 2, `kill points ${points}`);

    const root = m.freshMachine({ installTickDelayMs: 100 });
    prepare(root);
    const before = m.snapshot(root), messages = path.join(root, '..', `${path.basename(root)}.json`);
    for (const at of points) {
      fs.rmSync(messages, { force: true });
      const child = m.startTool(root, ...command, '--messages', messages);
      let running = true;
      const ended = new Promise((resolve) => child.on('exit', (code, signal) => resolve((running = false) || signal)));
      while (count(messages) < at && running) await sleep(5);
      child.kill('SIGKILL');
      assert.strictEqual(await ended, 'SIGKILL', `killed after message ${at}`);
      assert.notDeepStrictEqual(m.snapshot(root), before, `the run had changed the machine by message ${at}`);
      assert.strictEqual(m.tool(root, 'list').status, 0);
      assert.deepStrictEqual(m.snapshot(root), before, `killed after message ${at}`);
    }
    assert.strictEqual(m.tool(root, ...command).out, '0', `the ${name} once taken back`);
    fs.rmSync(root, { recursive: true, force: true });
    fs.rmSync(messages, { force: true });
  });
}

