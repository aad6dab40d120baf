// The objects behind the emulated Windows Installer handles, and the table
// that hands the handles out. Internal to the emulated machine.
//
// Threads. libmsi has almost no process-wide state: GType registration
// (done once, thread-safe through GLib), the error quarks, and GLib's log
// handlers (routed once by ensureLibmsiRuntime). A neutral-codepage
// database converts its text with the host locale's Windows codepage, as
// libgsf computes it. Everything else hangs off one LibmsiDatabase: its
// string pool, its lazily filled table cache and its stream list, shared by
// every query made on it and used without a lock. So:
// - the handle table has its own mutex, held only to add, find or remove
//   an entry, never while libmsi runs;
// - a database object carries `lock`, taken around every libmsi call on
//   the database, its queries and its summary information, and around their
//   release. Views and summaries of one database thus never run in parallel;
//   separate databases do;
// - a record is a plain copy of a row: its calls take no lock, and one
//   record handle is used by one thread at a time. Each thread remembers
//   the last record it looked up (findRecord); a row with streams is the
//   exception, it reads from its database and is released under its lock.
// Lock order: handle table mutex, then nothing; database lock, then GLib's
// own locks only. The table is never entered with a database lock held.
#pragma once

#include <libmsi.h>

#include <memory>
#include <mutex>
#include <string>

#include "platform/emulated/msi_database/libmsi_runtime.h"
#include "platform/emulated/msi_database/msi_handle_table.h"
#include "platform/emulated/msi_database/msi_sql.h"
#include "platform/emulated/win_types.h"

namespace emulated {

struct GObjectUnref {
  void operator()(gpointer object) const {
    if (object != nullptr) g_object_unref(object);
  }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

class DatabaseObject : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::Database;
  DatabaseObject(GObjectPtr<LibmsiDatabase> database, bool readOnly, bool commitOnClose)
      : HandleObject(kKind), database_(std::move(database)), readOnly_(readOnly), commitOnClose_(commitOnClose) {}
  ~DatabaseObject() override;

  std::mutex& lock() { return lock_; }
  // Callers hold lock().
  LibmsiDatabase* get() const { return database_.get(); }
  bool readOnly() const { return readOnly_; }
  void markWritten() { dirty_ = true; }
  UINT commit();
  // The codepage that the text of this database is written in (never 0:
  // a neutral database writes in the host's Windows codepage).
  int textCodepage();

  UINT finish() override;

 private:
  std::mutex lock_;
  GObjectPtr<LibmsiDatabase> database_;
  const bool readOnly_;
  const bool commitOnClose_;
  bool dirty_ = false;
  bool finished_ = false;
  int codepage_ = -1;
};

class ViewObject : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::View;
  ViewObject(std::shared_ptr<DatabaseObject> database, GObjectPtr<LibmsiQuery> query, SqlStatement statement,
             std::string sql)
      : HandleObject(kKind), database_(std::move(database)), query_(std::move(query)),
        statement_(std::move(statement)), sql_(std::move(sql)) {}
  ~ViewObject() override;

  DatabaseObject& database() const { return *database_; }
  const std::shared_ptr<DatabaseObject>& sharedDatabase() const { return database_; }
  const SqlStatement& statement() const { return statement_; }
  const std::string& sql() const { return sql_; }

  // Callers hold database().lock() for these.
  LibmsiQuery* query() const { return query_.get(); }
  // libmsi fetches rows without an execute; Windows refuses, and so do we.
  bool executed = false;
  // Whether a row of this view carries a stream (a binary column); such a
  // record reads from the database's storage when it is released.
  bool hasStreamColumns();

  UINT finish() override;

 private:
  std::shared_ptr<DatabaseObject> database_;
  GObjectPtr<LibmsiQuery> query_;
  const SqlStatement statement_;
  const std::string sql_;
  int streamColumns_ = -1;
};

class RecordObject : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::Record;
  // `source` is the database a fetched row with streams still reads from;
  // null for every other record.
  explicit RecordObject(GObjectPtr<LibmsiRecord> record, std::shared_ptr<DatabaseObject> source = nullptr)
      : HandleObject(kKind), record_(std::move(record)), source_(std::move(source)) {}
  ~RecordObject() override;

  LibmsiRecord* get() const { return record_.get(); }
  bool readsFromDatabase() const { return source_ != nullptr; }
  // A row with streams lets its database go when it is released, which must
  // not wait for a thread's next lookup.
  bool cacheable() const override { return !readsFromDatabase(); }

  // The text of one field, kept from the sizing call of MsiRecordGetStringW
  // to the copying call so that libmsi copies it out once. ASCII text (the
  // usual case) stays in libmsi's copy and is widened straight into the
  // caller's buffer; other text is converted to UTF-16 here. Any change to
  // the record drops it.
  struct TextCache {
    bool valid = false;
    UINT field = 0;
    UINT code = ERROR_SUCCESS;
    std::unique_ptr<gchar, decltype(&g_free)> ascii{nullptr, &g_free};
    std::u16string wide;
    size_t length = 0;
  };
  TextCache& textCache() { return textCache_; }
  void changed() { textCache_.valid = false; }

  UINT finish() override;

 private:
  GObjectPtr<LibmsiRecord> record_;
  std::shared_ptr<DatabaseObject> source_;
  TextCache textCache_;
};

class SummaryObject : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::Summary;
  SummaryObject(std::shared_ptr<DatabaseObject> database, GObjectPtr<LibmsiSummaryInfo> info)
      : HandleObject(kKind), database_(std::move(database)), info_(std::move(info)) {}
  ~SummaryObject() override;

  DatabaseObject& database() const { return *database_; }
  // Callers hold database().lock().
  LibmsiSummaryInfo* get() const { return info_.get(); }

  UINT finish() override;

 private:
  std::shared_ptr<DatabaseObject> database_;
  GObjectPtr<LibmsiSummaryInfo> info_;
};

// The record behind `handle` for one call of a record function; empty for
// a handle that is not a record.
class RecordRef {
 public:
  RecordRef() = default;
  explicit RecordRef(HandleRef found) : found_(std::move(found)) {}
  explicit operator bool() const { return static_cast<bool>(found_); }
  RecordObject* operator->() const { return static_cast<RecordObject*>(found_.get()); }

 private:
  HandleRef found_;
};
inline RecordRef findRecord(MSIHANDLE handle) {
  HandleRef found = findCachedHandle(handle);
  if (!found || found->kind() != HandleKind::Record) return {};
  return RecordRef(std::move(found));
}

}  // namespace emulated
