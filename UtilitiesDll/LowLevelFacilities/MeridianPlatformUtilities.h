#pragma once
// MeridianPlatformUtilities: the driver's platform services.
//
// - The computer name comes from the platform layer.
// - Debug messages go to the debugger channel (OutputDebugStringA; standard
//   error on POSIX) as the title on one line, then the text, ending in a line
//   break. A debugger shows at most about 4 KB of one OutputDebugString call
//   (the DBWIN buffer is 4,096 bytes with the process id in it), so a longer
//   message is written in pieces of at most kMaximumDebuggerChannelPiece
//   characters, cut after a line break where one is near.
// - The feature-change debugger's configuration file: when the hint names an
//   existing regular file, that file is read (UTF-8, with or without a byte
//   order mark, or UTF-16 little-endian with its mark; files larger than
//   16 MiB are refused); otherwise the result is empty.

#include "LowLevelFacilities/IPlatformUtilities.h"
#include "hdUtilitiesExport.h"

class HDU_API MeridianPlatformUtilities : public IPlatformUtilities {
 public:
  enum : unsigned { kMaximumDebuggerChannelPiece = 4000 };
  enum : unsigned long { kMaximumConfigurationFileBytes = 16UL * 1024UL * 1024UL };

  MeridianPlatformUtilities() = default;
  ~MeridianPlatformUtilities() override;

  std::string getComputerNameForLowLevelUtilities() override;
  void displayDebugMessageForLowLevelUtilities(const char* title, const char* text) const override;
  CXString GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(const CXString& locationHint) override;
};
