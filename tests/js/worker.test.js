'use strict';
// The add-on serves the main thread only. A Worker's load throws, whether it is the first to load the
// image or the main thread has calls in flight; the Worker's end crashes nothing, and the main thread
// loads and calls the add-on afterwards.
const test = require('node:test');
const assert = require('node:assert');
const { spawnSync } = require('child_process');
const { packageMachine, addonPath } = require('./package_machine');

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
