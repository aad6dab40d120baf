'use strict';
// A cancel at every message of an installation and of a removal, one run
// per message: each returns 1602 and leaves every path and byte under the
// machine root as it was. Once the execution has reported progress, the
// rollback shows: a reset with the bar moving backwards.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const path = require('path');
const m = require('./install_machine');

const v1 = m.fixture('scenario_v1');
const sweeps = [
  { name: 'installation', prepare: () => {}, command: ['install', v1] },
  { name: 'removal', prepare: (root) => m.tool(root, 'install', v1), command: ['uninstall', m.V1] },
];

for (const { name, prepare, command } of sweeps) {
  test(`a cancel at each message of the ${name} takes everything back`, () => {
    const messages = (root) => path.join(root, '..', `${path.basename(root)}.json`);
    const probe = m.freshMachine();
    prepare(probe);
    assert.strictEqual(m.tool(probe, ...command, '--messages', messages(probe)).out, '0');
    const full = m.readMessages(messages(probe));
    const { resets } = m.decodeProgress(full);
    const execution = full.findIndex((msg) => /^1: 0 2: \d+ 3: 0 4: 0 $/.test(msg.text));
    const changing = full.findIndex((msg, i) => i > execution && /^1: 2 /.test(msg.text));
    assert.ok(resets.length >= 2 && execution > 0 && changing > execution, 'a generation, then an execution');

    const root = m.freshMachine();
    prepare(root);
    const before = m.snapshot(root);
    for (let at = 1; at <= full.length; ++at) {
      const result = m.tool(root, ...command, '--cancel-at', String(at), '--messages', messages(root));
      assert.strictEqual(result.out, '1602', `cancelled at message ${at}: ${JSON.stringify(full[at - 1])}`);
      assert.deepStrictEqual(m.snapshot(root), before, `cancelled at message ${at}`);
      if (at > changing + 1) {
        const rollback = m.decodeProgress(m.readMessages(messages(root))).resets.filter((reset) => !reset.forward);
        assert.strictEqual(rollback.length, 1, `one backward reset after a cancel at ${at}`);
      }
    }
    for (const dir of [probe, root]) {
      fs.rmSync(dir, { recursive: true, force: true });
      fs.rmSync(messages(dir), { force: true });
    }
  });
}
