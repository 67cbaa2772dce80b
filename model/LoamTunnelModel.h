#pragma once

/// The entities through which applications and the owners of chip resources talk: requests and results. An
/// entity is a declaration and nothing else; what all of them share stands in reflect/entity/EntityPattern.h.
/// Nothing lives here that turns a request into a result: docs/applications.md shows how the two sides do.
///
///     auto const config = Kor::makePtr<LifAppConfig>(vtAppVxlan);
///     config->reqCountInc(entry, 1);                       // one more asks for this LIF

#include "model/EvecApps.h"
#include "model/EvecStatus.h"
#include "model/FapTypeProperties.h"
#include "model/IvecApps.h"
#include "model/IvectApps.h"
#include "model/LifApps.h"
#include "model/LoamTunnelCommonSmData.h"
#include "model/OutAcs.h"
#include "model/Tags.h"
#include "model/TapAggNormalFapMask.h"
#include "model/TcamSharingEntities.h"
#include "model/Tunnels.h"
