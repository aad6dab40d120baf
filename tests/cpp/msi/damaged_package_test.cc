// Damaged packages get error codes, never a crash. The two corruptions
// that killed the process inside libmsi are made here from the wixl-built
// test package: one FAT entry changed, so the streams of the mini stream
// read other streams' bytes (libmsi crashed while opening, on a null
// stream name); and the sector holding the column catalogue zeroed, which
// leaves the compound file sound (libmsi crashed in its query parser).
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "../support/test_packages.h"
#include "install/msi/msi_package_info_interface.h"
#include "install/msi/msi_product_info_interface.h"
#include "platform/emulated/msi_database/compound_file.h"
#include "platform/emulated/msi_database/package_check.h"

namespace {

using emulated::checkPackageFile;
using emulated::CompoundFile;
using emulated::PackageVerdict;
using test_packages::fixtureHostPath;
using test_packages::MachineFile;

constexpr std::size_t kSector = 512;
constexpr std::size_t kMiniSector = 64;

std::uint32_t le32(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | std::uint8_t(bytes[at + i]);
  return value;
}

std::size_t sectorOffset(std::uint32_t sector) { return (sector + 1) * kSector; }

// The first sector of the mini stream: the root entry's start sector.
std::uint32_t miniStreamStart(const std::string& bytes) { return le32(bytes, sectorOffset(le32(bytes, 48)) + 116); }

std::string fatEntryChanged(std::string bytes) {
  const std::uint32_t start = miniStreamStart(bytes);
  const std::uint32_t skipped = start + 2;
  std::memcpy(&bytes[sectorOffset(le32(bytes, 76)) + 4 * start], &skipped, 4);
  return bytes;
}

std::string columnsStream(const std::string& hostPath) {
  std::string problem, bytes;
  bool missing = false;
  auto file = CompoundFile::open(hostPath, problem, missing);
  if (!file) return "unreadable: " + problem;
  const CompoundFile::Stream* columns = file->find(emulated::packedTableStreamName("_Columns"));
  if (columns == nullptr || !file->read(*columns, bytes)) return "no _Columns";
  return bytes;
}

// wixl writes the mini stream as one run of sectors, so the file sector of
// a mini sector is plain arithmetic; the test checks that it hit.
std::string columnsSectorZeroed(std::string bytes) {
  std::string problem;
  bool missing = false;
  auto file = CompoundFile::open(fixtureHostPath("product"), problem, missing);
  const CompoundFile::Stream* columns = file->find(emulated::packedTableStreamName("_Columns"));
  const std::size_t sector = miniStreamStart(bytes) + columns->start * kMiniSector / kSector;
  std::fill_n(&bytes[sectorOffset(std::uint32_t(sector))], kSector, '\0');
  return bytes;
}

TEST(DamagedPackage, GetsTheDocumentedCodesAndNeverReachesLibmsi) {
  const std::string original = test_packages::readBytes(fixtureHostPath("product"));
  const struct {
    const char* name;
    std::string bytes;
  } cases[] = {{"fat-entry.msi", fatEntryChanged(original)}, {"zeroed-columns.msi", columnsSectorZeroed(original)}};
  for (const auto& damage : cases) {
    SCOPED_TRACE(damage.name);
    MachineFile file(damage.name, damage.bytes);
    EXPECT_EQ(checkPackageFile(file.hostPath), PackageVerdict::damaged);
    MSIHANDLE handle = 777;
    EXPECT_EQ(MsiOpenDatabaseW(file.path.c_str(), MSIDBOPEN_READONLY, &handle), UINT(ERROR_OPEN_FAILED));
    EXPECT_EQ(MsiGetSummaryInformationW(0, file.path.c_str(), 0, &handle), UINT(ERROR_INSTALL_PACKAGE_INVALID));
    EXPECT_EQ(handle, MSIHANDLE(777));
    // What the services do: isValid() and the product information.
    auto package = installer::msi_wrapper::openMsiPackageInfo(file.path);
    EXPECT_FALSE(package->isValid());
    EXPECT_EQ(package->getPackageCode(), u"");
    std::uint32_t error = 0;
    EXPECT_EQ(installer::msi_wrapper::openMsiProductInfo(file.path, error), nullptr);
    EXPECT_EQ(error, std::uint32_t(ERROR_OPEN_FAILED));
  }
  // The zeroed sector is the catalogue's, in a compound file that is sound.
  MachineFile zeroed("zeroed-check.msi", cases[1].bytes);
  const std::string columns = columnsStream(zeroed.hostPath);
  EXPECT_EQ(columns.size(), columnsStream(fixtureHostPath("product")).size());
  EXPECT_NE(columns, columnsStream(fixtureHostPath("product")));
}

// The check refuses no package that wixl and libmsi wrote.
TEST(DamagedPackage, EveryTestPackageIsSound) {
  DIR* directory = ::opendir(MSI_FIXTURE_DIR);
  ASSERT_NE(directory, nullptr);
  int checked = 0;
  while (const dirent* entry = ::readdir(directory)) {
    const std::string name = entry->d_name;
    if (name.size() < 4 || name.compare(name.size() - 4, 4, ".msi") != 0) continue;
    std::string problem;
    EXPECT_EQ(checkPackageFile(std::string(MSI_FIXTURE_DIR) + "/" + name, problem), PackageVerdict::sound)
        << name << ": " << problem;
    ++checked;
  }
  ::closedir(directory);
  EXPECT_GT(checked, 10);
}

// A package damaged in place after a good open is checked again.
TEST(DamagedPackage, ARewrittenFileIsCheckedAgain) {
  const std::string original = test_packages::readBytes(fixtureHostPath("product"));
  MachineFile file("rewritten.msi", original);
  MSIHANDLE database = 0;
  ASSERT_EQ(MsiOpenDatabaseW(file.path.c_str(), MSIDBOPEN_READONLY, &database), UINT(ERROR_SUCCESS));
  MsiCloseHandle(database);
  test_packages::writeBytes(file.hostPath, columnsSectorZeroed(original));
  EXPECT_EQ(MsiOpenDatabaseW(file.path.c_str(), MSIDBOPEN_READONLY, &database), UINT(ERROR_OPEN_FAILED));
}

}  // namespace
