// A client and a server that may say anything: every call of the client returns or throws, it believes
// nothing that the protocol does not allow, pieces make no difference, and memory is bounded by what was
// said.
//
// The first eight bytes of the input choose the client's calls, the highest bit of the first whether it asks
// the server what it can do; the rest is what the server says.
#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Fuzz.h"
#include "Memory.h"
#include "settings/client/IBackend.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "settings/client/connection/IByteStream.h"

namespace {

using namespace zumra;
using core::IniFile;
using settings::client::IBackend;
using Matcher = settings::common::GroupNameMatcher;

constexpr std::size_t kCalls = 8;

/// Says what it was told to say, in pieces, and then goes.
class Server final : public settings::client::IByteStream {
public:
    Server(std::string_view said, std::size_t piece, bool& ended)
        : _said(said), _piece(piece), _ended(ended) {}

    std::size_t TrySend(std::string_view bytes) override { return bytes.size(); }
    void Send(std::string_view) override {}
    std::size_t Receive(char* buffer, std::size_t size) override {
        fuzz::Require(!_ended, "nothing is read after the end");
        const std::size_t received = _said.copy(buffer, std::min(size, _piece));
        _said.remove_prefix(received);
        return received;
    }
    void Shutdown() noexcept override { _ended = true; }
    [[nodiscard]] bool CanReceive() const noexcept override { return false; }
    [[nodiscard]] int Descriptor() const noexcept override { return -1; }

private:
    std::string_view _said;
    const std::size_t _piece;
    bool& _ended;
};

/// What the client gave its user, as text; empty when nothing is to be kept.
class Log {
public:
    explicit Log(bool keep) : _keep(keep) {}
    void Note(std::string_view what, std::string_view text = {}) {
        if (_keep) {
            _text.append(what).append(" ").append(text).append("\n");
        }
    }
    void Note(std::string_view what, const IniFile& document) {
        if (_keep) {
            Note(what, document.SaveToString());
        }
    }
    [[nodiscard]] const std::string& Text() const { return _text; }

private:
    const bool _keep;
    std::string _text;
};

class Callback : public settings::IChangeCallback {
public:
    Callback(Log& log, const Matcher& groups) : _log(log), _groups(groups) {}
    void SettingsChanged(const std::set<std::string>& changed, const IniFile& data) override {
        fuzz::Require(!changed.empty(), "a callback is told of groups");
        for (const std::string& name : changed) {
            fuzz::Require(_groups.Matches(name), "a callback is told of what it asked for");
            _log.Note("changed", name);
        }
        for (const auto& group : data) {
            fuzz::Require(changed.count(group.first) == 1, "a callback gets no other groups");
        }
        _log.Note("data", data);
    }

private:
    Log& _log;
    const Matcher _groups;
};

class Follower : public settings::client::IFollower {
public:
    explicit Follower(Log& log) : _log(log) {}
    void OnSnapshot(const settings::common::GroupMap& groups, const Matcher& scope) override {
        _told = true;
        for (const auto& [name, values] : groups) {
            fuzz::Require(scope.Matches(name) && values, "a snapshot holds what was asked for");
            _log.Note("snapshot", name);
        }
    }
    void OnChange(const std::shared_ptr<const settings::common::Change>& change,
                  const settings::common::CoveredNames& covered) override {
        fuzz::Require(_told, "changes come after the snapshot");
        fuzz::Require(!covered.empty(), "a follower is told of groups");
        for (const std::string* name : covered) {
            fuzz::Require(change->groups.count(*name) == 1, "what a follower is told of is in the change");
            _log.Note("followed", *name);
        }
    }

private:
    Log& _log;
    bool _told = false;
};

IniFile Settings() {
    IniFile document;
    document["a"]["x"] = "1";
    document["b"]["y"] = "2\n.";
    return document;
}

/// One client's life.
class Life {
public:
    Life(std::string_view said, std::size_t piece, std::size_t limit, bool keepLog, bool ownServer)
        : _log(keepLog), _said(said.size()) {
        settings::client::ConnectionOptions options;
        options.threads = false;
        options.ownServer = ownServer;
        options.messageLimit = limit;
        options.callbackLimit = limit;
        _backend =
            settings::client::MakeConnectionBackend(std::make_unique<Server>(said, piece, _ended), options);
        _backend->SetCallbackErrorHandler(
            [](const std::exception_ptr&) { fuzz::Require(false, "the callback does not throw"); });
    }

    void Run(std::string_view choices) {
        for (const char choice : choices) {
            Call(static_cast<unsigned char>(choice));
        }
        End();
    }

    [[nodiscard]] const std::string& Told() const { return _log.Text(); }

private:
    void Call(unsigned choice) {
        const auto& calls = Calls();
        Perform([&] { calls[choice % calls.size()](*this); });
    }

    void Perform(const std::function<void()>& call) {
        const bool wasEnded = _ended;
        try {
            call();
            fuzz::Require(!wasEnded || _takesBack, "nothing succeeds over an ended connection");
            _log.Note("done");
        } catch (const osa::Exception& error) {
            fuzz::Require(*error.what() != '\0', "an error has a text");
            fuzz::Require(!_takesBack, "to be told no more cannot fail");
            _log.Note("error", error.what());
        }
        _takesBack = false;
    }

    /// The server says nothing more: a client that goes on asking must be told so before long.
    void End() {
        for (std::size_t i = 0; !_ended; ++i) {
            fuzz::Require(i <= _said, "the end of the stream is noticed");
            Perform([this] { _backend->Sync(); });
        }
        _backend->UnSubscribe(&_callback);
        _backend->Unfollow(&_follower);
    }

    void Get(const Matcher& groups) {
        IniFile got;
        _backend->Get(groups, got);
        for (const auto& group : got) {
            fuzz::Require(groups.Matches(group.first), "a client gets what it asked for");
        }
        _log.Note("got", got);
    }

    void Explained(bool merged, const IBackend::Difference& difference) {
        _log.Note(merged ? "merged" : "refused", difference.group);
        _log.Note("name", difference.name.value_or("none"));
        _log.Note("expected", difference.expected.value_or("none"));
        _log.Note("actual", difference.actual.value_or("none"));
    }

    using CallTable = std::vector<std::function<void(Life&)>>;
    static const CallTable& Calls() {
        static const CallTable calls = {
            [](Life& life) { life.Get(Matcher("a")); },
            [](Life& life) { life.Get(Matcher("*")); },
            [](Life& life) {
                life._log.Note("value", life._backend->GetValue({"a", "x"}).value_or("none"));
            },
            [](Life& life) { life._backend->Merge(Settings()); },
            [](Life& life) { life._backend->Overwrite(Matcher("a*"), Settings()); },
            [](Life& life) {
                life._log.Note("merged",
                               life._backend->TestAndMerge(Settings(), Settings(), nullptr) ? "1" : "0");
            },
            [](Life& life) {
                IBackend::Difference difference;
                life.Explained(life._backend->TestAndMerge(Settings(), Settings(), &difference), difference);
            },
            [](Life& life) {
                IBackend::Difference difference;
                life.Explained(
                    life._backend->TestExactlyAndOverwrite(Matcher("a"), Settings(), Settings(), &difference),
                    difference);
            },
            [](Life& life) { life._backend->Subscribe(&life._callback, life._groups); },
            [](Life& life) { life._backend->Follow(&life._follower, life._groups); },
            [](Life& life) {
                life._takesBack = true;
                life._backend->UnSubscribe(&life._callback);
            },
            [](Life& life) {
                life._takesBack = true;
                life._backend->Unfollow(&life._follower);
            },
            [](Life& life) { life._backend->Sync(); },
            [](Life& life) { life._backend->Flush(); },
            [](Life& life) { life._backend->Restore(Matcher("a")); },
            [](Life& life) {
                life._backend->EraseValue({"a", "x"});
            },
        };
        return calls;
    }

    Log _log;
    const std::size_t _said;
    const Matcher _groups{std::set<std::string>{"a", "b*"}};
    Callback _callback{_log, _groups};
    Follower _follower{_log};
    bool _ended = false;
    bool _takesBack = false;
    std::unique_ptr<IBackend> _backend;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = fuzz::Input(data, size);
    const std::string_view choices = input.substr(0, kCalls);
    const std::string_view said = input.substr(choices.size());
    const bool ownServer = choices.empty() || (static_cast<unsigned char>(choices.front()) & 0x80U) == 0;
    constexpr std::size_t kNoLimit = std::size_t{1} << 30;
    {
        const fuzz::MemoryBound bound(size);
        Life(said, 100, kNoLimit, false, ownServer).Run(choices);
    }
    Life whole(said, std::max<std::size_t>(1, said.size()), kNoLimit, true, ownServer);
    whole.Run(choices);
    Life bytewise(said, 1, kNoLimit, true, ownServer);
    bytewise.Run(choices);
    fuzz::Require(whole.Told() == bytewise.Told(), "pieces make no difference");
    Life(said, 10, 50, true, ownServer).Run(choices);
    return 0;
}
