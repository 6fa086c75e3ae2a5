#pragma once
// MeridianTempFolders: the driver's temporary folders (Windows only).
//
// The driver's temporary folder is "<Windows folder>\Temp\MeridianDriver\<user>":
// the machine's temporary folder rather than the user's own %TEMP%, because
// the two sides of a print job must meet there: the user's application (with
// the user's %TEMP%) and the spooler or print pipeline (running as a service
// and impersonating the user, with the service's %TEMP%). <user> is the name
// of the user the calling thread runs as (GetUserNameW, so an impersonating
// thread finds the impersonated user's folder).
//
// A folder that this class creates gets a protected access list: full control
// for the local system, the administrators and the user whose token the
// thread carries; nobody else. An existing folder is used as it is.
//
// Garbage collection: GetOrCreateAndGcMeridianDriverTempFolder deletes the
// files of the folder whose last write is older than kFileLifetimeDays days
// (job files left behind by jobs that never reached the spooler side).

#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

class HDU_API MeridianTempFolders {
 public:
  enum : unsigned { kFileLifetimeDays = 7 };

  // "<Windows folder>\Temp"; throws CPExceptionOperatingSystemFailure when the
  // Windows folder cannot be read.
  static CXString GetMachineTempFolder();
  // The driver's temporary folder of the calling thread's user, without a
  // trailing "\"; empty when it does not exist. Never creates anything.
  static CXString GetMeridianDriverTempFolder();
  // The same folder, created (with its parent) when missing, after deleting
  // files older than kFileLifetimeDays. Throws CPExceptionFile when the
  // folder cannot be created.
  static CXString GetOrCreateAndGcMeridianDriverTempFolder();
  // The folder's path whether or not it exists; throws
  // CPExceptionUserFailure when the user's name cannot be read.
  static CXString GetMeridianDriverTempFolderPath();
  // Deletes the files (not folders) directly in `folder` whose last write is
  // older than `maximumAgeSeconds`; returns how many were deleted.
  static unsigned DeleteFilesOlderThan(const CXString& folder, unsigned long long maximumAgeSeconds);
};
