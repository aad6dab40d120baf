'use strict';
// A UI process that ends while 10,000 asynchronous calls are in flight:
// pool threads still work on the shared package while exit() runs the
// static destructors. Every run must end with its own exit code, never
// with a signal. And the add-on serves the main thread only: a Worker's
// load throws, whether it is the first to load the image or the main
// thread has calls in flight; the Worker's end crashes nothing, and the
// main thread loads and calls the add-on afterwards.
const test = require('node:test'), assert = require('node:assert');
const { execFile, spawnSync } = require('child_process');
const { packageMachine, addonPath } = require('./package_machine'), { TOOL } = require('./child');

const RUNS = 20, PARALLEL = 4;

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
    const runs = Array.from({ length: RUNS }, (_, i) => ({ code: i + 1, delay: (i % 4) * 15 })), results = [];
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

const REFUSED = 'installer_ornel works on the main thread only: it cannot be loaded in a Worker';
const load = `require(${JSON.stringify(addonPath)})`;

// A Worker that tries the add-on and, if it loads, makes an asynchronous
// call; resolves with what the Worker reported, once it has ended.
const tryInWorker = `
  const { Worker } = require('worker_threads');
  const tryInWorker = () => new Promise((resolve) => {
    const worker = new Worker(\`
      const { parentPort } = require('worker_threads');
      try {
        ${load}.query('msi_product_info').getProductName((name) => parentPort.postMessage('called back: ' + name));
      } catch (e) { parentPort.postMessage(e.message); }\`, { eval: true });
    let report;
    worker.on('message', (m) => { report = m; });
    worker.on('exit', () => resolve(report));
  });`;

const scenarios = [
  ['first, twice in a row', `
    const workers = [await tryInWorker(), await tryInWorker()];
    const product = ${load}.query('msi_product_info');`],
  ['while the main thread has calls in flight', `
    const product = ${load}.query('msi_product_info');
    for (let i = 0; i < 200; i++) product.getConflictedProductInfo({}, () => {});
    const workers = await Promise.all([tryInWorker(), tryInWorker()]);`],
];

for (const [name, body] of scenarios) {
  test(`a Worker cannot load the add-on: ${name}`, () => {
    const ui = packageMachine();
    const child = spawnSync(process.execPath, ['-e', `${tryInWorker}
      (async () => {
        ${body}
        const sync = product.getProductName();
        const async = await new Promise((resolve) => product.getProductName(resolve));
        console.log(JSON.stringify({ workers, sync, async }));
      })();`], { cwd: ui.dir, env: ui.env, encoding: 'utf8', timeout: 30000 });
    ui.remove();
    assert.deepStrictEqual({ status: child.status, signal: child.signal }, { status: 0, signal: null }, child.stderr);
    assert.deepStrictEqual(JSON.parse(child.stdout),
      { workers: [REFUSED, REFUSED], sync: 'Ornel Sample', async: 'Ornel Sample' });
  });
}
