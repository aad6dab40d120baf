'use strict';
// A fresh UI directory for a child process: an emulated machine whose host
// executable is C:\Setup\setup.exe, with a test package beside it as the
// default package. The child gets `env`; nothing is loaded for it.
const fs = require('fs'), os = require('os'), path = require('path'), { buildDir } = require('./addons');

function packageMachine(fixture = 'branded') {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-ui-')), machine = path.join(dir, 'machine');
  fs.mkdirSync(path.join(machine, 'drive_c', 'Setup'), { recursive: true });
  fs.writeFileSync(path.join(machine, 'machine.conf'), 'hostExecutable=C:\\Setup\\setup.exe\n');
  fs.copyFileSync(path.join(buildDir, 'tests', 'fixtures', `${fixture}.msi`),
    path.join(machine, 'drive_c', 'Setup', 'brindle_installer.msi'));
  return {
    dir,
    env: { ...process.env, INSTALLER_ORNEL_MACHINE: machine },
    remove: () => fs.rmSync(dir, { recursive: true, force: true }),
  };
}

module.exports = { packageMachine, addonPath: path.join(buildDir, 'installer_ornel.node') };
