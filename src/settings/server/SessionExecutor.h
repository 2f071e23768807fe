#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "settings/server/Session.h"
#include "settings/server/SessionCommands.h"
#include "settings/server/SessionSaveWait.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {

class OutputQueue;
class SessionNotifier;
class Waker;

/// Executes requests on the store and puts their replies into the output. The driving thread's.
class RequestExecutor {
public:
    /// Everything given must outlive the executor.
    RequestExecutor(const ServerEnv& env, const Session::Options& options, OutputQueue& output,
                    SessionNotifier& notifier, std::shared_ptr<Waker> waker);

    /// Replies at once, with an error if need be, unless the reply must wait for a save (`Waiting`). Uses the
    /// request up, so that there are no two copies of what it brought. Does not throw: when there is no
    /// memory even for an error, the connection ends.
    void Execute(Request request) noexcept;
    [[nodiscard]] bool Waiting() const noexcept { return _wait != nullptr; }
    /// Replies if what is waited for has happened; false otherwise.
    bool TryEndWait() noexcept;

    void ReplyError(std::string_view message) noexcept;
    /// There was a request that named no command or format.
    [[nodiscard]] bool MetUnknown() const noexcept { return _metUnknown; }

private:
    template <class Work>
    void Guard(const Work& work) noexcept;
    void Dispatch(Request& request);
    void Change(Request& request);
    void Get(const Request& request, bool delimited);
    void GetValues(const Request& request);
    void Test(Request& request);
    [[nodiscard]] TestResult RunTest(Request& request);
    void Serialize(const std::string& format);
    void Capabilities();
    void Other(const std::string& line);
    void Flush();
    void ReplyMerged(std::uint64_t revision, std::string reply);
    void ReplyWhenSaved(std::uint64_t revision, std::string reply);

    SettingsManager& _manager;
    const SerializationManager* const _serializers;
    const Session::Options& _options;
    const Identity* const _who;
    OutputQueue& _output;
    SessionNotifier& _notifier;
    const std::shared_ptr<Waker> _waker;
    std::shared_ptr<SaveWait> _wait;
    bool _metUnknown = false;
};

}  // namespace zumra::settings::server
