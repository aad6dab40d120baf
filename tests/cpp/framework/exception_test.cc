// Exceptions, the check that raises one on a failure result, and the results that Win32 errors map to.
#include "framework/exception.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <typeinfo>

#include "framework/check.h"
#include "framework/result.h"

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
  EXPECT_EQ(std::string(copy->sourceFile()) + ":" + std::to_string(copy->sourceLine()), "b.cc:7");
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

  CheckFailedException copy = outer, assigned;
  assigned = outer;
  for (const Exception* e : {&copy, &assigned}) {
    ASSERT_NE(e->nested(), nullptr);
    EXPECT_NE(e->nested(), outer.nested());
    EXPECT_EQ(typeid(*e->nested()), typeid(OtherException));
  }
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

TEST(ResultFromWin32Error, MapsEachErrorToItsResultCode) {
  const struct { DWORD error; std::uint32_t result; } cases[] = {
      // Errors with a code of their own.
      {0, 0}, {1, 0x80000042}, {50, 0x80000042}, {2, 0x80010102}, {3, 0x80010103}, {53, 0x80010103},
      {267, 0x80010103}, {5, 0x80000045}, {6, 0x80010101}, {8, 0x80000041}, {21, 0x80000063}, {24, 0x8000005C},
      {31, 0x8000004B}, {32, 0x80010104}, {33, 0x80010104}, {80, 0x80010105}, {183, 0x80010105},
      {87, 0x80000046}, {160, 0x80000046}, {111, 0x80000044}, {122, 0x80000044}, {234, 0x80000044},
      {112, 0x80000062}, {123, 0x80010109}, {126, 0x80010112}, {127, 0x80010107}, {393, 0x80010114},
      {637, 0x80010113}, {995, 0x80000051}, {1168, 0x8000004C}, {1347, 0x80010110}, {1413, 0x8000005E},
      {1450, 0x8000006C}, {1460, 0x80000221}, {14001, 0x80010108},
      // Other small errors, wrapped in the Win32 facility.
      {5000, 0x80071388}, {4, 0x80070004}, {1603, 0x80070643}, {0xFFFF, 0x8007FFFF},
      // Positive values above the Win32 range are success.
      {0x10000, 0}, {0x40000, 0}, {0x7FFFFFFF, 0},
      // Wrapped Win32 results map by their error; only bits 16 to 27 name the facility (not the bits above).
      {0x80070002, 0x80010102}, {0x80070005, 0x80000045}, {0x80071388, 0x80071388}, {0x80070000, 0},
      {0xC0070002, 0x80010102},
      // Other failures become the unknown failure.
      {0x80004005, 0x80010100}, {0x80000000, 0x80010100}, {0xFFFFFFFF, 0x80010100}, {0x80170002, 0x80010100},
  };
  for (const auto& c : cases) EXPECT_EQ(std::uint32_t(qor::resultFromWin32Error(c.error)), c.result) << c.error;
}

}  // namespace
