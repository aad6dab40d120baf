// The memory source of framework strings: a counted allocator interface, the
// process-wide heap allocator, and the exception for a refused allocation.
#pragma once

#include <cstddef>
#include <new>

#include "framework/objptr.h"
#include "framework/standard_errors.h"

namespace qor {

// Thrown when an allocator returns no memory.
class IAllocator : public IRefCounted {
 public:
  static constexpr InterfaceId kIid{"qor::IAllocator"};

  // Returns null when the memory cannot be had; never throws.
  virtual void* allocate(std::size_t bytes) noexcept = 0;
  // Gives back a block from allocate() of the same allocator.
  virtual void deallocate(void* block, std::size_t bytes) noexcept = 0;
};

// The heap allocator shared by every string that is not given another one.
// It lives for the whole process; counting it has no effect.
objptr_t<IAllocator> defaultAllocator() noexcept;

// Allocates `bytes` from `allocator`, throwing qor::bad_alloc on refusal.
void* allocateOrThrow(IAllocator& allocator, std::size_t bytes);

}  // namespace qor
