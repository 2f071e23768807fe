#include "zumra/settings/ZumraSettingsClient.h"

#include <utility>

#include "settings/client/IBackend.h"
#include "settings/client/InProcessServer.h"
#include "settings/client/SocketPlace.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {

using client::InProcessServer;
using common::GroupNameMatcher;
using common::SettingLocator;

namespace {

void Refresh(client::IBackend& backend, const GroupNameMatcher& selected, core::IniFile& target) {
    GroupNameMatcher read;
    core::IniFile fresh;
    for (const auto& [name, values] : target) {
        if (selected.Matches(name)) {
            read.AddName(name);
        } else {
            fresh.SetGroup(name, values);
        }
    }
    backend.Get(read, fresh);
    swap(target, fresh);
}

std::unique_ptr<client::IBackend> MakeBackend(ZumraSettingsClient::OperationMode mode,
                                              const core::IniFile* defaults) {
    if (mode != ZumraSettingsClient::kRemote) {
        return InProcessServer(defaults != nullptr ? *defaults : core::IniFile()).Connect(mode);
    }
    if (defaults != nullptr) {
        throw osa::Exception("the defaults are the server's");
    }
    return client::MakeRemoteBackend({});
}

ZumraSettingsClient::RemoteOptions At(const std::string& socketPath) {
    ZumraSettingsClient::RemoteOptions options;
    options.socketPath = socketPath;
    return options;
}

}  // namespace

ZumraSettingsClient::ZumraSettingsClient(OperationMode mode)
    : ZumraSettingsClient(MakeBackend(mode, nullptr)) {}

ZumraSettingsClient::ZumraSettingsClient(OperationMode mode, const core::IniFile& defaults)
    : ZumraSettingsClient(MakeBackend(mode, &defaults)) {}

ZumraSettingsClient::ZumraSettingsClient(const std::string& socketPath)
    : ZumraSettingsClient(At(socketPath)) {}

ZumraSettingsClient::ZumraSettingsClient(const RemoteOptions& options)
    : ZumraSettingsClient(client::MakeRemoteBackend(options)) {}

ZumraSettingsClient::ZumraSettingsClient(std::unique_ptr<client::IBackend> backend)
    : _backend(std::move(backend)) {}

ZumraSettingsClient::~ZumraSettingsClient() = default;

std::string ZumraSettingsClient::DefaultSocketPath() {
    return client::SocketPlace().Find();
}

void ZumraSettingsClient::GetSettings(const std::string& groupPattern, core::IniFile& target) const {
    _backend->Get(GroupNameMatcher(groupPattern), target);
}

void ZumraSettingsClient::GetSettings(const std::set<std::string>& groupPatterns,
                                      core::IniFile& target) const {
    _backend->Get(GroupNameMatcher(groupPatterns), target);
}

void ZumraSettingsClient::RefreshSettings(core::IniFile& target) const {
    Refresh(*_backend, GroupNameMatcher("*"), target);
}

void ZumraSettingsClient::RefreshSettings(const std::string& groupPattern, core::IniFile& target) const {
    Refresh(*_backend, GroupNameMatcher(groupPattern), target);
}

void ZumraSettingsClient::RefreshSettings(const std::set<std::string>& groupPatterns,
                                          core::IniFile& target) const {
    Refresh(*_backend, GroupNameMatcher(groupPatterns), target);
}

std::string ZumraSettingsClient::GetValue(const std::string& locator) const {
    return FindValue(locator).value_or(std::string());
}

std::optional<std::string> ZumraSettingsClient::FindValue(const std::string& locator) const {
    return _backend->GetValue(SettingLocator::Parse(locator));
}

void ZumraSettingsClient::MergeSettings(const core::IniFile& settings) {
    _backend->Merge(settings);
}

void ZumraSettingsClient::SetValue(const std::string& locator, const std::string& value) {
    _backend->SetValue(SettingLocator::Parse(locator), value);
}

void ZumraSettingsClient::EraseValue(const std::string& locator) {
    _backend->EraseValue(SettingLocator::Parse(locator));
}

void ZumraSettingsClient::OverwriteSettings(const std::string& groupPattern, const core::IniFile& settings) {
    _backend->Overwrite(GroupNameMatcher(groupPattern), settings);
}

void ZumraSettingsClient::OverwriteSettings(const std::set<std::string>& groupPatterns,
                                            const core::IniFile& settings) {
    _backend->Overwrite(GroupNameMatcher(groupPatterns), settings);
}

void ZumraSettingsClient::EraseGroups(const std::string& groupPattern) {
    _backend->Erase(GroupNameMatcher(groupPattern));
}

void ZumraSettingsClient::EraseGroups(const std::set<std::string>& groupPatterns) {
    _backend->Erase(GroupNameMatcher(groupPatterns));
}

void ZumraSettingsClient::RestoreToDefaults(const std::string& groupPattern) {
    _backend->Restore(GroupNameMatcher(groupPattern));
}

void ZumraSettingsClient::RestoreToDefaults(const std::set<std::string>& groupPatterns) {
    _backend->Restore(GroupNameMatcher(groupPatterns));
}

bool ZumraSettingsClient::TestAndMerge(const core::IniFile& oldValues, const core::IniFile& newValues,
                                       Difference* difference) {
    return _backend->TestAndMerge(oldValues, newValues, difference);
}

bool ZumraSettingsClient::TestExactlyAndMerge(const std::set<std::string>& groupPatterns,
                                              const core::IniFile& expected, const core::IniFile& newValues,
                                              Difference* difference) {
    return _backend->TestExactlyAndMerge(GroupNameMatcher(groupPatterns), expected, newValues, difference);
}

bool ZumraSettingsClient::TestExactlyAndOverwrite(const std::set<std::string>& groupPatterns,
                                                  const core::IniFile& expected,
                                                  const core::IniFile& settings, Difference* difference) {
    return _backend->TestExactlyAndOverwrite(GroupNameMatcher(groupPatterns), expected, settings, difference);
}

void ZumraSettingsClient::Subscribe(IChangeCallback* callback, const std::string& groupPattern) {
    Subscribe(callback, std::set<std::string>{groupPattern});
}

void ZumraSettingsClient::Subscribe(IChangeCallback* callback, const std::set<std::string>& groupPatterns) {
    if (callback == nullptr) {
        throw osa::Exception("Subscribe: no callback");
    }
    _backend->Subscribe(callback, GroupNameMatcher(groupPatterns));
}

void ZumraSettingsClient::UnSubscribe(IChangeCallback* callback) {
    _backend->UnSubscribe(callback);
}

void ZumraSettingsClient::SetCallbackErrorHandler(CallbackErrorHandler handler) {
    _backend->SetCallbackErrorHandler(std::move(handler));
}

void ZumraSettingsClient::Flush() {
    _backend->Flush();
}

void ZumraSettingsClient::Sync() {
    _backend->Sync();
}

}  // namespace zumra::settings
