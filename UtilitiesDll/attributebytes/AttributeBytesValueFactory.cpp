#include "attributebytes/AttributeBytesValueFactory.h"

#include "DebuggingAndExceptions/CPException.h"
#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

std::unique_ptr<AttributeBytesValue> AttributeBytesValueFactory::CreateAttributeBytesValue(
    AttributeBytesValueEnum type, const IAttributeBytesDebugDisplayHelper&) {
  switch (type) {
    case ABVTE_OPTION:
      return std::make_unique<AttributeBytesOptionValue>();
    case ABVTE_INTEGER:
      return std::make_unique<AttributeBytesIntegerValue>();
    case ABVTE_STRING:
      return std::make_unique<AttributeBytesStringValue>();
    case ABVTE_BOOLEAN:
      return std::make_unique<AttributeBytesBooleanValue>();
    case ABVTE_RANGE:
      return std::make_unique<AttributeBytesRangeValue>();
    case ABVTE_RANGEOFDIMENSION:
      return std::make_unique<AttributeBytesRangeOfDimensionValue>();
    case ABVTE_DIMENSION:
      return std::make_unique<AttributeBytesDimensionValue>();
    case ABVTE_RESOLUTION:
      return std::make_unique<AttributeBytesResolutionValue>();
    case ABVTE_DATABLOB:
      return std::make_unique<AttributeBytesDataBlobValue>();
    case ABVTE_LIST:
      return std::make_unique<AttributeBytesListValue>();
    case ABVTE_DATETIME:
      return std::make_unique<AttributeBytesDateTimeValue>();
    case ABVTE_UNSPECIFIED:
      break;
  }
  HDU_THROW(CPExceptionUnhandledSyntax,
            HDU_DEBUG_CONTEXT_IN("UtilitiesDll\\attributebytes\\AttributeBytesValueFactory",
                                 "AttributeBytesValueFactory::CreateAttributeBytesValue"),
            "Unhandled AttributeBytesValue syntax, %s (%ld/0x%lx).",
            AttributeBytesValue::GetTypeDebugDisplayString(type), static_cast<long long>(type),
            static_cast<unsigned long long>(static_cast<unsigned>(type)));
}

std::unique_ptr<AttributeBytesValue> AttributeBytesValueFactory::CreateAttributeBytesValue(
    AttributeBytesValueEnum type) {
  return CreateAttributeBytesValue(type, NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance());
}
