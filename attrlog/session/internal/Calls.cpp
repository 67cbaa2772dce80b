#include "attrlog/session/internal/Parts.h"

namespace Kor::NboAttrLog {

/// What a piece of a call takes beside its verb and its text.
constexpr U32 pieceFrame = 32;
/// How many pieces of calls leave before it is the entities' turn.
constexpr int pieces = 8;

constexpr U64 moreBit = 1, errorBit = 2;

void Session::call(Name const& verb, String8 const& argument, Reply reply, CallOrder order) {
    Calls& calls = impl_->calls;
    SessionCore& core = impl_->core;
    core.requireOpen();
    requireVerb(verb);
    if (argument.length() > maxCallText) {
        throwRangeException(
            format("an argument has at most %u bytes, not %u", maxCallText, argument.length()));
    }
    if (calls.replies_.size() + calls.waiting_.size() >= maxCalls) {
        throwRangeException(format("%u requests wait for their answers already", maxCalls));
    }
    U32 const id = ++calls.last_;
    calls.waiting_[id] = {
        .id = id, .verb = verb, .text = std::string(argument.view()), .reply = std::move(reply)};
    if (order == CallOrder::overtakes) {
        calls.ready(id);
    } else {
        core.whenEstablished([&calls, id] { calls.core_.afterChanges([&calls, id] { calls.ready(id); }); });
    }
}

void Calls::ready(U32 id) {
    Call& call = waiting_.at(id);
    replies_.emplace_back(id, std::move(call.reply));
    requests_.push_back(std::move(call));
    waiting_.erase(id);
    core_.hasRequests = true;
    core_.out().stir();
}

void Calls::write() {
    for (int i = 0; i < pieces && hasWork() && core_.hasRoom(); ++i) {
        // Turn by turn, so that two sides that ask much both get their answers.
        bool const isAnswer = requests_.empty() || (!answers_.empty() && i % 2 == 0);
        auto& queue = isAnswer ? answers_ : requests_;
        writePiece(isAnswer ? answerAttribute : requestAttribute, queue.front());
        if (queue.front().sent == queue.front().text.size()) {
            queue.pop_front();
        }
    }
    core_.hasRequests = !requests_.empty();
}

void Calls::writePiece(AttributeId attribute, Call& call) {
    std::size_t const most = core_.out().limits().record - pieceFrame - call.verb.length();
    std::string_view const piece = std::string_view(call.text).substr(call.sent, most);
    call.sent += piece.size();
    U64 const bits = (call.sent < call.text.size() ? moreBit : 0) | (call.isError ? errorBit : 0);
    if (attribute == requestAttribute) {
        core_.write(attribute, call.id, bits, call.verb, String8(piece));
    } else {
        core_.write(attribute, call.id, bits, String8(piece));
    }
}

void Calls::readRequest(In& in) {
    auto const [id, bits, verb, piece] = SessionCore::read<U32, U64, Name, String8>(in);
    if (!requestIn_) {
        if (answers_.size() >= Session::maxCalls) {
            fault(format("peer has more than %u requests under way", Session::maxCalls));
        }
        if (verb.empty() || !isSoundName(verb.view(), maxVerbLength)) {
            fault("record has an unsound verb");
        }
        requestIn_.emplace(Call{.id = id, .verb = verb});
    } else if (requestIn_->id != id) {
        fault("record is of another request than the one that has begun");
    }
    if (takePiece(requestIn_->text, piece, bits)) {
        Call const request = std::move(*requestIn_);
        requestIn_.reset();
        answers_.push_back(answerTo(request));
    }
}

Calls::Call Calls::answerTo(Call const& request) {
    Call answer{.id = request.id, .isError = true};
    auto const* const handler = lookUp(core_.service.handlers(), request.verb);
    if (handler == nullptr) {
        answer.text = format("there is no request \"%s\"", request.verb.charPtr()).view();
        return answer;
    }
    try {
        auto const handle = *handler; // which may replace itself
        answer.text = handle(core_.self, String8(request.text)).view();
        answer.isError = answer.text.size() > maxCallText;
        if (answer.isError) {
            answer.text =
                format("the answer to \"%s\" is longer than %u bytes", request.verb.charPtr(), maxCallText)
                    .view();
        }
    } catch (std::exception const& exception) {
        answer.text = std::string_view(exception.what()).substr(0, maxCallText);
    }
    return answer;
}

void Calls::readAnswer(In& in) {
    auto const [id, bits, piece] = SessionCore::read<U32, U64, String8>(in);
    if (replies_.empty() || replies_.front().first != id) {
        fault("record answers another request than the next one");
    }
    if (takePiece(answerIn_, piece, bits)) {
        String8 const text(answerIn_);
        answerIn_.clear();
        reply((bits & errorBit) == 0, text);
    }
}

void Calls::reply(bool ok, String8 const& text) {
    Session::Reply told = std::move(replies_.front().second);
    replies_.pop_front();
    tell(std::move(told), ok, text);
}

/// Whether the text is whole.
bool Calls::takePiece(std::string& text, String8 const& piece, U64 bits) {
    if (text.size() + piece.length() > maxCallText) {
        fault(format("peer has a call of more than %u bytes", maxCallText));
    }
    text += piece.view();
    return (bits & moreBit) == 0;
}

void Calls::ended(String8 const& reason) {
    requests_.clear();
    answers_.clear();
    while (!replies_.empty()) {
        reply(false, reason);
    }
    while (!waiting_.empty()) {
        tell(std::move(waiting_.extract(waiting_.begin()).mapped().reply), false, reason);
    }
}

} // namespace Kor::NboAttrLog
