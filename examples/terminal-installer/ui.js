'use strict';
// The terminal installer: an installer UI for Brindle Studio, written as any
// UI author writes one, with the add-on's services and Node's own modules.
// The bootstrapper starts it (start.js shows how) in the package's folder.
//
//   Welcome     the product, the setup type, a related installed product,
//               the feature tree; Enter goes on, q quits
//   Preinstall  the pre-installation check (launch conditions)
//   Install     the installation with a live progress bar; c or Ctrl-C
//               cancels, and the bar turns to "rolling back" while Windows Installer undoes the work
//   Finish      s starts the product, u uninstalls it (with its own bar),
//               q quits
//
// In a terminal it draws full screens, again on every progressChanged and
// once a second (the bootstrapper's own output then never stays on them).
// Without one (stdin not a TTY, as in CI) the same steps run unattended,
// install then uninstall, one line per progress event.
//
// Exit code: 0 when setup did what was asked, 1 when an operation failed, 2
// when the user cancelled one or quit before installing.
const { query } = require('../..');

const product = query('msi_product_info');
const control = query('installer_controller');
const app = query('application');
let setup = null;  // msi_setup_manager: its creation waits for the package

const interactive = Boolean(process.stdin.isTTY && process.stdout.isTTY);
const CODES = { success: 0, rebootRequired: 3010, cancelled: 1602 };
const EXIT = { ok: 0, failed: 1, cancelled: 2 };
const succeeded = (code) => code === CODES.success || code === CODES.rebootRequired;
const exitCodeOf = (code) => (succeeded(code) ? EXIT.ok : code === CODES.cancelled ? EXIT.cancelled : EXIT.failed);
const SETUP_TYPES = ['not determined', 'new installation', 'another build of this version is installed',
  'upgrade of an installed product', 'already installed with this package'];
const PRODUCT_TYPES = { 1: 'workstation', 2: 'domain controller', 3: 'server' };

// ---------------------------------------------------------------------------
// What the services say about the package and the machine.

// The first package call waits until the bootstrapper has extracted the
// package; made asynchronously, it leaves the screen alive meanwhile.
const packageReady = () => new Promise((resolve) => product.getProductName(resolve));

function readFacts() {
  const features = [];
  product.getProductFeatures(features);
  const related = {};
  const windows = Object.fromEntries(control.getWindowsVersionProperty().split(' ')
    .map((pair) => pair.split('=')).map(([key, value]) => [key, Number(value)]));
  const property = (name) => product.getProperty(name);
  return {
    name: product.getProductName(),
    version: property('ProductVersion'),
    manufacturer: property('Manufacturer'),
    code: product.getProductCode(),
    installDir: product.getInstallDirectory(),
    setupType: product.getSetupType(),
    installLevel: Number(property('INSTALLLEVEL')) || 1,
    features: features.filter(Boolean),
    related: product.getConflictedProductInfo(related) ? related.value : null,
    windows,
    // [Property] references formatted as Windows Installer would show them.
    launchConditions: product.executeQuery('SELECT `Condition`, `Description` FROM `LaunchCondition`')
      .map(([condition, text]) => [condition, text.replace(/\[([A-Za-z_][\w.]*)\]/g, (_, name) => property(name))]),
  };
}

// ---------------------------------------------------------------------------
// Text shared by both modes. paint() colours only in a terminal.

const paint = (code, text) => (interactive ? `\x1b[${code}m${text}\x1b[0m` : text);
const bold = (text) => paint('1', text);
const dim = (text) => paint('2', text);
const yesNo = (flag) => (flag ? 'yes' : 'no');

const windowsText = (w) => `Windows ${w.osMajorVer}.${w.osMinorVer} build ${w.osBuildNumber}` +
  `${w.osServicePackNumber ? ` SP${w.osServicePackNumber}` : ''}, ${PRODUCT_TYPES[w.osProductType] || 'unknown type'}`;

function relatedLines(facts) {
  const r = facts.related;
  if (!r) return [`Installed    ${dim('no related product')}`];
  const verdict = r.isDowngrade ? paint('31', 'It is newer than this package: setup will refuse the downgrade.')
    : r.isTheSame ? 'It is this very package.'
      : r.isTolv ? paint('32', `Setup replaces it with ${facts.version}.`) : 'It is not of this product family.';
  return [`Installed    ${r.productName} ${dim(r.productCode)}`,
    `             beta: ${yesNo(r.isBeta)}   same family: ${yesNo(r.isTolv)}   downgrade: ${yesNo(r.isDowngrade)}`,
    `             ${verdict}`];
}

// The feature tree, children under their parent, in table order.
function featureLines(facts) {
  const lines = [`Features     ${dim(`installed when their level is at most INSTALLLEVEL (${facts.installLevel})`)}`];
  const walk = (parent, indent) => {
    const children = facts.features.filter((f) => f.parentName === parent);
    children.forEach((f, i) => {
      const branch = parent === '' ? '' : i === children.length - 1 ? '└─ ' : '├─ ';
      const condition = f.activeInstallLevel.condition
        ? `, ${f.activeInstallLevel.installLevel} when ${f.activeInstallLevel.condition}` : '';
      const title = `${indent}${branch}${f.displayName}`.padEnd(28);
      lines.push(`  ${title} level ${f.defaultInstallLevel}${condition}${f.visible ? '' : dim(' (hidden)')}`);
      walk(f.name, parent === '' ? indent : `${indent}${i === children.length - 1 ? '   ' : '│  '}`);
    });
  };
  walk('', '');
  return lines;
}

function welcomeLines(facts) {
  return [
    `Product      ${bold(`${facts.name} ${facts.version}`)} by ${facts.manufacturer}`,
    `Setup type   ${SETUP_TYPES[facts.setupType] || `type ${facts.setupType}`}`,
    `Install to   ${facts.installDir}`,
    `This machine ${windowsText(facts.windows)}`,
    ...relatedLines(facts), '', ...featureLines(facts)];
}

function preinstallFailureLines(facts, code) {
  const w = facts.windows;
  return [paint('31', bold(`The pre-installation check failed (${code}).`)), '',
    'The package\'s launch conditions; this machine does not meet one of them:',
    ...facts.launchConditions.flatMap(([condition, text]) => [`  ${condition}`, `      ${dim(text)}`]), '',
    `This machine runs ${windowsText(w)} (VersionNT ${w.osMajorVer * 100 + w.osMinorVer}).`];
}

// "Action 9:05:03: InstallFiles. Copying new files" without its clock.
const actionText = (action) => action.replace(/^Action \d+:\d\d:\d\d: /, '');

function resultText(kind, code, facts) {
  const what = `${facts.name} ${facts.version}`;
  if (succeeded(code)) {
    const done = kind === 'install' ? `${what} is installed` : `${what} is uninstalled`;
    return paint('32', `${done} (${code}).${code === CODES.rebootRequired ? ' Windows must restart to finish.' : ''}`);
  }
  const noun = kind === 'install' ? 'Installation' : 'Uninstallation';
  if (code === CODES.cancelled) return paint('33', `${noun} cancelled (${code})`);
  return paint('31', `${noun} failed (${code})`);
}

// ---------------------------------------------------------------------------
// Operations: one receiver per run; each progress event goes to onProgress.

function runOperation(start, onProgress) {
  return new Promise((resolve) => start({ progressChanged: onProgress, completed: resolve }));
}

const OPERATIONS = {
  preinstall: { title: 'Checking the requirements', start: (r) => setup.runPreinstallTask('', r) },
  install: { title: 'Installing', start: (r) => setup.runSetupTask('', r) },
  uninstall: { title: 'Uninstalling', start: (r, facts) => setup.runUninstallProduct(facts.code, '', r) },
};

// ---------------------------------------------------------------------------
// Unattended: install, then uninstall, one line per progress event.

async function unattended() {
  const say = (line) => console.log(line);
  app.run();
  say('Waiting for the package...');
  await packageReady();
  control.hideSplashScreen();
  setup = query('msi_setup_manager');
  const facts = readFacts();
  welcomeLines(facts).forEach(say);
  let code = 0;
  for (const kind of ['preinstall', 'install', 'uninstall']) {
    say(`${kind}: started`);
    code = await runOperation((r) => OPERATIONS[kind].start(r, facts), (info) => say(`${kind.padEnd(10)} ` +
      `${String(info.progress).padStart(3)}% ${info.forward ? 'forward ' : 'backward'}  ${actionText(info.action)}`));
    say(`${kind}: ${kind === 'preinstall' ? `result ${code}` : resultText(kind, code, facts)}`);
    if (kind === 'preinstall' && code !== CODES.success) preinstallFailureLines(facts, code).forEach(say);
    if (!succeeded(code)) break;
  }
  app.join();
  return exitCodeOf(code);
}

// ---------------------------------------------------------------------------
// In a terminal: screens drawn from one state, keys to move between them.

// The first `width` visible characters of `line`, its colour codes kept: a
// line never wraps, so a screen always starts at the top.
function clip(line, width) {
  let visible = 0;
  return line.split(/(\x1b\[[0-9;?]*[A-Za-z])/).map((part, i) => {
    if (i % 2 === 1) return part;
    const kept = part.slice(0, Math.max(0, width - visible));
    visible += kept.length;
    return kept;
  }).join('');
}

const screen = {
  state: { title: 'Brindle Studio Setup', body: [dim('Waiting for the package...')], hint: '' },
  timer: null,
  keyWaiter: null,

  // The alternate screen, without a cursor, keys one by one. Leaving it
  // twice would put the cursor back over what was written after it.
  open() {
    process.stdout.write('\x1b[?1049h\x1b[?25l');
    process.stdin.setRawMode(true);
    process.stdin.on('data', (data) => this.key(data.toString()));
    process.stdout.on('resize', () => this.draw());
    process.on('exit', () => this.close());
    process.on('uncaughtException', (error) => {
      this.close();
      console.error(error);
      process.exit(EXIT.failed);
    });
    this.timer = setInterval(() => this.draw(), 1000);
    this.draw();
  },
  close() {
    if (this.timer === null) return;
    clearInterval(this.timer);
    this.timer = null;
    process.stdin.setRawMode(false);
    process.stdin.pause();
    process.stdout.write('\x1b[?25h\x1b[?1049l');
  },
  show(changes) {
    Object.assign(this.state, changes);
    this.draw();
  },
  draw() {
    const width = process.stdout.columns || 80;
    const { title, body, hint } = this.state;
    const lines = ['', ` ${bold(title)}`, ` ${dim('─'.repeat(Math.max(10, width - 2)))}`, '',
      ...(typeof body === 'function' ? body() : body).map((line) => ` ${line}`), '', ` ${dim(hint)}`];
    process.stdout.write(`\x1b[H${lines.map((line) => `${clip(line, width - 1)}\x1b[K`).join('\r\n')}\x1b[J`);
  },
  // Resolves with the first key among `keys` ("enter", "ctrl-c", letters).
  waitKey(keys) {
    return new Promise((resolve) => { this.keyWaiter = { keys, resolve }; });
  },
  key(data) {
    const name = data === '\r' || data === '\n' ? 'enter' : data === '\x03' ? 'ctrl-c' : data.toLowerCase();
    const waiter = this.keyWaiter;
    if (waiter && waiter.keys.includes(name)) {
      this.keyWaiter = null;
      waiter.resolve(name);
    }
  },
};

function progressBody(progress, started) {
  return () => {
    const width = Math.max(10, Math.min(50, (process.stdout.columns || 80) - 30));
    const filled = Math.round((progress.percent * width) / 100);
    const bar = paint(progress.forward ? '36' : '33', '█'.repeat(filled)) + dim('░'.repeat(width - filled));
    const direction = progress.forward ? paint('32', '▶ forward') : paint('33', '◀ rolling back');
    const seconds = Math.floor((Date.now() - started) / 1000);
    return [`${bold(`${String(progress.percent).padStart(3)}%`)} ${bar}  ${direction}`, '',
      `Action       ${progress.action || dim('starting...')}`,
      `Elapsed      ${Math.floor(seconds / 60)}:${String(seconds % 60).padStart(2, '0')}`,
      progress.cancelling ? paint('33', 'Cancelling: Windows Installer takes its changes back...') : ''];
  };
}

// Runs one operation on its own screen; c or Ctrl-C cancels it.
async function operationScreen(kind, facts) {
  const progress = { percent: 0, action: '', forward: true, cancelling: false };
  screen.show({ title: `${OPERATIONS[kind].title} ${facts.name} ${facts.version}`,
    body: progressBody(progress, Date.now()), hint: 'Press c or Ctrl-C to cancel.' });
  // The operation's end forgets the wait, so the key cannot come after it.
  screen.waitKey(['c', 'ctrl-c']).then(() => {
    progress.cancelling = true;
    setup.cancelTask();
    screen.show({ hint: '' });
  });
  const code = await runOperation((r) => OPERATIONS[kind].start(r, facts), (info) => {
    Object.assign(progress, { percent: info.progress, action: actionText(info.action), forward: info.forward });
    screen.draw();
  });
  screen.keyWaiter = null;
  return code;
}

async function interactiveRun() {
  screen.open();
  app.run();
  await packageReady();
  setup = query('msi_setup_manager');
  const facts = readFacts();
  control.hideSplashScreen();
  const title = `${facts.name} ${facts.version} Setup`;
  screen.show({ title: `${title}: Welcome`, body: welcomeLines(facts), hint: 'Press Enter to install, q to quit.' });
  if ((await screen.waitKey(['enter', 'q', 'ctrl-c'])) !== 'enter') return EXIT.cancelled;

  const checked = await operationScreen('preinstall', facts);
  if (checked !== CODES.success) {
    screen.show({ title: `${title}: cannot install`, body: preinstallFailureLines(facts, checked), hint: 'Press q to quit.' });
    await screen.waitKey(['q', 'enter', 'ctrl-c']);
    return EXIT.failed;
  }
  return finish(facts, await operationScreen('install', facts));
}

// A last screen with `lines`, until q.
async function lastScreen(title, lines) {
  screen.show({ title, body: lines, hint: 'Press q to quit.' });
  await screen.waitKey(['q', 'enter', 'ctrl-c']);
}

// After the installation: its result, then the menu while the product is
// installed. A cancelled or failed uninstallation leaves it installed.
async function finish(facts, installed) {
  const title = `${facts.name} ${facts.version} Setup`;
  if (!succeeded(installed)) {
    await lastScreen(`${title}: not installed`, [resultText('install', installed, facts), '',
      'Setup rolled its changes back: the machine is as it was before.']);
    return exitCodeOf(installed);
  }
  const menu = [`Installed to ${facts.installDir}`, '', `  ${bold('s')}  start ${facts.name}`,
    `  ${bold('u')}  uninstall ${facts.name}`, `  ${bold('q')}  quit`, ''];
  let note = '';
  for (;;) {
    screen.show({ title: `${title}: finished`, body: [resultText('install', installed, facts), '', ...menu, note],
      hint: 'Press s, u or q.' });
    const key = await screen.waitKey(['s', 'u', 'q', 'ctrl-c']);
    if (key === 's') {
      const started = control.startProduct();
      note = started === 0 ? paint('32', `${facts.name} started (startProduct: 0).`)
        : paint('31', `${facts.name} could not be started (startProduct: ${started}).`);
    } else if (key === 'u') {
      const removed = await operationScreen('uninstall', facts);
      if (succeeded(removed)) {
        await lastScreen(`${title}: uninstalled`, [resultText('uninstall', removed, facts)]);
        return EXIT.ok;
      }
      note = `${resultText('uninstall', removed, facts)}: ${facts.name} is still installed.`;
    } else {
      // The product is installed, which is what setup ran for; an
      // uninstallation cancelled or failed on the way left it so.
      return EXIT.ok;
    }
  }
}

async function main() {
  let exitCode = EXIT.failed;
  try {
    exitCode = interactive ? await interactiveRun() : await unattended();
  } finally {
    if (interactive) {
      screen.close();
      app.join();
    }
  }
  const words = ['done', 'failed', 'cancelled'];
  console.log(`Brindle Studio setup: ${words[exitCode]} (exit code ${exitCode}).`);
  process.exit(exitCode);
}

main();
