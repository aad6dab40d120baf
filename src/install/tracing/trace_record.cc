#include "install/tracing/trace_record.h"

#include <cstdlib>
#include <utility>

namespace installer::tracing {

TraceRecord::TraceRecord(Tracer& tracer, std::uint32_t level, std::uint32_t size) noexcept
    : tracer_(&tracer), size_(size) {
  tracer.beginRecord(level, buffer_, size);
}

TraceRecord::~TraceRecord() { std::free(buffer_); }

bool TraceRecord::resize(std::uint32_t size) noexcept {
  char* resized = static_cast<char*>(std::realloc(buffer_, size == 0 ? 1 : size));
  if (resized == nullptr) {
    drop();
    return false;
  }
  buffer_ = resized;
  size_ = size;
  return true;
}

void TraceRecord::drop() noexcept {
  std::free(buffer_);
  buffer_ = nullptr;
}

void TraceRecord::write(std::uint32_t length) noexcept {
  writeRecord(*tracer_, std::exchange(buffer_, nullptr), length);
}

}  // namespace installer::tracing
