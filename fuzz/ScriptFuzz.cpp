/// Feeds scripts to what `loamtunnel run` runs: paths, texts of values, and all operations of boxes that are
/// reached by text. Each line that is refused is passed over, so that the lines behind it are reached.
///
///     ScriptFuzz -max_total_time=20 fuzz/corpus/ScriptFuzz
///
/// The mutator writes lines with the names of types and attributes, so that no dictionary has to keep up with
/// the model.

#include "tools/Script.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <sstream>

namespace {

using Kor::KorAttr;
using Kor::KorType;

class Writer {
public:
    explicit Writer(unsigned seed) : random_(seed) {}

    std::size_t below(std::size_t count) { return random_() % count; }

    /// A line for one of a few objects, whose types it makes up as it goes.
    std::string line() {
        auto const types = KorType::all();
        KorType const& type = *types[below(types.size())];
        std::string const name = "n" + std::to_string(below(4));
        if (below(4) == 0) {
            std::string text = "new " + std::string(type.typeName().view()) + ' ' + name;
            for (auto const& each : type.constructorArgTypeQQueue()) {
                text += ' ' + value(*KorType::named(each.value.view()));
            }
            return text + '\n';
        }
        static char const* const commands[] = {"set ",  "get ",  "del ",   "list ",
                                               "tree ", "call ", "watch ", "unwatch "};
        return commands[below(std::size(commands))] + name + step(type) + ' ' + value(type) + '\n';
    }

private:
    std::string step(KorType const& type) {
        auto const attributes = type.attributes();
        if (attributes.empty()) {
            return "";
        }
        KorAttr const& attribute = *attributes[below(attributes.size())];
        std::string text = '.' + std::string(attribute.name().view());
        if (attribute.keyType() != nullptr) {
            text += '[' + value(*attribute.keyType()) + ']';
        }
        return below(2) == 0 ? text : text + step(*attribute.type());
    }
    std::string value(KorType const& type) {
        auto const attributes = type.attributes();
        switch (below(6)) {
        case 0:
            return "$n" + std::to_string(below(4));
        case 1:
            return std::to_string(random_() >> below(32));
        case 2:
            if (!attributes.empty() && type.isEnumType()) {
                return std::string(attributes[below(attributes.size())]->name().view());
            }
            return "None";
        case 3:
            if (!attributes.empty() && type.isValue()) {
                KorAttr const& attribute = *attributes[below(attributes.size())];
                std::string text = '(' + tool::shortName(type) + ' ';
                return text.append(attribute.name().view()) + '=' + value(*attribute.type()) + ')';
            }
            return "''";
        default:
            return type.isValue() && type.hasGenericIfSupport()
                       ? tool::textOf(type.genericIf(static_cast<void const*>(nullptr), false))
                       : "n" + std::to_string(below(4));
        }
    }

    std::mt19937 random_;
};

} // namespace

extern "C" std::size_t LLVMFuzzerMutate(char* data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(char* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
    Writer writer(seed);
    if (writer.below(2) == 0) {
        return LLVMFuzzerMutate(data, size, most);
    }
    std::string text(data, size);
    std::size_t const newline = text.find('\n', writer.below(size + 1));
    text.insert(newline == text.npos ? 0 : newline + 1, writer.line());
    size = std::min(text.size(), most);
    std::copy_n(text.begin(), size, data);
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(char const* data, std::size_t size) {
    std::ostringstream out;
    tool::Script script(out);
    std::istringstream in(std::string(data, size));
    script.run(in, "input", [](std::string const& message) {
        if (message.empty() || message.find('\n') != std::string::npos) {
            std::abort(); // a refusal is one line
        }
    });
    return 0;
}
