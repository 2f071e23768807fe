// The PHP-array form: however the text is cut it gives the same, nothing after the document is taken, a limit
// only refuses, memory is bounded by the text, and what was read comes back from what is written.
#include <algorithm>
#include <sstream>

#include "Fuzz.h"
#include "Memory.h"
#include "settings/server/PhpArrayParser.h"
#include "zumra/settings/server/PhpArraySettingsSerializer.h"

namespace {

using namespace zumra;
using core::IniFile;
using settings::server::PhpArrayParser;
using settings::server::PhpArraySettingsSerializer;

/// Feeds pieces of at most `piece` bytes; returns what is left after the document.
std::string_view Parse(PhpArrayParser& parser, std::string_view text, std::size_t piece, IniFile& document) {
    while (!text.empty() && !parser.Done()) {
        const std::uint64_t left = parser.MinimumLeft();
        const std::size_t taken = parser.Feed(text.substr(0, piece));
        fuzz::Require(!parser.Done() || taken >= left, "at least the announced minimum was taken");
        text.remove_prefix(taken);
    }
    parser.Finish();
    document = parser.Take();
    return text;
}

fuzz::Outcome ReadInPieces(std::string_view text, std::size_t piece) {
    return fuzz::OutcomeOf([=](IniFile& document) {
        PhpArrayParser parser;
        Parse(parser, text, piece, document);
    });
}

fuzz::Outcome ReadStream(std::string_view text) {
    return fuzz::OutcomeOf([text](IniFile& document) {
        std::istringstream in{std::string(text)};
        PhpArraySettingsSerializer().Deserialize(in, document);
        PhpArrayParser parser;
        IniFile again;
        const std::string_view rest = Parse(parser, text, text.size(), again);
        fuzz::Require(static_cast<std::size_t>(in.tellg()) == text.size() - rest.size(),
                      "the stream stands right after the document");
    });
}

void RequireComesBack(const IniFile& document) {
    std::ostringstream out;
    PhpArraySettingsSerializer().Serialize(document, settings::common::GroupNameMatcher("*"), out);
    std::istringstream in(out.str());
    IniFile read;
    PhpArraySettingsSerializer().Deserialize(in, read);
    fuzz::Require(read == document, "what is written is read as the same document");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::Input(data, size);
    {
        const fuzz::MemoryBound bound(size);
        static_cast<void>(ReadInPieces(text, 3));
    }
    const auto whole = ReadInPieces(text, std::max<std::size_t>(1, text.size()));
    fuzz::Require(whole == ReadInPieces(text, 1), "single bytes give what the whole text gives");
    fuzz::Require(whole == ReadInPieces(text, 7), "pieces give what the whole text gives");
    fuzz::Require(whole == ReadStream(text), "a stream gives what the whole text gives");
    const auto limited = fuzz::OutcomeOf([text](IniFile& document) {
        PhpArrayParser parser(text.size());
        Parse(parser, text, 5, document);
    });
    fuzz::Require(!whole.error.empty() || whole == limited,
                  "a limit that the document keeps changes nothing");
    RequireComesBack(whole.document);
    IniFile everywhere;
    everywhere[text][std::string(text)] = text;
    RequireComesBack(everywhere);
    return 0;
}
