'use strict';
// msi_setup_manager as an installer UI uses it: a wixl-built package beside
// the emulated host executable, the UI started in another directory, each
// script in a fresh process whose host thread stays free while operations
// run. Every child prints its events as JSON when it exits.
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), path = require('path');
const { runChild } = require('./child'), { packageMachine } = require('./package_machine');

// Runs `body` with `setup`, `events` (printed at exit) and `receiver(tag)`,
// a receiver that records its events under `tag`.
// `machine` (from packageMachine) is kept for further runs when given.
function runUi(fixture, body, { conf = '', timeout = 60000, machine } = {}) {
  const own = !machine;
  machine = machine || packageMachine(fixture);
  if (conf) fs.appendFileSync(path.join(machine.env.INSTALLER_ORNEL_MACHINE, 'machine.conf'), conf);
  const script = `
    const setup = query('msi_setup_manager'), events = [];
    process.on('exit', () => console.log(JSON.stringify(events)));
    const receiver = (tag, then = () => {}) => ({
      progressChanged: (info) => events.push([tag, 'progress', info.progress, info.action, info.forward, Date.now()]),
      completed: (code) => { events.push([tag, 'completed', code]); then(code); },
    });
    ${body}`;
  const child = runChild(script, { env: machine.env, timeout });
  if (own) machine.remove();
  assert.strictEqual(child.status, 0, child.stderr);
  return { events: JSON.parse(child.stdout.trim().split('\n').pop()), child };
}

const completions = (events) => events.filter((e) => e[1] === 'completed').map((e) => [e[0], e[2]]);

test('the pre-installation task reports its result; a launch condition sees the given properties', () => {
  const { events } = runUi('licence', `
    setup.runPreinstallTask('', receiver('without', () =>
      setup.runPreinstallTask('AGREETOEULA=1 INSTALLDIR="C:\\\\Apps\\\\My App"', receiver('with'))));
    for (const call of [() => setup.runPreinstallTask('A=1 B=', receiver('bad')), () => setup.runUninstallProduct(5, 6)]) {
      try { call(); } catch (e) { events.push(['bad', 'threw', e.message]); }
    }`);
  assert.deepStrictEqual(completions(events), [['without', 1603], ['with', 0]]);
  assert.deepStrictEqual(events.filter((e) => e[0] === 'bad'),
    [['bad', 'threw', 'invalid string position'], ['bad', 'threw', 'Index is out of range']]);
});

test('one operation at a time: a second run gets 1618, a run started in completed runs', () => {
  const { events } = runUi('product', `
    const run = (tag, then) => events.push(['returned', setup.runPreinstallTask('', receiver(tag, then))]);
    run('first', () => { run('next'); run('refused too'); });
    run('refused');
    setTimeout(() => setup.runPreinstallTask('', receiver('in the background'), (r) => events.push(['returned', r])), 500);`);
  assert.deepStrictEqual(completions(events).sort(),
    [['first', 0], ['in the background', 0], ['next', 0], ['refused too', 1618], ['refused', 1618]]);
  assert.deepStrictEqual(events.filter((e) => e[0] === 'returned'), Array(5).fill(['returned', 0]));
});

test('log flags, and the Windows Installer log that initLog chooses', () => {
  const { events, child } = runUi('product', `
    events.push(['flags', [1, 3, 2, 0, 4, -1].map((level) => setup.getMsiLogFlags(level))]);
    const log = require('path').join(process.cwd(), 'verbose.log');
    events.push(['init', setup.initLog('Z:' + log.replace(/\\//g, '\\\\'), 3)]);
    setup.runPreinstallTask('', receiver('logged', () => {
      events.push(['log', require('fs').readFileSync(log, 'utf8')]);
      setup.initLog('', 3);
      setup.runPreinstallTask('', receiver('unlogged'));
    }));`);
  assert.deepStrictEqual(events.find((e) => e[0] === 'flags')[1], [16386, 8159, 5120, 5120, 5120, 5120]);
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

// About 5 seconds for the product package's installation.
const SLOW = 'installTickDelayMs=400\n', ACTION = /^Action \d{1,2}:\d\d:\d\d: \w+\. /;

test('an installation: progress about once a second, never back while forward, then completed once', () => {
  const { events } = runUi('product', `
    const start = Date.now();
    setup.runSetupTask('', receiver('install', () => events.push(
      ['end', Date.now() - start, query('msi_product_info').getSetupType()])));`, { conf: SLOW });
  const progress = events.filter((e) => e[1] === 'progress');
  const [, elapsed, setupType] = events.find((e) => e[0] === 'end');
  assert.deepStrictEqual(completions(events), [['install', 0]]);
  assert.strictEqual(setupType, 4);
  assert.ok(progress.length >= 3 && progress.length <= elapsed / 1000 + 2, `${progress.length} in ${elapsed} ms`);
  progress.forEach((e) => assert.match(e[3], ACTION));
  // The bar restarts once, when the written script starts to run; a loaded
  // machine may sample the writing. Any other step back is a fault.
  const back = progress.filter((e, i) => i > 0 && e[4] && progress[i - 1][4] && e[2] < progress[i - 1][2]);
  assert.ok(back.length <= 1, JSON.stringify(progress));
  assert.strictEqual(progress.at(-1)[2], 100);
});

// That a cancel at any message leaves every byte of the machine as it was: cancel_sweep.test.js.
test('cancelTask cancels the installation, which is then not installed; the next one installs', () => {
  const { events } = runUi('product', `
    const info = query('msi_product_info');
    const install = receiver('install', () => events.push(['installed', info.getSetupType()]));
    let cancelled = false;
    setup.runSetupTask('', { ...receiver('cancelled', () => {
      events.push(['after cancel', info.getSetupType()]);
      setup.runSetupTask('', install);
    }), progressChanged: () => { if (!cancelled) setup.cancelTask(); cancelled = true; } });`, { conf: SLOW });
  assert.deepStrictEqual(events.filter((e) => e[1] !== 'progress'),
    [['cancelled', 'completed', 1602], ['after cancel', 1], ['install', 'completed', 0], ['installed', 4]]);
});

test('uninstalling: the product goes, an unknown product gives 1605', () => {
  const { events } = runUi('product', `
    const info = query('msi_product_info');
    setup.runSetupTask('', receiver('install', () =>
      setup.runUninstallProduct(info.getProductCode(), '', receiver('uninstall', () => {
        events.push(['type', info.getSetupType()]);
        setup.runUninstallProduct('{00000000-0000-4000-8000-000000000001}', '', receiver('unknown'));
      }))));`);
  assert.deepStrictEqual(completions(events), [['install', 0], ['uninstall', 0], ['unknown', 1605]]);
  assert.deepStrictEqual(events.find((e) => e[0] === 'type'), ['type', 1]);
});

test('exiting during an installation ends the process at once, 10 times of 10', () => {
  const machine = packageMachine('product');
  for (let i = 0; i < 10; i += 1) {
    runUi('product', `setup.runSetupTask('', { progressChanged: () => process.exit(0), completed() {} });`,
      { conf: i === 0 ? SLOW : '', machine, timeout: 20000 });
  }
  const { events } = runUi('product', `setup.runSetupTask('', receiver('after', () =>
    events.push(['type', query('msi_product_info').getSetupType()])));`, { machine });
  machine.remove();
  assert.deepStrictEqual(events.filter((e) => e[1] !== 'progress'), [['after', 'completed', 0], ['type', 4]]);
});
