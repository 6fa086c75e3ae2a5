#pragma once
// IPlatformUtilities: the platform services handed to the exception,
// assertion and error-display facilities, the logging facility and the
// runtime configuration. The driver's implementation is
// MeridianPlatformUtilities.
//
// Virtual operations in slot order: the destructor, then the three below.

#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <string>

class HDU_API IPlatformUtilities {
 public:
  virtual ~IPlatformUtilities();

  // The computer's name, as a narrow (UTF-8) string.
  virtual std::string getComputerNameForLowLevelUtilities() = 0;
  // Shows a debug message (title and text) to the developer. Must not throw
  // and must keep the thread's last-error value.
  virtual void displayDebugMessageForLowLevelUtilities(const char* title, const char* text) const = 0;
  // The text of the feature-change debugger's configuration file found from a
  // location hint; empty when there is none.
  virtual CXString GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(const CXString& locationHint) = 0;

 protected:
  IPlatformUtilities() = default;
  IPlatformUtilities(const IPlatformUtilities&) = default;
  IPlatformUtilities& operator=(const IPlatformUtilities&) = default;
};
