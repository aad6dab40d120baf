'use strict';
// A fresh UI directory for a child process: an emulated machine whose host
// executable is C:\Setup\setup.exe, with a test package beside it as the
// default package (a fixture's name, or a package file's path). The child gets `env`; nothing is loaded for it.
const fs = require('fs'), os = require('os'), path = require('path'), { buildDir } = require('./addons');

function packageMachine(fixture = 'branded') {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-ui-')), machine = path.join(dir, 'machine');
  fs.mkdirSync(path.join(machine, 'drive_c', 'Setup'), { recursive: true });
  fs.writeFileSync(path.join(machine, 'machine.conf'), 'hostExecutable=C:\\Setup\\setup.exe\n');
  const source = fixture.endsWith('.msi') ? fixture : path.join(buildDir, 'tests', 'fixtures', `${fixture}.msi`);
  fs.copyFileSync(source, path.join(machine, 'drive_c', 'Setup', 'brindle_installer.msi'));
  const remove = () => fs.rmSync(dir, { recursive: true, force: true });
  return { dir, env: { ...process.env, INSTALLER_ORNEL_MACHINE: machine }, remove };
}

module.exports = { packageMachine, addonPath: path.join(buildDir, 'installer_ornel.node') };
