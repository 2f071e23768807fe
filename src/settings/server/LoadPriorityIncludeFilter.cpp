#include "zumra/settings/server/LoadPriorityIncludeFilter.h"

#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "core/IniText.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::server {

namespace {

using Priorities = std::map<std::string, std::int64_t, std::less<>>;

constexpr std::string_view kDeclaringGroup = "ZumraSettings/LoadPriority";
constexpr std::int64_t kDefaultPriority = 0;

std::optional<std::int64_t> ParsePriority(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == text.npos) {
        return {};
    }
    text = text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
    std::int64_t priority = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, priority);
    if (error != std::errc() || stop != end) {
        return {};
    }
    return priority;
}

/// The priority of every group of the document, the declaring one left out.
Priorities PrioritiesOf(const core::IniFile& document, const std::string& source) {
    Priorities priorities;
    for (const auto& group : document) {
        if (group.first != kDeclaringGroup) {
            priorities.emplace_hint(priorities.end(), group.first, kDefaultPriority);
        }
    }
    const core::IniFile::Group* declared = document.FindGroup(kDeclaringGroup);
    if (declared == nullptr) {
        return priorities;
    }
    for (const auto& [group, text] : *declared) {
        const std::optional<std::int64_t> priority = ParsePriority(text);
        if (!priority) {
            std::string line = group;
            line.append(" = ").append(text);
            std::string message = source.empty() ? source : source + ": ";
            message.append("load priority line '").append(core::Printable(line));
            throw osa::Exception(message + "': expected a decimal integer");
        }
        const auto at = priorities.find(group);
        if (at != priorities.end()) {
            at->second = *priority;
        }
    }
    return priorities;
}

}  // namespace

LoadPriorityIncludeFilter::LoadPriorityIncludeFilter() = default;

LoadPriorityIncludeFilter::~LoadPriorityIncludeFilter() = default;

void LoadPriorityIncludeFilter::Filter(core::IniFile& document, const std::string& source) {
    Priorities priorities = PrioritiesOf(document, source);
    document.EraseGroup(kDeclaringGroup);
    for (auto at = priorities.begin(); at != priorities.end();) {
        const auto group = at++;
        const auto accepted = _accepted.find(group->first);
        if (accepted == _accepted.end()) {
            _accepted.insert(priorities.extract(group));
        } else if (group->second < accepted->second) {
            document.EraseGroup(group->first);
        } else {
            accepted->second = group->second;
        }
    }
}

void LoadPriorityIncludeFilter::Reset() {
    _accepted.clear();
}

}  // namespace zumra::settings::server
