#pragma once
// The shared pointer through which attribute-bytes records are shared
// between lists and their callers, and the comparator that orders ids.
//
// AttributeBytesSharedPtr is the one place that names the pointer type. Code
// in this library uses only what every shared pointer of the library offers:
// construction from a raw pointer or through MakeAttributeBytesSharedPtr,
// copy, get(), operator->, operator* and the bool test.

#include "attributebytes/AttributeBytesId.h"

#include <memory>
#include <type_traits>
#include <utility>

class AttributeBytes;

using AttributeBytesSharedPtr = std::shared_ptr<AttributeBytes>;

// A new record, shared. (Defined where AttributeBytes is complete.)
template <class... Args>
AttributeBytesSharedPtr MakeAttributeBytesSharedPtr(Args&&... args) {
  return std::make_shared<AttributeBytes>(std::forward<Args>(args)...);
}

// Orders ids, and anything that points at an id, by AttributeBytesId::LessThan.
// Transparent, so an ordered container keyed by owned ids can be searched
// with a plain `const AttributeBytesId&`.
struct AttributeBytesIdCompare {
  using is_transparent = void;

  template <class A, class B>
  bool operator()(const A& a, const B& b) const {
    return idOf(a).LessThan(idOf(b));
  }

 private:
  template <class T>
  static const AttributeBytesId& idOf(const T& idOrPointer) noexcept {
    if constexpr (std::is_base_of_v<AttributeBytesId, T>) {
      return idOrPointer;
    } else {
      return *idOrPointer;
    }
  }
};
