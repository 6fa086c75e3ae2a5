#include "General/PersistentHash.h"

#include <cstdint>
#include <string>

namespace {

constexpr std::uint32_t kFnvOffsetBasis = 2166136261u;
constexpr std::uint32_t kFnvPrime = 16777619u;

}  // namespace

unsigned long PersistentHash::ComputePersistentHashValue(const CXString& text) {
  std::uint32_t hash = kFnvOffsetBasis;
  for (const char16_t unit : text) {
    hash = (hash ^ static_cast<std::uint32_t>(unit & 0xFF)) * kFnvPrime;
    hash = (hash ^ static_cast<std::uint32_t>(unit >> 8)) * kFnvPrime;
  }
  return hash;
}

CXString PersistentHash::ComputeCSharpCompatiblePersistentHash(const CXString& text) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  const auto hash = static_cast<std::uint32_t>(ComputePersistentHashValue(text));
  std::u16string digits(8, u'0');
  for (int i = 0; i < 8; ++i) {
    digits[static_cast<std::size_t>(i)] = kDigits[(hash >> (28 - 4 * i)) & 0x0F];
  }
  return CXString(std::move(digits));
}
