// Two connections that ask for what the input chooses, beside a model of the store: every byte that either
// gets, replies and notifications in their order, and the store are what the model says; what was saved is
// the store. The second connection may not read one of the groups, and may only read another.
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "Fuzz.h"
#include "Rights.h"
#include "server/SessionHarness.h"
#include "server/StoreModel.h"
#include "settings/common/LineCodec.h"
#include "settings/common/MatcherLines.h"
#include "zumra/settings/common/SettingLocator.h"
#include "zumra/settings/server/PhpArraySettingsSerializer.h"

namespace {

using namespace zumra;
using core::IniFile;
using settings::common::GroupNameMatcher;
using settings::server::Session;
using settings::server::testing::StoreModel;
using Names = StoreModel::Names;

constexpr const char* kHidden = "b";
constexpr const char* kReadOnly = "a/b";
constexpr std::string_view kDefaults = "[a]\nx=1\ny=\n[a/b]\n[ZumraSettings/Removed]\na=\n[b]\nx=.\n";

/// The input as choices; nothing but zeros when it is used up.
class Choices {
public:
    explicit Choices(std::string_view input) : _input(input) {}
    [[nodiscard]] bool Left() const { return !_input.empty(); }

    unsigned Below(unsigned limit) {
        if (_input.empty()) {
            return 0;
        }
        const unsigned byte = static_cast<unsigned char>(_input.front());
        _input.remove_prefix(1);
        return byte % limit;
    }
    std::string Group() {
        static const char* const names[] = {"a",
                                            "a/b",
                                            "b",
                                            "",
                                            ".",
                                            "line\nend",
                                            "]",
                                            "\"q\"",
                                            "cr\r",
                                            " ",
                                            "ZumraSettings/Removed",
                                            "ZumraSettings/Removed/a"};
        return names[Below(std::size(names))];
    }
    std::string Name() {
        static const char* const names[] = {"x", "y", "", "[z]", "=", "#", "line\nend", "a"};
        return names[Below(std::size(names))];
    }
    std::string Value() {
        static const char* const values[] = {"", "1", ".", " 3 ", "one\n[a]\n.\nsync\n", "\"", "cr\r"};
        return values[Below(std::size(values))];
    }
    Names Patterns() {
        static const char* const patterns[] = {"*", "a*", "a/*", "line*", "ZumraSettings*"};
        Names chosen;
        for (unsigned left = Below(4); left > 0; --left) {
            chosen.insert(Below(3) == 0 ? patterns[Below(std::size(patterns))] : Group());
        }
        return chosen;
    }
    IniFile Document() {
        IniFile document;
        for (unsigned groups = Below(4); groups > 0; --groups) {
            IniFile::Group& group = document[Group()];
            for (unsigned values = Below(3); values > 0; --values) {
                std::string name = Name();
                group[std::move(name)] = Value();
            }
        }
        return document;
    }

private:
    std::string_view _input;
};

std::string List(const Names& patterns) {
    std::string lines;
    settings::common::MatcherLines::Append(lines, GroupNameMatcher(patterns));
    return lines + ".\n";
}

std::string Ini(const IniFile& document) {
    return document.SaveToString() + ".\n";
}

std::string PhpArray(const IniFile& document) {
    std::ostringstream out;
    settings::server::PhpArraySettingsSerializer().Serialize(document, GroupNameMatcher("*"), out);
    return out.str();
}

/// A connection, what it was subscribed to, and what it must have got.
class Side {
public:
    Side(settings::server::testing::Server& server, std::uint32_t number)
        : _number(number), _session(server.env, {{}, fuzz::Rights::User(number), nullptr, nullptr}) {}

    [[nodiscard]] bool MayRead(const std::string& group) const { return _number == 0 || group != kHidden; }
    /// The groups of the document that it may read and that match.
    [[nodiscard]] Names Among(const IniFile& document, const Names& patterns) const {
        Names groups = StoreModel::Matching(document, patterns);
        std::erase_if(groups, [this](const std::string& group) { return !MayRead(group); });
        return groups;
    }
    /// Whether all of these may be written; the error where not.
    bool AskToWrite(const Names& groups) {
        for (const std::string& group : groups) {
            if (_number != 0 && (group == kHidden || group == kReadOnly)) {
                Expect("error\nnot allowed to write group '" + group + "'\n");
                return false;
            }
        }
        return true;
    }
    bool AskToWrite(const IniFile& document) { return AskToWrite(StoreModel::Matching(document, {"*"})); }

    void Say(std::string_view request, std::size_t piece) {
        for (; !request.empty(); request.remove_prefix(std::min(piece, request.size()))) {
            _session.Feed(request.substr(0, piece));
            _got += settings::server::testing::Drain(_session);
        }
    }
    void Expect(std::string_view text) { _expected += text; }
    void RequireGot() {
        _got += settings::server::testing::Drain(_session);
        fuzz::Require(_got == _expected, "a connection gets what the model says");
        _got.clear();
        _expected.clear();
    }

    void ExpectNotification(const Names& reported, const IniFile& store) {
        IniFile data;
        std::string lines;
        for (const std::string& name : reported) {
            if (!wanted.Matches(name) || !MayRead(name)) {
                continue;
            }
            lines += settings::common::LineCodec::Encode(name) + "\n";
            if (const auto* values = store.FindGroup(name)) {
                data.SetGroup(name, *values);
            }
        }
        if (!lines.empty()) {
            Expect("async change\n" + lines + ".\n" + Written(data) + ".\n");
        }
    }
    /// A document as the server writes it.
    [[nodiscard]] std::string Written(const IniFile& document) const {
        return phpArray ? PhpArray(document) : document.SaveToString();
    }
    /// A document as `merge` wants it.
    [[nodiscard]] std::string Merged(const IniFile& document) const {
        return phpArray ? PhpArray(document) : Ini(document);
    }

    GroupNameMatcher wanted;
    bool phpArray = false;

private:
    const std::uint32_t _number;
    Session _session;
    std::string _got;
    std::string _expected;
};

class World {
public:
    explicit World(std::string_view input) : _choices(input), _revision(_server.manager->Revision()) {}

    void Run() {
        while (_choices.Left()) {
            const std::size_t asking = _choices.Below(2);
            static constexpr std::size_t pieces[] = {100000, 1, 5};
            const std::size_t piece = pieces[_choices.Below(std::size(pieces))];
            const std::string request = Ask(_sides[asking]);
            _sides[asking].Say(request, piece);
            _sides[0].RequireGot();
            _sides[1].RequireGot();
            fuzz::Require(_server.Everything() == _model.Groups(), "the store is what the model says");
        }
        const settings::server::SettingsManager again(&_server.persister);
        IniFile loaded;
        again.GetSettings(GroupNameMatcher("*"), loaded);
        fuzz::Require(loaded == _model.Groups(), "what was saved is the store");
    }

private:
    /// Chooses a request, does it to the model, and tells the sides what to expect.
    std::string Ask(Side& side) {
        switch (_choices.Below(11)) {
            case 0: {
                const IniFile settings = _choices.Document();
                if (side.AskToWrite(settings)) {
                    Changed(_model.Merge(settings));
                }
                return "merge\n" + side.Merged(settings);
            }
            case 1: {
                const Names groups = _choices.Patterns();
                const IniFile settings = _choices.Document();
                Overwrite(side, groups, settings);
                return "overwrite\n" + List(groups) + Ini(settings);
            }
            case 2: {
                const Names groups = _choices.Patterns();
                const Names chosen = side.Among(_model.Groups(), groups);
                if (side.AskToWrite(chosen)) {
                    Changed(_model.Erase(chosen));
                }
                return "erase\n" + List(groups);
            }
            case 3: {
                const Names groups = _choices.Patterns();
                const Names chosen = side.Among(_model.Defaults(), groups);
                if (side.AskToWrite(chosen)) {
                    Changed(_model.Restore(chosen));
                }
                return "restore\n" + List(groups);
            }
            case 4:
                return AskTest(side);
            case 5:
                return AskExactTest(side);
            case 6: {
                const Names groups = _choices.Patterns();
                side.Expect("data\n" + side.Written(Selected(side, groups)) + ".\n");
                return "get delimited\n" + List(groups);
            }
            case 7: {
                const Names groups = _choices.Patterns();
                side.wanted.AddNamesAndPatterns(groups);
                return "subscribe\n" + List(groups);
            }
            case 8: {
                const Names groups = _choices.Patterns();
                for (const std::string& group : groups) {
                    side.wanted.Remove(group);
                }
                return "unsubscribe\n" + List(groups);
            }
            case 9:
                side.phpArray = _choices.Below(2) == 1;
                return side.phpArray ? "serialize phparray\n" : "serialize ini\n";
            default:
                return AskWord(side);
        }
    }

    /// False when it is refused.
    bool Overwrite(Side& side, const Names& groups, const IniFile& settings) {
        Names chosen = side.Among(_model.Groups(), groups);
        for (const auto& group : settings) {
            chosen.erase(group.first);
        }
        if (!side.AskToWrite(settings) || !side.AskToWrite(chosen)) {
            return false;
        }
        Changed(_model.Overwrite(chosen, settings));
        return true;
    }

    std::string AskValues(Side& side) {
        IniFile found;
        std::string lines;
        for (unsigned left = _choices.Below(5); left > 0; --left) {
            const std::string group = _choices.Group();
            const std::string name = _choices.Name();
            lines += settings::common::SettingLocator{group, name}.ToString() + "\n";
            if (_model.Groups().FindGroup(group) == nullptr || !side.MayRead(group)) {
                continue;
            }
            IniFile::Group& there = found[group];
            if (const std::string* value = _model.Groups().FindValue(group, name)) {
                there[name] = *value;
            }
        }
        side.Expect("data\n" + side.Written(found) + ".\n");
        return "get-value\n" + lines + ".\n";
    }

    std::string AskTest(Side& side) {
        const IniFile expected = _choices.Document();
        const IniFile settings = _choices.Document();
        bool holds = true;
        for (const auto& [group, values] : expected) {
            for (const auto& [name, value] : values) {
                const std::string* stored = _model.Groups().FindValue(group, name);
                holds = holds && stored != nullptr && *stored == value && side.MayRead(group);
            }
        }
        if (side.AskToWrite(settings)) {
            if (holds) {
                Changed(_model.Merge(settings));
            }
            side.Expect(holds ? "result\nok\n" : "result\nrefused\n");
        }
        return "test-and-merge\n" + Ini(expected) + Ini(settings);
    }

    /// Half of the time with what is there.
    std::string AskExactTest(Side& side) {
        const Names groups = _choices.Patterns();
        const bool overwrite = _choices.Below(2) == 1;
        const IniFile expected = _choices.Below(2) == 1 ? Selected(side, groups) : _choices.Document();
        const IniFile settings = _choices.Document();
        const bool holds = expected == Selected(side, groups);
        if (side.AskToWrite(settings)) {
            if (!holds) {
                side.Expect("result\nrefused\n");
            } else if (!overwrite) {
                Changed(_model.Merge(settings));
                side.Expect("result\nok\n");
            } else if (Overwrite(side, groups, settings)) {
                side.Expect("result\nok\n");
            }
        }
        return (overwrite ? "test-exactly-and-overwrite\n" : "test-exactly-and-merge\n") + List(groups) +
               Ini(expected) + Ini(settings);
    }

    std::string AskWord(Side& side) {
        switch (_choices.Below(5)) {
            case 0:
                side.Expect("synced\n");
                return "sync\n";
            case 1:
                side.Expect("flushed\n");
                return "flush\n";
            case 2:
                side.Expect("revision\n" + std::to_string(_revision) + "\n");
                return "revision\n";
            case 3:
                return AskValues(side);
            default:
                side.Expect("error\nunknown command 'nonsense'\n");
                return "nonsense\n";
        }
    }

    [[nodiscard]] IniFile Selected(const Side& side, const Names& groups) const {
        IniFile selected;
        for (const std::string& name : side.Among(_model.Groups(), groups)) {
            selected.SetGroup(name, *_model.Groups().FindGroup(name));
        }
        return selected;
    }

    void Changed(const Names& reported) {
        if (reported.empty()) {
            return;
        }
        ++_revision;
        for (Side& side : _sides) {
            side.ExpectNotification(reported, _model.Groups());
        }
    }

    Choices _choices;
    fuzz::Rights _rights{kHidden, kReadOnly, 0};
    settings::server::testing::Server _server{kDefaults, &_rights};
    StoreModel _model{_server.persister.defaults};
    std::uint64_t _revision;
    Side _sides[2] = {Side(_server, 0), Side(_server, 1)};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    World(fuzz::Input(data, size)).Run();
    return 0;
}
