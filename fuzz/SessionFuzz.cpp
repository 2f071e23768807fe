// Two connections on one store that is saved: however the bytes are cut, both give the same output and leave
// the same store; what was saved is the store, also after saves that failed; who is told of every change
// knows the store; nobody gets what he may not read, or writes what he may not; with small limits nothing
// grows over them, and memory is bounded by the input.
//
// Saving fails as long as it is to put down a group "full". The second connection may not read the group
// "hidden", and neither may write a group "fixed".
//
// The bytes 1 and 2 in the input give what follows to the first and to the second connection, 3 ends its
// input.
#include <algorithm>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "Fuzz.h"
#include "Memory.h"
#include "Rights.h"
#include "settings/client/commands/ReplyLine.h"
#include "settings/client/connection/Notification.h"
#include "settings/server/Session.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/ISettingsPersister.h"
#include "zumra/settings/server/SerializationManager.h"
#include "zumra/settings/server/SettingsCombiner.h"
#include "zumra/settings/server/SettingsManager.h"

namespace {

using namespace zumra;
using namespace zumra::settings;
using namespace zumra::settings::server;

constexpr std::string_view kSecret = "5ec2e7";

/// A place to save in, a disk's as the daemon's are. What it holds is not the server's memory: where that is
/// counted, it keeps nothing.
class Disk : public IIncrementalPersister {
public:
    explicit Disk(bool keep) : _keep(keep) {
        _defaults["group"]["val"] = "abcd";
        _defaults["group2"]["val"] = "abcdefg";
        _defaults["hidden"]["val"] = kSecret;
    }
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(_defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(_saved); }
    /// From now on nothing fails.
    void Mend() { _mended = true; }
    void SaveSettings(const core::IniFile&) override { fuzz::Require(false, "only changes are saved"); }
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override {
        if (!_mended && changed.HasGroup("full")) {
            throw osa::Exception("the disk is full");
        }
        if (!_keep) {
            return;
        }
        for (const std::string& name : removed) {
            _saved.EraseGroup(name);
        }
        for (const auto& [name, values] : changed) {
            _saved.SetGroup(name, values);
        }
    }

private:
    const bool _keep;
    bool _mended = false;
    core::IniFile _defaults;
    core::IniFile _saved;
};

core::IniFile Everything(const SettingsManager& manager) {
    core::IniFile all;
    manager.GetSettings(common::GroupNameMatcher("*"), all);
    return all;
}

/// A third connection, which is subscribed to everything and asks for nothing: what it is told must be whole
/// notifications, each a commit that changed something it did not say before, and their sum the store.
class Observer {
public:
    Observer(const ServerEnv& env, const SettingsManager& manager)
        : _session(env, Session::Options()), _manager(manager), _known(Everything(manager)) {
        _session.Feed("subscribe\n*\n.\n");
    }

    void Look() {
        if (!_session.HasOutput()) {
            return;
        }
        std::istringstream in(_session.TakeOutput());
        while (in.peek() != std::istringstream::traits_type::eof()) {
            std::string line;
            client::ReadReplyLine(in, line);
            fuzz::Require(line == "async change", "the observer gets nothing but notifications");
            Take(*client::ReadNotification(in, 0));
        }
    }

    void RequireKnown() const {
        fuzz::Require(!_session.Ended(), "the observer's connection lives");
        fuzz::Require(_known == Everything(_manager), "what was told is the store");
    }

private:
    void Take(const common::Change& change) {
        fuzz::Require(!change.groups.empty(), "a notification names a group");
        for (const auto& [name, values] : change.groups) {
            if (values) {
                _known.SetGroup(name, *values);
            } else {
                fuzz::Require(_known.EraseGroup(name), "only what was there is gone");
            }
        }
    }

    Session _session;
    const SettingsManager& _manager;
    core::IniFile _known;
};

/// The two connections and what came from them.
class World {
public:
    /// `keepOutput`: otherwise it is thrown away when it was looked at, as is what is saved.
    explicit World(const SessionLimits& limits, bool keepOutput = true)
        : _limits(limits), _keepOutput(keepOutput), _disk(keepOutput) {
        if (keepOutput) {
            _observer = std::make_unique<Observer>(_env, _manager);
        }
        for (std::uint32_t i = 0; i < 2; ++i) {
            _sessions[i] = std::make_unique<Session>(
                _env, Session::Options{limits, fuzz::Rights::User(i), nullptr, nullptr});
        }
    }

    /// Feeds the input in pieces of at most `piece` bytes.
    void Run(std::string_view input, std::size_t piece) {
        std::size_t current = 0;
        while (!input.empty()) {
            const std::size_t end = std::min(input.find_first_of("\1\2\3"), input.size());
            FeedInPieces(current, input.substr(0, end), piece);
            if (end < input.size() && input[end] == '\3') {
                Finish(current);
            } else if (end < input.size()) {
                current = input[end] == '\1' ? 0 : 1;
            }
            input.remove_prefix(std::min(end + 1, input.size()));
        }
        Finish(0);
        Finish(1);
        fuzz::Require(!Everything(_manager).HasGroup("fixed"), "nobody writes what he may not");
        if (_observer) {
            _observer->RequireKnown();
        }
    }

    /// For input that does not say it.
    void RequireSecret() const {
        fuzz::Require(_output[1].find(kSecret) == std::string::npos, "nobody gets what he may not read");
    }

    /// Once saving works again.
    void RequireSaved() {
        _disk.Mend();
        _manager.Flush();
        const core::IniFile store = Everything(_manager);
        const SettingsManager again(&_disk);
        fuzz::Require(Everything(again) == store, "what was saved is the store");
    }

    friend bool operator==(const World& a, const World& b) {
        return a._output[0] == b._output[0] && a._output[1] == b._output[1] &&
               Everything(a._manager) == Everything(b._manager);
    }

private:
    void FeedInPieces(std::size_t number, std::string_view bytes, std::size_t piece) {
        for (; !bytes.empty() && !_finished[number]; bytes.remove_prefix(std::min(piece, bytes.size()))) {
            _sessions[number]->Feed(bytes.substr(0, piece));
            Drain();
        }
    }

    void Finish(std::size_t number) {
        if (!_finished[number]) {
            _finished[number] = true;
            _sessions[number]->Finish();
            Drain();
            fuzz::Require(_sessions[number]->Ended(), "a connection ends with its input");
        }
    }

    void Drain() {
        for (std::size_t i = 0; i < 2; ++i) {
            Session& session = *_sessions[i];
            do {
                const std::string output = session.TakeOutput();
                fuzz::Require(output.size() <= _limits.pendingOutput, "output is within its limit");
                fuzz::Require(output.empty() || output.back() == '\n', "output is whole lines");
                if (_keepOutput) {
                    _output[i] += output;
                }
                session.Resume();
            } while (session.HasOutput());
            fuzz::Require(!session.Waiting(), "nothing is kept back once the output was taken");
        }
        if (_observer) {
            _observer->Look();
        }
    }

    const SessionLimits _limits;
    const bool _keepOutput;
    Disk _disk;
    fuzz::Rights _rights{"hidden", "fixed", 2};  // who is none of them
    SettingsManager _manager{&_disk, &_rights};
    SerializationManager _serializers;
    ServerEnv _env{&_manager, &_serializers};
    std::unique_ptr<Session> _sessions[2];
    std::unique_ptr<Observer> _observer;
    bool _finished[2] = {false, false};
    std::string _output[2];
};

/// Whether a value in the input may be the secret, also one with an escape in it.
bool SaysSecret(std::string_view input) {
    std::string said(input);
    std::erase_if(said, [](char c) { return c == '\1' || c == '\2' || c == '\3'; });
    return said.find(kSecret) != std::string::npos || said.find('\\') != std::string::npos;
}

void RunBounded(std::string_view input) {
    SessionLimits limits;
    limits.pendingOutput = std::size_t{8} << 10;
    const fuzz::MemoryBound bound(input.size());
    World(limits, false).Run(input, 512);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = fuzz::Input(data, size);
    RunBounded(input);
    World whole{SessionLimits()};
    whole.Run(input, input.size());
    whole.RequireSaved();
    if (!SaysSecret(input)) {
        whole.RequireSecret();
    }
    World bytewise{SessionLimits()};
    bytewise.Run(input, 1);
    fuzz::Require(whole == bytewise, "pieces make no difference");

    SessionLimits small;
    small.line = 30;
    small.document = 60;
    small.listEntries = 3;
    small.pendingOutput = 200;
    World limited(small);
    limited.Run(input, 7);
    limited.RequireSaved();
    return 0;
}
