// A session for the condition and format tests: the facts of tests/fixtures/conditions.tsv held in one map, and that
// file's table rows.
#pragma once

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/emulated/installer/session_facts.h"
#include "platform/emulated/machine/unicode.h"

namespace facts_table {

struct TableRow { int line; std::string text, result; };

class FactsTable : public emulated::installer::SessionFacts {
 public:
  FactsTable() { load(std::string(INSTALLER_FIXTURE_SOURCE_DIR) + "/conditions.tsv"); }
  FactsTable(const FactsTable&) = delete;
  FactsTable& operator=(const FactsTable&) = delete;

  // The rows of one kind: "condition", "format" or "format-record".
  const std::vector<TableRow>& rows(const std::string& kind) const { return rows_.at(kind); }

  std::u16string property(std::u16string_view name) const override { return cell("property", name, 0); }
  std::u16string environment(std::u16string_view name) const override {
    return cell("environment", emulated::upperCase(name), 0);
  }
  bool featureStates(std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const override {
    return states("feature", name, installed, action);
  }
  bool componentStates(std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const override {
    return states("component", name, installed, action);
  }
  std::u16string filePath(std::u16string_view key, bool shortForm) const override {
    return cell("file", key, shortForm ? 1 : 0);
  }
  std::u16string componentDirectory(std::u16string_view component) const override { return cell("directory", component, 0); }

 private:
  // The cells after kind and name, or none when the fact is not there.
  const std::vector<std::string>* fact(const std::string& kind, std::u16string_view name) const {
    const auto it = facts_.find({kind, std::u16string(name)});
    return it == facts_.end() ? nullptr : &it->second;
  }
  std::u16string cell(const std::string& kind, std::u16string_view name, std::size_t i) const {
    const auto* cells = fact(kind, name);
    return cells == nullptr || i >= cells->size() ? std::u16string() : emulated::utf8ToUtf16((*cells)[i]);
  }
  bool states(const std::string& kind, std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const {
    const auto* cells = fact(kind, name);
    if (cells == nullptr) return false;
    *installed = static_cast<INSTALLSTATE>(std::stoi(cells->at(0)));
    *action = static_cast<INSTALLSTATE>(std::stoi(cells->at(1)));
    return true;
  }

  void load(const std::string& path) {
    static const std::set<std::string> kFacts = {"property", "environment", "feature", "component", "file", "directory"};
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      if (line.empty() || line[0] == '#') continue;
      std::vector<std::string> cells;
      std::stringstream split(line);
      for (std::string cell; std::getline(split, cell, '\t');) cells.push_back(cell);
      if (line.back() == '\t') cells.push_back("");
      const std::string& kind = cells.at(0);
      if (kind == "condition" || kind.rfind("format", 0) == 0) {
        rows_[kind].push_back({number, cells.at(1), cells.at(2)});
      } else if (kFacts.count(kind) != 0) {
        const std::u16string name = emulated::utf8ToUtf16(cells.at(1));
        facts_[{kind, kind == "environment" ? emulated::upperCase(name) : name}].assign(cells.begin() + 2, cells.end());
      } else {
        throw std::runtime_error("conditions.tsv line " + std::to_string(number) + ": unknown row " + kind);
      }
    }
  }

  std::map<std::pair<std::string, std::u16string>, std::vector<std::string>> facts_;
  std::map<std::string, std::vector<TableRow>> rows_;
};

}  // namespace facts_table
