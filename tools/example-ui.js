'use strict';
// An example installer UI script: what `npm start` runs. It loads the
// add-on as a UI would and shows what each service offers.
const path = require('path');
const { query } = require('..');

const SERVICES = ['application', 'trace_helper', 'debug_configuration', 'tracer_controller',
  'msi_product_info', 'msi_package_info', 'msi_setup_manager', 'installer_controller'];

console.log('installer_ornel services:');
for (const name of SERVICES) {
  const methods = Object.keys(query(name));
  console.log(`  ${name.padEnd(22)} ${methods.length ? methods.join(', ') : '(no methods yet)'}`);
}

// Tracing: the trace file is created in the current directory.
const tracer = query('tracer_controller');
const enabled = {};
const level = {};
tracer.getTraceState(enabled, level);
console.log(`\ntracing at start-up: ${enabled.value ? 'on' : 'off'}, level ${level.value}`);
const opened = tracer.turnOnTraces();
if (opened !== 0) {
  console.log(`turnOnTraces failed: 0x${(opened >>> 0).toString(16)}`);
} else {
  query('trace_helper').trace('example UI started', 700);
  query('trace_helper').trace('a line at 800 is filtered out at the default level', 800);
  const file = require('fs').readdirSync('.').filter((f) => /^tolv_installer_.*\.INST\.log$/.test(f)).sort().pop();
  console.log(`tracing on: lines go to ${path.resolve(file)}`);
}

// The same call, asynchronously: the callback gets the result.
query('debug_configuration').isDebug({}, (result) => console.log(`isDebug (async) returned ${result}`));

try {
  query('no_such_service');
} catch (error) {
  console.log(`query('no_such_service') throws: ${error.message}`);
}
