#pragma once

/// TCAM sharing: which policies are wanted on which interface, and what became of each.
///
///     config->requestIs(request, policy);                           // TcamSharingConfig
///     status->response(request).result();                           // TcamSharingStatus, under the same key
///
/// The answer to a request is the one with an equal key; nothing else ties the two. A request without an
/// answer reads as one with the default answer, `tcamSharingInsertDefault`.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "values/TcamSharing.h"

// clang-format off
namespace Hardware::LoamTunnel {

class TcamSharingConfig final
    : public Kor::EntityOf<TcamSharingConfig,
          ValueMap<name::request, TcamSharingRequest, TcamSharingPolicyId>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which policies are wanted on which interface",
        "request", "The policies that are wanted for this interface and chip; absent reads as 0, none");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tcamSharingConfigFactory, TcamSharingConfig, Kor::Name)

class TcamSharingStatus final
    : public Kor::EntityOf<TcamSharingStatus,
          ValueMap<name::response, TcamSharingRequest, TcamSharingResponse>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "What became of the policies that are wanted on interfaces",
        "response", "The answer to the request with this key; absent reads as tcamSharingInsertDefault");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tcamSharingStatusFactory, TcamSharingStatus, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
