#pragma once
// The built-in sample: the settings a driver would persist for one printer
// queue and one user, across four namespaces and every kind of record.

#include "attributebytes/AttributeBytesNameSpaces.h"

namespace hdutil {

AttributeBytesNameSpaces buildSampleNameSpaces();

}  // namespace hdutil
