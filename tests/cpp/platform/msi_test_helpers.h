// Small helpers over the emulated Windows Installer functions.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

#include "../support/test_packages.h"
#include "platform/windows.h"

namespace msi_test {

// Closes a handle at the end of a scope.
struct Handle {
  MSIHANDLE value = 0;
  Handle() = default;
  explicit Handle(MSIHANDLE h) : value(h) {}
  ~Handle() { close(); }
  Handle(Handle&& other) noexcept : value(std::exchange(other.value, 0)) {}
  Handle& operator=(Handle&& other) noexcept { return std::swap(value, other.value), *this; }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  MSIHANDLE* out() { return &value; }
  operator MSIHANDLE() const { return value; }
  UINT close() { return MsiCloseHandle(std::exchange(value, 0)); }
};

inline UINT openView(MSIHANDLE database, const std::u16string& sql, Handle& view) {
  const UINT code = MsiDatabaseOpenViewW(database, sql.c_str(), view.out());
  return code != ERROR_SUCCESS ? code : MsiViewExecute(view, 0);
}

inline UINT runSql(MSIHANDLE database, const std::u16string& sql) {
  Handle view;
  return openView(database, sql, view);
}

// A database opened in `mode`, checked to open.
inline Handle openDatabase(const std::u16string& path, LPCWSTR mode = MSIDBOPEN_READONLY) {
  Handle database;
  EXPECT_EQ(MsiOpenDatabaseW(path.c_str(), mode, database.out()), UINT(ERROR_SUCCESS));
  return database;
}

// An executed view, checked to open and execute.
inline Handle executedView(MSIHANDLE database, const std::u16string& sql) {
  Handle view;
  EXPECT_EQ(openView(database, sql, view), UINT(ERROR_SUCCESS)) << std::string(sql.begin(), sql.end());
  return view;
}

// The next row of a view; no handle at the end.
inline Handle nextRow(MSIHANDLE view) {
  Handle row;
  MsiViewFetch(view, row.out());
  return row;
}

// A record of the given text fields.
inline Handle textRecord(std::initializer_list<const char16_t*> fields) {
  Handle record(MsiCreateRecord(UINT(fields.size())));
  UINT field = 1;
  for (const char16_t* text : fields) MsiRecordSetStringW(record, field++, text);
  return record;
}

// Field `field` of a record as text, or "<code N>".
inline std::u16string fieldText(MSIHANDLE record, UINT field) {
  DWORD size = 0;
  UINT code = MsiRecordGetStringW(record, field, nullptr, &size);
  if (code != ERROR_SUCCESS) return u"<code " + std::u16string(1, char16_t(u'0' + code % 10)) + u">";
  std::u16string text(size, u'\0');
  DWORD capacity = size + 1;
  code = MsiRecordGetStringW(record, field, &text[0], &capacity);
  return code == ERROR_SUCCESS ? text : u"<error>";
}

// The Value of a Property row of the package at `path`, or "<missing>".
inline std::u16string propertyOf(const std::u16string& path, const std::u16string& name) {
  Handle database;
  if (MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, database.out()) != ERROR_SUCCESS) return u"<unopenable>";
  Handle view;
  if (openView(database, u"SELECT `Value` FROM `Property` WHERE `Property` = '" + name + u"'", view) != ERROR_SUCCESS)
    return u"<query failed>";
  Handle record;
  if (MsiViewFetch(view, record.out()) != ERROR_SUCCESS) return u"<missing>";
  return fieldText(record, 1);
}

// The two-call sizing rule of the Msi*W text getters, `get(buffer, &size)` reading `text`. Without a buffer: the size
// without the terminator. With a buffer of no room: ERROR_MORE_DATA, the size, the buffer untouched; of room for all
// but the terminator: ERROR_MORE_DATA, the size, the text cut to fit with its terminator; with room: the text. A
// buffer without a size is an invalid parameter.
inline void expectSizingRule(const std::function<UINT(WCHAR*, DWORD*)>& get, const std::u16string& text) {
  const DWORD length = DWORD(text.size());
  DWORD size = 0;
  EXPECT_EQ(get(nullptr, &size), UINT(ERROR_SUCCESS));
  EXPECT_EQ(size, length);
  for (DWORD room : {DWORD(0), length, length + 1}) {
    std::u16string buffer(length + 2, u'x');
    size = room;
    EXPECT_EQ(get(buffer.data(), &size), UINT(room > length ? ERROR_SUCCESS : ERROR_MORE_DATA)) << room;
    EXPECT_EQ(size, length) << room;
    const std::u16string seen = room == 0 ? buffer : std::u16string(buffer.c_str());
    EXPECT_EQ(seen, room == 0 ? std::u16string(length + 2, u'x') : text.substr(0, room - 1)) << room;
  }
  WCHAR buffer[4];
  EXPECT_EQ(get(buffer, nullptr), UINT(ERROR_INVALID_PARAMETER));
}

}  // namespace msi_test
