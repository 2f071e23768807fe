#include "server/StoreModel.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>
#include <string>

#include "server/StoreDoubles.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::StoreModel;
using Names = StoreModel::Names;

/// Keeps the saved document as INI text, as a file would.
class TextStorage : public ISettingsPersister {
public:
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(testing::Document(text)); }
    void SaveSettings(const core::IniFile& document) override {
        text = document.SaveToString();
        ++saves;
    }

    core::IniFile defaults;
    std::string text;
    int saves = 0;
};

/// Keeps single groups of the saved document, as a database would.
class GroupStorage : public IIncrementalPersister {
public:
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(saved); }
    void SaveSettings(const core::IniFile&) override { ADD_FAILURE() << "the whole is never saved"; }
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override {
        for (const auto& [name, values] : changed) {
            EXPECT_EQ(removed.count(name), 0U) << name;
            saved.SetGroup(name, values);
        }
        for (const std::string& name : removed) {
            saved.EraseGroup(name);
        }
        ++saves;
    }

    core::IniFile defaults;
    core::IniFile saved;
    int saves = 0;
};

/// Makes up operations on few enough names that they meet.
class Chance {
public:
    explicit Chance(unsigned seed) : _engine(seed) {}

    unsigned Below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(_engine); }

    std::string Group() {
        static const char* const names[] = {"a",
                                            "a/b",
                                            "a/c",
                                            "",
                                            "b",
                                            "line\nend",
                                            "*",
                                            "ZumraSettings/Removed",
                                            "ZumraSettings/Removed/a",
                                            "ZumraSettings/Removed!a",
                                            "ZumraSettings/Removed/ZumraSettings/Removed",
                                            "ZumraSettings/Removedx",
                                            "ZumraSettings"};
        return names[Below(std::size(names))];
    }
    std::string Name() {
        static const char* const names[] = {"x", "y", "a", "", "[z]"};
        return names[Below(std::size(names))];
    }
    std::string Value() {
        static const char* const values[] = {"", "1", "2", " 3 "};
        return values[Below(std::size(values))];
    }
    Names Patterns() {
        static const char* const patterns[] = {"*", "a*", "a/*", "ZumraSettings*", "ZumraSettings/Removed*"};
        Names chosen;
        for (unsigned i = Below(3); i > 0; --i) {
            chosen.insert(Below(4) == 0 ? patterns[Below(std::size(patterns))] : Group());
        }
        chosen.erase("*");  // everything at once comes seldom enough with the other patterns
        if (Below(40) == 0) {
            chosen.insert("*");
        }
        return chosen;
    }
    core::IniFile Document() {
        core::IniFile document;
        for (unsigned i = Below(4); i > 0; --i) {
            const std::string group = Group();
            document[group];
            for (unsigned j = Below(4); j > 0; --j) {
                document[group][Name()] = Value();
            }
        }
        return document;
    }

private:
    std::mt19937 _engine;
};

/// The model and the store side by side.
template <class Storage>
class SideBySide {
public:
    SideBySide(unsigned seed, bool deferred) : _chance(seed), _deferred(deferred), _model(core::IniFile()) {
        _storage.defaults = _chance.Document();
        _storage.defaults.MergeSettings(_chance.Document());
        _model = StoreModel(_storage.defaults);
        Start();
    }

    void Run(int operations) {
        for (int i = 0; i < operations && !::testing::Test::HasFailure(); ++i) {
            Step();
        }
    }

private:
    void Start() {
        _store = std::make_unique<SettingsManager>(&_storage, nullptr, nullptr, _deferred);
        _subscriber.calls.clear();
        _store->Subscribe(&_subscriber, {"*"});
    }

    void Step() {
        const std::uint64_t before = _store->Revision();
        const StoreModel::WhatWasDone doneBefore = _model.Done();
        std::optional<Names> reported = Operate();
        if (!reported) {
            return;
        }
        const bool commit = !reported->empty() || !(_model.Done() == doneBefore);
        EXPECT_EQ(_store->Revision(), before + (commit ? 1 : 0));
        ASSERT_EQ(_subscriber.calls.size(), reported->empty() ? 0U : 1U);
        if (!reported->empty()) {
            core::IniFile data;
            for (const std::string& name : *reported) {
                if (const auto* group = _model.Groups().FindGroup(name)) {
                    data.SetGroup(name, *group);
                }
            }
            EXPECT_EQ(_subscriber.calls[0].groups, *reported);
            EXPECT_EQ(_subscriber.calls[0].data, data);
            _subscriber.calls.clear();
        }
        Compare();
    }

    void Compare() {
        core::IniFile all;
        _store->GetSettings(GroupNameMatcher("*"), all);
        EXPECT_EQ(all, _model.Groups()) << "store:\n"
                                        << all.SaveToString() << "model:\n"
                                        << _model.Groups().SaveToString();
    }

    /// One operation on both. Nothing when it is not one that reports.
    std::optional<Names> Operate() {
        const Names patterns = _chance.Patterns();
        const core::IniFile document = _chance.Document();
        const std::string group = _chance.Group();
        const std::string name = _chance.Name();
        const GroupNameMatcher matcher(patterns);
        switch (_chance.Below(10)) {
            case 0:
            case 1:
                _store->MergeSettings(document);
                return _model.Merge(document);
            case 2:
            case 3:
                return SetValue(group, name, _chance.Value());
            case 4:
                _store->OverwriteSettings(matcher, document);
                return _model.Overwrite(patterns, document);
            case 5:
                _store->EraseGroups(matcher);
                return _model.Erase(patterns);
            case 6:
                _store->EraseValue(group, name);
                return _model.EraseValue(group, name);
            case 7:
                _store->RestoreToDefaults(matcher);
                return _model.Restore(patterns);
            case 8:
                return TestAndMerge(patterns, document);
            default:
                return ReloadOrRestart();
        }
    }

    Names SetValue(const std::string& group, const std::string& name, const std::string& value) {
        core::IniFile single;
        single[group][name] = value;
        _store->SetValue(group, name, value);
        return _model.Merge(single);
    }

    Names TestAndMerge(const Names& patterns, const core::IniFile& document) {
        const core::IniFile expected = _chance.Document();
        core::IniFile present;
        for (const std::string& name : StoreModel::Matching(_model.Groups(), patterns)) {
            present.SetGroup(name, *_model.Groups().FindGroup(name));
        }
        const bool guessed = _chance.Below(2) == 0;
        const core::IniFile& guess = guessed ? present : expected;
        if (_chance.Below(2) == 0) {
            const bool holds = guess == present;
            const GroupNameMatcher matcher(patterns);
            if (_chance.Below(2) == 0) {
                EXPECT_EQ(_store->TestExactlyAndOverwrite(matcher, guess, document).merged, holds);
                return holds ? _model.Overwrite(patterns, document) : Names();
            }
            EXPECT_EQ(_store->TestExactlyAndMerge(matcher, guess, document).merged, holds);
            return holds ? _model.Merge(document) : Names();
        }
        core::IniFile merged = _model.Groups();
        merged.MergeSettings(guess);
        bool holds = true;
        for (const auto& [group, values] : guess) {
            for (const auto& [name, value] : values) {
                holds = holds && _model.Groups().HasValue(group, name) &&
                        _model.Groups().GetValue(group, name) == value;
            }
        }
        EXPECT_EQ(_store->TestAndMerge(guess, document).merged, holds);
        return holds ? _model.Merge(document) : Names();
    }

    std::optional<Names> ReloadOrRestart() {
        const bool newDefaults = _chance.Below(2) == 0;
        const bool reload = _chance.Below(2) == 0;
        if (newDefaults) {
            _storage.defaults = _chance.Document();
            _storage.defaults.MergeSettings(_chance.Document());
        }
        if (!reload) {
            _store.reset();  // saves what is deferred
            const int saves = _storage.saves;
            Start();
            _model.NewDefaults(_storage.defaults);
            Compare();
            EXPECT_EQ(_storage.saves, saves) << "starting writes nothing";
            return {};
        }
        const std::uint64_t before = _store->Revision();
        const bool differ = !(_storage.defaults == _model.Defaults());
        EXPECT_EQ(_store->Reload(), before + (differ ? 1 : 0));
        const Names reported = differ ? _model.NewDefaults(_storage.defaults) : Names();
        EXPECT_EQ(_subscriber.calls.size(), reported.empty() ? 0U : 1U);
        if (!reported.empty() && !_subscriber.calls.empty()) {
            EXPECT_EQ(_subscriber.calls[0].groups, reported);
        }
        _subscriber.calls.clear();
        Compare();
        return {};
    }

    Chance _chance;
    const bool _deferred;
    Storage _storage;
    StoreModel _model;
    testing::RecordingCallback _subscriber;
    std::unique_ptr<SettingsManager> _store;
};

class StoreModelTest : public ::testing::TestWithParam<unsigned> {};

TEST_P(StoreModelTest, AgreesWithTheStore) {
    SideBySide<TextStorage>(GetParam(), false).Run(400);
}

TEST_P(StoreModelTest, AgreesWithTheStoreThatDefersSaves) {
    SideBySide<TextStorage>(GetParam() + 1000, true).Run(400);
}

TEST_P(StoreModelTest, AgreesWithTheStoreThatSavesChanges) {
    SideBySide<GroupStorage>(GetParam() + 2000, false).Run(400);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreModelTest, ::testing::Range(0U, 25U));

}  // namespace
}  // namespace zumra::settings::server
