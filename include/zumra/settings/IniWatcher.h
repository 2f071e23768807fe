#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// Keeps a program's own document in step with the settings of a client.
class ZUMRA_EXPORT IniWatcher {
public:
    IniWatcher(ZumraSettingsClient* client, core::IniFile* document);
    ~IniWatcher();
    IniWatcher(const IniWatcher&) = delete;
    IniWatcher& operator=(const IniWatcher&) = delete;

    void AddPattern(const std::string& pattern);
    bool Update();
    bool TryUpdate();

    /// True when there is something for an update before the time is over.
    bool WaitForChange(std::chrono::milliseconds timeout);
    /// Readable as long as there is something for an update. Owned by the watcher.
    [[nodiscard]] int FileDescriptor() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings
