#pragma once

#include "settings/client/commands/RemoteCommand.h"
#include "zumra/core/IniFile.h"

namespace zumra::settings::client {

/// Merges a document if the store still holds every value of another. The reply is "result" and then one
/// word: "ok" when it was merged, any other when it was refused.
class TestAndMergeCommand : public RemoteCommand {
public:
    /// Keeps both documents by reference: they must outlive the command.
    TestAndMergeCommand(const core::IniFile& testSettings, const core::IniFile& mergeSettings);
    ~TestAndMergeCommand() override;

    /// Writes the request and flushes the stream.
    void SendRequest(std::ostream& out) override;
    /// Reads the one line that follows "result". Returns what `WasSuccessful` then returns.
    bool HandleResponse(std::istream& in) override;

    /// True once a reply said that the document was merged.
    [[nodiscard]] bool WasSuccessful() const noexcept { return _successful; }

private:
    const core::IniFile* _testSettings;
    const core::IniFile* _mergeSettings;
    bool _successful = false;
};

}  // namespace zumra::settings::client
