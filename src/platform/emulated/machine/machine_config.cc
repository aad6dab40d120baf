#include "platform/emulated/machine/machine_config.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

#include "platform/emulated/machine/machine_paths.h"

namespace emulated {

namespace {

std::string trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  const size_t last = text.find_last_not_of(" \t\r");
  return text.substr(first, last - first + 1);
}

std::vector<std::string> readLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The key of a "key=value" line, or "" for a comment or another line.
std::string keyOf(const std::string& line) {
  const std::string text = trim(line);
  if (text.empty() || text[0] == '#') return {};
  const size_t equals = text.find('=');
  return equals == std::string::npos ? std::string() : trim(text.substr(0, equals));
}

}  // namespace

std::string machineConfigPath() { return machineRoot() + "/machine.conf"; }

std::map<std::string, std::string> readMachineConfig() {
  std::map<std::string, std::string> config;
  for (const std::string& line : readLines(machineConfigPath())) {
    const std::string key = keyOf(line);
    if (key.empty()) continue;
    config[key] = trim(line.substr(line.find('=') + 1));
  }
  return config;
}

std::string machineConfigValue(const std::string& key, const std::string& fallback) {
  const auto config = readMachineConfig();
  const auto it = config.find(key);
  return it == config.end() ? fallback : it->second;
}

namespace {

int numberOr(const std::map<std::string, std::string>& config, const char* key, int fallback) {
  const auto it = config.find(key);
  if (it == config.end() || it->second.empty()) return fallback;
  char* end = nullptr;
  const long value = std::strtol(it->second.c_str(), &end, 10);
  return *end == 0 ? static_cast<int>(value) : fallback;
}

std::string textOr(const std::map<std::string, std::string>& config, const char* key, const std::string& fallback) {
  const auto it = config.find(key);
  return it == config.end() || it->second.empty() ? fallback : it->second;
}

}  // namespace

MachineFacts readMachineFacts() {
  const auto config = readMachineConfig();
  MachineFacts facts;
  facts.windowsMajor = numberOr(config, "windowsMajor", facts.windowsMajor);
  facts.windowsMinor = numberOr(config, "windowsMinor", facts.windowsMinor);
  facts.windowsBuild = numberOr(config, "windowsBuild", facts.windowsBuild);
  facts.servicePack = numberOr(config, "windowsServicePack", facts.servicePack);
  facts.productType = numberOr(config, "windowsProductType", facts.productType);
  facts.suiteMask = numberOr(config, "windowsSuiteMask", facts.suiteMask);
  facts.is64Bit = numberOr(config, "windows64Bit", 0) != 0;
  facts.userName = textOr(config, "userName", facts.userName);
  facts.computerName = textOr(config, "computerName", facts.computerName);
  facts.userLanguage = numberOr(config, "userLanguage", facts.userLanguage);
  facts.systemLanguage = numberOr(config, "systemLanguage", facts.systemLanguage);
  facts.userIsAdmin = numberOr(config, "userIsAdmin", 1) != 0;
  return facts;
}

bool writeMachineConfigValue(const std::string& key, const std::string& value) {
  const std::string path = machineConfigPath();
  std::vector<std::string> lines = readLines(path);
  bool replaced = false;
  for (std::string& line : lines) {
    if (keyOf(line) != key) continue;
    line = key + "=" + value;
    replaced = true;
  }
  if (!replaced) lines.push_back(key + "=" + value);

  const std::string temporary = path + ".tmp." + std::to_string(::getpid());
  {
    std::ofstream out(temporary, std::ios::trunc);
    for (const std::string& line : lines) out << line << '\n';
    out.flush();
    if (!out) {
      std::remove(temporary.c_str());
      return false;
    }
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::remove(temporary.c_str());
    return false;
  }
  return true;
}

}  // namespace emulated
