#include "settings/server/SavedDocument.h"

#include <utility>
#include <vector>

#include "zumra/settings/server/ISettingsPersister.h"

namespace zumra::settings::server {

namespace {

using Group = core::IniFile::Group;

constexpr std::string_view kRemovedGroups = "ZumraSettings/Removed";
constexpr std::string_view kRemovedValuesOf = "ZumraSettings/Removed/";
constexpr std::string_view kOrdinaryGroup = "ZumraSettings/Removed!";

bool BeginsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

std::string Concatenated(std::string_view prefix, std::string_view name) {
    return std::string(prefix).append(name);
}

std::string SavedName(const std::string& group) {
    return BeginsWith(group, kRemovedGroups) ? Concatenated(kOrdinaryGroup, group) : group;
}

/// Whether the saved group of this name lists something that was removed.
bool IsList(std::string_view savedName) {
    return savedName == kRemovedGroups || BeginsWith(savedName, kRemovedValuesOf);
}

/// The name of the group that is saved under this one, which is no list's.
std::string OrdinaryName(const std::string& savedName) {
    return BeginsWith(savedName, kOrdinaryGroup) ? savedName.substr(kOrdinaryGroup.size()) : savedName;
}

/// A group that someone saved by hand, under a name that no save gives it: when the store's group was erased,
/// it would stay.
struct Renaming {
    std::string from;
    std::string to;
    Group values;
};

std::vector<Renaming> RenamingsOf(const core::IniFile& saved) {
    std::vector<Renaming> renamings;
    for (const auto& [savedName, values] : saved) {
        const std::string rightName = IsList(savedName) ? savedName : SavedName(OrdinaryName(savedName));
        if (rightName == savedName) {
            continue;
        }
        Renaming& renaming = renamings.emplace_back(Renaming{savedName, rightName, values});
        const Group* others = saved.FindGroup(rightName);
        for (const auto& [name, value] : others == nullptr ? Group() : *others) {
            if (rightName > savedName || renaming.values.count(name) == 0) {  // as they are read
                renaming.values[name] = value;
            }
        }
    }
    return renamings;
}

/// Mostly the names come in order.
GroupDifference& DifferenceAt(GroupDifferences& differences, std::string name) {
    return differences.try_emplace(differences.end(), std::move(name))->second;
}

core::IniFile ListsOf(const core::IniFile& document) {
    core::IniFile lists;
    for (const auto& [savedName, values] : document) {
        if (IsList(savedName)) {
            lists.SetGroup(savedName, values);
        }
    }
    return lists;
}

}  // namespace

SavedDocument::SavedDocument(ISettingsPersister& persister, const core::IniFile& loaded)
    : _persister(persister),
      _incremental(dynamic_cast<IIncrementalPersister*>(&persister)),
      _document(_incremental != nullptr ? ListsOf(loaded) : loaded) {
    for (Renaming& renaming : RenamingsOf(loaded)) {
        Replace(renaming.from, {}, false);
        Replace(renaming.to, std::move(renaming.values), true);
    }
}

GroupDifferences SavedDocument::Parse(core::IniFile&& saved) {
    GroupDifferences differences;
    for (const auto& [savedName, values] : saved) {
        if (savedName == kRemovedGroups) {
            for (const auto& group : values) {
                differences[group.first].removed = true;
            }
        } else if (BeginsWith(savedName, kRemovedValuesOf)) {
            GroupDifference& difference = differences[savedName.substr(kRemovedValuesOf.size())];
            for (const auto& value : values) {
                difference.removedValues.insert(value.first);
            }
        } else {
            GroupDifference& difference = DifferenceAt(differences, OrdinaryName(savedName));
            difference.present = true;
            Group later = std::move(saved[savedName]);
            later.merge(difference.values);
            difference.values = std::move(later);
        }
    }
    return differences;
}

void SavedDocument::Update(const std::string& group, GroupDifference difference) {
    Group removedValues;
    for (const std::string& name : difference.removedValues) {
        removedValues.emplace_hint(removedValues.end(), name, std::string());
    }
    const bool anyRemoved = !removedValues.empty();
    Put(Concatenated(kRemovedValuesOf, group), std::move(removedValues), anyRemoved);
    PutRemovedGroup(group, difference.removed);
    Put(SavedName(group), std::move(difference.values), difference.present);
}

void SavedDocument::PutRemovedGroup(const std::string& group, bool removed) {
    if (_document.HasValue(kRemovedGroups, group) == removed) {
        return;
    }
    _unwritten = true;
    _listChanged = true;
    Group& list = _document[kRemovedGroups];
    if (removed) {
        list[group];
    } else {
        list.erase(group);
    }
}

void SavedDocument::Put(const std::string& savedName, Group values, bool exists) {
    if (_incremental == nullptr || IsList(savedName)) {
        const Group* present = _document.FindGroup(savedName);
        if (exists == (present != nullptr) && (present == nullptr || *present == values)) {
            return;
        }
    }
    Replace(savedName, std::move(values), exists);
}

void SavedDocument::Replace(const std::string& savedName, Group values, bool exists) {
    _unwritten = true;
    if (_incremental != nullptr && !IsList(savedName)) {
        Send(savedName, std::move(values), exists);
        return;
    }
    if (_incremental != nullptr) {
        Send(savedName, values, exists);
    }
    if (exists) {
        _document.SetGroup(savedName, std::move(values));
    } else {
        _document.EraseGroup(savedName);
    }
}

/// Puts it into what the next write sends.
void SavedDocument::Send(const std::string& savedName, Group values, bool exists) {
    if (exists) {
        _changed.SetGroup(savedName, std::move(values));
        _removed.erase(savedName);
    } else {
        _removed.insert(savedName);
        _changed.EraseGroup(savedName);
    }
}

void SavedDocument::Write() {
    if (!_unwritten) {
        return;
    }
    if (_listChanged) {
        const Group list = _document[kRemovedGroups];
        Replace(std::string(kRemovedGroups), list, !list.empty());
        _listChanged = false;
    }
    if (_incremental != nullptr) {
        _incremental->SaveChanges(_changed, _removed);
        _changed.Clear();
        _removed.clear();
    } else {
        _persister.SaveSettings(_document);
    }
    _unwritten = false;
}

}  // namespace zumra::settings::server
