#include "install/msi/msi_package_info.h"

namespace installer {
namespace msi_wrapper {

namespace {

// The revision number property, which holds a package's package code.
constexpr UINT kRevisionNumberProperty = 9;

}  // namespace

MsiPackageInfo::MsiPackageInfo(const platform::wstring& path) {
  openError_ = MsiOpenDatabaseW(path.c_str(), readOnlyPersist(), database_.receive());
  // After a failed open this asks about handle 0 and fails in turn.
  summaryError_ = MsiGetSummaryInformationW(database_.get(), nullptr, 0, summary_.receive());
}

MsiPackageInfo::~MsiPackageInfo() {
  summary_.reset();
  database_.reset();
}

bool MsiPackageInfo::isValid() { return openError_ == ERROR_SUCCESS && summaryError_ == ERROR_SUCCESS; }

platform::wstring MsiPackageInfo::getPackageCode() {
  // Sized with an empty buffer, as Windows Installer asks: a property that
  // is empty or missing does not answer 234 and gives "".
  WCHAR empty[1] = {0};
  DWORD size = 0;
  UINT code = MsiSummaryInfoGetPropertyW(summary_.get(), kRevisionNumberProperty, nullptr, nullptr, nullptr, empty,
                                         &size);
  if (code != ERROR_MORE_DATA) return {};
  platform::wstring buffer(size, WCHAR(0));
  DWORD capacity = size + 1;
  code = MsiSummaryInfoGetPropertyW(summary_.get(), kRevisionNumberProperty, nullptr, nullptr, nullptr, &buffer[0],
                                    &capacity);
  if (code != ERROR_SUCCESS) return {};
  buffer.resize(std::char_traits<WCHAR>::length(buffer.c_str()));
  return buffer;
}

std::unique_ptr<MsiPackageInfoInterface> openMsiPackageInfo(const platform::wstring& path) {
  return std::make_unique<MsiPackageInfo>(path);
}

}  // namespace msi_wrapper
}  // namespace installer
