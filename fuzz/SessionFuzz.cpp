// Two connections on one store that is saved: however the bytes are cut, both give the same output and leave
// the same store; what was saved is the store; with small limits nothing grows over them.
//
// The bytes 1 and 2 in the input give what follows to the first and to the second connection, 3 ends its
// input.
#include <memory>
#include <string>

#include "Fuzz.h"
#include "settings/server/Session.h"
#include "zumra/settings/server/ISettingsPersister.h"
#include "zumra/settings/server/SerializationManager.h"
#include "zumra/settings/server/SettingsCombiner.h"
#include "zumra/settings/server/SettingsManager.h"

namespace {

using namespace zumra;
using namespace zumra::settings;
using namespace zumra::settings::server;

class Persister : public ISettingsPersister {
public:
    Persister() {
        _defaults["group"]["val"] = "abcd";
        _defaults["group2"]["val"] = "abcdefg";
    }
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(_defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(_saved); }
    void SaveSettings(const core::IniFile& settings) override { _saved = settings; }

private:
    core::IniFile _defaults;
    core::IniFile _saved;
};

core::IniFile Everything(const SettingsManager& manager) {
    core::IniFile all;
    manager.GetSettings(common::GroupNameMatcher("*"), all);
    return all;
}

/// The two connections and what came from them.
class World {
public:
    explicit World(const SessionLimits& limits) : _limits(limits) {
        for (auto& session : _sessions) {
            session = std::make_unique<Session>(_env, Session::Options{limits, nullptr, nullptr, nullptr});
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
    }

    void RequireSaved() {
        const core::IniFile store = Everything(_manager);
        const SettingsManager again(&_persister);
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
                _output[i] += output;
                session.Resume();
            } while (session.HasOutput());
            fuzz::Require(!session.Waiting(), "nothing is kept back once the output was taken");
        }
    }

    const SessionLimits _limits;
    Persister _persister;
    SettingsManager _manager{&_persister};
    SerializationManager _serializers;
    ServerEnv _env{&_manager, &_serializers};
    std::unique_ptr<Session> _sessions[2];
    bool _finished[2] = {false, false};
    std::string _output[2];
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = fuzz::Input(data, size);
    World whole{SessionLimits()};
    whole.Run(input, input.size());
    whole.RequireSaved();
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
