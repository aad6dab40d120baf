#!/usr/bin/env node
'use strict';
// The scenario tool: sets up the emulated Windows machine that an installer
// UI runs on off Windows. The machine is INSTALLER_ORNEL_MACHINE, or --root.
//
//   node tools/machine.js [--root DIR] init
//   node tools/machine.js config KEY VALUE
//   node tools/machine.js register PACKAGE.msi [--product-code G] [--version V]
//        [--package-code G] [--name N] [--language LANGID] [--location PATH] [--feature NAME=local|source|absent|advertised ...]
//   node tools/machine.js unregister PRODUCTCODE
//   node tools/machine.js list                  (rolls back what a killed installation left first)
//   node tools/machine.js registry set KEY [NAME [VALUE ...]] [--type TYPE]
//   node tools/machine.js registry get KEY [NAME] | registry delete KEY [NAME]
//   node tools/machine.js event create NAME [--auto-reset] | event set|remove NAME | event wait NAME [MS]
//   node tools/machine.js mapping create NAME TEXT | mapping read|remove NAME
//   node tools/machine.js hostpath WINDOWSPATH
//   node tools/machine.js restarts              (the restart requests of ExitWindowsEx)
//   node tools/machine.js shell                 (the files ShellExecuteW started or opened)
//   node tools/machine.js condition PACKAGE.msi [--set NAME=VALUE ...] EXPRESSION [EXPRESSION ...]
//   node tools/machine.js preinstall PACKAGE.msi [PROP=VALUE ...] [--messages FILE] [--cancel-at N]
//   node tools/machine.js install PACKAGE.msi [PROP=VALUE ...] [--messages FILE] [--cancel-at N]
//   node tools/machine.js uninstall PRODUCTCODE [--messages FILE] [--cancel-at N]
//
// preinstall, install and uninstall print the result code. --messages FILE
// gets each message of the add-on's external UI filter as one JSON line,
// {"type": "0x0A000000", "text": "..."}, written as it arrives; --cancel-at N
// answers IDCANCEL to the N-th of those messages (counted from 1).
const { spawnSync } = require('child_process');
const path = require('path');

const args = process.argv.slice(2);
const env = { ...process.env };
const rootAt = args.indexOf('--root');
if (rootAt >= 0) {
  env.INSTALLER_ORNEL_MACHINE = path.resolve(args[rootAt + 1] || '');
  args.splice(rootAt, 2);
}
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, '..', 'build');
const result = spawnSync(path.join(buildDir, 'machine_tool'), args, { env, stdio: 'inherit' });
if (result.error) {
  console.error(`machine: ${result.error.message} (run npm run build first)`);
  process.exit(1);
}
process.exit(result.status === null ? 1 : result.status);
