#!/usr/bin/env node
'use strict';
// Damaged default packages: a seeded fuzzer bounded in time, for CI. 1. package_fuzz runs the package
// inspections on up to 3,000 mutants of the sample package, a child process each, for at most
// PACKAGE_FUZZ_SECONDS (default 60). 2. A few dozen mutants become the default package of a fresh emulated
// machine (beside the host executable, and in the current directory where msi_package_info looks), and a
// UI process calls every method of msi_product_info and msi_package_info on it, sync and async.
// Any crash, hang or output on stderr fails. The seed changes daily and is printed; PACKAGE_FUZZ_SEED
// repeats a run. One summary line; exit status 1 on any failure.
const { spawnSync } = require('child_process'), fs = require('fs'), os = require('os'), path = require('path');
const { packageMachine } = require('../js/package_machine'), { buildDir } = require('../js/addons');

const root = path.join(__dirname, '..', '..');
const fuzzer = path.join(buildDir, 'tests', 'fuzz', 'package_fuzz');
const sample = path.join(buildDir, 'tests', 'fixtures', 'sample.msi');
const seed = Number(process.env.PACKAGE_FUZZ_SEED || Math.floor(Date.now() / 86400000));
const seconds = Number(process.env.PACKAGE_FUZZ_SECONDS || 60), SCRIPT_MUTANTS = 36;
const PACKAGE = 'brindle_installer.msi';
const tmp = (what) => fs.mkdtempSync(path.join(os.tmpdir(), `ornel-fuzz-${what}-`));

// Every inspection method, called on the default package in one UI process.
const inspections = `
const { query } = require(${JSON.stringify(root)});
const product = query('msi_product_info'), packageInfo = query('msi_package_info');
const calls = [
  [product, 'getProductName'], [product, 'getInstallDirectory'], [product, 'getMsiFilePath'],
  [product, 'getProductCode'], [product, 'getProperty', 'ProductVersion'], [product, 'getProductFeatures', []],
  [product, 'getSetupType'], [product, 'getCabFileNames'],
  [product, 'executeQuery', 'SELECT \`Property\`, \`Value\` FROM \`Property\`'],
  [product, 'getConflictedProductInfo', {}], [product, 'getRebrandingCode'], [product, 'getPremiumLink'],
  [packageInfo, 'isValid'], [packageInfo, 'getPackageCode'],
];
let opened = true;
for (const [service, method, ...args] of calls) {
  try { service[method](...args); } catch (e) { if (!/^msiProductInfo error: \\d+$/.test(e.message)) throw e; opened = false; }
}
// The asynchronous form of a call that throws calls nothing back, so a
// refused package owes only msi_package_info's callbacks.
let pending = opened ? calls.length : 2;
for (const [service, method, ...args] of calls) service[method](...args, () => { pending -= 1; });
process.on('exit', () => console.log(JSON.stringify({ opened, pending })));
`;

function fail(message) {
  console.log(`packages fuzz: FAILED (seed ${seed}): ${message}`);
  process.exit(1);
}

function runNative() {
  const result = spawnSync(fuzzer, ['--package', sample, '--seed', String(seed), '--count', '3000',
    '--seconds', String(seconds)], { encoding: 'utf8', env: { ...process.env, INSTALLER_ORNEL_MACHINE: tmp('machine') } });
  if (result.error) fail(`${result.error.message} (run npm run build first)`);
  if (result.stderr) process.stderr.write(result.stderr);
  return { ok: result.status === 0, summary: result.stdout.trim() };
}


// One mutant as the default package; a failure text, or null.
function runScript(mutant, counts) {
  const ui = packageMachine(mutant);
  fs.copyFileSync(mutant, path.join(ui.dir, PACKAGE));
  // As a user runs it: libmsi's messages routed away, none on stderr.
  const child = spawnSync(process.execPath, ['-e', inspections], { cwd: ui.dir, encoding: 'utf8', timeout: 60000,
    env: { ...ui.env, INSTALLER_ORNEL_MSI_WARNINGS: '' } });
  ui.remove();
  const name = path.basename(mutant);
  if (child.error) return `${name}: ${child.error.code === 'ETIMEDOUT' ? 'hang' : child.error.message}`;
  if (child.signal || child.status !== 0) return `${name}: ${child.signal || `exit ${child.status}`} ${child.stderr}`;
  if (child.stderr) return `${name}: stderr: ${child.stderr.slice(0, 300)}`;
  const outcome = JSON.parse(child.stdout.trim().split('\n').pop());
  if (outcome.pending !== 0) return `${name}: ${outcome.pending} callbacks never came`;
  counts[outcome.opened ? 'opened' : 'refused'] += 1;
  return null;
}

function main() {
  if (!fs.existsSync(fuzzer) || !fs.existsSync(sample)) fail(`${fuzzer} or ${sample} missing (run npm run build first)`);
  const native = runNative(), mutants = tmp('mutants');
  const emitted = spawnSync(fuzzer, ['--package', sample, '--seed', String(seed + 1), '--count', String(SCRIPT_MUTANTS),
    '--emit', mutants], { encoding: 'utf8' });
  if (emitted.status !== 0) fail(`could not write the mutants: ${emitted.stderr}`);
  const counts = { opened: 0, refused: 0 };
  const failures = fs.readdirSync(mutants).map((name) => runScript(path.join(mutants, name), counts)).filter(Boolean);
  fs.rmSync(mutants, { recursive: true, force: true });
  for (const failure of failures) console.error(failure);
  const ok = native.ok && failures.length === 0;
  console.log(`packages fuzz: ${ok ? 'ok' : 'FAILED'} (seed ${seed}); ${native.summary}; script: ${SCRIPT_MUTANTS} ` +
    `default packages, ${counts.opened} opened, ${counts.refused} refused, ${failures.length} failures`);
  process.exit(ok ? 0 : 1);
}

main();
