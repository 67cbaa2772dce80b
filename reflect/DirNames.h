#pragma once

/// A name that directories share with values and entities.

#include "reflect/EntityNames.h"

KOR_NAME(entry, Entry)
KOR_ENTITY_NAME(entry, Entry)
