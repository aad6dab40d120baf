// Completes a test package that wixl built with what wixl cannot write:
// rows and tables through libmsi SQL, tables through IDT import, and
// summary information properties.
//
//   msi_fixture PACKAGE [-q SQL]... [-s PID=VALUE]... [FILE.sql|FILE.idt]...
//
// Arguments apply in order, in one transaction that is committed at the
// end. A .sql file holds statements separated by ";" ("--" starts a comment
// line); a .idt file is imported as the table it describes (an IDT of
// _ForceCodepage sets the codepage). -s sets a summary property: integer
// ids (1, 14, 15, 16, 19) take a number, the others text. Any failure
// names the argument, prints libmsi's code and exits with 1, leaving the
// package as wixl wrote it.
#include <libmsi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Failure {
  std::string what;
};

void check(bool ok, GError* error, const std::string& what) {
  if (ok) return;
  std::string message = what;
  if (error != nullptr) {
    message += ": libmsi code " + std::to_string(error->code) + " (" + error->message + ")";
    g_error_free(error);
  }
  throw Failure{message};
}

void runSql(LibmsiDatabase* database, const std::string& sql) {
  GError* error = nullptr;
  LibmsiQuery* query = libmsi_query_new(database, sql.c_str(), &error);
  check(query != nullptr, error, "prepare \"" + sql + "\"");
  LibmsiRecord* none = libmsi_record_new(0);
  const bool ok = libmsi_query_execute(query, none, &error);
  g_object_unref(none);
  g_object_unref(query);
  check(ok, error, "execute \"" + sql + "\"");
}

// libmsi logs a critical assertion when an UPDATE runs with an empty
// parameter record, and works all the same. Its messages are noise in a
// build log unless MSI_FIXTURE_VERBOSE is set.
void quietLog(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer) {
  if (std::getenv("MSI_FIXTURE_VERBOSE") != nullptr) std::fprintf(stderr, "libmsi: %s\n", message);
}

bool blank(const std::string& text) { return text.find_first_not_of(" \t\r\n") == std::string::npos; }

// Statements end at a ";" outside quotes; lines starting with "--" are
// comments.
std::vector<std::string> splitStatements(const std::string& script) {
  std::istringstream lines(script);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    const size_t start = line.find_first_not_of(" \t");
    if (start != std::string::npos && line.compare(start, 2, "--") == 0) continue;
    text += line + "\n";
  }
  std::vector<std::string> statements;
  std::string current;
  char quote = 0;
  for (char c : text) {
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '\'' || c == '`') {
      quote = c;
    } else if (c == ';') {
      if (!blank(current)) statements.push_back(current);
      current.clear();
      continue;
    }
    current += c;
  }
  if (!blank(current)) statements.push_back(current);
  return statements;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Failure{"cannot read " + path};
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

bool endsWith(const std::string& text, const char* suffix) {
  const size_t n = std::strlen(suffix);
  return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

void setSummary(LibmsiDatabase* database, const std::string& assignment) {
  const size_t equals = assignment.find('=');
  if (equals == std::string::npos) throw Failure{"-s wants PID=VALUE, got " + assignment};
  const auto property = static_cast<LibmsiProperty>(std::atoi(assignment.substr(0, equals).c_str()));
  const std::string value = assignment.substr(equals + 1);
  GError* error = nullptr;
  LibmsiSummaryInfo* info = libmsi_summary_info_new(database, 20, &error);
  check(info != nullptr, error, "open summary information");
  const bool integer = property == LIBMSI_PROPERTY_CODEPAGE || property == LIBMSI_PROPERTY_VERSION ||
                       property == LIBMSI_PROPERTY_SOURCE || property == LIBMSI_PROPERTY_RESTRICT ||
                       property == LIBMSI_PROPERTY_SECURITY;
  bool ok = integer ? libmsi_summary_info_set_int(info, property, std::atoi(value.c_str()), &error)
                    : libmsi_summary_info_set_string(info, property, value.c_str(), &error);
  if (ok) ok = libmsi_summary_info_save(info, database, &error);
  g_object_unref(info);
  check(ok, error, "set summary property " + assignment);
}

void apply(LibmsiDatabase* database, int argc, char** argv) {
  for (int i = 2; i < argc; ++i) {
    const std::string argument = argv[i];
    if ((argument == "-q" || argument == "-s") && i + 1 < argc) {
      const std::string value = argv[++i];
      if (argument == "-q") {
        runSql(database, value);
      } else {
        setSummary(database, value);
      }
    } else if (endsWith(argument, ".idt")) {
      GError* error = nullptr;
      check(libmsi_database_import(database, argument.c_str(), &error), error, "import " + argument);
    } else if (endsWith(argument, ".sql")) {
      for (const std::string& statement : splitStatements(readFile(argument))) runSql(database, statement);
    } else {
      throw Failure{"unknown argument " + argument};
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: msi_fixture PACKAGE [-q SQL]... [-s PID=VALUE]... [FILE.sql|FILE.idt]...\n");
    return 2;
  }
  g_log_set_default_handler(quietLog, nullptr);
  GError* error = nullptr;
  // Transact mode: libmsi's direct mode deletes the file when it is
  // released without a commit, which is what a failure here would do.
  LibmsiDatabase* database = libmsi_database_new(argv[1], LIBMSI_DB_FLAGS_TRANSACT, nullptr, &error);
  try {
    check(database != nullptr, error, std::string("open ") + argv[1]);
    apply(database, argc, argv);
    check(libmsi_database_commit(database, &error), error, "commit");
  } catch (const Failure& failure) {
    std::fprintf(stderr, "msi_fixture: %s: %s\n", argv[1], failure.what.c_str());
    if (database != nullptr) g_object_unref(database);
    return 1;
  }
  g_object_unref(database);
  return 0;
}
