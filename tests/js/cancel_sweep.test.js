'use strict';
// A cancel at every message of an installation and of a removal, one run
// per message: each returns 1602 and leaves every path and byte under the
// machine root as it was. A rollback of changes shows as one reset with
// the bar moving backwards all the way; a cancel before the execution has
// nothing to take back, one at the last message has changes to.
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), path = require('path');
const m = require('./install_machine');

for (const { name, prepare, command } of m.RUNS) {
  test(`a cancel at each message of the ${name} takes everything back`, () => {
    const messages = (root) => path.join(root, '..', `${path.basename(root)}.json`);
    const full = m.probe({ prepare, command });
    const execution = full.findIndex((msg) => /^1: 0 2: \d+ 3: 0 4: 0 $/.test(msg.text));  // its reset, 0-based
    assert.ok(execution > 0 && m.decodeProgress(full).resets.length >= 2, 'a generation, then an execution');

    const root = m.freshMachine();
    prepare(root);
    const before = m.snapshot(root);
    for (let at = 1; at <= full.length; ++at) {
      const result = m.tool(root, ...command, '--cancel-at', String(at), '--messages', messages(root));
      assert.strictEqual(result.out, '1602', `cancelled at message ${at}: ${JSON.stringify(full[at - 1])}`);
      assert.deepStrictEqual(m.snapshot(root), before, `cancelled at message ${at}`);
      const rollback = m.decodeProgress(m.readMessages(messages(root))).resets.filter((reset) => !reset.forward);
      assert.ok(rollback.length <= 1 && rollback.every((reset) => reset.reported === reset.total), `rollback at ${at}`);
      if (at <= execution) assert.strictEqual(rollback.length, 0, 'nothing to take back before the execution');
      if (at === full.length) assert.strictEqual(rollback.length, 1, 'a rollback after the last message');
    }
    fs.rmSync(root, { recursive: true, force: true });
    fs.rmSync(messages(root), { force: true });
  });
}
