#include "settings/client/connection/ConnectionBackend.h"

#include <optional>
#include <utility>

#include "settings/client/CallbackListener.h"
#include "settings/client/commands/ExplainedTestCommand.h"
#include "settings/client/commands/GetCommand.h"
#include "settings/client/commands/SilentCommands.h"
#include "settings/client/commands/TestAndMergeCommand.h"
#include "settings/client/commands/WordCommand.h"
#include "settings/client/connection/BackgroundReader.h"
#include "settings/client/connection/Connection.h"
#include "settings/client/connection/JoiningThread.h"
#include "settings/client/connection/Subscriptions.h"

namespace zumra::settings::client {

namespace {

using common::SettingLocator;

core::IniFile OneValue(const SettingLocator& locator, const std::string& value) {
    core::IniFile document;
    document[locator.group][locator.name] = value;
    return document;
}

class ConnectionBackend final : public IBackend {
public:
    ConnectionBackend(std::unique_ptr<IByteStream> stream, const ConnectionOptions& options);
    ~ConnectionBackend() override;

    void Get(const Matcher& groups, core::IniFile& target) override;
    std::optional<std::string> GetValue(const SettingLocator& locator) override;

    void Merge(const core::IniFile& settings) override { Run(MergeCommand(settings)); }
    void SetValue(const SettingLocator& locator, const std::string& value) override {
        Merge(OneValue(locator, value));
    }
    void EraseValue(const SettingLocator& locator) override { Run(EraseValueCommand(locator)); }
    void Overwrite(const Matcher& groups, const core::IniFile& settings) override {
        Run(OverwriteCommand(groups, settings));
    }
    void Erase(const Matcher& groups) override { Run(ListCommand("erase", groups)); }
    void Restore(const Matcher& groups) override { Run(ListCommand("restore", groups)); }

    bool TestAndMerge(const core::IniFile& expected, const core::IniFile& settings,
                      Difference* difference) override;
    bool TestExactlyAndMerge(const Matcher& groups, const core::IniFile& expected,
                             const core::IniFile& settings, Difference* difference) override;
    bool TestExactlyAndOverwrite(const Matcher& groups, const core::IniFile& expected,
                                 const core::IniFile& settings, Difference* difference) override;

    void Subscribe(IChangeCallback* callback, const Matcher& groups) override;
    void UnSubscribe(IChangeCallback* callback) override;
    void SetCallbackErrorHandler(ZumraSettingsClient::CallbackErrorHandler handler) override {
        _subscriptions.Errors().SetHandler(std::move(handler));
    }

    void Follow(IFollower* follower, const Matcher& groups) override;
    void Unfollow(IFollower* follower) override;

    void Sync() override { Run(WordCommand::Sync()); }
    void Flush() override { Run(WordCommand::Flush()); }

private:
    /// At the end of an operation calls the callbacks that are due, where no thread does.
    class Operation {
    public:
        explicit Operation(ConnectionBackend& backend) : _backend(backend) {}
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;
        ~Operation() {
            if (!_backend._threads) {
                _backend._subscriptions.Queue().DeliverAll();
            }
        }

    private:
        ConnectionBackend& _backend;
    };

    void Run(RemoteCommand&& command) { Run(command); }
    void Run(RemoteCommand& command);
    bool RunTest(ExplainedTestCommand&& command, Difference* difference);

    const bool _threads;
    Subscriptions _subscriptions;
    Connection _connection;
    // Ended in the opposite order: callbacks first, for one may be using the connection.
    std::optional<BackgroundReader> _reader;
    JoiningThread _callbackThread;
};

ConnectionBackend::ConnectionBackend(std::unique_ptr<IByteStream> stream, const ConnectionOptions& options)
    : _threads(options.threads),
      _subscriptions(options.callbackLimit),
      _connection(std::move(stream), options.messageLimit, _subscriptions) {
    if (_threads) {
        _reader.emplace(_connection);
        _callbackThread = JoiningThread([this] { _subscriptions.Queue().Run(); });
    }
}

ConnectionBackend::~ConnectionBackend() {
    _subscriptions.Queue().Stop();
    _callbackThread.Join();
}

void ConnectionBackend::Run(RemoteCommand& command) {
    const Operation operation(*this);
    Exchange exchange(command);
    _connection.Start(exchange);
    _connection.Await(exchange);
}

void ConnectionBackend::Get(const Matcher& groups, core::IniFile& target) {
    GetCommand command(groups);
    Run(command);
    for (const auto& [name, values] : command.Groups()) {
        // A server that knows no exact names ending in "*" takes them for patterns and sends more.
        if (groups.Matches(name)) {
            target.SetGroup(name, std::move(command.Groups()[name]));
        }
    }
}

std::optional<std::string> ConnectionBackend::GetValue(const SettingLocator& locator) {
    Matcher group;
    group.AddName(locator.group);
    GetCommand command(group);
    Run(command);
    const std::string* value = command.Groups().FindValue(locator.group, locator.name);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

bool ConnectionBackend::TestAndMerge(const core::IniFile& expected, const core::IniFile& settings,
                                     Difference* difference) {
    if (difference != nullptr) {
        return RunTest(ExplainedTestCommand(expected, settings), difference);
    }
    TestAndMergeCommand command(expected, settings);
    Run(command);
    return command.WasSuccessful();
}

bool ConnectionBackend::TestExactlyAndMerge(const Matcher& groups, const core::IniFile& expected,
                                            const core::IniFile& settings, Difference* difference) {
    return RunTest(ExplainedTestCommand(ExplainedTestCommand::kMerge, groups, expected, settings),
                   difference);
}

bool ConnectionBackend::TestExactlyAndOverwrite(const Matcher& groups, const core::IniFile& expected,
                                                const core::IniFile& settings, Difference* difference) {
    return RunTest(ExplainedTestCommand(ExplainedTestCommand::kOverwrite, groups, expected, settings),
                   difference);
}

bool ConnectionBackend::RunTest(ExplainedTestCommand&& command, Difference* difference) {
    Run(command);
    if (!command.WasSuccessful() && difference != nullptr) {
        *difference = std::move(command.Why());
    }
    return command.WasSuccessful();
}

void ConnectionBackend::Subscribe(IChangeCallback* callback, const Matcher& groups) {
    const Operation operation(*this);
    _subscriptions.Subscribe(_connection, callback, groups);
}

void ConnectionBackend::UnSubscribe(IChangeCallback* callback) {
    const Operation operation(*this);
    _subscriptions.UnSubscribe(_connection, callback);
}

void ConnectionBackend::Follow(IFollower* follower, const Matcher& groups) {
    const Operation operation(*this);
    _subscriptions.Follow(_connection, follower, groups);
}

void ConnectionBackend::Unfollow(IFollower* follower) {
    const Operation operation(*this);
    _subscriptions.Unfollow(_connection, follower);
}

}  // namespace

std::unique_ptr<IBackend> MakeConnectionBackend(std::unique_ptr<IByteStream> stream,
                                                const ConnectionOptions& options) {
    return std::make_unique<ConnectionBackend>(std::move(stream), options);
}

}  // namespace zumra::settings::client
