// Intrusive reference counting for interface objects: the base interface,
// a counting implementation helper and the owning pointer objptr_t.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

#include "framework/result.h"

namespace qor {

// Names an interface. Ids are compared by name as well as by address, so an
// id seen through another module still matches.
struct InterfaceId {
  const char* name;

  bool operator==(const InterfaceId& other) const noexcept {
    return this == &other || std::strcmp(name, other.name) == 0;
  }
  bool operator!=(const InterfaceId& other) const noexcept {
    return !(*this == other);
  }
};

// The root of every counted interface. An interface declares its own id as
// `static constexpr InterfaceId kIid`.
class IRefCounted {
 public:
  static constexpr InterfaceId kIid{"qor::IRefCounted"};

  virtual std::uint32_t addRef() noexcept = 0;
  // Drops one reference; the object destroys itself when none is left.
  // Returns the remaining count.
  virtual std::uint32_t release() noexcept = 0;
  // On success stores the interface pointer in *out with a reference taken
  // for the caller; otherwise stores null and returns kResultNoInterface.
  virtual result_t queryInterface(const InterfaceId& iid, void** out) noexcept = 0;

 protected:
  virtual ~IRefCounted() = default;
};

// Owning pointer to a counted interface: holds one reference while set.
template <class T>
class objptr_t {
 public:
  objptr_t() noexcept = default;
  objptr_t(std::nullptr_t) noexcept {}
  // Takes a new reference on `object`; see attach() to adopt one instead.
  explicit objptr_t(T* object) noexcept : object_(object) {
    if (object_) object_->addRef();
  }
  objptr_t(const objptr_t& other) noexcept : objptr_t(other.object_) {}
  objptr_t(objptr_t&& other) noexcept : object_(other.detach()) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  objptr_t(const objptr_t<U>& other) noexcept : objptr_t(other.get()) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  objptr_t(objptr_t<U>&& other) noexcept : object_(other.detach()) {}
  ~objptr_t() {
    if (object_) object_->release();
  }

  objptr_t& operator=(objptr_t other) noexcept {
    swap(other);
    return *this;
  }

  void swap(objptr_t& other) noexcept { std::swap(object_, other.object_); }

  // Releases the held reference and takes a new one on `object`.
  void reset(T* object = nullptr) noexcept {
    // The new reference is taken first: `object` may be the one held now.
    if (object) object->addRef();
    attach(object);
  }

  // Adopts a reference the caller already owns, without adding one.
  void attach(T* object) noexcept {
    T* old = std::exchange(object_, object);
    if (old) old->release();
  }

  // Hands the held reference over to the caller.
  T* detach() noexcept { return std::exchange(object_, nullptr); }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  // Asks the object for interface U; empty when it does not implement it.
  template <class U>
  objptr_t<U> query() const noexcept {
    objptr_t<U> result;
    void* raw = nullptr;
    if (object_ && succeeded(object_->queryInterface(U::kIid, &raw))) {
      result.attach(static_cast<U*>(raw));
    }
    return result;
  }

 private:
  T* object_ = nullptr;
};

template <class T, class U>
bool operator==(const objptr_t<T>& a, const objptr_t<U>& b) noexcept {
  return a.get() == b.get();
}
template <class T, class U>
bool operator!=(const objptr_t<T>& a, const objptr_t<U>& b) noexcept {
  return a.get() != b.get();
}
template <class T>
bool operator==(const objptr_t<T>& a, std::nullptr_t) noexcept {
  return !a;
}
template <class T>
bool operator!=(const objptr_t<T>& a, std::nullptr_t) noexcept {
  return static_cast<bool>(a);
}

// Implements counting and interface lookup for a class that implements the
// given interfaces. The count is atomic: objects are shared with worker
// threads. It starts at 0; the first objptr_t takes the first reference.
template <class... Interfaces>
class RefCounted : public Interfaces... {
  static_assert(sizeof...(Interfaces) > 0, "implement at least one interface");

 public:
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

  std::uint32_t addRef() noexcept override {
    return count_.fetch_add(1, std::memory_order_relaxed) + 1;
  }

  std::uint32_t release() noexcept override {
    // acq_rel: every use of the object by other holders happens before the
    // holder that drops the last reference destroys it.
    const std::uint32_t left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

  result_t queryInterface(const InterfaceId& iid, void** out) noexcept override {
    if (!out) return kResultPointer;
    *out = nullptr;
    if (iid == ::qor::IRefCounted::kIid) {
      *out = static_cast<::qor::IRefCounted*>(static_cast<First*>(this));
    } else if (!(tryInterface<Interfaces>(iid, out) || ...)) {
      return kResultNoInterface;
    }
    addRef();
    return kResultOk;
  }

 protected:
  RefCounted() noexcept = default;
  virtual ~RefCounted() = default;

 private:
  using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;

  template <class I>
  bool tryInterface(const InterfaceId& iid, void** out) noexcept {
    if (iid != I::kIid) return false;
    *out = static_cast<I*>(this);
    return true;
  }

  std::atomic<std::uint32_t> count_{0};
};

// Creates a counted object and returns the first reference to it.
template <class T, class... Args>
objptr_t<T> makeObject(Args&&... args) {
  return objptr_t<T>(new T(std::forward<Args>(args)...));
}

}  // namespace qor
