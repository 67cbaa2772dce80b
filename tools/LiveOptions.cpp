/// The command line of the commands on live trees.

#include "demo/Demo.h"
#include "tools/CommandLine.h"
#include "tools/LiveCommands.h"
#include "tools/Options.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tool {

namespace {

void addSocket(CLI::App& command, std::string& address) {
    command
        .add_option("-s,--socket", address,
                    "Where: /path or unix:/path for a Unix socket, tcp:PORT or tcp:HOST:PORT, which every\n"
                    "local user, or with a HOST everybody, may connect to (default: the environment's\n"
                    "LOAM_SOCKET, or loamtunnel/socket in XDG_RUNTIME_DIR or /run)")
        ->type_name("ADDRESS")
        ->envname("LOAM_SOCKET");
}

void addMilliseconds(CLI::App& command, std::string const& name, std::chrono::milliseconds& time,
                     std::string const& text) {
    addNumber(
        command, name, [&time](U32 n) { time = std::chrono::milliseconds(n); }, text);
}

} // namespace

void addLive(CLI::App& command, Context const& context, LiveOptions& live) {
    if (context.live != nullptr) { // whose connection it is
        live = context.live->options();
        addMilliseconds(command, "--timeout", live.timeout, "How many milliseconds to wait at most");
        return;
    }
    addSocket(command, live.address);
    addMilliseconds(command, "--timeout", live.timeout,
                    "How many milliseconds to wait at most (default: 5000)");
    addNumber(
        command, "--memory", [&live](U32 n) { live.memory = n; },
        "How many MiB to hold at most of what is there (default: 1024)");
}

namespace {

void addFilter(CLI::App& command, ChangeFilter& filter) {
    command
        .add_option("--entity", filter.entity,
                    "Show those of entities whose path fits this pattern, such as 'lif.appConfig*'")
        ->type_name("PATTERN");
    command.add_option("--attribute", filter.attribute, "Show those of this attribute, such as reqCount")
        ->type_name("NAME");
}

constexpr char const* pathText =
    "The place, such as lifStatus.appStatus[vtAppMpls].lifEntry[AradLifAcMp vsi=100]";

void addServe(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("serve", "Serve entities to other processes");
    auto const options = std::make_shared<ServeOptions>();
    command->add_option("roots", options->roots, "New entities to serve, such as lif=LifAppConfigDir")
        ->type_name("NAME=TYPE");
    command->add_option("--run", options->file, "Serve what a script has made; see loamtunnel run")
        ->type_name("FILE");
    command->add_flag("-w,--writable", options->writable, "Let peers write");
    addSocket(*command, options->live.address);
    command->footer("It ends with SIGINT, SIGTERM or SIGHUP.\n\n"
                    "  loamtunnel serve lif=LifAppConfigDir --writable &\n"
                    "  loamtunnel set 'lif.appConfig[vtAppMpls]'\n"
                    "  loamtunnel monitor");
    command->callback([&context, options] { serve(context, *options); });
}

void addTree(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("tree", "Print what a process serves, from a place on");
    auto const options = std::make_shared<LivePlace>();
    command->add_option("path", options->path, std::string(pathText) + " (default: all)")->type_name("");
    addNumber(
        *command, "-d,--depth", [options](U32 n) { options->depth = n; },
        "Show objects so deep (default: 16)", 1000);
    addFilter(*command, options->filter);
    addLive(*command, context, options->live);
    addOutput(*command, options->output, "; without it, indented lines");
    addForm(*command, options->output);
    command->callback([&context, options] { tree(context, *options); });
}

/// A command on one place.
void addPlace(CLI::App& app, Context& context, char const* name, char const* text,
              void (*run)(Context&, LivePlace const&), char const* footer) {
    auto* const command = app.add_subcommand(name, text);
    auto const options = std::make_shared<LivePlace>();
    command->add_option("path", options->path, pathText)->type_name("")->required();
    addLive(*command, context, options->live);
    addOutput(*command, options->output, "; without it, values as lines");
    addForm(*command, options->output);
    command->footer(footer);
    command->callback([&context, run, options] { run(context, *options); });
}

void addSet(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("set", "Write a value of a live tree, or make a child");
    auto const options = std::make_shared<SetOptions>();
    command->add_option("path", options->path, pathText)->type_name("");
    command->add_option("value", options->words, "Its text, such as 3; nothing for a child")->type_name("");
    command
        ->add_option("-f,--file", options->file,
                     "Instead, read lines of a path and a value; # starts a comment; - is the standard input")
        ->type_name("FILE");
    addLive(*command, context, options->live);
    command->footer(
        "What is set is there at the peer when the command ends. Of a file, lines that are refused are\n"
        "told of, and the others are set.\n\n"
        "  loamtunnel set 'lif.appConfig[vtAppMpls]'\n"
        "  loamtunnel set 'lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1]' 3");
    command->callback([&context, options] {
        options->value = join(options->words);
        if (options->path.empty() == options->file.empty()) {
            throw WrongUsage("set takes either a path or --file FILE");
        }
        set(context, *options);
    });
}

void addWait(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("wait", "Wait until a place of a live tree has a value");
    auto const options = std::make_shared<WaitOptions>();
    command
        ->add_option("condition", options->condition,
                     "PATH=VALUE, or PATH alone for any value, such as 'lif.appConfig[vtAppMpls]'")
        ->type_name("")
        ->required();
    command->add_flag("--gone", options->gone, "Wait until there is nothing at the path");
    addLive(*command, context, options->live);
    addOutput(*command, options->output, "; without it, a line");
    addForm(*command, options->output);
    command->footer(
        "The exit status is 5 when it did not come about in time.\n\n"
        "  loamtunnel wait --timeout 60000 'lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1]=3'");
    command->callback([&context, options] {
        if (options->gone && parseWait(options->condition).second) {
            throw WrongUsage("--gone takes a path without a value");
        }
        wait(context, *options);
    });
}

void addMonitor(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("monitor", "Print the state of a live tree, then each change");
    auto const options = std::make_shared<MonitorOptions>();
    command->add_option("paths", options->paths, "Places to watch, such as lifStatus (default: all)")
        ->type_name("");
    addFilter(*command, options->filter);
    command->add_option("--kind", options->filter.kind, "Show changes of this kind: set or del")
        ->type_name("KIND")
        ->check(oneOf({"set", "del"}, "no kind"));
    addNumber(
        *command, "--buffer", [options](U32 n) { options->buffer = n; },
        "How many lines may wait for a slow terminal; more are lost and counted (default: 10000)");
    addNumber(
        *command, "--for", [options](U32 n) { options->seconds = n; },
        "End after so many seconds (default: with SIGINT)");
    addLive(*command, context, options->live);
    addOutput(*command, options->output, "; without it, lines; JSON has an object a line");
    addForm(*command, options->output);
    command->footer("A connection that is lost is made again; lines with -- in front tell of it.");
    command->callback([&context, options] { monitor(context, *options); });
}

void addSync(CLI::App& app, Context& context) {
    auto* const command =
        app.add_subcommand("sync", "Wait until what has been written to a process is there, or done");
    auto const options = std::make_shared<SyncOptions>();
    auto const level = std::make_shared<std::string>("applied");
    command->add_option("--wait", *level, "How far: applied, or done as the process says (default: applied)")
        ->type_name("LEVEL")
        ->check(oneOf({"applied", "done"}, "no level"));
    command->add_flag("--all", options->all, "Also ask the peers to which the process tells what it has");
    addLive(*command, context, options->live);
    addOutput(*command, options->output, " (default: table)");
    command->footer(
        "The exit status is 1 when a process cannot do it, or has gone before it was done, and 5 when\n"
        "there is no answer in time.\n\n"
        "  loamtunnel sync --wait done --all --timeout 60000");
    command->callback([&context, options, level] {
        options->level =
            *level == "done" ? Kor::NboAttrLog::FenceLevel::done : Kor::NboAttrLog::FenceLevel::applied;
        options->output.colour = context.colourOut;
        sync(context, *options);
    });
}

void addStats(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("stats", "Print what the connections of a process have done");
    auto const options = std::make_shared<StatsOptions>();
    addNumber(
        *command, "--watch", [options](U32 n) { options->watch = std::max(n, 1u); },
        "Print them again and again, with the time, after so many seconds each; SIGINT ends it", 86'400);
    command->add_option("--peer", options->peer, "Show those of peers whose name fits this pattern")
        ->type_name("PATTERN");
    command->add_option("--counter", options->counter, "Show counters whose name fits this pattern")
        ->type_name("PATTERN");
    addLive(*command, context, options->live);
    addOutput(*command, options->output, " (default: table)");
    command->footer("With --watch JSON has an object a line.\n\n"
                    "  loamtunnel stats --counter 'records*' --watch 5");
    command->callback([&context, options] {
        options->output.colour = context.colourOut;
        stats(context, *options);
    });
}

void addExplain(CLI::App& app, Context& context) {
    auto* const command =
        app.add_subcommand("explain", "Say where a request to a driver stands, down to its row");
    auto const options = std::make_shared<ExplainOptions>();
    command
        ->add_option("what", options->what,
                     "What is asked for, such as 'AradLifAcMp vsi=100', or its path, such as\n"
                     "'lifConfig.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]'")
        ->type_name("KEY")
        ->required()
        ->expected(1, 1000);
    addLive(*command, context, options->live);
    command->add_flag_callback(
        "--json", [options] { options->output.format = Format::json; }, "Print the answer as JSON");
    command->footer("The exit status is 4 where the way ends before the row.\n\n"
                    "  loamtunnel explain 'EvecKey fapMask=0 index=4'");
    command->callback([&context, options] { explain(context, *options); });
}

void addAudit(CLI::App& app, Context& context) {
    auto* const command =
        app.add_subcommand("audit", "Compare the rows that should be in a chip with those that are");
    auto const options = std::make_shared<AuditOptions>();
    command
        ->add_option("--image", options->image,
                     "Read what is there from this chip image (default: what the driver reads)")
        ->type_name("FILE");
    auto* const every = addNumber(
        *command, "--every", [options](U32 n) { options->every = std::chrono::seconds(n); },
        "Look again every so many seconds, also when the driver was away");
    addNumber(
        *command, "--rounds", [options](U32 n) { options->rounds = n; },
        "End after so many looks (default: with SIGINT)")
        ->needs(every);
    addLive(*command, context, options->live);
    addOutput(*command, options->output, " (default: table); with --every, JSON has an object a line");
    command->footer(
        "A difference is told when three looks have found it. The exit status is 3 when there is one.");
    command->callback([&context, options] {
        options->output.colour = context.colourOut;
        audit(context, *options);
    });
}

void addTrace(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand(
        "trace", "Show or set the trace levels of a process, and read its trace records or those of a file");
    auto const options = std::make_shared<TraceOptions>();
    TraceFilter& filter = options->filter;
    command
        ->add_option("facility", filter.facility,
                     "A facility to set, such as LoamTunnelTypes; of records, a pattern")
        ->type_name("");
    auto* const set = command
                          ->add_option("--set", options->words,
                                       "What to set: on, off, +LEVEL, -LEVEL, with commas between several")
                          ->type_name("WORDS");
    auto* const records =
        command->add_flag("-r,--records", options->records, "Print the records that the process has kept")
            ->excludes(set);
    auto* const follow =
        command->add_flag("-f,--follow", options->follow, "The same, and then each one as it comes")
            ->excludes(set);
    auto* const file = command
                           ->add_option("--file", options->file,
                                        "Read what a process has written to stderr instead; - is stdin")
                           ->type_name("FILE")
                           ->excludes(set)
                           ->excludes(records)
                           ->excludes(follow);
    command->add_option("--level", filter.levels, "Levels to show, with commas between several")
        ->type_name("N")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->excludes(set);
    command->add_option("--unit", filter.unit, "Source files to show, a pattern")
        ->type_name("PATTERN")
        ->excludes(set);
    command->add_option("--function", filter.function, "Functions to show, a pattern")
        ->type_name("PATTERN")
        ->excludes(set);
    command->add_option("--text", filter.text, "Show records with that in their text")
        ->type_name("TEXT")
        ->excludes(set);
    command->add_option("--for", options->seconds, "End after so many seconds (default: with SIGINT)")
        ->type_name("N")
        ->needs(follow);
    addLive(*command, context, options->live);
    addOutput(*command, options->output, " (default: lines for records, of which json has one a line)");
    command->footer("  loamtunnel trace LoamTunnelTypes --set on,+8\n"
                    "  loamtunnel trace --follow --level 8 --text vsi\n"
                    "  driver 2>&1 | loamtunnel trace 'LoamTunnel*' --file - --json");
    command->callback([&context, options, file] {
        bool const isOfRecords = options->records || options->follow || file->count() != 0;
        TraceFilter const& asked = options->filter;
        if (!isOfRecords && asked.facility.empty() != options->words.empty()) {
            throw WrongUsage("to set levels give both a facility and --set, such as LoamTunnelTypes --set "
                             "on,+8; records are asked for with --records, --follow or --file");
        }
        if (!isOfRecords && (!asked.levels.empty() || !asked.unit.empty() || !asked.function.empty() ||
                             !asked.text.empty())) {
            throw WrongUsage("--level, --unit, --function and --text choose records: give --records, "
                             "--follow or --file, too");
        }
        Format const format = options->output.format;
        if (options->follow && format != Format::text && format != Format::json) {
            throw WrongUsage("--follow prints lines, or --json: a table or CSV is for what has an end");
        }
        options->output.colour = context.colourOut;
        trace(context, *options);
    });
}

void addFap(CLI::App& command, U32& fap, std::string const& text) {
    addNumber(
        command, "--fap", [&fap](U32 n) { fap = n; }, text, 127);
}

void addDriver(CLI::App& app, Context& context) {
    auto* const command =
        app.add_subcommand("driver", "Own the tables of a chip, and place what applications ask for");
    auto const options = std::make_shared<DriverOptions>();
    addSocket(*command, options->address);
    command->add_option("-c,--chip", options->chip, "Chip model: 3, 4, 5, 7, 8, 9 or 10")
        ->type_name("CHIP")
        ->required();
    command->add_option("--image", options->image, "The file that stands for the chip's tables")
        ->type_name("FILE")
        ->required();
    addFap(*command, options->fap, "Which of the switch's chips it is, 0 to 127 (default: 0)");
    static std::map<std::string, Sync> const syncs{
        {"full", Sync::full}, {"normal", Sync::normal}, {"off", Sync::off}};
    command
        ->add_option_function<std::string>(
            "--sync", [options](std::string const& name) { options->sync = syncs.at(name); },
            "What an answer waits for: full, its place is on the disk; normal or off, the last ones\n"
            "may be lost if the machine fails (default: full)")
        ->type_name("HOW")
        ->check(oneOf({"full", "normal", "off"}, "no way"));
    command->footer(
        "It takes a LifAppConfig pushed as lifConfig, an OutAcAppConfig as outAcConfig and an\n"
        "EvecAppConfig as evecConfig, and offers these with lifStatus, outAcStatus and evecStatus to be "
        "read.\n"
        "The places are kept in a database beside the image, FILE.db; the image is made from it.");
    command->callback([&context, options] { driver(context, *options); });
}

void addApplication(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("application", "Ask a driver for the entries of files");
    auto const options = std::make_shared<ApplicationOptions>();
    addSocket(*command, options->address);
    command
        ->add_option_function<std::string>(
            "-a,--app",
            [options](std::string const& name) {
                std::vector<std::string> known;
                for (Kor::Enumerator const& each : Kor::enumerators<Hardware::Loam::VtAppId>) {
                    if (each.name == name) {
                        options->app = static_cast<Hardware::Loam::VtAppId>(each.number);
                        return;
                    }
                    known.emplace_back(each.name);
                }
                throw WrongUsage("no application " + shown(name) + suggest(name, known));
            },
            "Who asks, such as vtAppMpls")
        ->type_name("APP")
        ->required();
    command
        ->add_option("-f,--file", options->files,
                     "Entries, one a line, as encode takes them; with commas between several files")
        ->type_name("FILE")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->required();
    addFap(*command, options->fap, "For which of the switch's chips, 0 to 127 (default: 0)");
    command->add_option("--kind", options->kinds, "Take the entries of this kind (default: all)")
        ->type_name("KIND")
        ->allow_extra_args(false);
    addNumber(
        *command, "--withdraw", [options](U32 n) { options->withdraw = n; },
        "Take so many of the requests back at the end");
    addMilliseconds(*command, "--pace", options->pace, "Milliseconds between two requests (default: 0)");
    addMilliseconds(*command, "--timeout", options->timeout,
                    "Give up after so many milliseconds (default: 60000)");
    command->add_flag("--takeover", options->takesOver,
                      "Take the place of another process that asks as this application");
    command->callback([&context, options] { application(context, *options); });
}

void addDemo(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand(
        "demo", "Show requests on their way from applications to a chip, between processes");
    auto const options = std::make_shared<DemoOptions>();
    command->add_option("-c,--chip", options->chip, "Chip model: 3, 4, 5, 7, 8, 9 or 10 (default: 8)")
        ->type_name("CHIP");
    command
        ->add_option("-f,--file", options->files,
                     "Entries, one a line, with commas between several files (default: the examples)")
        ->type_name("FILE")
        ->delimiter(',')
        ->allow_extra_args(false);
    command->add_option("--folder", options->folder, "Where images and logs stay (default: nowhere)")
        ->type_name("FOLDER");
    command
        ->add_option("--kill", options->kill,
                     "Run again, kill driver, application or both (driver,application) half-way, and compare")
        ->type_name("WHO")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(oneOf({"driver", "application"}, "cannot kill"));
    addOutput(*command, options->output, " (default: table)");
    command->callback([&context, options] {
        options->output.colour = context.colourOut;
        demo(context, *options);
    });
}

} // namespace

void addLogRecord(CLI::App& log, Context& context) {
    auto* const command = log.add_subcommand("record", "Record a connection to a process that serves");
    auto const options = std::make_shared<LogRecordOptions>();
    command->add_option("file", options->file, "The recording, a new file")->type_name("FILE")->required();
    command->add_flag("--force", options->force, "Write over a file that is there");
    command->add_option("roots", options->roots, "What to ask for, such as lifStatus (default: all)")
        ->type_name("ROOT");
    addNumber(
        *command, "--for", [options](U32 n) { options->seconds = n; },
        "End after so many seconds (default: with SIGINT, or with the connection)");
    command->add_flag("--once", options->once, "End when all that is asked for is here");
    addNumber(
        *command, "--most", [options](U32 n) { options->most = n; },
        "End when the file has so many bytes (default: 1 GiB)");
    addLive(*command, context, options->live);
    command->callback([&context, options] { logRecord(context, *options); });
}

void addLiveCommands(CLI::App& app, Context& context) {
    addDemo(app, context);
    addDriver(app, context);
    addApplication(app, context);
    addServe(app, context);
    addShellCommands(app, context);
    addTop(app, context);
    addShell(app, context);
}

void addShellCommands(CLI::App& app, Context& context) {
    addTree(app, context);
    addPlace(app, context, "get", "Print a value of a live tree, or all members of an attribute", get,
             "The exit status is 4 when nothing is there.");
    addSet(app, context);
    addPlace(app, context, "del", "Delete a member of a live tree, and print what it was", del,
             "The exit status is 4 when nothing is there.");
    addWait(app, context);
    addMonitor(app, context);
    addSync(app, context);
    addExplain(app, context);
    addAudit(app, context);
    addStats(app, context);
    addTrace(app, context);
}

} // namespace tool
