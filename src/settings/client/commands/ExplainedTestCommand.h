#pragma once

#include <optional>
#include <string>

#include "settings/client/commands/RemoteCommand.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::client {

/// A test-and-merge, or an exact test with what follows it, whose refusal says what differed. Keeps what it
/// is given by reference: it must outlive the command.
class ExplainedTestCommand final : public RemoteCommand {
public:
    using Difference = ZumraSettingsClient::Difference;

    /// What is done when the settings are exactly as expected.
    enum Then { kMerge, kOverwrite };

    /// Merges if every value of `expected` is in the store.
    ExplainedTestCommand(const core::IniFile& expected, const core::IniFile& settings);
    /// Does `then` if the groups that match are exactly those of `expected`.
    ExplainedTestCommand(Then then, const common::GroupNameMatcher& groups, const core::IniFile& expected,
                         const core::IniFile& settings);

    void SendRequest(std::ostream& out) override;
    /// Returns what `WasSuccessful` then returns.
    bool HandleResponse(std::istream& in) override;

    [[nodiscard]] bool WasSuccessful() const noexcept { return _successful; }
    /// Why it was refused. Meaningful once a reply said so.
    [[nodiscard]] Difference& Why() noexcept { return _difference; }

private:
    void ReadDifference(std::istream& in);
    void ReadPart(const std::string& line);

    const Then _then = kMerge;
    const common::GroupNameMatcher* const _groups;
    const core::IniFile& _expected;
    const core::IniFile& _settings;
    bool _successful = false;
    Difference _difference;
};

}  // namespace zumra::settings::client
