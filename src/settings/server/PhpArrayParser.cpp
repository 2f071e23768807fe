#include "settings/server/PhpArrayParser.h"

#include <algorithm>
#include <utility>

#include "core/IniText.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::server {
namespace {

// The shortest forms of what is still to come.
constexpr std::uint64_t kMinString = 7;  // s:0:"";
constexpr std::uint64_t kMinArray = 6;   // a:0:{}
constexpr std::uint64_t kMinGroup = kMinString + kMinArray;
constexpr std::uint64_t kMinValue = 2 * kMinString;
/// As many as the greatest size has: the number cannot overflow on the way.
constexpr unsigned kMaxDigits = 10;
/// Memory taken for a string before its bytes are there.
constexpr std::uint64_t kMaxReserve = 4096;

[[noreturn]] void FailWrong(char expected, char actual) {
    throw osa::Exception(std::string("expected: '") + expected + "' but got: '" +
                         core::Printable(std::string_view(&actual, 1)) + "'");
}

[[noreturn]] void FailSize() {
    throw osa::Exception("failed to read size specification");
}

}  // namespace

std::size_t PhpArrayParser::Feed(std::string_view bytes) {
    std::size_t taken = 0;
    while (taken < bytes.size() && !Done()) {
        const std::string_view rest = bytes.substr(taken);
        const std::size_t step = InNumber()                ? FeedNumber(rest)
                                 : _step == Step::kContent ? FeedContent(rest)
                                                           : FeedLiteral(rest);
        taken += step;
    }
    return taken;
}

std::string_view PhpArrayParser::Literal() const noexcept {
    switch (_step) {
        case Step::kArrayTag:
            return "a:";
        case Step::kArrayBrace:
            return ":{";
        case Step::kStringTag:
            return "s:";
        case Step::kStringQuote:
            return ":\"";
        case Step::kStringEnd:
            return "\";";
        case Step::kClose:
            return "}";
        default:
            return "";
    }
}

std::size_t PhpArrayParser::FeedLiteral(std::string_view bytes) {
    const std::string_view literal = Literal();
    const std::size_t size = std::min(bytes.size(), literal.size() - _literalAt);
    for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] != literal[_literalAt]) {
            FailWrong(literal[_literalAt], bytes[i]);
        }
        ++_literalAt;
    }
    _consumed += size;
    if (_literalAt == literal.size()) {
        Next();
    }
    return size;
}

std::size_t PhpArrayParser::FeedNumber(std::string_view bytes) {
    std::size_t size = 0;
    for (; size < bytes.size() && bytes[size] >= '0' && bytes[size] <= '9'; ++size) {
        _number = _number * 10 + static_cast<unsigned>(bytes[size] - '0');
        if (++_digits > kMaxDigits || _number > kMaxSize) {
            FailSize();
        }
    }
    _consumed += size;
    if (size < bytes.size()) {
        if (_digits == 0) {
            FailSize();
        }
        Next();
    }
    return size;
}

std::size_t PhpArrayParser::FeedContent(std::string_view bytes) {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), _number));
    _text.append(bytes.substr(0, size));
    _number -= size;
    _consumed += size;
    if (_number == 0) {
        Next();
    }
    return size;
}

/// The step is complete: goes on to the one after it.
void PhpArrayParser::Next() {
    switch (_step) {
        case Step::kArrayTag:
            return Enter(Step::kArraySize);
        case Step::kArraySize:
            return Enter(Step::kArrayBrace);
        case Step::kArrayBrace:
            return OpenArray();
        case Step::kStringTag:
            return Enter(Step::kStringSize);
        case Step::kStringSize:
            return Enter(Step::kStringQuote);
        case Step::kStringQuote:
            return OpenString();
        case Step::kContent:
            return Enter(Step::kStringEnd);
        case Step::kStringEnd:
            return EndString();
        case Step::kClose:
            return Close();
        case Step::kDone:
            return;
    }
}

void PhpArrayParser::Enter(Step step) {
    _step = step;
    _literalAt = 0;
    if (InNumber()) {
        _digits = 0;
        _number = 0;
    }
}

void PhpArrayParser::OpenArray() {
    if (_inGroup) {
        _valuesLeft = _number;
        NextValue();
    } else {
        _groupsLeft = _number;
        NextGroup();
    }
    CheckLimit();
}

void PhpArrayParser::OpenString() {
    _length = _number;
    _text.clear();
    _text.reserve(static_cast<std::size_t>(std::min(_length, kMaxReserve)));
    Enter(_length == 0 ? Step::kStringEnd : Step::kContent);
    CheckLimit();
}

void PhpArrayParser::EndString() {
    switch (_item) {
        case Item::kGroupName:
            _group = &_document[_text];
            _inGroup = true;
            return Enter(Step::kArrayTag);
        case Item::kValueName:
            _valueName = std::exchange(_text, std::string());
            _item = Item::kValue;
            return Enter(Step::kStringTag);
        case Item::kValue:
            return EndValue();
    }
}

void PhpArrayParser::EndValue() {
    // What this system and most others write is in order, so the end is mostly the right place.
    _group->insert_or_assign(_group->end(), std::move(_valueName), std::move(_text));
    --_valuesLeft;
    NextValue();
}

void PhpArrayParser::NextValue() {
    _item = Item::kValueName;
    Enter(_valuesLeft > 0 ? Step::kStringTag : Step::kClose);
}

void PhpArrayParser::NextGroup() {
    _item = Item::kGroupName;
    Enter(_groupsLeft > 0 ? Step::kStringTag : Step::kClose);
}

void PhpArrayParser::Close() {
    if (!_inGroup) {
        return Enter(Step::kDone);
    }
    _inGroup = false;
    --_groupsLeft;
    NextGroup();
}

void PhpArrayParser::CheckLimit() const {
    if (_maxBytes != kNoLimit && _consumed + MinimumLeft() > _maxBytes) {
        throw osa::Exception("phparray document is longer than the limit of " + std::to_string(_maxBytes) +
                             " bytes");
    }
}

void PhpArrayParser::Finish() const {
    if (Done()) {
        return;
    }
    if (InNumber() && _digits == 0) {
        FailSize();
    }
    if (_step == Step::kContent) {
        throw osa::Exception("phparray failed to read " + std::to_string(_length) + " characters for string");
    }
    const char expected = InNumber() ? ':' : Literal()[_literalAt];
    throw osa::Exception(std::string("phparray missing data (expected '") + expected + "')");
}

/// The least number of bytes to the end of the array or string that is being read.
std::uint64_t PhpArrayParser::MinimumLeftOfItem() const noexcept {
    const std::uint64_t digit = InNumber() && _digits == 0 ? 1 : 0;
    const std::uint64_t literal = Literal().size() - _literalAt;
    switch (_step) {
        case Step::kArrayTag:
            return literal + kMinArray - 2;
        case Step::kArraySize:
            return digit + 3;
        case Step::kArrayBrace:
            return literal + 1;
        case Step::kStringTag:
            return literal + kMinString - 2;
        case Step::kStringSize:
            return digit + 4;
        case Step::kStringQuote:
            return literal + _number + 2;
        case Step::kContent:
            return _number + 2;
        case Step::kStringEnd:
        case Step::kClose:
            return literal;
        case Step::kDone:
            return 0;
    }
    return 0;
}

std::uint64_t PhpArrayParser::MinimumLeft() const noexcept {
    std::uint64_t left = MinimumLeftOfItem();
    const bool inString = _step >= Step::kStringTag && _step <= Step::kStringEnd;
    if (inString && _item == Item::kGroupName) {
        left += kMinArray;
    } else if (inString) {
        left += (_valuesLeft - 1) * kMinValue + (_item == Item::kValueName ? kMinString : 0) + 1;
    }
    if (_groupsLeft > 0) {
        left += (_groupsLeft - 1) * kMinGroup + 1;  // the groups after this one, the document's brace
    }
    return left;
}

}  // namespace zumra::settings::server
