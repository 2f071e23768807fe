#include "zumra-settingsd/PeerIdentity.h"

#include <sys/socket.h>

#include <vector>

namespace zumra::settingsd {

namespace {

std::vector<gid_t> PeerGroups(int socket) {
    std::vector<gid_t> groups(64);
    for (;;) {
        auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        if (::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) {
            groups.resize(size / sizeof(gid_t));
            return groups;
        }
        if (size <= groups.size() * sizeof(gid_t)) {
            return {};
        }
        groups.resize(size / sizeof(gid_t));
    }
}

}  // namespace

std::shared_ptr<const settings::server::Identity> PeerIdentity(int socket) {
    auto identity = std::make_shared<settings::server::Identity>();
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0) {
        identity->uid = credentials.uid;
        identity->gids.insert(credentials.gid);
        identity->pid = credentials.pid;
        const auto groups = PeerGroups(socket);
        identity->gids.insert(groups.begin(), groups.end());
    }
    return identity;
}

}  // namespace zumra::settingsd
