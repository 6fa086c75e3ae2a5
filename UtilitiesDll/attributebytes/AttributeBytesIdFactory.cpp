#include "attributebytes/AttributeBytesIdFactory.h"

#include "DebuggingAndExceptions/CPException.h"

std::unique_ptr<AttributeBytesId> AttributeBytesIdFactory::CreateAttributeBytesId(AttributeBytesIdEnum type) {
  switch (type) {
    case ABIDE_FEATURE:
      return std::make_unique<AttributeBytesFeatureId>();
    case ABIDE_NEWFEATURE:
      return std::make_unique<AttributeBytesNewFeatureId>();
    case ABIDE_VALUE:
      return std::make_unique<AttributeBytesValueId>();
    case ABIDE_NEWVALUE:
      return std::make_unique<AttributeBytesNewValueId>();
    case ABIDE_LISTOFVALUESITEM:
      return std::make_unique<AttributeBytesListOfValuesItemId>();
    case ABIDE_CAPABILITY:
      return std::make_unique<AttributeBytesCapabilityId>();
    case ABIDE_NEWCAPABILITY:
      return std::make_unique<AttributeBytesNewCapabilityId>();
    case ABIDE_NAMESPACE:
      return std::make_unique<AttributeBytesNameSpacesId>();
    case ABIDE_UNSPECIFIED:
      break;
  }
  HDU_THROW(CPExceptionUnhandledSyntax,
            HDU_DEBUG_CONTEXT_IN("UtilitiesDll\\attributebytes\\AttributeBytesIdFactory",
                                 "AttributeBytesIdFactory::CreateAttributeBytesId"),
            "Unhandled AttributeBytesId type, %s (%ld/0x%lx).", AttributeBytesId::GetTypeDebugDisplayString(type),
            static_cast<long long>(type), static_cast<unsigned long long>(static_cast<unsigned>(type)));
}
