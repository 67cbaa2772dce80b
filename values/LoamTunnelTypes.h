#pragma once

/// The values in which applications say what they want, and the encoders that turn three of them into chip
/// rows. A value is declared in `values/<Name>.h`; what all of them share stands in reflect/Value.h,
/// reflect/Enumeration.h and reflect/Text.h. Nothing lives here that has state, or that knows an entity.
///
///     AradLifAcMp lif(lifAcMp);
///     lif.vsiIs(100);
///     lif.writeToChipFormat(Hardware::jerichoChip8, buffer);

#include "reflect/Text.h"
#include "values/AradIhpIvectIndex.h"
#include "values/AradIvecEntry.h"
#include "values/AradIvecFormat.h"
#include "values/AradLifEntry.h"
#include "values/AradLifIndex.h"
#include "values/EedbFormat.h"
#include "values/EedbValue.h"
#include "values/EveSources.h"
#include "values/EvecEntry.h"
#include "values/EvecFormat.h"
#include "values/EvecValue.h"
#include "values/IveSources.h"
#include "values/LifType.h"
#include "values/OutAcEntry.h"
#include "values/OutAcFormat.h"
#include "values/OutAcValue.h"
#include "values/TcamSharing.h"
#include "values/TunnelEntries.h"

namespace Hardware::LoamTunnel {

using Kor::sequenceToValue;
using Kor::valueToStrep;

} // namespace Hardware::LoamTunnel
