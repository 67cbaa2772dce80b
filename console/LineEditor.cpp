#include "console/LineEditor.h"

#include "runtime/PlainText.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

#ifdef LOAM_HAS_LIBEDIT
#include <clocale>
#include <cwchar>
#include <histedit.h>
#endif

namespace tool {

#ifdef LOAM_HAS_LIBEDIT

namespace {

/// Where the history is kept: a file of the user's own state. Empty where there is no place for it.
std::string historyFile() {
    char const* const state = std::getenv("XDG_STATE_HOME");
    char const* const home = std::getenv("HOME");
    std::filesystem::path const folder = state != nullptr && state[0] == '/' ? std::filesystem::path(state)
                                         : home != nullptr && home[0] == '/'
                                             ? std::filesystem::path(home) / ".local/state"
                                             : std::filesystem::path();
    std::error_code failed;
    if (folder.empty() || (std::filesystem::create_directories(folder / "loamtunnel", failed), failed)) {
        return "";
    }
    return folder / "loamtunnel/history";
}

/// What all words begin with.
std::string commonStart(std::vector<std::string> const& words) {
    std::string start = words.front();
    for (std::string const& each : words) {
        start.resize(static_cast<std::size_t>(std::ranges::mismatch(start, each).in1 - start.begin()));
    }
    return start;
}

} // namespace

struct LineEditor::Impl {
    Impl(std::string text, Hooks given)
        : prompt(std::move(text)), hooks(std::move(given)), file(historyFile()) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        edit = ::el_init("loamtunnel", stdin, stdout, stderr);
        history = ::history_init();
        HistEvent event{};
        ::history(history, &event, H_SETSIZE, 1000);
        ::history(history, &event, H_SETUNIQUE, 1);
        if (!file.empty()) {
            ::history(history, &event, H_LOAD, file.c_str()); // there may be none yet
        }
        ::el_set(edit, EL_CLIENTDATA, this);
        ::el_set(
            edit, EL_PROMPT, +[](EditLine* of) { return self(of).prompt.data(); });
        ::el_set(edit, EL_EDITOR, "emacs");
        ::el_set(edit, EL_HIST, ::history, history);
        ::el_set(
            edit, EL_GETCFN, +[](EditLine* of, wchar_t* c) { return self(of).next(*c); });
        ::el_set(
            edit, EL_ADDFN, "complete", "Complete what stands before the cursor",
            +[](EditLine* of, int) { return static_cast<int>(self(of).complete()); });
        ::el_set(edit, EL_BIND, "^I", "complete", nullptr);
        ::el_set(edit, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        ::el_source(edit, nullptr); // what the user has set for all such programs; there may be nothing
    }
    ~Impl() {
        HistEvent event{};
        if (!file.empty() && ::history(history, &event, H_SAVE, file.c_str()) == -1) {
            static_cast<void>(
                std::fprintf(stderr, "loamtunnel: cannot keep the history in %s\n", file.c_str()));
        }
        ::history_end(history);
        ::el_end(edit);
    }
    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    static Impl& self(EditLine* of) {
        void* data = nullptr;
        ::el_get(of, EL_CLIENTDATA, &data);
        return *static_cast<Impl*>(data);
    }

    /// One character, from as many bytes as it has; -1 at the end and where the line is given up.
    int next(wchar_t& c) {
        std::mbstate_t state{};
        for (;;) {
            if (!hooks.wait()) {
                isGivenUp = true;
                return -1;
            }
            char byte = 0;
            if (::read(STDIN_FILENO, &byte, 1) != 1) {
                return -1;
            }
            std::size_t const size = std::mbrtowc(&c, &byte, 1, &state);
            if (size != static_cast<std::size_t>(-2)) {
                c = size == static_cast<std::size_t>(-1) ? L'?' : c;
                return 1;
            }
        }
    }

    unsigned char complete() {
        LineInfo const* const line = ::el_line(edit);
        std::string_view const before(line->buffer, static_cast<std::size_t>(line->cursor - line->buffer));
        Completion const found = hooks.complete(before);
        if (found.words.empty()) {
            return CC_REFRESH_BEEP;
        }
        std::string const start = commonStart(found.words);
        std::string_view const typed = before.substr(found.from);
        if (start.size() > typed.size() && Kor::plainText(start) == start) { // what a peer calls things
            ::el_insertstr(edit, start.substr(typed.size()).c_str());
            return CC_REFRESH;
        }
        if (found.words.size() == 1) {
            return CC_REFRESH;
        }
        std::fputc('\n', stdout);
        constexpr std::size_t most = 200;
        for (std::size_t i = 0; i < std::min(most, found.words.size()); ++i) {
            static_cast<void>(std::printf("%s  ", Kor::plainText(found.words[i]).c_str()));
        }
        static_cast<void>(
            std::printf(found.words.size() > most ? "... %zu in all\n" : "\n", found.words.size()));
        return CC_REDISPLAY;
    }

    std::string prompt;
    Hooks hooks;
    std::string file;
    EditLine* edit = nullptr;
    History* history = nullptr;
    bool isGivenUp = false;
};

std::optional<std::string> LineEditor::line() {
    impl_->isGivenUp = false;
    ::el_resize(impl_->edit);
    int count = 0;
    char const* const text = ::el_gets(impl_->edit, &count);
    if (text == nullptr || count <= 0) {
        ::el_reset(impl_->edit);
        static_cast<void>(std::fputs("\n", stdout));
        static_cast<void>(std::fflush(stdout));
        return impl_->isGivenUp ? std::optional<std::string>("") : std::nullopt;
    }
    std::string result(text, static_cast<std::size_t>(count));
    while (!result.empty() && (result.back() == '\n' || result.back() == '\r')) {
        result.pop_back();
    }
    if (result.find_first_not_of(' ') != result.npos) {
        HistEvent event{};
        ::history(impl_->history, &event, H_ENTER, result.c_str());
    }
    return result;
}

void LineEditor::say(std::string const& text) {
    static_cast<void>(std::printf("\r\033[K-- %s\n", Kor::plainText(text).c_str()));
    static_cast<void>(std::fflush(stdout));
    ::el_set(impl_->edit, EL_REFRESH);
}

#else

struct LineEditor::Impl {
    Impl(std::string text, Hooks given) : prompt(std::move(text)), hooks(std::move(given)) {}
    std::string prompt;
    Hooks hooks;
};

std::optional<std::string> LineEditor::line() {
    static_cast<void>(std::fputs(impl_->prompt.c_str(), stdout));
    static_cast<void>(std::fflush(stdout));
    std::string text;
    for (;;) {
        if (!impl_->hooks.wait()) {
            static_cast<void>(std::fputs("\n", stdout));
            return "";
        }
        char byte = 0;
        if (::read(STDIN_FILENO, &byte, 1) != 1) {
            return text.empty() ? std::nullopt : std::optional(text);
        }
        if (byte == '\n') {
            return text;
        }
        text += byte;
    }
}

void LineEditor::say(std::string const& text) {
    static_cast<void>(std::printf("\r-- %s\n%s", Kor::plainText(text).c_str(), impl_->prompt.c_str()));
    static_cast<void>(std::fflush(stdout));
}

#endif

LineEditor::LineEditor(std::string prompt, Hooks hooks)
    : impl_(std::make_unique<Impl>(std::move(prompt), std::move(hooks))) {}

LineEditor::~LineEditor() = default;

} // namespace tool
