'use strict';
// Asynchronous round trips and host calls, in one run.
//
// Async calls: CALLS calls with at most IN_FLIGHT in flight (a new call
// starts when one is delivered): the bound method's asynchronous form
// against one new thread per call with a uv_async_send per result, and
// against N-API async work on libuv's thread pool.
//
// Host calls: PINGS events from one native thread into a script function,
// each waiting until the host thread took it over: HostCallReceiver against
// a bare mutex/condition-variable/uv_async_t ping-pong doing the same.
//
// Rounds alternate between the variants so that machine noise hits them
// alike; the median round counts.
const path = require('path');
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, '..', 'build');
const v8Async = require(path.join(buildDir, 'bench_async_v8.node'));
const napiAsync = require(path.join(buildDir, 'bench_async_napi.node'));

const CALLS = Number(process.env.BENCH_CALLS || 10000);
const IN_FLIGHT = 20;
const PINGS = Number(process.env.BENCH_PINGS || 5000);
const ROUNDS = Number(process.env.BENCH_ROUNDS || 7);

// Resolves with the calls per second of CALLS calls through `call(x, cb)`.
function asyncRound(call) {
  return new Promise((resolve) => {
    let started = 0;
    let delivered = 0;
    const begin = process.hrtime.bigint();
    const onResult = () => {
      delivered += 1;
      if (delivered === CALLS) resolve(CALLS / (Number(process.hrtime.bigint() - begin) / 1e9));
      else if (started < CALLS) start();
    };
    const start = () => { started += 1; call(started, onResult); };
    while (started < IN_FLIGHT) start();
  });
}

// Resolves with the microseconds per host call of PINGS calls.
function pingRound(run) {
  return new Promise((resolve) => {
    let seen = 0;
    const begin = process.hrtime.bigint();
    run(() => { seen += 1; }, PINGS, () => {
      if (seen !== PINGS) throw new Error(`saw ${seen} of ${PINGS} events`);
      resolve(Number(process.hrtime.bigint() - begin) / 1e3 / PINGS);
    });
  });
}

const adder = v8Async.query('adder');
const asyncVariants = {
  bound: (x, cb) => adder.next(x, cb),
  bareThreads: (x, cb) => v8Async.bareCall(x, cb),
  napiWork: (x, cb) => napiAsync.next(x, cb),
};
const pingVariants = {
  hostCall: (event, count, done) => adder.ping({ event, completed: done }, count),
  barePingPong: (event, count, done) => v8Async.barePing(event, count, done),
};

const median = (xs) => [...xs].sort((a, b) => a - b)[xs.length >> 1];

async function measure(variants, round) {
  const samples = Object.fromEntries(Object.keys(variants).map((k) => [k, []]));
  for (const run of Object.values(variants)) await round(run);  // warm up
  for (let r = 0; r < ROUNDS; r++) {
    for (const [name, run] of Object.entries(variants)) samples[name].push(await round(run));
  }
  return Object.fromEntries(Object.entries(samples).map(([k, v]) => [k, median(v)]));
}

(async () => {
  const rate = await measure(asyncVariants, asyncRound);
  console.log(`async round trips, ${CALLS} calls, at most ${IN_FLIGHT} in flight, ${ROUNDS} rounds (median)`);
  for (const [name, value] of Object.entries(rate)) console.log(`  ${name.padEnd(13)} ${Math.round(value)} calls/s`);
  console.log(`ratio bound/bareThreads: ${(rate.bound / rate.bareThreads).toFixed(2)}  (throughput, target >= 0.90)`);
  console.log(`ratio bound/napiWork:    ${(rate.bound / rate.napiWork).toFixed(2)}  (throughput)`);

  const us = await measure(pingVariants, pingRound);
  console.log(`host-call round trip, ${PINGS} calls, ${ROUNDS} rounds (median)`);
  for (const [name, value] of Object.entries(us)) console.log(`  ${name.padEnd(13)} ${value.toFixed(2)} us/call`);
  console.log(`ratio hostCall/barePingPong: ${(us.hostCall / us.barePingPong).toFixed(2)}  (time, target <= 1.20)`);
})();
