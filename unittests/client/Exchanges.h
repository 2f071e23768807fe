#pragma once

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "settings/client/IBackend.h"

/// What each operation says to the server, and what it makes of the answer.
namespace zumra::test {

using settings::ZumraSettingsClient;
using settings::client::IBackend;
using settings::common::GroupNameMatcher;
using settings::common::SettingLocator;

struct KnownExchange {
    const char* name;
    /// Returns the operation's result as text.
    std::function<std::string(IBackend&)> call;
    std::string request;
    std::string reply;
    std::string result;
};

/// How a test names the exchange that it failed with.
inline void PrintTo(const KnownExchange& exchange, std::ostream* out) {
    *out << exchange.name;
}

/// Remembers what it is told.
class RecordingFollower final : public settings::client::IFollower {
public:
    void OnSnapshot(const settings::common::GroupMap& groups,
                    const settings::common::GroupNameMatcher& /*scope*/) override {
        _text += "snapshot";
        for (const auto& [name, group] : groups) {
            Add(name, group);
        }
    }
    void OnChange(const std::shared_ptr<const settings::common::Change>& change,
                  const settings::common::CoveredNames& covered) override {
        _text += "change";
        for (const std::string* name : covered) {
            Add(*name, change->groups.at(*name));
        }
    }
    /// "snapshot a{x=1}" and "change b-" and so on, one after another.
    [[nodiscard]] const std::string& Text() const { return _text; }

private:
    void Add(const std::string& name, const settings::common::SharedGroup& group) {
        _text += " " + name;
        if (!group) {
            _text += "-";
            return;
        }
        _text += "{";
        for (const auto& [value, text] : *group) {
            _text += value + "=" + text + ";";
        }
        _text += "}";
    }

    std::string _text;
};

class NullCallback final : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>&, const core::IniFile&) override {}
};

inline core::IniFile Document(const std::string& text) {
    core::IniFile document;
    document.LoadFromString(text);
    return document;
}

inline std::string ToText(const ZumraSettingsClient::Difference& d) {
    return "group=" + d.group + " name=" + d.name.value_or("-") + " expected=" + d.expected.value_or("-") +
           " actual=" + d.actual.value_or("-");
}

inline std::string Tested(bool merged, const ZumraSettingsClient::Difference& difference) {
    return merged ? "merged" : "refused " + ToText(difference);
}

inline GroupNameMatcher Groups(const std::set<std::string>& namesAndPatterns) {
    return GroupNameMatcher(namesAndPatterns);
}

std::vector<KnownExchange> KnownExchanges();

}  // namespace zumra::test
