'use strict';
// An example installer UI script: what `npm start` runs. It sets up a fresh
// emulated machine with the sample package beside the host executable and
// a beta of the product already installed, then asks the services what a
// real installer UI asks.
const { execFileSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const repo = path.join(__dirname, '..');
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(repo, 'build');
const sample = path.join(buildDir, 'tests', 'fixtures', 'sample.msi');

// The machine: a new one under the system's temporary directory.
const root = fs.mkdtempSync(path.join(os.tmpdir(), 'installer-ornel-example-'));
process.env.INSTALLER_ORNEL_MACHINE = root;
const machine = (...args) => execFileSync(process.execPath, [path.join(__dirname, 'machine.js'), ...args],
  { encoding: 'utf8' }).trim();
machine('config', 'hostExecutable', 'C:\\Setup\\setup.exe');
fs.mkdirSync(path.join(root, 'drive_c', 'Setup'), { recursive: true });
fs.copyFileSync(sample, path.join(root, 'drive_c', 'Setup', 'brindle_installer.msi'));
machine('register', sample, '--product-code', '{00000000-1111-2222-3333-444444444444}',
  '--version', '1.1.0', '--name', 'Ornel Sample Beta');
// The bootstrapper starts the UI in the package's directory.
process.chdir(path.join(root, 'drive_c', 'Setup'));

const { query } = require(repo);
console.log(`emulated machine: ${root}`);

const SERVICES = ['application', 'trace_helper', 'debug_configuration', 'tracer_controller',
  'msi_product_info', 'msi_package_info', 'msi_setup_manager', 'installer_controller'];
console.log('\nservices:');
for (const name of SERVICES) {
  const methods = Object.keys(query(name));
  console.log(`  ${name.padEnd(22)} ${methods.length ? methods.join(', ') : '(no methods yet)'}`);
}

const tracer = query('tracer_controller');
if (tracer.turnOnTraces() === 0) query('trace_helper').trace('example UI started', 700);

const product = query('msi_product_info');
const setupTypes = ['not determined', 'fresh install', 'installed from another package',
  'upgrade of an installed product', 'installed with this package'];
console.log('\nthe package:');
console.log(`  product          ${product.getProductName()} ${product.getProperty('ProductVersion')}`);
console.log(`  product code     ${product.getProductCode()}`);
console.log(`  file             ${product.getMsiFilePath()}`);
console.log(`  install dir      ${product.getInstallDirectory()}`);
console.log(`  setup type       ${product.getSetupType()} (${setupTypes[product.getSetupType()]})`);
console.log(`  cabinets         ${product.getCabFileNames().join(', ') || '(none)'}`);
console.log(`  premium link     ${product.getPremiumLink() || '(none)'}`);
const features = [];
product.getProductFeatures(features);
for (const f of features) {
  const condition = f.activeInstallLevel.condition ? `, level ${f.activeInstallLevel.installLevel} if ${f.activeInstallLevel.condition}` : '';
  console.log(`  feature          ${f.name} "${f.displayName}" level ${f.defaultInstallLevel}${condition}${f.visible ? '' : ' (hidden)'}`);
}
const conflict = {};
if (product.getConflictedProductInfo(conflict)) {
  const c = conflict.value;
  const kind = [c.isBeta && 'beta', c.isTolv && 'same family', c.isTheSame && 'this package', c.isDowngrade && 'downgrade']
    .filter(Boolean).join(', ') || 'unrelated';
  console.log(`  installed        ${c.productName} ${c.productCode} (${kind})`);
}
const packageInfo = query('msi_package_info');
console.log(`  package          ${packageInfo.isValid() ? 'valid' : 'not valid'}, package code ${packageInfo.getPackageCode()}`);

// The same call, asynchronously: the callback gets the result.
product.getProductName((name) => {
  console.log(`\ngetProductName (async) returned ${name}`);
  const file = fs.readdirSync('.').find((f) => /^tolv_installer_.*\.INST\.log$/.test(f));
  if (file) console.log(`trace file: ${path.resolve(file)}`);
});
