// The registry options where there is no registry.

#include "RegistryValue.h"

namespace hdutil {

namespace {
const char* const kUnavailable =
    "the registry is a Windows facility: --registry and --to-registry need the Windows hdutil";
}  // namespace

RegistryValue readRegistryValue(const std::string& /*location*/) {
  throw RegistryUnavailable(kUnavailable);
}

void writeRegistryValue(const std::string& /*location*/, const ByteBuffer& /*bytes*/) {
  throw RegistryUnavailable(kUnavailable);
}

}  // namespace hdutil
