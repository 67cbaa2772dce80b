/// `loamtunnel tree`, `get`, `set` and `del`: what is at a place of a live tree.

#include "console/Command.h"
#include "console/Live.h"
#include "console/Results.h"
#include "tools/Commands.h"

#include <string>
#include <string_view>
#include <vector>

namespace tool {

namespace {

constexpr char const* pathText =
    "The place, such as lifStatus.appStatus[vtAppMpls].lifEntry[AradLifAcMp vsi=100]";

/// A place of a live tree, and how it is shown.
struct LivePlace {
    LiveOptions live;
    std::string path;
    Output output;
    unsigned depth = 16;
    ChangeFilter filter{};
};

void tree(Context& context, LivePlace const& options) {
    Connection connection(context, options.live, "tree");
    Live& live = connection.live();
    Values values(context.out, options.output, &live.roots());
    if (!options.path.empty()) {
        values.tree(live.at(options.path), options.depth, options.filter);
    } else {
        for (std::string const& root : live.offers()) {
            values.tree(live.at(rootText(root)), options.depth, options.filter);
        }
    }
    values.end();
    if (values.isEmpty() && !options.filter.takesAll()) {
        noneFits("nothing there",
                 {{"--entity", options.filter.entity}, {"--attribute", options.filter.attribute}});
    }
}

void get(Context& context, LivePlace const& options) {
    Connection connection(context, options.live, "get");
    Live& live = connection.live();
    Values values(context.out, options.output, &live.roots());
    values.items(live.at(options.path));
    values.end();
}

/// A value as `get` prints it behind a path: PATH = VALUE.
std::string_view withoutSign(std::string_view value) {
    value = trimmed(value);
    return value.starts_with("= ") ? trimmed(value.substr(1)) : value;
}

struct SetOptions {
    LiveOptions live;
    std::string path;
    /// Of the value, as they are given.
    std::vector<std::string> words;
    /// Instead of these: a line of `PATH VALUE` each.
    std::string file;
};

void set(Context& context, SetOptions const& options) {
    if (options.file.empty() ? options.path.empty() && options.words.empty() : !options.path.empty()) {
        throw WrongUsage("set takes either a path or --file FILE");
    }
    Connection connection(context, options.live, "set");
    Live& live = connection.live();
    auto const setOne = [&](std::string const& path, std::string_view value) {
        live.mustBeWritable(path);
        Forms::set(live.at(path), value, live.roots(), mustBeRead);
    };
    if (options.file.empty()) {
        setOne(options.path, withoutSign(join(options.words)));
    } else {
        if (options.file == "-" && context.live != nullptr) {
            throw WrongUsage("the shell's input is its commands; -f takes a file here");
        }
        eachLine(context, options.file, [&](std::string const& line, std::string const&) {
            std::string_view const text = trimmed(line);
            std::string_view const path = words(text).front();
            setOne(std::string(path), withoutSign(text.substr(path.size())));
        });
    }
    live.deliver();
}

void del(Context& context, LivePlace const& options) {
    Connection connection(context, options.live, "del");
    Live& live = connection.live();
    live.mustBeWritable(options.path);
    Place const place = live.at(options.path);
    Values values(context.out, options.output, &live.roots());
    values.item({place.path, Forms::del(place)}, true);
    live.deliver();
    values.end();
}

void takePlace(Takes& takes, LivePlace& options) {
    takes.option("path", options.path, "", pathText).required();
    takes.live(options.live);
    takes.output(options.output, "; without it, values as lines");
    takes.form(options.output);
}

} // namespace

Command const treeCommand = Row<LivePlace>{
    .name = "tree",
    .does = "Print what a process serves, from a place on",
    .takes =
        [](Takes& takes, LivePlace& options) {
            takes.option("path", options.path, "", std::string(pathText) + " (default: all)");
            takes.number("-d,--depth", options.depth, "Show objects so deep (default: 16)", 1000);
            takes.filter(options.filter);
            takes.live(options.live);
            takes.output(options.output, "; without it, indented lines");
            takes.form(options.output);
        },
    .run = tree,
    .isInShell = true,
};

Command const getCommand = Row<LivePlace>{
    .name = "get",
    .does = "Print a value of a live tree, or all members of an attribute",
    .takes = takePlace,
    .run = get,
    .more = "The exit status is 4 when nothing is there.",
    .isInShell = true,
};

Command const setCommand = Row<SetOptions>{
    .name = "set",
    .does = "Write a value of a live tree, or make a child",
    .takes =
        [](Takes& takes, SetOptions& options) {
            takes.option("path", options.path, "", pathText);
            takes.option("value", options.words, "", "Its text, such as 3; nothing for a child");
            takes.option("-f,--file", options.file, "FILE",
                         "Instead, read lines of a path and a value, also with = between them as get prints "
                         "them; # starts a\n"
                         "comment; - is the standard input");
            takes.live(options.live);
        },
    .run = set,
    .more = "What is set is there at the peer when the command ends. Of a file, lines that are refused are\n"
            "told of, and the others are set.\n\n"
            "  loamtunnel set 'lif.appConfig[vtAppMpls]'\n"
            "  loamtunnel set 'lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1]' 3",
    .isInShell = true,
};

Command const delCommand = Row<LivePlace>{
    .name = "del",
    .does = "Delete a member of a live tree, and print what it was",
    .takes = takePlace,
    .run = del,
    .more = "The exit status is 4 when nothing is there.",
    .isInShell = true,
};

} // namespace tool
