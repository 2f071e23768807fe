#pragma once

#include <set>
#include <string>
#include <string_view>

#include "settings/server/GroupDifference.h"
#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

class ISettingsPersister;
class IIncrementalPersister;

/// The document that a store saves: how its groups differ from the defaults (the format is described at
/// `SettingsManager`). Kept in step group by group, so that a save does not look at the whole store; written
/// only when something differs from what was written last.
///
/// For an incremental persister it keeps nothing but the reserved groups and what is still to be written.
///
/// Not thread-safe.
class SavedDocument {
public:
    /// `loaded` is what the persister holds.
    SavedDocument(ISettingsPersister& persister, const core::IniFile& loaded);

    /// What a saved document says.
    [[nodiscard]] static GroupDifferences Parse(core::IniFile&& saved);

    /// Takes note of how a group differs now. On failure the same call has to come again.
    void Update(const std::string& group, GroupDifference difference);
    /// Hands to the persister what differs from the last write; calls it only when something does. When it
    /// throws, the next write contains everything again.
    void Write();

private:
    void Put(const std::string& savedName, core::IniFile::Group values, bool exists);
    void PutRemovedGroup(const std::string& group, bool removed);
    void Replace(const std::string& savedName, core::IniFile::Group values, bool exists);
    void Send(const std::string& savedName, core::IniFile::Group values, bool exists);

    ISettingsPersister& _persister;
    IIncrementalPersister* const _incremental;
    core::IniFile _document;  ///< the whole, or for an incremental persister the reserved groups
    core::IniFile _changed;   ///< these two only for an incremental persister
    std::set<std::string> _removed;
    bool _unwritten = false;
    bool _listChanged = false;  ///< of removed groups; it is brought into its final form when it is written
};

}  // namespace zumra::settings::server
