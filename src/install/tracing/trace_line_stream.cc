#include "install/tracing/trace_line_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "install/tracing/utf8.h"

namespace installer::tracing {

TraceLineStream::TraceLineStream(TraceRecord& record) noexcept
    : record_(&record), data_(record.buffer()), capacity_(record.size()) {}

TraceLineStream& TraceLineStream::operator<<(std::string_view text) noexcept {
  const std::uint32_t padding = takePadding(text.size());
  char* at = reserve(std::uint64_t{text.size()} + padding);
  if (at == nullptr) return *this;
  if (adjustment() != left) at = std::fill_n(at, padding, fill_);
  at = std::copy(text.begin(), text.end(), at);
  if (adjustment() == left) std::fill_n(at, padding, fill_);
  return *this;
}

TraceLineStream& TraceLineStream::operator<<(std::basic_string_view<WCHAR> text) noexcept {
  const std::uint32_t padding = takePadding(text.size());
  if (dropped()) return *this;
  const std::size_t encoded = utf8::encodedSize(text.data(), text.size());
  char* at = reserve(std::uint64_t{encoded} + padding);
  if (at == nullptr) return *this;
  if (adjustment() != left) at = std::fill_n(at, padding, fill_);
  at = utf8::encode(text.data(), text.size(), at);
  if (adjustment() == left) std::fill_n(at, padding, fill_);
  return *this;
}

TraceLineStream& TraceLineStream::appendSigned(std::int32_t value) noexcept {
  const bool decimal = (flags_ & basefield) != oct && (flags_ & basefield) != hex;
  if (decimal && value < 0) {
    appendNumber(0u - static_cast<std::uint32_t>(value), true);
  } else {
    appendNumber(static_cast<std::uint32_t>(value), false);
  }
  return *this;
}

TraceLineStream& TraceLineStream::appendUnsigned(std::uint32_t value) noexcept {
  appendNumber(value, false);
  return *this;
}

void TraceLineStream::appendNumber(std::uint32_t magnitude, bool negative) noexcept {
  const std::uint32_t base = (flags_ & basefield) == oct ? 8 : (flags_ & basefield) == hex ? 16 : 10;
  char digits[32];
  char* const digitsEnd = digits + sizeof digits;
  char* first = digitsEnd;
  do {
    *--first = "0123456789abcdef"[magnitude % base];
    magnitude /= base;
  } while (magnitude != 0);
  std::string_view prefix;
  if (negative) {
    prefix = "-";
  } else if (flags_ & showbase) {
    prefix = base == 16 ? "0x" : base == 8 ? "0" : "";
  }
  const std::size_t digitCount = digitsEnd - first;
  const std::uint32_t padding = takePadding(prefix.size() + digitCount);
  char* at = reserve(std::uint64_t{prefix.size()} + digitCount + padding);
  if (at == nullptr) return;
  const std::uint32_t adjust = adjustment();
  if (adjust != left && adjust != internal) at = std::fill_n(at, padding, fill_);
  at = std::copy(prefix.begin(), prefix.end(), at);
  if (adjust == internal) at = std::fill_n(at, padding, fill_);
  at = std::copy(first, digitsEnd, at);
  if (adjust == left) std::fill_n(at, padding, fill_);
}

std::uint32_t TraceLineStream::takePadding(std::uint64_t size) noexcept {
  const std::uint32_t padding = width_ > size ? static_cast<std::uint32_t>(width_ - size) : 0;
  width_ = 0;
  return padding;
}

char* TraceLineStream::reserve(std::uint64_t size) noexcept {
  if (dropped()) return nullptr;
  const std::uint64_t needed = std::uint64_t{length_} + size;
  if (needed > capacity_ && !grow(needed)) return nullptr;
  char* at = data_ + length_;
  length_ = static_cast<std::uint32_t>(needed);
  return at;
}

bool TraceLineStream::grow(std::uint64_t needed) noexcept {
  constexpr std::uint64_t kLimit = std::numeric_limits<std::uint32_t>::max();
  if (needed > kLimit || !record_->tracer().passes(Tracer::kUnboundedLineLevel)) {
    drop();
    return false;
  }
  const auto requested = static_cast<std::uint32_t>(std::min(std::max(needed, 2 * std::uint64_t{capacity_}), kLimit));
  if (!record_->resize(requested)) {
    drop();
    return false;
  }
  data_ = record_->buffer();
  capacity_ = requested;
  return true;
}

void TraceLineStream::drop() noexcept {
  record_->drop();
  data_ = nullptr;
  capacity_ = 0;
  length_ = 0;
}

}  // namespace installer::tracing
