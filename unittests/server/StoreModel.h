#pragma once

#include <set>
#include <string>
#include <utility>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server::testing {

/// What a store is, said as simply as it can be: whole copies, no sharing, no index. The store is compared
/// with it.
class StoreModel {
public:
    using Names = std::set<std::string>;
    struct WhatWasDone {
        core::IniFile set;
        Names removedGroups;
        std::set<std::pair<std::string, std::string>> removedValues;
        friend bool operator==(const WhatWasDone&, const WhatWasDone&) = default;
    };

    explicit StoreModel(const core::IniFile& defaults) : _defaults(defaults), _groups(defaults) {}

    [[nodiscard]] const core::IniFile& Groups() const { return _groups; }
    [[nodiscard]] const core::IniFile& Defaults() const { return _defaults; }

    /// What someone set or removed, as far as it still holds: what differs from the defaults, and what
    /// differed when they last changed.
    [[nodiscard]] WhatWasDone Done() const {
        WhatWasDone done;
        for (const auto& [group, values] : _groups) {
            const core::IniFile::Group* kept = _kept.set.FindGroup(group);
            if (!_defaults.HasGroup(group) || (kept != nullptr && kept->empty())) {
                done.set[group];
            }
            for (const auto& [name, value] : values) {
                if (IsOtherwise(_defaults, group, name, value) ||
                    !IsOtherwise(_kept.set, group, name, value)) {
                    done.set[group][name] = value;
                }
            }
        }
        for (const auto& [group, values] : _defaults) {
            NoteRemoved(group, done);
            for (const auto& value : values) {
                if (_groups.HasGroup(group)) {
                    NoteRemoved({group, value.first}, done);
                }
            }
        }
        for (const std::string& group : _kept.removedGroups) {
            NoteRemoved(group, done);
        }
        for (const auto& value : _kept.removedValues) {
            NoteRemoved(value, done);
        }
        return done;
    }

    // Each returns the names that a subscriber to everything is told of; none: no commit.

    Names Merge(const core::IniFile& settings) {
        return Become([&](core::IniFile& next) { next.MergeSettings(settings); });
    }
    Names Overwrite(const Names& patterns, const core::IniFile& settings) {
        Names reported = Matching(_groups, patterns);
        for (const auto& group : settings) {
            reported.insert(group.first);
        }
        for (const std::string& name : reported) {
            _groups.EraseGroup(name);
        }
        _groups.MergeSettings(settings);
        return reported;
    }
    Names Erase(const Names& patterns) {
        return Become([&](core::IniFile& next) {
            for (const std::string& name : Matching(_groups, patterns)) {
                next.EraseGroup(name);
            }
        });
    }
    Names EraseValue(const std::string& group, const std::string& name) {
        return Become([&](core::IniFile& next) { next.EraseValue(group, name); });
    }
    Names Restore(const Names& patterns) {
        for (const std::string& group : Matching(_defaults, patterns)) {
            _kept.set.EraseGroup(group);
            _kept.removedGroups.erase(group);
            std::erase_if(_kept.removedValues, [&](const auto& value) { return value.first == group; });
        }
        return Become([&](core::IniFile& next) {
            for (const std::string& name : Matching(_defaults, patterns)) {
                next.SetGroup(name, *_defaults.FindGroup(name));
            }
        });
    }
    /// What was set or removed stays so, everything else is as in the new defaults.
    Names NewDefaults(const core::IniFile& defaults) {
        return Become([&](core::IniFile& next) {
            _kept = Done();
            _defaults = defaults;
            next = core::IniFile();
            for (const auto& [group, values] : defaults) {
                if (_kept.removedGroups.count(group) != 0) {
                    continue;
                }
                next[group];
                for (const auto& [name, value] : values) {
                    if (_kept.removedValues.count({group, name}) == 0) {
                        next[group][name] = value;
                    }
                }
            }
            next.MergeSettings(_kept.set);
        });
    }

    static Names Matching(const core::IniFile& document, const Names& patterns) {
        Names matching;
        for (const auto& group : document) {
            for (const std::string& pattern : patterns) {
                const bool isPattern = !pattern.empty() && pattern.back() == '*';
                if (isPattern
                        ? group.first.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0
                        : group.first == pattern) {
                    matching.insert(group.first);
                }
            }
        }
        return matching;
    }

private:
    static bool IsOtherwise(const core::IniFile& document, const std::string& group, const std::string& name,
                            const std::string& value) {
        const std::string* found = document.FindValue(group, name);
        return found == nullptr || *found != value;
    }
    void NoteRemoved(const std::string& group, WhatWasDone& done) const {
        if (!_groups.HasGroup(group)) {
            done.removedGroups.insert(group);
        }
    }
    void NoteRemoved(const std::pair<std::string, std::string>& value, WhatWasDone& done) const {
        if (done.removedGroups.count(value.first) == 0 && !_groups.HasValue(value.first, value.second)) {
            done.removedValues.insert(value);
        }
    }

    template <class Change>
    Names Become(Change change) {
        core::IniFile next = _groups;
        change(next);
        Names changed;
        for (const core::IniFile* document : {&_groups, &next}) {
            for (const auto& group : *document) {
                const auto* before = _groups.FindGroup(group.first);
                const auto* after = next.FindGroup(group.first);
                if (before == nullptr || after == nullptr || *before != *after) {
                    changed.insert(group.first);
                }
            }
        }
        _groups = next;
        return changed;
    }

    core::IniFile _defaults;
    core::IniFile _groups;
    WhatWasDone _kept;  ///< when the defaults last changed
};

}  // namespace zumra::settings::server::testing
