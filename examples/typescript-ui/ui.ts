// A small installer UI written in TypeScript against the add-on's services:
// welcome page (product, setup type, related product, features), the
// pre-installation check, the installation with a progress bar and a cancel
// button, and the finish page (start the product, uninstall, quit).
// It draws with console.log; a real UI would draw widgets instead.
//
// The lines after each "@ts-expect-error" are deliberate misuses that the
// declarations must reject (tests/js/types.test.js checks that each of them,
// and nothing else, fails to type-check).
import {
  query,
  type ConflictedProductInfo,
  type FeatureInfo,
  type OutParam,
  type ProgressInfo,
  type ProgressReceiver,
  type ServiceName,
  type SetupType,
} from 'installer_ornel';

const app = query('application');
const tracer = query('tracer_controller');
const log = query('trace_helper');
const product = query('msi_product_info');
const packageFile = query('msi_package_info');
const setup = query('msi_setup_manager');
const control = query('installer_controller');

const SETUP_TYPES: Record<SetupType, string> = {
  0: 'unknown',
  1: 'a new installation',
  2: 'the product installed from another package',
  3: 'an upgrade of an installed related product',
  4: 'already installed',
};

function show(line: string): void {
  console.log(line);
}

// Start-up: the trace file as the command line asks, then the splash screen goes.
function start(): void {
  app.run();
  const debug: OutParam<boolean> = {};
  const configuration = query('debug_configuration');
  configuration.isDebug(debug);
  if (debug.value) tracer.setTraceLevel(1000);
  // The asynchronous form hands back the code only: its box stays empty.
  configuration.isDebug({}, (code) => log.trace(`debug configuration read: ${code}`, 800));
  const enabled: OutParam<boolean> = {};
  const level: OutParam<number> = {};
  tracer.getTraceState(enabled, level);
  if (!enabled.value && control.getCommandLine().includes('/verbose')) tracer.turnOnTraces((code) => show(`trace file: ${code}`));
  log.trace(`UI started on ${control.getWindowsVersionProperty()} from ${control.getCurrentPath()}, level ${level.value ?? 700}`, 700);
  control.hideSplashScreen((code: 0) => log.trace(`splash screen hidden: ${code}`, 700, () => {}));
}

function featureTree(features: FeatureInfo[], parent = '', depth = 0): string[] {
  return features
    .filter((f) => f.parentName === parent && f.visible)
    .flatMap((f) => {
      const rule = f.activeInstallLevel.condition ? ` (level ${f.activeInstallLevel.installLevel} if ${f.activeInstallLevel.condition})` : '';
      const line = `${'  '.repeat(depth)}- ${f.displayName} [level ${f.defaultInstallLevel}]${rule}`;
      return [line, ...featureTree(features, f.name, depth + 1)];
    });
}

function describeRelated(related: ConflictedProductInfo): string {
  if (related.isTheSame) return 'this version is already installed';
  const kind = related.isBeta ? 'a beta' : related.isTolv ? 'a release' : 'a product';
  return `${kind} is installed: ${related.productName}${related.isDowngrade ? ' (newer than this one)' : ''}`;
}

// Welcome page: what is installed, what would be installed, and where.
function welcome(next: (related: ConflictedProductInfo | undefined) => void): void {
  if (!packageFile.isValid()) show('warning: no package in the current directory');
  packageFile.getPackageCode((code) => log.trace(`package ${code}`, 700));
  const version = product.getProperty('ProductVersion');
  show(`${product.getProductName()} ${version}: ${SETUP_TYPES[product.getSetupType()]}`);
  show(`into ${product.getInstallDirectory()}, from ${product.getMsiFilePath()} (${product.getCabFileNames().join(', ')})`);
  const features: FeatureInfo[] = [];
  if (product.getProductFeatures(features) === 0) featureTree(features).forEach(show);
  product.executeQuery("SELECT `Property`, `Value` FROM `Property` WHERE `Property`='Manufacturer'", (rows) => {
    show(`by ${rows[0]?.[1] ?? 'unknown'} ${product.getPremiumLink()} ${product.getRebrandingCode()}`);
  });
  const related: OutParam<ConflictedProductInfo> = {};
  const found = product.getConflictedProductInfo(related);
  if (found && related.value) show(describeRelated(related.value));
  next(found ? related.value : undefined);
}

// A receiver that draws the bar and reports the result code in words.
function progressBar(title: string, done: (code: number) => void): ProgressReceiver {
  return {
    progressChanged: (info: ProgressInfo) => {
      const filled = Math.round(info.progress / 5);
      show(`${title} [${'#'.repeat(filled)}${'.'.repeat(20 - filled)}] ${info.progress}% ${info.forward ? '' : '(rolling back) '}${info.action}`);
    },
    completed: (code) => {
      const words: Record<number, string> = { 0: 'done', 3010: 'done, restart needed', 1602: 'cancelled', 1603: 'failed', 1618: 'another installation is running' };
      show(`${title}: ${words[code] ?? 'error'} (${code})`);
      done(code);
    },
  };
}

function install(onDone: (code: number) => void): () => void {
  setup.initLog('C:\\Temp\\install.log', 3);
  setup.getMsiLogFlags(3, (flags) => log.trace(`MSI log flags ${flags}`, 800));
  setup.runPreinstallTask('', progressBar('Checking', (code) => {
    if (code !== 0) return onDone(code);
    setup.runSetupTask('INSTALLDIR="C:\\Apps\\Product" AGREETOEULA=1', progressBar('Installing', onDone));
  }));
  return () => setup.cancelTask();
}

function finish(code: number, choice: 'start' | 'uninstall' | 'quit'): void {
  if (code === 3010) show(`restart: ${control.reboot()}`);
  if (choice === 'start') control.startProduct((result) => show(result === 0 ? 'started' : `could not start (${result})`));
  if (choice === 'uninstall') {
    product.getProductCode((productCode) => {
      setup.runUninstallProduct(productCode, '', progressBar('Removing', () => app.join()), (started) => show(`removal started: ${started}`));
    });
  }
  if (choice === 'quit') app.join((released) => show(`bye (${released})`));
}

start();
welcome((related) => {
  if (related?.isBeta) show(`fixing the beta: ${control.fixBeta()}`);
  const cancel = install((code) => finish(code, code === 0 ? 'start' : 'quit'));
  setTimeout(cancel, 60_000); // stands in for the Cancel button: give up after a minute
});
const names: ServiceName[] = ['application', 'trace_helper'];
names.forEach((name) => show(`${name}: ${Object.keys(query(name)).join(', ')}`));

// Deliberate misuses, each rejected by the declarations.
function misuses(features: FeatureInfo[], related: ConflictedProductInfo, box: OutParam<ConflictedProductInfo>): void {
  // @ts-expect-error a service name that does not exist (names are case-sensitive)
  query('Application');
  // @ts-expect-error a misspelt service name
  query('msi_product_Info');
  // @ts-expect-error a number where a property name is expected
  product.getProperty(42);
  // @ts-expect-error initLog needs the level too
  setup.initLog('C:\\Temp\\install.log');
  // @ts-expect-error the asynchronous form returns nothing: the name comes to the callback
  const name: string = product.getProductName((n) => show(n));
  // @ts-expect-error a receiver without completed would never learn the result
  setup.runSetupTask('', { progressChanged: (info: ProgressInfo) => show(info.action) });
  // @ts-expect-error progressChanged receives a ProgressInfo, not a number
  setup.runSetupTask('', { progressChanged: (percent: number) => show(`${percent}`), completed: (code: number) => show(`${code}`) });
  // @ts-expect-error FeatureInfo has no "title": the title is displayName
  show(features[0].title);
  // @ts-expect-error the callback receives the setup type, a number
  product.getSetupType((type: string) => show(type));
  // @ts-expect-error the callback receives one argument only
  product.getProperty('ProductVersion', (value: string, error: Error) => show(value + error.message));
  // @ts-expect-error the box's value is undefined until a synchronous call fills it
  show(box.value.productName);
  // @ts-expect-error runUninstallProduct takes a command line before the receiver
  setup.runUninstallProduct(related.productCode, progressBar('Removing', () => {}));
  // @ts-expect-error the setup type is 0 to 4
  if (product.getSetupType() === 5) show('impossible');
  // @ts-expect-error the features go into an array, not a box
  product.getProductFeatures({});
  show(name);
}
void misuses;
