#include "zumra-settings/LocalStore.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "settings/client/InProcessPump.h"
#include "settings/client/InProcessStore.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "storage/OpenStore.h"
#include "zumra-settingsd/Sources.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/LoadPriorityIncludeFilter.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::cli {

namespace {

using settings::server::Identity;

std::shared_ptr<const Identity> WhoWeAre() {
    auto who = std::make_shared<Identity>();
    who->uid = ::geteuid();
    who->pid = ::getpid();
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(0, ::getgroups(0, nullptr))));
    const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
    groups.resize(static_cast<std::size_t>(std::max(0, count)));
    who->gids.insert(groups.begin(), groups.end());
    who->gids.insert(::getegid());
    return who;
}

void RequireFile(const std::string& uri) {
    const std::string path = storage::PathOfStore(uri);
    struct stat status {};
    if (!path.empty() && ::stat(path.c_str(), &status) != 0) {
        throw osa::Exception("no store at '" + path + "': " + std::generic_category().message(errno));
    }
}

}  // namespace

struct LocalStore::Parts {
    Parts(const StoreSources& sources, std::function<void(const std::string&)> warn)
        : store(storage::OpenStore(sources.uri, std::move(warn))),
          persister(settingsd::MakePersister({sources.defaults, sources.include}, *store)) {
        if (sources.restricted) {
            restricted = std::make_unique<settingsd::RestrictedFile>(*sources.restricted);
        }
        manager =
            std::make_unique<settings::server::SettingsManager>(persister.get(), restricted.get(), &filter);
        who = restricted == nullptr ? nullptr : WhoWeAre();
        settings::client::ConnectionOptions options;
        options.threads = false;
        auto shared = std::make_shared<settings::client::InProcessStore>(*manager);
        client = std::make_unique<settings::ZumraSettingsClient>(settings::client::MakeConnectionBackend(
            settings::client::MakeInProcessPump(std::move(shared), who), options));
    }

    const std::unique_ptr<storage::ISettingsStore> store;
    const std::unique_ptr<settings::server::ISettingsPersister> persister;
    std::unique_ptr<settingsd::RestrictedFile> restricted;
    settings::server::LoadPriorityIncludeFilter filter;
    std::unique_ptr<settings::server::SettingsManager> manager;
    std::shared_ptr<const Identity> who;
    std::unique_ptr<settings::ZumraSettingsClient> client;
};

LocalStore::LocalStore(const StoreSources& sources, bool mustExist,
                       std::function<void(const std::string&)> warn) {
    if (mustExist) {
        RequireFile(sources.uri);
    }
    _parts = std::make_unique<Parts>(sources, std::move(warn));
}

LocalStore::~LocalStore() = default;

settings::ZumraSettingsClient& LocalStore::Client() {
    return *_parts->client;
}

core::IniFile LocalStore::Defaults() const {
    core::IniFile defaults;
    for (const auto& [name, values] :
         _parts->manager->ReadDefaults(settings::common::GroupNameMatcher("*"), _parts->who.get())) {
        defaults.SetGroup(name, *values);
    }
    return defaults;
}

}  // namespace zumra::cli
