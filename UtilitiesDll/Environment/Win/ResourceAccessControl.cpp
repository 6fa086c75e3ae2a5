// ResourceAccessControl (see ResourceAccessControl.h).

#include "Environment/Win/ResourceAccessControl.h"

ResourceAccessControl::~ResourceAccessControl() = default;
