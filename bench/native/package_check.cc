// The check that every package open runs before libmsi sees the file,
// against libmsi's own read-only open of the same file, in the same run:
// the test package, and the same package carrying a 48 MiB cabinet stream
// (built on first run next to this binary, fixtures/cabinet.msi, with
// msibuild). The check walks the cabinet's chain and never reads it, so
// its cost must stay below that of the open on both. The cached
// verdict (one stat) is timed too.
#include <libmsi.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "bench_support.h"
#include "platform/emulated/msi_database/package_check.h"

namespace {

constexpr int kRounds = 30;

std::string buildCabinetPackage(const std::string& product) {
  const std::string directory = bench::generatedFolder();
  const std::string package = directory + "/cabinet.msi";
  if (bench::alreadyBuilt(package)) return package;
  const std::string payload = directory + "/cabinet.payload";
  {
    std::ofstream out(payload, std::ios::binary);
    const std::string block(1 << 20, '\x5a');
    for (int i = 0; i < 48; ++i) out << block;
  }
  const std::string partial = directory + "/cabinet.partial.msi";
  const std::string command =
      "cp '" + product + "' '" + partial + "' && msibuild '" + partial + "' -a big.cab '" + payload + "'";
  if (std::system(command.c_str()) != 0 || std::rename(partial.c_str(), package.c_str()) != 0) {
    std::fprintf(stderr, "package_check: could not build %s with msibuild\n", package.c_str());
    std::exit(1);
  }
  std::remove(payload.c_str());
  return package;
}

// The best of kRounds runs of `work`, in milliseconds.
template <class Work>
double bestMilliseconds(Work&& work) {
  double best = 1e300;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

bool measure(const std::string& path) {
  std::string problem;
  if (emulated::checkPackageFile(path, problem) != emulated::PackageVerdict::sound) {
    std::fprintf(stderr, "package_check: %s refused: %s\n", path.c_str(), problem.c_str());
    return false;
  }
  const double check = bestMilliseconds([&] { emulated::checkPackageFile(path, problem); });
  const double cached = bestMilliseconds([&] { emulated::checkPackageFile(path); });
  const double open = bestMilliseconds([&] {
    LibmsiDatabase* database = libmsi_database_new(path.c_str(), LIBMSI_DB_FLAGS_READONLY, nullptr, nullptr);
    if (database != nullptr) g_object_unref(database);
  });
  std::printf("%s: check %.3f ms, cached %.4f ms, libmsi open %.3f ms; check = %.2f x open (target <= 1)\n",
              path.substr(path.rfind('/') + 1).c_str(), check, cached, open, check / open);
  return true;
}

}  // namespace

int main() {
  const std::string product = bench::binaryFolder() + "/../tests/fixtures/product.msi";
  const bool ok = measure(product) && measure(buildCabinetPackage(product));
  return ok ? 0 : 1;
}
