#pragma once
// The shared pointer through which attribute-bytes records are shared
// between lists and their callers, and the comparator that orders ids.
//
// AttributeBytesSharedPtr is the library's HldSharedPtr: its control blocks
// come from the calling thread's pool, and a record may be released on
// another thread than the one that made it.

#include "LowLevelFacilities/HldSharedPtr.h"
#include "attributebytes/AttributeBytesId.h"

#include <type_traits>
#include <utility>

class AttributeBytes;

using AttributeBytesSharedPtr = HldSharedPtr<AttributeBytes>;

// A new record, shared. (Usable where AttributeBytes is complete.)
template <class... Args>
AttributeBytesSharedPtr MakeAttributeBytesSharedPtr(Args&&... args) {
  return MakeHldShared<AttributeBytes>(std::forward<Args>(args)...);
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
