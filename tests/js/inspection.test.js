'use strict';
// msi_product_info and msi_package_info on an emulated machine: a real package next to the host executable.
const test = require('node:test'), assert = require('node:assert'), fs = require('fs'), path = require('path');
const { buildDir } = require('./addons'), { runChild, traceFiles, TOOL } = require('./child');

const fixture = (name) => path.join(buildDir, 'tests', 'fixtures', `${name}.msi`), PACKAGE = 'brindle_installer.msi';
const OTHER = '{00000000-1111-2222-3333-444444444444}';

// Runs `body` in a fresh UI process whose host executable is C:\Setup\setup.exe.
function ui(body, { hostExecutable = 'C:\\Setup\\setup.exe' } = {}) {
  return runChild(`
    const fs = require('fs'), path = require('path'), root = process.env.INSTALLER_ORNEL_MACHINE;
    fs.mkdirSync(path.join(root, 'drive_c', 'Setup'), { recursive: true });
    fs.writeFileSync(path.join(root, 'machine.conf'), ${JSON.stringify(`hostExecutable=${hostExecutable}\n`)});
    const out = {}, attempt = (f) => { try { return f(); } catch (e) { return 'Error: ' + e.message; } };
    ${body}
    console.log(JSON.stringify(out));`);
}
const result = (child) => {
  assert.strictEqual(child.status, 0, child.stderr);
  // The last line: a test that calls back later prints again then.
  return JSON.parse(child.stdout.trim().split('\n').pop());
};

test('the product is read from the package beside the host executable, once it is there', () => {
  const out = result(ui(`
    const product = query('msi_product_info');
    out.missing = attempt(() => product.getProductName());
    fs.copyFileSync(${JSON.stringify(fixture('branded'))}, path.join(root, 'drive_c', 'Setup', '${PACKAGE}'));
    Object.assign(out, { name: product.getProductName(), file: product.getMsiFilePath(),
      code: /^\\{[0-9A-F-]{36}\\}$/.test(product.getProductCode()), none: product.getProperty('NoSuchProperty'),
      version: /^\\d+\\.\\d+\\.\\d+/.test(product.getProperty('ProductVersion')),
      cabinets: Array.isArray(product.getCabFileNames()), rebranding: product.getRebrandingCode(),
      premium: product.getPremiumLink(), malformed: product.executeQuery('SELEC nothing'),
      rows: product.executeQuery("SELECT \`Property\`, \`Value\` FROM \`Property\` WHERE \`Property\`='ProductName'"),
      missingTable: product.executeQuery('SELECT * FROM \`NoSuchTable\`'), async: null });
    product.getProductName((name) => { out.async = name; console.log(JSON.stringify(out)); });`));
  assert.deepStrictEqual(out, { missing: 'Error: msiProductInfo error: 110', name: 'Ornel Sample',
    file: `C:\\Setup\\${PACKAGE}`, code: true, none: '', version: true, cabinets: true, rebranding: 'PARTNER-42',
    premium: 'https://example.invalid/premium', malformed: [], rows: [['ProductName', 'Ornel Sample']],
    missingTable: [], async: 'Ornel Sample' });
});

test('a package without branding gives empty texts; a host in a drive root finds it there', () => {
  const out = result(ui(`
    fs.copyFileSync(${JSON.stringify(fixture('product'))}, path.join(root, 'drive_c', '${PACKAGE}'));
    const p = query('msi_product_info');
    Object.assign(out, { file: p.getMsiFilePath(), rebranding: p.getRebrandingCode(), premium: p.getPremiumLink() });`, { hostExecutable: 'C:\\setup.exe' }));
  assert.deepStrictEqual(out, { file: `C:\\${PACKAGE}`, rebranding: '', premium: '' });
});

test('msi_package_info reads the package in the current directory', () => {
  const out = result(ui(`
    const info = query('msi_package_info');
    out.before = [info.isValid(), info.getPackageCode()];
    fs.copyFileSync(${JSON.stringify(fixture('product'))}, '${PACKAGE}');
    out.after = [info.isValid(), info.getPackageCode()];
    fs.writeFileSync('${PACKAGE}', 'not a package');
    out.broken = [info.isValid(), info.getPackageCode()];`));
  assert.deepStrictEqual(out, { before: [false, ''], after: [true, '{3C8E5A1F-6B2D-4E7A-9F10-2A4B6C8D0E1F}'],
    broken: [false, ''] });
});

test('without the package-ready event the package is opened at once, and the trace says why', () => {
  const child = ui(`
    query('tracer_controller').turnOnTraces();
    out.valid = query('msi_package_info').isValid();
    out.again = query('msi_package_info').isValid();`);
  assert.deepStrictEqual(result(child), { valid: false, again: false });
  const [file] = traceFiles(child.dir);
  const lines = fs.readFileSync(path.join(child.dir, file), 'utf8').split('\r\n').map((l) => l.slice(9));
  assert.deepStrictEqual(lines.filter((l) => l.startsWith('bl\t')), ['bl\tMsi not ready: 2']);
});

test('with the package-ready event the first call waits until the bootstrapper sets it', () => {
  const event = 'Global\\Event_TOLV_7A3C52E0-91B4-4D6F-A2C8-3E5F60B1D947';
  const out = result(ui(`
    const { execFileSync, spawn } = require('child_process');
    execFileSync(process.execPath, [${JSON.stringify(TOOL)}, 'event', 'create', ${JSON.stringify(event)}]);
    // The "bootstrapper": sets the event 300 ms from now, in another process.
    spawn(process.execPath, ['-e', 'setTimeout(() => require("child_process").execFileSync(process.execPath, ' +
      JSON.stringify([${JSON.stringify(TOOL)}, 'event', 'set', ${JSON.stringify(event)}]) + '), 300)'], { stdio: 'ignore' });
    const start = Date.now();
    out.valid = query('msi_package_info').isValid();
    out.waited = Date.now() - start >= 250;`));
  assert.deepStrictEqual(out, { valid: false, waited: true });
});

// Runs `body` in a UI whose machine has the product fixture registered once for each entry of
// `registrations` (the tool's options), with fixture `name` as the default package.
const installed = (name, registrations, body) => result(ui(`
  for (const options of ${JSON.stringify(registrations)}) {
    require('child_process').execFileSync(process.execPath,
      [${JSON.stringify(TOOL)}, 'register', ${JSON.stringify(fixture('product'))}, ...options]);
  }
  fs.copyFileSync(${JSON.stringify(fixture(name))}, path.join(root, 'drive_c', 'Setup', '${PACKAGE}'));
  ${body}`));

test('the setup type follows what the machine has installed', () => {
  const scenarios = [['no_upgrade', [], 0], ['product', [], 1], ['product', [[]], 4],
    ['product', [['--product-code', OTHER, '--version', '0.5.0']], 1],
    ['product', [['--product-code', OTHER, '--version', '1.1.0']], 3],
    ['product', [['--package-code', '{99999999-1111-2222-3333-444444444444}']], 2]];
  for (const [name, registrations, expected] of scenarios) {
    const out = installed(name, registrations, `out.type = query('msi_product_info').getSetupType();`);
    assert.strictEqual(out.type, expected, `${name} with ${JSON.stringify(registrations)}`);
  }
});

test('an installed related product is classified by the upgrade rule that finds it', () => {
  const conflict = (name, registrations) => installed(name, registrations, `
    const box = {};
    out.found = query('msi_product_info').getConflictedProductInfo(box);
    out.info = JSON.parse(JSON.stringify(box.value));`);
  const beta = ['--product-code', OTHER, '--version', '1.1.0', '--name', 'Sample Beta'];
  const info = (productName, isBeta, isTolv) =>
    ({ productName, productCode: OTHER, isBeta, isTolv, isTheSame: false, isDowngrade: false });
  assert.deepStrictEqual(conflict('conflict_beta', [beta]), { found: true, info: info('Sample Beta', true, true) });
  assert.deepStrictEqual(conflict('conflict_family', [beta]).info, info('Sample Beta', false, true));
  assert.deepStrictEqual(conflict('conflict_neither', [['--product-code', OTHER, '--version', '2.0.0']]).info,
    info('Ornel Sample', false, false));
  // 10.0.0 against 9.0.0 compares as text: "1" sorts before "9", a downgrade.
  assert.strictEqual(conflict('version_ten', [['--product-code', OTHER, '--version', '9.0.0']]).info.isDowngrade, true);
  assert.strictEqual(conflict('product', [[]]).info.isTheSame, true);
  const none = conflict('product', []);  // the empty object receives the default record
  assert.deepStrictEqual([none.found, none.info.productCode], [false, '']);
});

test('the feature tree fills the array in place, holes included', () => {
  const out = result(ui(`
    fs.copyFileSync(${JSON.stringify(fixture('features'))}, path.join(root, 'drive_c', 'Setup', '${PACKAGE}'));
    const features = Array.from({ length: 5 }, () => ({}));
    out.code = query('msi_product_info').getProductFeatures(features);
    out.length = features.length;
    out.holes = [3, 4].map((i) => i in features);
    out.features = JSON.parse(JSON.stringify(features.slice(0, 3)));
    out.badArray = attempt(() => query('msi_product_info').getProductFeatures({}));`));
  assert.deepStrictEqual([out.code, out.length, out.holes], [0, 5, [false, false]]);
  const byName = Object.fromEntries(out.features.map((f) => [f.name, f]));
  assert.deepStrictEqual(Object.keys(out.features[0]), ['name', 'parentName', 'displayName', 'description',
    'activeInstallLevel', 'defaultInstallLevel', 'cost', 'enabled', 'visible']);
  assert.deepStrictEqual(byName.Docs, { name: 'Docs', parentName: 'Complete', displayName: 'Documentation',
    description: 'The manuals', activeInstallLevel: { condition: 'NOT Installed', installLevel: 1 },
    defaultInstallLevel: 3, cost: 0, enabled: true, visible: false });
  const { activeInstallLevel, visible } = byName.Extras;
  assert.deepStrictEqual([activeInstallLevel, visible], [{ condition: '', installLevel: 0 }, true]);
  assert.strictEqual(out.badArray, 'Error: Failed to convert to Array type');
});
