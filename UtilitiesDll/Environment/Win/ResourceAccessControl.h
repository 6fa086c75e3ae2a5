#pragma once
// ResourceAccessControl: the common base of objects that stand for one
// protected system resource (a registry key, a file, a printer) and open it
// on first use. The handle is opened by the first GetHandle() and kept for the
// object's life; the subclass decides how the resource is opened and with
// which rights. Objects are used by one thread at a time.

#include "hdUtilitiesExport.h"

#include <windows.h>

class HDU_API ResourceAccessControl {
 public:
  virtual ~ResourceAccessControl();
  ResourceAccessControl(const ResourceAccessControl&) = delete;
  ResourceAccessControl& operator=(const ResourceAccessControl&) = delete;

  // The resource's handle, opened on the first call.
  virtual HANDLE GetHandle() = 0;

 protected:
  ResourceAccessControl() = default;
};
