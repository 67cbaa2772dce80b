#include "console/Context.h"

#include "console/Streams.h"
#include "forms/Text.h"

#include <ostream>

namespace tool {

void Context::report(std::string const& message) {
    note(message);
    status = refusedStatus;
}

void Context::note(std::string const& message) {
    if (out.good()) {
        out.flush();
    }
    if (giveWay) {
        giveWay();
    }
    err << prefixed(Kor::plainText(message)) << '\n';
}

std::string Context::prefixed(std::string const& message) const {
    return (colourErr ? "\033[31mloamtunnel:\033[0m " : "loamtunnel: ") + where + message;
}

void withInput(Context& context, std::string const& file,
               std::function<void(std::istream& stream, std::string const& name)> const& read) {
    if (file == "-") {
        read(context.in, "stdin");
        return;
    }
    InputFile input(file);
    read(input.stream(), file);
}

std::string_view withoutComment(std::string_view text) {
    if (text.find('#') == text.npos) { // as nearly all of a large file
        return text;
    }
    Nesting nesting;
    for (std::size_t i = 0; i < text.size(); ++i) {
        nesting.step(text[i]);
        if (text[i] == '#' && !nesting.isQuoted()) {
            return text.substr(0, i);
        }
    }
    return text;
}

void eachLine(Context& context, std::string const& file,
              std::function<void(std::string const& text, std::string const& where)> const& visit,
              bool onlyWholeLineComments) {
    withInput(context, file, [&](std::istream& stream, std::string const& name) {
        std::string line;
        for (U64 number = 1; nextLine(stream, line, number == 1); ++number) {
            if (std::size_t const length = withoutComment(line).size();
                !onlyWholeLineComments || split(line.substr(0, length)).empty()) {
                line.resize(length);
            }
            if (split(line).empty()) {
                continue;
            }
            std::string const where = name + ':' + std::to_string(number);
            try {
                visit(line, where);
            } catch (Refused const& failure) {
                if (endsAll(failure)) {
                    throw;
                }
                context.report(where + ": " + failure.what());
            }
        }
    });
}

} // namespace tool
