#pragma once

/// The values in which applications say what they want, and the encoders that turn three of them into chip
/// rows. A value is declared in values/<Name>.h; what all of them share stands in reflect/Value.h and
/// reflect/Enumeration.h. Nothing lives here that has state, or that knows an entity.

#include "values/AradLifEntry.h"
#include "values/LifType.h"
