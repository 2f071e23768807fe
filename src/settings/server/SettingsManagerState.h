#pragma once

#include <memory>
#include <set>
#include <string>

#include "settings/common/ChangeRouter.h"
#include "settings/server/AccessPolicy.h"
#include "settings/server/CallbackTable.h"
#include "settings/server/Saver.h"
#include "settings/server/Store.h"
#include "settings/server/StoreEdits.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {

/// The store with everything around it, and the one way in which it is changed.
///
/// Locks: the store's, then the router's; no other two are held together.
struct SettingsManager::State final : ISaveSource {
    enum class Saving { kAsSet, kAlways, kDontWait };
    class LoadingTurn;

    ISettingsPersister* persister = nullptr;
    IRestrictedSettingsLoader* restrictions = nullptr;
    IIncludeFilter* filter = nullptr;

    mutable osa::Mutex mutex{"store"};
    Store store ZUMRA_GUARDED_BY(mutex);
    std::shared_ptr<const AccessPolicy> policy ZUMRA_GUARDED_BY(mutex) = std::make_shared<AccessPolicy>();
    std::set<std::string> unsaved ZUMRA_GUARDED_BY(mutex);

    common::ChangeRouter router;
    CallbackTable callbacks{router};
    osa::Condition loaded;
    bool loading ZUMRA_GUARDED_BY(mutex) = false;
    std::unique_ptr<Saver> saver;  ///< null without a persister

    void Load(const SaveOptions& options);
    [[nodiscard]] core::IniFile LoadDefaults();
    [[nodiscard]] std::shared_ptr<const AccessPolicy> LoadPolicy();

    /// What one operation did, and what is still to be done about it outside the lock.
    struct Step {
        bool committed = false;
        Edition edition;  ///< what the store held before, when it was committed
        common::ChangeRouter::Deliveries deliveries;
        std::uint64_t revision = 0;  ///< right after it
    };

    /// The part of an operation under the lock: `plan(store, access)` gives the edition.
    template <class Plan>
    [[nodiscard]] Step TakeStep(const Identity* who, Plan plan) {
        Step step;
        osa::MutexLock lock(mutex);
        step.edition = plan(store, Access(*policy, who));
        Take(step);
        return step;
    }

    /// A whole operation. Returns the revision right after it.
    template <class Plan>
    std::uint64_t Commit(const Identity* who, Plan plan) {
        Step step = TakeStep(who, plan);
        // Also when there was nothing to change: what it found may be there only because a save failed.
        Finish(step, Saving::kAsSet);
        return step.revision;
    }

    /// What `plan(store, access)` says, unless `test(store, access)` finds a difference.
    template <class Test, class Plan>
    TestResult TestAndCommit(const core::IniFile::Groups& settings, const Identity* who,
                             Durability durability, Test test, Plan plan) {
        TestResult result;
        Step step = TakeStep(who, [&](Store& tested, const Access& access) {
            RequireWriteOfAll(settings, access);
            result.difference = test(tested, access);
            return result.difference ? Edition() : plan(tested, access);
        });
        result.revision = step.revision;
        result.merged = !result.difference.has_value();
        if (result.merged) {
            Finish(step, durability == Durability::kSaved ? Saving::kAlways : Saving::kDontWait);
        }
        return result;
    }

    std::uint64_t Reload();
    /// The part of a reload that one thread at a time may do.
    [[nodiscard]] Step TakeReload();
    [[nodiscard]] std::shared_ptr<const AccessPolicy> Policy() const {
        osa::MutexLock lock(mutex);
        return policy;
    }

    /// Makes the step's edition, unless it is empty, the state of the store; on failure nothing changed.
    void Take(Step& step) ZUMRA_REQUIRES(mutex);
    /// The commit's names that concern anyone, still without their groups; null when there are none.
    [[nodiscard]] std::shared_ptr<common::Change> DraftChange(const Edition& edition) const
        ZUMRA_REQUIRES(mutex);
    /// The short way for the most frequent commit: a new text for a value that exists, in a group that nobody
    /// else holds and that concerns nobody. False when it is not that.
    bool SetInPlace(std::string_view group, std::string_view name, std::string& value) ZUMRA_REQUIRES(mutex);
    /// What follows a commit, outside the lock: everyone is told, what the store held before is released, and
    /// it is saved.
    void Finish(Step& step, Saving saving);

    void TakeUnsaved(UnsavedGroups& taken) override;
    void PutBack(UnsavedGroups& taken) noexcept override;
};

}  // namespace zumra::settings::server
