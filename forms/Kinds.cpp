#include "forms/Kind.h"
#include "forms/Text.h"
#include "tables/EvecTable.h"
#include "tables/LifTable.h"
#include "tables/OutAcBank.h"
#include "values/LoamTunnelTypes.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Kor::Forms {

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Hardware::layout::chips;

/// The kind of V, whose entries become rows of that variant of Row.
template <class V, class Row>
Kind kindOf(U8 variant, std::vector<Limit> limits = {}, std::string alias = {}) {
    KorType const& type = *V::_fwkType();
    return {
        shortName(type),
        std::move(alias),
        tableInfo(Row::tableName),
        variant,
        std::move(limits),
        &type,
        [](GenericIf const& value, ChipType chip, U8* row) { unbox<V>(value).writeToChipFormat(chip, row); },
        [](GenericIf const& value) -> std::optional<AradLifEntry> {
            if constexpr (std::derived_from<V, AradLifEntry>) {
                return unbox<V>(value);
            } else {
                return std::nullopt;
            }
        }};
}

/// A view of a LIF entry, whose type is its other name and gives the variant.
template <class View>
Kind lif(LifType type, std::vector<Limit> limits = {}) {
    return kindOf<View, LifTable>(View(type).variant(), std::move(limits),
                                  std::string(stringValue(type).view()));
}

} // namespace

std::vector<Kind> const& allKinds() {
    static std::vector<Kind> const all{
        lif<AradLifAcP2pToAc>(lifAcP2pToAc, {{"outLif", 0xffff, chips(5, 7, 8, 9, 10)}}),
        lif<AradLifAcMp>(lifAcMp),
        lif<AradLifAcP2pToPwe>(lifAcP2pToPwe),
        lif<AradLifPweToP2p>(lifLabelPweP2p),
        lif<AradLifLabelProtocolOrLsp>(lifLabelProtocolOrLsp),
        kindOf<OutAcValue, OutAcBank>(
            1, {{"ac0EntryFormat", 3, chips(4, 5, 7)}, {"ac1EntryFormat", 3, chips(4)}}),
        kindOf<EvecValue, EvecTable>(0),
    };
    return all;
}

std::string_view tagOf(KorType const& type) {
    auto const found = std::ranges::find(allKinds(), &type, &Kind::type);
    return found != allKinds().end() ? found->alias : std::string_view();
}

KorType const* typeOfTag(std::string_view tag) {
    auto const found = std::ranges::find(allKinds(), tag, &Kind::alias);
    return tag.empty() || found == allKinds().end() ? nullptr : found->type;
}

std::vector<Field> Kind::fields() const {
    std::vector<Field> all;
    for (Field const& each : fieldsOf(*type)) {
        bool const isTag = !alias.empty() && each.isStored && each.type->isEnumType();
        if (!isTag && each.most != 0) {
            all.push_back(each);
        }
    }
    return all;
}

Kind const& kindNamed(std::string_view word) {
    std::vector<std::string> known;
    for (Kind const& kind : allKinds()) {
        if (kind.isCalled(word)) {
            return kind;
        }
        known.push_back(kind.name);
    }
    throw WrongUsage("no kind of entry " + shown(word) + suggest(word, known));
}

} // namespace Kor::Forms
