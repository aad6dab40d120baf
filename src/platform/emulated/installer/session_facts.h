// What a condition (MsiEvaluateConditionW) and a formatted text
// (MsiFormatRecordW, the Formatted column type) may read from the session
// they are evaluated in. The session implements it; the condition
// evaluator and the formatter only read through it, so both can be tested
// against a table of facts without a package.
#pragma once

#include <string>
#include <string_view>

#include "platform/emulated/msi_products.h"

namespace emulated::installer {

class SessionFacts {
 public:
  virtual ~SessionFacts() = default;

  // A property's value; "" for a property that is not set.
  virtual std::u16string property(std::u16string_view name) const = 0;

  // An environment variable of the machine (%NAME); "" when unset.
  virtual std::u16string environment(std::u16string_view name) const = 0;

  // The installed state (!F, ?C) and the action state (&F, $C) of a
  // feature or component. False for a name the package does not have.
  // A state not yet chosen is INSTALLSTATE_UNKNOWN.
  virtual bool featureStates(std::u16string_view feature, INSTALLSTATE* installed, INSTALLSTATE* action) const = 0;
  virtual bool componentStates(std::u16string_view component, INSTALLSTATE* installed, INSTALLSTATE* action) const = 0;

  // [#File] and [!File]: the full path the file is (or will be) installed
  // at, long or short form; [$Component]: the directory the component is
  // installed to, with its trailing backslash. "" when unknown or before
  // costing has resolved the directories.
  virtual std::u16string filePath(std::u16string_view fileKey, bool shortForm) const = 0;
  virtual std::u16string componentDirectory(std::u16string_view component) const = 0;
};

}  // namespace emulated::installer
