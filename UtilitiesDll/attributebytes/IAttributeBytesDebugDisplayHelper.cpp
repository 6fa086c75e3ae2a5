#include "attributebytes/IAttributeBytesDebugDisplayHelper.h"

#include <string>

IAttributeBytesDebugDisplayHelper::~IAttributeBytesDebugDisplayHelper() = default;

NoCoreDllsAttributeBytesDebugDisplayHelper::~NoCoreDllsAttributeBytesDebugDisplayHelper() = default;

std::string NoCoreDllsAttributeBytesDebugDisplayHelper::GetFeatureIdDisplayString(long featureId) const {
  return std::to_string(featureId);
}

std::string NoCoreDllsAttributeBytesDebugDisplayHelper::GetValueIdDisplayString(long valueId) const {
  return std::to_string(valueId);
}

std::string NoCoreDllsAttributeBytesDebugDisplayHelper::GetCapabilityTypeDisplayString(short capabilityType) const {
  return std::to_string(capabilityType);
}

std::string NoCoreDllsAttributeBytesDebugDisplayHelper::GetNameSpaceIdDisplayString(long nameSpaceId) const {
  return std::to_string(nameSpaceId);
}

const NoCoreDllsAttributeBytesDebugDisplayHelper& NoCoreDllsAttributeBytesDebugDisplayHelper::GetInstance() noexcept {
  static const NoCoreDllsAttributeBytesDebugDisplayHelper instance;
  return instance;
}
