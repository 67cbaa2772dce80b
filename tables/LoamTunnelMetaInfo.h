#pragma once

/// The chip tables: one class a table, each a data sheet and nothing else. How a row is used stands in
/// chip/Row.h; what a sheet may say in chip/Layout.h. Nothing lives here that is not about the layout of a
/// table.
///
///     U8 buffer[16] = {};
///     Hardware::LifTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 1);
///     row.vsiIs(100);

#include "tables/EgqIvecTable.h"
#include "tables/EpniIsidTable.h"
#include "tables/EpniIvecTable.h"
#include "tables/EsemMgmtReq.h"
#include "tables/EvecTable.h"
#include "tables/IngressVECTable.h"
#include "tables/IsemMgmtReq.h"
#include "tables/LifTable.h"
#include "tables/OutAcBank.h"
#include "tables/TcamActionTable.h"
#include "tables/TcamBankTable.h"

namespace Hardware {

template <class... Row>
struct TableList {};

/// Every table, for code that handles all of them alike.
using AllTables = TableList<LifTable, OutAcBank, EvecTable, IngressVECTable, EpniIvecTable, EgqIvecTable,
                            TcamBankTable, TcamActionTable, EpniIsidTable, IsemMgmtReq, EsemMgmtReq>;

} // namespace Hardware
