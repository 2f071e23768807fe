#pragma once

#include "settings/client/commands/RemoteCommand.h"

namespace zumra::settings::client {

/// One word that is answered by one word.
class WordCommand final : public RemoteCommand {
public:
    /// `verb` is the command line, a literal.
    WordCommand(const char* verb, const char* expectedResponse);
    void SendRequest(std::ostream& out) override;

    static constexpr const char* kSynced = "synced";

    /// Answered when everything requested before was applied.
    [[nodiscard]] static WordCommand Sync() { return {"sync", kSynced}; }
    /// Answered when everything committed before is saved.
    [[nodiscard]] static WordCommand Flush() { return {"flush", "flushed"}; }

private:
    const char* const _verb;
};

}  // namespace zumra::settings::client
