// The PHP-array form against PHP itself: what we write it reads, what it writes we read.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/Hostile.h"
#include "zumra/core/IniFile.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/PhpArraySettingsSerializer.h"

namespace zumra::settings::server {
namespace {

using core::IniFile;
using Lines = std::vector<std::string>;

std::string Hex(std::string_view text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (const char c : text) {
        hex += kDigits[static_cast<unsigned char>(c) >> 4];
        hex += kDigits[static_cast<unsigned char>(c) & 15];
    }
    return hex;
}

std::string FromHex(std::string_view hex) {
    std::string text;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
        text += static_cast<char>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16));
    }
    return text;
}

std::string Dump(const IniFile& document) {
    std::string text;
    for (const auto& [group, values] : document) {
        text += Hex(group) + "(";
        for (const auto& [name, value] : values) {
            text += Hex(name) + "=" + Hex(value) + ";";
        }
        text += ")";
    }
    return text;
}

std::string Write(const IniFile& document) {
    std::ostringstream out;
    PhpArraySettingsSerializer().Serialize(document, common::GroupNameMatcher("*"), out);
    return out.str();
}

IniFile Read(const std::string& text) {
    std::istringstream in(text);
    IniFile document;
    PhpArraySettingsSerializer().Deserialize(in, document);
    return document;
}

/// Runs PHP on the requests and returns its answers, one a line.
Lines AskPhp(const Lines& requests) {
    const std::string file = testing::TempDir() + "zumra-php-" + std::to_string(::getpid());
    {
        std::ofstream out(file);
        for (const std::string& request : requests) {
            out << request << '\n';
        }
    }
    const std::string command = "php -n '" ZUMRA_SOURCE_DIR "/unittests/php/exchange.php' '" ZUMRA_SOURCE_DIR
                                "/docs/zumra_settings.php' <'" +
                                file + "' 2>&1";
    std::FILE* pipe = ::popen(command.c_str(), "r");
    std::string output;
    char buffer[65536];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        output.append(buffer, got);
    }
    const int status = ::pclose(pipe);
    std::remove(file.c_str());
    EXPECT_EQ(0, status) << "php (Debian's package php-cli) did not run to its end: "
                         << output.substr(0, 1000);
    Lines lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    EXPECT_EQ(requests.size(), lines.size());
    lines.resize(requests.size());
    return lines;
}

Lines Requests(const std::string& what, const std::vector<IniFile>& documents,
               std::string (*form)(const IniFile&)) {
    Lines requests;
    for (const IniFile& document : documents) {
        requests.push_back(what + " " + form(document));
    }
    return requests;
}

std::string HexOfWritten(const IniFile& document) {
    return Hex(Write(document));
}

/// Whether PHP makes an integer of an array key.
bool LooksLikeNumber(const std::string& name) {
    const std::string digits = name.substr(!name.empty() && name[0] == '-' ? 1 : 0);
    return !digits.empty() && digits.find_first_not_of("0123456789") == digits.npos &&
           (digits[0] != '0' || name == "0");
}

bool HasNumbers(const IniFile& document) {
    for (const auto& [group, values] : document) {
        if (LooksLikeNumber(group)) {
            return true;
        }
        for (const auto& [name, value] : values) {
            if (LooksLikeNumber(name)) {
                return true;
            }
        }
    }
    return false;
}

IniFile Numbers() {
    IniFile document;
    for (const char* name : {"5", "0", "-12", "05", "+5", "5.0", "9223372036854775807", "9223372036854775808",
                             "-9223372036854775808", "-0", " 5", "5\n"}) {
        document[name][name] = name;
    }
    return document;
}

std::vector<IniFile> Documents() {
    std::vector<IniFile> documents(1);
    documents.push_back(Numbers());
    IniFile all;
    for (const std::string& text : test::ShortHostileTexts(2)) {
        all[text][text] = text;
    }
    for (int byte = 0; byte < 256; ++byte) {
        all["bytes"][std::string("n") + static_cast<char>(byte)] = std::string(3, static_cast<char>(byte));
    }
    all["long"]["value"] = std::string(100000, '"');
    documents.push_back(std::move(all));
    test::HostileTexts random(1);
    for (int i = 0; i < 500; ++i) {
        documents.push_back(random.Document());
    }
    return documents;
}

void ExpectDumps(const std::vector<IniFile>& documents, const Lines& answers) {
    for (std::size_t i = 0; i < documents.size(); ++i) {
        ASSERT_EQ(Dump(documents[i]), answers[i]) << i;
    }
}

TEST(PhpInterop, PhpReadsWhatWeWrite) {
    const auto documents = Documents();
    ExpectDumps(documents, AskPhp(Requests("unserialize", documents, HexOfWritten)));
}

TEST(PhpInterop, TheFunctionForReadingReadsWhatWeWrite) {
    const auto documents = Documents();
    ExpectDumps(documents, AskPhp(Requests("read", documents, HexOfWritten)));
}

TEST(PhpInterop, WeReadWhatPhpWrites) {
    const auto documents = Documents();
    const Lines answers = AskPhp(Requests("serialize", documents, Dump));
    int numbers = 0;
    for (std::size_t i = 0; i < documents.size(); ++i) {
        if (HasNumbers(documents[i])) {
            ++numbers;
            EXPECT_THROW(Read(FromHex(answers[i])), osa::Exception);
        } else {
            ASSERT_EQ(documents[i], Read(FromHex(answers[i]))) << i;
        }
    }
    EXPECT_GT(documents.size() / 2, static_cast<std::size_t>(numbers));
}

TEST(PhpInterop, WeReadWhatTheFunctionForWritingWrites) {
    const auto documents = Documents();
    const Lines answers = AskPhp(Requests("write", documents, Dump));
    for (std::size_t i = 0; i < documents.size(); ++i) {
        ASSERT_EQ(documents[i], Read(FromHex(answers[i]))) << i;
    }
}

TEST(PhpInterop, NumericNamesOfPhpItselfAreRefused) {
    IniFile document;
    document["g"]["5"] = "v";
    const Lines answers = AskPhp({"serialize " + Dump(document)});
    try {
        Read(FromHex(answers[0]));
        FAIL() << FromHex(answers[0]);
    } catch (const osa::Exception& error) {
        EXPECT_STREQ("expected: 's' but got: 'i'", error.what());
    }
}

}  // namespace
}  // namespace zumra::settings::server
