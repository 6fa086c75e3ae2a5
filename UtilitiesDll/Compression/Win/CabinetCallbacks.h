#pragma once
// Helpers shared by the FCI and FDI callbacks of the cabinet contexts.
// Internal to the library's Windows build.

#include "Compression/CabContext.h"

#include <fcntl.h>

namespace CabinetCallbacks {

// The C run-time's _open flags, as FCI and FDI pass them, in the library's
// own terms. _O_BINARY, _O_SEQUENTIAL and the like do not matter in memory.
inline unsigned int translateOpenFlags(int oflag) noexcept {
  unsigned int flags = 0;
  switch (oflag & (_O_RDONLY | _O_WRONLY | _O_RDWR)) {
    case _O_WRONLY:
      flags = CabContext::CCOF_WRITE;
      break;
    case _O_RDWR:
      flags = CabContext::CCOF_READ | CabContext::CCOF_WRITE;
      break;
    default:
      flags = CabContext::CCOF_READ;
      break;
  }
  if ((oflag & _O_CREAT) != 0) {
    flags |= CabContext::CCOF_CREATE;
  }
  if ((oflag & _O_TRUNC) != 0) {
    flags |= CabContext::CCOF_TRUNCATE;
  }
  if ((oflag & _O_EXCL) != 0) {
    flags |= CabContext::CCOF_EXCLUSIVE;
  }
  if ((oflag & _O_APPEND) != 0) {
    flags |= CabContext::CCOF_APPEND;
  }
  return flags;
}

}  // namespace CabinetCallbacks
