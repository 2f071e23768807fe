#pragma once

#include "settings/client/commands/RemoteCommand.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"

/// Commands that read, each as of one moment. Each keeps what it is given by reference: it must outlive the
/// command.
namespace zumra::settings::client {

/// What is answered with "data", a document and the line ".".
class DataCommand : public RemoteCommand {
public:
    bool HandleResponse(std::istream& in) final;

    /// What the reply held.
    [[nodiscard]] core::IniFile& Groups() noexcept { return _received; }

protected:
    DataCommand();

private:
    core::IniFile _received;
};

/// Reads the groups that match, whole.
class GetCommand final : public DataCommand {
public:
    explicit GetCommand(const common::GroupNameMatcher& groups) : _groups(groups) {}
    void SendRequest(std::ostream& out) override;

private:
    const common::GroupNameMatcher& _groups;
};

/// Reads one value: the reply holds it and nothing else, or its group without values, or nothing where there
/// is not even that.
class GetValueCommand final : public DataCommand {
public:
    /// What a server that understands it has among its capabilities.
    static constexpr const char* kLine = "get-value";

    explicit GetValueCommand(const common::SettingLocator& locator) : _locator(locator) {}
    void SendRequest(std::ostream& out) override;

private:
    const common::SettingLocator& _locator;
};

}  // namespace zumra::settings::client
