#include "tools/Candidates.h"
#include "tools/CommandLine.h"
#include "tools/Commands.h"
#include "tools/Failure.h"
#include "tools/Manual.h"
#include "tools/Options.h"
#include "tools/Script.h"
#include "tools/Streams.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tool {

namespace {

std::string coloured(std::string const& text, bool colour) {
    return colour ? "\033[31m" + text + "\033[0m" : text;
}

} // namespace

void addOutput(CLI::App& command, Output& output, std::string const& own) {
    static std::map<std::string, Format> const formats{
        {"table", Format::table}, {"json", Format::json}, {"csv", Format::csv}};
    command
        .add_option_function<std::string>(
            "--format", [&output](std::string const& name) { output.format = formats.at(name); },
            "Print as table, json or csv" + own)
        ->type_name("FORMAT")
        ->check(oneOf({"table", "json", "csv"}, "no format"));
    command.add_flag_callback(
        "--json", [&output] { output.format = Format::json; }, "The same as --format json");
    command.add_flag_callback(
        "--no-headings", [&output] { output.headings = false; }, "Leave the heading lines out");
}

void addForm(CLI::App& command, Output& output) {
    command
        .add_option_function<std::string>(
            "--form", [&output](std::string const& name) { output.form = formNamed(name); },
            "How values look: short, or text, the form that names all stored attributes (default: short)")
        ->type_name("FORM")
        ->check(oneOf({"short", "text"}, "no form"));
}

void addChoice(CLI::App& command, std::string const& name, std::string& choice,
               std::vector<std::string> const& known, std::string const& text, std::string const& type,
               std::string const& what) {
    command.add_option(name, choice, text)->type_name(type)->check(oneOf(known, "no " + what));
}

namespace {

CLI::Option* addChip(CLI::App& command, std::string& chip) {
    return command.add_option("-c,--chip", chip, "Chip model: 3, 4, 5, 7, 8, 9 or 10")->type_name("CHIP");
}

void addChips(CLI::App& command, std::vector<std::string>& chips, std::string const& text) {
    command.add_option("-c,--chip", chips, text)->type_name("CHIP")->delimiter(',')->allow_extra_args(false);
}

} // namespace

CLI::Option* addNumber(CLI::App& command, std::string const& name, std::function<void(U32)> set,
                       std::string const& text, U64 most) {
    return command
        .add_option_function<std::string>(
            name,
            [set = std::move(set), name, most](std::string const& given) {
                std::optional<U64> const number = parseNumber(given);
                if (!number || *number > most) {
                    throw WrongUsage(name.substr(name.rfind(',') + 1) + ": '" + shown(given) +
                                     "' is no number from 0 to " + std::to_string(most));
                }
                set(static_cast<U32>(*number));
            },
            text)
        ->type_name("N");
}

namespace {

void addRow(CLI::App& command, RowOptions& row) {
    command
        .add_option("-t,--table", row.table, "Table, as `loamtunnel tables` lists them (default: LifTable)")
        ->type_name("TABLE");
    addNumber(
        command, "-v,--variant", [&row](U32 variant) { row.variant = variant; },
        "Row format, where the table has several", 255);
}

void addEncode(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("encode", "Turn entries into the rows of a chip");
    auto const options = std::make_shared<EncodeOptions>();
    command
        ->add_option(
            "entry", options->words,
            "The entry: its kind, then field=value, such as AradLifAcMp vsi=100 vlanEditVid1=20; or a\n"
            "value in text form, as `loamtunnel value` prints it")
        ->type_name("");
    command
        ->add_option("-f,--file", options->file,
                     "Read entries from a file, one a line, # starts a comment; - is the standard input")
        ->type_name("FILE");
    addChips(*command, options->chips,
             "Chip models out of 3, 4, 5, 7, 8, 9 and 10, with commas between several");
    command->add_flag("-a,--all-chips", options->allChips, "Encode for every chip");
    addNumber(
        *command, "-e,--entry", [options](U32 n) { options->place.entry = n; },
        "Row number of the first entry, for the SCHAN address; the next lines take the rows after it");
    addNumber(
        *command, "--array", [options](U32 n) { options->place.array = n; },
        "Array element of the rows (default: 0)");
    addNumber(
        *command, "--identifier", [options](U32 n) { options->place.identifier = n; },
        "Which of the table's blocks, from 0 (default: 0)");
    command->add_flag("--nonzero", options->nonzero, "Leave out fields that are 0");
    command->add_flag("--rows", options->rows,
                      "Print each row on one line, as `loamtunnel decode --file` reads it");
    addOutput(*command, options->output, "; without it, each row as a paragraph");
    command->footer(
        "Fields are set in the order given and refused when too large. The exit status is 1 when an\n"
        "entry was refused; the others are encoded all the same.\n\n"
        "  loamtunnel encode --chip 8 AradLifAcMp vsi=100 vlanEditVid1=20\n"
        "  loamtunnel encode --chip 8 \"Value('Hardware::LoamTunnel::AradLifEntry', ** {'lifType': "
        "'lifAcMp',\n"
        "    'dword0': 100, 'dword1': 0})\"\n"
        "  loamtunnel encode --all-chips --entry 100 --file examples/lifs.txt");
    command->callback([&context, options] {
        if (options->words.empty() == options->file.empty()) {
            throw WrongUsage("encode takes either an entry, such as AradLifAcMp vsi=100, or --file FILE");
        }
        if (options->chips.empty() != options->allChips) {
            throw WrongUsage("encode takes either --chip CHIP or --all-chips");
        }
        if (!options->place.entry && (options->place.array != 0 || options->place.identifier != 0)) {
            throw WrongUsage("--array and --identifier say where a row is, which takes --entry N, too");
        }
        if (options->rows &&
            (options->output.format != Format::text || options->nonzero || options->place.entry)) {
            throw WrongUsage("--rows prints the words alone; it goes with no --format, --nonzero or --entry");
        }
        options->output.colour = context.colourOut;
        encode(context, *options);
    });
}

void addKinds(CLI::App& app, Context& context) {
    auto* const command =
        app.add_subcommand("kinds", "List the kinds of entries with the fields that they take");
    auto const options = std::make_shared<KindsOptions>();
    command->add_option("kind", options->kind, "One of them, such as AradLifAcMp (default: all)")
        ->type_name("");
    addOutput(*command, options->output, " (default: table)");
    command->callback([&context, options] {
        options->output.colour = context.colourOut;
        kinds(context, *options);
    });
}

void addValue(CLI::App& app, Context& context) {
    auto* const command =
        app.add_subcommand("value", "Check a value and turn it into text, JSON, wire bytes or a row");
    auto const options = std::make_shared<ValueOptions>();
    command
        ->add_option("type", options->type,
                     "A value type or enumeration, as `loamtunnel schema` lists them, with or without its\n"
                     "namespaces; also one of the platform's")
        ->type_name("TYPE")
        ->required();
    command->add_option("text", options->words, "The value; after -- where it begins with a minus")
        ->type_name("TEXT");
    command
        ->add_option("-f,--file", options->file,
                     "Read values from a file, one a line; a line that begins with # is a comment; - is the\n"
                     "standard input")
        ->type_name("FILE");
    addChoice(
        *command, "--from", options->from, {"short", "text", "json", "wire"},
        "What is read: short or text, which are one; json; or wire, bytes in hexadecimal (default:\ntext)");
    addChoice(*command, "--to", options->to, {"short", "text", "json", "wire", "row"},
              "What is printed: short, text, json, wire or row (default: text)");
    addChips(*command, options->chips, "Chip models of the rows, with commas between several");
    command->footer(
        "Values are printed one a line. Text takes blanks, attributes in any order, and hexadecimal; JSON\n"
        "is an object by attributes, wire the bytes of an attribute log, a row what `loamtunnel decode\n"
        "--file` reads. The exit status is 1 when a value was refused.\n\n"
        "  loamtunnel value EvecFormat 0x12\n"
        "  loamtunnel value --from json --to text EvecKey '{\"fapMask\": \"0-3\", \"index\": {\"value\": "
        "4}}'\n"
        "  loamtunnel value --from wire --to row --chip 8 EvecValue 0000000000000012");
    command->callback([&context, options] {
        if (options->words.empty() == options->file.empty()) {
            throw WrongUsage("value takes either a value or --file FILE");
        }
        if ((options->to == "row") == options->chips.empty()) {
            throw WrongUsage("--chip CHIP goes with --to row, and --to row with it");
        }
        value(context, *options);
    });
}

void addDecode(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("decode", "Take a row apart into its fields");
    auto const options = std::make_shared<DecodeOptions>();
    command
        ->add_option(
            "words", options->words,
            "The row's 32-bit words in hexadecimal, word 0 first, 0x or not, between blanks or commas")
        ->type_name("");
    command
        ->add_option(
            "-f,--file", options->file,
            "Read rows from a file, one a line: chip=8 table=LifTable variant=1 and the words; what a\n"
            "line does not say is taken from the options; - is the standard input")
        ->type_name("FILE");
    addChip(*command, options->row.chip);
    addRow(*command, options->row);
    command->add_flag("--nonzero", options->nonzero, "Leave out fields that are 0");
    command->add_flag("--check", options->check,
                      "Print no fields, but put each row together again from them and compare");
    addOutput(*command, options->output, "; without it, a line a field, name[hi:lo]: value");
    command->footer(
        "The last line names the set bits that no field owns.\n\n"
        "  loamtunnel decode --chip 8 --variant 1 0x00000064 0x00140000 0x00000000 0x00000003\n"
        "  loamtunnel encode -a -f examples/lifs.txt --rows | loamtunnel decode --file - --check");
    command->callback([&context, options] {
        if (options->words.empty() == options->file.empty()) {
            throw WrongUsage("decode takes either the words of a row or --file FILE");
        }
        if (options->file.empty() && options->row.chip.empty()) {
            throw WrongUsage("decode needs --chip CHIP");
        }
        if (options->check && (options->output.format != Format::text || options->nonzero)) {
            throw WrongUsage("--check prints no fields; it goes with no --format and no --nonzero");
        }
        options->output.colour = context.colourOut;
        decode(context, *options);
    });
}

void addLayout(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("layout", "Draw the bits of a row, or compare two chips");
    auto const options = std::make_shared<LayoutOptions>();
    auto* const chip = addChip(*command, options->row.chip);
    addRow(*command, options->row);
    auto* const svg = command->add_flag("--svg", options->svg, "Draw as SVG");
    auto* const wavedrom =
        command->add_flag("--wavedrom", options->wavedrom, "Print as JSON for WaveDrom's bit fields")
            ->excludes(svg);
    command->add_flag(
        "--all", options->all,
        "List the fields of all tables on all chips in all variants, or of those that are given");
    auto* const html = command
                           ->add_flag("--html", options->html,
                                      "Print a page for a browser that draws all tables on all chips")
                           ->excludes(chip)
                           ->excludes(svg)
                           ->excludes(wavedrom);
    command
        ->add_option(
            "--diff", options->diff,
            "Compare two chips: fields moved, grown, shrunk, appeared, gone; in all variants, unless one\n"
            "is given")
        ->type_name("CHIP CHIP")
        ->expected(2)
        ->excludes(chip)
        ->excludes(svg)
        ->excludes(wavedrom)
        ->excludes(html);
    addOutput(*command, options->output, " the fields, without a diagram");
    command->footer("  loamtunnel layout --chip 8 --variant 4\n"
                    "  loamtunnel layout --table EvecTable --chip 8 --svg >evec.svg\n"
                    "  loamtunnel layout --table LifTable --diff 5 8\n"
                    "  loamtunnel layout --all --json >layouts.json\n"
                    "  loamtunnel layout --html >tables.html");
    command->callback([&context, options, command] {
        if (options->all && command->count("--table") == 0) {
            options->row.table.clear();
        }
        if ((options->svg || options->wavedrom || options->html) && options->output.format != Format::text) {
            throw WrongUsage("--svg, --wavedrom and --html each have a form of their own, without --format");
        }
        if (options->all && (options->svg || options->wavedrom || options->html || !options->diff.empty())) {
            throw WrongUsage("--all lists fields; it goes with no --svg, --wavedrom, --html or --diff");
        }
        if (options->row.chip.empty() && options->diff.empty() && !options->html && !options->all) {
            throw WrongUsage("layout needs --chip CHIP, --diff CHIP CHIP, --all or --html");
        }
        options->output.colour = context.colourOut;
        layout(context, *options);
    });
}

void addAddress(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("addr", "Give the SCHAN address of rows");
    auto const options = std::make_shared<AddressOptions>();
    auto* const entries = command->add_option_function<std::vector<std::string>>(
        "entries",
        [options](std::vector<std::string> const& all) {
            for (std::string const& each : all) {
                std::optional<U64> const number = parseNumber(each);
                if (!number || *number > 0xffffffff) {
                    throw WrongUsage("'" + shown(each) + "' is no row number");
                }
                options->entries.push_back(static_cast<U32>(*number));
            }
        },
        "Row numbers within the array element");
    entries->type_name("")->required();
    addChip(*command, options->row.chip)->required();
    addRow(*command, options->row);
    addNumber(
        *command, "--array", [options](U32 n) { options->array = n; }, "Array element (default: 0)");
    addNumber(
        *command, "--identifier", [options](U32 n) { options->identifier = n; },
        "Which of the table's blocks, from 0 (default: 0)");
    addOutput(*command, options->output, " (default: table)");
    command->footer("  loamtunnel addr --chip 8 --array 1 5");
    command->callback([&context, options] {
        options->output.colour = context.colourOut;
        address(context, *options);
    });
}

void addTables(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("tables", "List the tables with their size and address");
    auto const options = std::make_shared<TablesOptions>();
    addChips(*command, options->chips, "Chip models (default: all)");
    addOutput(*command, options->output, " (default: table)");
    command->footer(
        "Words are the 32-bit words of a row; entries count the rows of one array element. A row's\n"
        "address is base + element x entries + entry, in one of so many blocks from the first on.\n\n"
        "  loamtunnel tables --chip 8");
    command->callback([&context, options] {
        options->output.colour = context.colourOut;
        tables(context, *options);
    });
}

void addSchema(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("schema", "List the types with their attributes");
    auto const options = std::make_shared<SchemaOptions>();
    command->add_option("type", options->types, "Types, such as LifAppConfig (default: all)")
        ->type_name("TYPE");
    command->add_flag("-a,--all", options->all, "Show inherited attributes as well");
    command->add_flag("--cpp", options->cpp,
                      "Print the types as C++ declarations: each operation and hook, and what it means");
    command->add_flag("--json-schema", options->jsonSchema,
                      "Print JSON Schema (draft 2020-12) of the values as JSON, a definition a type");
    command->add_flag("--checksum", options->checksum, "Print one number for the whole schema");
    command->add_option("--diff", options->diff, "Print what differs from a schema that --json has saved")
        ->type_name("FILE");
    addOutput(*command, options->output, "; without it, each type as a paragraph");
    command->footer(
        "Types come in the order in which they are defined. The exit status is 3 when --diff finds a\n"
        "difference.\n\n"
        "  loamtunnel schema LifAppConfig AradLifEntry\n"
        "  loamtunnel schema --cpp LifAppConfig\n"
        "  loamtunnel schema --json > schema.json; loamtunnel schema --diff schema.json");
    command->callback([&context, options] {
        if (options->checksum && (!options->types.empty() || !options->diff.empty())) {
            throw WrongUsage("--checksum is of the whole schema and takes no types and no --diff");
        }
        if (options->cpp && (options->checksum || !options->diff.empty() || options->all ||
                             options->output.format != Format::text)) {
            throw WrongUsage(
                "--cpp prints declarations; it goes with no --all, --checksum, --diff or --format");
        }
        if (options->jsonSchema && (options->checksum || options->cpp || !options->diff.empty() ||
                                    options->all || options->output.format != Format::text)) {
            throw WrongUsage("--json-schema goes with types alone");
        }
        options->output.colour = context.colourOut;
        schema(context, *options);
    });
}

void addRun(CLI::App& app, Context& context) {
    auto* const command = app.add_subcommand("run", "Make objects and drive them, by a script");
    auto const options = std::make_shared<ScriptOptions>();
    command->add_option("file", options->file, "The script; - is the standard input")
        ->type_name("FILE")
        ->required();
    command->add_flag("-k,--keep-going", options->keepGoing,
                      "Run the lines after one that failed; the exit status is 1 all the same");
    command
        ->add_option("-s,--socket", options->live.address,
                     "Run it over what the process at that address serves, /path, unix:/path, tcp:PORT or\n"
                     "tcp:HOST:PORT; what it sets is delivered at its end")
        ->type_name("ADDRESS");
    addOutput(*command, options->output, "; without it, lines; JSON has an object a line");
    addForm(*command, options->output);
    command->footer(scriptHelp());
    command->callback([&context, options] { runScript(context, *options); });
}

void addLog(CLI::App& app, Context& context) {
    auto* const log = app.add_subcommand("log", "Record an attribute log, and look at a recorded one");
    log->require_subcommand(1);
    auto const options = std::make_shared<LogOptions>();
    auto const add = [&](char const* name, char const* text, int files,
                         void (*run)(Context&, LogOptions const&)) {
        auto* const command = log->add_subcommand(name, text);
        command->add_option("file", options->files, "The recording")
            ->type_name("FILE")
            ->required()
            ->expected(files);
        command
            ->add_option("--side", options->side,
                         "Only what that side has sent: accepting or connecting (default: both)")
            ->type_name("SIDE")
            ->check(oneOf({"accepting", "connecting"}, "no side"));
        addOutput(*command, options->output, " (default: table)");
        command->callback([&context, options, run] {
            options->output.colour = context.colourOut;
            run(context, *options);
        });
        return command;
    };
    auto const addTime = [&](CLI::App& command, std::string const& name, std::optional<U64>& time,
                             char const* text) {
        command
            .add_option_function<std::string>(
                name, [&time, name](std::string const& given) { time = parseTime(name, given); }, text)
            ->type_name("TIME");
    };
    auto* const show = add("show", "List the records in the order in which they were sent", 1, logShow);
    show->add_flag("-m,--more", options->more, "More of each record; twice, its bytes as well");
    addTime(*show, "--from", options->from,
            "Begin at that time, in seconds as they are listed, with the state that there was before");
    add("check", "Say whether the recording is sound, or where it is not", 1, logCheck);
    auto* const replay = add("replay", "Print the state that the records lead to", 1, logReplay);
    addTime(*replay, "--from", options->from,
            "Print what each had before that time, too, in a column `before`");
    auto* const diff =
        add("diff", "Print what differs between the states that two recordings lead to", 2, logDiff);
    for (CLI::App* const command : {show, replay, diff}) {
        addTime(*command, "--until", options->until, "Look at nothing that came after that time");
        addForm(*command, options->output);
    }
    addLogRecord(*log, context);
    log->footer("The exit status is 1 when a recording is unsound, and 3 when diff finds a difference.\n\n"
                "  loamtunnel log record lif.loamlog --for 10\n"
                "  loamtunnel log show lif.loamlog -m\n"
                "  loamtunnel log show lif.loamlog --from 1.5 --until 2\n"
                "  loamtunnel log replay lif.loamlog --side connecting --json");
}

/// CLI11 takes what stands in brackets for a list, also where one word is one: a blank at its end hides that,
/// and is taken off again.
void takeBracketsAsTheyAre(CLI::App& app, std::vector<std::string>& arguments) {
    bool hasAny = false;
    for (std::string& each : arguments) {
        if (each.starts_with('[') && each.ends_with(']')) {
            each += ' ';
            hasAny = true;
        }
    }
    if (!hasAny) {
        return;
    }
    for (CLI::Option* const option : app.get_options()) {
        option->transform([](std::string const& text) {
            return text.starts_with('[') && text.ends_with("] ") ? text.substr(0, text.size() - 1) : text;
        });
    }
    std::vector<std::string> none;
    for (CLI::App* const command : app.get_subcommands(nullptr)) {
        none = {"[]"};
        takeBracketsAsTheyAre(*command, none);
    }
}

void addCommands(CLI::App& app, Context& context) {
    addEncode(app, context);
    addKinds(app, context);
    addValue(app, context);
    addDecode(app, context);
    addLayout(app, context);
    addAddress(app, context);
    addTables(app, context);
    addSchema(app, context);
    addLiveCommands(app, context);
    addRun(app, context);
    addLog(app, context);
}

/// The message in one line.
std::string oneLine(std::string text) {
    for (char& c : text) {
        c = c == '\n' ? ' ' : c;
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// WrongUsage when the first argument is neither an option nor a command, or there is none.
void requireCommand(CLI::App const& app, std::vector<std::string> const& arguments, std::string const& help) {
    if (!arguments.empty() && arguments[0].starts_with('-')) {
        return;
    }
    std::vector<std::string> known;
    for (CLI::App const* const command : app.get_subcommands({})) {
        if (!arguments.empty() && command->check_name(arguments[0])) {
            return;
        }
        known.push_back(command->get_name());
    }
    if (help == "help") {
        known.insert(known.end(), {"help", "quit"});
    }
    if (arguments.empty()) {
        throw WrongUsage("which command? There are " + enumerate(known) + "; see " + help);
    }
    throw WrongUsage("no command " + shown(arguments[0]) + suggest(arguments[0], known));
}

} // namespace

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
    return coloured("loamtunnel:", colourErr) + ' ' + where + message;
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

void eachLine(Context& context, std::string const& file,
              std::function<void(std::string const& text, std::string const& where)> const& visit,
              bool onlyWholeLineComments) {
    withInput(context, file, [&](std::istream& stream, std::string const& name) {
        std::string line;
        for (U64 number = 1; nextLine(stream, line, number == 1); ++number) {
            if (std::size_t const comment = line.find('#');
                comment != line.npos && (!onlyWholeLineComments || split(line.substr(0, comment)).empty())) {
                line.resize(comment);
            }
            if (split(line).empty()) {
                continue;
            }
            std::string const where = name + ':' + std::to_string(number);
            try {
                visit(line, where);
            } catch (NoConnection const&) {
                throw;
            } catch (TimedOut const&) {
                throw;
            } catch (Broken const&) {
                throw;
            } catch (Refused const& failure) {
                context.report(where + ": " + failure.what());
            }
        }
    });
}

std::vector<CommandWords> shellCommands(Context& context) {
    CLI::App app;
    addSchema(app, context);
    addShellCommands(app, context);
    std::vector<CommandWords> all;
    for (CLI::App const* const command : app.get_subcommands({})) {
        CommandWords& words = all.emplace_back();
        words.name = command->get_name();
        for (CLI::Option const* const option : command->get_options()) {
            if (!option->get_positional()) {
                words.options.push_back("--" + option->get_single_name());
            } else {
                words.arguments.push_back(argumentNamed(option->get_single_name()));
            }
        }
    }
    return all;
}

int run(std::vector<std::string> const& arguments, Context context) {
    bool const isInShell = context.live != nullptr;
    std::string const help = isInShell ? "help" : "loamtunnel --help";
    CLI::App app("Rows of the chip tables, and the types and values of the model",
                 isInShell ? "" : "loamtunnel");
    app.set_version_flag("--version", "loamtunnel " LOAM_VERSION);
    app.require_subcommand(1);
    app.footer("`loamtunnel COMMAND --help` tells more. Results go to the standard output, messages to the\n"
               "standard error. Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 differs, 4 not "
               "there, 5 timed\n"
               "out, 6 no connection.");
    if (isInShell) {
        addSchema(app, context);
        addShellCommands(app, context);
        app.description("The commands of the shell; help COMMAND tells more, quit ends it");
        app.footer("");
    } else {
        addCommands(app, context);
    }
    if (arguments == std::vector<std::string>{"--manual-page"}) {
        context.out << manualPage(app, LOAM_VERSION) << std::flush;
        return context.status;
    }
    if (arguments.size() == 2 && arguments.front() == "--manual-page") { // of a command
        context.out << manualPage(app, arguments.back(), LOAM_VERSION) << std::flush;
        return context.status;
    }
    if (arguments == std::vector<std::string>{"--commands"}) {
        context.out << join(commandNames(app), "\n") << std::endl;
        return context.status;
    }
    if (!arguments.empty() && arguments.front() == "--complete") {
        for (Candidate const& each : candidates(app, {arguments.begin() + 1, arguments.end()})) {
            context.out << Kor::plainText(each.text) << (each.meaning.empty() ? "" : "\t") << each.meaning
                        << '\n';
        }
        context.out.flush();
        return context.status;
    }
    auto const fails = [&](std::string const& message, int status) {
        context.note(message);
        context.status = status;
    };
    context.out.exceptions(std::ios::badbit); // whatever does not arrive ends the command
    try {
        try {
            requireCommand(app, arguments, help);
            std::vector<std::string> words = arguments;
            takeBracketsAsTheyAre(app, words);
            std::ranges::reverse(words); // it wants the last one first
            app.parse(std::move(words));
        } catch (CLI::CallForHelp const&) {
            context.out << app.help();
        } catch (CLI::CallForAllHelp const&) {
            context.out << app.help("", CLI::AppFormatMode::All);
        } catch (CLI::CallForVersion const& version) {
            context.out << version.what() << '\n';
        } catch (CLI::ParseError const& error) {
            std::string const command =
                app.get_subcommands().empty() ? "" : ' ' + app.get_subcommands()[0]->get_name();
            fails(oneLine(error.what()) + "; see " +
                      (isInShell ? "help" + command : "loamtunnel" + command + " --help"),
                  wrongUsageStatus);
        } catch (Broken const&) {
            throw;
        } catch (Refused const& failure) {
            fails(failure.what(), statusOf(failure)); // what came before it is printed all the same
        }
        context.out.flush();
    } catch (Broken const& failure) {
        if (isInShell) {
            throw; // nothing that follows can be done
        }
        fails(failure.what(), statusOf(failure));
    } catch (Refused const& failure) {
        fails(failure.what(), statusOf(failure));
    } catch (std::ios::failure const&) {
        fails("cannot write the results", refusedStatus);
    } catch (std::bad_alloc const&) {
        fails("there is no memory left", refusedStatus);
    } catch (std::exception const& exception) { // of the system: too few descriptors, say
        fails(exception.what(), refusedStatus);
    }
    return context.status;
}

} // namespace tool
