#include "attributebytes/AttributeBytesIdFactory.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/AttributeBytesWire.h"

#include <new>
#include <type_traits>

namespace {

[[noreturn]] void throwUnknownTag(AttributeBytesIdEnum type) {
  HDU_THROW(CPExceptionUnhandledSyntax,
            HDU_DEBUG_CONTEXT_IN("UtilitiesDll\\attributebytes\\AttributeBytesIdFactory",
                                 "AttributeBytesIdFactory::CreateAttributeBytesId"),
            "Unhandled AttributeBytesId type, %s (%ld/0x%lx).", AttributeBytesId::GetTypeDebugDisplayString(type),
            static_cast<long long>(type), static_cast<unsigned long long>(static_cast<unsigned>(type)));
}

// Calls `action` with the class for `type` (as std::type_identity), or
// `unknown` with a tag that names no class; the one place that maps id tags to classes.
template <class Action, class Unknown>
auto withIdClass(AttributeBytesIdEnum type, Action action, Unknown unknown) {
  switch (type) {
    case ABIDE_FEATURE:
      return action(std::type_identity<AttributeBytesFeatureId>());
    case ABIDE_NEWFEATURE:
      return action(std::type_identity<AttributeBytesNewFeatureId>());
    case ABIDE_VALUE:
      return action(std::type_identity<AttributeBytesValueId>());
    case ABIDE_NEWVALUE:
      return action(std::type_identity<AttributeBytesNewValueId>());
    case ABIDE_LISTOFVALUESITEM:
      return action(std::type_identity<AttributeBytesListOfValuesItemId>());
    case ABIDE_CAPABILITY:
      return action(std::type_identity<AttributeBytesCapabilityId>());
    case ABIDE_NEWCAPABILITY:
      return action(std::type_identity<AttributeBytesNewCapabilityId>());
    case ABIDE_NAMESPACE:
      return action(std::type_identity<AttributeBytesNameSpacesId>());
    case ABIDE_UNSPECIFIED:
      break;
  }
  return unknown(type);
}

// The default for an unknown tag: the factory's exception.
template <class Action>
auto withIdClass(AttributeBytesIdEnum type, Action action) {
  return withIdClass(
      type, action,
      [](AttributeBytesIdEnum unknownType) -> decltype(action(std::type_identity<AttributeBytesFeatureId>())) {
        throwUnknownTag(unknownType);
      });
}

static_assert(sizeof(AttributeBytesFeatureId) <= AttributeBytesIdFactory::kLargestIdSize &&
                  sizeof(AttributeBytesNewFeatureId) <= AttributeBytesIdFactory::kLargestIdSize &&
                  sizeof(AttributeBytesValueId) <= AttributeBytesIdFactory::kLargestIdSize &&
                  sizeof(AttributeBytesNewValueId) <= AttributeBytesIdFactory::kLargestIdSize &&
                  sizeof(AttributeBytesListOfValuesItemId) <= AttributeBytesIdFactory::kLargestIdSize &&
                  sizeof(AttributeBytesCapabilityId) <= AttributeBytesIdFactory::kLargestIdSize &&
                  sizeof(AttributeBytesNewCapabilityId) <= AttributeBytesIdFactory::kLargestIdSize &&
                  sizeof(AttributeBytesNameSpacesId) <= AttributeBytesIdFactory::kLargestIdSize,
              "an id class outgrew kLargestIdSize");

}  // namespace

std::unique_ptr<AttributeBytesId> AttributeBytesIdFactory::CreateAttributeBytesId(AttributeBytesIdEnum type) {
  return withIdClass(type, [](auto idClass) -> std::unique_ptr<AttributeBytesId> {
    return std::make_unique<typename decltype(idClass)::type>();
  });
}

std::size_t AttributeBytesIdFactory::GetAttributeBytesIdSize(AttributeBytesIdEnum type) {
  return withIdClass(type, [](auto idClass) { return sizeof(typename decltype(idClass)::type); });
}

AttributeBytesId* AttributeBytesIdFactory::CreateAttributeBytesIdAt(AttributeBytesIdEnum type, void* memory) {
  return withIdClass(
      type, [memory](auto idClass) -> AttributeBytesId* { return ::new (memory) typename decltype(idClass)::type(); });
}

unsigned AttributeBytesIdFactory::GetFixedPayloadSize(AttributeBytesIdEnum type) noexcept {
  return withIdClass(
      type, [](auto typeClass) { return AttributeBytesWire::fixedPayloadSizeOf<typename decltype(typeClass)::type>(); },
      [](AttributeBytesIdEnum) { return 0U; });
}
