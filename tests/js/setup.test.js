'use strict';
// msi_setup_manager as an installer UI uses it: a wixl-built package beside
// the emulated host executable, the UI started in another directory, each
// script in a fresh process whose host thread stays free while operations
// run. Every child prints its events as JSON when it exits.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('fs');
const path = require('path');
const { runChild } = require('./child');
const { packageMachine } = require('./package_machine');

// Runs `body` with `setup`, `events` (printed at exit) and `receiver(tag)`,
// a receiver that records its events under `tag`.
function runUi(fixture, body, { conf = '', timeout = 60000 } = {}) {
  const machine = packageMachine(fixture);
  if (conf) fs.appendFileSync(path.join(machine.env.INSTALLER_ORNEL_MACHINE, 'machine.conf'), conf);
  const script = `
    const setup = query('msi_setup_manager');
    const events = [];
    process.on('exit', () => console.log(JSON.stringify(events)));
    const receiver = (tag, then = () => {}) => ({
      progressChanged: (info) => events.push([tag, 'progress', info.progress, info.action, info.forward]),
      completed: (code) => { events.push([tag, 'completed', code]); then(code); },
    });
    ${body}`;
  const child = runChild(script, { env: machine.env, timeout });
  machine.remove();
  assert.strictEqual(child.status, 0, child.stderr);
  return { events: JSON.parse(child.stdout.trim().split('\n').pop()), child };
}

const completions = (events) => events.filter((e) => e[1] === 'completed').map((e) => [e[0], e[2]]);

test('the pre-installation task reports its result; a launch condition sees the given properties', () => {
  const { events } = runUi('licence', `
    setup.runPreinstallTask('', receiver('without', () =>
      setup.runPreinstallTask('AGREETOEULA=1 INSTALLDIR="C:\\\\Apps\\\\My App"', receiver('with'))));
    try { setup.runPreinstallTask('A=1 B=', receiver('bad')); } catch (e) { events.push(['bad', 'threw', e.message]); }`);
  assert.deepStrictEqual(completions(events), [['without', 1603], ['with', 0]]);
  assert.deepStrictEqual(events.filter((e) => e[0] === 'bad'), [['bad', 'threw', 'invalid string position']]);
});

test('one operation at a time: a second run gets 1618, a run started in completed runs', () => {
  const { events } = runUi('product', `
    const run = (tag, then) => events.push(['returned', setup.runPreinstallTask('', receiver(tag, then))]);
    run('first', () => { run('next'); run('refused too'); });
    run('refused');`);
  assert.deepStrictEqual(completions(events).sort(),
    [['first', 0], ['next', 0], ['refused too', 1618], ['refused', 1618]]);
  assert.deepStrictEqual(events.filter((e) => e[0] === 'returned'), Array(4).fill(['returned', 0]));
});

test('log flags, and the Windows Installer log that initLog chooses', () => {
  const { events, child } = runUi('product', `
    events.push(['flags', [1, 3, 2, 0, -1].map((level) => setup.getMsiLogFlags(level))]);
    const log = require('path').join(process.cwd(), 'verbose.log');
    events.push(['init', setup.initLog('Z:' + log.replace(/\\//g, '\\\\'), 3)]);
    setup.runPreinstallTask('', receiver('logged', () => {
      events.push(['log', require('fs').readFileSync(log, 'utf8')]);
      setup.initLog('', 3);
      setup.runPreinstallTask('', receiver('unlogged'));
    }));`);
  assert.deepStrictEqual(events.find((e) => e[0] === 'flags')[1], [16386, 8159, 5120, 5120, 5120]);
  assert.deepStrictEqual(completions(events), [['logged', 0], ['unlogged', 0]]);
  const log = events.find((e) => e[0] === 'log')[1];
  assert.match(log, /Verbose logging started/);
  assert.match(log, /Doing action: CostFinalize/);
  assert.deepStrictEqual(fs.readdirSync(child.dir).filter((name) => /MSI\.log$/.test(name)), []);
});

test('a receiver without methods: the error reaches uncaughtException, the next operation works', () => {
  const { events } = runUi('product', `
    process.on('uncaughtException', (e) => events.push(['uncaught', e.message]));
    setup.runPreinstallTask('', {});
    setTimeout(() => setup.runPreinstallTask('', receiver('next')), 200);`);
  assert.deepStrictEqual(events, [['uncaught', 'The receiver has no method completed'], ['next', 'completed', 0]]);
});
