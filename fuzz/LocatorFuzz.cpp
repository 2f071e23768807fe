// Setting locators and list lines: what is read comes back from what is written, on one line, in
// memory bounded by the text.
#include "Fuzz.h"
#include "Memory.h"
#include "settings/common/LineCodec.h"
#include "zumra/settings/common/SettingLocator.h"

namespace {

using namespace zumra;
using settings::common::SettingLocator;
namespace LineCodec = settings::common::LineCodec;

void RequireOneLine(std::string_view line) {
    fuzz::Require(line.find('\n') == line.npos, "it stands on one line");
    fuzz::Require(line.empty() || line.back() != '\r', "no line end can take a part of it");
}

void RequireComesBack(const SettingLocator& locator) {
    const std::string text = locator.ToString();
    RequireOneLine(text);
    fuzz::Require(SettingLocator::Parse(text) == locator, "a locator comes back");
}

void RequireComesBack(std::string_view item) {
    const std::string line = LineCodec::Encode(item);
    RequireOneLine(line);
    fuzz::Require(line != LineCodec::kEnd, "no item ends a list");
    fuzz::Require(LineCodec::Decode(line) == item, "an item comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::Input(data, size);
    const fuzz::MemoryBound bound(size);
    try {
        RequireComesBack(SettingLocator::Parse(text));
    } catch (const osa::Exception& error) {
        const std::string expected = "Failed to parse '" + std::string(text) + "' as a SettingLocator";
        fuzz::Require(error.what() == std::string(expected.c_str()), "the error quotes the text");
    }
    const auto decoded =
        fuzz::OutcomeOf([text](core::IniFile&) { RequireComesBack(LineCodec::Decode(text)); });
    fuzz::Require(decoded.error.empty() || text.front() == '"', "only what is quoted can be malformed");
    const std::size_t half = size / 2;
    RequireComesBack(SettingLocator{std::string(text.substr(0, half)), std::string(text.substr(half))});
    RequireComesBack(text);
    return 0;
}
