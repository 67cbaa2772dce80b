#pragma once

/// A name that directories share with values and entities.

#include "reflect/Names.h"

KOR_NAME(entry, Entry, entity)
