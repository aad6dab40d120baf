#include "framework/result.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(ResultFromWin32Error, MapsEachErrorToItsResultCode) {
  const struct {
    DWORD error;
    std::uint32_t result;
  } cases[] = {
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
      // Wrapped Win32 results map by their error; only bits 16 to 27 name
      // the facility, severity and flag bits above it do not matter.
      {0x80070002, 0x80010102}, {0x80070005, 0x80000045}, {0x80071388, 0x80071388}, {0x80070000, 0},
      {0xC0070002, 0x80010102},
      // Other failures become the unknown failure.
      {0x80004005, 0x80010100}, {0x80000000, 0x80010100}, {0xFFFFFFFF, 0x80010100}, {0x80170002, 0x80010100},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(static_cast<std::uint32_t>(qor::resultFromWin32Error(c.error)), c.result) << "Win32 error " << c.error;
  }
}

}  // namespace
