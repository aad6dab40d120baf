// The pre-installation run of the setup manager (the scenario tool's
// `preinstall`) of a generated package with 1,000 components, 1,000 files
// and 100 features, against libmsi alone opening the package and reading
// every row of every table the run reads, in the same run. Target: the run
// takes at most 2x the reading.
//
// The package is built on first run next to this binary
// (fixtures/preinstall.msi) by IDT imports with msibuild. Its execute
// sequence has FindRelatedProducts, AppSearch and LaunchConditions before
// the costing, each with a row to work on, and an installed related
// product in a private machine root for FindRelatedProducts to find.
#include "install/msi/msi_setup_manager.h"

#include <benchmark/benchmark.h>

#include "bench_support.h"
#include <libmsi.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/products/installed_products.h"

namespace {

constexpr int kComponents = 1000;
constexpr int kFeatures = 100;
constexpr int kDirectories = 100;
constexpr char kUpgradeCode[] = "{6A7B8C9D-0E1F-4A2B-8C3D-4E5F60718293}";

// The tables the run reads (those the package has).
const char* const kTables[] = {"Property",   "InstallExecuteSequence", "Upgrade",   "AppSearch",
                               "RegLocator", "LaunchCondition",        "Directory", "Feature",
                               "Component",  "FeatureComponents",      "File"};

std::string guid(int n) {
  char text[48];
  std::snprintf(text, sizeof text, "{00000000-0000-4000-8000-%012d}", n);
  return text;
}

// One IDT file: the header lines, then a row per call of `row`.
void writeIdt(const std::string& path, const std::string& header, int count,
              const std::function<std::string(int)>& row) {
  std::ofstream out(path, std::ios::binary);
  out << header;
  for (int i = 0; i < count; ++i) out << row(i) << "\r\n";
}

std::string buildPackage() {
  const std::string directory = bench::generatedFolder();
  const std::string package = directory + "/preinstall.msi";
  if (bench::alreadyBuilt(package)) return package;
  const std::vector<std::string> properties = {"ProductCode\t{7B8C9D0E-1F2A-4B3C-9D4E-5F6071829304}",
                                               "ProductName\tBench Product",
                                               "ProductVersion\t2.0.0",
                                               "Manufacturer\tOrnel Labs",
                                               std::string("UpgradeCode\t") + kUpgradeCode,
                                               "ProductLanguage\t1033"};
  const std::vector<std::string> sequence = {"FindRelatedProducts\t\t25", "AppSearch\t\t50",
                                             "LaunchConditions\t\t100",   "ValidateProductID\t\t700",
                                             "CostInitialize\t\t800",     "FileCost\t\t900",
                                             "CostFinalize\t\t1000",      "MigrateFeatureStates\t\t1200",
                                             "InstallValidate\t\t1400",   "InstallInitialize\t\t1500",
                                             "InstallFiles\t\t4000",      "InstallFinalize\t\t6600"};
  auto fixed = [](const std::vector<std::string>& rows) { return [&rows](int i) { return rows[size_t(i)]; }; };
  struct Table {
    const char* name;
    std::string header;
    int count;
    std::function<std::string(int)> row;
  };
  const Table tables[] = {
      {"Property", "Property\tValue\r\ns72\tl0\r\nProperty\tProperty\r\n", int(properties.size()), fixed(properties)},
      {"InstallExecuteSequence", "Action\tCondition\tSequence\r\ns72\tS255\tI2\r\nInstallExecuteSequence\tAction\r\n",
       int(sequence.size()), fixed(sequence)},
      {"Upgrade",
       "UpgradeCode\tVersionMin\tVersionMax\tLanguage\tAttributes\tRemove\tActionProperty\r\n"
       "s38\tS20\tS20\tS255\ti4\tS255\ts72\r\nUpgrade\tUpgradeCode\tVersionMin\tVersionMax\tLanguage\tAttributes\r\n",
       1, [](int) { return std::string(kUpgradeCode) + "\t1.0.0\t2.0.0\t\t257\t\tOLDERFOUND"; }},
      {"AppSearch", "Property\tSignature_\r\ns72\ts72\r\nAppSearch\tProperty\tSignature_\r\n", 1,
       [](int) { return std::string("OLDDIR\tOldDir"); }},
      {"RegLocator", "Signature_\tRoot\tKey\tName\tType\r\ns72\ti2\ts255\tS255\tI2\r\nRegLocator\tSignature_\r\n", 1,
       [](int) { return std::string("OldDir\t2\tSoftware\\Ornel\\Bench\tInstallDir\t0"); }},
      {"LaunchCondition", "Condition\tDescription\r\ns255\tl255\r\nLaunchCondition\tCondition\r\n", 1,
       [](int) { return std::string("VersionNT >= 600\tThis product needs Windows Vista or later."); }},
      {"Directory", "Directory\tDirectory_Parent\tDefaultDir\r\ns72\tS72\tl255\r\nDirectory\tDirectory\r\n",
       kDirectories + 3,
       [](int i) {
         if (i == 0) return std::string("TARGETDIR\t\tSourceDir");
         if (i == 1) return std::string("ProgramFilesFolder\tTARGETDIR\t.");
         if (i == 2) return std::string("INSTALLDIR\tProgramFilesFolder\tBENCH|Bench Product");
         const int n = i - 3;
         return "Dir" + std::to_string(n) + "\tINSTALLDIR\tSUB" + std::to_string(n) + "|Folder " + std::to_string(n);
       }},
      {"Feature",
       "Feature\tFeature_Parent\tTitle\tDescription\tDisplay\tLevel\tDirectory_\tAttributes\r\n"
       "s38\tS38\tL64\tL255\tI2\ti2\tS72\ti2\r\nFeature\tFeature\r\n",
       kFeatures,
       [](int i) {
         const std::string parent = i == 0 ? "" : "Feature" + std::to_string(i < 10 ? 0 : i / 10);
         return "Feature" + std::to_string(i) + "\t" + parent + "\tFeature " + std::to_string(i) + "\t\t" +
                std::to_string(i * 2 + 1) + "\t" + (i % 3 == 0 ? "3" : "1") + "\tINSTALLDIR\t0";
       }},
      {"Component",
       "Component\tComponentId\tDirectory_\tAttributes\tCondition\tKeyPath\r\n"
       "s72\tS38\ts72\ti2\tS255\tS72\r\nComponent\tComponent\r\n",
       kComponents,
       [](int i) {
         const std::string n = std::to_string(i);
         return "Component" + n + "\t" + guid(i) + "\tDir" + std::to_string(i % kDirectories) + "\t0\t\tFile" + n;
       }},
      {"FeatureComponents", "Feature_\tComponent_\r\ns38\ts72\r\nFeatureComponents\tFeature_\tComponent_\r\n",
       kComponents,
       [](int i) { return "Feature" + std::to_string(i % kFeatures) + "\tComponent" + std::to_string(i); }},
      {"File",
       "File\tComponent_\tFileName\tFileSize\tVersion\tLanguage\tAttributes\tSequence\r\n"
       "s72\ts72\tl255\ti4\tS72\tS20\tI2\ti2\r\nFile\tFile\r\n",
       kComponents,
       [](int i) {
         const std::string n = std::to_string(i);
         return "File" + n + "\tComponent" + n + "\tFILE" + n + ".TXT|file number " + n + ".txt\t" +
                std::to_string(1000 + i) + "\t\t\t0\t" + std::to_string(i + 1);
       }},
  };
  const std::string partial = directory + "/preinstall.partial.msi";
  std::remove(partial.c_str());
  std::string command = "msibuild '" + partial + "'";
  for (const Table& table : tables) {
    const std::string idt = directory + "/" + table.name + ".idt";
    writeIdt(idt, table.header, table.count, table.row);
    command += " -i '" + idt + "'";
  }
  if (std::system(command.c_str()) != 0 || std::rename(partial.c_str(), package.c_str()) != 0) {
    std::fprintf(stderr, "preinstall: could not build %s with msibuild\n", package.c_str());
    std::exit(1);
  }
  return package;
}

std::string packagePath;

void BM_LibmsiReading(benchmark::State& state) {
  std::size_t characters = 0;
  for (auto _ : state) {
    LibmsiDatabase* database = libmsi_database_new(packagePath.c_str(), LIBMSI_DB_FLAGS_READONLY, nullptr, nullptr);
    for (const char* table : kTables) {
      const std::string sql = std::string("SELECT * FROM `") + table + "`";
      LibmsiQuery* query = libmsi_query_new(database, sql.c_str(), nullptr);
      libmsi_query_execute(query, nullptr, nullptr);
      while (LibmsiRecord* row = libmsi_query_fetch(query, nullptr)) {
        const guint fields = libmsi_record_get_field_count(row);
        for (guint field = 1; field <= fields; ++field) {
          gchar* text = libmsi_record_get_string(row, field);
          if (text != nullptr) characters += std::char_traits<char>::length(text);
          g_free(text);
        }
        g_object_unref(row);
      }
      g_object_unref(query);
    }
    g_object_unref(database);
  }
  benchmark::DoNotOptimize(characters);
}

void BM_PreinstallRun(benchmark::State& state) {
  const std::u16string path = emulated::toWindowsPath(packagePath);
  for (auto _ : state) {
    const UINT code = installer::msi_wrapper::createMsiSetupManager(nullptr, u"", path, {})->runPreinstall({}, 2);
    if (code != ERROR_SUCCESS) state.SkipWithError(("result " + std::to_string(code)).c_str());
  }
}

// The machine is shared: the two take turns, round after round, and the
// ratio compares each side's best round.
constexpr int kRounds = 5;

}  // namespace

int main(int argc, char** argv) {
  const bench::PrivateMachine machine;
  packagePath = buildPackage();
  emulated::InstalledProduct older;
  older.productCode = u"{8C9D0E1F-2A3B-4C4D-8E5F-607182930415}";
  older.upgradeCode = u"{6A7B8C9D-0E1F-4A2B-8C3D-4E5F60718293}";
  older.versionString = u"1.5.0";
  older.language = u"1033";
  emulated::saveInstalledProduct(older);
  for (int round = 1; round <= kRounds; ++round) {
    const std::string suffix = "/round:" + std::to_string(round);
    benchmark::RegisterBenchmark(("BM_LibmsiReading" + suffix).c_str(), BM_LibmsiReading)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.3);
    benchmark::RegisterBenchmark(("BM_PreinstallRun" + suffix).c_str(), BM_PreinstallRun)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.3);
  }
  benchmark::Initialize(&argc, argv);
  bench::BestRoundReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double reading = reporter.seconds["BM_LibmsiReading"];
  const double run = reporter.seconds["BM_PreinstallRun"];
  if (reading > 0 && run > 0) {
    std::printf(
        "pre-installation run of %d components, %d files, %d features, best of %d rounds: "
        "libmsi reading %.1f ms, run %.1f ms; run = %.2f x the reading (target <= 2.00)\n",
        kComponents, kComponents, kFeatures, kRounds, reading * 1e3, run * 1e3, run / reading);
  }
  benchmark::Shutdown();
  return machine.remove();
}
