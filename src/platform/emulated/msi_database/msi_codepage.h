// Which text a database can keep. libmsi holds text as UTF-8 in memory and
// converts it to the database's codepage when it commits; a string that the
// codepage cannot represent is written as an empty string, silently. The
// emulated installer refuses such writes up front instead. Internal.
#pragma once

#include <libmsi.h>

#include <string_view>

namespace emulated {

// The codepage that the database's string pool is written in. A neutral
// database (codepage 0) is written in the host's Windows codepage, which
// libgsf derives from the locale, so that is what is returned for it.
// The caller holds the database's lock.
int databaseTextCodepage(LibmsiDatabase* database);

// True when `utf8` survives the conversion to `codepage` that libmsi makes.
bool textFitsCodepage(int codepage, std::string_view utf8);

class DatabaseObject;

// True when every string field of `record` (may be null) fits the
// database's codepage. The caller holds the database's lock.
bool recordTextFits(DatabaseObject& database, LibmsiRecord* record);

}  // namespace emulated
