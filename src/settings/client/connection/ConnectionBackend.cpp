#include "settings/client/connection/ConnectionBackend.h"

#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "settings/client/CallbackListener.h"
#include "settings/client/SocketPlace.h"
#include "settings/client/commands/CapabilitiesCommand.h"
#include "settings/client/commands/ExplainedTestCommand.h"
#include "settings/client/commands/GetCommand.h"
#include "settings/client/commands/SilentCommands.h"
#include "settings/client/commands/TestAndMergeCommand.h"
#include "settings/client/commands/WordCommand.h"
#include "settings/client/connection/ILink.h"
#include "settings/client/connection/JoiningThread.h"
#include "settings/client/connection/RemoteLink.h"
#include "settings/client/connection/Subscriptions.h"
#include "settings/client/connection/UnflushedWrites.h"
#include "settings/client/connection/UnixSocket.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

namespace {

using common::SettingLocator;
using RemoteOptions = ZumraSettingsClient::RemoteOptions;

core::IniFile OneValue(const SettingLocator& locator, const std::string& value) {
    core::IniFile document;
    document[locator.group][locator.name] = value;
    return document;
}

/// Whether its text may not go into a socket's buffer at once.
bool IsLong(const core::IniFile& settings) {
    constexpr std::size_t kShort = 32768;
    std::size_t size = 0;
    for (const auto& [group, values] : settings) {
        size += group.size();
        for (const auto& [name, value] : values) {
            size += name.size() + value.size();
        }
    }
    return size > kShort || settings.size() > kShort / 64;
}

class ConnectionBackend final : public IBackend {
public:
    ConnectionBackend(std::unique_ptr<IByteStream> stream, const ConnectionOptions& options);
    ConnectionBackend(const RemoteOptions& remote, const ConnectionOptions& options);
    ~ConnectionBackend() override;

    void Get(const Matcher& groups, core::IniFile& target) override;
    std::optional<std::string> GetValue(const SettingLocator& locator) override;

    void Merge(const core::IniFile& settings) override;
    void SetValue(const SettingLocator& locator, const std::string& value) override {
        Merge(OneValue(locator, value));
    }
    void EraseValue(const SettingLocator& locator) override { Change<EraseValueCommand>(locator); }
    void Overwrite(const Matcher& groups, const core::IniFile& settings) override {
        Change<OverwriteCommand>(groups, settings);
    }
    void Erase(const Matcher& groups) override { Change<ListCommand>("erase", groups); }
    void Restore(const Matcher& groups) override { Change<ListCommand>("restore", groups); }

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

    void Sync() override;
    void Flush() override;

private:
    /// What becomes of an operation whose connection ended when its request was on its way.
    enum class IfLost { kBegunAgain, kFailed };

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

    /// Calls `attempt` with a connection (`ILink::Linked`), again with the next one where that is allowed,
    /// until it gives `kReplied`.
    template <class Attempt>
    void Perform(IfLost ifLost, Attempt attempt);
    template <class Command, class... Arguments>
    void Change(const Arguments&... arguments);
    template <class Command, class... Arguments>
    bool Test(Difference* difference, const Arguments&... arguments);

    static ExchangeEnd Run(const ILink::Linked& linked, RemoteCommand& command);
    static ExchangeEnd AskForSingleValues(LiveConnection& live);
    ExchangeEnd RunChange(const ILink::Linked& linked, RemoteCommand& command);
    [[noreturn]] void ThrowUnknown(const ILink::Linked& linked) const;
    void StartThreads();

    static constexpr const char* kUnknown = "; whether the request was carried out is not known";

    const osa::Exception _unknown{std::string(ReplyStream::kOutOfMemory) + kUnknown};
    const bool _threads;
    Subscriptions _subscriptions;
    UnflushedWrites _unflushed;
    std::unique_ptr<ILink> _link;
    // Ended first: a callback may be using the link.
    JoiningThread _callbackThread;
};

ConnectionBackend::ConnectionBackend(std::unique_ptr<IByteStream> stream, const ConnectionOptions& options)
    : _threads(options.threads), _subscriptions(options.callbackLimit, false, options.threads) {
    auto live = std::make_shared<LiveConnection>(std::move(stream), options.messageLimit, _subscriptions,
                                                 options.threads);
    if (options.ownServer) {
        live->singleValues = LiveConnection::Has::kYes;
    }
    _subscriptions.Attach(live);
    _link = std::make_unique<FixedLink>(std::move(live));
    StartThreads();
}

ConnectionBackend::ConnectionBackend(const RemoteOptions& remote, const ConnectionOptions& options)
    : _threads(true), _subscriptions(options.callbackLimit, true, true) {
    RemoteLink::Steps steps;
    steps.connect = [this, place = SocketPlace(remote.socketPath), silence = remote.silence,
                     limit = options.messageLimit](std::function<void()> onEnd) {
        return std::make_shared<LiveConnection>(ConnectToSocket(place.Find(), silence), limit, _subscriptions,
                                                true, std::move(onEnd));
    };
    steps.prepare = [this](const std::shared_ptr<LiveConnection>& live) {
        return _subscriptions.Resume(live) == ExchangeEnd::kReplied;
    };
    _link = std::make_unique<RemoteLink>(std::move(steps), remote.patience, options.firstPause);
    StartThreads();
}

void ConnectionBackend::StartThreads() {
    if (_threads) {
        _callbackThread = JoiningThread([this] { _subscriptions.Queue().Run(); });
    }
}

ConnectionBackend::~ConnectionBackend() {
    _link->EndWaiting();
    _subscriptions.EndCallbacks();
    _callbackThread.Join();
}

ExchangeEnd ConnectionBackend::Run(const ILink::Linked& linked, RemoteCommand& command) {
    Exchange exchange(command);
    linked.live->connection.Start(exchange);
    return linked.live->connection.Await(exchange);
}

ExchangeEnd ConnectionBackend::RunChange(const ILink::Linked& linked, RemoteCommand& command) {
    const ExchangeEnd end = Run(linked, command);
    if (end == ExchangeEnd::kReplied && _link->Renews()) {
        _unflushed.Note(linked.number);
    }
    return end;
}

template <class Attempt>
void ConnectionBackend::Perform(IfLost ifLost, Attempt attempt) {
    const Operation operation(*this);
    const ILink::Clock::time_point giveUp = _link->GiveUpTime();
    for (;;) {
        const ILink::Linked linked = _link->Acquire(giveUp);
        const ExchangeEnd end = attempt(linked);
        if (end == ExchangeEnd::kReplied) {
            return;
        }
        if (ifLost == IfLost::kFailed && end == ExchangeEnd::kLost) {
            ThrowUnknown(linked);
        }
        if (!_link->Renews() || ILink::Clock::now() >= giveUp) {
            throw osa::Exception(linked.live->connection.EndReason());
        }
    }
}

/// Throws why the connection was lost while a request was on its way. Never `std::bad_alloc`, which says that
/// nothing was done.
void ConnectionBackend::ThrowUnknown(const ILink::Linked& linked) const {
    try {
        const std::string reason = linked.live->connection.EndReason();
        throw osa::Exception(_link->Renews() ? reason + kUnknown : reason);
    } catch (const std::bad_alloc&) {
        throw osa::Exception(_unknown);  // shares its text
    }
}

template <class Command, class... Arguments>
void ConnectionBackend::Change(const Arguments&... arguments) {
    Perform(IfLost::kFailed, [&](const ILink::Linked& linked) {
        Command command(arguments...);
        return RunChange(linked, command);
    });
}

/// A "merge" that is cut off by the end of its connection is merged as far as it came. One that may be sent
/// in several pieces therefore goes as a test that demands nothing, which counts only when it is whole.
void ConnectionBackend::Merge(const core::IniFile& settings) {
    if (_link->Renews() && IsLong(settings)) {
        Change<TestAndMergeCommand>(core::IniFile(), settings);
    } else {
        Change<MergeCommand>(settings);
    }
}

void ConnectionBackend::Get(const Matcher& groups, core::IniFile& target) {
    core::IniFile received;
    Perform(IfLost::kBegunAgain, [&](const ILink::Linked& linked) {
        GetCommand command(groups);
        const ExchangeEnd end = Run(linked, command);
        received = std::move(command.Groups());
        return end;
    });
    for (const auto& [name, values] : received) {
        // A server that knows no exact names ending in "*" takes them for patterns and sends more.
        if (groups.Matches(name)) {
            target.SetGroup(name, std::move(received[name]));
        }
    }
}

/// Finds out, once on each connection, whether the server can read single values.
ExchangeEnd ConnectionBackend::AskForSingleValues(LiveConnection& live) {
    if (live.singleValues != LiveConnection::Has::kNotAsked) {
        return ExchangeEnd::kReplied;
    }
    CapabilitiesCommand command(GetValueCommand::kLine);
    Exchange exchange(command);
    ExchangeEnd end = ExchangeEnd::kReplied;
    live.connection.Start(exchange);
    try {
        end = live.connection.Await(exchange);
    } catch (const osa::Exception&) {
        // Its error: a server that cannot be asked cannot do it either.
    }
    if (end == ExchangeEnd::kReplied) {
        live.singleValues = command.Has() ? LiveConnection::Has::kYes : LiveConnection::Has::kNo;
    }
    return end;
}

std::optional<std::string> ConnectionBackend::GetValue(const SettingLocator& locator) {
    std::optional<std::string> found;
    const auto read = [&](const ILink::Linked& linked, DataCommand&& command) {
        const ExchangeEnd end = Run(linked, command);
        if (const std::string* value = command.Groups().FindValue(locator.group, locator.name)) {
            found = *value;
        }
        return end;
    };
    Perform(IfLost::kBegunAgain, [&](const ILink::Linked& linked) {
        const ExchangeEnd asked = AskForSingleValues(*linked.live);
        if (asked != ExchangeEnd::kReplied) {
            return asked;
        }
        if (linked.live->singleValues == LiveConnection::Has::kYes) {
            return read(linked, GetValueCommand(locator));
        }
        Matcher group;
        group.AddName(locator.group);
        return read(linked, GetCommand(group));
    });
    return found;
}

template <class Command, class... Arguments>
bool ConnectionBackend::Test(Difference* difference, const Arguments&... arguments) {
    bool merged = false;
    Perform(IfLost::kFailed, [&](const ILink::Linked& linked) {
        Command command(arguments...);
        const ExchangeEnd end = Run(linked, command);
        merged = command.WasSuccessful();
        if constexpr (std::is_same_v<Command, ExplainedTestCommand>) {
            if (!merged && difference != nullptr) {
                *difference = std::move(command.Why());
            }
        }
        return end;
    });
    return merged;
}

bool ConnectionBackend::TestAndMerge(const core::IniFile& expected, const core::IniFile& settings,
                                     Difference* difference) {
    return difference == nullptr ? Test<TestAndMergeCommand>(nullptr, expected, settings)
                                 : Test<ExplainedTestCommand>(difference, expected, settings);
}

bool ConnectionBackend::TestExactlyAndMerge(const Matcher& groups, const core::IniFile& expected,
                                            const core::IniFile& settings, Difference* difference) {
    return Test<ExplainedTestCommand>(difference, ExplainedTestCommand::kMerge, groups, expected, settings);
}

bool ConnectionBackend::TestExactlyAndOverwrite(const Matcher& groups, const core::IniFile& expected,
                                                const core::IniFile& settings, Difference* difference) {
    return Test<ExplainedTestCommand>(difference, ExplainedTestCommand::kOverwrite, groups, expected,
                                      settings);
}

void ConnectionBackend::Subscribe(IChangeCallback* callback, const Matcher& groups) {
    Perform(IfLost::kBegunAgain, [&](const ILink::Linked& linked) {
        return _subscriptions.Subscribe(linked.live->connection, callback, groups);
    });
}

void ConnectionBackend::UnSubscribe(IChangeCallback* callback) {
    const Operation operation(*this);
    _subscriptions.UnSubscribe(callback);
}

void ConnectionBackend::Follow(IFollower* follower, const Matcher& groups) {
    Perform(IfLost::kBegunAgain, [&](const ILink::Linked& linked) {
        return _subscriptions.Follow(linked.live->connection, follower, groups);
    });
}

void ConnectionBackend::Unfollow(IFollower* follower) {
    const Operation operation(*this);
    _subscriptions.Unfollow(follower);
}

void ConnectionBackend::Sync() {
    Perform(IfLost::kBegunAgain, [](const ILink::Linked& linked) {
        WordCommand command = WordCommand::Sync();
        return Run(linked, command);
    });
}

void ConnectionBackend::Flush() {
    Perform(IfLost::kFailed, [this](const ILink::Linked& linked) {
        const UnflushedWrites::Seen seen = _unflushed.Look(linked.number);
        if (seen.lost) {
            throw osa::Exception("connection lost: changes made before may not have been saved");
        }
        WordCommand command = WordCommand::Flush();
        const ExchangeEnd end = Run(linked, command);
        if (end == ExchangeEnd::kReplied) {
            _unflushed.Flushed(seen);
        }
        return end;
    });
}

}  // namespace

std::unique_ptr<IBackend> MakeConnectionBackend(std::unique_ptr<IByteStream> stream,
                                                const ConnectionOptions& options) {
    return std::make_unique<ConnectionBackend>(std::move(stream), options);
}

std::unique_ptr<IBackend> MakeRemoteBackend(const RemoteOptions& remote, const ConnectionOptions& options) {
    return std::make_unique<ConnectionBackend>(remote, options);
}

}  // namespace zumra::settings::client
