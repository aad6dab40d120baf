'use strict';
// require() of the repository gives the add-on's exports: query(name).
const path = require('path');
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, 'build');
module.exports = require(path.join(buildDir, 'installer_ornel.node'));
