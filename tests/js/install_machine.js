'use strict';
// What the installation tests share: a fresh machine with the folders
// Windows always has, the scenario tool's native half run directly (so a
// test can kill it), a snapshot of every path and byte under a machine
// root, and the add-on's reading of the progress messages (the UI's bar).
const assert = require('assert'), { spawn, spawnSync } = require('child_process'), crypto = require('crypto');
const fs = require('fs'), os = require('os'), path = require('path'), { buildDir } = require('./addons');

const TOOL = path.join(buildDir, 'machine_tool');
const fixture = (name) => path.join(buildDir, 'tests', 'fixtures', `${name}.msi`);
const V1 = '{5E0A7C21-4B8D-4F3A-9C61-2D7E8F9A0B11}', V2 = '{5E0A7C21-4B8D-4F3A-9C61-2D7E8F9A0B22}';

// Folders and keys of every Windows machine, which no installation creates
// or removes; and C:\Apps with a file of another program in it.
const SYSTEM_FOLDERS = ['Program Files', 'Apps', 'Windows/Installer',
  'ProgramData/Microsoft/Windows/Start Menu/Programs'];
const SYSTEM_KEYS = ['HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall', 'HKCU\\Software'];

const env = (root) => ({ ...process.env, INSTALLER_ORNEL_MACHINE: root });
function tool(root, ...args) {
  const result = spawnSync(TOOL, args, { env: env(root), encoding: 'utf8' });
  return { status: result.status, out: result.stdout.trim(), err: result.stderr.trim() };
}
// The tool as a child of its own, for a test that watches or kills it.
const startTool = (root, ...args) => spawn(TOOL, args, { env: env(root), stdio: 'ignore' });

function freshMachine(config = {}) {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-install-'));
  for (const folder of SYSTEM_FOLDERS) fs.mkdirSync(path.join(root, 'drive_c', folder), { recursive: true });
  for (const key of SYSTEM_KEYS) tool(root, 'registry', 'set', key);
  fs.writeFileSync(path.join(root, 'drive_c', 'Apps', 'other.txt'), 'not the product\'s');
  for (const [key, value] of Object.entries(config)) tool(root, 'config', key, String(value));
  tool(root, 'list');
  return root;
}

// Every directory (as "dir") and file (as its SHA-256) under `dir`, by
// path; lock files, which hold no data, left out.
function snapshot(dir, prefix = '', into = {}) {
  for (const entry of fs.readdirSync(dir, { withFileTypes: true })) {
    const full = path.join(dir, entry.name), name = prefix + entry.name;
    if (entry.isDirectory()) {
      into[`${name}/`] = 'dir';
      snapshot(full, `${name}/`, into);
    } else if (!entry.name.endsWith('.lock')) {
      into[name] = crypto.createHash('sha256').update(fs.readFileSync(full)).digest('hex');
    }
  }
  return into;
}

const readMessages = (file) => fs.readFileSync(file, 'utf8').split('\n').filter(Boolean)
  .map((line) => JSON.parse(line));

// The fields of a progress message, read as the add-on reads them: "1: 0
// 2: 1520 3: 0 4: 0 ". False when the text cannot be read.
function readFields(text, fields) {
  if (!text) return false;
  for (let at = 0; ;) {
    const key = text[at], start = at + 3;
    if (start >= text.length) return false;
    if (key === '1') {
      if (!/[0-9]/.test(text[start])) return false;
      fields[1] = Number(text[start]);
      at = start + 2;
    } else if (key === '2' || key === '3' || key === '4') {
      const end = text.indexOf(' ', start);
      fields[key] = parseInt(text.slice(start, end < 0 ? undefined : end), 10) || 0;
      const last = key === '4' || (key === '2' && fields[1] >= 2 && fields[1] <= 3) || (key === '3' && fields[1] === 1);
      if (last || end < 0) return true;
      at = end + 1;
    } else {
      return false;
    }
    if (at >= text.length) return true;
  }
}

// The UI's bar over a message stream: the percentage after each message,
// and per reset its total, direction, whether it announced the script's
// generation, the ticks reported after it and the percentage after each
// of those reports.
function decodeProgress(messages) {
  const s = { min: 0, max: 0, step: 0, position: 0, total: 0, reported: 0 };
  Object.assign(s, { forward: true, script: false, byData: false });
  const fields = [0, 0, 0, 0, 0], clamp = (v) => Math.min(Math.max(v, s.min), s.max);
  const percent = () => (s.max - s.min >= 1 ? Math.trunc(((s.position - s.min) * 100) / (s.max - s.min)) : 0);
  const resets = [];
  const percents = messages.map(({ type, text }) => {
    const kind = Number(type) & 0xFF000000;
    if (kind === 0x08000000) s.byData = false;
    if (kind === 0x09000000 && s.total !== 0 && s.byData) s.position = clamp(s.position + s.step);
    if (kind === 0x0A000000 && readFields(text, fields)) {
      if (fields[1] === 0) {
        Object.assign(s, { total: fields[2], forward: fields[3] === 0, min: 0, max: fields[2], reported: 0 });
        s.position = clamp(s.script || !s.forward ? s.total : 0);
        s.script = fields[4] === 1;
        resets.push({ total: s.total, forward: s.forward, script: s.script, reported: 0, percents: [] });
      } else if (fields[1] === 1) {
        s.byData = fields[3] !== 0;
        if (s.byData) s.step = s.forward ? fields[2] : -fields[2];
      } else if (fields[1] === 2 && s.total !== 0) {
        s.reported += fields[2];
        s.position = clamp(s.forward ? s.reported : -s.reported);
        const reset = resets[resets.length - 1];
        reset.reported += fields[2];
        reset.percents.push(percent());
      }
    }
    return percent();
  });
  return { percents, resets };
}

// The two runs the cancel and kill tests interrupt: an installation of
// scenario_v1 on a fresh machine, and its removal. `probe` runs one to its
// end on a machine of its own and gives its messages.
const RUNS = [
  { name: 'installation', prepare: () => {}, command: ['install', fixture('scenario_v1')] },
  { name: 'removal', prepare: (root) => tool(root, 'install', fixture('scenario_v1')), command: ['uninstall', V1] },
];
function probe({ prepare, command }) {
  const root = freshMachine();
  prepare(root);
  const messages = path.join(root, 'messages.json');
  assert.strictEqual(tool(root, ...command, '--messages', messages).out, '0', `the ${command[0]} to its end`);
  const read = readMessages(messages);
  fs.rmSync(root, { recursive: true, force: true });
  return read;
}

module.exports = { TOOL, fixture, V1, V2, RUNS, tool, startTool, freshMachine, probe, snapshot, readMessages,
  decodeProgress };
