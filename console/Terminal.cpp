#include "console/Terminal.h"

#include "runtime/PlainText.h"

#include <algorithm>
#include <ostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool {

bool isTerminal(int descriptor) {
    return descriptor >= 0 && ::isatty(descriptor) == 1;
}

TerminalSize terminalSize(int descriptor) {
    winsize size{};
    if (descriptor < 0 || ::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 ||
        size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

std::string fitting(std::string_view text, unsigned columns) {
    std::string plain = Kor::plainText(text);
    std::string_view const all = plain;
    std::size_t end = 0;
    for (std::size_t used = 0; end < all.size();) {
        std::size_t const bytes = Kor::characterLength(all.substr(end));
        used += bytes < 3 ? 1 : 2; // as wide as such a character may be
        if (bytes == 0 || used > columns) {
            break;
        }
        end += bytes;
    }
    plain.resize(end);
    return plain;
}

Progress::Progress(Context& context, When when)
    : context_(context),
      isShown_(isTerminal(context.errDescriptor) && (when == always || !isTerminal(context.outDescriptor))) {
    if (isShown_) {
        context_.giveWay = [this] { wipe(); };
    }
}

void Progress::end() {
    if (std::exchange(isShown_, false)) {
        wipe();
        context_.giveWay = nullptr;
    }
}

void Progress::show(std::string const& text) {
    next_ = Clock::now() + std::chrono::milliseconds(200);
    isThere_ = true;
    // the last column stays free, lest the terminal goes on to the next line
    context_.err << "\r\033[K" << fitting(text, terminalSize(context_.errDescriptor).columns - 1)
                 << std::flush;
}

void Progress::wipe() {
    if (std::exchange(isThere_, false)) {
        context_.err << "\r\033[K" << std::flush;
    }
}

void drawPage(std::ostream& out, std::vector<std::string> const& lines, TerminalSize size) {
    out << "\033[H";
    std::size_t const count = std::min<std::size_t>(lines.size(), size.rows - 1);
    for (std::size_t i = 0; i < count; ++i) {
        out << fitting(lines[i], size.columns - 1) << "\033[K\r\n";
    }
    out << "\033[J" << std::flush;
}

} // namespace tool
