'use strict';
// Fuzzer of script values: calls every method of every service, in the
// synchronous form and with a trailing callback, with random argument counts
// and random values (numbers, strings huge or holding NUL and lone
// surrogates, "value" boxes nested deep or holding themselves, arrays,
// functions, proxies, getters and traps that throw, symbols, BigInts) and
// random receivers, on a temporary emulated machine with a package beside
// its host executable.
//
// It asserts only what holds for any input: the process does not crash or
// hang, a call either returns or throws an Error (or the value that the
// fuzzer's own getter or trap threw), and nothing writes a GLib warning or
// critical to stderr. Everything else is the other tests' business.
//
// The run is split into rounds, each a fresh node process (the first use of
// the package and of every service happens once a round) watched by this
// one: a round that dies, or outlives its time by the grace below, fails.
//
//   node tests/fuzz/script_values.js
//   SCRIPT_FUZZ_SEED=1234 SCRIPT_FUZZ_SECONDS=60 node tests/fuzz/script_values.js
//
// The seed is printed first; the same seed repeats the same synchronous
// calls (the order in which asynchronous results arrive is the machine's).
// Exit status 0 when every round passed, 1 otherwise.
const { spawn, execFileSync } = require('child_process');
const fs = require('fs');
const path = require('path');
const { packageMachine } = require('../js/package_machine');

const root = path.join(__dirname, '..', '..');
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(root, 'build');
const SERVICES = ['application', 'trace_helper', 'debug_configuration', 'tracer_controller',
  'msi_product_info', 'msi_package_info', 'msi_setup_manager', 'installer_controller'];

// Methods left out, because what they do is not confined to the temporary
// machine, whatever their arguments:
//   installer_controller.reboot        restarts the computer;
//   installer_controller.startProduct  starts a process (the installed product);
//   msi_setup_manager.runPreinstallTask, runSetupTask, runUninstallProduct
//                                      run Windows Installer actions against
//                                      the machine, for minutes.
// Every other method is called with any value, those that only write into
// the temporary machine (fixBeta, initLog, turnOnTraces) included.
const EXCLUDED = new Set(['installer_controller.reboot', 'installer_controller.startProduct',
  'msi_setup_manager.runPreinstallTask', 'msi_setup_manager.runSetupTask',
  'msi_setup_manager.runUninstallProduct']);

const ROUND_SECONDS = 10;
// A round may take this long beyond its time: the calls in flight finish,
// the process exits. Generous, for a sanitizer build on a busy machine.
const GRACE_MS = 90000;
const GLIB_NOISE = /GLib|GObject|GLib-GIO|Gsf|libmsi|-CRITICAL|-WARNING|\*\* \(/;
const FIXTURES = ['product', 'features', 'branded', 'conflict_beta', 'install_loop', 'unicode'];

// --- random values --------------------------------------------------------

function generator(seed) {
  let state = seed >>> 0;
  const next = () => {
    // mulberry32
    state = (state + 0x6d2b79f5) >>> 0;
    let t = state;
    t = Math.imul(t ^ (t >>> 15), t | 1);
    t ^= t + Math.imul(t ^ (t >>> 7), t | 61);
    return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
  };
  const int = (n) => Math.floor(next() * n);
  return { next, int, pick: (list) => list[int(list.length)], chance: (p) => next() < p };
}

// What the fuzzer itself throws from getters and traps: not an Error, so a
// call that lets it through is told from one that made up its own value.
class FuzzThrow {}

const NUMBERS = [0, -0, 1, -1, 3.9, -3.9, 700, 701, 800, 999, 1000, 2 ** 31 - 1, 2 ** 31, -(2 ** 31),
  2 ** 32 - 1, 2 ** 32, 2 ** 53, -(2 ** 53), 1e308, -1e308, Number.MIN_VALUE, NaN, Infinity, -Infinity];
const TEXTS = ['', 'a', 'ProductName', 'ProductVersion', 'INSTALLDIR', 'UpgradeCode', 'Manufacturer',
  'C:\\Logs', 'Z:\\tmp', '\\\\?\\C:\\x', 'C:\\', 'Global\\Event_x', '/log C:\\Logs', '/log "C:\\A B"',
  '\u0000', 'a\u0000b', '\ud800', '\udc00', 'x\ud800', '\udfff\ud800', '\uffff', '\u{1f600}', 'é', '\u20ac',
  "'", '`', '"', '\\', '%s%n%x', '{', '[', '*', '?', '<>|',
  'SELECT * FROM `Property`', "SELECT `Value` FROM `Property` WHERE `Property` = 'ProductName'",
  'SELECT `Feature` FROM `Feature`', 'SELECT * FROM `Directory`', 'DELETE FROM `Property`',
  "INSERT INTO `Property` (`Property`, `Value`) VALUES ('A', 'B')", 'SELECT', 'SELECT *', 'FROM',
  'SELECT * FROM `NoSuchTable`', "SELECT * FROM `Property` WHERE `Property` = ?", 'DROP TABLE `Property`'];
const SQL_PIECES = ['SELECT', '*', 'FROM', '`Property`', '`Feature`', 'WHERE', '=', "'x'", 'AND', 'OR',
  '(', ')', '-', '1', '`Value`', ',', 'ORDER BY', 'DISTINCT', 'IS NULL', 'NOT', '<>', '?', "'", '`'];
const KEYS = ['value', 'name', 'parentName', 'displayName', 'description', 'condition', 'installLevel',
  'activeInstallLevel', 'defaultInstallLevel', 'cost', 'enabled', 'visible', 'productName', 'productCode',
  'isBeta', 'isTolv', 'isTheSame', 'isDowngrade', 'length', '0', '__proto__', 'constructor'];

function makeValues(rand, seen) {
  const text = () => {
    switch (rand.int(8)) {
      case 0: {
        // Long: mostly up to 64K units, now and then up to a million,
        // rarely sixteen million.
        const size = rand.chance(0.01) ? 1 << 24 : rand.int(rand.chance(0.1) ? 1 << 20 : 1 << 16);
        return rand.pick(['x', '\u20ac', '\ud800', '\u0000', "'"]).repeat(size);
      }
      case 1: {
        let sql = '';
        for (let i = rand.int(12); i >= 0; --i) sql += rand.pick(SQL_PIECES) + (rand.chance(0.8) ? ' ' : '');
        return sql;
      }
      case 2: {
        let s = '';
        for (let i = rand.int(40); i > 0; --i) s += String.fromCharCode(rand.int(0x10000));
        return s;
      }
      default:
        return rand.pick(TEXTS);
    }
  };
  const number = () => (rand.chance(0.7) ? rand.pick(NUMBERS) : (rand.next() - 0.5) * 2 ** rand.int(64));
  const box = (inner) => ({ value: inner });
  const deepBox = () => {
    // Around the depth bound of 1,000 boxes, on both sides.
    let v = rand.chance(0.5) ? number() : text();
    for (let i = rand.pick([999, 1000, 1001, 5000]); i > 0; --i) v = box(v);
    return v;
  };
  const throwing = () => {
    throw new FuzzThrow();
  };
  const proxy = (depth) => {
    const target = rand.pick([{}, [], () => {}, { value: 1 }]);
    const handler = {};
    for (const trap of ['get', 'has', 'getPrototypeOf', 'ownKeys', 'getOwnPropertyDescriptor', 'set',
      'defineProperty', 'deleteProperty']) {
      if (rand.chance(0.3)) handler[trap] = throwing;
      else if (trap === 'get' && rand.chance(0.5)) handler.get = () => value(depth + 1);
      else if (trap === 'has' && rand.chance(0.5)) handler.has = () => rand.chance(0.5);
    }
    if (rand.chance(0.1)) {
      const { proxy: revoked, revoke } = Proxy.revocable(target, handler);
      revoke();
      return revoked;
    }
    return new Proxy(target, handler);
  };
  const object = (depth) => {
    switch (rand.int(16)) {
      case 0: return {};
      case 1: return box(value(depth + 1));
      case 2: return box(box(value(depth + 1)));
      case 3: return deepBox();
      case 4: {
        const self = {};
        self.value = rand.chance(0.5) ? self : { value: self };
        return self;
      }
      case 5: return { get value() { return throwing(); } };
      case 6: return { get value() { return value(depth + 1); } };
      case 7: return Object.create(rand.chance(0.5) ? { value: value(depth + 1) } : null);
      case 8: return proxy(depth);
      case 9: return Object.freeze(rand.chance(0.5) ? {} : []);
      case 10: {
        const Wrapper = rand.pick([String, Number, Boolean, Date, Map, RegExp]);
        try {
          return new Wrapper(value(depth + 1));
        } catch (e) {
          return new Wrapper();
        }
      }
      case 11: return new (class Fancy {})();
      case 12: {
        const array = [];
        for (let i = rand.int(6); i > 0; --i) array.push(value(depth + 1));
        if (rand.chance(0.2)) array[rand.int(50)] = value(depth + 1);
        return array;
      }
      case 13: {
        const o = {};
        for (let i = rand.int(12); i > 0; --i) {
          Object.defineProperty(o, rand.pick(KEYS),
            { value: value(depth + 1), writable: true, enumerable: true, configurable: true });
        }
        if (rand.chance(0.2)) Object.defineProperty(o, rand.pick(KEYS), { get: throwing, enumerable: true, configurable: true });
        return o;
      }
      case 14: return seen.length ? rand.pick(seen) : {};
      default: return Object.defineProperty({}, 'value', { value: value(depth + 1), writable: false });
    }
  };
  const value = (depth = 0) => {
    if (depth > 3) return rand.chance(0.5) ? number() : text();
    switch (rand.int(12)) {
      case 0: case 1: return number();
      case 2: case 3: case 4: return text();
      case 5: return rand.chance(0.5);
      case 6: return rand.pick([null, undefined]);
      case 7: return rand.pick([Symbol('s'), Symbol.iterator, 1n, -1n, 2n ** 64n]);
      case 8: return rand.pick([() => {}, function named() {}, class K {}, throwing, Math.max]);
      default: return object(depth);
    }
  };
  return value;
}

// --- one round, in its own process ---------------------------------------

function round() {
  const rand = generator(Number(process.env.SCRIPT_FUZZ_SEED));
  const deadline = Date.now() + Number(process.env.SCRIPT_FUZZ_ROUND_MS);
  const log = fs.openSync(process.env.SCRIPT_FUZZ_CALL_LOG, 'w');
  const { query } = require(root);
  const seen = [];
  const value = makeValues(rand, seen);
  const stats = { sync: 0, async: 0, callbacks: 0, errors: 0, ownThrows: 0, callbackThrows: 0 };

  const fail = (what) => {
    process.stdout.write(`FAIL ${what}\n`);
    process.exit(3);
  };
  // Only callbacks run outside the calls' try blocks, and any function
  // value that ends an argument list is a callback: what it throws when
  // called back (a class refuses a call without new, a revoked proxy any
  // call) is the script's own doing.
  process.on('uncaughtException', (error) => {
    if (error instanceof FuzzThrow || error instanceof Error) ++stats.callbackThrows;
    else fail(`uncaught non-Error ${String(error)}`);
  });

  const services = SERVICES.map((name) => [name, query(name)]);
  const methods = [];
  for (const [name, service] of services) {
    for (const key of Object.getOwnPropertyNames(service)) {
      if (typeof service[key] === 'function' && !EXCLUDED.has(`${name}.${key}`)) {
        methods.push({ id: `${name}.${key}`, fn: service[key], service });
      }
    }
  }
  // A short description of a value for the call log; proxies may refuse it.
  const kind = (v) => {
    try {
      if (v === null) return 'null';
      if (typeof v === 'string') return `string(${v.length})`;
      if (Array.isArray(v)) return `array(${v.length})`;
      if (typeof v === 'object') return `object{${Object.keys(v).slice(0, 3)}}`;
      return typeof v;
    } catch (e) {
      return 'object(refuses inspection)';
    }
  };
  const keep = (v) => {
    try {
      if (v !== null && typeof v === 'object' && seen.length < 100 && Object.prototype.hasOwnProperty.call(v, 'value')) {
        seen.push(v);
      }
    } catch (e) {
      // a proxy of ours
    }
  };

  const receiver = (method) => {
    switch (rand.int(40)) {
      case 0: return undefined;
      case 1: return {};
      case 2: return rand.pick(services)[1];
      case 3: return Object.create(method.service);
      case 4: return seen.length ? rand.pick(seen) : null;
      default: return method.service;
    }
  };
  const callback = function fuzzCallback(result) {
    ++stats.callbacks;
    if (result !== null && typeof result === 'object' && seen.length < 100) seen.push(result);
    if (rand.chance(0.02)) throw new FuzzThrow();
  };

  const call = () => {
    const method = rand.pick(methods);
    const args = [];
    try {
      for (let i = rand.int(5); i > 0; --i) args.push(value());
    } catch (error) {
      fail(`the fuzzer's own value generator threw: ${error && error.stack}`);
    }
    const asynchronous = rand.chance(0.35);
    if (asynchronous) args.push(rand.chance(0.9) ? callback : throwingCallback);
    const self = receiver(method);
    const construct = rand.chance(0.02);
    fs.writeSync(log, `${method.id}${asynchronous ? ' async' : ''}${construct ? ' new' : ''}` +
      `${self === method.service ? '' : ' wrong receiver'} (${args.map(kind).join(', ')})\n`);
    if (asynchronous) ++stats.async;
    else ++stats.sync;
    try {
      const result = construct ? Reflect.construct(method.fn, args) : method.fn.apply(self, args);
      if (result !== null && typeof result === 'object' && seen.length < 100) seen.push(result);
    } catch (error) {
      if (error instanceof FuzzThrow) ++stats.ownThrows;
      else if (error instanceof Error) ++stats.errors;
      else fail(`${method.id} threw a non-Error: ${kind(error)}`);
    }
    // Out-parameters that were written back become values of later calls.
    args.forEach(keep);
  };
  function throwingCallback() {
    ++stats.callbacks;
    throw new FuzzThrow();
  }

  // Batches of calls, with a turn of the event loop between them so that
  // callbacks run while calls keep coming.
  const batch = () => {
    for (let i = 0; i < 20; ++i) call();
    if (Date.now() < deadline) {
      setImmediate(batch);
    } else {
      fs.closeSync(log);
      process.stdout.write(`${JSON.stringify(stats)}\n`);
      // Half the rounds end as a UI may: exiting with calls still in flight.
      if (rand.chance(0.5)) process.exit(0);
    }
  };
  batch();
}

// --- the driver -------------------------------------------------------------

// A fresh UI directory with `fixture` as the default package, and an older
// and a newer version of the product installed, for the conflict and
// version queries to find.
function machine(fixture) {
  const ui = packageMachine(fixture);
  const packageFile = path.join(buildDir, 'tests', 'fixtures', `${fixture}.msi`);
  const tool = path.join(root, 'tools', 'machine.js');
  for (const [version, code] of [['0.9.0', '09'], ['99.0.0', '99']]) {
    execFileSync(process.execPath, [tool, 'register', packageFile, '--version', version,
      '--product-code', `{00000000-0000-0000-0000-0000000000${code}}`], { env: ui.env, stdio: 'ignore' });
  }
  return ui;
}

function runRound(index, seed, ms) {
  const fixture = FIXTURES[index % FIXTURES.length];
  const ui = machine(fixture);
  const dir = ui.dir;
  const callLog = path.join(dir, 'calls.log');
  const env = { ...ui.env, SCRIPT_FUZZ_SEED: String(seed), SCRIPT_FUZZ_ROUND_MS: String(ms),
    SCRIPT_FUZZ_CALL_LOG: callLog };
  return new Promise((resolve) => {
    const child = spawn(process.execPath, [__filename, '--round'], { cwd: dir, env });
    let stdout = '';
    let stderr = '';
    child.stdout.on('data', (d) => { stdout += d; });
    child.stderr.on('data', (d) => { stderr += d; });
    let hung = false;
    const watchdog = setTimeout(() => {
      hung = true;
      child.kill('SIGKILL');
    }, ms + GRACE_MS);
    child.on('close', (code, signal) => {
      clearTimeout(watchdog);
      const lines = stdout.trim().split('\n');
      let problem = null;
      if (hung) problem = `hung: still running ${GRACE_MS / 1000} s after its time`;
      else if (signal) problem = `died of ${signal}`;
      else if (code !== 0) problem = `exited with ${code}: ${stdout.slice(Math.max(0, stdout.indexOf('FAIL'))).slice(0, 1500)}`;
      else if (GLIB_NOISE.test(stderr)) problem = 'GLib wrote to stderr';
      let stats = {};
      try {
        stats = JSON.parse(lines[lines.length - 1]);
      } catch (e) {
        if (!problem) problem = `no summary: ${stdout.slice(-200)}`;
      }
      if (problem) {
        const calls = fs.existsSync(callLog) ? fs.readFileSync(callLog, 'utf8').trim().split('\n').slice(-8) : [];
        console.log(`script_values: round ${index} (seed ${seed}, package ${fixture}) FAILED: ${problem}`);
        console.log(`  last calls:\n    ${calls.join('\n    ')}`);
        if (stderr) console.log(`  stderr:\n${stderr.slice(-3000)}`);
        console.log(`  machine kept in ${dir}`);
      } else {
        ui.remove();
      }
      resolve({ ok: !problem, stats });
    });
  });
}

async function drive() {
  const seed = process.env.SCRIPT_FUZZ_SEED ? Number(process.env.SCRIPT_FUZZ_SEED) >>> 0 : Math.floor(Math.random() * 2 ** 32);
  const seconds = Number(process.env.SCRIPT_FUZZ_SECONDS || 60);
  const rounds = Math.max(1, Math.ceil(seconds / ROUND_SECONDS));
  console.log(`script_values: seed ${seed}, ${seconds} s in ${rounds} rounds (SCRIPT_FUZZ_SEED, SCRIPT_FUZZ_SECONDS to repeat)`);
  let passed = 0;
  const total = { sync: 0, async: 0, callbacks: 0, errors: 0, ownThrows: 0, callbackThrows: 0 };
  for (let i = 0; i < rounds; ++i) {
    const { ok, stats } = await runRound(i, (seed + i) >>> 0, (seconds * 1000) / rounds);
    if (ok) ++passed;
    for (const key of Object.keys(total)) total[key] += stats[key] || 0;
  }
  console.log(`script_values: ${total.sync} sync and ${total.async} async calls, ${total.callbacks} callbacks, ` +
    `${total.errors} Errors thrown, ${total.ownThrows} of the fuzzer's own throws passed through, ` +
    `${total.callbackThrows} callbacks threw`);
  console.log(`script_values: ${passed} passed, ${rounds - passed} failed`);
  process.exitCode = passed === rounds ? 0 : 1;
}

if (process.argv[2] === '--round') round();
else drive();
