'use strict';
const test = require('node:test');
const assert = require('node:assert');
const { Worker } = require('node:worker_threads');
const addons = require('./addons');

const SERVICES = ['application', 'trace_helper', 'debug_configuration', 'tracer_controller',
  'msi_product_info', 'msi_package_info', 'msi_setup_manager', 'installer_controller'];

test('require of the repository gives query', () => {
  const root = require('../..');
  assert.strictEqual(typeof root.query, 'function');
  assert.strictEqual(root.query.name, 'query');
  assert.strictEqual(root, addons.main());
});

test('every service is registered and cached', () => {
  const { query } = addons.main();
  for (const name of SERVICES) {
    const service = query(name);
    assert.strictEqual(typeof service, 'object', name);
    assert.strictEqual(query(name), service, `${name} is the same object every time`);
  }
  assert.notStrictEqual(query('application'), query('trace_helper'));
});

test('query reports each failure with its own message', () => {
  const { query } = addons.main();
  const fails = (args, message) => assert.throws(() => query(...args), (e) => {
    assert.ok(e instanceof Error);
    assert.strictEqual(e.message, message);
    return true;
  });
  fails([], 'Failed to parse key value');
  fails(['application', 'application'], 'Failed to parse key value');
  fails([42], 'Failed to convert to String type');
  fails([null], 'Failed to convert to String type');
  fails([undefined], 'Failed to convert to String type');
  fails(['unknown'], 'Failed to query object');
  fails(['Application'], 'Failed to query object');
  fails([''], 'Failed to query object');
  fails([{}], 'Failed to query object');
  fails([{ value: 42 }], 'Failed to convert to String type');
});

test('query unwraps a "value" box at any depth', () => {
  const { query } = addons.main();
  const packageInfo = query('msi_package_info');
  assert.strictEqual(query({ value: 'msi_package_info' }), packageInfo);
  assert.strictEqual(query({ value: { value: 'msi_package_info' } }), packageInfo);
  assert.strictEqual(query(Object.create({ value: 'msi_package_info' })), packageInfo);
});

test('a factory that throws leaves no cache entry', () => {
  const { query } = addons.shapes();
  assert.throws(() => query('broken'), { message: 'factory failed 1' });
  assert.throws(() => query('broken'), { message: 'factory failed 2' });
  const broken = query('broken');
  assert.strictEqual(broken.attempts(), 3);
  assert.strictEqual(query('broken'), broken);
});

test('a worker thread cannot load the add-on once the main thread has', async () => {
  addons.main();
  const worker = new Worker(`
    const { parentPort } = require('node:worker_threads');
    try { require(${JSON.stringify(addons.addonPath('installer_ornel'))}); parentPort.postMessage('loaded'); }
    catch (e) { parentPort.postMessage(e.message); }`, { eval: true });
  const message = await new Promise((resolve, reject) => {
    worker.once('message', resolve);
    worker.once('error', reject);
  });
  assert.match(message, /main thread only/);
});
