#include "framework/exception.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <typeinfo>

#include "framework/check.h"

namespace {

using qor::CheckFailedException;
using qor::Exception;
using qor::string_t;

// A second concrete class, to see that copies keep the most-derived type.
class OtherException : public qor::ExceptionBase<OtherException, Exception> {
 public:
  using ExceptionBase::ExceptionBase;
  static const char* className() noexcept { return "OtherException"; }
};

TEST(Exception, WhatCloneAndRaiseKeepTheMostDerivedTypeAndFields) {
  EXPECT_STREQ(static_cast<const Exception&>(OtherException()).what(), "OtherException");
  const CheckFailedException original("b.cc", 7, string_t(u"text"));
  std::unique_ptr<Exception> copy = static_cast<const Exception&>(original).clone();
  EXPECT_EQ(typeid(*copy), typeid(CheckFailedException));
  EXPECT_STREQ(copy->sourceFile(), "b.cc");
  EXPECT_EQ(copy->sourceLine(), 7);
  EXPECT_EQ(copy->description(), u"text");
  EXPECT_EQ(copy->description().allocator(), qor::defaultAllocator());

  std::unique_ptr<Exception> held = std::make_unique<OtherException>("a.cc", 3);
  try {
    held->raise();
    FAIL() << "raise() returned";
  } catch (const OtherException& e) {
    EXPECT_EQ(e.sourceLine(), 3);
  } catch (...) {
    FAIL() << "caught as another type";
  }
}

TEST(Exception, CopiesAndRaisedCopiesCloneTheNestedCause) {
  auto cause = std::make_unique<OtherException>("cause.cc", 1, string_t(u"cause"));
  CheckFailedException outer("outer.cc", 2, string_t(), std::move(cause));

  CheckFailedException copy = outer;
  ASSERT_NE(copy.nested(), nullptr);
  EXPECT_NE(copy.nested(), outer.nested());
  EXPECT_EQ(typeid(*copy.nested()), typeid(OtherException));
  CheckFailedException assigned;
  assigned = outer;
  ASSERT_NE(assigned.nested(), nullptr);
  EXPECT_NE(assigned.nested(), outer.nested());
  try {
    outer.raise();
  } catch (const Exception& e) {
    ASSERT_NE(e.nested(), nullptr);
    EXPECT_NE(e.nested(), outer.nested());
    EXPECT_STREQ(e.nested()->sourceFile(), "cause.cc");
  }
  // The cause survives its original's destruction in every copy.
  { CheckFailedException dropped = std::move(outer); }
  EXPECT_EQ(copy.nested()->description(), u"cause");
  EXPECT_STREQ(assigned.nested()->what(), "OtherException");
}

qor::result_t returns(qor::result_t value) { return value; }

TEST(Check, PassesSuccessCodesAndRaisesCheckFailedAtTheCheck) {
  EXPECT_EQ(QOR_CHECK(returns(0)), 0);
  EXPECT_EQ(QOR_CHECK(returns(0x7FFFFFFF)), 0x7FFFFFFF);
  const int line = __LINE__ + 2;
  try {
    QOR_CHECK(returns(static_cast<qor::result_t>(0x80010102u)));
    FAIL() << "no exception";
  } catch (const std::exception& caught) {
    const auto* e = dynamic_cast<const CheckFailedException*>(&caught);
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(e->what(), "CheckFailedException");
    EXPECT_NE(std::strstr(e->sourceFile(), "exception_test.cc"), nullptr);
    EXPECT_EQ(e->sourceLine(), line);
    EXPECT_TRUE(e->description().empty());
    EXPECT_EQ(e->nested(), nullptr);
  }
}

}  // namespace
