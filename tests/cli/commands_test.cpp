// The built program, run as a user or a script would run it: output, exit
// status, and what it leaves on disk.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "runcli.h"
#include "tarvex/tarvex.h"

using namespace clitest;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string kStation = ExampleFile("station.xml");
const std::string kRoot = "Насосная_станция_НС-1";

class Cli : public testing::Test {
protected:
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string Path(const std::string& name) const { return dir + "/" + name; }

    std::string dir = ScratchDir();
};

// A tree as the library reads it from an XML file.
void ReadXml(const std::string& path, CElement& root) {
    ASSERT_TRUE(root.ReadFromFile(tarvex::FromUtf8(path))) << path;
}

TEST_F(Cli, HelpForEachCommandAndUsageErrors) {
    for (const char* command : {"calc", "convert", "diff", "eval", "deps"}) {
        RunResult help = RunCli({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.out, StartsWith(std::string("usage: tarvex ") + command + " "));
        EXPECT_EQ(help.err, "");
    }
    RunResult top = RunCli({"--help"});
    EXPECT_EQ(top.status, 0);
    EXPECT_THAT(top.out, HasSubstr("  deps     "));

    RunResult none = RunCli({});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, StartsWith("usage: tarvex COMMAND"));

    RunResult unknown = RunCli({"calculate", kStation});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "tarvex: unknown command 'calculate' (see 'tarvex --help')\n");

    RunResult badOption = RunCli({"calc", kStation, "--bogus"});
    EXPECT_EQ(badOption.status, 2);
    EXPECT_EQ(badOption.err, "tarvex calc: unknown option '--bogus' (see 'tarvex calc --help')\n");
    EXPECT_EQ(badOption.out, "");

    RunResult badChoice = RunCli({"convert", kStation, Path("x"), "--to", "yaml"});
    EXPECT_EQ(badChoice.status, 2);
    EXPECT_THAT(badChoice.err, HasSubstr("invalid value 'yaml' for --to (one of: xml, json)"));
    EXPECT_FALSE(std::filesystem::exists(Path("x")));

    EXPECT_EQ(RunCli({"convert", kStation}).status, 2);
    EXPECT_EQ(RunCli({"eval", "1", "--at", "x"}).err,
              "tarvex eval: --at needs --doc (see 'tarvex eval --help')\n");
}

TEST_F(Cli, MissingAndMalformedDocumentsAreOneLineErrors) {
    RunResult missing = RunCli({"calc", Path("nope.xml")});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err,
              "tarvex calc: cannot open '" + Path("nope.xml") + "': No such file or directory\n");

    WriteFile(Path("notes.txt"), "Масса = 5\n");
    RunResult text = RunCli({"calc", Path("notes.txt")});
    EXPECT_EQ(text.status, 2);
    EXPECT_EQ(text.err, "tarvex calc: '" + Path("notes.txt") +
                            "' is not an element document (neither XML nor JSON)\n");

    // Cut short in the third element: the reader got two before it stopped.
    WriteFile(Path("cut.xml"),
              "<?xml version=\"1.0\"?><Element name=\"a\" id=\"0\" uid=\"1\"><Elements>"
              "<Element name=\"b\" id=\"1\" uid=\"2\"></Element>"
              "<Element name=\"c\" id=\"2\" uid=\"3\"><Parameters>");
    RunResult cut = RunCli({"calc", Path("cut.xml")});
    EXPECT_EQ(cut.status, 2);
    EXPECT_EQ(cut.err, "tarvex calc: '" + Path("cut.xml") +
                           "' is not a valid XML element document: the reader stopped after 2 "
                           "elements\n");

    WriteFile(Path("tags.json"), "{\"name\":\"a\",\"Tags\":[\"x\"]}");
    RunResult json = RunCli({"convert", Path("tags.json"), Path("out.xml")});
    EXPECT_EQ(json.status, 2);
    EXPECT_THAT(json.err, HasSubstr("is not a valid JSON element document"));
    EXPECT_FALSE(std::filesystem::exists(Path("out.xml")));

    // The XML reader wants a declaration, and the message says so.
    WriteFile(Path("bare.xml"), "  <Element name=\"a\" id=\"0\" uid=\"1\"></Element>");
    EXPECT_THAT(RunCli({"eval", "1", "--doc", Path("bare.xml")}).err,
                HasSubstr("the reader stopped at the start (it has no <?xml ...?> declaration)\n"));
    WriteFile(Path("garbage.xml"), "<?xml version=\"1.0\"?><<<>>>");
    EXPECT_THAT(RunCli({"eval", "1", "--doc", Path("garbage.xml")}).err,
                HasSubstr("the reader stopped at the start\n"));
}

TEST_F(Cli, CalcSummarisesAndListsFormulaErrors) {
    RunResult calc = RunCli({"calc", kStation});
    EXPECT_EQ(calc.status, 0) << calc.err;
    EXPECT_EQ(calc.err, "");
    const std::string summary =
        std::regex_replace(calc.out, std::regex("in [0-9.]+ ms"), "in T ms");
    EXPECT_EQ(summary, kStation +
                           ": 7 elements, 28 parameters, 13 formulas, 1 error, calculated in T ms\n"
                           "  error: " +
                           kRoot +
                           "/Трубопровод_Т-1/Задвижка_ЗД-1.Перепад: Ошибка в выражении: \"Непарные "
                           "скобки\" (строка 0, позиция 27)\n");

    RunResult quiet = RunCli({"calc", "-q", kStation});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.out, "");
}

TEST_F(Cli, CalcChangedShowsOnlyWhatMoved) {
    RunResult changed = RunCli({"calc", "--changed", kStation, "-o", Path("calculated.xml")});
    ASSERT_EQ(changed.status, 0) << changed.err;
    EXPECT_THAT(changed.out, HasSubstr(kRoot + ".Масса: 0 -> 3013.75\n"));
    EXPECT_THAT(changed.out, HasSubstr(kRoot + "/Насос_Н-1.Обозначение: \"\" -> НС-1/Насос_Н-1\n"));
    EXPECT_THAT(changed.out,
                HasSubstr(kRoot + "/Трубопровод_Т-1/Опора[2].Пролёт: \"\" -> 21.25\n"));
    EXPECT_EQ(std::count(changed.out.begin(), changed.out.end(), '\n'), 13);

    // Calculated once more, nothing moves.
    RunResult again = RunCli({"calc", "--changed", Path("calculated.xml")});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, "");
}

TEST_F(Cli, CalcThenConvertBothWaysKeepsTheCalculatedTree) {
    ASSERT_EQ(RunCli({"calc", kStation, "-o", Path("calculated.xml")}).status, 0);
    RunResult toJson = RunCli({"convert", Path("calculated.xml"), Path("calculated.json")});
    ASSERT_EQ(toJson.status, 0) << toJson.err;
    EXPECT_EQ(toJson.out, "");
    // JSON is written as UTF-16LE, as the library's reader takes it.
    EXPECT_THAT(ReadFile(Path("calculated.json")).substr(0, 4), std::string("{\0\r\0", 4));
    // Content decides, not the name: this ".xml" holds JSON and comes back
    // as XML through --to.
    std::filesystem::copy_file(Path("calculated.json"), Path("json-inside.xml"));
    ASSERT_EQ(RunCli({"convert", Path("json-inside.xml"), Path("back"), "--to", "xml"}).status, 0);

    CElement calculated, back, original;
    ReadXml(Path("calculated.xml"), calculated);
    ReadXml(Path("back"), back);
    ReadXml(kStation, original);
    EXPECT_TRUE(back.IsEqualTo(calculated));
    EXPECT_EQ(ReadFile(Path("back")), ReadFile(Path("calculated.xml")));
    EXPECT_FALSE(original.IsEqualTo(calculated));
    original.CalculateParameters();
    EXPECT_TRUE(original.IsEqualTo(calculated));
}

TEST_F(Cli, FailedCommandsLeaveTheOutputAlone) {
    WriteFile(Path("out.json"), "precious");
    WriteFile(Path("cut.xml"), "<Element name=\"a\"><Elements><Element name=\"b\">");
    EXPECT_EQ(RunCli({"convert", Path("cut.xml"), Path("out.json")}).status, 2);
    EXPECT_EQ(RunCli({"calc", Path("cut.xml"), "-o", Path("out.json")}).status, 2);
    EXPECT_EQ(ReadFile(Path("out.json")), "precious");

    RunResult unwritable = RunCli({"convert", kStation, Path("no/such/dir/out.json")});
    EXPECT_EQ(unwritable.status, 2);
    EXPECT_EQ(unwritable.err,
              "tarvex convert: cannot write '" + Path("no/such/dir/out.json") + "'\n");
    // A target that is no plain file is refused rather than replaced.
    std::filesystem::create_directory(Path("folder"));
    RunResult folder = RunCli({"calc", kStation, "-o", Path("folder")});
    EXPECT_EQ(folder.status, 2);
    EXPECT_EQ(folder.err,
              "tarvex calc: cannot write '" + Path("folder") + "': not a regular file\n");
    EXPECT_TRUE(std::filesystem::is_directory(Path("folder")));
    std::filesystem::remove(Path("folder"));
    // No temporary file stays behind either.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir),
                            std::filesystem::directory_iterator()),
              2);
}

TEST_F(Cli, OutputThroughALinkOrToStandardOutput) {
    WriteFile(Path("real.xml"), "old");
    std::filesystem::create_symlink(Path("real.xml"), Path("link.xml"));
    ASSERT_EQ(RunCli({"convert", kStation, Path("link.xml")}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link.xml")));
    CElement viaLink;
    ReadXml(Path("real.xml"), viaLink);
    EXPECT_STREQ(reinterpret_cast<const char*>(tarvex::ToUtf8(viaLink.GetName()).c_str()),
                 kRoot.c_str());

    RunResult piped = RunCli({"calc", "-q", kStation, "-o", "-", "--format", "xml"});
    EXPECT_EQ(piped.status, 0);
    WriteFile(Path("piped.xml"), piped.out);
    CElement fromPipe, fromFile;
    ReadXml(Path("piped.xml"), fromPipe);
    ASSERT_EQ(RunCli({"calc", kStation, "-o", Path("file.xml")}).status, 0);
    ReadXml(Path("file.xml"), fromFile);
    EXPECT_TRUE(fromPipe.IsEqualTo(fromFile));
}

TEST_F(Cli, EvalPrintsTheResultAloneOrTheErrorWithACaret) {
    RunResult sum = RunCli({"eval", "2 + 3 * 4"});
    EXPECT_EQ(sum.status, 0);
    EXPECT_EQ(sum.out, "14\n");
    EXPECT_EQ(RunCli({"eval", "=\"a\" & 1"}).out, "a1\n");

    RunResult syntax = RunCli({"eval", "2 + * 3"});
    EXPECT_EQ(syntax.status, 1);
    EXPECT_EQ(syntax.out, "");
    EXPECT_EQ(syntax.err, "Ошибка в выражении: \"Синтаксическая ошибка\" (строка 0, позиция 4)\n"
                          "  2 + * 3\n"
                          "      ^\n");
    // The caret stands under the right line of a formula of several.
    RunResult second = RunCli({"eval", "1 +\n\t* 2"});
    EXPECT_THAT(second.err, HasSubstr("\n  \t* 2\n  \t^\n"));
    // At the end of the text the caret goes just past it.
    EXPECT_THAT(RunCli({"eval", "(Давление"}).err, HasSubstr("\n  (Давление\n           ^\n"));

    RunResult division = RunCli({"eval", "1 / 0"});
    EXPECT_EQ(division.status, 1);
    EXPECT_EQ(division.err, "Ошибка при вычислении формулы: Ошибка вычисления выражения "
                            "(операция деления): деление на ноль.\n");
}

TEST_F(Cli, EvalOnAnElementOfADocument) {
    auto at = [&](const std::string& formula, const std::string& path) {
        return RunCli({"eval", formula, "--doc", kStation, "--at", path});
    };
    EXPECT_EQ(at("Масса_агрегата + Масса_рамы", kRoot + "/Насос_Н-1").out, "970\n");
    EXPECT_EQ(at("parent.Код & \"/\" & name", kRoot + "/Насос_Н-2").out, "НС-1/Насос_Н-2\n");
    // Values as stored: the document is not calculated first.
    EXPECT_EQ(at("Масса", kRoot).out, "0\n");
    EXPECT_EQ(at("name & \":\" & previous.name", kRoot + "/Трубопровод_Т-1/Опора[2]").out,
              "Опора:Опора\n");
    EXPECT_EQ(RunCli({"eval", "Код", "--doc", kStation}).out, "НС-1\n");

    RunResult nowhere = at("1", kRoot + "/Насос_Н-3");
    EXPECT_EQ(nowhere.status, 2);
    EXPECT_EQ(nowhere.err,
              "tarvex eval: no element '" + kRoot + "/Насос_Н-3' in '" + kStation + "'\n");
}

TEST(ReadmeExample, IsTheFileTheSuiteCompiles) {
    const std::string readme = ReadFile(std::string(TARVEX_SOURCE_DIR) + "/README.md");
    std::string code = ReadFile(ExampleFile("readme_example.cpp"));
    // The README indents code blocks by four spaces.
    std::string indented = "    ";
    for (char ch : code) {
        indented += ch;
        if (ch == '\n') indented += "    ";
    }
    indented.resize(indented.size() - 4);
    std::string blankLinesTrimmed = std::regex_replace(indented, std::regex("\n    \n"), "\n\n");
    EXPECT_THAT(readme, HasSubstr(blankLinesTrimmed));
}

} // namespace

namespace {

// The example with a few edits, as the second side of a comparison.
std::string EditedStation() {
    std::string text = ReadFile(kStation);
    auto replace = [&](const std::string& from, const std::string& to) {
        size_t at = text.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        text.replace(at, from.size(), to);
    };
    replace("name=\"Мощность\" value=\"75\"", "name=\"Мощность\" value=\"90\"");
    replace("\"Насос_Н-2\"", "\"Насос_Н-2А\"");
    replace("=Длина * Масса_метра\"", "=Длина * Масса_метра * 1.05\"");
    replace("<Parameter name=\"Марка\" value=\"ЦНС 38-154\"",
            "<Parameter name=\"Исполнение\" value=\"B\"");
    // A third support at the end of the pipeline.
    replace("      </Elements>\n    </Element>\n  </Elements>",
            "        <Element name=\"Опора\" id=\"7\" uid=\"-1\"></Element>\n"
            "      </Elements>\n    </Element>\n  </Elements>");
    return text;
}

TEST_F(Cli, DiffListsDifferencesByPathAndAnswersLikeDiff) {
    WriteFile(Path("edited.xml"), EditedStation());
    RunResult diff = RunCli({"diff", kStation, Path("edited.xml")});
    EXPECT_EQ(diff.status, 1) << diff.err;
    EXPECT_EQ(diff.out, "~ " + kRoot +
                            "/Насос_Н-1.Мощность: 75 -> 90\n"
                            "~ " +
                            kRoot +
                            "/Насос_Н-2: renamed to Насос_Н-2А\n"
                            "- " +
                            kRoot +
                            "/Насос_Н-2.Марка\n"
                            "+ " +
                            kRoot +
                            "/Насос_Н-2.Исполнение = B\n"
                            "~ " +
                            kRoot +
                            "/Трубопровод_Т-1.Масса: =Длина * Масса_метра -> =Длина * "
                            "Масса_метра * 1.05\n"
                            "+ " +
                            kRoot + "/Трубопровод_Т-1/Опора[3]/\n");

    RunResult reversed = RunCli({"diff", Path("edited.xml"), kStation});
    EXPECT_THAT(reversed.out, HasSubstr("- " + kRoot + "/Трубопровод_Т-1/Опора[3]/\n"));

    RunResult ignoring =
        RunCli({"diff", kStation, Path("edited.xml"), "--ignore", "мощность,Марка,Исполнение"});
    EXPECT_EQ(ignoring.status, 1);
    EXPECT_THAT(ignoring.out, testing::Not(HasSubstr("Мощность")));
    EXPECT_THAT(ignoring.out, testing::Not(HasSubstr("Марка")));

    // Same content in the other format: no difference, status 0. Formula
    // values do not count, as in the library: a calculated copy is equal.
    ASSERT_EQ(RunCli({"calc", kStation, "-o", Path("calculated.json")}).status, 0);
    RunResult same = RunCli({"diff", kStation, Path("calculated.json")});
    EXPECT_EQ(same.status, 0) << same.out;
    EXPECT_EQ(same.out, "");

    EXPECT_EQ(RunCli({"diff", kStation, Path("missing.xml")}).status, 2);
}

} // namespace

namespace {

// Two formulas reading each other, one reading itself, and readers of the
// cycle below.
const char kCycles[] =
    "<?xml version=\"1.0\"?><Element name=\"r\" id=\"0\" uid=\"1\"><Parameters>"
    "<Parameter name=\"A\" value=\"\" caption=\"\" comment=\"=B + 1\" />"
    "<Parameter name=\"B\" value=\"\" caption=\"\" comment=\"=A + 1\" />"
    "<Parameter name=\"C\" value=\"\" caption=\"\" comment=\"=A * 2\" />"
    "<Parameter name=\"S\" value=\"\" caption=\"\" comment=\"=S\" />"
    "<Parameter name=\"V\" value=\"3\" caption=\"\" comment=\"\" />"
    "</Parameters><Elements><Element name=\"k&quot;\\\" id=\"1\" uid=\"2\"><Parameters>"
    "<Parameter name=\"L\" value=\"\" caption=\"\" comment=\"=parent.C / parent.V\" />"
    "</Parameters></Element></Elements></Element>";

TEST_F(Cli, DepsListsPrecedentsDependentsAndCycles) {
    WriteFile(Path("cycles.xml"), kCycles);
    RunResult text = RunCli({"deps", Path("cycles.xml")});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, "r.A\n  reads r.B\n"
                        "r.B\n  reads r.A\n"
                        "r.C\n  reads r.A\n"
                        "r.S\n  reads r.S\n"
                        "r/k\"\\.L\n  reads r.C\n  reads r.V\n"
                        "cycle: r.A -> r.B -> r.A\n"
                        "cycle: r.S -> r.S\n");

    RunResult one = RunCli({"deps", Path("cycles.xml"), "--param", "r.a"});
    EXPECT_EQ(one.out,
              "r.A\n  reads r.B\n  read by r.B\n  read by r.C\ncycle: r.A -> r.B -> r.A\n");
    RunResult plain = RunCli({"deps", Path("cycles.xml"), "--param", "r.V"});
    EXPECT_EQ(plain.out, "r.V\n  read by r/k\"\\.L\n");

    RunResult json = RunCli({"deps", Path("cycles.xml"), "--param", "r/k\"\\.L", "--format", "json"});
    EXPECT_EQ(json.out, "{\"parameters\": [{\"parameter\": \"r/k\\\"\\\\.L\", \"precedents\": [\"r.C\", "
                        "\"r.V\"], \"dependents\": []}], \"cycles\": []}\n");
    RunResult all = RunCli({"deps", Path("cycles.xml"), "--format", "json"});
    EXPECT_THAT(all.out, HasSubstr("\"cycles\": [[\"r.A\", \"r.B\"], [\"r.S\"]]}\n"));

    RunResult missing = RunCli({"deps", Path("cycles.xml"), "--param", "r.X"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "tarvex deps: no parameter 'r.X' in '" + Path("cycles.xml") + "'\n");
    EXPECT_EQ(RunCli({"deps", Path("cycles.xml"), "--format", "svg"}).status, 2);
}

TEST_F(Cli, DepsDotIsAcceptedByGraphviz) {
    const std::string dot = TARVEX_DOT_PROGRAM;
    if (dot.empty() || dot.find("NOTFOUND") != std::string::npos)
        GTEST_SKIP() << "Graphviz dot is not installed (scripts/install-deps.sh installs it)";
    WriteFile(Path("cycles.xml"), kCycles);
    for (const std::string& document : {kStation, Path("cycles.xml")}) {
        RunResult graph = RunCli({"deps", document, "--format", "dot"});
        ASSERT_EQ(graph.status, 0) << graph.err;
        WriteFile(Path("graph.dot"), graph.out);
        RunResult rendered = RunProgram(dot, {"-Tsvg", "-o", Path("graph.svg"), Path("graph.dot")});
        EXPECT_EQ(rendered.status, 0) << rendered.err << graph.out;
        EXPECT_EQ(rendered.err, "");
        EXPECT_THAT(ReadFile(Path("graph.svg")), HasSubstr("</svg>"));
    }
    RunResult station = RunCli({"deps", kStation, "--format", "dot"});
    EXPECT_THAT(station.out, HasSubstr("\"" + kRoot + "/Насос_Н-1.Масса_рамы\" -> \"" + kRoot +
                                       "/Насос_Н-1.Масса\";\n"));
}

} // namespace
