#!/usr/bin/env node
'use strict';
// npm start: prepares a fresh emulated Windows machine for one scenario and
// starts the terminal installer (ui.js) on it through the bootstrapper,
// exactly as the bootstrapper starts an installer UI on Windows: with the
// command-line mapping ("/log" into C:\Setup\Logs), the splash-screen and
// package-ready events, and the package copied beside the host executable
// C:\Setup\setup.exe only after a short delay, so that the UI waits for it.
//
//   node examples/terminal-installer/start.js [--scenario NAME] [--root DIR] [--tick-delay MS]
//
// It prints the machine's root first and ends with the UI's exit code. The
// machine stays, for a look at what the installation did.
const { execFileSync, spawn } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const REPO = path.join(__dirname, '..', '..');
const BUILD = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(REPO, 'build');
const PACKAGE = path.join(BUILD, 'examples', 'terminal-installer', 'brindle_installer.msi');
const BETA = path.join(BUILD, 'examples', 'terminal-installer', 'brindle_beta.msi');
// A default that makes the default installation last about ten seconds.
const DEFAULT_TICK_DELAY_MS = 15;
const EXTRACT_DELAY_MS = 1000;
const LOG_FOLDER = 'C:\\Setup\\Logs';

// What each scenario puts on the machine before the UI starts: machine.js
// commands (run in order), then machine.conf keys.
const SCENARIOS = {
  fresh: { about: 'nothing installed', commands: [], config: {} },
  beta: { about: 'Brindle Studio 2.4 Beta (2.3.90) installed: setup replaces it',
    commands: [['install', BETA]], config: {} },
  older: { about: 'Brindle Studio 2.2.0 installed: setup upgrades it', config: {},
    commands: [['register', PACKAGE, '--product-code', '{B81D5A40-2200-4C2E-9A18-3D4E5F607182}', '--version', '2.2.0']] },
  newer: { about: 'Brindle Studio 3.0.0 installed: a downgrade',
    config: {},
    commands: [['register', PACKAGE, '--product-code', '{B81D5A40-3000-4C2E-9A18-3D4E5F607182}', '--version', '3.0.0']] },
  fail: { about: 'RegisterProduct fails after its work: 1603 and a rollback',
    commands: [], config: { failAction: 'RegisterProduct' } },
  'old-windows': { about: 'Windows 7 SP1: the launch condition (Windows 8.1) fails', commands: [],
    config: { windowsMajor: 6, windowsMinor: 1, windowsBuild: 7601, windowsServicePack: 1 } },
};

function usage(message) {
  const names = Object.entries(SCENARIOS).map(([name, s]) => `  ${name.padEnd(12)} ${s.about}`).join('\n');
  console.error(`${message ? `start: ${message}\n` : ''}usage: npm start -- [--scenario NAME] [--root DIR] [--tick-delay MS]\n` +
    `  --root DIR        the machine's root: an empty or new folder (default: a new temporary one)\n` +
    `  --tick-delay MS   pause after each progress report (default ${DEFAULT_TICK_DELAY_MS}: about 10 s an installation)\n` +
    `  --scenario NAME   (default fresh)\n${names}`);
  process.exit(2);
}

function parseArguments(argv) {
  const options = { scenario: 'fresh', root: null, tickDelay: DEFAULT_TICK_DELAY_MS };
  const names = { '--scenario': 'scenario', '--root': 'root', '--tick-delay': 'tickDelay' };
  for (let i = 0; i < argv.length; i += 2) {
    if (argv[i] === '--help' || argv[i] === '-h') usage();
    if (!names[argv[i]] || i + 1 >= argv.length) usage(`unknown or incomplete option ${argv[i]}`);
    options[names[argv[i]]] = argv[i + 1];
  }
  options.tickDelay = Number(options.tickDelay);
  if (!Number.isInteger(options.tickDelay) || options.tickDelay < 0) usage('--tick-delay takes milliseconds');
  if (!SCENARIOS[options.scenario]) usage(`no scenario ${options.scenario}`);
  return options;
}

function machineRoot(root) {
  if (root === null) return fs.mkdtempSync(path.join(os.tmpdir(), 'brindle-machine-'));
  // npm runs scripts in the repository; INIT_CWD is where npm start was typed.
  const resolved = path.resolve(process.env.INIT_CWD || process.cwd(), root);
  if (fs.existsSync(resolved) && fs.readdirSync(resolved).length > 0) usage(`${resolved} is not empty`);
  fs.mkdirSync(resolved, { recursive: true });
  return resolved;
}

// A Windows machine's own folders and keys, which neither an installation
// nor an uninstallation creates or removes, and the folder of the logs.
function prepareMachine(root, scenario, tickDelay) {
  const machine = (...args) => execFileSync(process.execPath, [path.join(REPO, 'tools', 'machine.js'), '--root', root, ...args],
    { encoding: 'utf8' }).trim();
  machine('init');
  for (const folder of ['Program Files', 'ProgramData/Microsoft/Windows/Start Menu/Programs', 'Windows/Installer', 'Setup/Logs']) {
    fs.mkdirSync(path.join(root, 'drive_c', folder), { recursive: true });
  }
  for (const key of ['HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall', 'HKCU\\Software']) machine('registry', 'set', key);
  machine('config', 'hostExecutable', 'C:\\Setup\\setup.exe');
  for (const command of scenario.commands) {
    const output = machine(...command);
    if (command[0] === 'install' && output !== '0') throw new Error(`machine.js ${command.join(' ')} gave ${output}`);
  }
  for (const [key, value] of Object.entries({ ...scenario.config, installTickDelayMs: tickDelay })) {
    machine('config', key, String(value));
  }
}

function main() {
  const options = parseArguments(process.argv.slice(2));
  if (!fs.existsSync(PACKAGE)) usage(`no ${PACKAGE}: build first (npm run build)`);
  const root = machineRoot(options.root);
  const scenario = SCENARIOS[options.scenario];
  console.log(`Emulated machine: ${root}`);
  console.log(`Scenario ${options.scenario}: ${scenario.about}`);
  prepareMachine(root, scenario, options.tickDelay);
  // The UI owns the keyboard: Ctrl-C is its cancel key, and it ends on its own.
  process.on('SIGINT', () => {});
  const bootstrapper = spawn(process.execPath, [path.join(REPO, 'tools', 'bootstrapper.js'), '--root', root,
    '--package', PACKAGE, '--command-line', `/log "${LOG_FOLDER}"`, '--extract-delay', String(EXTRACT_DELAY_MS),
    '--', process.execPath, path.join(__dirname, 'ui.js')], { stdio: 'inherit' });
  bootstrapper.on('exit', (code, signal) => {
    console.log(`Logs: ${path.join(root, 'drive_c', 'Setup', 'Logs')}`);
    process.exit(code === null ? 128 + (os.constants.signals[signal] || 0) : code);
  });
}

main();
