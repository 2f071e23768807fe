// Every document survives writing and reading, whatever bytes are in it.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>

#include "core/IniReader.h"
#include "core/IniText.h"
#include "support/Hostile.h"
#include "zumra/core/IniFile.h"
#include "zumra/osa/Exception.h"

namespace zumra::core {
namespace {

IniFile Read(std::string_view text) {
    IniFile document;
    document.LoadFromString(text);
    return document;
}

IniFile OneValue(const std::string& group, const std::string& name, const std::string& value) {
    IniFile document;
    document[group][name] = value;
    return document;
}

/// Whether a text that stands for the document, written without quotes, still does.
bool ReadsAs(const std::string& text, const IniFile& document) {
    try {
        return Read(text) == document;
    } catch (const osa::Exception&) {
        return false;
    }
}

TEST(IniRoundTrip, EveryShortTextInEveryPlace) {
    for (const std::string& text : test::ShortHostileTexts(3)) {
        for (const IniFile& document :
             {OneValue(text, "n", "v"), OneValue("g", text, "v"), OneValue("g", "n", text)}) {
            ASSERT_EQ(document, Read(document.SaveToString())) << Printable(text);
        }
    }
}

TEST(IniRoundTrip, EveryPairOfShortTextsAsNameAndValue) {
    const auto texts = test::ShortHostileTexts(2);
    for (const std::string& name : texts) {
        for (const std::string& value : texts) {
            const IniFile document = OneValue("g", name, value);
            ASSERT_EQ(document, Read(document.SaveToString())) << Printable(name) << " " << Printable(value);
        }
    }
}

TEST(IniRoundTrip, QuotesOnlyWhatNeedsIt) {
    for (const std::string& text : test::ShortHostileTexts(3)) {
        ASSERT_NE(GroupNeedsQuotes(text), ReadsAs("[" + text + "]\nn = v\n", OneValue(text, "n", "v")))
            << Printable(text);
        ASSERT_NE(NameNeedsQuotes(text), ReadsAs("[g]\n" + text + " = v\n", OneValue("g", text, "v")))
            << Printable(text);
        ASSERT_NE(ValueNeedsQuotes(text), ReadsAs("[g]\nn = " + text + "\n", OneValue("g", "n", text)))
            << Printable(text);
    }
}

TEST(IniRoundTrip, EveryShortTextQuoted) {
    for (const std::string& text : test::ShortHostileTexts(3)) {
        std::string quoted;
        AppendQuoted(quoted, text);
        EXPECT_EQ(quoted.npos, quoted.find_first_of(std::string("\n\r\0", 3)));
        std::string read;
        const QuotedText result = ReadQuoted(quoted + "\"more\\", read);
        ASSERT_EQ(nullptr, result.error);
        ASSERT_EQ(quoted.size(), result.length);
        ASSERT_EQ(text, read);
    }
}

TEST(IniRoundTrip, EveryByteQuoted) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text = {'\n', static_cast<char>(byte), '0'};
        const IniFile document = OneValue(text, text, text);
        ASSERT_EQ(document, Read(document.SaveToString())) << byte;
    }
}

TEST(IniRoundTrip, RandomDocuments) {
    test::HostileTexts random(1);
    for (int i = 0; i < 20000; ++i) {
        const IniFile document = random.Document();
        const std::string text = document.SaveToString();
        ASSERT_EQ(document, Read(text)) << text;
        ASSERT_EQ(text, Read(text).SaveToString());
    }
}

TEST(IniRoundTrip, RandomDocumentsWithForeignLineEndsAndNoLastOne) {
    test::HostileTexts random(2);
    for (int i = 0; i < 5000; ++i) {
        const IniFile document = random.Document();
        const std::string text = document.SaveToString();
        std::string dos;
        for (const char c : text) {
            dos += c == '\n' ? "\r\n" : std::string(1, c);
        }
        ASSERT_EQ(document, Read(dos)) << text;
        ASSERT_EQ(document, Read(std::string_view(text).substr(0, text.size() - !text.empty()))) << text;
    }
}

TEST(IniRoundTrip, NoDocumentHasALineOfASingleDot) {
    test::HostileTexts random(3);
    for (int i = 0; i < 5000; ++i) {
        std::istringstream lines(random.Document().SaveToString());
        for (std::string line; std::getline(lines, line);) {
            ASSERT_NE(".", line);
        }
    }
}

TEST(IniRoundTrip, LineByLine) {
    test::HostileTexts random(4);
    for (int i = 0; i < 2000; ++i) {
        const IniFile document = random.Document();
        std::istringstream lines(document.SaveToString());
        IniReader reader;
        for (std::string line; std::getline(lines, line);) {
            reader.Feed(line);
        }
        ASSERT_EQ(document, reader.Document());
        ASSERT_EQ(document, reader.Take());
        ASSERT_TRUE(reader.Document().empty());
    }
}

TEST(IniRoundTrip, LongLinesAndManyLinesFromAStream) {
    test::HostileTexts random(5);
    for (const std::size_t length : {65530u, 65536u, 65537u, 131072u, 300000u}) {
        IniFile document = random.Document(50, 50);
        document["long"]["a"] = std::string(length, 'a');
        document["long"]["b"] = std::string(length * 2, '\n');
        for (int i = 0; i < 20000; ++i) {
            document["many"]["n" + std::to_string(i)] = random.Text();
        }
        std::istringstream in(document.SaveToString());
        IniFile read;
        read.LoadFromStream(in);
        ASSERT_TRUE(document == read) << length;  // printing it would take minutes
    }
}

}  // namespace
}  // namespace zumra::core
