#include "settings/client/ResourceLayout.h"

#include <string_view>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {
namespace {

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

ResourceLayout::ResourceLayout(const std::string& resource) : _group("Resources/" + resource) {
    if ((resource + "/").find("/Consumers/") != std::string::npos) {
        throw osa::Exception("Invalid resource name '" + resource +
                             "': a part 'Consumers' after a '/' is kept for the consumers of a resource");
    }
    if (EndsWith(resource, "/AllowedConsumers")) {
        throw osa::Exception(
            "Invalid resource name '" + resource +
            "': '/AllowedConsumers' at the end is kept for the list of who may use a resource");
    }
}

void ResourceLayout::AddGroupsTo(common::GroupNameMatcher& groups) const {
    groups.AddName(Group());  // not a pattern, even if the resource's name ends in "*"
    groups.AddName(AllowedConsumersGroup());
    groups.AddNameOrPattern(ConsumersPrefix() + "*");
}

common::GroupNameMatcher ResourceLayout::Groups() const {
    common::GroupNameMatcher groups;
    AddGroupsTo(groups);
    return groups;
}

}  // namespace zumra::settings::client
