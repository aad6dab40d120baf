#include "platform/emulated/msi_database/msi_codepage.h"

#include <gsf/gsf-msole-utils.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/emulated/msi_database/msi_objects.h"

namespace emulated {

namespace {

constexpr int kUtf8Codepage = 65001;

// libmsi tells a database's codepage only through the export of the
// _ForceCodepage pseudo-table: "\r\n\r\n<codepage>\t_ForceCodepage\r\n".
int declaredCodepage(LibmsiDatabase* database) {
  int fds[2];
  if (::pipe(fds) != 0) return 0;
  GError* error = nullptr;
  libmsi_database_export(database, "_ForceCodepage", fds[1], &error);
  ::close(fds[1]);
  GErrorPtr owned(error);
  std::string text;
  char buffer[256];
  ssize_t n;
  while ((n = ::read(fds[0], buffer, sizeof buffer)) > 0) text.append(buffer, size_t(n));
  ::close(fds[0]);
  const size_t digits = text.find_first_of("0123456789");
  return digits == std::string::npos ? 0 : std::atoi(text.c_str() + digits);
}

bool isAscii(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

}  // namespace

int databaseTextCodepage(LibmsiDatabase* database) {
  const int declared = declaredCodepage(database);
  return declared != 0 ? declared : gsf_msole_iconv_win_codepage();
}

bool textFitsCodepage(int codepage, std::string_view utf8) {
  if (codepage == kUtf8Codepage || isAscii(utf8)) return true;
  GIConv converter = gsf_msole_iconv_open_codepage_for_export(codepage);
  if (converter == reinterpret_cast<GIConv>(-1)) return false;
  gsize written = 0;
  gchar* converted = g_convert_with_iconv(utf8.data(), gssize(utf8.size()), converter, nullptr, &written, nullptr);
  g_iconv_close(converter);
  const bool fits = converted != nullptr;
  g_free(converted);
  return fits;
}

bool recordTextFits(DatabaseObject& database, LibmsiRecord* record) {
  if (record == nullptr) return true;
  const guint count = libmsi_record_get_field_count(record);
  for (guint field = 1; field <= count; ++field) {
    if (libmsi_record_is_null(record, field)) continue;
    gchar* text = libmsi_record_get_string(record, field);  // null for a stream
    const bool fits = text == nullptr || textFitsCodepage(database.textCodepage(), text);
    g_free(text);
    if (!fits) return false;
  }
  return true;
}

}  // namespace emulated
