#pragma once
// AttributeBytesValueFactory: creates the value class for a wire tag.

#include "attributebytes/AttributeBytesValue.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <memory>

class IAttributeBytesDebugDisplayHelper;

class HDU_API AttributeBytesValueFactory {
 public:
  // Every value class fits in this many bytes (checked where the classes are
  // listed).
  enum : std::size_t { kLargestValueSizeBound = 256 };
  // A new, default-constructed (not specified) value of the class for `type`
  // (tags 2 to 12). Any other tag, 1 ("ABVTE_UNSPECIFIED") included, throws
  // CPExceptionUnhandledSyntax: "Unhandled AttributeBytesValue syntax, <debug
  // name> (<tag>/0x<tag in hex>)." The values created here keep no reference
  // to the helper; it is taken so that callers with their own naming helper
  // can pass it along unchanged.
  static std::unique_ptr<AttributeBytesValue> CreateAttributeBytesValue(
      AttributeBytesValueEnum type, const IAttributeBytesDebugDisplayHelper& helper);
  // The same with the library's plain helper.
  static std::unique_ptr<AttributeBytesValue> CreateAttributeBytesValue(AttributeBytesValueEnum type);
  // The size of the largest value class.
  static std::size_t GetLargestAttributeBytesValueSize() noexcept;
  // Default-constructs the class for `type` in `memory` (at least
  // GetLargestAttributeBytesValueSize bytes, aligned for any fundamental
  // type); the caller destroys it. An unknown tag throws as above,
  // constructing nothing.
  static AttributeBytesValue* CreateAttributeBytesValueAt(AttributeBytesValueEnum type, void* memory);
  // The payload size every value of the class for `type` has, or 0 when it
  // varies (or the tag names no class).
  static unsigned GetFixedPayloadSize(AttributeBytesValueEnum type) noexcept;
};
