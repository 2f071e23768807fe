#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

/// Reads one document in the PHP-array form while it arrives. The form and its errors stand at
/// `PhpArraySettingsSerializer`.
///
/// It believes no announced size: memory grows with the bytes that are there, and with a limit an
/// announcement that cannot be kept within it is an error as soon as it is read.
///
/// Thread-safety: one thread at a time.
class PhpArrayParser {
public:
    static constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();
    /// The greatest count or length that may be announced; a greater one is no size.
    static constexpr std::uint64_t kMaxSize = std::numeric_limits<std::int32_t>::max();

    /// `maxBytes`: the longest document to accept, first to last byte.
    explicit PhpArrayParser(std::uint64_t maxBytes = kNoLimit) : _maxBytes(maxBytes) {}

    /// Takes the next bytes and returns how many of them belong to the document: all, or fewer once its
    /// closing brace was among them. Throws `zumra::osa::Exception`; the parser must then not be used any
    /// more.
    std::size_t Feed(std::string_view bytes);
    /// Whether the closing brace has been read.
    [[nodiscard]] bool Done() const noexcept { return _step == Step::kDone; }
    /// The input has ended: throws the exception that says what is missing, if anything is.
    void Finish() const;

    /// The bytes of the document so far.
    [[nodiscard]] std::uint64_t Consumed() const noexcept { return _consumed; }
    /// The document has at least this many bytes more; 0 exactly when it is done.
    [[nodiscard]] std::uint64_t MinimumLeft() const noexcept;
    /// Hands over what was read; only of use once done.
    [[nodiscard]] core::IniFile Take() { return std::move(_document); }

private:
    /// What comes next, in the order of an array and of a string.
    enum class Step {
        kArrayTag,     // a:
        kArraySize,    // digits
        kArrayBrace,   // :{
        kStringTag,    // s:
        kStringSize,   // digits
        kStringQuote,  // :"
        kContent,      // the announced bytes
        kStringEnd,    // ";
        kClose,        // }
        kDone,
    };
    enum class Item { kGroupName, kValueName, kValue };

    std::size_t FeedLiteral(std::string_view bytes);
    std::size_t FeedNumber(std::string_view bytes);
    std::size_t FeedContent(std::string_view bytes);
    [[nodiscard]] std::string_view Literal() const noexcept;
    [[nodiscard]] bool InNumber() const noexcept {
        return _step == Step::kArraySize || _step == Step::kStringSize;
    }
    [[nodiscard]] std::uint64_t MinimumLeftOfItem() const noexcept;

    void Next();
    void Enter(Step step);
    void OpenArray();
    void OpenString();
    void EndString();
    void EndValue();
    void Close();
    void NextValue();
    void NextGroup();
    void CheckLimit() const;

    const std::uint64_t _maxBytes;
    std::uint64_t _consumed = 0;

    Step _step = Step::kArrayTag;
    std::size_t _literalAt = 0;  ///< how much of the step's literal was seen
    unsigned _digits = 0;
    std::uint64_t _number = 0;  ///< the size last read; while in a content, what is left of it
    std::uint64_t _length = 0;  ///< the announced length of the string that is read

    Item _item = Item::kGroupName;
    bool _inGroup = false;          ///< between a group's name and its closing brace
    std::uint64_t _groupsLeft = 0;  ///< the one that is read included
    std::uint64_t _valuesLeft = 0;
    std::string _text;
    std::string _valueName;
    core::IniFile _document;
    core::IniFile::Group* _group = nullptr;
};

}  // namespace zumra::settings::server
