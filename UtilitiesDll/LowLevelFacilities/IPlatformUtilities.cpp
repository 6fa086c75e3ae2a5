#include "LowLevelFacilities/IPlatformUtilities.h"

IPlatformUtilities::~IPlatformUtilities() = default;
