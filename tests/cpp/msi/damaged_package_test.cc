// Damaged packages get error codes, never a crash. The two corruptions that killed the process inside libmsi are made
// here from the wixl-built test package: one FAT entry changed, so the streams of the mini stream read other streams'
// bytes (libmsi crashed while opening, on a null stream name); and the sector holding the column catalogue zeroed,
// which leaves the compound file sound (libmsi crashed in its query parser).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <utility>

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

constexpr std::size_t kSector = 512, kMiniSector = 64;

std::uint32_t le32(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | std::uint8_t(bytes[at + i]);
  return value;
}

std::size_t sectorOffset(std::uint32_t sector) { return (sector + 1) * kSector; }

// The first sector of the mini stream: the root entry's start sector.
std::uint32_t miniStreamStart(const std::string& bytes) { return le32(bytes, sectorOffset(le32(bytes, 48)) + 116); }

std::string fatEntryChanged(std::string bytes) {
  const std::uint32_t start = miniStreamStart(bytes), skipped = start + 2;
  std::memcpy(&bytes[sectorOffset(le32(bytes, 76)) + 4 * start], &skipped, 4);
  return bytes;
}

// The bytes of a package's _Columns stream (or why not), and its first mini sector.
std::pair<std::string, std::uint32_t> columnsStream(const std::string& hostPath) {
  std::string problem, bytes;
  bool missing = false;
  auto file = CompoundFile::open(hostPath, problem, missing);
  const CompoundFile::Stream* columns = file ? file->find(emulated::packedTableStreamName("_Columns")) : nullptr;
  if (columns == nullptr || !file->read(*columns, bytes)) return {"unreadable: " + problem, 0};
  return {bytes, columns->start};
}

// wixl writes the mini stream as one run of sectors, so the file sector of a mini sector is plain arithmetic; the
// test checks that it hit.
std::string columnsSectorZeroed(std::string bytes) {
  const std::uint32_t start = columnsStream(fixtureHostPath("product")).second;
  const std::size_t sector = miniStreamStart(bytes) + start * kMiniSector / kSector;
  std::fill_n(&bytes[sectorOffset(std::uint32_t(sector))], kSector, '\0');
  return bytes;
}

TEST(DamagedPackage, GetsTheDocumentedCodesNeverReachesLibmsiAndNoTestPackageIsRefused) {
  const std::string original = test_packages::readBytes(fixtureHostPath("product"));
  const struct { const char* name; std::string bytes; } cases[] = {
      {"fat-entry.msi", fatEntryChanged(original)}, {"zeroed-columns.msi", columnsSectorZeroed(original)}};
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
  // A file damaged in place after a good open is checked again. The zeroed sector is the catalogue's, in a compound
  // file that is sound.
  MachineFile rewritten("rewritten.msi", original);
  MSIHANDLE database = 0;
  ASSERT_EQ(MsiOpenDatabaseW(rewritten.path.c_str(), MSIDBOPEN_READONLY, &database), UINT(ERROR_SUCCESS));
  MsiCloseHandle(database);
  test_packages::writeBytes(rewritten.hostPath, cases[1].bytes);
  EXPECT_EQ(MsiOpenDatabaseW(rewritten.path.c_str(), MSIDBOPEN_READONLY, &database), UINT(ERROR_OPEN_FAILED));
  const std::string columns = columnsStream(rewritten.hostPath).first;
  const std::string sound = columnsStream(fixtureHostPath("product")).first;
  EXPECT_EQ(columns.size(), sound.size());
  EXPECT_NE(columns, sound);
  // The check refuses no package that wixl and libmsi wrote.
  int checked = 0;
  for (const auto& entry : std::filesystem::directory_iterator(MSI_FIXTURE_DIR)) {
    if (entry.path().extension() != ".msi") continue;
    std::string problem;
    EXPECT_EQ(checkPackageFile(entry.path().string(), problem), PackageVerdict::sound) << entry.path() << ": " << problem;
    ++checked;
  }
  EXPECT_GT(checked, 10);
}

}  // namespace
