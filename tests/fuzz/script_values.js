'use strict';
// Fuzzer of script values: every method of every service, sync and with a callback, with random
// arguments and receivers, on a temporary machine. It asserts what holds for any input: no crash or
// hang, a call returns or throws an Error (or the fuzzer's own throw), no GLib noise on stderr.
// Each round is a fresh watched node process; a seed repeats the same synchronous calls.
//   SCRIPT_FUZZ_SEED=1234 SCRIPT_FUZZ_SECONDS=60 node tests/fuzz/script_values.js
const { spawn, execFileSync } = require('child_process'), fs = require('fs'), path = require('path');
const { packageMachine } = require('../js/package_machine');

const root = path.join(__dirname, '..', '..');
const { buildDir, SERVICES } = require('../js/addons');
// Left out because their effect is not confined to the temporary machine, whatever the arguments;
// every other method (fixBeta, initLog, turnOnTraces included) is called.
const RUNS_ACTIONS = 'runs Windows Installer actions against the machine, for minutes';
const EXCLUDED = new Map([
  ['installer_controller.reboot', 'restarts the computer'],
  ['installer_controller.startProduct', 'starts a process (the installed product)'],
  ...['runPreinstallTask', 'runSetupTask', 'runUninstallProduct'].map((m) => [`msi_setup_manager.${m}`, RUNS_ACTIONS]),
]);
const ROUND_SECONDS = 10;
const GRACE_MS = 90000; // beyond its time, for calls in flight to finish: generous, for sanitizer builds
const GLIB_NOISE = /GLib|GObject|GLib-GIO|Gsf|libmsi|-CRITICAL|-WARNING|\*\* \(/;
const FIXTURES = ['product', 'features', 'branded', 'conflict_beta', 'install_loop', 'unicode'];
const STATS = ['sync', 'async', 'callbacks', 'errors', 'ownThrows', 'callbackThrows'];
const zeroStats = () => Object.fromEntries(STATS.map((key) => [key, 0]));

// --- random values --------------------------------------------------------

// mulberry32
function generator(seed) {
  let state = seed >>> 0;
  const next = () => {
    state = (state + 0x6d2b79f5) >>> 0;
    let t = Math.imul(state ^ (state >>> 15), state | 1);
    t ^= t + Math.imul(t ^ (t >>> 7), t | 61);
    return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
  };
  const int = (n) => Math.floor(next() * n), repeat = (n, make) => Array.from({ length: n }, make);
  return { next, int, repeat, pick: (list) => list[int(list.length)], chance: (p) => next() < p };
}

// Not an Error: a call that lets the fuzzer's own throw through is told from one that made up its own.
class FuzzThrow {}
const throwing = () => {
  throw new FuzzThrow();
};
// What `make` returns, or what `fallback` does when it throws (a proxy of ours, a refused argument).
const attempt = (make, fallback) => {
  try {
    return make();
  } catch (error) {
    return fallback(error);
  }
};

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
const TRAPS = ['get', 'has', 'getPrototypeOf', 'ownKeys', 'getOwnPropertyDescriptor', 'set', 'defineProperty',
  'deleteProperty'];
const WRAPPERS = [String, Number, Boolean, Date, Map, RegExp];

function makeValues(rand, seen) {
  const { pick, chance, repeat } = rand;
  // Long texts: mostly up to 64K units, sometimes a million, rarely sixteen million.
  const longText = () => pick(['x', '\u20ac', '\ud800', '\u0000', "'"])
    .repeat(chance(0.01) ? 1 << 24 : rand.int(chance(0.1) ? 1 << 20 : 1 << 16));
  const sql = () => repeat(rand.int(12) + 1, () => pick(SQL_PIECES) + (chance(0.8) ? ' ' : '')).join('');
  const units = () => repeat(rand.int(40), () => String.fromCharCode(rand.int(0x10000))).join('');
  // Each generated kind 1 in 8, the listed texts the rest.
  const text = () => [longText, sql, units][rand.int(8)]?.() ?? pick(TEXTS);
  const number = () => (chance(0.7) ? pick(NUMBERS) : (rand.next() - 0.5) * 2 ** rand.int(64));
  const box = (inner) => ({ value: inner });
  // Around the depth bound of 1,000 boxes, on both sides.
  const deepBox = () => repeat(pick([999, 1000, 1001, 5000])).reduce(box, chance(0.5) ? number() : text());
  const selfHolding = () => {
    const self = {};
    self.value = chance(0.5) ? self : { value: self };
    return self;
  };
  const proxy = (depth) => {
    const handler = {};
    for (const trap of TRAPS) {
      if (chance(0.3)) handler[trap] = throwing;
      else if (trap === 'get' && chance(0.5)) handler.get = () => value(depth + 1);
      else if (trap === 'has' && chance(0.5)) handler.has = () => chance(0.5);
    }
    const { proxy: made, revoke } = Proxy.revocable(pick([{}, [], () => {}, { value: 1 }]), handler);
    if (chance(0.1)) revoke();
    return made;
  };
  // A constructor may refuse the value (a Symbol, a bad pattern): then it gets none.
  const wrapped = (depth, Wrapper = pick(WRAPPERS)) => attempt(() => new Wrapper(value(depth + 1)), () => new Wrapper());
  const array = (depth) => {
    const list = repeat(rand.int(6), () => value(depth + 1));
    if (chance(0.2)) list[rand.int(50)] = value(depth + 1);
    return list;
  };
  // Own keys as the services read them, '__proto__' and a throwing getter included.
  const withKeys = (depth) => {
    const o = {};
    const own = (how) => Object.defineProperty(o, pick(KEYS), { enumerable: true, configurable: true, ...how });
    for (let i = rand.int(12); i > 0; --i) own({ value: value(depth + 1), writable: true });
    if (chance(0.2)) own({ get: throwing });
    return o;
  };
  const OBJECTS = [
    // "value" boxes: plain, nested, deep, holding themselves, read-only, from a prototype, seen before.
    () => ({}), (d) => box(value(d + 1)), (d) => box(box(value(d + 1))), deepBox, selfHolding,
    (d) => Object.defineProperty({}, 'value', { value: value(d + 1), writable: false }),
    (d) => Object.create(chance(0.5) ? { value: value(d + 1) } : null),
    () => (seen.length ? pick(seen) : {}),
    // Getters, traps, and objects of other shapes.
    () => ({ get value() { return throwing(); } }), (d) => ({ get value() { return value(d + 1); } }),
    proxy, wrapped, array, withKeys, () => Object.freeze(chance(0.5) ? {} : []), () => new (class Fancy {})(),
  ];
  // Out of 12: numbers 2, texts 3, one each for the four others below, objects 3.
  const VALUES = [number, number, text, text, text, () => chance(0.5), () => pick([null, undefined]),
    () => pick([Symbol('s'), Symbol.iterator, 1n, -1n, 2n ** 64n]),
    () => pick([() => {}, function named() {}, class K {}, throwing, Math.max])];
  const value = (depth = 0) => (depth > 3 ? pick([number, text]) : VALUES[rand.int(12)] ?? pick(OBJECTS))(depth);
  return value;
}

// --- one round, in its own process ---------------------------------------

// A short description of a value for the call log; proxies may refuse it.
const kind = (v) => attempt(() => {
  if (typeof v === 'string' || Array.isArray(v)) return `${typeof v === 'string' ? 'string' : 'array'}(${v.length})`;
  if (v !== null && typeof v === 'object') return `object{${Object.keys(v).slice(0, 3)}}`;
  return v === null ? 'null' : typeof v;
}, () => 'object(refuses inspection)');

function round() {
  const rand = generator(Number(process.env.SCRIPT_FUZZ_SEED));
  const deadline = Date.now() + Number(process.env.SCRIPT_FUZZ_ROUND_MS);
  const log = fs.openSync(process.env.SCRIPT_FUZZ_CALL_LOG, 'w'), { query } = require(root), seen = [];
  const value = makeValues(rand, seen), stats = zeroStats();
  const fail = (what) => {
    process.stdout.write(`FAIL ${what}\n`);
    process.exit(3);
  };
  // Results and written-back out-parameters become values of later calls.
  const remember = (v, needsValue) => attempt(() => {
    if (v !== null && typeof v === 'object' && seen.length < 100 &&
        (!needsValue || Object.prototype.hasOwnProperty.call(v, 'value'))) seen.push(v);
  }, () => {});
  // Only callbacks run outside the calls' try blocks; what a function value throws when called
  // back (a class without new, a revoked proxy) is the script's doing.
  process.on('uncaughtException', (error) => {
    if (error instanceof FuzzThrow || error instanceof Error) ++stats.callbackThrows;
    else fail(`uncaught non-Error ${String(error)}`);
  });

  const services = SERVICES.map((name) => query(name));
  const methods = services.flatMap((service, i) => Object.getOwnPropertyNames(service)
    .map((key) => ({ id: `${SERVICES[i]}.${key}`, fn: service[key], service }))
    .filter(({ id, fn }) => typeof fn === 'function' && !EXCLUDED.has(id)));
  // Mostly the method's own service; 1 in 8 of the time something else.
  const RECEIVERS = [() => undefined, () => ({}), () => rand.pick(services),
    (method) => Object.create(method.service), () => (seen.length ? rand.pick(seen) : null)];
  const receiver = (method) => (RECEIVERS[rand.int(40)] ?? ((m) => m.service))(method);
  const makeCallback = (throwChance) => function fuzzCallback(result) {
    ++stats.callbacks;
    remember(result, false);
    if (rand.chance(throwChance)) throw new FuzzThrow();
  };
  const callback = makeCallback(0.02), throwingCallback = makeCallback(1);

  const call = () => {
    const method = rand.pick(methods);
    const args = attempt(() => rand.repeat(rand.int(5), () => value()),
      (error) => fail(`the fuzzer's own value generator threw: ${error && error.stack}`));
    const asynchronous = rand.chance(0.35);
    if (asynchronous) args.push(rand.chance(0.9) ? callback : throwingCallback);
    const self = receiver(method), construct = rand.chance(0.02);
    fs.writeSync(log, `${method.id}${asynchronous ? ' async' : ''}${construct ? ' new' : ''}` +
      `${self === method.service ? '' : ' wrong receiver'} (${args.map(kind).join(', ')})\n`);
    ++stats[asynchronous ? 'async' : 'sync'];
    try {
      remember(construct ? Reflect.construct(method.fn, args) : method.fn.apply(self, args), false);
    } catch (error) {
      if (error instanceof FuzzThrow) ++stats.ownThrows;
      else if (error instanceof Error) ++stats.errors;
      else fail(`${method.id} threw a non-Error: ${kind(error)}`);
    }
    args.forEach((arg) => remember(arg, true));
  };

  // Batches of calls with a turn of the event loop between them, so callbacks run while calls keep coming.
  const batch = () => {
    for (let i = 0; i < 20; ++i) call();
    if (Date.now() < deadline) {
      setImmediate(batch);
      return;
    }
    fs.closeSync(log);
    process.stdout.write(`${JSON.stringify(stats)}\n`);
    // Half the rounds end as a UI may: exiting with calls still in flight.
    if (rand.chance(0.5)) process.exit(0);
  };
  batch();
}

// --- the driver -------------------------------------------------------------

// Why the round failed, or null; its stats from the last line of stdout.
function verdict({ code, signal, hung, stdout, stderr }) {
  let problem = null;
  if (hung) problem = `hung: still running ${GRACE_MS / 1000} s after its time`;
  else if (signal) problem = `died of ${signal}`;
  else if (code !== 0) problem = `exited with ${code}: ${stdout.slice(Math.max(0, stdout.indexOf('FAIL'))).slice(0, 1500)}`;
  else if (GLIB_NOISE.test(stderr)) problem = 'GLib wrote to stderr';
  const stats = attempt(() => JSON.parse(stdout.trim().split('\n').pop()), () => null);
  return { problem: problem || (stats ? null : `no summary: ${stdout.slice(-200)}`), stats: stats || {} };
}

function runRound(index, seed, ms) {
  // A fresh UI directory with `fixture` as the default package, and an older and a newer version of
  // the product installed for the conflict and version queries.
  const fixture = FIXTURES[index % FIXTURES.length], ui = packageMachine(fixture);
  const packageFile = path.join(buildDir, 'tests', 'fixtures', `${fixture}.msi`);
  for (const [version, code] of [['0.9.0', '09'], ['99.0.0', '99']]) {
    execFileSync(process.execPath, [path.join(root, 'tools', 'machine.js'), 'register', packageFile, '--version',
      version, '--product-code', `{00000000-0000-0000-0000-0000000000${code}}`], { env: ui.env, stdio: 'ignore' });
  }
  const callLog = path.join(ui.dir, 'calls.log');
  const env = { ...ui.env, SCRIPT_FUZZ_SEED: String(seed), SCRIPT_FUZZ_ROUND_MS: String(ms),
    SCRIPT_FUZZ_CALL_LOG: callLog };
  return new Promise((resolve) => {
    const child = spawn(process.execPath, [__filename, '--round'], { cwd: ui.dir, env });
    const out = { hung: false, stdout: '', stderr: '' };
    child.stdout.on('data', (d) => { out.stdout += d; });
    child.stderr.on('data', (d) => { out.stderr += d; });
    const watchdog = setTimeout(() => {
      out.hung = true;
      child.kill('SIGKILL');
    }, ms + GRACE_MS);
    child.on('close', (code, signal) => {
      clearTimeout(watchdog);
      const { problem, stats } = verdict({ ...out, code, signal });
      if (problem) {
        const calls = fs.existsSync(callLog) ? fs.readFileSync(callLog, 'utf8').trim().split('\n').slice(-8) : [];
        console.log(`script_values: round ${index} (seed ${seed}, package ${fixture}) FAILED: ${problem}\n` +
          `  last calls:\n    ${calls.join('\n    ')}\n  machine kept in ${ui.dir}`);
        if (out.stderr) console.log(`  stderr:\n${out.stderr.slice(-3000)}`);
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
  const total = zeroStats();
  for (let i = 0; i < rounds; ++i) {
    const { ok, stats } = await runRound(i, (seed + i) >>> 0, (seconds * 1000) / rounds);
    if (ok) ++passed;
    for (const key of STATS) total[key] += stats[key] || 0;
  }
  console.log(`script_values: ${total.sync} sync and ${total.async} async calls, ${total.callbacks} callbacks, ` +
    `${total.errors} Errors thrown, ${total.ownThrows} of the fuzzer's own throws passed through, ` +
    `${total.callbackThrows} callbacks threw`);
  console.log(`script_values: ${passed} passed, ${rounds - passed} failed`);
  process.exitCode = passed === rounds ? 0 : 1;
}

if (process.argv[2] === '--round') round();
else drive();
