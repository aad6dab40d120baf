#include "install/msi/msi_database.h"

namespace installer {
namespace msi_wrapper {

MsiDatabaseImpl::MsiDatabaseImpl(platform::wstring path, bool writable) : path_(std::move(path)) {
  openError_ = MsiOpenDatabaseW(path_.c_str(), writable ? directPersist() : readOnlyPersist(), database_.receive());
}

std::uint32_t MsiDatabaseImpl::openView(const platform::wstring& query, std::unique_ptr<MsiView>& view) {
  MsiHandleHolder handle;
  std::uint32_t code = MsiDatabaseOpenViewW(database_.get(), query.c_str(), handle.receive());
  if (code != ERROR_SUCCESS) return code;
  code = MsiViewExecute(handle.get(), 0);
  if (code != ERROR_SUCCESS) return code;
  // Should the allocation throw, the holder still closes the handle.
  auto opened = std::make_unique<MsiViewImpl>(handle.get());
  handle.release();
  view = std::move(opened);
  return ERROR_SUCCESS;
}

std::unique_ptr<MsiDatabase> openMsiDatabase(const platform::wstring& path, std::int32_t mode, std::uint32_t& error) {
  auto database = std::make_unique<MsiDatabaseImpl>(path, mode == 1);
  error = database->openError();
  return database;
}

}  // namespace msi_wrapper
}  // namespace installer
