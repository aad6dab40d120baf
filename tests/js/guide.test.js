'use strict';
// The README shows the example UI script as it is, the script installs the
// package of an emulated machine with progress, and docs/guide.md documents
// every method of every service, and no other.
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), path = require('path');
const { spawnSync } = require('child_process'), { packageMachine } = require('./package_machine');
const { buildDir, SERVICES } = require('./addons');

const root = path.join(__dirname, '..', '..'), read = (file) => fs.readFileSync(path.join(root, file), 'utf8');
const EXAMPLE = 'examples/install-with-progress.js';

test('the README shows examples/install-with-progress.js verbatim', () => {
  const blocks = [...read('README.md').matchAll(/```js\n([\s\S]*?)```/g)].map((m) => m[1]);
  assert.ok(blocks.includes(read(EXAMPLE)));
});

test('the example installs the demo\'s package with progress, started elsewhere than beside it, and ends with 0', () => {
  const machine = packageMachine();
  const setup = path.join(machine.env.INSTALLER_ORNEL_MACHINE, 'drive_c', 'Setup');
  fs.copyFileSync(path.join(buildDir, 'examples', 'terminal-installer', 'brindle_installer.msi'),
    path.join(setup, 'brindle_installer.msi'));
  fs.appendFileSync(path.join(machine.env.INSTALLER_ORNEL_MACHINE, 'machine.conf'), 'installTickDelayMs=2\n');
  const run = spawnSync(process.execPath, [path.join(root, EXAMPLE)],
    { cwd: machine.dir, env: machine.env, encoding: 'utf8', timeout: 60000 });
  machine.remove();
  assert.strictEqual(run.status, 0, run.stderr);
  assert.match(run.stdout, /^ *\d+% \[[#-]{20}\] Action \d+:\d\d:\d\d: \w+\. /m);
  assert.match(run.stdout, /\ncompleted\(0\)\n$/);
});

test('the guide has a heading for each method of each service', () => {
  const { query } = require(root), documented = {};
  let service;
  for (const line of read('docs/guide.md').split('\n')) {
    const heading = /^### ([a-z_]+)$/.exec(line);
    if (heading) documented[service = heading[1]] = [];
    else if (line.startsWith('#### ')) documented[service].push(...[...line.matchAll(/`(?:\w+\.)?(\w+)\(/g)].map((m) => m[1]));
  }
  const actual = Object.fromEntries(SERVICES.map((name) => [name, Object.keys(query(name)).sort()]));
  for (const name of Object.keys(documented)) documented[name].sort();
  assert.deepStrictEqual(documented, actual);
});
