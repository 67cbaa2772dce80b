#pragma once

/// The owner of one family of rows on a chip: it gives what applications ask for a place, and writes the rows
/// and answers once the place is kept. The driver has one for each family (demo/ChipDriver.h).
///
///     struct Ground : tool::RowOwner::Ground { ... };
///     auto const owner = tool::ownerOf<tool::OutAcs>(chip, fap, ground);
///     owner->offerTo(*service);     // "outAcConfig" takes pushes, "outAcStatus" has the answers
///     ... ground.add(step): the step is to be kept; then owner->show(step), or owner->undo(step) ...
///
/// An application pushes its requests. What it asks for gets the lowest free index in its part of the family,
/// or the slot that it names; what it does not ask for any more loses it. What has no row on this chip, or no
/// place, gets no answer, and is reported. One thread.

#include "attrlog/session/Session.h"
#include "demo/ChipImage.h"
#include "demo/Family.h"
#include "demo/PlaceStore.h"
#include "forms/Json.h"

#include <memory>
#include <string>

namespace tool {

class RowOwner {
public:
    /// What an owner stands on. It outlives the owner.
    struct Ground {
        virtual ~Ground() = default;
        virtual ChipImage& image() = 0;
        /// What an operator should know: a line.
        virtual void report(std::string const& message) = 0;
        /// A step to be kept, in its order.
        virtual void add(PlaceStep const& step) = 0;
        /// Why nothing can be written; empty while all can be.
        virtual std::string failure() const = 0;
        /// How many fences of a peer wait to be answered.
        virtual std::size_t fences(Kor::NboAttrLog::Session const& peer) const = 0;
    };

    virtual ~RowOwner() = default;

    virtual char const* name() const = 0;
    /// Whether a text begins with one of the roots.
    virtual bool isPathOf(std::string const& text) const = 0;
    /// The type of what is asked for, by which it is found again.
    virtual Kor::KorType const& keyType() const = 0;
    virtual ChipTable table() const = 0;

    /// Takes what is kept from before; Refused for what cannot be. Writes nothing.
    virtual void takeUp(PlaceStep const& kept) = 0;
    virtual void offerTo(Kor::NboAttrLog::Service& service) = 0;
    /// When an application was told of its place: as it is shown, or before the driver's start.
    enum class Told { now, before };
    /// Writes the row of what has been kept, then answers: whoever reads an index can use it.
    virtual void show(PlaceStep const& step, Told told = Told::now) = 0;
    /// As it was before a step that could not be kept; the latest first.
    virtual void undo(PlaceStep const& step) = 0;
    /// How many requests could not be kept.
    virtual std::size_t failed() const = 0;
    /// Everything is asked for again that could not be kept.
    virtual void retry() = 0;
    /// Releases what applications whose requests are completely there do not ask for.
    virtual void settle() = 0;
    /// Adds what a peer has asked for in vain, and says why of one.
    virtual void countRefused(Kor::NboAttrLog::Session const& peer, std::size_t& count,
                              std::string& why) const = 0;

    virtual U64 placed() const = 0;
    /// How often a request was refused.
    virtual U64 refused() const = 0;
    /// How many requests have no place now.
    virtual U64 withoutPlace() const = 0;

    /// Members of an object that tell where the key of that text is; of one application, or of all.
    virtual void explain(JsonWriter& json, std::string const& key, std::optional<App> app) const = 0;

    /// The first row at that number or behind it that somebody has.
    virtual std::optional<U32> nextRow(U32 from) const = 0;
    /// Members of an object that tell who has a row, what should be in it, and what is in the image.
    virtual void describeRow(JsonWriter& json, U32 row) const = 0;
};

/// How many requests of an application that can have no place are borne with. One more, and its peer is told
/// so and cut off.
inline constexpr std::size_t mostRefused = 10'000;

template <class Family>
std::unique_ptr<RowOwner> ownerOf(Hardware::ChipType chip, U32 fap, RowOwner::Ground& ground);

/// "vtAppMpls".
std::string appText(App app);

} // namespace tool
