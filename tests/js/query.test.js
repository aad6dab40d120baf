'use strict';
const test = require('node:test'), assert = require('node:assert'), addons = require('./addons'), { SERVICES } = addons;

// A Worker's load is refused: tests/js/process_exit.test.js.

test('require of the repository gives the add-on, whose query has every service, each cached', () => {
  const root = require('../..');
  assert.strictEqual(root, addons.main());
  const { query } = root, services = SERVICES.map((name) => query(name));
  assert.ok(services.every((service) => typeof service === 'object'));
  SERVICES.forEach((name, i) => assert.strictEqual(query(name), services[i], `${name} is the same object every time`));
  assert.strictEqual(new Set(services).size, SERVICES.length);
});

test('query reports each failure with its own message and unwraps a "value" box at any depth', () => {
  const { query } = addons.main();
  const cases = [[[], 'Failed to parse key value'], [['application', 'application'], 'Failed to parse key value'],
    [[42], 'Failed to convert to String type'], [[null], 'Failed to convert to String type'],
    [[undefined], 'Failed to convert to String type'], [[{ value: 42 }], 'Failed to convert to String type'],
    [['unknown'], 'Failed to query object'], [['Application'], 'Failed to query object'],
    [[''], 'Failed to query object'], [[{}], 'Failed to query object']];
  for (const [args, message] of cases) {
    assert.throws(() => query(...args), (e) => e instanceof Error && e.message === message, JSON.stringify(args));
  }
  const packageInfo = query('msi_package_info');
  for (const box of [{ value: 'msi_package_info' }, { value: { value: 'msi_package_info' } },
    Object.create({ value: 'msi_package_info' })]) assert.strictEqual(query(box), packageInfo);
});

test('a factory that throws leaves no cache entry', () => {
  const { query } = addons.shapes();
  assert.throws(() => query('broken'), { message: 'factory failed 1' });
  assert.throws(() => query('broken'), { message: 'factory failed 2' });
  const broken = query('broken');
  assert.strictEqual(broken.attempts(), 3);
  assert.strictEqual(query('broken'), broken);
});
