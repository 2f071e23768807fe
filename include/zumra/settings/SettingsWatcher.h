#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "zumra/Export.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// Binds settings to variables of a program.
class ZUMRA_EXPORT SettingsWatcher {
public:
    explicit SettingsWatcher(ZumraSettingsClient* client);
    ~SettingsWatcher();
    SettingsWatcher(const SettingsWatcher&) = delete;
    SettingsWatcher& operator=(const SettingsWatcher&) = delete;

    void AddSetting(const std::string& group, const std::string& name, int* target);
    void AddSetting(const std::string& group, const std::string& name, bool* target);
    void AddSetting(const std::string& group, const std::string& name, std::string* target);

    bool UpdateSettings();
    bool TryUpdateSettings();

    bool WaitForChange(std::chrono::milliseconds timeout);
    [[nodiscard]] int FileDescriptor() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings
