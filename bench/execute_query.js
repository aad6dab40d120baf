'use strict';
// msi_product_info.executeQuery of 100,000 rows end to end (the script gets
// arrays of strings) against libmsi fetching the same rows in C++, in one
// run. The package is the one bench_msi_read builds (build/bench/fixtures/
// bulk.msi); run that first. The open is part of both sides.
const { execFileSync, spawnSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const repo = path.join(__dirname, '..');
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(repo, 'build');
const bulk = path.join(buildDir, 'bench', 'fixtures', 'bulk.msi');
const QUERY = 'SELECT `Key`, `Value`, `Number` FROM `Bulk`';
const ROUNDS = Number(process.env.BENCH_ROUNDS || 5);

if (!fs.existsSync(bulk)) {
  // bench_msi_read builds the package on its first run.
  spawnSync(path.join(buildDir, 'bench', 'bench_msi_read'), ['--benchmark_filter=none'], { stdio: 'ignore' });
}

const root = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-bench-'));
process.env.INSTALLER_ORNEL_MACHINE = root;
fs.mkdirSync(path.join(root, 'drive_c', 'Setup'), { recursive: true });
fs.writeFileSync(path.join(root, 'machine.conf'), 'hostExecutable=C:\\Setup\\setup.exe\n');
const packagePath = path.join(root, 'drive_c', 'Setup', 'brindle_installer.msi');
fs.copyFileSync(bulk, packagePath);

const { query } = require(repo);
const { rawQuery } = require(path.join(buildDir, 'bench_raw_query.node'));
const product = query('msi_product_info');
product.getProductName();  // opens the shared product information once

const samples = { executeQuery: [], rawLibmsi: [] };
for (let round = 0; round < ROUNDS; round++) {
  const start = process.hrtime.bigint();
  const rows = product.executeQuery(QUERY);
  samples.executeQuery.push(Number(process.hrtime.bigint() - start) / 1e6);
  const [rawRows, ms] = rawQuery(packagePath, QUERY);
  samples.rawLibmsi.push(ms);
  if (rows.length !== rawRows || rows.length !== 100000) throw new Error(`rows: ${rows.length} vs ${rawRows}`);
}
const median = (xs) => [...xs].sort((a, b) => a - b)[xs.length >> 1];
const ms = { executeQuery: median(samples.executeQuery), rawLibmsi: median(samples.rawLibmsi) };
console.log(`executeQuery of 100000 rows, ${ROUNDS} rounds (median, open included on both sides)`);
for (const [name, value] of Object.entries(ms)) console.log(`  ${name.padEnd(13)} ${value.toFixed(1)} ms`);
console.log(`ratio executeQuery/rawLibmsi: ${(ms.rawLibmsi / ms.executeQuery).toFixed(2)}  (throughput, target >= 0.50)`);
fs.rmSync(root, { recursive: true, force: true });
