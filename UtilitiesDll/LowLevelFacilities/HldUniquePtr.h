#pragma once
// HldUniquePtr<T, Ownership, Compare>: the library's single-owner pointer, the
// counterpart of HldSharedPtr for objects that are never shared.
//
// Ownership is a policy class with a static Destroy(T*) that disposes of the
// object when the pointer lets go of it; AlwaysOwned deletes it (the pointer
// always owns what it holds). Compare is the ordering policy used by
// operator< and ordered containers; UniquePtrCompare<T> compares the objects
// with their operator<, a null pointer before any object.
// Move-only; release() hands the object back to the caller.

#include <cstddef>
#include <type_traits>
#include <utility>

struct AlwaysOwned {
  template <class T>
  static void Destroy(T* object) noexcept {
    delete object;
  }
};

template <class T>
struct UniquePtrCompare {
  bool operator()(const T* a, const T* b) const {
    if (a == nullptr || b == nullptr) {
      return a == nullptr && b != nullptr;
    }
    return *a < *b;
  }
};

template <class T, class Ownership = AlwaysOwned, class Compare = UniquePtrCompare<T>>
class HldUniquePtr {
 public:
  using element_type = T;
  using ownership_type = Ownership;
  using compare_type = Compare;

  constexpr HldUniquePtr() noexcept = default;
  constexpr HldUniquePtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit HldUniquePtr(T* object) noexcept : m_pointee(object) {}
  HldUniquePtr(HldUniquePtr&& other) noexcept : m_pointee(other.release()) {}
  template <class U, class C, class = std::enable_if_t<std::is_convertible_v<U*, T*> && !std::is_same_v<U, T>>>
  HldUniquePtr(HldUniquePtr<U, Ownership, C>&& other) noexcept  // NOLINT(google-explicit-constructor)
      : m_pointee(other.release()) {}
  HldUniquePtr(const HldUniquePtr&) = delete;
  HldUniquePtr& operator=(const HldUniquePtr&) = delete;
  ~HldUniquePtr() { reset(); }

  HldUniquePtr& operator=(HldUniquePtr&& other) noexcept {
    reset(other.release());
    return *this;
  }
  HldUniquePtr& operator=(std::nullptr_t) noexcept {
    reset();
    return *this;
  }

  T* get() const noexcept { return m_pointee; }
  T& operator*() const noexcept { return *m_pointee; }
  T* operator->() const noexcept { return m_pointee; }
  explicit operator bool() const noexcept { return m_pointee != nullptr; }

  // Gives up the object without disposing of it.
  T* release() noexcept { return std::exchange(m_pointee, nullptr); }
  // Disposes of the current object (through the ownership policy) and takes `object`.
  void reset(T* object = nullptr) noexcept {
    T* previous = std::exchange(m_pointee, object);
    if (previous != nullptr) {
      Ownership::Destroy(previous);
    }
  }
  void swap(HldUniquePtr& other) noexcept { std::swap(m_pointee, other.m_pointee); }

  friend bool operator==(const HldUniquePtr& a, const HldUniquePtr& b) noexcept { return a.m_pointee == b.m_pointee; }
  friend bool operator==(const HldUniquePtr& a, std::nullptr_t) noexcept { return a.m_pointee == nullptr; }
  friend bool operator<(const HldUniquePtr& a, const HldUniquePtr& b) { return Compare()(a.m_pointee, b.m_pointee); }

 private:
  T* m_pointee = nullptr;
};
