#include "install/msi/msi_view.h"

namespace installer {
namespace msi_wrapper {

std::unique_ptr<MsiRecord> MsiViewImpl::fetch() {
  MsiHandleHolder record;
  if (MsiViewFetch(view_.get(), record.receive()) != ERROR_SUCCESS) return nullptr;
  // Should the allocation throw, the holder still closes the handle.
  auto row = std::make_unique<MsiRecordImpl>(record.get());
  record.release();
  return row;
}

std::unique_ptr<MsiRecord> MsiViewImpl::createRecord(std::uint32_t fieldCount) {
  return std::make_unique<MsiRecordImpl>(MsiCreateRecord(fieldCount));
}

std::uint32_t MsiViewImpl::insertRecord(std::unique_ptr<MsiRecord>& record) { return modify(MSIMODIFY_INSERT, record); }

std::uint32_t MsiViewImpl::deleteRecord(std::unique_ptr<MsiRecord>& record) { return modify(MSIMODIFY_DELETE, record); }

std::uint32_t MsiViewImpl::modify(MSIMODIFY mode, const std::unique_ptr<MsiRecord>& record) {
  // A record that did not come from these wrappers has no handle; Windows
  // Installer then answers for handle 0.
  const auto* impl = dynamic_cast<const MsiRecordImpl*>(record.get());
  return MsiViewModify(view_.get(), mode, impl != nullptr ? impl->handle() : 0);
}

}  // namespace msi_wrapper
}  // namespace installer
