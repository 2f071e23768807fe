#include "settings/client/commands/RequestText.h"

#include <ostream>
#include <string>

#include "settings/common/MatcherLines.h"

namespace zumra::settings::client {

void WriteList(std::ostream& out, const common::GroupNameMatcher& groups) {
    std::string lines;
    common::MatcherLines::Append(lines, groups);
    out << lines << ".\n";
}

void WriteDocument(std::ostream& out, const core::IniFile& document) {
    document.SaveToStream(out);
    out << ".\n";
}

}  // namespace zumra::settings::client
