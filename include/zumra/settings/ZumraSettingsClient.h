#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/IChangeCallback.h"

namespace zumra::settings {

namespace client {
class IBackend;
}

/// A program's access to the settings.
class ZUMRA_EXPORT ZumraSettingsClient {
public:
    enum OperationMode {
        kLocal = 2,
        kLocalSingleThreadedPipe = 3,
        kLocalMultiThreadedPipe = 4,
    };

    /// Why a test-and-merge was refused; see the server's `Difference` for the meaning of absent texts.
    struct Difference {
        std::string group;
        std::optional<std::string> name;
        std::optional<std::string> expected;
        std::optional<std::string> actual;
    };
    using CallbackErrorHandler = std::function<void(std::exception_ptr)>;

    explicit ZumraSettingsClient(OperationMode mode);
    ZumraSettingsClient(OperationMode mode, const core::IniFile& defaults);
    /// For the library and its tests: a client over a given implementation.
    explicit ZumraSettingsClient(std::unique_ptr<client::IBackend> backend);
    ~ZumraSettingsClient();
    ZumraSettingsClient(const ZumraSettingsClient&) = delete;
    ZumraSettingsClient& operator=(const ZumraSettingsClient&) = delete;

    void GetSettings(const std::string& groupPattern, core::IniFile& target) const;
    void GetSettings(const std::set<std::string>& groupPatterns, core::IniFile& target) const;
    void RefreshSettings(core::IniFile& target) const;
    [[nodiscard]] std::string GetValue(const std::string& locator) const;
    [[nodiscard]] std::optional<std::string> FindValue(const std::string& locator) const;

    void MergeSettings(const core::IniFile& settings);
    void SetValue(const std::string& locator, const std::string& value);
    void EraseValue(const std::string& locator);
    void OverwriteSettings(const std::string& groupPattern, const core::IniFile& settings);
    void OverwriteSettings(const std::set<std::string>& groupPatterns, const core::IniFile& settings);
    void EraseGroups(const std::string& groupPattern);
    void EraseGroups(const std::set<std::string>& groupPatterns);
    void RestoreToDefaults(const std::string& groupPattern);
    void RestoreToDefaults(const std::set<std::string>& groupPatterns);

    bool TestAndMerge(const core::IniFile& oldValues, const core::IniFile& newValues,
                      Difference* difference = nullptr);
    /// The stricter form: the groups that match are exactly `expected`.
    bool TestExactlyAndMerge(const std::set<std::string>& groupPatterns, const core::IniFile& expected,
                             const core::IniFile& newValues, Difference* difference = nullptr);

    void Subscribe(IChangeCallback* callback, const std::string& groupPattern);
    void Subscribe(IChangeCallback* callback, const std::set<std::string>& groupPatterns);
    void UnSubscribe(IChangeCallback* callback);
    /// Called with what a callback threw; standard error is told when none is set.
    void SetCallbackErrorHandler(CallbackErrorHandler handler);

    /// Returns when everything that this client did before is saved.
    void Flush();
    /// Returns when everything that this client did before is applied.
    void Sync();

    /// For the library's own helpers.
    [[nodiscard]] client::IBackend& Backend() const noexcept { return *_backend; }

private:
    std::unique_ptr<client::IBackend> _backend;
};

}  // namespace zumra::settings
