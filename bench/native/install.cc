// The installation (MsiInstallProductW) of a generated package of 1,000
// files, 50 MB in one embedded cabinet, on a private machine, against
// libgcab alone extracting the same cabinet to a directory, in the same
// run; and the removal of that product (MsiConfigureProductExW,
// INSTALLSTATE_ABSENT). Target: the installation's throughput is at least
// 0.6x the extraction's.
//
// The package is built on first run next to this binary
// (fixtures/install.msi): the payload files and a .wxs are generated, and
// wixl builds the package from them; the cabinet is then copied out of the
// package's streams (fixtures/install.cab) for the extraction.
#include <benchmark/benchmark.h>
#include <libgcab.h>
#include <libmsi.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>

#include "bench_support.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/windows.h"

namespace {

constexpr int kFiles = 1000;
constexpr int kFolders = 20;
constexpr std::size_t kFileBytes = 50'000'000 / kFiles;
constexpr char kProductCode[] = "{7E2A4C61-8B0D-4F3E-A5C7-19D2B4F6A801}";

std::string guid(int n) {
  char text[48];
  std::snprintf(text, sizeof text, "{7E2A4C61-0000-4000-8000-%012d}", n);
  return text;
}

// Text of words drawn by a fixed generator: compressible about as much as
// a program's text files, the same on every build.
std::string payload(std::uint32_t seed) {
  static const char* const kWords[] = {"install", "folder", "registry", "value", "cabinet", "feature",
                                       "component", "product", "upgrade", "rollback", "journal", "message",
                                       "progress", "action", "sequence", "property"};
  std::string text;
  text.reserve(kFileBytes + 16);
  std::uint32_t state = seed * 2654435761u + 1;
  while (text.size() < kFileBytes) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    text += kWords[state % 16];
    text += (state >> 8) % 11 == 0 ? '\n' : ' ';
    if ((state >> 4) % 7 == 0) text += std::to_string(state % 100000);
  }
  text.resize(kFileBytes);
  return text;
}

std::string writeSource(const std::string& folder) {
  const std::string payloadFolder = folder + "/install_payload";
  ::mkdir(payloadFolder.c_str(), 0755);
  std::ofstream wxs(folder + "/install.wxs", std::ios::binary);
  wxs << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Wix xmlns=\"http://schemas.microsoft.com/wix/2006/wi\">\n"
      << "<Product Id=\"" << kProductCode << "\" Name=\"Bench Install\" Language=\"1033\" Version=\"1.0.0\" "
      << "Manufacturer=\"Ornel Labs\" UpgradeCode=\"" << guid(999999) << "\">\n"
      << "<Package InstallerVersion=\"200\" Compressed=\"yes\" InstallScope=\"perMachine\"/>\n"
      << "<Media Id=\"1\" Cabinet=\"install.cab\" EmbedCab=\"yes\"/>\n"
      << "<Directory Id=\"TARGETDIR\" Name=\"SourceDir\"><Directory Id=\"ProgramFilesFolder\">"
      << "<Directory Id=\"INSTALLDIR\" Name=\"Bench Install\">\n";
  for (int folderIndex = 0; folderIndex < kFolders; ++folderIndex) {
    wxs << "<Directory Id=\"D" << folderIndex << "\" Name=\"folder" << folderIndex << "\">\n";
    for (int i = folderIndex; i < kFiles; i += kFolders) {
      const std::string name = "file" + std::to_string(i) + ".txt";
      std::ofstream(payloadFolder + "/" + name, std::ios::binary) << payload(std::uint32_t(i));
      wxs << "<Component Id=\"C" << i << "\" Guid=\"" << guid(i) << "\"><File Id=\"F" << i << "\" Name=\"" << name
          << "\" Source=\"install_payload/" << name << "\" KeyPath=\"yes\"/></Component>\n";
    }
    wxs << "</Directory>\n";
  }
  wxs << "</Directory></Directory></Directory>\n<Feature Id=\"Complete\" Level=\"1\">\n";
  for (int i = 0; i < kFiles; ++i) wxs << "<ComponentRef Id=\"C" << i << "\"/>\n";
  wxs << "</Feature>\n</Product>\n</Wix>\n";
  return "install.wxs";
}

// Copies the package's cabinet stream to `cabinet`.
bool copyCabinet(const std::string& package, const std::string& cabinet) {
  LibmsiDatabase* database = libmsi_database_new(package.c_str(), LIBMSI_DB_FLAGS_READONLY, nullptr, nullptr);
  if (database == nullptr) return false;
  LibmsiQuery* query =
      libmsi_query_new(database, "SELECT `Data` FROM `_Streams` WHERE `Name` = 'install.cab'", nullptr);
  bool copied = false;
  if (query != nullptr && libmsi_query_execute(query, nullptr, nullptr)) {
    if (LibmsiRecord* row = libmsi_query_fetch(query, nullptr)) {
      GInputStream* in = libmsi_record_get_stream(row, 1);
      GFile* file = g_file_new_for_path(cabinet.c_str());
      GFileOutputStream* out = g_file_replace(file, nullptr, FALSE, G_FILE_CREATE_NONE, nullptr, nullptr);
      copied = in != nullptr && out != nullptr &&
               g_output_stream_splice(G_OUTPUT_STREAM(out), in, G_OUTPUT_STREAM_SPLICE_CLOSE_TARGET, nullptr,
                                      nullptr) > 0;
      if (out != nullptr) g_object_unref(out);
      if (in != nullptr) g_object_unref(in);
      g_object_unref(file);
      g_object_unref(row);
    }
  }
  if (query != nullptr) g_object_unref(query);
  g_object_unref(database);
  return copied;
}

struct Generated {
  std::string package;
  std::string cabinet;
};

Generated buildPackage() {
  const std::string folder = bench::generatedFolder();
  const Generated generated{folder + "/install.msi", folder + "/install.cab"};
  if (bench::alreadyBuilt(generated.package) && bench::alreadyBuilt(generated.cabinet)) return generated;
  const std::string partial = folder + "/install.partial.msi";
  // wixl takes sources relative to the current directory only.
  const std::string command = "cd '" + folder + "' && wixl -o '" + partial + "' " + writeSource(folder);
  if (std::system(command.c_str()) != 0 || !copyCabinet(partial, generated.cabinet) ||
      std::rename(partial.c_str(), generated.package.c_str()) != 0) {
    std::fprintf(stderr, "install: could not build %s with wixl\n", generated.package.c_str());
    std::exit(1);
  }
  return generated;
}

Generated generated;
const std::string extractFolder = "/tmp/ornel-bench-extract-" + std::to_string(::getpid());

void removeExtracted() { std::system(("rm -rf '" + extractFolder + "'").c_str()); }

void BM_GcabExtract(benchmark::State& state) {
  for (auto _ : state) {
    GFile* source = g_file_new_for_path(generated.cabinet.c_str());
    GFile* target = g_file_new_for_path(extractFolder.c_str());
    GFileInputStream* in = g_file_read(source, nullptr, nullptr);
    GCabCabinet* cabinet = gcab_cabinet_new();
    GError* error = nullptr;
    const bool done = in != nullptr && g_file_make_directory(target, nullptr, nullptr) &&
                      gcab_cabinet_load(cabinet, G_INPUT_STREAM(in), nullptr, &error) &&
                      gcab_cabinet_extract_simple(cabinet, target, nullptr, nullptr, nullptr, &error);
    const std::string failure = done ? "" : error != nullptr ? error->message : "cannot extract the cabinet";
    if (error != nullptr) g_error_free(error);
    g_object_unref(cabinet);
    if (in != nullptr) g_object_unref(in);
    g_object_unref(target);
    g_object_unref(source);
    state.PauseTiming();
    removeExtracted();
    if (!failure.empty()) {
      state.SkipWithError(failure.c_str());
      break;
    }
    state.ResumeTiming();
  }
}

UINT install() { return MsiInstallProductW(emulated::toWindowsPath(generated.package).c_str(), u""); }
UINT remove() {
  const std::u16string code(kProductCode, kProductCode + sizeof kProductCode - 1);
  return MsiConfigureProductExW(code.c_str(), INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT, u"");
}

// An installation that wrote nothing would be fast: the last file must
// be in place, whole.
bool lastFileInstalled() {
  struct stat info;
  const std::string path = emulated::toHostPath(u"C:\\Program Files\\Bench Install\\folder19\\file999.txt");
  return ::stat(path.c_str(), &info) == 0 && std::size_t(info.st_size) == kFileBytes;
}

// One side timed, the other run paused, so each iteration starts from the
// same machine. A failure ends the benchmark (SkipWithError, then nothing
// of the timer is touched again).
void timedPair(benchmark::State& state, UINT (*timed)(), UINT (*untimed)(), bool untimedFirst) {
  for (auto _ : state) {
    std::string failure;
    if (untimedFirst) {
      state.PauseTiming();
      if (const UINT code = untimed()) failure = "untimed step: " + std::to_string(code);
      state.ResumeTiming();
    }
    if (failure.empty()) {
      if (const UINT code = timed()) failure = "result " + std::to_string(code);
    }
    state.PauseTiming();
    if (failure.empty() && !untimedFirst && !lastFileInstalled()) failure = "the installation did not write its files";
    if (!untimedFirst) untimed();
    if (!failure.empty()) {
      state.SkipWithError(failure.c_str());
      break;
    }
    state.ResumeTiming();
  }
}

void BM_Install(benchmark::State& state) { timedPair(state, install, remove, false); }
void BM_Remove(benchmark::State& state) { timedPair(state, remove, install, true); }

constexpr int kRounds = 5;

}  // namespace

int main(int argc, char** argv) {
  const bench::PrivateMachine machine;
  generated = buildPackage();
  removeExtracted();
  MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  for (int round = 1; round <= kRounds; ++round) {
    const std::string suffix = "/round:" + std::to_string(round);
    for (auto [name, function] : {std::pair{"BM_GcabExtract", BM_GcabExtract}, std::pair{"BM_Install", BM_Install},
                                  std::pair{"BM_Remove", BM_Remove}}) {
      benchmark::RegisterBenchmark((name + suffix).c_str(), function)->Unit(benchmark::kMillisecond)->Iterations(2);
    }
  }
  benchmark::Initialize(&argc, argv);
  bench::BestRoundReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double extract = reporter.seconds["BM_GcabExtract"];
  const double installed = reporter.seconds["BM_Install"];
  const double removed = reporter.seconds["BM_Remove"];
  if (extract > 0 && installed > 0 && removed > 0) {
    std::printf(
        "%d files, %zu MB in one cabinet, best of %d rounds: libgcab extraction %.0f ms, installation %.0f ms, "
        "removal %.0f ms; installation throughput = %.2f x the extraction's (target >= 0.60); "
        "removal takes %.2f x the extraction's time\n",
        kFiles, kFiles * kFileBytes / 1'000'000, kRounds, extract * 1e3, installed * 1e3, removed * 1e3,
        extract / installed, removed / extract);
  }
  benchmark::Shutdown();
  removeExtracted();
  return machine.remove();
}
