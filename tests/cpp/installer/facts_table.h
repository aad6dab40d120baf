// A session for the condition and format tests: the facts of
// tests/fixtures/conditions.tsv held in maps, and that file's condition rows.
#pragma once

#include <fstream>
#include <stdexcept>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/emulated/installer/session_facts.h"
#include "platform/emulated/machine/unicode.h"

#ifndef INSTALLER_FIXTURE_SOURCE_DIR
#error "INSTALLER_FIXTURE_SOURCE_DIR names tests/fixtures"
#endif

namespace facts_table {

struct ConditionRow {
  int line;
  std::string expression;
  std::string result;  // true, false, none or error
};

class FactsTable : public emulated::installer::SessionFacts {
 public:
  FactsTable() { load(std::string(INSTALLER_FIXTURE_SOURCE_DIR) + "/conditions.tsv"); }
  FactsTable(const FactsTable&) = delete;
  FactsTable& operator=(const FactsTable&) = delete;

  const std::vector<ConditionRow>& conditions() const { return conditions_; }

  std::u16string property(std::u16string_view name) const override { return find(properties_, std::u16string(name)); }
  std::u16string environment(std::u16string_view name) const override {
    return find(environment_, emulated::upperCase(name));
  }
  bool featureStates(std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const override {
    return states(features_, name, installed, action);
  }
  bool componentStates(std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const override {
    return states(components_, name, installed, action);
  }
  std::u16string filePath(std::u16string_view key, bool shortForm) const override {
    return find(shortForm ? shortPaths_ : longPaths_, std::u16string(key));
  }
  std::u16string componentDirectory(std::u16string_view component) const override {
    return find(directories_, std::u16string(component));
  }

 private:
  using Texts = std::map<std::u16string, std::u16string>;
  using States = std::map<std::u16string, std::pair<INSTALLSTATE, INSTALLSTATE>>;

  static std::u16string find(const Texts& texts, const std::u16string& key) {
    const auto it = texts.find(key);
    return it == texts.end() ? std::u16string() : it->second;
  }
  static bool states(const States& all, std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) {
    const auto it = all.find(std::u16string(name));
    if (it == all.end()) return false;
    *installed = it->second.first;
    *action = it->second.second;
    return true;
  }

  void load(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      if (line.empty() || line[0] == '#') continue;
      std::vector<std::string> cells;
      std::stringstream split(line);
      for (std::string cell; std::getline(split, cell, '\t');) cells.push_back(cell);
      if (line.back() == '\t') cells.push_back("");
      row(number, cells);
    }
  }

  void row(int number, const std::vector<std::string>& cells) {
    auto text = [&](std::size_t i) { return emulated::utf8ToUtf16(i < cells.size() ? cells[i] : ""); };
    auto state = [&](std::size_t i) { return static_cast<INSTALLSTATE>(std::stoi(cells.at(i))); };
    const std::string& kind = cells.at(0);
    if (kind == "condition") {
      conditions_.push_back({number, cells.at(1), cells.at(2)});
    } else if (kind == "property") {
      properties_[text(1)] = text(2);
    } else if (kind == "environment") {
      environment_[emulated::upperCase(text(1))] = text(2);
    } else if (kind == "feature" || kind == "component") {
      (kind == "feature" ? features_ : components_)[text(1)] = {state(2), state(3)};
    } else if (kind == "file") {
      longPaths_[text(1)] = text(2);
      shortPaths_[text(1)] = text(3);
    } else if (kind == "directory") {
      directories_[text(1)] = text(2);
    } else {
      throw std::runtime_error("conditions.tsv line " + std::to_string(number) + ": unknown row " + kind);
    }
  }

  Texts properties_, environment_, longPaths_, shortPaths_, directories_;
  States features_, components_;
  std::vector<ConditionRow> conditions_;
};

}  // namespace facts_table
