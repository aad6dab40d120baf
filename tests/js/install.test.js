'use strict';
// Installations and removals on the emulated machine, through the scenario
// tool: what they leave on the machine, their result codes, and their
// progress as the installer UI's bar reads it.
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), path = require('path');
const m = require('./install_machine');

const PAYLOAD = path.join(__dirname, '..', 'fixtures', 'files');
const MENU = 'ProgramData/Microsoft/Windows/Start Menu/Programs/', APP_DIR = 'C:\\Program Files\\Ornel Scenario\\';
const SOURCES = {
  'app.txt': 'scenario_app.txt', 'settings.ini': 'scenario_settings.ini', 'docs/manual.txt': 'scenario_manual.txt',
};

// What an installation added under drive_c, the cached package's random
// name made fixed.
function added(before, after) {
  return Object.keys(after).filter((name) => !(name in before) && name.startsWith('drive_c/'))
    .map((name) => name.slice('drive_c/'.length).replace(/^(Windows\/Installer\/)[^/]+\.msi$/, '$1*.msi')).sort();
}

const PROGRAM = 'Program Files/Ornel Scenario/';
const installs = [
  { name: 'the defaults', args: [], dir: PROGRAM, manual: false },
  { name: 'INSTALLDIR elsewhere', args: ['INSTALLDIR=C:\\Apps\\Scenario'], dir: 'Apps/Scenario/', manual: false },
  { name: 'the Extras feature by INSTALLLEVEL', args: ['INSTALLLEVEL=1000'], dir: PROGRAM, manual: true },
];

for (const { name, args, dir, manual } of installs) {
  test(`install and uninstall with ${name}: the files, registry and store, then nothing left`, () => {
    const root = m.freshMachine(), before = m.snapshot(root);
    assert.strictEqual(m.tool(root, 'install', m.fixture('scenario_v1'), ...args).out, '0');
    const after = m.snapshot(root);
    const files = ['app.txt', 'settings.ini', ...(manual ? ['docs/', 'docs/manual.txt'] : [])];
    assert.deepStrictEqual(added(before, after),
      [dir, ...files.map((f) => dir + f), `${MENU}Ornel Scenario.lnk`, 'Windows/Installer/*.msi'].sort());
    for (const file of files.filter((f) => f in SOURCES)) {
      assert.deepStrictEqual(fs.readFileSync(path.join(root, 'drive_c', dir, file)),
        fs.readFileSync(path.join(PAYLOAD, SOURCES[file])), file);
    }
    const windowsDir = `C:\\${dir.replace(/\//g, '\\')}`;
    assert.ok(fs.readFileSync(path.join(root, 'drive_c', MENU, 'Ornel Scenario.lnk'), 'utf8')
      .includes(`${windowsDir}app.txt`));
    assert.strictEqual(m.tool(root, 'registry', 'get', 'HKLM\\Software\\Ornel\\Scenario', 'Version').out, '1.0.0');
    const listed = m.tool(root, 'list').out.split('\n');
    assert.match(listed[0], new RegExp(`^\\${m.V1}\\tOrnel Scenario\\t1\\.0\\.0\\t`));
    assert.deepStrictEqual(listed.slice(1),
      ['  feature Complete\tlocal', `  feature Extras\t${manual ? 'local' : 'absent'}\tparent Complete`]);

    assert.strictEqual(m.tool(root, 'uninstall', m.V1).out, '0');
    assert.deepStrictEqual(m.snapshot(root), before);
    fs.rmSync(root, { recursive: true, force: true });
  });
}

test('a major upgrade removes the older version', () => {
  const root = m.freshMachine(), before = m.snapshot(root);
  assert.strictEqual(m.tool(root, 'install', m.fixture('scenario_v1')).out, '0');
  assert.strictEqual(m.tool(root, 'install', m.fixture('scenario_v2')).out, '0');
  const listed = m.tool(root, 'list').out.split('\n').filter((line) => line.startsWith('{'));
  assert.deepStrictEqual(listed.map((line) => line.split('\t').slice(0, 3)), [[m.V2, 'Ornel Scenario', '2.0.0']]);
  assert.strictEqual(m.tool(root, 'registry', 'get', 'HKLM\\Software\\Ornel\\Scenario', 'Version').out, '2.0.0');
  assert.ok(fs.existsSync(path.join(root, 'drive_c', 'Program Files', 'Ornel Scenario', 'app.txt')));
  assert.strictEqual(m.tool(root, 'uninstall', m.V1).out, '1605');
  assert.strictEqual(m.tool(root, 'uninstall', m.V2).out, '0');
  assert.deepStrictEqual(m.snapshot(root), before);
  fs.rmSync(root, { recursive: true, force: true });
});

// Each case: the machine's configuration (set after the first steps), what
// is done first, the command and its result. A failure leaves the machine
// as it was before the command.
const v1 = m.fixture('scenario_v1');
const results = [
  ['an unknown product', {}, [], ['uninstall', '{00000000-1111-4222-8333-444444444444}'], '1605'],
  ['a malformed product code', {}, [], ['uninstall', '5E0A7C21-4B8D'], '87'],
  ['a package that is not there', {}, [], ['install', '/nonexistent/none.msi'], '1619'],
  ['a file that is not a package', {}, [], ['install', path.join(PAYLOAD, 'scenario_app.txt')], '1620'],
  ['a malformed command line', {}, [], ['install', v1, '9LIVES=1'], '1639'],
  ['another version of the product', {}, [['register', v1, '--version', '0.9.0', '--package-code',
    '{5E0A7C21-9000-4000-8000-00000000A0B1}']], ['install', v1], '1638'],
  ['a false launch condition', {}, [], ['install', v1, 'BLOCKED=1'], '1603'],
  ['a newer version installed', {}, [['install', m.fixture('scenario_v2')]], ['install', v1], '1603'],
  ['a failing action', { failAction: 'WriteRegistryValues' }, [], ['install', v1], '1603'],
  ['a failing action in the removal', { failAction: 'RemoveFiles' }, [['install', v1]], ['uninstall', m.V1], '1603'],
  ['a restart required', { restartRequired: 1 }, [], ['install', v1], '3010'],
];

for (const [name, config, setup, command, code] of results) {
  test(`${command[0]} with ${name} gives ${code}`, () => {
    const root = m.freshMachine();
    for (const step of setup) assert.match(m.tool(root, ...step).out, /^(0|\{.*\})$/, step.join(' '));
    for (const [key, value] of Object.entries(config)) m.tool(root, 'config', key, String(value));
    const before = m.snapshot(root), messages = path.join(root, '..', `${path.basename(root)}.json`);
    assert.strictEqual(m.tool(root, ...command, '--messages', messages).out, code);
    if (code === '3010') {
      assert.match(m.tool(root, 'list').out, new RegExp(`^\\${m.V1}\\t`));
    } else {
      assert.deepStrictEqual(m.snapshot(root), before);
    }
    const errors = m.readMessages(messages).filter((msg) => msg.type.startsWith('0x01'));
    if (code === '1603') assert.ok(errors.length > 0, 'an error message');
    fs.rmSync(root, { recursive: true, force: true });
    fs.rmSync(messages, { force: true });
  });
}

test('a second installation while one runs in another process gives 1618; the first goes on', async () => {
  const root = m.freshMachine({ installTickDelayMs: 400 }), messages = path.join(root, 'slow.json');
  const slow = m.startTool(root, 'install', v1, '--messages', messages);
  let exit = null;
  const ended = new Promise((resolve) => slow.on('exit', (code) => resolve((exit = code))));
  const reporting = () => fs.existsSync(messages) && m.readMessages(messages).some((msg) => /^1: 2 /.test(msg.text));
  while (!reporting() && exit === null) await new Promise((resolve) => setTimeout(resolve, 20));
  assert.strictEqual(exit, null, 'the slow installation still runs');
  assert.strictEqual(m.tool(root, 'install', m.fixture('scenario_v2')).out, '1618');
  assert.strictEqual(m.tool(root, 'list').status, 0, 'a look at the machine takes nothing back');
  assert.strictEqual(await ended, 0);
  assert.match(m.tool(root, 'list').out, new RegExp(`^\\${m.V1}\\t`));
  fs.rmSync(root, { recursive: true, force: true });
});

// The bar of each run: the execution's reset announces the total, the
// ticks reported after it add up to it, and the bar ends at 100 % without
// moving back on the way.
test('the progress of an installation, an upgrade and a removal, as the UI reads it', () => {
  const root = m.freshMachine(), messages = path.join(root, 'messages.json');
  for (const command of [['install', v1], ['install', m.fixture('scenario_v2')], ['uninstall', m.V2]]) {
    assert.strictEqual(m.tool(root, ...command, '--messages', messages).out, '0');
    const { percents, resets } = m.decodeProgress(m.readMessages(messages));
    const execution = resets.filter((reset) => !reset.script);
    assert.ok(resets.some((reset) => reset.script), `${command[0]}: a reset while the script is generated`);
    assert.ok(execution.length >= 1 && execution.every((reset) => reset.forward && reset.total > 0));
    for (const reset of execution) {
      assert.strictEqual(reset.reported, reset.total, command.join(' '));
      assert.deepStrictEqual(reset.percents, [...reset.percents].sort((a, b) => a - b), command.join(' '));
    }
    assert.strictEqual(percents[percents.length - 1], 100, command.join(' '));
    const data = m.readMessages(messages).filter((msg) => msg.type === '0x09000000').map((msg) => msg.text);
    const file = `File: app.txt,  Directory: ${APP_DIR},  Size: 29`;
    if (command[1] === v1) assert.ok(data.includes(file), data.join('\n'));
  }
  fs.rmSync(root, { recursive: true, force: true });
});
