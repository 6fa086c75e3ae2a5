#pragma once
// IAttributeBytesDebugDisplayHelper: turns the numbers inside attribute-bytes
// ids into readable names for debug displays and dumps.
//
// A module that knows its features (for example from the device's
// capabilities) implements this to show "PageMediaSize" instead of "5". The
// library's own NoCoreDllsAttributeBytesDebugDisplayHelper knows no names and
// shows every number in decimal; it is what the library uses wherever no
// helper is given (record parsing, exception messages).
//
// The id classes build their display texts around what the helper returns:
//   Feature(<feature>)            NewFeature('<name>')
//   Value(<value>)                NewValue('<name>')
//   ListItem(<index>)             NameSpace(<namespace>)
//   Capability(<type>, Feature(<feature>))
//   NewCapability(<type>, NewFeature('<name>'))

#include "hdUtilitiesExport.h"

#include <string>

class HDU_API IAttributeBytesDebugDisplayHelper {
 public:
  virtual ~IAttributeBytesDebugDisplayHelper();

  virtual std::string GetFeatureIdDisplayString(long featureId) const = 0;
  virtual std::string GetValueIdDisplayString(long valueId) const = 0;
  virtual std::string GetCapabilityTypeDisplayString(short capabilityType) const = 0;
  virtual std::string GetNameSpaceIdDisplayString(long nameSpaceId) const = 0;

 protected:
  IAttributeBytesDebugDisplayHelper() = default;
  IAttributeBytesDebugDisplayHelper(const IAttributeBytesDebugDisplayHelper&) = default;
  IAttributeBytesDebugDisplayHelper& operator=(const IAttributeBytesDebugDisplayHelper&) = default;
};

// The plain helper: every number in decimal.
class HDU_API NoCoreDllsAttributeBytesDebugDisplayHelper : public IAttributeBytesDebugDisplayHelper {
 public:
  NoCoreDllsAttributeBytesDebugDisplayHelper() = default;
  ~NoCoreDllsAttributeBytesDebugDisplayHelper() override;

  std::string GetFeatureIdDisplayString(long featureId) const override;
  std::string GetValueIdDisplayString(long valueId) const override;
  std::string GetCapabilityTypeDisplayString(short capabilityType) const override;
  std::string GetNameSpaceIdDisplayString(long nameSpaceId) const override;

  // A process-wide instance (the helper has no state).
  static const NoCoreDllsAttributeBytesDebugDisplayHelper& GetInstance() noexcept;
};
