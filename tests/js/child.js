'use strict';
// Runs a script in a fresh node process, in a fresh current directory and
// a fresh emulated machine, as an installer UI would start: the tracer and
// every service are new.
const { spawnSync } = require('child_process'), fs = require('fs'), os = require('os'), path = require('path');

const root = path.join(__dirname, '..', '..');

function runChild(body, { cwd, env = {}, timeout = 20000 } = {}) {
  const dir = cwd || fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-ui-'));
  const script = `const { query } = require(${JSON.stringify(root)});\n${body}`;
  const result = spawnSync(process.execPath, ['-e', script], {
    cwd: dir,
    env: { ...process.env, INSTALLER_ORNEL_MACHINE: path.join(dir, 'machine'), ...env },
    encoding: 'utf8',
    timeout,
  });
  if (result.error) throw result.error;
  return { dir, status: result.status, signal: result.signal, stdout: result.stdout, stderr: result.stderr };
}

// The trace files in `dir`, by name.
function traceFiles(dir) {
  return fs.readdirSync(dir).filter((name) => /^tolv_installer_\d\d\.\d\d_\d\d\.\d\d\.INST\.log$/.test(name));
}

// Runs the scenario tool (tools/machine.js) on the machine at `root`.
const TOOL = path.join(root, 'tools', 'machine.js');
function machineTool(machineRoot, ...args) {
  const result = spawnSync(process.execPath, [TOOL, '--root', machineRoot, ...args], { encoding: 'utf8' });
  return { status: result.status, out: result.stdout.replace(/\n$/, ''), err: result.stderr.trim() };
}

module.exports = { runChild, traceFiles, machineTool, TOOL };
