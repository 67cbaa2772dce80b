/// Messages of a process that serves, to readers that read, that do not, and that are gone.

#include "console/Messages.h"

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

/// A pipe, a socket or a terminal for a standard error.
struct Stderr {
    Stderr(int read, int write) : reader(read), context{in, out, err, false, false, 0, write} {
        ::fcntl(reader, F_SETFL, O_NONBLOCK);
    }
    ~Stderr() {
        ::close(reader);
        ::close(context.errDescriptor);
    }
    Stderr(Stderr const&) = delete;
    Stderr& operator=(Stderr const&) = delete;

    static Stderr pipe() {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        return {ends[0], ends[1]};
    }
    static Stderr socket() {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        return {ends[0], ends[1]};
    }
    static Stderr terminal() {
        int const master = ::posix_openpt(O_RDWR | O_NOCTTY);
        EXPECT_EQ(::grantpt(master), 0);
        EXPECT_EQ(::unlockpt(master), 0);
        return {master, ::open(::ptsname(master), O_RDWR | O_NOCTTY)};
    }
    std::string read() const {
        std::string all;
        char bytes[65536];
        for (ssize_t n = 1; n > 0;) {
            n = ::read(reader, bytes, sizeof bytes);
            all.append(bytes, static_cast<std::size_t>(n > 0 ? n : 0));
        }
        return all;
    }

    int reader;
    std::istringstream in;
    std::ostringstream out, err;
    tool::Context context;
};

std::string many(unsigned i) {
    return "message " + std::to_string(i) + ' ' + std::string(2000, '.');
}

TEST(Messages, AReaderThatStopsStopsNobodyAndIsToldWhatItHasMissed) {
    for (auto* const make : {&Stderr::pipe, &Stderr::socket, &Stderr::terminal}) {
        Stderr const to = make();
        tool::Context context = to.context;
        tool::Messages messages(context);
        messages.note("first");
        for (unsigned i = 0; i < 1000; ++i) {
            messages.note(many(i));
        }
        EXPECT_GE(messages.lost(), 1000u - tool::Messages::burst);
        std::string const read = to.read();
        EXPECT_NE(read.find("loamtunnel: first"), std::string::npos);
        std::this_thread::sleep_for(100ms); // for room in the count of a second
        messages.tick();
        messages.tick();
        std::string const rest = to.read();
        EXPECT_NE(rest.find(" messages were not written"), std::string::npos) << rest;
        EXPECT_NE(rest.back(), '.'); // no line is cut
    }
}

TEST(Messages, AReaderThatIsGoneKillsNobody) {
    for (auto* const make : {&Stderr::pipe, &Stderr::socket}) {
        Stderr const to = make();
        tool::Context context = to.context;
        tool::Messages messages(context);
        ::close(to.reader);
        messages.note("to nobody");
        EXPECT_EQ(messages.lost(), 1u);
    }
}

TEST(Messages, WhatIsRepeatedIsCounted) {
    Stderr const to = Stderr::pipe();
    tool::Context context = to.context;
    {
        tool::Messages messages(context);
        for (int i = 0; i < 500'000; ++i) {
            messages.warn("refused");
        }
        messages.warn("\033[2Jother");
        EXPECT_EQ(messages.lost(), 0u);
    }
    EXPECT_EQ(to.read(), "loamtunnel: refused\nloamtunnel: the last message 499999 times more\n"
                         "loamtunnel: ?[2Jother\n");
}

/// The journal reads the standard error, and may have a socket for fields.
struct Journalled {
    Journalled() {
        struct stat status {};
        EXPECT_EQ(::fstat(to.context.errDescriptor, &status), 0);
        std::string const stream = std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino);
        ::setenv("JOURNAL_STREAM", stream.c_str(), 1);
    }
    ~Journalled() {
        ::unsetenv("JOURNAL_STREAM");
        ::unlink(path.c_str());
    }
    Journalled(Journalled const&) = delete;
    Journalled& operator=(Journalled const&) = delete;

    void open() {
        fields = tool::File(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        sockaddr_un at{};
        at.sun_family = AF_UNIX;
        path.copy(at.sun_path, sizeof at.sun_path - 1);
        ASSERT_EQ(::bind(fields.fd(), reinterpret_cast<sockaddr const*>(&at), sizeof at), 0);
    }
    std::string next() const {
        char bytes[8192];
        ssize_t const n = ::recv(fields.fd(), bytes, sizeof bytes, 0);
        return {bytes, static_cast<std::size_t>(n > 0 ? n : 0)};
    }

    Stderr const to = Stderr::socket();
    std::string const path = testing::TempDir() + "loam-journal-" + std::to_string(::getpid());
    tool::File fields;
};

TEST(Messages, TheJournalIsToldWhatIsUrgent) {
    Journalled const journal;
    tool::Context context = journal.to.context;
    {
        tool::Messages messages(context, journal.path);
        messages.note("serving", {{"LOAM_PEER", "mpls"}});
        messages.warn("full");
    }
    EXPECT_EQ(journal.to.read(), "<6>serving\n<4>full\n");
}

TEST(Messages, TheJournalGetsFieldsWhereItTakesThem) {
    Journalled journal;
    journal.open();
    tool::Context context = journal.to.context;
    tool::Messages messages(context, journal.path);
    messages.note("\033[2Jmpls\nis there", {{"LOAM_PEER", "mpls"}});
    messages.fail("full");
    EXPECT_EQ(journal.next(), "MESSAGE=?[2Jmpls?is there\nPRIORITY=6\nSYSLOG_IDENTIFIER=loamtunnel\n"
                              "LOAM_PEER=mpls\n");
    EXPECT_EQ(journal.next(), "MESSAGE=full\nPRIORITY=4\nSYSLOG_IDENTIFIER=loamtunnel\n");
    EXPECT_EQ(context.status, 1);
    // One that does not read stops nobody, and is told what it has missed.
    for (unsigned i = 0; i < 500; ++i) {
        messages.note(many(i));
    }
    EXPECT_GE(messages.lost(), 500u - tool::Messages::burst);
    while (!journal.next().empty()) {
    }
    std::this_thread::sleep_for(100ms); // for room in the count of a second
    messages.tick();
    EXPECT_NE(journal.next().find(" messages were not written"), std::string::npos);
    // It may be started anew.
    ::unlink(journal.path.c_str());
    messages.note("to nobody");
    journal.open();
    std::this_thread::sleep_for(100ms);
    messages.note("again");
    EXPECT_NE(journal.next().find("MESSAGE=again"), std::string::npos);
    EXPECT_EQ(journal.to.read(), "");
}

TEST(Messages, TraceRecordsGoTheSameWay) {
    Stderr const to = Stderr::pipe();
    tool::Context context = to.context;
    Kor::TraceFacility& facility = Kor::traceFacility("MessagesTest");
    {
        tool::Messages const messages(context);
        for (int i = 0; i < 1000; ++i) {
            std::stringstream text;
            text << many(1);
            Kor::traceHelper(&facility, "context", text, 3, true, "Unit.cpp", 7, "function");
        }
        EXPECT_GT(messages.lost(), 0u);
    }
    EXPECT_EQ(to.read().find("MessagesTest:3 Unit.cpp:7 function context message 1"), 0u);
}

} // namespace
