// The INI text as it stands in files: what is read, what is written, and what is an error.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include "core/IniText.h"
#include "zumra/core/IniFile.h"
#include "zumra/osa/Exception.h"

namespace zumra::core {
namespace {

using namespace std::string_literals;

IniFile Read(std::string_view text) {
    IniFile document;
    document.LoadFromString(text);
    return document;
}

std::string Error(std::string_view text) {
    IniFile document;
    document["kept"]["v"] = "1";
    const IniFile before = document;
    try {
        document.LoadFromString(text);
    } catch (const osa::Exception& error) {
        EXPECT_EQ(before, document) << "changed by a text that is an error";
        return error.what();
    }
    return "no error";
}

TEST(IniText, WritesGroupsAndValuesInOrder) {
    IniFile document;
    document["Section1"]["two"] = "2";
    document["Section1"]["one"] = "1";
    EXPECT_EQ("[Section1]\none = 1\ntwo = 2\n\n", document.SaveToString());
    document["A"];
    document["Section1"].clear();
    document["Section1"]["empty"] = "";
    EXPECT_EQ("[A]\n\n[Section1]\nempty = \n\n", document.SaveToString());
}

TEST(IniText, WritesToAStreamWhatItWritesToAString) {
    IniFile document;
    for (int i = 0; i < 3000; ++i) {
        document["group" + std::to_string(i)]["name"] = std::string(static_cast<std::size_t>(i % 100), 'v');
    }
    std::ostringstream out;
    document.SaveToStream(out);
    EXPECT_TRUE(document.SaveToString() == out.str());
}

TEST(IniText, BlanksAroundTheEqualSignAreNoPartOfNameOrValue) {
    const IniFile document = Read("[g]\none=1\ntwo = 2\nthree\t=  \t3\n  four   =4  \t\nfive =\n");
    EXPECT_EQ("[g]\nfive = \nfour = 4\none = 1\nthree = 3\ntwo = 2\n\n", document.SaveToString());
}

TEST(IniText, TheFirstEqualSignSplits) {
    EXPECT_EQ("b = c=d", Read("[g]\na = b = c=d").GetValue("g", "a"));
    EXPECT_EQ("=", Read("[g]\n==\n").GetValue("g", ""));
}

TEST(IniText, AGroupExistsAsSoonAsItsLine) {
    const IniFile document = Read("[empty]\n[other]\nv = 1\n[last]");
    EXPECT_EQ("[empty]\n\n[last]\n\n[other]\nv = 1\n\n", document.SaveToString());
}

TEST(IniText, AGroupThatComesAgainGoesOn) {
    EXPECT_EQ("[a]\nv = 3\nw = 2\n\n[b]\n\n", Read("[a]\nv=1\n[b]\n[a]\nw=2\nv=3\n").SaveToString());
}

TEST(IniText, TheLastBracketClosesAGroup) {
    EXPECT_TRUE(Read("[a]b]").HasGroup("a]b"));
    EXPECT_TRUE(Read("[]]").HasGroup("]"));
    EXPECT_TRUE(Read("[]").HasGroup(""));
    EXPECT_TRUE(Read("[ a ]").HasGroup(" a "));
    EXPECT_TRUE(Read(" \t[a]\t ").HasGroup("a"));
}

TEST(IniText, CommentsAndEmptyLinesSayNothing) {
    EXPECT_EQ(
        "[g]\nv = 1 # no comment\n\n",
        Read("# before = any\n; group\n\n \t\n[g]\n  # c = d\n;e = f\nv = 1 # no comment\n#").SaveToString());
}

TEST(IniText, CarriageReturnsBeforeLineEndsAreDropped) {
    EXPECT_EQ(Read("[g]\na = 1\n\n[h]\nb =\n"), Read("[g]\r\na = 1\r\n\r\n[h]\r\nb =\r\n"));
    EXPECT_EQ("x\ry", Read("[g]\r\na = x\ry\r").GetValue("g", "a"));
}

TEST(IniText, ReadingAddsToWhatIsThere) {
    IniFile document = Read("[g]\na = 1\nb = 2\n");
    document.LoadFromString("[g]\nb = 3\n[h]\n");
    EXPECT_EQ("[g]\na = 1\nb = 3\n\n[h]\n\n", document.SaveToString());
    std::istringstream in("[h]\nc = 4");
    document.LoadFromStream(in);
    EXPECT_EQ("4", document.GetValue("h", "c"));
}

TEST(IniText, OrdinaryTextIsNotQuoted) {
    IniFile document;
    document["C:\\dir;#"]["C:\\new \"x\""] = "a\\n \"b\" [c] = ; # \r .";
    EXPECT_EQ("[C:\\dir;#]\nC:\\new \"x\" = a\\n \"b\" [c] = ; # \r .\n\n", document.SaveToString());
    EXPECT_EQ(document, Read(document.SaveToString()));
}

TEST(IniText, QuotesWhatWouldBeReadAsSomethingElse) {
    IniFile document;
    document["a\nb"][" n"] = "\nx\t\"\\\r\0\x01\xc3\xa4 "s;
    document["\"q"]["[x]"] = "v\r";
    EXPECT_EQ(
        "[\"\\\"q\"]\n\"[x]\" = \"v\\r\"\n\n"
        "[\"a\\nb\"]\n\" n\" = \"\\nx\\t\\\"\\\\\\r\\0\\x01\xc3\xa4 \"\n\n",
        document.SaveToString());
    EXPECT_EQ(document, Read(document.SaveToString()));
}

TEST(IniText, AValueNeverBecomesAGroupOrASecondValue) {
    IniFile document;
    document["g"]["v"] = "1\n\n[Other]\nw = 2\n.\n";
    const IniFile read = Read(document.SaveToString());
    EXPECT_EQ(document, read);
    EXPECT_FALSE(read.HasGroup("Other"));
}

TEST(IniText, ReadsQuotesWrittenByHand) {
    const IniFile document =
        Read("[\"g\"]\n \"a b\"=\"x\"\n\"c\" \t= \" d \" \ne = \"\\x41\\x6a\\x4A\\012\"\n\"\" = \"\"");
    EXPECT_EQ("x", document.GetValue("g", "a b"));
    EXPECT_EQ(" d ", document.GetValue("g", "c"));
    EXPECT_EQ(
        "AjJ\0"
        "12"s,
        document.GetValue("g", "e"));
    EXPECT_TRUE(document.HasValue("g", ""));
}

TEST(IniText, ErrorsNameTheLineAndItsText) {
    EXPECT_EQ(
        "INI line 2: expected a group \"[name]\", a value \"name = value\", a comment or an empty line: "
        "'word'",
        Error("[g]\nword\nv = 1"));
    EXPECT_EQ("INI line 1: a value stands before the first group: 'v = 1'", Error("v = 1\n[g]"));
    EXPECT_EQ("INI line 3: a group line must end in \"]\": '[g] x'", Error("\n\r\n [g] x \n"));
    EXPECT_EQ("INI line 1: a group line must end in \"]\": '['", Error("["));
    EXPECT_EQ("INI line 2: the closing quote is missing: 'v = \"x'", Error("[g]\nv = \"x\n"));
    EXPECT_EQ("INI line 2: the closing quote is missing: '\"v = x\\\"'", Error("[g]\n\"v = x\\\"\n"));
    EXPECT_EQ("INI line 2: unexpected text after the closing quote: 'v = \"x\" y'",
              Error("[g]\nv = \"x\" y\n"));
    EXPECT_EQ("INI line 1: expected \"]\" and nothing else after the closing quote: '[\"g\"x]'",
              Error("[\"g\"x]"));
    EXPECT_EQ("INI line 1: the closing quote is missing: '[\"g]'", Error("[\"g]"));
    for (const char* escape : {"\\q", "\\x4", "\\xg0", "\\x0g", "\\N", "\\x"}) {
        EXPECT_EQ("INI line 2: unknown escape inside quotes: 'v = \""s + escape + "\"'",
                  Error("[g]\nv = \""s + escape + "\""));
    }
    EXPECT_EQ("INI line 2: unknown escape inside quotes: 'v = \"\\'", Error("[g]\nv = \"\\"));
}

TEST(IniText, ErrorsShowControlCharactersAsEscapesAndCutLongLines) {
    EXPECT_EQ("INI line 1: a group line must end in \"]\": '[a\\0\\x1b\\t\\rb'", Error("[a\0\x1b\t\rb"s));
    EXPECT_EQ("INI line 1: a group line must end in \"]\": '[" + std::string(99, 'y') + "...'",
              Error("[" + std::string(100000, 'y')));
}

TEST(IniText, PrintableCutsNoCharacterInTwo) {
    EXPECT_EQ("ab...", Printable("ab\xc3\xa4", 3));
    EXPECT_EQ("ab\xc3\xa4", Printable("ab\xc3\xa4", 4));
    EXPECT_EQ("...", Printable("\x80\x80\x80", 2));
}

TEST(IniText, AFileThatCouldNotBeOpenedIsAnErrorAndAnEndedStreamIsEmpty) {
    std::ifstream in("/nonexistent/file");
    IniFile document;
    EXPECT_THROW(document.LoadFromStream(in), osa::Exception);
    std::istringstream ended("[g]");
    document.LoadFromStream(ended);
    document.Clear();
    document.LoadFromStream(ended);
    EXPECT_TRUE(document.empty());
}

TEST(IniText, AStreamThatFailsIsAnError) {
    struct Broken : std::streambuf {
        int_type underflow() override { throw std::runtime_error("disk gone"); }
    } broken;
    std::istream in(&broken);
    IniFile document;
    try {
        document.LoadFromStream(in);
        FAIL() << "no error";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ("INI text could not be read: the stream failed after line 0", error.what());
    }
    EXPECT_TRUE(document.empty());
}

}  // namespace
}  // namespace zumra::core
