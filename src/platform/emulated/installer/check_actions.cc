// LaunchConditions, ValidateProductID and InstallValidate
// (standard_actions.h), as their documentation describes them:
// - LaunchConditions evaluates each Condition of the LaunchCondition
//   table; the first that is not true (false, or malformed) sends its
//   formatted Description as INSTALLMESSAGE_ERROR and fails the action
//   with ERROR_INSTALL_FAILURE (1603); the user's IDCANCEL to that
//   message gives ERROR_INSTALL_USEREXIT (1602);
// - ValidateProductID sets ProductID from PIDKEY when PIDKEY fits the
//   PIDTemplate property (the MaskedEdit syntax: the part between '<' and
//   '>' is what the user types, '#' and '%' a digit, '@' a letter or digit,
//   '^' an upper-case letter, '&' and '?' any character, anything else
//   itself; outside the brackets the template's own characters, a '#',
//   '%', '@' or '&' there standing for '0'). ProductID already set, no
//   PIDKEY or no template: nothing changes. It always succeeds, so that a
//   product identifier can be given on the command line;
// - InstallValidate checks that costing has run: the emulated machine has
//   room for everything and no file in use, so nothing more can fail.
#include <string>

#include "platform/emulated/installer/condition_evaluator.h"
#include "platform/emulated/installer/formatted_text.h"
#include "platform/emulated/installer/standard_actions.h"

namespace emulated::installer {

namespace {

bool fitsMask(char16_t mask, char16_t c) {
  const bool digit = c >= u'0' && c <= u'9';
  const bool upper = c >= u'A' && c <= u'Z';
  const bool letter = upper || (c >= u'a' && c <= u'z');
  switch (mask) {
    case u'#':
    case u'%': return digit;
    case u'@': return digit || letter;
    case u'^': return upper;
    case u'&':
    case u'?': return true;
    default: return c == mask;
  }
}

// The ProductID that `key` makes with `pidTemplate`, or "" when it does not fit.
std::u16string productIdFor(const std::u16string& pidTemplate, const std::u16string& key) {
  const size_t open = pidTemplate.find(u'<');
  const size_t close = pidTemplate.find(u'>', open == std::u16string::npos ? 0 : open);
  if (open == std::u16string::npos || close == std::u16string::npos) return {};
  const std::u16string mask = pidTemplate.substr(open + 1, close - open - 1);
  if (key.size() != mask.size()) return {};
  for (size_t i = 0; i < mask.size(); ++i) {
    if (!fitsMask(mask[i], key[i])) return {};
  }
  auto literal = [](std::u16string text) {
    for (char16_t& c : text) {
      if (c == u'#' || c == u'%' || c == u'@' || c == u'&') c = u'0';
    }
    return text;
  };
  return literal(pidTemplate.substr(0, open)) + key + literal(pidTemplate.substr(close + 1));
}

}  // namespace

UINT launchConditions(Session& session) {
  const auto rows = session.tables().select("SELECT `Condition`, `Description` FROM `LaunchCondition`");
  if (!rows) return ERROR_SUCCESS;
  for (const TableRow& row : *rows) {
    const MSICONDITION result = evaluateCondition(fieldText(row, 0), session);
    if (result == MSICONDITION_TRUE || result == MSICONDITION_NONE) continue;
    const std::u16string text = formatText(fieldText(row, 1), session);
    const UINT code = session.messages().post(INSTALLMESSAGE_ERROR, text).resultCode();
    return code != ERROR_SUCCESS ? code : ERROR_INSTALL_FAILURE;
  }
  return ERROR_SUCCESS;
}

UINT validateProductId(Session& session) {
  if (!session.property(u"ProductID").empty()) return ERROR_SUCCESS;
  const std::u16string key = session.property(u"PIDKEY");
  const std::u16string pidTemplate = session.property(u"PIDTemplate");
  if (key.empty() || pidTemplate.empty()) return ERROR_SUCCESS;
  const std::u16string productId = productIdFor(pidTemplate, key);
  if (!productId.empty()) session.setProperty(u"ProductID", productId);
  return ERROR_SUCCESS;
}

UINT installValidate(Session& session) {
  if (session.costed()) return ERROR_SUCCESS;
  session.messages().verbose(u"InstallValidate: costing has not run (CostFinalize must come before it).");
  return ERROR_INSTALL_FAILURE;
}

}  // namespace emulated::installer
