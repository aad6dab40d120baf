#include "framework/result.h"

namespace qor {
namespace {

struct Win32Mapping {
  DWORD error;
  std::uint32_t result;
};

// Errors with a code of the framework's own; sorted by error for reading.
constexpr Win32Mapping kWin32Mappings[] = {
    {0, 0x00000000},     {1, 0x80000042},     {2, 0x80010102},
    {3, 0x80010103},     {5, 0x80000045},     {6, 0x80010101},
    {8, 0x80000041},     {21, 0x80000063},    {24, 0x8000005C},
    {31, 0x8000004B},    {32, 0x80010104},    {33, 0x80010104},
    {50, 0x80000042},    {53, 0x80010103},    {80, 0x80010105},
    {87, 0x80000046},    {111, 0x80000044},   {112, 0x80000062},
    {122, 0x80000044},   {123, 0x80010109},   {126, 0x80010112},
    {127, 0x80010107},   {160, 0x80000046},   {183, 0x80010105},
    {234, 0x80000044},   {267, 0x80010103},   {393, 0x80010114},
    {637, 0x80010113},   {995, 0x80000051},   {1168, 0x8000004C},
    {1347, 0x80010110},  {1413, 0x8000005E},  {1450, 0x8000006C},
    {1460, 0x80000221},  {14001, 0x80010108},
};

constexpr DWORD kWin32Facility = 7;
constexpr std::uint32_t kWin32FacilityResult = 0x80070000u;
constexpr std::uint32_t kUnknownFailure = 0x80010100u;
constexpr DWORD kFirstNonWin32Code = 0x10000;

result_t mapSmallError(DWORD error) noexcept {
  for (const Win32Mapping& mapping : kWin32Mappings) {
    if (mapping.error == error) return static_cast<result_t>(mapping.result);
  }
  return static_cast<result_t>(kWin32FacilityResult | error);
}

}  // namespace

result_t resultFromWin32Error(DWORD error) noexcept {
  if (error < kFirstNonWin32Code) return mapSmallError(error);
  // Positive values above the Win32 range carry no failure.
  if (static_cast<result_t>(error) >= 0) return kResultOk;
  // A result that already wraps a Win32 error is mapped by that error.
  if (((error >> 16) & 0xFFF) == kWin32Facility) {
    return mapSmallError(error & 0xFFFF);
  }
  return static_cast<result_t>(kUnknownFailure);
}

}  // namespace qor
