#pragma once

#include <array>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "zumra/core/IniFile.h"

/// Texts and documents made of the bytes that text forms trip over.
namespace zumra::test {

inline constexpr std::array<char, 15> kHostileBytes = {'\n', '\r', ' ', '\t', '=',  '[', ']',   '#',
                                                       ';',  '\\', '"', '.',  '\0', 'x', '\xff'};

/// Every text of at most `maxLength` hostile bytes, the empty one included.
inline std::vector<std::string> ShortHostileTexts(std::size_t maxLength) {
    std::vector<std::string> texts{""};
    std::size_t begin = 0;
    for (std::size_t length = 1; length <= maxLength; ++length) {
        const std::size_t end = texts.size();
        for (; begin < end; ++begin) {
            for (const char byte : kHostileBytes) {
                texts.push_back(texts[begin] + byte);
            }
        }
    }
    return texts;
}

/// Random texts: mostly hostile bytes, some of any value, some of the pieces that look like syntax.
class HostileTexts {
public:
    explicit HostileTexts(unsigned seed) : _random(seed) {}

    std::size_t Number(std::size_t below) {
        return std::uniform_int_distribution<std::size_t>(0, below - 1)(_random);
    }

    std::string Text(std::size_t maxPieces = 6) {
        static constexpr std::array<std::string_view, 12> kSyntax = {
            "\n[Other]\n", "\nname = value\n", "\r\n", "\n.\n", "\\n",   "\\x41",
            "s:1:\"",      "a:0:{}",           "\";}", "];",    "\"a\"", "[g]n"};
        std::string text;
        for (std::size_t i = Number(maxPieces + 1); i > 0; --i) {
            switch (Number(8)) {
                case 0:
                    text += static_cast<char>(Number(256));
                    break;
                case 1:
                    text += kSyntax[Number(kSyntax.size())];
                    break;
                case 2:
                    text += "abc";
                    break;
                default:
                    text += kHostileBytes[Number(kHostileBytes.size())];
            }
        }
        return text;
    }

    core::IniFile Document(std::size_t maxGroups = 5, std::size_t maxValues = 5) {
        core::IniFile document;
        for (std::size_t i = Number(maxGroups + 1); i > 0; --i) {
            auto& group = document[Text()];
            for (std::size_t j = Number(maxValues + 1); j > 0; --j) {
                group[Text()] = Text();
            }
        }
        return document;
    }

private:
    std::mt19937 _random;
};

}  // namespace zumra::test
