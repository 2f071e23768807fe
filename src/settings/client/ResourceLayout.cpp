#include "settings/client/ResourceLayout.h"

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

ResourceLayout::ResourceLayout(const std::string& resource) : _group("Resources/" + resource) {
    if ((resource + "/").find("/Consumers/") != std::string::npos) {
        throw osa::Exception("Invalid resource name '" + resource +
                             "': a part 'Consumers' after a '/' is kept for the consumers of a resource");
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
