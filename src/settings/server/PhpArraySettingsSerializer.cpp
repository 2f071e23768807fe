#include "zumra/settings/server/PhpArraySettingsSerializer.h"

#include <algorithm>
#include <array>
#include <istream>
#include <ostream>
#include <string>

#include "settings/server/PhpArrayParser.h"
#include "settings/server/PhpArrayWriter.h"

namespace zumra::settings::server {
namespace {

constexpr std::size_t kReadChunk = 16384;
constexpr std::size_t kWriteChunk = 65536;

void Write(std::ostream& out, std::string& text) {
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    text.clear();
}

}  // namespace

void PhpArraySettingsSerializer::Serialize(const core::IniFile& document,
                                           const common::GroupNameMatcher& groups, std::ostream& out) {
    std::size_t count = 0;
    groups.ForEachMatch(document.AllGroups(), [&count](auto) { ++count; });
    std::string text;
    PhpArray::AppendArrayStart(text, count);
    groups.ForEachMatch(document.AllGroups(), [&](auto at) {
        PhpArray::AppendGroup(text, at->first, at->second);
        if (text.size() >= kWriteChunk) {
            Write(out, text);
        }
    });
    text += PhpArray::kArrayEnd;
    text += PhpArray::kDocumentEnd;
    Write(out, text);
}

void PhpArraySettingsSerializer::Deserialize(std::istream& in, core::IniFile& document) {
    PhpArrayParser parser;
    std::array<char, kReadChunk> chunk;
    while (!parser.Done()) {
        // Never more than surely belongs to the document, so that nothing after it is taken from the stream.
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(parser.MinimumLeft(), kReadChunk));
        in.read(chunk.data(), static_cast<std::streamsize>(wanted));
        const auto got = static_cast<std::size_t>(in.gcount());
        parser.Feed(std::string_view(chunk.data(), got));
        if (got < wanted) {
            parser.Finish();
        }
    }
    document.MergeSettings(parser.Take());
}

}  // namespace zumra::settings::server
