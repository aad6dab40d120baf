'use strict';
// Loads the add-ons from the build directory (INSTALLER_ORNEL_BUILD_DIR or
// build/ beside the repository root); `fails` asserts that a call throws an
// Error with exactly the given message.
const assert = require('assert'), path = require('path');

const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, '..', '..', 'build');

module.exports = {
  buildDir,
  addonPath: (name) => path.join(buildDir, `${name}.node`),
  main: () => require(path.join(buildDir, 'installer_ornel.node')),
  shapes: () => require(path.join(buildDir, 'installer_ornel_test.node')),
  fails: (fn, message) => assert.throws(fn, (e) => e instanceof Error && e.message === message),
};
