// The framework's exception classes. They derive from std::exception, so the
// one catch clause at the script boundary covers them; what() is the only
// part that reaches the script.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>

#include "framework/basic_string.h"

namespace qor {

class Exception : public std::exception {
 public:
  explicit Exception(const char* sourceFile = nullptr, std::int32_t sourceLine = 0,
                     string_t description = string_t(),
                     std::unique_ptr<Exception> nested = nullptr) noexcept;
  // Copies hold their own clone of the nested exception.
  Exception(const Exception& other);
  Exception(Exception&& other) noexcept = default;
  Exception& operator=(const Exception& other);
  Exception& operator=(Exception&& other) noexcept = default;
  ~Exception() override;

  const char* what() const noexcept override;
  // A copy of the free text, sharing the original's allocator.
  virtual string_t description() const;
  // Throws a copy of this object as its most-derived type.
  [[noreturn]] virtual void raise() const = 0;
  // A heap copy of this object as its most-derived type.
  virtual std::unique_ptr<Exception> clone() const = 0;

  const char* sourceFile() const noexcept { return sourceFile_; }
  std::int32_t sourceLine() const noexcept { return sourceLine_; }
  // The cause, or null.
  const Exception* nested() const noexcept { return nested_.get(); }

 private:
  const char* whatText_ = "unknown";
  const char* sourceFile_;
  std::int32_t sourceLine_;
  std::uint32_t reserved_ = 0;
  string_t description_;
  std::unique_ptr<Exception> nested_;
};

// Sits between a concrete exception class and its base and supplies the
// operations that depend on the concrete type. Concrete declares
// `static const char* className() noexcept`, which what() returns.
template <class Concrete, class Base>
class ExceptionBase : public Base {
 public:
  using Base::Base;

  const char* what() const noexcept override { return Concrete::className(); }

  [[noreturn]] void raise() const override { throw self(); }

  std::unique_ptr<Exception> clone() const override {
    return std::make_unique<Concrete>(self());
  }

 private:
  const Concrete& self() const noexcept { return static_cast<const Concrete&>(*this); }
};

// A checked result code was a failure.
class CheckFailedException
    : public ExceptionBase<CheckFailedException, Exception> {
 public:
  using ExceptionBase::ExceptionBase;

  static const char* className() noexcept { return "CheckFailedException"; }
};

}  // namespace qor
