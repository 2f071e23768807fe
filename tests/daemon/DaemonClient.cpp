#include "daemon/DaemonClient.h"

#include <stdexcept>

#include "zumra/osa/Semaphore.h"

namespace zumra::tests {

namespace {

/// Callbacks are called in the order of the changes, so that who is called for a later one comes after all
/// that were due before.
class LastCallback final : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>&, const core::IniFile&) override { _called.Release(); }
    void Wait() { _called.Lock(kLongEnoughMs); }

private:
    static constexpr unsigned int kLongEnoughMs = 60000;
    osa::Semaphore _called{"last callback", 1, 0};
};

}  // namespace

OwnDaemon::OwnDaemon(const core::IniFile& defaults)
    : _daemon({"--socket", _folder.File("socket"), "--store", "memory:", "--defaults",
               _folder.Write("defaults.ini", defaults.SaveToString())}) {
    if (!_daemon.Serves()) {
        throw std::runtime_error("the daemon does not serve:\n" + _daemon.Log());
    }
}

DaemonClient::DaemonClient(OperationMode, const core::IniFile& defaults)
    : OwnDaemon(defaults), ZumraSettingsClient(Socket()) {}

void DaemonClient::SetValue(const std::string& locator, const std::string& value) {
    const std::string group = "last/change";
    LastCallback last;
    ZumraSettingsClient::SetValue(locator, value);
    Subscribe(&last, group);
    ZumraSettingsClient::SetValue("[" + group + "]x", "");
    last.Wait();
    UnSubscribe(&last);
    EraseGroups(group);
}

}  // namespace zumra::tests
