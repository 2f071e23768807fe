#pragma once

#include "settings/client/commands/RemoteCommand.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::client {

/// Reads the groups that match, all as of one moment.
class GetCommand final : public RemoteCommand {
public:
    /// Keeps `groups` by reference: it must outlive the command.
    explicit GetCommand(const common::GroupNameMatcher& groups);

    void SendRequest(std::ostream& out) override;
    bool HandleResponse(std::istream& in) override;

    /// What the reply held.
    [[nodiscard]] core::IniFile& Groups() noexcept { return _received; }

private:
    const common::GroupNameMatcher& _groups;
    core::IniFile _received;
};

}  // namespace zumra::settings::client
