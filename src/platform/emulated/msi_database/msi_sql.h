// What the emulated installer needs to know about a view's SQL before libmsi
// runs it: whether it writes, whether it inserts temporary rows, and which
// single table a SELECT reads (for MsiViewModify). Internal to the machine.
#pragma once

#include <string>
#include <string_view>

namespace emulated {

struct SqlStatement {
  enum class Kind { Select, Write, Other };
  Kind kind = Kind::Other;
  // INSERT ... TEMPORARY.
  bool temporaryInsert = false;
  // The table of a SELECT over exactly one table; empty otherwise.
  std::string table;
};

// Keywords are matched without regard to case; quoted text ('...') and
// quoted names (`...`) are skipped, as libmsi's tokenizer skips them.
SqlStatement classifySql(std::string_view sql);

}  // namespace emulated
