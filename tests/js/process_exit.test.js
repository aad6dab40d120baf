'use strict';
// A UI process that ends while 10,000 asynchronous calls are in flight:
// pool threads still work on the shared package while exit() runs the
// static destructors. Every run must end with its own exit code, never
// with a signal.
const test = require('node:test');
const assert = require('node:assert');
const { execFile } = require('child_process');
const { packageMachine, addonPath } = require('./package_machine');
const { TOOL } = require('./child');

const RUNS = 20;
const PARALLEL = 4;

// How each variant ends the process with `code`, its calls queued first.
// `delay` (ms, 0 for at once) varies the moment: before the pool started
// most tasks, or while callbacks are delivered and done calls swept.
const queue = (call) => `for (let i = 0; i < 10000; i++) ${call};`;
const later = (delay, body) => (delay === 0 ? body : `setTimeout(() => { ${body} }, ${delay});`);
const exitAs = (code) => `process.on('exit', () => { process.exitCode = ${code}; });`;
const CONFLICTS = 'product.getConflictedProductInfo({}, () => {})';
const QUERY = "product.executeQuery('SELECT * FROM `Property`', () => {})";
const THROWING = "product.getConflictedProductInfo({}, () => { if (++calls === 3) throw new Error('callback'); })";
const variants = [
  ['getConflictedProductInfo, then exit', (code, delay) => queue(CONFLICTS) + later(delay, `process.exit(${code});`)],
  ['executeQuery, then exit', (code, delay) => queue(QUERY) + later(delay, `process.exit(${code});`)],
  ['a callback throws with no handler', (code) => `${exitAs(code)}\nlet calls = 0;\n${queue(THROWING)}`],
  ['the script throws after queueing', (code) => `${exitAs(code)}\n${queue(QUERY)}\nthrow new Error('script');`],
];

// One UI process; resolves with how it ended.
function runUi(body) {
  const ui = packageMachine();
  const script = `const product = require(${JSON.stringify(addonPath)}).query('msi_product_info');\n${body}`;
  return new Promise((resolve) => {
    const child = execFile(process.execPath, ['-e', script], { cwd: ui.dir, env: ui.env, timeout: 60000 }, () => {
      ui.remove();
      resolve({ code: child.exitCode, signal: child.signalCode });
    });
  });
}

for (const [name, body] of variants) {
  test(`exit with calls in flight: ${name}`, async () => {
    const runs = Array.from({ length: RUNS }, (_, i) => ({ code: i + 1, delay: (i % 4) * 15 }));
    const results = [];
    for (let i = 0; i < RUNS; i += PARALLEL) {
      results.push(...await Promise.all(runs.slice(i, i + PARALLEL).map(({ code, delay }) => runUi(body(code, delay)))));
    }
    assert.deepStrictEqual(results, runs.map(({ code }) => ({ code, signal: null })));
  });
}

// No exit waits for a task: here every task waits for the bootstrapper's
// package-ready event, which nobody sets.
test('exit while every task waits for the package-ready event', async () => {
  const event = 'Global\\Event_TOLV_7A3C52E0-91B4-4D6F-A2C8-3E5F60B1D947';
  const result = await runUi(`
    require('child_process').execFileSync(process.execPath, ${JSON.stringify([TOOL, 'event', 'create', event])});
    ${queue('product.getProductName(() => {})')}
    setTimeout(() => process.exit(7), 200);`);
  assert.deepStrictEqual(result, { code: 7, signal: null });
});
