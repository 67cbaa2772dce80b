/// Feeds what a peer answers to the commands of the program: counters, trace levels, trace records, the
/// schema that a shell completes from, what a driver says of a request and of its rows, and entities for a
/// tree. What is printed must be plain lines, or JSON where that is asked for, and what is refused one line.
///
///     AnswersFuzz -max_total_time=20 fuzz/corpus/AnswersFuzz
///
/// The first byte of an input is the command, the rest the answer, or the records that the entities come in.
/// One connection, to a thread of this process, serves all inputs.

#include "console/Completion.h"
#include "console/Live.h"
#include "console/Results.h"
#include "forms/Path.h"
#include "fuzz/Options.h"
#include "fuzz/Sessions.h"
#include "link/Listener.h"
#include "runtime/PlainText.h"
#include "tools/Audit.h"
#include "tools/Commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>

using namespace Kor::NboAttrLog;

namespace {

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// A peer that gives the same answer to all that it is asked.
class Peer {
public:
    Peer()
        : address_(std::filesystem::temp_directory_path() / ("loam-answers-" + std::to_string(::getpid()))) {
        // What it says of its types is found out here: type objects are for one thread at a time.
        std::thread([this, config = tool::sessionConfig("answers")] { serve(config); }).detach();
    }
    std::string const& address() const { return address_; }
    void answerIs(std::string answer) {
        std::lock_guard const lock(mutex_);
        answer_ = std::move(answer);
    }

private:
    void serve(SessionConfig const& session) {
        auto const service = Kor::makePtr<Service>();
        for (char const* const verb : {"stats", "trace", "traceRecords", "schema", "explain"}) {
            service->handlerIs(Kor::Name(verb), [this](Session&, Kor::String8 const&) {
                std::lock_guard const lock(mutex_);
                return Kor::String8(answer_);
            });
        }
        Kor::Link::Loop loop;
        Kor::Link::ListenerConfig config;
        config.service = service;
        config.session = session;
        Kor::Link::Listener const listener(loop, Kor::Link::Address::parse(address_), config);
        loop.run();
    }

    std::string address_;
    std::mutex mutex_;
    std::string answer_;
};

void expectPlain(std::string const& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        check(Kor::plainText(line) == line);
    }
}

/// Each line is an answer to the request `rows`; what is behind the last one is none.
void audit(std::string_view answers) {
    tool::ChipRows const rows = tool::chipRows([&](std::string const&) {
        std::string_view const answer = answers.substr(0, answers.find('\n'));
        answers.remove_prefix(std::min(answers.size(), answer.size() + 1));
        return tool::parseJson(answer);
    });
    for (auto const& [place, row] : rows.rows) {
        check(row.differs() != tool::findingsIn(row).empty());
    }
}

/// The entities of the records, as a tree.
void tree(tool::Output const& output, std::string_view records, std::ostream& out) {
    auto const demuxer = Kor::makePtr<Demuxer>(Side::accepting, StreamLimits{1 << 14, 1024, 64});
    tool::Roots roots;
    demuxer->rootHookIs([&](Kor::Ptr<Kor::Entity> const& offered) {
        std::string const name = "t" + std::to_string(roots.all().size());
        roots.add(name, tool::boxOfEntity(offered));
        return offered;
    });
    std::span<Kor::U8 const> bytes(reinterpret_cast<Kor::U8 const*>(records.data()), records.size());
    for (bool isSound = true; isSound && !bytes.empty();) {
        std::size_t const taken = demuxer->in()->feed(bytes);
        bytes = bytes.subspan(taken);
        isSound = demuxer->receive() && taken != 0;
    }
    tool::Values values(out, output, &roots);
    for (auto const& [name, box] : roots.all()) {
        values.tree(roots.at(name), 16);
    }
    values.end();
    demuxer->close("done");
}

/// A command alone: the whole program would be made anew for each input.
void run(tool::Command const& command, tool::Context& context, std::vector<std::string> words) {
    CLI::App app;
    command.addTo(app, context);
    std::ranges::reverse(words); // it wants the last one first
    app.parse(std::move(words));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
    fuzz::optionsAre(*count, *arguments, {"-entropic=0", "-max_len=1024"}); // as in ScriptFuzz.cpp
    return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(char* data, std::size_t size, std::size_t most);

// Of trees some are made anew, lest all are as few bytes as none.
extern "C" std::size_t LLVMFuzzerCustomMutator(char* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
    if (seed % 64 == 0) {
        std::vector<Kor::U8> bytes = fuzz::session(seed);
        bytes[0] = static_cast<Kor::U8>(6 + seed / 64 % 4 * 8);
        size = std::min(bytes.size(), most);
        std::copy_n(bytes.begin(), size, data);
    }
    return LLVMFuzzerMutate(data, size, most);
}

extern "C" int LLVMFuzzerTestOneInput(char const* data, std::size_t size) {
    static auto* const peer = new Peer; // whose thread goes on
    static auto* const live = new tool::Live({peer->address(), std::chrono::seconds(10)}, "fuzz");
    static auto* const completer = new tool::Completer(
        {{"schema", {tool::Argument::type}, {}}, {"trace", {tool::Argument::facility}, {}}});
    if (size == 0) {
        return 0;
    }
    unsigned const command = static_cast<unsigned char>(data[0]);
    std::string_view const answer(data + 1, size - 1);
    peer->answerIs(std::string(answer));
    std::istringstream in;
    std::ostringstream out, err;
    tool::Context context{in, out, err, false, false, 0, -1, -1, -1, live};
    tool::Output output;
    output.format = static_cast<tool::Format>(command / 8 % 4);
    char const* const formats[]{"--format=table", "--format=table", "--format=json", "--format=csv"};
    std::string const format = formats[command / 8 % 4];
    bool isRecords = false;
    try {
        switch (command % 8) {
        case 0:
            run(tool::statsCommand, context, {"stats", format});
            break;
        case 1:
            run(tool::traceCommand, context, {"trace", format});
            break;
        case 2:
            isRecords = true;
            run(tool::traceCommand, context, {"trace", "--records", format});
            break;
        case 3:
            completer->forget();
            for (char const* const line : {"schema A", "trace L", "get x"}) {
                for (std::string const& word : completer->at(line, *live).words) {
                    check(word.starts_with(line[0] == 's' ? "A" : "L"));
                }
            }
            break;
        case 4:
            run(tool::explainCommand, context,
                output.format == tool::Format::text ? std::vector<std::string>{"explain", "x"}
                                                    : std::vector<std::string>{"explain", "x", format});
            break;
        case 5:
            audit(answer);
            return 0;
        default:
            tree(output, answer, out);
        }
        if (output.format == tool::Format::json && !isRecords) { // of which there is one a line
            tool::parseJson(out.str());
        }
    } catch (tool::Refused const& refused) {
        check(std::string_view(refused.what()).find('\n') == std::string_view::npos);
        live->session(); // the connection is good for all answers
    }
    expectPlain(out.str());
    expectPlain(err.str());
    return 0;
}
