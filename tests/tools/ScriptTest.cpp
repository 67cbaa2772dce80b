/// Paths and scripts: what each command does and refuses, and all types of the registry by their names alone.

#include "tools/Script.h"

#include "reflect/type/Dir.h"
#include "tests/tools/Process.h"

#include <sstream>
#include <string>
#include <vector>

namespace {

using support::has;
using support::loamtunnel;
using support::Outcome;

/// What a line prints, or "refused: " and the words.
struct Session {
    std::ostringstream out;
    tool::Script script{out};

    std::string operator()(std::string const& line) {
        out.str("");
        try {
            script.line(line);
        } catch (tool::Refused const& refused) {
            return "refused: " + std::string(refused.what());
        }
        std::string text = out.str();
        return text.substr(0, text.find_last_not_of('\n') + 1);
    }
};

struct Step {
    std::string line, expected;
};

void expectAll(Session& session, std::vector<Step> const& steps) {
    for (Step const& step : steps) {
        EXPECT_EQ(session(step.line), step.expected) << step.line;
    }
}

TEST(Script, WritesReadsAndDeletes) {
    Session session;
    std::string const key = "EvecKey fapMask=3 index=4";
    std::string const keyText = "Value('Hardware::LoamTunnel::EvecKey', ** {'fapMask': '3', 'index': 4})";
    std::string const shortOwner = "EvecOwner key=(" + key + ") app=vtAppMpls";
    std::string const owner =
        "Value('Hardware::LoamTunnel::EvecOwner', ** {'key': " + keyText + ", 'app': 'vtAppMpls'})";
    expectAll(session,
              {
                  {"  # nothing", ""},
                  {"new EvecStatus evec # a comment", ""},
                  {"get evec", "evec"},
                  {"set evec.owner EvecOwner key=(" + key + ") app=vtAppMpls", ""},
                  {"get evec.owner[" + key + "]", shortOwner},
                  {"get evec.259[ " + keyText + " ]", shortOwner},
                  {"get evec.owner", "evec.owner[" + key + "] = " + shortOwner},
                  {"get evec.owner[" + key + "].key.index", "4"},
                  {"set evec.owner[" + key + "] " + owner, ""},
                  {"list evec.owner", key},
                  {"new EvecKey same 3 0x4", ""},
                  {"tree same", "same: EvecKey\n  fapMask = 3\n  index = 4"},
                  {"get evec.owner[$same].app", "vtAppMpls"},
                  {"del evec.owner[$same]", ""},
                  {"get evec.owner", ""},
                  {"get evec.owner[$same].key.index", "1024"}, // of the default
                  {"new TagPopPushStatus tags", ""},
                  {"set tags.enabled true", ""},
                  {"get tags.enabled", "true"},
                  {"get tags.version", "1"},
                  {"new Kor::Dir names", ""},
                  {"set names.entry[tags] tags", ""},
                  {"get names.entry['tags'].enabled", "true"},
                  {"tree names 1", "names: Dir\n  entry[tags]: TagPopPushStatus ..."},
                  {"set names.entry[tags] None", ""},
                  {"new LifAppConfig lone vtAppMpls", ""},
                  {"set lone.reqCount[lifAcMp] 1", ""},
                  {"list lone.reqCount", "AradLifAcMp"},
                  {"set lone.reqCount[lifTrill] 1", "refused: lone.reqCount[...]: 'lifTrill' is no "
                                                    "AradLifEntry; one is such as AradLifEntry lifType=..."},
                  {"set lone.reqCount[AradLifEntry lifType=lifAcMp dword0=0x1_] 1",
                   "refused: lone.reqCount[...].dword0: '0x1_' is no number such as 20 or 0x14"},
                  {"new Kor::String8 text it's", "refused: a ' is missing at the end"},
                  {"new Kor::String8 text 'it\\'s # [' # so", ""},
                  {"get text", "'it\\'s # ['"},
                  {"del text", ""},
                  {"list",
                   "evec: EvecStatus\nlone: LifAppConfig\nnames: Dir\nsame: EvecKey\ntags: TagPopPushStatus"},
              });
}

TEST(Script, SaysWhatIsWrong) {
    Session session;
    for (char const* line : {"new LifAppConfigDir lif", "set lif.appConfig[vtAppMpls]", "new AradLifAcMp v",
                             "new FapTypeProperties fap", "new EvecStatus evec"}) {
        EXPECT_EQ(session(line), "");
    }
    std::string const types = "refused: no type LifAppConfi; did you mean LifAppConfig, LifAppConfigDir or ";
    expectAll(
        session,
        {
            {"nw x y", "refused: no command nw; did you mean new?"},
            {"get lif x", "refused: the line is to be get PATH"},
            {"new LifAppConfigDir", "refused: new takes a type and a name, such as new LifAppConfigDir lif"},
            {"new LifAppConfigDir lif", "refused: lif is there already"},
            {"new LifAppConfigDir 'odd.name[1]'", ""}, // whose path is in quotes
            {"list 'odd.name[1]'", "appConfig[VtAppId]: LifAppConfig"},
            {"new OutAcConfig x", "refused: OutAcConfig is not made by itself"},
            {"new LifAppConfig x", "refused: a new LifAppConfig takes (app: VtAppId), not 0 arguments"},
            {"new LifAppConfig x vtAppMpl",
             "refused: app: no VtAppId is called vtAppMpl; did you mean vtAppMpls?"},
            {"new U8 u +300", "refused: U8: 300 is too large; the field has 8 bits, at most 255"},
            {"set v.vlanEditProfile 9",
             "refused: v.vlanEditProfile: 9 is too large; the field has 3 bits, at most 7"},
            {"set v.lifType lifAcMp", "refused: v.lifType: lifType does not support set"},
            {"get lf", "refused: 'lf' is the name of nothing; did you mean lif?"},
            {"get lif.appConfg",
             "refused: lif, of type LifAppConfigDir, has no attribute appConfg; did you mean "
             "appConfig?"},
            {"get lif.999",
             "refused: lif, of type LifAppConfigDir, has no attribute 999; there are appConfig"},
            {"get lif.appConfig.app", "refused: lif.appConfig has keys; give one, lif.appConfig[VtAppId]"},
            {"get lif.appConfig[vtAppMpls", "refused: a ] is missing at the end"},
            {"get lif.appConfig[vtAppMpls)]", "refused: a ) closes what is not open"},
            {"get lif.appConfig[vtAppMpls]x",
             "refused: 'x' stands behind lif.appConfig[vtAppMpls] where only . or [ can; a path is such as "
             "lif.appConfig[vtAppMpls].app"},
            {"get lif.appConfig[vtAppEvpn].app", "refused: lif.appConfig[vtAppEvpn] is not there"},
            {"get lif.appConfig[vtAppMpls].app[1]", "refused: lif.appConfig[vtAppMpls].app takes no key"},
            {"set lif 3", "refused: lif is not an attribute; set one of its attributes"},
            {"set lif.appConfig[vtAppEvpn] 3",
             "refused: lif.appConfig[vtAppEvpn] is made from its key alone; '3' is too much"},
            {"set lif.appConfig[vtAppMpls].reqCount[$v]",
             "refused: lif.appConfig[vtAppMpls].reqCount[AradLifAcMp]: a value is missing; give a U32"},
            {"set lif.appConfig[vtAppMpls].reqCount[$lif] 1",
             "refused: lif.appConfig[vtAppMpls].reqCount[...]: $lif is of type LifAppConfigDir, not "
             "AradLifEntry"},
            {"set fap.properties[fapTypeArad] lif",
             "refused: lif is of type LifAppConfigDir, not FapTypeProperties::Properties"},
            {"set fap.handleInitialized 1",
             "refused: fap.handleInitialized is an operation; it is not set but called"},
            {"get fap.handleInitialized",
             "refused: fap.handleInitialized is an operation; it is not read but called"},
            {"call fap.initialized", "refused: fap.initialized is not an operation, so it cannot be called"},
            {"call fap.handleInitialized 1", "refused: handleInitialized takes (), not 1 argument"},
            {"call v.writeToChipFormat jerichoChip8 0",
             "refused: writeToChipFormat takes a buffer, which has no text; see loamtunnel encode for rows"},
            {"del lif.appConfig[vtAppEvpn]", "refused: lif.appConfig[vtAppEvpn] is not there"},
            {"del fap.initialized", "refused: fap.initialized cannot be deleted: it is not under a key"},
            {"watch v", "refused: v is in a value, which tells nobody of changes; watch an object"},
            {"unwatch lif", "refused: lif is not watched"},
            {"tree lif x", "refused: 'x' is no depth from 0 to 1000"},
            {"tree lif 1001", "refused: '1001' is no depth from 0 to 1000"},
            {"set evec.entry[EvecKey index=1] (EvecEntry key=(EvecKey index=2))",
             "refused: evec.entry[EvecKey index=1] cannot take a value whose key is EvecKey index=2"},
        });
}

TEST(Script, TellsOfChangesBelow) {
    Session session;
    std::string const mpls = "lif.appConfig[vtAppMpls]";
    std::string const lif = "[AradLifAcMp vsi=1]";
    expectAll(session,
              {
                  {"new LifAppConfigDir lif", ""},
                  {"watch lif", ""},
                  {"set " + mpls, "* " + mpls + " = " + mpls},
                  {"set " + mpls + ".reqCount" + lif + " 3", "* " + mpls + ".reqCount" + lif + " = 3"},
                  {"set " + mpls + ".reqCount" + lif + " 3", ""},
                  {"watch " + mpls + ".reqCount" + lif, ""}, // a second one, on the one key
                  {"unwatch lif", ""},
                  {"set " + mpls + ".reqCount[AradLifAcMp vsi=2] 3", ""},
                  {"del " + mpls + ".reqCount" + lif, "* " + mpls + ".reqCount" + lif + " deleted"},
                  {"watch lif", ""}, // what is there already is heard as well
                  {"set " + mpls + ".reqCount[AradLifAcMp vsi=2] 0",
                   "* " + mpls + ".reqCount[AradLifAcMp vsi=2] = 0"},
                  {"del " + mpls, "* " + mpls + " deleted\n* " + mpls + " deleted"}, // by both watches
              });
}

TEST(Script, HearsOfWhatIsMadeAgain) {
    Session session;
    std::string const mpls = "lif.appConfig[vtAppMpls]";
    std::string const made = "* " + mpls + " = " + mpls;
    std::string const set = "set " + mpls + ".reqCount[AradLifAcMp vsi=1] 3";
    for (std::string const watched : {"", ".reqCount", ".reqCount[AradLifAcMp vsi=1]"}) {
        for (std::string const& line : {std::string("new LifAppConfigDir lif"), "set " + mpls, set}) {
            EXPECT_EQ(session(line), "");
        }
        expectAll(session, {
                               {"watch " + mpls + watched, ""},
                               {"set lif.appConfig[vtAppEvpn]", ""}, // another one
                               {"set lif.appConfig[vtAppEvpn].reqCount[AradLifAcMp vsi=1] 3", ""},
                               {"del " + mpls, "* " + mpls + " deleted"},
                               {"set " + mpls, made},
                           });
        EXPECT_TRUE(session(set).starts_with("* " + mpls + ".reqCount[AradLifAcMp vsi=1] = 3")) << watched;
        EXPECT_EQ(session("unwatch " + mpls + watched), "");
        EXPECT_EQ(session("del " + mpls), "");
        EXPECT_EQ(session("del lif"), "");
    }
}

std::string repeated(std::string const& piece, std::size_t count) {
    std::string all;
    all.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        all += piece;
    }
    return all;
}

/// Were one of these a call within a call, or its time quadratic, this would not end.
TEST(Script, TakesMegabytes) {
    Session session;
    std::size_t const many = 200'000;
    EXPECT_EQ(session("new EvecStatus x"), "");
    auto const nested = [](std::size_t depth) {
        return "get " + repeated("x.owner[$", depth) + "k" + repeated("].key", depth);
    };
    EXPECT_EQ(session("new EvecKey k"), "");
    EXPECT_EQ(session(nested(30)), session("get k"));
    std::string const tooDeep = session(nested(60'000));
    EXPECT_EQ(tooDeep.substr(0, 34), "refused: $x.owner[$x.owner[$x.owne");
    EXPECT_TRUE(has(tooDeep, "is nested too deeply: a path in a path, 32 times"));
    EXPECT_EQ(session("get " + repeated("x.owner[$", many)), "refused: a ] is missing at the end");
    EXPECT_EQ(session("new U32 n " + repeated("( ", many) + "5" + repeated(")", many)), "");
    EXPECT_EQ(session("get n"), "5");
    EXPECT_EQ(session("new U32 m (5) (6)"), "refused: U32: '(5) (6)' is no number such as 20 or 0x14");
    EXPECT_EQ(session("new U32 m " + repeated("(", many) + "5) (6" + repeated(")", many)),
              session("new U32 m (5) (6)"));
    std::string fields;
    for (std::size_t i = 0; i < many; ++i) {
        fields += " f" + std::to_string(i) + "=1";
    }
    EXPECT_EQ(session("new AradLifAcMp v" + fields).substr(0, 38), "refused: AradLifAcMp has no field f0; ");
    EXPECT_EQ(session("new AradLifAcMp v" + fields + " f7=2"), "refused: f7 is given twice");
}

/// Directories in one another, as deep as nobody would have them.
TEST(Script, TakesDeepTrees) {
    auto const chain = [](std::size_t depth) {
        auto top = Kor::makePtr<Kor::Dir>("d");
        for (; depth > 1; --depth) {
            auto const above = Kor::makePtr<Kor::Dir>("d");
            above->entityIs(top);
            top = above;
        }
        return top;
    };
    std::size_t const many = 20'000; // more than any stack has room for
    tool::Roots roots;
    roots.add("top", Kor::boxOf(chain(many)));
    std::string deepest;
    Kor::Forms::walk(roots.at("top"), 1000,
                     [&](auto const& node) { deepest = nodeLine(node, Kor::Forms::Form::shortForm); });
    EXPECT_EQ(deepest, std::string(2000, ' ') + "entry[d]: Dir ...");
    auto const listed = Kor::Forms::list(roots.at("top" + repeated(".entry[d]", many - 1)));
    ASSERT_EQ(listed.size(), 1u);
    EXPECT_EQ(listed[0].text, "entry[Name]: Entity");
    auto const innermost = Kor::Forms::itemsAt(roots.at("top" + repeated(".entry[d]", many - 1)))[0].value;
    EXPECT_EQ(Kor::Forms::textOf(innermost).size(), 2 * many + 1);
    EXPECT_THROW(tool::Watch(roots.at("top"), nullptr), tool::Refused);
    roots.del("top"); // ends them all

    // What gets too deep under a watch is heard of, with a note.
    std::vector<std::string> told;
    auto const dir = chain(tool::Watch::deepest + 1);
    Kor::Ptr<Kor::Entity> last = dir;
    while (auto const next = Kor::ptrCast<Kor::Dir>(last)->entry("d")) {
        last = next;
    }
    roots.add("top", Kor::boxOf(dir));
    tool::Watch const watch(roots.at("top"), [&](auto const& change) {
        told.push_back(changeLine(change, Kor::Forms::Form::shortForm));
    });
    auto const beyond = Kor::makePtr<Kor::Dir>("beyond");
    Kor::ptrCast<Kor::Dir>(last)->entityIs(beyond);
    beyond->entityIs(Kor::makePtr<Kor::Dir>("unheard"));
    ASSERT_EQ(told.size(), 1u);
    EXPECT_TRUE(
        told[0].ends_with("nested too deeply: more than 1000 objects in one another are not watched)"))
        << told[0];
}

TEST(Script, StopsOrGoesOn) {
    std::string const lines = "new U32 number 5\nget number\nget m\nget number\n";
    std::string const message = "loamtunnel: stdin:3: 'm' is the name of nothing; there are number\n";
    Outcome const stopped = loamtunnel({"run", "-"}, lines);
    EXPECT_EQ(stopped.out, "5\n");
    EXPECT_EQ(stopped.err, message);
    EXPECT_EQ(stopped.status, 1);
    Outcome const went = loamtunnel({"run", "--keep-going", "-"}, lines);
    EXPECT_EQ(went.out, "5\n5\n");
    EXPECT_EQ(went.err, message);
    EXPECT_EQ(went.status, 1);
    EXPECT_EQ(loamtunnel({"run"}).status, 2);
    EXPECT_EQ(loamtunnel({"run", "-"}, "new LifAppConfigDir lif\nget lif.appConfig[vtAppMpls].app\n").status,
              4);
    EXPECT_TRUE(
        has(loamtunnel({"run", "--json", "-"}, "new LifAppConfigDir lif\nset lif.appConfig[vtAppMpls]\n"
                                               "list\nlist lif.appConfig\nlist lif.appConfig[vtAppMpls]\n")
                .out,
            R"("event":"list","path":"lif.appConfig[vtAppMpls]","type":"LifAppConfig",)"));
    EXPECT_EQ(loamtunnel({"run", "--format", "table", "--no-headings", "-"}, "new U32 n 5\nget n\n").out,
              "  get  n  U32  5\n");
    EXPECT_EQ(loamtunnel({"run", "/nowhere"}).err,
              "loamtunnel: cannot read /nowhere: No such file or directory\n");
}

TEST(Script, Example) {
    Outcome const outcome = loamtunnel({"run", LOAM_EXAMPLES "/requests.txt"});
    EXPECT_EQ(outcome.out, support::contentOf(LOAM_EXAMPLES "/requests.out"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

} // namespace
