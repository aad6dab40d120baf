'use strict';
// A synchronous bound-method call (no arguments, integer result) against a
// bare FunctionTemplate callback and N-API methods, in one run. Rounds
// alternate between the three so that machine noise hits them alike; the
// median round counts.
const path = require('path');
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, '..', 'build');
const v8Calls = require(path.join(buildDir, 'bench_calls_v8.node'));
const napiCalls = require(path.join(buildDir, 'bench_calls_napi.node'));

const CALLS = Number(process.env.BENCH_CALLS || 5e6);
const ROUNDS = Number(process.env.BENCH_ROUNDS || 9);

// One loop function per variant keeps each call site monomorphic.
const makeLoop = (target) => new Function('target', 'calls', `
  let sum = 0;
  for (let i = 0; i < calls; i++) sum += target.next();
  return sum;`).bind(null, target);

const variants = {
  bound: makeLoop(v8Calls.query('counter')),
  bareTemplate: makeLoop(v8Calls.bare),
  napi: makeLoop(napiCalls.counter),
  napiPlain: makeLoop(napiCalls.plain),
};

const samples = Object.fromEntries(Object.keys(variants).map((k) => [k, []]));
for (const run of Object.values(variants)) run(CALLS / 10);  // warm up
for (let round = 0; round < ROUNDS; round++) {
  for (const [name, run] of Object.entries(variants)) {
    const start = process.hrtime.bigint();
    run(CALLS);
    samples[name].push(Number(process.hrtime.bigint() - start) / CALLS);
  }
}
const median = (xs) => [...xs].sort((a, b) => a - b)[xs.length >> 1];
const ns = Object.fromEntries(Object.entries(samples).map(([k, v]) => [k, median(v)]));

console.log(`call overhead, ${CALLS} calls x ${ROUNDS} rounds (median ns/call)`);
for (const [name, value] of Object.entries(ns)) console.log(`  ${name.padEnd(13)} ${value.toFixed(2)} ns`);
console.log(`ratio bound/napi:         ${(ns.bound / ns.napi).toFixed(2)}  (target <= 1.00)`);
console.log(`ratio bound/napiPlain:    ${(ns.bound / ns.napiPlain).toFixed(2)}  (N-API without a receiver)`);
console.log(`ratio bound/bareTemplate: ${(ns.bound / ns.bareTemplate).toFixed(2)}`);
