// Choosing the feature and component states during CostFinalize
// (session.h), as the Feature, Condition and Component tables and the
// feature properties document them:
// - the installed state comes from the store of installed products;
// - ADDLOCAL, REMOVE, ADDSOURCE, ADDDEFAULT, REINSTALL, ADVERTISE (and the
//   COMP* and FILE* lists) preselect: evaluated in that order, each over
//   the result of the one before, and the Condition table is skipped; a
//   feature named in a list brings its parents along;
// - otherwise an installed product keeps its states, and a new one
//   installs each feature whose level (after the Condition table) is not 0
//   and not above INSTALLLEVEL, in the state its attributes favour;
// - a level of 0 is never installed; a feature whose parent is absent is
//   absent; FollowParent takes the parent's state;
// - a component takes the best state of its features (local, then source),
//   bent by its own attributes, unless its condition is false;
// - the action state is the chosen state when it differs from the
//   installed one, INSTALLSTATE_UNKNOWN (no change) otherwise.
#include <unordered_map>

#include "platform/emulated/installer/condition_evaluator.h"
#include "platform/emulated/installer/session.h"
#include "platform/emulated/products/installed_products.h"

namespace emulated::installer {

namespace {

// Feature attributes (Feature table).
constexpr int kFavorSource = 0x1;
constexpr int kFollowParent = 0x2;
constexpr int kFavorAdvertise = 0x4;
// Component attributes (Component table).
constexpr int kSourceOnly = 0x1;
constexpr int kOptional = 0x2;
// Deeper trees fail on Windows (error 2701); the bound also ends loops.
constexpr int kMaxDepth = 16;

// The preselecting properties, in the order Windows evaluates them. The
// component and file lists name components and files, which the emulation
// does not map back to features: they only mark the selection as made.
struct FeatureRequest {
  const char16_t* property;
  INSTALLSTATE state;  // INSTALLSTATE_DEFAULT: by the feature's attributes
};
constexpr FeatureRequest kRequests[] = {
    {u"ADDLOCAL", INSTALLSTATE_LOCAL},         {u"REMOVE", INSTALLSTATE_ABSENT},
    {u"ADDSOURCE", INSTALLSTATE_SOURCE},       {u"ADDDEFAULT", INSTALLSTATE_DEFAULT},
    {u"REINSTALL", INSTALLSTATE_UNKNOWN},      {u"ADVERTISE", INSTALLSTATE_ADVERTISED},
};
constexpr const char16_t* kOtherPreselecting[] = {u"COMPADDLOCAL",  u"COMPADDSOURCE",  u"COMPADDDEFAULT",
                                                  u"FILEADDLOCAL",  u"FILEADDSOURCE",  u"FILEADDDEFAULT"};

INSTALLSTATE favoured(const FeatureRow& feature) {
  if (feature.attributes & kFavorSource) return INSTALLSTATE_SOURCE;
  if (feature.attributes & kFavorAdvertise) return INSTALLSTATE_ADVERTISED;
  return INSTALLSTATE_LOCAL;
}

bool installs(INSTALLSTATE state) { return state == INSTALLSTATE_LOCAL || state == INSTALLSTATE_SOURCE; }

std::vector<std::u16string> splitList(const std::u16string& list) {
  std::vector<std::u16string> names;
  size_t start = 0;
  while (start <= list.size()) {
    const size_t comma = std::min(list.find(u',', start), list.size());
    if (comma > start) names.push_back(list.substr(start, comma - start));
    start = comma + 1;
  }
  return names;
}

// The feature tree and the states being chosen for it.
class FeatureTree {
 public:
  explicit FeatureTree(std::vector<FeatureRow>& features) : features_(features), chosen_(features.size()) {
    for (size_t i = 0; i < features_.size(); ++i) index_.emplace(features_[i].key, i);
    parent_.assign(features_.size(), kNone);
    for (size_t i = 0; i < features_.size(); ++i) {
      const auto parent = index_.find(features_[i].parent);
      if (parent != index_.end() && parent->second != i) parent_[i] = parent->second;
    }
  }

  std::vector<INSTALLSTATE>& chosen() { return chosen_; }

  // Applies one preselecting list; false when it names a feature the
  // package does not have.
  bool apply(const std::u16string& list, INSTALLSTATE state) {
    if (list == u"ALL") {
      for (size_t i = 0; i < features_.size(); ++i) set(i, state);
      return true;
    }
    for (const std::u16string& name : splitList(list)) {
      const auto found = index_.find(name);
      if (found == index_.end()) return false;
      set(found->second, state);
      if (state != INSTALLSTATE_ABSENT) bringParents(found->second);
    }
    return true;
  }

  // Absent parents make absent children; FollowParent copies the parent.
  void settle() {
    for (size_t i = 0; i < features_.size(); ++i) {
      if (features_[i].level == 0 && !installs(features_[i].installed)) chosen_[i] = INSTALLSTATE_ABSENT;
      for (int depth = 0; depth < kMaxDepth; ++depth) {
        const size_t parent = ancestor(i, depth + 1);
        if (parent == kNone) break;
        if (!installs(chosen_[parent]) && chosen_[parent] != INSTALLSTATE_ADVERTISED) {
          chosen_[i] = INSTALLSTATE_ABSENT;
          break;
        }
      }
      if ((features_[i].attributes & kFollowParent) && parent_[i] != kNone && installs(chosen_[i]))
        chosen_[i] = chosen_[parent_[i]];
    }
  }

 private:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  void set(size_t i, INSTALLSTATE state) {
    if (features_[i].level == 0) return;  // disabled: never installed
    if (state == INSTALLSTATE_DEFAULT) state = favoured(features_[i]);
    if (state == INSTALLSTATE_UNKNOWN) {  // REINSTALL: the installed state again
      if (installs(features_[i].installed)) features_[i].action = features_[i].installed;
      return;
    }
    chosen_[i] = state;
  }

  void bringParents(size_t i) {
    for (size_t parent = parent_[i], depth = 0; parent != kNone && depth < kMaxDepth; parent = parent_[parent], ++depth) {
      if (!installs(chosen_[parent]) && features_[parent].level != 0) chosen_[parent] = chosen_[i];
    }
  }

  size_t ancestor(size_t i, int steps) const {
    for (int step = 0; step < steps && i != kNone; ++step) i = parent_[i];
    return i;
  }

  std::vector<FeatureRow>& features_;
  std::vector<INSTALLSTATE> chosen_;
  std::vector<size_t> parent_;
  std::unordered_map<std::u16string, size_t> index_;
};

}  // namespace

UINT Session::chooseFeatureStates() {
  bool preselected = !property(u"Preselected").empty();
  for (const FeatureRequest& request : kRequests) preselected = preselected || !property(request.property).empty();
  for (const char16_t* name : kOtherPreselecting) preselected = preselected || !property(name).empty();
  if (preselected) setProperty(u"Preselected", u"1");

  // The Condition table comes before any installed state is known, so a
  // condition that tests one is false, as documented.
  for (FeatureRow& feature : features_) feature.installed = feature.action = INSTALLSTATE_UNKNOWN;
  if (!preselected) applyConditionTable();

  const auto product = findInstalledProduct(property(u"ProductCode"));
  for (FeatureRow& feature : features_) {
    feature.installed = INSTALLSTATE_ABSENT;
    if (!product) continue;
    for (const InstalledFeature& stored : product->features) {
      if (stored.name == feature.key) feature.installed = stored.state;
    }
  }

  FeatureTree tree(features_);
  std::vector<INSTALLSTATE>& chosen = tree.chosen();
  const int installLevel = fieldNumber(TableRow{property(u"INSTALLLEVEL")}, 0, 1);
  for (size_t i = 0; i < features_.size(); ++i) {
    const FeatureRow& feature = features_[i];
    const bool byLevel = !preselected && !product && feature.level > 0 && feature.level <= installLevel;
    chosen[i] = byLevel ? favoured(feature) : feature.installed;
  }
  if (preselected) {
    for (const FeatureRequest& request : kRequests) {
      const std::u16string list = property(request.property);
      if (!list.empty() && !tree.apply(list, request.state)) return ERROR_INSTALL_FAILURE;
    }
  }
  tree.settle();
  for (size_t i = 0; i < features_.size(); ++i) {
    FeatureRow& feature = features_[i];
    if (feature.action != INSTALLSTATE_UNKNOWN) continue;  // reinstalled
    feature.action = chosen[i] == feature.installed ? INSTALLSTATE_UNKNOWN : chosen[i];
  }
  return ERROR_SUCCESS;
}

void Session::applyConditionTable() {
  const auto rows = tables_.select("SELECT `Feature_`, `Level`, `Condition` FROM `Condition`");
  if (!rows) return;
  for (const TableRow& row : *rows) {
    const std::u16string condition = fieldText(row, 2);
    if (condition.empty() || evaluateCondition(condition, *this) != MSICONDITION_TRUE) continue;
    for (FeatureRow& feature : features_) {
      if (feature.key == fieldText(row, 0)) feature.level = fieldNumber(row, 1, feature.level);
    }
  }
}

void Session::chooseComponentStates() {
  for (ComponentRow& component : components_) {
    INSTALLSTATE installed = INSTALLSTATE_ABSENT, wanted = INSTALLSTATE_ABSENT;
    for (size_t f : component.features) {
      const FeatureRow& feature = features_[f];
      const INSTALLSTATE after = feature.action == INSTALLSTATE_UNKNOWN ? feature.installed : feature.action;
      if (installs(feature.installed) && installed != INSTALLSTATE_LOCAL) installed = feature.installed;
      if (installs(after) && wanted != INSTALLSTATE_LOCAL) wanted = after;
    }
    if (installs(wanted) && !(component.attributes & kOptional))
      wanted = (component.attributes & kSourceOnly) ? INSTALLSTATE_SOURCE : INSTALLSTATE_LOCAL;
    if (!component.condition.empty() && evaluateCondition(component.condition, *this) == MSICONDITION_FALSE)
      wanted = installed;
    component.installed = installed;
    component.action = wanted == installed ? INSTALLSTATE_UNKNOWN : wanted;
  }
}

}  // namespace emulated::installer
