// Damaged packages against the package inspections: a seeded, time-bounded fuzzer. Each mutant of a
// good package (truncated, bytes flipped, a sector zeroed, one FAT entry changed) is inspected, as the
// services do, in a child process of its own. A child killed by a signal is a crash, one that outlives
// its alarm a hang, and one that echoes a GLib message the intact package does not give lets damage
// reach libmsi (reports of a missing table or column are not such a sign: a renamed table still works).
// Failing mutants are kept for reproduction. One summary line on stdout; exit status 0 if none failed.
//   package_fuzz --package P.msi [--seed N] [--count N] [--seconds S] [--keep DIR]
//   package_fuzz --package P.msi --emit DIR [--seed N] [--count N]   (mutants for the script-level
//       fuzzer, half of them passing the package check)
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>

#include "install/msi/feature_info.h"
#include "install/msi/msi_package_info.h"
#include "install/msi/msi_product_info.h"
#include "install/msi/package_queries.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/msi_database/package_check.h"

namespace {

using installer::msi_wrapper::FeatureInfo;

constexpr std::size_t kSector = 512;
constexpr unsigned kChildSeconds = 20;

struct Options { std::string package, keep, emit; std::uint32_t seed = 1; long count = 3000; double seconds = 1e9; };

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(bytes.size()));
}

// One entry of the first FAT sector (every package has one) set to another sector, a special value or noise.
void changeFatEntry(std::string& bytes, std::mt19937& random) {
  std::size_t fatSector = 0;
  for (int i = 3; i >= 0; --i) fatSector = fatSector << 8 | std::uint8_t(bytes[76 + i]);
  const std::size_t at = (fatSector + 1) * kSector, sectors = bytes.size() / kSector - 1;
  if (at + kSector > bytes.size() || sectors == 0) return;
  const std::size_t entry = random() % std::min<std::size_t>(sectors, kSector / 4);
  static const std::uint32_t special[] = {0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFD, 0xFFFFFFFC};
  std::uint32_t value = random();
  if (random() % 2) value = std::uint32_t(random() % sectors);
  else if (random() % 2) value = special[random() % 4];
  for (int i = 0; i < 4; ++i) bytes[at + entry * 4 + i] = char(value >> (8 * i));
}

// A mutant of `bytes`, and the name of what was done.
std::string mutate(std::string bytes, std::mt19937& random, const char*& kind) {
  const unsigned how = random() % 4;
  static const char* const kinds[] = {"truncated", "flipped", "zeroed", "fat"};
  kind = kinds[how];
  if (how == 0) {
    bytes.resize(random() % bytes.size());
  } else if (how == 1) {
    for (int i = 0, flips = 1 + random() % 8; i < flips; ++i) bytes[random() % bytes.size()] ^= char(1 + random() % 255);
  } else if (how == 2) {
    std::memset(&bytes[(random() % (bytes.size() / kSector)) * kSector], 0, kSector);
  } else {
    changeFatEntry(bytes, random);
  }
  return bytes;
}

// Every inspection the two package services make on a package file.
void inspect(const platform::wstring& path) {
  using namespace installer::msi_wrapper;
  auto package = openMsiPackageInfo(path);
  const bool valid = package->isValid();
  package->getPackageCode();
  std::uint32_t error = 0;
  auto product = openMsiProductInfo(path, error);
  if (product) {
    std::vector<FeatureInfo> features;
    product->getProductName(); product->getProductCode(); product->getInstallDirectory();
    product->getProperty(u"ProductVersion"); product->getCabFileNames(); product->getSetupType();
    product->getProductFeatures(features);
    readQueryRows(path, u"SELECT `Property`, `Value` FROM `Property`");
    readRebrandingCode(path); readPremiumLink(path);
  }
  std::printf("%u %d\n", unsigned(error), valid ? 1 : 0);
}

enum class Outcome { opened, refused, crashed, hung, warned };

struct Verdict {
  Outcome outcome;
  unsigned code;
  std::string detail, messages;  // messages: what the child wrote to stderr
};

std::string drain(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, std::size_t(got));
  close(fd);
  return text;
}

std::set<std::string> linesOf(const std::string& text) {
  std::set<std::string> lines;
  for (std::size_t at = 0, end; at < text.size(); at = end + 1) {
    end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    if (end > at) lines.insert(text.substr(at, end - at));
  }
  return lines;
}

Verdict runChild(const std::string& hostPath) {
  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(out[1], 1); dup2(err[1], 2); close(out[0]); close(err[0]);
    alarm(kChildSeconds);
    inspect(emulated::toWindowsPath(hostPath));
    std::fflush(stdout);
    _exit(0);
  }
  close(out[1]); close(err[1]);
  // stderr is small or the child is at fault; read it last.
  const std::string result = drain(out[0]), messages = drain(err[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    return {signal == SIGALRM ? Outcome::hung : Outcome::crashed, 0, strsignal(signal), messages};
  }
  unsigned code = 0;
  int valid = 0;
  if (WEXITSTATUS(status) != 0 || std::sscanf(result.c_str(), "%u %d", &code, &valid) != 2)
    return {Outcome::crashed, 0, "exit status " + std::to_string(WEXITSTATUS(status)), messages};
  return {code == 0 ? Outcome::opened : Outcome::refused, code, {}, messages};
}

bool missingName(const std::string& line) {
  for (const char* report : {"table not found", "Couldn't find id for ", "can't create table: ", "Couldn't find column "})
    if (line.find(report) != std::string::npos) return true;
  return false;
}

// A message the intact package does not give makes a mutant fail.
Verdict judged(Verdict verdict, const std::set<std::string>& expected) {
  if (verdict.outcome != Outcome::opened && verdict.outcome != Outcome::refused) return verdict;
  for (const std::string& line : linesOf(verdict.messages))
    if (expected.count(line) == 0 && !missingName(line)) return {Outcome::warned, 0, line.substr(0, 200), verdict.messages};
  return verdict;
}

bool parse(int argc, char** argv, Options& options) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i], value = argv[i + 1];
    if (name == "--package") options.package = value;
    else if (name == "--keep") options.keep = value;
    else if (name == "--emit") options.emit = value;
    else if (name == "--seed") options.seed = std::uint32_t(std::stoul(value));
    else if (name == "--count") options.count = std::stol(value);
    else if (name == "--seconds") options.seconds = std::stod(value);
    else return false;
  }
  return !options.package.empty() && argc % 2 == 1;
}

std::string fileName(const std::string& directory, long index) { return directory + "/mutant-" + std::to_string(index) + ".msi"; }

std::string mutantOf(const std::string& original, const Options& options, long index, const char*& kind) {
  std::mt19937 random(options.seed * 1000003u + std::uint32_t(index));
  return mutate(original, random, kind);
}

int emit(const Options& options, const std::string& original) {
  const std::string probe = options.emit + "/probe.msi";
  long sound = 0, damaged = 0;
  for (long index = 0; sound + damaged < options.count && index < 1000 * options.count; ++index) {
    const char* kind = "";
    const std::string mutant = mutantOf(original, options, index, kind);
    writeFile(probe, mutant);
    long& taken = emulated::checkPackageFile(probe) == emulated::PackageVerdict::sound ? sound : damaged;
    if (taken >= (options.count + 1) / 2) continue;
    ++taken;
    writeFile(fileName(options.emit, sound + damaged), mutant);
  }
  unlink(probe.c_str());
  std::printf("package_fuzz: wrote %ld mutants to %s, %ld of them passing the check\n", sound + damaged,
              options.emit.c_str(), sound);
  return 0;
}

int fuzz(const Options& options, const std::string& original) {
  const std::string work = "/tmp/package_fuzz_" + std::to_string(getpid()) + ".msi";
  setenv("INSTALLER_ORNEL_MSI_WARNINGS", "1", 1);
  writeFile(work, original);
  const Verdict intact = runChild(work);
  if (intact.outcome != Outcome::opened) {
    std::fprintf(stderr, "package_fuzz: the intact package fails: %s\n", intact.detail.c_str());
    return 2;
  }
  const std::set<std::string> expected = linesOf(intact.messages);
  const auto start = std::chrono::steady_clock::now();
  std::map<unsigned, long> refusals;
  long opened = 0, failures = 0, done = 0;
  for (; done < options.count; ++done) {
    if (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() > options.seconds) break;
    const char* kind = "";
    const std::string mutant = mutantOf(original, options, done, kind);
    writeFile(work, mutant);
    const Verdict verdict = judged(runChild(work), expected);
    if (verdict.outcome == Outcome::opened) ++opened;
    else if (verdict.outcome == Outcome::refused) ++refusals[verdict.code];
    else {
      ++failures;
      std::fprintf(stderr, "mutant %ld (%s, seed %u): %s %s\n", done, kind, options.seed,
                   verdict.outcome == Outcome::hung ? "hang" : verdict.outcome == Outcome::warned ? "stderr:" : "crash:",
                   verdict.detail.c_str());
      if (!options.keep.empty()) writeFile(fileName(options.keep, done), mutant);
    }
  }
  unlink(work.c_str());
  std::string codes;
  for (const auto& [code, count] : refusals) codes += " " + std::to_string(code) + "x" + std::to_string(count);
  std::printf("package_fuzz: %ld mutants (seed %u), %ld opened, refused:%s, %ld failures\n", done, options.seed,
              opened, codes.empty() ? " none" : codes.c_str(), failures);
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parse(argc, argv, options)) {
    std::fprintf(stderr, "usage: package_fuzz --package P.msi [--seed N] [--count N] [--seconds S] [--keep DIR] [--emit DIR]\n");
    return 2;
  }
  const std::string original = readFile(options.package);
  if (original.size() < 3 * kSector) {
    std::fprintf(stderr, "package_fuzz: %s is not a package\n", options.package.c_str());
    return 2;
  }
  return options.emit.empty() ? fuzz(options, original) : emit(options, original);
}
