// The PHP-array form: what is written, what is read, where reading stops, and each error.
#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "settings/server/PhpArrayParser.h"
#include "support/Hostile.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/IniSettingsSerializer.h"
#include "zumra/settings/server/PhpArraySettingsSerializer.h"
#include "zumra/settings/server/SerializationManager.h"

namespace zumra::settings::server {
namespace {

using namespace std::string_literals;

std::string Write(const core::IniFile& document, std::string_view groups = "*") {
    std::ostringstream out;
    PhpArraySettingsSerializer().Serialize(document, common::GroupNameMatcher(groups), out);
    return out.str();
}

core::IniFile Read(const std::string& text) {
    std::istringstream in(text);
    core::IniFile document;
    PhpArraySettingsSerializer().Deserialize(in, document);
    return document;
}

std::string Error(const std::string& text) {
    std::istringstream in(text);
    core::IniFile document;
    document["kept"]["v"] = "1";
    const core::IniFile before = document;
    try {
        PhpArraySettingsSerializer().Deserialize(in, document);
    } catch (const osa::Exception& error) {
        EXPECT_EQ(before, document) << "changed by a text that is an error";
        return error.what();
    }
    return "no error";
}

core::IniFile Sample() {
    core::IniFile document;
    document["section1"]["value1"] = ":'\"{}";
    document["section1"]["value2"] = "banana";
    document["section2"]["abcdef"] = "ghijkl";
    return document;
}

constexpr char kSample[] =
    "a:2:{s:8:\"section1\";a:2:{s:6:\"value1\";s:5:\":'\"{}\";s:6:\"value2\";s:6:\"banana\";}"
    "s:8:\"section2\";a:1:{s:6:\"abcdef\";s:6:\"ghijkl\";}}";

TEST(PhpArray, WritesAndReads) {
    EXPECT_EQ(kSample + "\n\n"s, Write(Sample()));
    EXPECT_EQ(Sample(), Read(Write(Sample())));
    EXPECT_EQ(Sample(), Read(kSample));
}

TEST(PhpArray, WritesAndReadsWhatIsEmpty) {
    core::IniFile document;
    EXPECT_EQ("a:0:{}\n\n", Write(document));
    EXPECT_EQ(document, Read("a:0:{}"));
    document["group"];
    EXPECT_EQ("a:1:{s:5:\"group\";a:0:{}}\n\n", Write(document));
    EXPECT_EQ(document, Read(Write(document)));
    document.Clear();
    document[""][""] = "";
    EXPECT_EQ("a:1:{s:0:\"\";a:1:{s:0:\"\";s:0:\"\";}}\n\n", Write(document));
    EXPECT_EQ(document, Read(Write(document)));
}

TEST(PhpArray, WritesAndCountsOnlyWhatMatches) {
    EXPECT_EQ("a:1:{s:8:\"section2\";a:1:{s:6:\"abcdef\";s:6:\"ghijkl\";}}\n\n", Write(Sample(), "section2"));
    EXPECT_EQ("a:0:{}\n\n", Write(Sample(), "x*"));
}

TEST(PhpArray, ReadsNamesInAnyOrderAndAddsToWhatIsThere) {
    std::istringstream in("a:2:{s:1:\"b\";a:2:{s:1:\"y\";s:1:\"1\";s:1:\"x\";s:1:\"2\";}s:1:\"a\";a:0:{}}");
    core::IniFile document;
    document["b"]["x"] = "old";
    document["b"]["z"] = "kept";
    PhpArraySettingsSerializer().Deserialize(in, document);
    EXPECT_EQ("[a]\n\n[b]\nx = 2\ny = 1\nz = kept\n\n", document.SaveToString());
}

TEST(PhpArray, WhatComesTwiceAddsUp) {
    EXPECT_EQ(
        "[g]\na = 2\nb = 3\n\n",
        Read("a:2:{s:1:\"g\";a:2:{s:1:\"a\";s:1:\"1\";s:1:\"a\";s:1:\"2\";}s:1:\"g\";a:1:{s:1:\"b\";s:1:"
             "\"3\";}}")
            .SaveToString());
}

struct ErrorRow {
    const char* input;
    const char* message;
};

constexpr ErrorRow kErrors[] = {
    {"", "phparray missing data (expected 'a')"},
    {"xxxxx", "expected: 'a' but got: 'x'"},
    {"axxxx", "expected: ':' but got: 'x'"},
    {"a:xxx", "failed to read size specification"},
    {"a:2xx", "expected: ':' but got: 'x'"},
    {"a:2:x", "expected: '{' but got: 'x'"},
    {"a:2:{", "phparray missing data (expected 's')"},
    {"a:2:{s:100:\"1234123", "phparray failed to read 100 characters for string"},
    {"a:2:{s:1:\"1", "phparray missing data (expected '\"')"},
    {"a:2:{s:1:\"1\"", "phparray missing data (expected ';')"},
    {"a:2:{s:1:\"1\";", "phparray missing data (expected 'a')"},
    {"a:2:{s:1:\"1\";a:1:{s:1:\"a\";s:1:\"b\";}", "phparray missing data (expected 's')"},
    {"a:2:{s:1:\"1\";a:1:{s:1:\"a\";s:1:\"b\";}s:1:\"2\"", "phparray missing data (expected ';')"},
    // Ends in other places.
    {"a", "phparray missing data (expected ':')"},
    {"a:", "failed to read size specification"},
    {"a:2", "phparray missing data (expected ':')"},
    {"a:2:", "phparray missing data (expected '{')"},
    {"a:0:{", "phparray missing data (expected '}')"},
    {"a:1:{s:0:\"\";a:0:{", "phparray missing data (expected '}')"},
    {"a:1:{s:0:\"\";a:0:{}", "phparray missing data (expected '}')"},
    {"a:1:{s", "phparray missing data (expected ':')"},
    {"a:1:{s:", "failed to read size specification"},
    {"a:1:{s:1:", "phparray missing data (expected '\"')"},
    {"a:1:{s:0:\"", "phparray missing data (expected '\"')"},
    {"a:1:{s:1:\"", "phparray failed to read 1 characters for string"},
    // Wrong characters.
    {"a:1:{s:1:\"ab", "expected: '\"' but got: 'b'"},
    {"a:1:{s:1:\"a\"x", "expected: ';' but got: 'x'"},
    {"a:1:{s:1:\"a\";s:", "expected: 'a' but got: 's'"},
    {"a:1:{s:1:\"a\";a:1:{i:5;", "expected: 's' but got: 'i'"},
    {"a:1:{s:1:\"a\";a:1:{s:1:\"a\";i:5;", "expected: 's' but got: 'i'"},
    {"a:0:{s", "expected: '}' but got: 's'"},
    {"a:1:{s:0:\"\";a:0:{}s", "expected: '}' but got: 's'"},
    {"a:1\n", "expected: ':' but got: '\\n'"},
    // No sizes.
    {"a:-1:{}", "failed to read size specification"},
    {"a:+1:{}", "failed to read size specification"},
    {"a: 1:{}", "failed to read size specification"},
    {"a::{}", "failed to read size specification"},
    {"a:2147483648:{", "failed to read size specification"},
    {"a:999999999999:{", "failed to read size specification"},
    {"a:1:{s:99999999999999999999:", "failed to read size specification"},
    {"a:18446744073709551617:{", "failed to read size specification"},
    {"a:00000000000", "failed to read size specification"},
    // Sizes that are no more than announcements.
    {"a:2147483647:{", "phparray missing data (expected 's')"},
    {"a:1:{s:2147483647:\"", "phparray failed to read 2147483647 characters for string"},
    {"a:1:{s:0:\"\";a:2147483647:{", "phparray missing data (expected 's')"},
};

TEST(PhpArray, EachErrorHasItsText) {
    for (const auto& [input, message] : kErrors) {
        EXPECT_EQ(message, Error(input)) << input;
    }
}

TEST(PhpArray, EachErrorHasItsTextFedByteByByte) {
    for (const auto& [input, message] : kErrors) {
        PhpArrayParser parser;
        try {
            for (const char* at = input; *at != '\0'; ++at) {
                EXPECT_EQ(1u, parser.Feed(std::string_view(at, 1)));
            }
            parser.Finish();
            ADD_FAILURE() << input;
        } catch (const osa::Exception& error) {
            EXPECT_STREQ(message, error.what()) << input;
        }
    }
}

TEST(PhpArray, ANulByteShowsInTheError) {
    EXPECT_EQ("expected: 'a' but got: '\\0'", Error("\0"s));
}

TEST(PhpArray, AnErrorComesAtTheByteThatIsWrong) {
    PhpArrayParser parser;
    EXPECT_EQ(12u, parser.Feed("a:2147483647"));
    EXPECT_THROW(parser.Feed("0"), osa::Exception);
}

TEST(PhpArray, LeadingZerosCountAsDigits) {
    EXPECT_EQ(core::IniFile(), Read("a:0000000000:{}"));
}

TEST(PhpArray, ReadsNothingAfterTheClosingBrace) {
    std::istringstream in(kSample + "\n.\n"s + kSample + "a:0:{}rest");
    for (int i = 0; i < 2; ++i) {
        core::IniFile document;
        PhpArraySettingsSerializer().Deserialize(in, document);
        EXPECT_EQ(Sample(), document);
        if (i == 0) {
            EXPECT_EQ('\n', in.get());
            EXPECT_EQ('.', in.get());
            EXPECT_EQ('\n', in.get());
        }
    }
    core::IniFile document;
    PhpArraySettingsSerializer().Deserialize(in, document);
    EXPECT_TRUE(in.good());
    std::string rest;
    in >> rest;
    EXPECT_EQ("rest", rest);
}

TEST(PhpArray, TheParserTakesNothingAfterTheClosingBrace) {
    PhpArrayParser parser;
    EXPECT_EQ(6u, parser.Feed("a:0:{}\n.\n"));
    EXPECT_TRUE(parser.Done());
    EXPECT_EQ(0u, parser.Feed("more"));
    EXPECT_EQ(6u, parser.Consumed());
    parser.Finish();
}

TEST(PhpArray, KnowsHowMuchMustStillCome) {
    test::HostileTexts random(7);
    for (int i = 0; i < 500; ++i) {
        const core::IniFile document = random.Document();
        std::string text = Write(document);
        text.resize(text.size() - 2);
        PhpArrayParser parser;
        for (std::size_t at = 0; at < text.size(); ++at) {
            ASSERT_EQ(at, parser.Consumed());
            ASSERT_GE(parser.MinimumLeft(), 1u);
            ASSERT_LE(parser.MinimumLeft(), text.size() - at) << text << " at " << at;
            ASSERT_FALSE(parser.Done());
            ASSERT_EQ(1u, parser.Feed(std::string_view(text).substr(at, 1)));
        }
        ASSERT_EQ(0u, parser.MinimumLeft());
        ASSERT_TRUE(parser.Done());
        ASSERT_EQ(document, parser.Take());
    }
}

TEST(PhpArray, ALimitRefusesExactlyWhatIsLonger) {
    test::HostileTexts random(8);
    for (int i = 0; i < 500; ++i) {
        const core::IniFile document = random.Document();
        const std::string text = Write(document);
        PhpArrayParser enough(text.size() - 2);
        EXPECT_EQ(text.size() - 2, enough.Feed(text));
        EXPECT_TRUE(enough.Done());
        PhpArrayParser tooFew(text.size() - 3);
        EXPECT_THROW(tooFew.Feed(text), osa::Exception) << text;
    }
}

TEST(PhpArray, ALimitRefusesAnnouncementsAtOnce) {
    const auto error = [](std::string_view text) {
        PhpArrayParser parser(1000);
        try {
            parser.Feed(text);
        } catch (const osa::Exception& exception) {
            return std::string(exception.what());
        }
        return "no error"s;
    };
    const std::string tooLong = "phparray document is longer than the limit of 1000 bytes";
    EXPECT_EQ(tooLong, error("a:77:{"));
    EXPECT_EQ("no error", error("a:76:{"));
    EXPECT_EQ(tooLong, error("a:1:{s:980:\""));
    EXPECT_EQ("no error", error("a:1:{s:979:\""));
    EXPECT_EQ(tooLong, error("a:2147483647:{"));
    EXPECT_EQ(tooLong, error("a:1:{s:0:\"\";a:2147483647:{"));
    EXPECT_EQ(tooLong, error("a:1:{s:2147483647:\""));
}

/// Bytes in use as the allocator tells; a sanitizer's allocator does not.
std::size_t MemoryInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

TEST(PhpArray, MemoryGrowsWithTheBytesThatAreThere) {
    const std::size_t before = MemoryInUse();
    PhpArrayParser counts;
    counts.Feed("a:2147483647:{s:0:\"\";a:2147483647:{s:0:\"");
    PhpArrayParser length;
    length.Feed("a:1:{s:2147483647:\"x");
    EXPECT_LT(MemoryInUse() - before, 16384u);
    for (int i = 0; i < 1024; ++i) {
        length.Feed(std::string(1024, 'x'));
    }
    EXPECT_LT(MemoryInUse() - before, 3u << 20);
}

TEST(PhpArray, RandomDocumentsComeBackHoweverTheyAreCut) {
    test::HostileTexts random(9);
    for (int i = 0; i < 3000; ++i) {
        const core::IniFile document = random.Document();
        const std::string text = Write(document);
        ASSERT_EQ(document, Read(text)) << text;
        PhpArrayParser parser;
        std::string_view rest = text;
        while (!parser.Done()) {
            rest.remove_prefix(parser.Feed(rest.substr(0, 1 + random.Number(9))));
        }
        ASSERT_EQ("\n\n", rest);
        ASSERT_EQ(document, parser.Take());
    }
}

TEST(PhpArray, EveryShortTextComesBack) {
    core::IniFile document;
    for (const std::string& text : test::ShortHostileTexts(3)) {
        document[text];
        document["names"][text] = "v";
        document["values"]["n" + std::to_string(document["values"].size())] = text;
    }
    EXPECT_TRUE(document == Read(Write(document)));
}

TEST(PhpArray, EveryCutTextIsAnErrorAndChangesNothing) {
    const std::string text = kSample;
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_NE("no error", Error(text.substr(0, size))) << size;
    }
}

TEST(PhpArray, WritesLargeDocumentsWhole) {
    core::IniFile document;
    for (int i = 0; i < 3000; ++i) {
        document[std::to_string(i)]["v"] = std::string(static_cast<std::size_t>(i), 'x');
    }
    EXPECT_TRUE(document == Read(Write(document)));
}

TEST(IniSettingsSerializer, WritesAndReadsIniText) {
    IniSettingsSerializer form;
    ISettingsSerializer& serializer = form;
    std::ostringstream out;
    serializer.Serialize(Sample(), common::GroupNameMatcher("section2"), out);
    EXPECT_EQ("[section2]\nabcdef = ghijkl\n\n", out.str());
    std::istringstream in(out.str());
    core::IniFile document;
    document["section1"];
    serializer.Deserialize(in, document);
    EXPECT_EQ("ghijkl", document.GetValue("section2", "abcdef"));
    EXPECT_TRUE(document.HasGroup("section1"));
    std::istringstream broken("[section3]\nbroken");
    EXPECT_THROW(serializer.Deserialize(broken, document), osa::Exception);
    EXPECT_FALSE(document.HasGroup("section3"));
}

TEST(SerializationManager, KnowsTheFormsByName) {
    const SerializationManager manager;
    EXPECT_NE(nullptr, dynamic_cast<IniSettingsSerializer*>(manager.Find("ini")));
    EXPECT_NE(nullptr, dynamic_cast<PhpArraySettingsSerializer*>(manager.Find("phparray")));
    EXPECT_EQ(nullptr, manager.Find("json"));
    EXPECT_EQ(nullptr, manager.Find(""));
    EXPECT_EQ((std::vector<std::string_view>{"ini", "phparray"}), manager.Names());
}

}  // namespace
}  // namespace zumra::settings::server
