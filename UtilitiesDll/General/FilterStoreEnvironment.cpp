#include "General/FilterStoreEnvironment.h"

IFilterSettingsKey::~IFilterSettingsKey() = default;
IFilterStoreEnvironment::~IFilterStoreEnvironment() = default;
