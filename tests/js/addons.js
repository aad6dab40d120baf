'use strict';
// Loads the add-ons from the build directory (INSTALLER_ORNEL_BUILD_DIR or
// build/ beside the repository root); `fails` asserts that a call throws an
// Error with exactly the given message; `catchingUncaught` collects what
// reaches 'uncaughtException' while `body` runs, other listeners set aside.
const assert = require('assert'), path = require('path');

const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, '..', '..', 'build');

async function catchingUncaught(body) {
  const errors = [], listeners = process.listeners('uncaughtException'), listener = (e) => errors.push(e);
  process.removeAllListeners('uncaughtException');
  process.on('uncaughtException', listener);
  try {
    await body(errors);
  } finally {
    process.removeListener('uncaughtException', listener);
    listeners.forEach((l) => process.on('uncaughtException', l));
  }
  return errors;
}

module.exports = {
  catchingUncaught,
  // Every service query knows.
  SERVICES: ['application', 'trace_helper', 'debug_configuration', 'tracer_controller', 'msi_product_info',
    'msi_package_info', 'msi_setup_manager', 'installer_controller'],
  buildDir,
  addonPath: (name) => path.join(buildDir, `${name}.node`),
  main: () => require(path.join(buildDir, 'installer_ornel.node')),
  shapes: () => require(path.join(buildDir, 'installer_ornel_test.node')),
  fails: (fn, message) => assert.throws(fn, (e) => e instanceof Error && e.message === message),
};
