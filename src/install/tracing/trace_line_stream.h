// A small formatter that appends text and numbers to one TraceRecord.
//
// The record starts with room for Tracer::kRecordSize bytes. A line that
// outgrows it is dropped whole, unless the trace level is
// Tracer::kUnboundedLineLevel or more; then the buffer grows to the larger of
// the needed size and twice its size. A dropped line ignores every later
// append and writes nothing.
//
// Flags, width and fill work as in the standard streams, with the flag
// values of the Windows C++ runtime; width counts bytes for narrow text,
// UTF-16 units for wide text, and goes back to 0 after every item.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "install/tracing/trace_record.h"
#include "platform/windows.h"

namespace installer::tracing {

// Integer types that print as numbers: not bool, not the character types.
template <typename T>
inline constexpr bool isTraceNumber =
    std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
    !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>;

class TraceLineStream {
 public:
  static constexpr std::uint32_t skipws = 0x1;
  static constexpr std::uint32_t showbase = 0x8;
  static constexpr std::uint32_t left = 0x40;
  static constexpr std::uint32_t right = 0x80;
  static constexpr std::uint32_t internal = 0x100;
  static constexpr std::uint32_t dec = 0x200;
  static constexpr std::uint32_t oct = 0x400;
  static constexpr std::uint32_t hex = 0x800;
  static constexpr std::uint32_t adjustfield = 0x1C0;
  static constexpr std::uint32_t basefield = 0xE00;

  explicit TraceLineStream(TraceRecord& record) noexcept;
  TraceLineStream(const TraceLineStream&) = delete;
  TraceLineStream& operator=(const TraceLineStream&) = delete;

  // Narrow text: the bytes as given (the add-on's narrow text is UTF-8).
  TraceLineStream& operator<<(std::string_view text) noexcept;
  TraceLineStream& operator<<(const char* text) noexcept {
    return *this << (text != nullptr ? std::string_view(text) : std::string_view());
  }
  TraceLineStream& operator<<(char c) noexcept { return *this << std::string_view(&c, 1); }
  // Wide text, converted to UTF-8.
  TraceLineStream& operator<<(std::basic_string_view<WCHAR> text) noexcept;
  TraceLineStream& operator<<(const WCHAR* text) noexcept {
    return *this << (text != nullptr ? std::basic_string_view<WCHAR>(text) : std::basic_string_view<WCHAR>());
  }
  TraceLineStream& operator<<(WCHAR unit) noexcept { return *this << std::basic_string_view<WCHAR>(&unit, 1); }
  TraceLineStream& operator<<(bool) = delete;  // would print as a character

  // Integers of up to 32 bits (int, unsigned, DWORD, LONG, UINT, BYTE ...);
  // unlike the standard streams, signed and unsigned char print as numbers.
  template <typename T, std::enable_if_t<isTraceNumber<T>, int> = 0>
  TraceLineStream& operator<<(T value) noexcept {
    static_assert(sizeof(T) <= 4, "trace numbers are 32-bit: cast wider values");
    if constexpr (std::is_signed_v<T>) {
      return appendSigned(static_cast<std::int32_t>(value));
    } else {
      return appendUnsigned(static_cast<std::uint32_t>(value));
    }
  }

  std::uint32_t flags() const noexcept { return flags_; }
  void flags(std::uint32_t flags) noexcept { flags_ = flags; }
  // Sets the bits of `mask` to those of `flags`.
  void setf(std::uint32_t flags, std::uint32_t mask) noexcept { flags_ = (flags_ & ~mask) | (flags & mask); }
  std::uint32_t width() const noexcept { return width_; }
  void width(std::uint32_t width) noexcept { width_ = width; }
  char fill() const noexcept { return fill_; }
  void fill(char fill) noexcept { fill_ = fill; }
  std::uint32_t precision() const noexcept { return precision_; }
  void precision(std::uint32_t precision) noexcept { precision_ = precision; }

  std::uint32_t length() const noexcept { return length_; }
  std::uint32_t capacity() const noexcept { return capacity_; }
  bool dropped() const noexcept { return data_ == nullptr; }
  std::string_view text() const noexcept { return {data_, length_}; }

 private:
  TraceLineStream& appendSigned(std::int32_t value) noexcept;
  TraceLineStream& appendUnsigned(std::uint32_t value) noexcept;
  void appendNumber(std::uint32_t magnitude, bool negative) noexcept;

  // Room for `size` more bytes at the end, or null when the line is dropped.
  char* reserve(std::uint64_t size) noexcept;
  bool grow(std::uint64_t needed) noexcept;
  void drop() noexcept;
  // The fill characters the next item of `size` needs; resets the width.
  std::uint32_t takePadding(std::uint64_t size) noexcept;
  std::uint32_t adjustment() const noexcept { return flags_ & adjustfield; }

  TraceRecord* record_;
  char* data_;
  std::uint32_t capacity_;
  std::uint32_t length_ = 0;
  std::uint32_t flags_ = skipws | dec;
  std::uint32_t precision_ = 6;
  std::uint32_t width_ = 0;
  char fill_ = ' ';
};

}  // namespace installer::tracing
