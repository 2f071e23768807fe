#include "settings/common/MatcherLines.h"

#include "core/IniText.h"
#include "settings/common/LineCodec.h"

namespace zumra::settings::common::MatcherLines {
namespace {

void AppendName(std::string& out, std::string_view name) {
    if (!name.empty() && name.back() == '*') {
        core::AppendQuoted(out, name);
    } else {
        LineCodec::AppendEncoded(out, name);
    }
    out += '\n';
}

void AppendPattern(std::string& out, std::string_view pattern) {
    if (core::RestOfLineNeedsQuotes(pattern)) {
        core::AppendQuoted(out, pattern.substr(0, pattern.size() - 1));
        out += '*';
    } else {
        out += pattern;
    }
    out += '\n';
}

}  // namespace

void Append(std::string& out, const GroupNameMatcher& matcher) {
    for (const std::string& name : matcher.Names()) {
        AppendName(out, name);
    }
    for (const std::string& pattern : matcher.Patterns()) {
        AppendPattern(out, pattern);
    }
}

void Add(GroupNameMatcher& matcher, std::string_view line) {
    if (line.empty() || line.front() != '"') {
        matcher.AddNameOrPattern(line);
    } else if (line.back() == '*') {
        matcher.AddNameOrPattern(LineCodec::Decode(line.substr(0, line.size() - 1)) + '*');
    } else {
        matcher.AddName(LineCodec::Decode(line));
    }
}

}  // namespace zumra::settings::common::MatcherLines
