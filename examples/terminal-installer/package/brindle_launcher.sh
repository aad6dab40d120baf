#!/bin/sh
# Brindle Studio's launcher: the file that the installer's "start the
# product" opens from the install folder (the package's WixShellExecTarget).
# On the emulated machine the shell really runs it, detached, its output
# going nowhere, and records the start (node tools/machine.js shell). It
# writes nothing, so that an uninstallation still leaves no folder behind.
exit 0
