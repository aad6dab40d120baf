'use strict';
// The bootstrapper of the emulated machine, around a small UI script that reads the
// command line through the scenario tool, waits for the package and hides the splash screen.
const test = require('node:test'), assert = require('node:assert'), { spawnSync } = require('child_process');
const fs = require('fs'), os = require('os'), path = require('path'), { buildDir } = require('./addons');
const { machineTool } = require('./child');

const BOOTSTRAPPER = path.join(__dirname, '..', '..', 'tools', 'bootstrapper.js');
const UI = `
const { execFileSync } = require('child_process');
const tool = (...args) => execFileSync(${JSON.stringify(path.join(buildDir, 'machine_tool'))}, args, { encoding: 'utf8' });
const line = tool('mapping', 'read', 'Local\\\\E2974B1D-08C3-4A6E-B5F1-7D2C9E430A86').replace(/\\n$/, '');
console.log(JSON.stringify({ length: line.length, start: line.slice(0, 20), cwd: process.cwd() }));
tool('event', 'wait', 'Global\\\\Event_TOLV_7A3C52E0-91B4-4D6F-A2C8-3E5F60B1D947');
if (process.argv[2] === 'hide') tool('event', 'set', 'Global\\\\Event_TOLV_C81E4F29-5D07-4B3A-8E62-0A9DB7F31C54');
process.exit(Number(process.argv[3]));
`;

function bootstrap(root, options, uiArgs) {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-boot-'));
  fs.writeFileSync(path.join(dir, 'ui.js'), UI);
  const result = spawnSync(process.execPath, [BOOTSTRAPPER, '--root', root, ...options, '--',
    process.execPath, path.join(dir, 'ui.js'), ...uiArgs], { cwd: dir, encoding: 'utf8', timeout: 60000 });
  const [report, ...rest] = result.stdout.split('\n');
  return { dir, status: result.status, report: report && JSON.parse(report), rest: rest.filter(Boolean), err: result.stderr };
}

test('the UI gets the command line, the package and the splash-screen event, and its exit code is the result', () => {
  const cases = [
    { text: '/log "C:\\My Logs"', pkg: true, ui: ['hide', '7'], length: 17, lines: ['splash screen hidden'] },
    { text: 'x'.repeat(1500), pkg: false, ui: ['stay', '0'], length: 1024, lines: [] },
    { text: '', pkg: true, ui: ['hide', '3'], length: 0, lines: ['splash screen hidden'] },
  ];
  for (const c of cases) {
    const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-boot-machine-'));
    machineTool(root, 'config', 'hostExecutable', 'C:\\Setup\\setup.exe');
    const packageDir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-boot-package-'));
    fs.writeFileSync(path.join(packageDir, 'brindle_installer.msi'), 'package');
    const options = ['--command-line', c.text, '--extract-delay', '50'];
    if (c.pkg) options.push('--package', path.join(packageDir, 'brindle_installer.msi'));
    const run = bootstrap(root, options, c.ui);
    assert.strictEqual(run.status, Number(c.ui[1]), run.err);
    assert.deepStrictEqual(run.report,
      { length: c.length, start: c.text.slice(0, 20), cwd: c.pkg ? packageDir : run.dir }, run.err);
    assert.deepStrictEqual(run.rest, c.lines);
    assert.strictEqual(fs.existsSync(path.join(root, 'drive_c', 'Setup', 'brindle_installer.msi')), c.pkg);
    for (const kind of ['events', 'mappings']) assert.deepStrictEqual(fs.readdirSync(path.join(root, 'kernel', kind)), []);
  }
});

test('a bootstrapper without a UI command is refused', () => {
  const result = spawnSync(process.execPath, [BOOTSTRAPPER, '--extract-delay', 'soon'], { encoding: 'utf8' });
  assert.deepStrictEqual([result.status, /usage/.test(result.stderr)], [2, true], result.stderr);
});
