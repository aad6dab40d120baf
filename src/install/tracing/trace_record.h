// The text of one trace line while it is built: a C heap buffer of UTF-8
// bytes (no terminating zero) that the tracer frees once it has written it.
// A record is built by one thread and needs no lock.
#pragma once

#include <cstdint>

#include "install/tracing/tracer.h"

namespace installer::tracing {

class TraceRecord {
 public:
  // Asks the tracer for a buffer of `size` bytes; there is none when `level`
  // does not pass or memory runs out.
  TraceRecord(Tracer& tracer, std::uint32_t level, std::uint32_t size = Tracer::kRecordSize) noexcept;
  ~TraceRecord();
  TraceRecord(const TraceRecord&) = delete;
  TraceRecord& operator=(const TraceRecord&) = delete;

  Tracer& tracer() const noexcept { return *tracer_; }
  char* buffer() const noexcept { return buffer_; }
  std::uint32_t size() const noexcept { return buffer_ != nullptr ? size_ : 0; }

  // Resizes the buffer; on failure frees it and the record is dropped.
  bool resize(std::uint32_t size) noexcept;
  // Frees the buffer: the record will write nothing.
  void drop() noexcept;

  // Hands the first `length` bytes to the tracer as one line; the record is
  // empty afterwards.
  void write(std::uint32_t length) noexcept;

 private:
  Tracer* tracer_;
  char* buffer_ = nullptr;
  std::uint32_t size_;
};

}  // namespace installer::tracing
