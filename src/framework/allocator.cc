#include "framework/allocator.h"

#include <cstdlib>

namespace qor {
namespace {

class HeapAllocator final : public IAllocator {
 public:
  // Static storage: references only keep the interface contract.
  std::uint32_t addRef() noexcept override { return 1; }
  std::uint32_t release() noexcept override { return 1; }

  result_t queryInterface(const InterfaceId& iid, void** out) noexcept override {
    if (!out) return kResultPointer;
    const bool known = iid == IAllocator::kIid || iid == IRefCounted::kIid;
    *out = known ? static_cast<IAllocator*>(this) : nullptr;
    return known ? kResultOk : kResultNoInterface;
  }

  void* allocate(std::size_t bytes) noexcept override {
    return std::malloc(bytes == 0 ? 1 : bytes);
  }

  void deallocate(void* block, std::size_t) noexcept override { std::free(block); }
};

}  // namespace

objptr_t<IAllocator> defaultAllocator() noexcept {
  // Never destroyed, so strings in other static objects may outlive
  // ordinary static destruction order and still free their buffers.
  static HeapAllocator* const heap = new HeapAllocator;
  return objptr_t<IAllocator>(heap);
}

void* allocateOrThrow(IAllocator& allocator, std::size_t bytes) {
  void* block = allocator.allocate(bytes);
  if (!block) throw bad_alloc();
  return block;
}

}  // namespace qor
