#pragma once
// AttributeBytesIdFactory: creates the id class for a wire tag.

#include "attributebytes/AttributeBytesId.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <memory>

class HDU_API AttributeBytesIdFactory {
 public:
  // Every id class fits in this many bytes (checked where the classes are
  // listed).
  enum : std::size_t { kLargestIdSize = 128 };
  // A new, default-constructed id of the class for `type` (tags 2 to 9).
  // Any other tag, 1 ("ABIDE_UNSPECIFIED") included, throws
  // CPExceptionUnhandledSyntax: "Unhandled AttributeBytesId type, <debug
  // name> (<tag>/0x<tag in hex>)."
  static std::unique_ptr<AttributeBytesId> CreateAttributeBytesId(AttributeBytesIdEnum type);
  // The size of the class for `type` (an unknown tag throws as above).
  static std::size_t GetAttributeBytesIdSize(AttributeBytesIdEnum type);
  // Default-constructs the class for `type` in `memory` (at least
  // GetAttributeBytesIdSize bytes, aligned for any fundamental type); the
  // caller destroys it. An unknown tag throws as above, constructing nothing.
  static AttributeBytesId* CreateAttributeBytesIdAt(AttributeBytesIdEnum type, void* memory);
  // The payload size every id of the class for `type` has, or 0 when it
  // varies (or the tag names no class).
  static unsigned GetFixedPayloadSize(AttributeBytesIdEnum type) noexcept;
};
