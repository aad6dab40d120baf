// The object behind a session handle (MsiOpenPackageW): the handle table's
// kind Session, holding the session it was opened on. Internal to the
// emulated machine.
#pragma once

#include <memory>

#include "platform/emulated/installer/session.h"
#include "platform/emulated/msi_database/msi_handle_table.h"

namespace emulated::installer {

class SessionObject : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::Session;
  explicit SessionObject(std::shared_ptr<Session> session) : HandleObject(kKind), session_(std::move(session)) {}

  Session& session() const { return *session_; }
  const std::shared_ptr<Session>& shared() const { return session_; }

  // A session may hold on to machine-wide things (a package, later an
  // installation in progress): it must end when its handle closes, not
  // when some thread next looks up a handle.
  bool cacheable() const override { return false; }

 private:
  std::shared_ptr<Session> session_;
};

// The session behind `handle`, or null for a handle of another kind.
inline std::shared_ptr<Session> findSession(MSIHANDLE handle) {
  const auto object = findHandleOf<SessionObject>(handle);
  return object ? object->shared() : nullptr;
}

}  // namespace emulated::installer
