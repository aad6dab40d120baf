'use strict';
// Query texts and names that crashed or hung the add-on inside libmsi's SQL
// parser: from script, in both call forms, they now give [] or "" and leave
// the package usable. A quote in a directory's name: msi_product_info_test.cc.
const test = require('node:test'), assert = require('node:assert'), { spawnSync } = require('child_process');
const { packageMachine, addonPath } = require('./package_machine');

// Source text, evaluated in the child: the long texts are built there.
const HOSTILE_QUERIES = `[
  "SELECT '",
  'SELECT \`',
  "SELECT \`Value\` FROM \`Property\` WHERE \`Property\` = '",
  'SELECT -',
  'SELECT * FROM \`Media\` WHERE \`DiskId\` = -',
  'SELECT * FROM \`Media\` WHERE ' + Array(87000).fill('\`DiskId\` = 1').join(' AND '),
  'SELECT * FROM \`Media\` WHERE ' + '('.repeat(100000) + '\`DiskId\` = 1' + ')'.repeat(100000),
  "SELECT * FROM \`Property\` WHERE \`Property\` = '\\u0000'",
  '\\u0000',
]`;
const QUERY_COUNT = 9;
const HOSTILE_NAMES = ['\u0000', "'", "Product'Name", '`', '-', "' OR `Property` IS NOT NULL OR `Property` = '"];

// In a UI process whose default package is the product fixture.
test('hostile query texts and property names give [] and "" in both call forms', () => {
  const ui = packageMachine('product');
  const child = spawnSync(process.execPath, ['-e', `
    const product = require(${JSON.stringify(addonPath)}).query('msi_product_info'), queries = ${HOSTILE_QUERIES};
    const names = ${JSON.stringify(HOSTILE_NAMES)};
    const out = { sync: queries.map((q) => product.executeQuery(q)), names: names.map((n) => product.getProperty(n)) };
    const later = (method, list) => Promise.all(list.map((x) => new Promise((resolve) => method.call(product, x, resolve))));
    Promise.all([later(product.executeQuery, queries), later(product.getProperty, names)]).then(([rows, values]) => {
      // The package lock is free again: a plain call still answers.
      console.log(JSON.stringify({ ...out, async: rows, asyncNames: values, after: product.getProductName() }));
    });`], { cwd: ui.dir, env: ui.env, encoding: 'utf8', timeout: 60000 });
  ui.remove();
  assert.deepStrictEqual([child.status, child.signal], [0, null], child.stderr);
  const empty = Array(QUERY_COUNT).fill([]), blank = HOSTILE_NAMES.map(() => '');
  assert.deepStrictEqual(JSON.parse(child.stdout),
    { sync: empty, names: blank, async: empty, asyncNames: blank, after: 'Ornel Sample' });
});
