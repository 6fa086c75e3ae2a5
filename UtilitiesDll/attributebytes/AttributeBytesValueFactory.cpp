#include "attributebytes/AttributeBytesValueFactory.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytesWire.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <algorithm>
#include <new>
#include <type_traits>

namespace {

[[noreturn]] void throwUnknownTag(AttributeBytesValueEnum type) {
  HDU_THROW(CPExceptionUnhandledSyntax,
            HDU_DEBUG_CONTEXT_IN("UtilitiesDll\\attributebytes\\AttributeBytesValueFactory",
                                 "AttributeBytesValueFactory::CreateAttributeBytesValue"),
            "Unhandled AttributeBytesValue syntax, %s (%ld/0x%lx).",
            AttributeBytesValue::GetTypeDebugDisplayString(type), static_cast<long long>(type),
            static_cast<unsigned long long>(static_cast<unsigned>(type)));
}

// Calls `action` with the class for `type` (as std::type_identity), or
// `unknown` with a tag that names no class; the one place that maps value tags to classes.
template <class Action, class Unknown>
auto withValueClass(AttributeBytesValueEnum type, Action action, Unknown unknown) {
  switch (type) {
    case ABVTE_OPTION:
      return action(std::type_identity<AttributeBytesOptionValue>());
    case ABVTE_INTEGER:
      return action(std::type_identity<AttributeBytesIntegerValue>());
    case ABVTE_STRING:
      return action(std::type_identity<AttributeBytesStringValue>());
    case ABVTE_BOOLEAN:
      return action(std::type_identity<AttributeBytesBooleanValue>());
    case ABVTE_RANGE:
      return action(std::type_identity<AttributeBytesRangeValue>());
    case ABVTE_RANGEOFDIMENSION:
      return action(std::type_identity<AttributeBytesRangeOfDimensionValue>());
    case ABVTE_DIMENSION:
      return action(std::type_identity<AttributeBytesDimensionValue>());
    case ABVTE_RESOLUTION:
      return action(std::type_identity<AttributeBytesResolutionValue>());
    case ABVTE_DATABLOB:
      return action(std::type_identity<AttributeBytesDataBlobValue>());
    case ABVTE_LIST:
      return action(std::type_identity<AttributeBytesListValue>());
    case ABVTE_DATETIME:
      return action(std::type_identity<AttributeBytesDateTimeValue>());
    case ABVTE_UNSPECIFIED:
      break;
  }
  return unknown(type);
}

// The default for an unknown tag: the factory's exception.
template <class Action>
auto withValueClass(AttributeBytesValueEnum type, Action action) {
  return withValueClass(
      type, action,
      [](AttributeBytesValueEnum unknownType) -> decltype(action(std::type_identity<AttributeBytesOptionValue>())) {
        throwUnknownTag(unknownType);
      });
}

constexpr std::size_t kLargestValueSize = std::max(
    {sizeof(AttributeBytesOptionValue), sizeof(AttributeBytesIntegerValue), sizeof(AttributeBytesStringValue),
     sizeof(AttributeBytesBooleanValue), sizeof(AttributeBytesRangeValue), sizeof(AttributeBytesRangeOfDimensionValue),
     sizeof(AttributeBytesDimensionValue), sizeof(AttributeBytesResolutionValue), sizeof(AttributeBytesDataBlobValue),
     sizeof(AttributeBytesListValue), sizeof(AttributeBytesDateTimeValue)});

static_assert(kLargestValueSize <= AttributeBytesValueFactory::kLargestValueSizeBound,
              "a value class outgrew kLargestValueSizeBound");

}  // namespace

std::unique_ptr<AttributeBytesValue> AttributeBytesValueFactory::CreateAttributeBytesValue(
    AttributeBytesValueEnum type, const IAttributeBytesDebugDisplayHelper&) {
  return withValueClass(type, [](auto valueClass) -> std::unique_ptr<AttributeBytesValue> {
    return std::make_unique<typename decltype(valueClass)::type>();
  });
}

std::unique_ptr<AttributeBytesValue> AttributeBytesValueFactory::CreateAttributeBytesValue(
    AttributeBytesValueEnum type) {
  return CreateAttributeBytesValue(type, NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
}

std::size_t AttributeBytesValueFactory::GetLargestAttributeBytesValueSize() noexcept {
  return kLargestValueSize;
}

AttributeBytesValue* AttributeBytesValueFactory::CreateAttributeBytesValueAt(AttributeBytesValueEnum type,
                                                                             void* memory) {
  return withValueClass(type, [memory](auto valueClass) -> AttributeBytesValue* {
    return ::new (memory) typename decltype(valueClass)::type();
  });
}

unsigned AttributeBytesValueFactory::GetFixedPayloadSize(AttributeBytesValueEnum type) noexcept {
  return withValueClass(
      type, [](auto typeClass) { return AttributeBytesWire::fixedPayloadSizeOf<typename decltype(typeClass)::type>(); },
      [](AttributeBytesValueEnum) { return 0U; });
}
