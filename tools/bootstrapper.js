#!/usr/bin/env node
'use strict';
// The bootstrapper of the emulated machine: starts an installer UI the way
// the real bootstrapper does on Windows, sharing the same named objects.
//
//   node tools/bootstrapper.js [--root DIR] [--command-line TEXT] [--package PACKAGE.msi]
//        [--extract-delay MS] -- node UI.js [args]
//
// 1. It creates the command-line mapping (TEXT as UTF-16LE with a zero
//    unit after it), the splash-screen event and the package-ready event.
// 2. It starts the UI in the package's directory (the current one without
//    --package), with INSTALLER_ORNEL_MACHINE set.
// 3. After MS milliseconds (0 by default) it copies the package beside the
//    host executable (machine.conf hostExecutable; without that key the
//    package stays where it is) and sets the package-ready event.
// 4. It prints "splash screen hidden" each time the UI sets the splash-screen
//    event.
// 5. It ends with the UI's exit code, once it has removed the three objects.
//
// The objects are files of the machine, so they last while the UI runs; the
// splash-screen event is watched by a child `machine_tool event wait`.
const { spawn, spawnSync } = require('child_process');
const fs = require('fs');
const path = require('path');

const COMMAND_LINE_MAPPING = 'Local\\E2974B1D-08C3-4A6E-B5F1-7D2C9E430A86';
const SPLASH_EVENT = 'Global\\Event_TOLV_C81E4F29-5D07-4B3A-8E62-0A9DB7F31C54';
const PACKAGE_READY_EVENT = 'Global\\Event_TOLV_7A3C52E0-91B4-4D6F-A2C8-3E5F60B1D947';

function usage(message) {
  console.error(`bootstrapper: ${message}\nusage: node tools/bootstrapper.js [--root DIR] [--command-line TEXT] ` +
    '[--package PACKAGE.msi] [--extract-delay MS] -- COMMAND [ARGS]');
  process.exit(2);
}

function parseArguments(argv) {
  const options = { commandLine: '', extractDelay: 0 };
  const end = argv.indexOf('--');
  if (end < 0 || end === argv.length - 1) usage('no UI command after --');
  const names = { '--root': 'root', '--command-line': 'commandLine', '--package': 'package', '--extract-delay': 'extractDelay' };
  for (let i = 0; i < end; i += 2) {
    const name = names[argv[i]];
    if (!name || i + 1 >= end) usage(`unknown or incomplete option ${argv[i]}`);
    options[name] = argv[i + 1];
  }
  options.extractDelay = Number(options.extractDelay);
  if (!Number.isInteger(options.extractDelay) || options.extractDelay < 0) usage('--extract-delay takes milliseconds');
  options.command = argv.slice(end + 1);
  if (options.package !== undefined && !fs.existsSync(options.package)) usage(`no package ${options.package}`);
  return options;
}

const options = parseArguments(process.argv.slice(2));
const env = { ...process.env };
if (options.root !== undefined) env.INSTALLER_ORNEL_MACHINE = path.resolve(options.root);
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, '..', 'build');
const toolPath = path.join(buildDir, 'machine_tool');

// Runs the scenario tool's native half; its output, or exits on a failure.
function tool(...args) {
  const result = spawnSync(toolPath, args, { env, encoding: 'utf8' });
  if (result.error) usage(`${result.error.message} (run npm run build first)`);
  if (result.status !== 0 && result.status !== 2) {
    process.stderr.write(result.stderr);
    process.exit(1);
  }
  return { status: result.status, output: result.stdout.replace(/\n$/, '') };
}

// The folder of machine.conf's hostExecutable on the host, or null.
function hostExecutableFolder() {
  const root = tool('init').output;
  let config = '';
  try { config = fs.readFileSync(path.join(root, 'machine.conf'), 'utf8'); } catch { return null; }
  const line = config.split('\n').find((l) => l.startsWith('hostExecutable='));
  const executable = line && line.slice('hostExecutable='.length).trim();
  return executable ? path.dirname(tool('hostpath', executable).output) : null;
}

// A copy that fails (a full disk, say) is reported; the event is set all the
// same, so that the UI does not wait for ever and meets the missing package.
function extractPackage() {
  if (options.package !== undefined) {
    try {
      const folder = hostExecutableFolder();
      const target = folder && path.join(folder, path.basename(options.package));
      if (target && path.resolve(target) !== path.resolve(options.package)) {
        fs.mkdirSync(folder, { recursive: true });
        fs.copyFileSync(options.package, target);
      }
    } catch (error) {
      console.error(`bootstrapper: cannot extract the package: ${error.message}`);
    }
  }
  tool('event', 'set', PACKAGE_READY_EVENT);
}

// Watches the splash-screen event while the UI runs: one waiting child at a time.
function watchSplashScreen() {
  const watcher = { child: null, stopped: false };
  const wait = () => {
    watcher.child = spawn(toolPath, ['event', 'wait', SPLASH_EVENT], { env, stdio: 'ignore' });
    watcher.child.on('exit', (code) => {
      if (code === 0) console.log('splash screen hidden');
      if (code === 0 && !watcher.stopped) wait();
    });
  };
  wait();
  return watcher;
}

function removeObjects() {
  spawnSync(toolPath, ['mapping', 'remove', COMMAND_LINE_MAPPING], { env, stdio: 'ignore' });
  for (const name of [SPLASH_EVENT, PACKAGE_READY_EVENT]) spawnSync(toolPath, ['event', 'remove', name], { env, stdio: 'ignore' });
}

function main() {
  tool('mapping', 'create', COMMAND_LINE_MAPPING, options.commandLine);
  tool('event', 'create', SPLASH_EVENT, '--auto-reset');
  tool('event', 'create', PACKAGE_READY_EVENT);
  const cwd = options.package !== undefined ? path.dirname(path.resolve(options.package)) : process.cwd();
  const ui = spawn(options.command[0], options.command.slice(1), { cwd, env, stdio: 'inherit' });
  const watcher = watchSplashScreen();
  const extraction = setTimeout(extractPackage, options.extractDelay);
  let finished = false;
  const finish = (code) => {
    if (finished) return;
    finished = true;
    clearTimeout(extraction);
    watcher.stopped = true;
    // The watcher may have taken a set just now: its exit still prints it.
    // A set it had no time to see is still in the event.
    const end = () => {
      if (tool('event', 'wait', SPLASH_EVENT, '0').status === 0) console.log('splash screen hidden');
      removeObjects();
      process.exitCode = code;
    };
    if (watcher.child.exitCode !== null || watcher.child.signalCode !== null) return end();
    watcher.child.on('exit', end);
    watcher.child.kill();
  };
  ui.on('error', (error) => { console.error(`bootstrapper: ${error.message}`); finish(1); });
  ui.on('exit', (code, signal) => finish(code === null ? 128 + (require('os').constants.signals[signal] || 0) : code));
}

main();
