'use strict';
// An example installer UI script: what `npm start` runs. It loads the
// add-on as a UI would and shows what each service offers.
const { query } = require('..');

const SERVICES = ['application', 'trace_helper', 'debug_configuration', 'tracer_controller',
  'msi_product_info', 'msi_package_info', 'msi_setup_manager', 'installer_controller'];

console.log('installer_ornel services:');
for (const name of SERVICES) {
  const service = query(name);
  const methods = Object.keys(service);
  console.log(`  ${name.padEnd(22)} ${methods.length ? methods.join(', ') : '(no methods yet)'}`);
}

try {
  query('no_such_service');
} catch (error) {
  console.log(`query('no_such_service') throws: ${error.message}`);
}
