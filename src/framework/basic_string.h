// The framework's string: a counted allocator reference, a small inline
// buffer for short texts, and a hard length limit that is checked before any
// memory is touched.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "framework/allocator.h"
#include "platform/windows.h"

namespace qor {

template <class CharT>
class basic_string_t {
  using traits = std::char_traits<CharT>;

 public:
  using value_type = CharT;
  using size_type = std::size_t;
  using view_type = std::basic_string_view<CharT>;

  // Longest string in units, not counting the terminator.
  static constexpr size_type kMaxSize = 2147483647;
  // Units kept inside the object, terminator included.
  static constexpr size_type kInlineUnits = 8;

  basic_string_t() noexcept : basic_string_t(defaultAllocator()) {}
  explicit basic_string_t(objptr_t<IAllocator> allocator) noexcept
      : allocator_(allocator ? std::move(allocator) : defaultAllocator()) {
    inline_[0] = CharT();
  }
  basic_string_t(const CharT* text, size_type length,
                 objptr_t<IAllocator> allocator = defaultAllocator())
      : basic_string_t(std::move(allocator)) {
    if (length > kMaxSize) {
      throw std::length_error("qor::basic_string_t constructor");
    }
    if (length > capacity_) reallocate(length);
    copyUnits(data_, text, length);
    setSize(length);
  }
  basic_string_t(const CharT* text)
      : basic_string_t(text, text ? traits::length(text) : 0) {}
  explicit basic_string_t(view_type text,
                          objptr_t<IAllocator> allocator = defaultAllocator())
      : basic_string_t(text.data(), text.size(), std::move(allocator)) {}

  // A copy has its own buffer but shares the allocator of the original.
  basic_string_t(const basic_string_t& other)
      : basic_string_t(other.data_, other.size_, other.allocator_) {}
  // The moved-from string is left empty and keeps its allocator.
  basic_string_t(basic_string_t&& other) noexcept
      : basic_string_t(other.allocator_) {
    swap(other);
  }
  ~basic_string_t() { freeBuffer(); }

  basic_string_t& operator=(const basic_string_t& other) {
    if (this != &other) basic_string_t(other).swap(*this);
    return *this;
  }
  basic_string_t& operator=(basic_string_t&& other) noexcept {
    basic_string_t(std::move(other)).swap(*this);
    return *this;
  }

  void swap(basic_string_t& other) noexcept {
    const bool wasInline = isInline();
    const bool otherWasInline = other.isInline();
    std::swap(inline_, other.inline_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    allocator_.swap(other.allocator_);
    // Inline contents moved with the arrays; re-aim the pointers at them.
    if (otherWasInline) data_ = inline_;
    if (wasInline) other.data_ = other.inline_;
  }

  const CharT* c_str() const noexcept { return data_; }
  const CharT* data() const noexcept { return data_; }
  CharT* data() noexcept { return data_; }
  size_type size() const noexcept { return size_; }
  size_type length() const noexcept { return size_; }
  // Units that fit without reallocation, not counting the terminator.
  size_type capacity() const noexcept { return capacity_; }
  bool empty() const noexcept { return size_ == 0; }
  const objptr_t<IAllocator>& allocator() const noexcept { return allocator_; }

  const CharT& operator[](size_type index) const noexcept { return data_[index]; }
  CharT& operator[](size_type index) noexcept { return data_[index]; }

  view_type view() const noexcept { return view_type(data_, size_); }
  std::basic_string<CharT> str() const { return std::basic_string<CharT>(data_, size_); }
  explicit operator std::basic_string<CharT>() const { return str(); }

  basic_string_t& append(const CharT* text, size_type length) {
    return splice(size_, text, length, "qor::basic_string_t::reserve_extra()");
  }
  basic_string_t& append(view_type text) { return append(text.data(), text.size()); }
  basic_string_t& append(const CharT* text) { return append(view_type(text)); }
  basic_string_t& append(const basic_string_t& text) {
    return append(text.data_, text.size_);
  }
  basic_string_t& push_back(CharT unit) { return append(&unit, 1); }
  basic_string_t& operator+=(view_type text) { return append(text); }
  basic_string_t& operator+=(const CharT* text) { return append(text); }
  basic_string_t& operator+=(const basic_string_t& text) { return append(text); }

  // Inserts before `position`, which may be size() to append.
  basic_string_t& insert(size_type position, const CharT* text, size_type length) {
    if (position > size_) throw std::out_of_range("qor::basic_string_t::insert");
    return splice(position, text, length, "qor::basic_string_t::resize_extra_at");
  }
  basic_string_t& insert(size_type position, view_type text) {
    return insert(position, text.data(), text.size());
  }

  // Makes room for `units` without further reallocation.
  void reserve(size_type units) {
    if (units >= kMaxSize) {
      throw std::length_error("qor::basic_string_t::reserve_extra()");
    }
    if (units > capacity_) reallocate(units);
  }

  // Empties the string and keeps its buffer.
  void clear() noexcept { setSize(0); }

  friend bool operator==(const basic_string_t& a, const basic_string_t& b) noexcept {
    return a.view() == b.view();
  }
  friend bool operator!=(const basic_string_t& a, const basic_string_t& b) noexcept {
    return !(a == b);
  }
  friend bool operator==(const basic_string_t& a, view_type b) noexcept {
    return a.view() == b;
  }
  friend bool operator!=(const basic_string_t& a, view_type b) noexcept {
    return !(a == b);
  }
  friend bool operator==(const basic_string_t& a, const CharT* b) noexcept {
    return a.view() == view_type(b);
  }
  friend bool operator!=(const basic_string_t& a, const CharT* b) noexcept {
    return !(a == b);
  }

 private:
  bool isInline() const noexcept { return data_ == inline_; }

  void setSize(size_type size) noexcept {
    size_ = size;
    data_[size] = CharT();
  }

  static void copyUnits(CharT* to, const CharT* from, size_type count) noexcept {
    if (count) traits::copy(to, from, count);
  }

  bool holds(const CharT* text) const noexcept {
    std::less<const CharT*> before;
    return !before(text, data_) && before(text, data_ + size_);
  }

  // Opens a gap of `length` units at `position` and fills it from `text`,
  // which may point into this string. The limit is checked first, so a bad
  // length neither allocates nor reads. On failure the string is unchanged.
  basic_string_t& splice(size_type position, const CharT* text, size_type length,
                         const char* limitMessage) {
    if (length >= kMaxSize - size_) throw std::length_error(limitMessage);
    if (length == 0) return *this;
    const size_type newSize = size_ + length;
    if (newSize > capacity_) {
      spliceIntoNewBuffer(position, text, length, grownCapacity(newSize));
    } else {
      spliceInPlace(position, text, length);
    }
    setSize(newSize);
    return *this;
  }

  // The old buffer is freed only after `text` was read, as it may live there.
  void spliceIntoNewBuffer(size_type position, const CharT* text, size_type length,
                           size_type capacity) {
    CharT* buffer = allocateUnits(capacity);
    copyUnits(buffer, data_, position);
    copyUnits(buffer + position, text, length);
    copyUnits(buffer + position + length, data_ + position, size_ - position);
    adopt(buffer, capacity);
  }

  void spliceInPlace(size_type position, const CharT* text, size_type length) noexcept {
    CharT* gap = data_ + position;
    const bool aliased = holds(text);
    traits::move(gap + length, gap, size_ - position);
    if (!aliased || text + length <= gap) {
      copyUnits(gap, text, length);
    } else if (text >= gap) {
      // The source moved right together with the tail.
      copyUnits(gap, text + length, length);
    } else {
      // The source straddles the gap: its head stayed, its tail moved.
      const size_type head = static_cast<size_type>(gap - text);
      copyUnits(gap, text, head);
      copyUnits(gap + head, gap + length, length - head);
    }
  }

  size_type grownCapacity(size_type needed) const noexcept {
    const size_type doubled = std::min(capacity_ * 2, kMaxSize - 1);
    return std::max(needed, doubled);
  }

  void reallocate(size_type capacity) {
    CharT* buffer = allocateUnits(capacity);
    copyUnits(buffer, data_, size_);
    adopt(buffer, capacity);
    data_[size_] = CharT();
  }

  CharT* allocateUnits(size_type capacity) {
    if (capacity + 1 > SIZE_MAX / sizeof(CharT)) throw bad_alloc();
    return static_cast<CharT*>(
        allocateOrThrow(*allocator_, (capacity + 1) * sizeof(CharT)));
  }

  void adopt(CharT* buffer, size_type capacity) noexcept {
    freeBuffer();
    data_ = buffer;
    capacity_ = capacity;
  }

  void freeBuffer() noexcept {
    if (!isInline()) allocator_->deallocate(data_, (capacity_ + 1) * sizeof(CharT));
  }

  CharT* data_ = inline_;
  size_type size_ = 0;
  size_type capacity_ = kInlineUnits - 1;
  objptr_t<IAllocator> allocator_;
  CharT inline_[kInlineUnits];
};

// The framework's wide string: UTF-16 units, as Windows takes them.
using string_t = basic_string_t<WCHAR>;

}  // namespace qor
