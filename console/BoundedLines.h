#pragma once

/// Lines for a reader who may be slow.

#include "runtime/Types.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <iosfwd>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tool {

/// They wait in a bounded queue, and a thread of its own writes them.
/// What does not fit is lost and counted; the one that adds never waits.
class BoundedLines {
public:
    BoundedLines(std::ostream& out, std::size_t most);
    /// Waits until what is in the queue is written.
    ~BoundedLines();
    /// Waits at most that long until all is written; nothing may be added any more. Whether it was.
    bool drain(std::chrono::milliseconds most);
    BoundedLines(BoundedLines const&) = delete;
    BoundedLines& operator=(BoundedLines const&) = delete;

    void add(std::string line);
    /// Lines that are not lost, however many: what a place has at first is in memory anyway.
    void addAll(std::vector<std::string> lines);
    /// The stream takes nothing more.
    bool isBroken() const;
    /// What the stream has failed with, if it has.
    void mustBeWhole() const;
    Kor::U64 lost() const;

private:
    void write();
    void write(std::vector<std::string> const& lines, Kor::U64 lost);

    std::ostream& out_;
    std::size_t most_;
    std::mutex mutable mutex_;
    std::condition_variable changed_, ended_;
    std::vector<std::string> lines_;
    std::size_t room_; // for lines that may be lost
    Kor::U64 lost_ = 0;
    Kor::U64 allLost_ = 0;
    bool ends_ = false;
    bool hasEnded_ = false;
    std::exception_ptr failure_;
    std::thread writer_;
};

} // namespace tool
