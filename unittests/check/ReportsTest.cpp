#include "check/Reports.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "check/ColoredReport.h"
#include "check/HtmlParts.h"
#include "check/ReportText.h"

namespace zumra::check {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Event = Journal::Event;

/// A round of one check that passed, one that failed with `text`, and one that was not reached.
Results ResultsWith(const std::string& text, const std::string& name = "fails") {
    Results results;
    results.AddRound({{Event::kPlanned, {"S", "c", "passes", ""}},
                      {Event::kPlanned, {"S", "c", name, ""}},
                      {Event::kPlanned, {"T", "c", "waits", ""}},
                      {Event::kStarted, {"S", "c", "passes", "0"}},
                      {Event::kEnded, {"P", "1500", "f:1", ""}},
                      {Event::kStarted, {"S", "c", name, "0"}},
                      {Event::kEnded, {"F", "2500000", "f:2", text}}},
                     {"gone", std::chrono::seconds(1)});
    return results;
}

TEST(ReportText, KeepsCharactersAndShowsOtherBytes) {
    EXPECT_EQ(Printable("a\tb\nc \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80"),
              "a\tb\nc \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(Printable("\x1b[0m\r\x7f"), "\\x1B[0m\\x0D\\x7F");
    EXPECT_EQ(Printable("\x80\xC3"), "\\x80\\xC3");
    EXPECT_EQ(Printable("\xC0\x80 \xE0\x80\x80 \xED\xA0\x80 \xF4\x90\x80\x80"),
              "\\xC0\\x80 \\xE0\\x80\\x80 \\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80");
    EXPECT_EQ(Printable("\xEF\xBF\xBE \xC2\x85"), "\\xEF\\xBF\\xBE \\xC2\\x85");
    EXPECT_EQ(Printable(std::string_view("\0", 1)), "\\x00");
}

TEST(ReportText, EscapesMarkup) {
    EXPECT_EQ(Escaped("<a b=\"c\">&\n\t]]>"), "&lt;a b=&quot;c&quot;&gt;&amp;&#10;&#9;]]&gt;");
    EXPECT_EQ(InQuotes("a\"b\\c\nd\te\x1b"), "\"a\\\"b\\\\c\\nd\\te\\\\x1B\"");
}

TEST(JunitReport, CountsBySuiteAndInAll) {
    const std::string report = JunitReport(ResultsWith("<why>"), {});
    EXPECT_THAT(report,
                HasSubstr("<testsuites name=\"\" tests=\"3\" failures=\"1\" errors=\"0\" skipped=\"1\""));
    EXPECT_THAT(report,
                HasSubstr("<testsuite name=\"S\" tests=\"2\" failures=\"1\" errors=\"0\" skipped=\"0\" "
                          "time=\"2.502\""));
    EXPECT_THAT(report, HasSubstr("<testcase classname=\"S.c\" name=\"passes\" time=\"0.001500\"/>\n"));
    EXPECT_THAT(report, HasSubstr("<testcase classname=\"S.c\" name=\"fails\" time=\"2.500\"><failure "
                                  "message=\"&lt;why&gt;\" type=\"failure\">f:2: &lt;why&gt;</failure>"));
    EXPECT_THAT(report, HasSubstr("<skipped message=\"not run: the run broke off before\"/>"));
}

TEST(TapReport, SkipsWhatDidNotRunAndBailsOut) {
    EXPECT_EQ(TapReport(ResultsWith("why\n\"so\"", "fails#1")),
              "TAP version 13\n1..3\nok 1 - S/c/passes\nnot ok 2 - S/c/fails\\#1\n  ---\n"
              "  message: \"why\\n\\\"so\\\"\"\n  at: \"f:2\"\n  severity: fail\n  seconds: 2.500\n  ...\n"
              "ok 3 - T/c/waits # SKIP not run: the run broke off before\nBail out! gone\n");
}

TEST(DurationsReport, ShowsTheSlowestFirst) {
    const Results results = ResultsWith("why");
    EXPECT_EQ(DurationsReport(results, 1), "Slowest 1 of 2 checks:\n     2.500 s  S/c/fails\n");
    EXPECT_EQ(DurationsReport(results, 0),
              "Slowest 2 of 2 checks:\n     2.500 s  S/c/fails\n  0.001500 s  S/c/passes\n");
    EXPECT_EQ(DurationsReport(results, 7), DurationsReport(results, 0));
}

TEST(HtmlReport, ShowsTextsAsTexts) {
    RunInfo info;
    info.program = "<program>";
    info.host = "<host>";
    info.libraries = {{"libzumra", "<1>", "", "/<path>"}};
    const std::string page = HtmlReport(ResultsWith("</pre><script>", "<name>"), info);
    EXPECT_THAT(page, Not(HasSubstr("<script")));
    for (const char* text : {"<name>", "<program>", "<host>", "<1>", "<path>"})
        EXPECT_THAT(page, Not(HasSubstr(text)));
    EXPECT_THAT(page, HasSubstr("&lt;/pre&gt;&lt;script&gt;"));
    EXPECT_THAT(page, HasSubstr("1 of 3 checks failed"));
}

TEST(HtmlReport, BreaksNamesBetweenWordsOnly) {
    EXPECT_EQ(Breakable("aB_cDe__kLocalMode<"), "aB_<wbr>cDe__<wbr>kLocal<wbr>Mode&lt;");
    EXPECT_EQ(Breakable("SomeTests"), "Some<wbr>Tests");
    EXPECT_EQ(Breakable("_a"), "_<wbr>a");
    EXPECT_EQ(Breakable(""), "");
}

TEST(HtmlReport, OpensTheSuitesInWhichSomethingFailed) {
    const std::string page = HtmlReport(ResultsWith("why"), {});
    EXPECT_THAT(page, HasSubstr("<details open><summary><span><b>S</b>"));
    EXPECT_THAT(page, HasSubstr("<details><summary><span><b>T</b>"));
}

TEST(HtmlReport, HasAWordForEveryVerdict) {
    EXPECT_THAT(HtmlReport(Results(), {}), HasSubstr("No check ran"));
    Results unreached;
    unreached.AddRound({{Event::kPlanned, {"S", "c", "waits", ""}}}, {"gone", {}});
    EXPECT_THAT(HtmlReport(unreached, {}), HasSubstr("1 of 1 checks did not run"));
}

CheckResult Named(const char* suite, const char* name) {
    CheckResult check;
    check.suite = suite;
    check.name = name;
    return check;
}

TEST(Modes, ComeFromTheNamesOfFamilies) {
    EXPECT_EQ(ModeOf(Named("", "Works__kLocal")), "kLocal");
    EXPECT_EQ(ModeOf(Named("", "Works__well__kLocal")), "kLocal");
    EXPECT_EQ(ModeOf(Named("", "works_well")), "");
    EXPECT_EQ(ModeOf(Named("", "__kLocal")), "");
}

TEST(Modes, KeepEachFamilysOrder) {
    EXPECT_THAT(Modes({Named("A", "plain"), Named("B", "f__x"), Named("B", "f__z"), Named("C", "g__x"),
                       Named("C", "g__y"), Named("C", "g__z")}),
                ElementsAre("x", "y", "z", ""));
    EXPECT_TRUE(Modes({}).empty());
}

TEST(ColoredReport, ColorsTotalsAndTheStartsOfResults) {
    EXPECT_EQ(InColor("100%: Checks: 1, Failures: 0, Errors: 0\n"),
              "\x1b[32m100%: Checks: 1, Failures: 0, Errors: 0\x1b[0m\n");
    EXPECT_EQ(InColor("0%: Checks: 1, Failures: 0, Errors: 1\na.cpp:3:E:all:x:0: 5%: Checks\n  more"),
              "\x1b[31m0%: Checks: 1, Failures: 0, Errors: 1\x1b[0m\n\x1b[31ma.cpp:3:E:all:x:0:\x1b[0m 5%: "
              "Checks\n  more");
    EXPECT_EQ(InColor("a.cpp:3:P:all:x:0: Passed"), "\x1b[32ma.cpp:3:P:all:x:0:\x1b[0m Passed");
    EXPECT_EQ(InColor(std::string(100000, 'x')), std::string(100000, 'x'));
    EXPECT_EQ(InColor(""), "");
}

}  // namespace
}  // namespace zumra::check
