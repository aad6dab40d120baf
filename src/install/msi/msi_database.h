// An owned Windows Installer database, opened from a package file.
#pragma once

#include <cstdint>
#include <memory>

#include "install/msi/msi_handle_holder.h"
#include "install/msi/msi_view.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

class MsiDatabase {
 public:
  MsiDatabase() = default;
  virtual ~MsiDatabase() = default;
  MsiDatabase(const MsiDatabase&) = delete;
  MsiDatabase& operator=(const MsiDatabase&) = delete;

  // Prepares and executes `query`. On success `view` holds the new view
  // (what it held before is destroyed) and 0 is returned; on failure `view`
  // is left alone and the Windows Installer code is returned.
  virtual std::uint32_t openView(const platform::wstring& query, std::unique_ptr<MsiView>& view) = 0;
};

class MsiDatabaseImpl : public MsiDatabase {
 public:
  // Opens `path` with persist value 2 (direct read-write) when `writable`,
  // read-only otherwise; the result is in openError().
  MsiDatabaseImpl(platform::wstring path, bool writable);

  std::uint32_t openView(const platform::wstring& query, std::unique_ptr<MsiView>& view) override;

  std::uint32_t openError() const { return openError_; }

 private:
  platform::wstring path_;
  MsiHandleHolder database_;
  std::uint32_t openError_ = ERROR_SUCCESS;
};

// Opens a package: read-write in place (persist value 2, changes kept when
// the object is destroyed) for `mode` 1, read-only for every other mode.
// Always returns an object; `error` receives the open's code, and when it
// is not 0 the object holds no handle and must not be queried.
std::unique_ptr<MsiDatabase> openMsiDatabase(const platform::wstring& path, std::int32_t mode, std::uint32_t& error);

}  // namespace msi_wrapper
}  // namespace installer
