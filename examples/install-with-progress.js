'use strict';
// Installs the package with a live progress bar; Ctrl-C cancels (rollback, then completed(1602)).
// Usage: node install-with-progress.js [PROPERTY=value ...]   Exit code 0 once installed.
const { query } = require('..'); // in your own UI: require('installer_ornel')

const setup = query('msi_setup_manager');
const tty = process.stdout.isTTY;
setup.runSetupTask(process.argv.slice(2).join(' '), {
  progressChanged({ progress, action, forward }) { // about once a second
    const bar = '#'.repeat(progress / 5).padEnd(20, '-');
    const line = `${String(progress).padStart(3)}% [${bar}] ${forward ? '' : 'rolling back: '}${action}`;
    process.stdout.write(tty ? `\r${line}\x1b[K` : `${line}\n`);
  },
  completed(code) { // once: 0 installed, 3010 restart needed, 1602 cancelled, 1603 failed
    process.stdout.write(`${tty ? '\n' : ''}completed(${code})\n`);
    process.off('SIGINT', cancel);
    process.exitCode = code === 0 || code === 3010 ? 0 : 1;
  },
});
function cancel() { setup.cancelTask(); }
process.on('SIGINT', cancel);
