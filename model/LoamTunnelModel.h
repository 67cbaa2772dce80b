#pragma once

/// The entities through which applications and the owners of chip resources talk: requests and results. An
/// entity is a declaration and nothing else; what all of them share stands in reflect/EntityPattern.h. Nothing
/// lives here that turns a request into a result.

#include "model/EvecStatus.h"
#include "model/FapTypeProperties.h"
#include "model/LifApps.h"
