#include "framework/exception.h"

#include <utility>

namespace qor {

Exception::Exception(const char* sourceFile, std::int32_t sourceLine,
                     string_t description, std::unique_ptr<Exception> nested) noexcept
    : sourceFile_(sourceFile),
      sourceLine_(sourceLine),
      description_(std::move(description)),
      nested_(std::move(nested)) {}

Exception::Exception(const Exception& other)
    : std::exception(other),
      whatText_(other.whatText_),
      sourceFile_(other.sourceFile_),
      sourceLine_(other.sourceLine_),
      reserved_(other.reserved_),
      description_(other.description_),
      nested_(other.nested_ ? other.nested_->clone() : nullptr) {}

Exception& Exception::operator=(const Exception& other) {
  if (this == &other) return *this;
  // Everything that can throw happens before the first member changes.
  string_t description = other.description_;
  std::unique_ptr<Exception> nested = other.nested_ ? other.nested_->clone() : nullptr;
  std::exception::operator=(other);
  whatText_ = other.whatText_;
  sourceFile_ = other.sourceFile_;
  sourceLine_ = other.sourceLine_;
  reserved_ = other.reserved_;
  description_ = std::move(description);
  nested_ = std::move(nested);
  return *this;
}

Exception::~Exception() = default;

const char* Exception::what() const noexcept { return whatText_; }

string_t Exception::description() const { return description_; }

}  // namespace qor
