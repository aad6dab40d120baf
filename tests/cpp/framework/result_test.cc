#include "framework/result.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using qor::resultFromWin32Error;

struct Mapping {
  DWORD error;
  std::uint32_t result;
};

constexpr Mapping kKnownErrors[] = {
    {0, 0},           {1, 0x80000042},     {50, 0x80000042},    {2, 0x80010102},
    {3, 0x80010103},  {53, 0x80010103},    {267, 0x80010103},   {5, 0x80000045},
    {6, 0x80010101},  {8, 0x80000041},     {21, 0x80000063},    {24, 0x8000005C},
    {31, 0x8000004B}, {32, 0x80010104},    {33, 0x80010104},    {80, 0x80010105},
    {183, 0x80010105}, {87, 0x80000046},   {160, 0x80000046},   {111, 0x80000044},
    {122, 0x80000044}, {234, 0x80000044},  {112, 0x80000062},   {123, 0x80010109},
    {126, 0x80010112}, {127, 0x80010107},  {393, 0x80010114},   {637, 0x80010113},
    {995, 0x80000051}, {1168, 0x8000004C}, {1347, 0x80010110},  {1413, 0x8000005E},
    {1450, 0x8000006C}, {1460, 0x80000221}, {14001, 0x80010108},
};

std::uint32_t mapped(DWORD error) {
  return static_cast<std::uint32_t>(resultFromWin32Error(error));
}

TEST(ResultFromWin32Error, MapsEveryKnownErrorToItsOwnCode) {
  for (const Mapping& m : kKnownErrors) {
    EXPECT_EQ(mapped(m.error), m.result) << "Win32 error " << m.error;
  }
}

TEST(ResultFromWin32Error, WrapsOtherSmallErrorsInTheWin32Facility) {
  EXPECT_EQ(mapped(5000), 0x80071388u);
  EXPECT_EQ(mapped(4), 0x80070004u);
  EXPECT_EQ(mapped(1603), 0x80070643u);
  EXPECT_EQ(mapped(0xFFFF), 0x8007FFFFu);
}

TEST(ResultFromWin32Error, PositiveValuesAboveTheWin32RangeAreSuccess) {
  EXPECT_EQ(mapped(0x10000), 0u);
  EXPECT_EQ(mapped(0x40000), 0u);
  EXPECT_EQ(mapped(0x7FFFFFFF), 0u);
}

TEST(ResultFromWin32Error, WrappedWin32ResultsAreMappedByTheirError) {
  EXPECT_EQ(mapped(0x80070002), 0x80010102u);
  EXPECT_EQ(mapped(0x80070005), 0x80000045u);
  EXPECT_EQ(mapped(0x80071388), 0x80071388u);
  EXPECT_EQ(mapped(0x80070000), 0u);
  // Only bits 16 to 27 name the facility: severity and flag bits above it
  // do not matter.
  EXPECT_EQ(mapped(0xC0070002), 0x80010102u);
}

TEST(ResultFromWin32Error, OtherFailuresBecomeTheUnknownFailure) {
  EXPECT_EQ(mapped(0x80004005), 0x80010100u);
  EXPECT_EQ(mapped(0x80000000), 0x80010100u);
  EXPECT_EQ(mapped(0xFFFFFFFF), 0x80010100u);
  EXPECT_EQ(mapped(0x80170002), 0x80010100u);
}

}  // namespace
