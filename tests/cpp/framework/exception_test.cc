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

TEST(Exception, WhatIsTheConcreteClassName) {
  CheckFailedException check;
  OtherException other;
  EXPECT_STREQ(check.what(), "CheckFailedException");
  EXPECT_STREQ(static_cast<const std::exception&>(check).what(), "CheckFailedException");
  EXPECT_STREQ(static_cast<const Exception&>(other).what(), "OtherException");
}

TEST(Exception, KeepsSourceAndDescription) {
  CheckFailedException e("host.cc", 61, string_t(u"path lookup failed"));
  EXPECT_STREQ(e.sourceFile(), "host.cc");
  EXPECT_EQ(e.sourceLine(), 61);
  EXPECT_EQ(e.description(), u"path lookup failed");
  EXPECT_EQ(e.nested(), nullptr);
  // The accessor hands out a copy over the same allocator.
  EXPECT_EQ(e.description().allocator(), qor::defaultAllocator());
}

TEST(Exception, RaiseThrowsTheMostDerivedType) {
  std::unique_ptr<Exception> held = std::make_unique<OtherException>("a.cc", 3);
  try {
    held->raise();
    FAIL() << "raise() returned";
  } catch (const OtherException& e) {
    EXPECT_STREQ(e.sourceFile(), "a.cc");
    EXPECT_EQ(e.sourceLine(), 3);
  } catch (...) {
    FAIL() << "caught as another type";
  }
}

TEST(Exception, CloneKeepsTheMostDerivedTypeAndFields) {
  const CheckFailedException original("b.cc", 7, string_t(u"text"));
  const Exception& base = original;
  std::unique_ptr<Exception> copy = base.clone();
  EXPECT_EQ(typeid(*copy), typeid(CheckFailedException));
  EXPECT_STREQ(copy->what(), "CheckFailedException");
  EXPECT_STREQ(copy->sourceFile(), "b.cc");
  EXPECT_EQ(copy->sourceLine(), 7);
  EXPECT_EQ(copy->description(), u"text");
}

TEST(Exception, CopiesCloneTheNestedCause) {
  auto cause = std::make_unique<OtherException>("cause.cc", 1, string_t(u"cause"));
  CheckFailedException outer("outer.cc", 2, string_t(), std::move(cause));

  CheckFailedException copy = outer;
  ASSERT_NE(copy.nested(), nullptr);
  EXPECT_NE(copy.nested(), outer.nested());
  EXPECT_EQ(typeid(*copy.nested()), typeid(OtherException));
  EXPECT_EQ(copy.nested()->description(), u"cause");

  CheckFailedException assigned;
  assigned = outer;
  ASSERT_NE(assigned.nested(), nullptr);
  EXPECT_NE(assigned.nested(), outer.nested());
  EXPECT_STREQ(assigned.sourceFile(), "outer.cc");

  // The cause survives its original's destruction in every copy.
  { CheckFailedException dropped = std::move(outer); }
  EXPECT_STREQ(copy.nested()->what(), "OtherException");
}

TEST(Exception, RaisedCopyCarriesItsOwnCause) {
  CheckFailedException outer("o.cc", 9, string_t(),
                             std::make_unique<CheckFailedException>("i.cc", 4));
  try {
    outer.raise();
  } catch (const Exception& e) {
    ASSERT_NE(e.nested(), nullptr);
    EXPECT_NE(e.nested(), outer.nested());
    EXPECT_STREQ(e.nested()->sourceFile(), "i.cc");
  }
}

qor::result_t returns(qor::result_t value) { return value; }

TEST(Check, PassesSuccessCodesThrough) {
  EXPECT_EQ(QOR_CHECK(returns(0)), 0);
  EXPECT_EQ(QOR_CHECK(returns(1)), 1);
  EXPECT_EQ(QOR_CHECK(returns(0x7FFFFFFF)), 0x7FFFFFFF);
}

TEST(Check, FailureRaisesCheckFailedAtTheCheck) {
  const int line = __LINE__ + 2;
  try {
    QOR_CHECK(returns(static_cast<qor::result_t>(0x80010102u)));
    FAIL() << "no exception";
  } catch (const CheckFailedException& e) {
    EXPECT_STREQ(e.what(), "CheckFailedException");
    EXPECT_NE(std::strstr(e.sourceFile(), "exception_test.cc"), nullptr);
    EXPECT_EQ(e.sourceLine(), line);
    EXPECT_TRUE(e.description().empty());
    EXPECT_EQ(e.nested(), nullptr);
  }
}

TEST(Check, FailureIsCaughtAsStandardException) {
  try {
    qor::checkResult(-1, "x.cc", 5);
    FAIL() << "no exception";
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "CheckFailedException");
  }
}

}  // namespace
