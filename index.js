'use strict';
// require() of the repository gives the add-on's exports: query(name).
const path = require('path');
const buildDir = process.env.INSTALLER_ORNEL_BUILD_DIR || path.join(__dirname, 'build');
module.exports = require(path.join(buildDir, 'installer_ornel.node'));
// Never runs: it names the export for Node's ESM loader, which reads a
// CommonJS file's export names from its text, so `import { query }` works too.
0 && (module.exports = { query: null });
