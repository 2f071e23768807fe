#include "check/CommandLine.h"

#include <gtest/gtest.h>

namespace zumra::check {
namespace {

using Arguments = std::vector<std::string_view>;

const std::optional<Arguments> kSuites =
    Arguments{"IniWatcherTests", "SubscribeTests", "SettingsWatcherTests"};

CommandLine Parse(const Arguments& arguments) {
    return ParseCommandLine(arguments, kSuites);
}

std::string Rejection(const Arguments& arguments) {
    try {
        Parse(arguments);
    } catch (const CommandLineError& e) {
        return e.what();
    }
    return "accepted";
}

TEST(CommandLine, RunsAllSuitesForkedWithoutArguments) {
    const CommandLine line = Parse({});
    EXPECT_EQ(line.answer, CommandLine::Answer::kRun);
    EXPECT_TRUE(line.fork);
    EXPECT_EQ(line.print, CommandLine::Print::kNormal);
    EXPECT_FALSE(line.xmlPath.has_value());
    EXPECT_TRUE(line.selection.Enables("IniWatcherTests"));
}

TEST(CommandLine, EnablesTheNamedSuitesAlone) {
    const CommandLine line = Parse({"SubscribeTests", "IniWatcherTests", "SubscribeTests"});
    EXPECT_TRUE(line.selection.Enables("SubscribeTests"));
    EXPECT_TRUE(line.selection.Enables("IniWatcherTests"));
    EXPECT_FALSE(line.selection.Enables("SettingsWatcherTests"));
}

TEST(CommandLine, ReadsEveryOption) {
    EXPECT_FALSE(Parse({"--no-fork"}).fork);
    EXPECT_TRUE(Parse({"--fork"}).fork);
    EXPECT_EQ(Parse({"--print", "silent"}).print, CommandLine::Print::kSilent);
    EXPECT_EQ(Parse({"--print=minimal"}).print, CommandLine::Print::kMinimal);
    EXPECT_EQ(Parse({"--print", "normal"}).print, CommandLine::Print::kNormal);
    EXPECT_EQ(Parse({"--print", "verbose"}).print, CommandLine::Print::kVerbose);
    EXPECT_EQ(Parse({"-q"}).print, CommandLine::Print::kSilent);
    EXPECT_EQ(Parse({"-v"}).print, CommandLine::Print::kVerbose);
    EXPECT_EQ(Parse({"--xml", "a=b"}).xmlPath, "a=b");
    EXPECT_EQ(Parse({"--xml=a=b"}).xmlPath, "a=b");
    EXPECT_EQ(Parse({"-l"}).answer, CommandLine::Answer::kList);
    EXPECT_EQ(Parse({"--list"}).answer, CommandLine::Answer::kList);
    EXPECT_EQ(Parse({"-h"}).answer, CommandLine::Answer::kHelp);
    EXPECT_EQ(Parse({"--help"}).answer, CommandLine::Answer::kHelp);
    EXPECT_EQ(Parse({"-V"}).answer, CommandLine::Answer::kVersion);
    EXPECT_EQ(Parse({"--version"}).answer, CommandLine::Answer::kVersion);
}

TEST(CommandLine, ReadsTheOptionsOfReports) {
    const CommandLine line =
        Parse({"--junit", "a", "--tap=b", "--html", "c", "--durations", "0", "--color", "never"});
    EXPECT_EQ(line.junitPath, "a");
    EXPECT_EQ(line.tapPath, "b");
    EXPECT_EQ(line.htmlPath, "c");
    EXPECT_EQ(line.durations, 0U);
    EXPECT_EQ(line.color, CommandLine::Color::kNever);
    EXPECT_EQ(Parse({"--color=always"}).color, CommandLine::Color::kAlways);
    EXPECT_EQ(Parse({}).color, CommandLine::Color::kAuto);
    EXPECT_EQ(Rejection({"--html="}), "option '--html' needs the name of a file, not an empty text");
    EXPECT_EQ(Rejection({"--color", "alway"}),
              "option '--color' does not know 'alway'; did you mean 'always'?");
}

TEST(CommandLine, ReadsTheOptionsOfRounds) {
    const CommandLine line =
        Parse({"--repeat", "1000000000", "--until-fail", "--fail-fast", "--timeout-multiplier", "2.5"});
    EXPECT_EQ(line.repeat, 1000000000U);
    EXPECT_TRUE(line.untilFail);
    EXPECT_TRUE(line.failFast);
    EXPECT_EQ(line.timeoutMultiplier, 2.5);
    const CommandLine none = Parse({});
    EXPECT_FALSE(none.repeat || none.untilFail || none.failFast || none.timeoutMultiplier || none.durations);
}

TEST(CommandLine, RejectsNumbersThatAreNone) {
    for (const char* value : {"", "0", "-1", "+1", " 1", "1x", "1.5", "1000000001", "99999999999999999999"})
        EXPECT_EQ(Rejection({"--repeat", value}),
                  "option '--repeat' needs a number from 1 to 1000000000, not '" + std::string(value) + "'");
    for (const char* value : {"", "0", "-1", "nan", "inf", "1001", "2x", "1e400"})
        EXPECT_EQ(Rejection({"--timeout-multiplier", value}),
                  "option '--timeout-multiplier' needs a number from 0.001 to 1000, not '" +
                      std::string(value) + "'");
    EXPECT_EQ(Rejection({"--durations", "many"}),
              "option '--durations' needs a number from 0 to 1000000, not 'many'");
}

TEST(CommandLine, ReadsOptionsBetweenSuitesAndSeveralLettersAtOnce) {
    const CommandLine line = Parse({"SubscribeTests", "-lv", "IniWatcherTests", "--no-fork"});
    EXPECT_EQ(line.answer, CommandLine::Answer::kList);
    EXPECT_EQ(line.print, CommandLine::Print::kVerbose);
    EXPECT_FALSE(line.fork);
    EXPECT_EQ(line.selection.suites.size(), 2U);
}

TEST(CommandLine, TakesTheValueOfAnOptionAsItIs) {
    EXPECT_EQ(Parse({"--xml", "--fork"}).xmlPath, "--fork");
}

TEST(CommandLine, CollectsFiltersInTheirOrder) {
    const Selection selection =
        Parse({"--filter", "a/*", "-x", "b", "--filter=c", "-xd", "-vx", "-e", "--exclude", "f"}).selection;
    EXPECT_EQ(selection.filters, (std::vector<std::string>{"a/*", "c"}));
    EXPECT_EQ(selection.excludes, (std::vector<std::string>{"b", "d", "-e", "f"}));
}

TEST(CommandLine, AcceptsRepetitionThatContradictsNothing) {
    EXPECT_FALSE(Parse({"--no-fork", "--no-fork"}).fork);
    EXPECT_EQ(Parse({"-q", "--print", "silent"}).print, CommandLine::Print::kSilent);
    EXPECT_EQ(Parse({"--xml", "a", "--xml", "a"}).xmlPath, "a");
}

TEST(CommandLine, RejectsContradictions) {
    EXPECT_EQ(Rejection({"--fork", "--no-fork"}), "option '--no-fork' contradicts '--fork'");
    EXPECT_EQ(Rejection({"-q", "-v"}), "option '-v' contradicts '-q'");
    EXPECT_EQ(Rejection({"-v", "--print", "silent"}), "option '--print silent' contradicts '-v'");
    EXPECT_EQ(Rejection({"--xml", "a", "--xml=b"}), "option '--xml b' contradicts '--xml a'");
    EXPECT_EQ(Rejection({"--help", "--list"}), "option '--list' contradicts '--help'");
}

TEST(CommandLine, RejectsUnknownNamesWithTheNearestValidOne) {
    EXPECT_EQ(Rejection({"IniWatcherTest"}),
              "unknown suite 'IniWatcherTest'; did you mean 'IniWatcherTests'?");
    EXPECT_EQ(Rejection({"subscribetests"}),
              "unknown suite 'subscribetests'; did you mean 'SubscribeTests'?");
    EXPECT_EQ(Rejection({"--frok"}), "unknown option '--frok'; did you mean '--fork'?");
    EXPECT_EQ(Rejection({"--nofork"}), "unknown option '--nofork'; did you mean '--no-fork'?");
    EXPECT_EQ(Rejection({"--xm=a"}), "unknown option '--xm'; did you mean '--xml'?");
    EXPECT_EQ(Rejection({"-y"}), "unknown option '-y'; did you mean '-x'?");
    EXPECT_EQ(Rejection({"-vy"}), "unknown option '-y' in '-vy'; did you mean '-x'?");
    EXPECT_EQ(Rejection({"-"}), "unknown suite '-'; did you mean 'SubscribeTests'?");
    EXPECT_EQ(Rejection({""}), "unknown suite ''; did you mean 'SubscribeTests'?");
    EXPECT_EQ(Rejection({"--", "--fork"}), "unknown suite '--fork'; did you mean 'SubscribeTests'?");
    EXPECT_EQ(Rejection({"--print", "Normaal"}),
              "option '--print' does not know 'Normaal'; did you mean 'normal'?");
}

TEST(CommandLine, RejectsMissingAndSuperfluousValues) {
    EXPECT_EQ(Rejection({"--xml"}), "option '--xml' needs a value: FILE");
    EXPECT_EQ(Rejection({"-x"}), "option '--exclude' needs a value: GLOB");
    EXPECT_EQ(Rejection({"--print"}), "option '--print' needs a value: MODE");
    EXPECT_EQ(Rejection({"--xml="}), "option '--xml' needs the name of a file, not an empty text");
    EXPECT_EQ(Rejection({"--fork=yes"}), "option '--fork' takes no value");
}

TEST(CommandLine, AcceptsAnySuiteWhenTheProgramNamesNone) {
    EXPECT_TRUE(ParseCommandLine({"Whatever"}, std::nullopt).selection.Enables("Whatever"));
}

TEST(CommandLine, HelpNamesEveryOption) {
    const std::string help = HelpText("checks");
    for (const char* option : {"--filter", "--exclude", "-x", "--list", "-l", "--fork", "--no-fork",
                               "--print", "-q", "-v", "--xml", "--help", "-h", "--version", "-V"})
        EXPECT_NE(help.find(option), std::string::npos) << option;
    EXPECT_EQ(help.find("Usage: checks "), 0U);
}

}  // namespace
}  // namespace zumra::check
