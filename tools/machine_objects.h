// The scenario tool's commands on the machine's named kernel objects and
// records: events and file mappings (what the bootstrapper shares with the
// installer UI), restart requests and shell starts. See the README.
#pragma once

#include <string>
#include <vector>

// Runs `command` ("event", "mapping", "hostpath", "restarts", "shell") with its
// arguments; the process's exit code. Exits with a message on bad usage.
int runMachineObjectCommand(const std::string& command, const std::vector<std::string>& args);
