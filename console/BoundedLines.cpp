#include "console/BoundedLines.h"

#include "console/Failure.h"
#include "runtime/PlainText.h"

#include <iterator>
#include <ostream>
#include <utility>

namespace tool {

BoundedLines::BoundedLines(std::ostream& out, std::size_t most)
    : out_(out), most_(most), room_(most), writer_([this] { write(); }) {}

BoundedLines::~BoundedLines() {
    {
        std::lock_guard const lock(mutex_);
        ends_ = true;
    }
    changed_.notify_one();
    writer_.join();
}

void BoundedLines::add(std::string line) {
    {
        std::lock_guard const lock(mutex_);
        if (room_ == 0) {
            ++lost_;
            ++allLost_;
            return;
        }
        --room_;
        lines_.push_back(std::move(line));
    }
    changed_.notify_one();
}

void BoundedLines::addAll(std::vector<std::string> lines) {
    {
        std::lock_guard const lock(mutex_);
        std::move(lines.begin(), lines.end(), std::back_inserter(lines_));
    }
    changed_.notify_one();
}

bool BoundedLines::drain(std::chrono::milliseconds most) {
    std::unique_lock lock(mutex_);
    ends_ = true;
    changed_.notify_one();
    return ended_.wait_for(lock, most, [this] { return hasEnded_; });
}

bool BoundedLines::isBroken() const {
    std::lock_guard const lock(mutex_);
    return failure_ != nullptr;
}

void BoundedLines::mustBeWhole() const {
    std::lock_guard const lock(mutex_);
    if (failure_ != nullptr) {
        std::rethrow_exception(failure_);
    }
}

U64 BoundedLines::lost() const {
    std::lock_guard const lock(mutex_);
    return allLost_;
}

void BoundedLines::write(std::vector<std::string> const& lines, U64 lost) {
    for (std::string const& line : lines) {
        out_ << Kor::plainText(line) << '\n';
    }
    if (lost != 0) {
        out_ << "-- " << lost << " lines lost\n";
    }
    if (!out_.flush()) { // which has thrown, if it knows why
        throw Broken("cannot write the results");
    }
}

void BoundedLines::write() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return ends_ || !lines_.empty(); });
        std::vector<std::string> taken;
        taken.swap(lines_);
        room_ = most_;
        U64 const lost = std::exchange(lost_, 0);
        bool const isLast = ends_;
        if (failure_ == nullptr) {
            lock.unlock();
            std::exception_ptr failure;
            try {
                write(taken, lost);
            } catch (...) { // told by the thread that has begun it
                failure = std::current_exception();
            }
            lock.lock();
            failure_ = failure;
        }
        if (isLast) {
            hasEnded_ = true;
            ended_.notify_one();
            return;
        }
    }
}

} // namespace tool
