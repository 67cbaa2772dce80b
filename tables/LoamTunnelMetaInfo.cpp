#include "tables/LoamTunnelMetaInfo.h"

namespace Hardware {

template class RowOf<LifTable, layout::LifTableSheet>;
template class RowOf<OutAcBank, layout::OutAcBankSheet>;
template class RowOf<EvecTable, layout::EvecTableSheet>;
template class RowOf<IngressVECTable, layout::IngressVECTableSheet>;
template class RowOf<EpniIvecTable, layout::EpniIvecTableSheet>;
template class RowOf<EgqIvecTable, layout::EgqIvecTableSheet>;
template class RowOf<TcamBankTable, layout::TcamBankTableSheet>;
template class RowOf<TcamActionTable, layout::TcamActionTableSheet>;
template class RowOf<EpniIsidTable, layout::EpniIsidTableSheet>;
template class RowOf<IsemMgmtReq, layout::IsemMgmtReqSheet>;
template class RowOf<EsemMgmtReq, layout::EsemMgmtReqSheet>;

} // namespace Hardware
