#pragma once

#include "attrlog/session/internal/SessionCore.h"

#include <map>
#include <optional>
#include <string>

namespace Kor::NboAttrLog::detail {

/// A request or an answer on its way.
struct Call {
    U32 id = 0;
    Name verb;
    std::string text;
    std::size_t sent = 0;
    bool isError = false;
};

/// Requests to the peer, and the answers to its own. Both go in pieces that fit a record.
class Calls {
public:
    explicit Calls(SessionCore& core) : core_(core) {}

    void request(Name const& verb, String8 const& argument, Session::Reply reply, CallOrder order);
    /// A few pieces, so that the entities have their turn, too.
    void write();
    bool hasWork() const { return !requests_.empty() || !answers_.empty(); }

    void readRequest(In& in);
    void readAnswer(In& in);
    /// Every request that waits is answered with the reason.
    void ended(String8 const& reason);
    void drop();

private:
    void ready(U32 id);
    void writePiece(AttributeId attribute, Call& call);
    Call answerTo(Call const& request);
    void reply(bool ok, String8 const& text);
    static bool takePiece(std::string& text, String8 const& piece, U64 bits);

    SessionCore& core_;
    U32 last_ = 0;
    /// Those that wait for changes made before them.
    struct Waiting {
        Call call;
        Session::Reply reply;
    };
    std::map<U32, Waiting> waiting_;
    /// In the order in which the requests go out.
    std::deque<std::pair<U32, Session::Reply>> replies_;
    std::deque<Call> requests_, answers_;
    std::optional<Call> requestIn_;
    std::string answerIn_;
};

} // namespace Kor::NboAttrLog::detail
