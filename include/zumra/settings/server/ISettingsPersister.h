#pragma once

#include <set>
#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

class SettingsCombiner;

/// Where the server keeps its settings.
///
/// Thread-safety: the store calls each operation from any thread but never two saves at a time. It may call
/// `LoadDefaults` for a reload while a save runs. It holds no lock meanwhile, so an operation may take its
/// time, but it must not commit to the store that calls it.
///
/// Every operation reports failure by an exception, of which the store passes on the text.
class ZUMRA_EXPORT ISettingsPersister {
public:
    virtual ~ISettingsPersister();
    /// Feeds the defaults into the combiner: the defaults document and, each by `LoadInclude`, what comes
    /// from include sources.
    virtual void LoadDefaults(SettingsCombiner& combiner) = 0;
    /// Feeds the document that was saved last into the combiner, if there is one.
    virtual void LoadSettings(SettingsCombiner& combiner) = 0;
    /// Saves this document in place of the one before: whole or, when this throws, not at all.
    virtual void SaveSettings(const core::IniFile& settings) = 0;
};

/// A persister that can save a part of the document, so that a save costs what changed. The store uses
/// `SaveChanges` for every save and never `SaveSettings`.
class ZUMRA_EXPORT IIncrementalPersister : public ISettingsPersister {
public:
    ~IIncrementalPersister() override;
    /// Brings the saved document up to date: each group of `changed` is put whole in place of any of its
    /// name, and the groups named in `removed`, which need not exist, are removed. No group is in both. All
    /// or, when this throws, nothing; the next call then brings all of this again.
    virtual void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) = 0;
};

}  // namespace zumra::settings::server
