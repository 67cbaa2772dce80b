/// Feeds scripts to what `loamtunnel run` runs: paths, texts of values, and all operations of boxes that are
/// reached by text. Each line that is refused is passed over, so that the lines behind it are reached.
///
///     ScriptFuzz -max_total_time=20 fuzz/corpus/ScriptFuzz
///
/// The mutator writes lines with the names of types and attributes, so that no dictionary has to keep up with
/// the model.

#include "fuzz/Options.h"
#include "tools/Script.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Kor::KorAttr;
using Kor::KorType;

std::vector<KorType*> const& allTypes() {
    static auto const all = KorType::all();
    return all;
}

class Writer {
public:
    explicit Writer(unsigned seed) : random_(seed) {}

    std::size_t below(std::size_t count) { return random_() % count; }

    /// Lines for an object of some type, which has the type's number for its name.
    std::string lines() {
        auto const& types = allTypes();
        std::size_t const number = below(types.size());
        KorType const& type = *types[number];
        std::string const name = nameOf(number);
        std::string text;
        if (below(8) != 0) {
            text = "new " + std::string(type.typeName().view()) + ' ' + name;
            for (auto const& each : type.constructorArgTypeQQueue()) {
                text += ' ' + value(*KorType::named(each.value.view()));
            }
            text += '\n';
        }
        static char const* const commands[] = {"get",   "del",     "list", "tree",
                                               "watch", "unwatch", "set",  "call"};
        for (std::size_t i = below(6); i > 0; --i) {
            std::string_view const command = commands[below(std::size(commands))];
            KorAttr const* end = nullptr;
            text.append(command).append(" ").append(name).append(step(type, end));
            if (command == "call" && end != nullptr) {
                for (auto const& each : end->arguments()) {
                    text += ' ' + value(*KorType::named(each.type.view()));
                }
            } else if (command == "set") {
                text += ' ' + value(end != nullptr ? *end->type() : type);
            }
            text += '\n';
        }
        return text;
    }

private:
    static std::string nameOf(std::size_t number) { return "t" + std::to_string(number); }
    /// Attributes and keys, of which `end` is the last.
    std::string step(KorType const& type, KorAttr const*& end) {
        auto const attributes = type.attributes();
        if (attributes.empty()) {
            return "";
        }
        KorAttr const& attribute = *attributes[below(attributes.size())];
        std::string text = '.' + std::string(attribute.name().view());
        end = &attribute;
        if (attribute.keyType() != nullptr) {
            text += '[' + value(*attribute.keyType()) + ']';
        }
        return below(3) != 0 ? text : text + step(*attribute.type(), end);
    }
    std::string value(KorType const& type) {
        auto const attributes = type.attributes();
        switch (below(6)) {
        case 0:
            return '$' + nameOf(below(allTypes().size()));
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
                       ? Kor::Forms::textOf(type.genericIf(static_cast<void const*>(nullptr), false))
                       : nameOf(numberOf(type));
        }
    }

    /// The number of the type or of an heir; sometimes of any.
    std::size_t numberOf(KorType const& type) {
        static std::map<KorType const*, std::vector<std::size_t>> known;
        auto const& types = allTypes();
        auto const [at, isNew] = known.try_emplace(&type);
        for (std::size_t i = 0; isNew && i < types.size(); ++i) {
            if (types[i]->isA(&type)) {
                at->second.push_back(i);
            }
        }
        std::vector<std::size_t> const& fitting = at->second;
        return fitting.empty() || below(8) == 0 ? below(types.size()) : fitting[below(fitting.size())];
    }

    std::mt19937 random_;
};

} // namespace

// Types are many, and each has features of its own: to weigh inputs by how rare theirs are takes two thirds
// of the time. A long input takes the time of many short ones.
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
    fuzz::optionsAre(*count, *arguments, {"-entropic=0", "-max_len=256"});
    return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(char* data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(char* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
    Writer writer(seed);
    if (writer.below(2) == 0) {
        return LLVMFuzzerMutate(data, size, most);
    }
    std::string text(data, size);
    std::size_t const newline = text.find('\n', writer.below(size + 1));
    text.insert(newline == text.npos ? 0 : newline + 1, writer.lines());
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
