#pragma once

#include "settings/client/commands/RemoteCommand.h"

namespace zumra::settings::client {

/// Asks whether the server has one of the commands that a server may lack.
class CapabilitiesCommand final : public RemoteCommand {
public:
    /// `wanted` is the command line, a literal.
    explicit CapabilitiesCommand(const char* wanted);
    void SendRequest(std::ostream& out) override;
    bool HandleResponse(std::istream& in) override;

    /// True once a reply said that the server has it.
    [[nodiscard]] bool Has() const noexcept { return _has; }

private:
    const char* const _wanted;
    bool _has = false;
};

}  // namespace zumra::settings::client
