#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "zumra/core/IniFile.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"
#include "zumra/settings/common/SharedGroup.h"
#include "zumra/settings/server/SaveOptions.h"

namespace zumra::settings::common {
class IChangeListener;
}

namespace zumra::settings::server {

class ISettingsPersister;
class IRestrictedSettingsLoader;
class IIncludeFilter;
struct Identity;

/// What first made a test fail: the group and, when it is about one value, the value's name; what was
/// expected and what there is now. An absent text means that there was to be no such value, or that there is
/// none. Without a name it is about the group itself: with `actual` (an empty text) it is there and was not
/// expected, without it is missing.
struct Difference {
    std::string group;
    std::optional<std::string> name;
    std::optional<std::string> expected;
    std::optional<std::string> actual;
};

struct TestResult {
    bool merged = false;                   ///< also: overwritten
    std::optional<Difference> difference;  ///< set when not merged
    std::uint64_t revision = 0;            ///< of the store right after the request
};

/// Whether a test-and-merge returns only when it is saved.
enum class Durability { kSaved, kDontWait };

/// Figures about a store, as of one moment each.
struct StoreStatistics {
    std::uint64_t revision = 0;
    std::uint64_t savedRevision = 0;
    std::size_t groups = 0;
    std::size_t listeners = 0;
};

/// The settings store: groups of values in memory, changed by commits, each of which takes it from one state
/// to the next, and kept by a persister as the difference from the defaults.
///
/// **Commits.** Every changing operation is one commit, atomic against every other operation: a reader sees
/// all of it or nothing. A commit raises the revision by one. What changes nothing is no commit, raises
/// nothing and tells nobody, with one exception: an overwrite that matched or brought any group is always
/// one, and tells. (What changes nothing but the saved document is a commit that tells nobody.) When an
/// operation throws for any reason but a failed save or a throwing subscriber, the store is as it was.
///
/// **Subscribers** are called in commit order, each once a commit and by one thread at a time, with whole
/// groups as they are right after that commit, under no lock; they may call the store, subscribe and
/// unsubscribe. The committing thread calls them before its operation returns, except one that another thread
/// (or this one, further up its stack) is calling at that moment: it is called by that thread next. A
/// subscriber should not throw; what it throws comes out of the operation after the commit stands, everyone
/// was told and the commit was saved.
///
/// **Saving.** Without a persister everything counts as saved. With one, a changing operation returns when
/// the state that it leaves or finds is saved (so that one that is made again after a failed save is saved
/// too), or with `SaveOptions::deferred` at once, while a thread of the store saves soon after. Saves by
/// several threads at the same time become one. A save that fails throws `zumra::osa::Exception` with the
/// persister's own message from the operation (or the flush) that waits for it; the commit stands in memory
/// nevertheless, and every later save tries everything again. The destructor saves what is not saved; what
/// fails there is only reported to `SaveOptions::outcome`.
///
/// **Saved document.** The difference from the defaults as a plain document: new and changed values in groups
/// of their own names; the group "ZumraSettings/Removed" has a value named after each removed group, the
/// group "ZumraSettings/Removed/<group>" one for each value removed from a group that exists. A group of the
/// store whose own name begins with "ZumraSettings/Removed" is saved as "ZumraSettings/Removed!<its name>".
/// This format is frozen. When defaults change, what someone set or removed stays so, also where it has
/// become the same as the default meanwhile; restoring a group ends that.
///
/// **Restrictions.** `who` is the one on whose behalf an operation runs; null is the program itself, who may
/// do everything. What `who` may not read is not there for it: not in reads, not for patterns, not in
/// comparisons. To write a group, `who` must be allowed to read and to write it. An operation that would
/// write a group that `who` reads but may not write, or that names in a document one that it may not write,
/// throws `zumra::osa::Exception` "not allowed to write group '<group>'" and changes nothing.
///
/// **Threads.** Every operation may be called from any thread. A short lock orders them; nobody holds it
/// while saving, loading or calling anyone. So readers never wait for a save or a subscriber.
///
/// **Cost.** Reading grows with what is read and changing with what changes, times the logarithm of the
/// store's size. Reads share groups with the store; a commit copies a group only while someone else holds it.
///
///     server::SettingsManager store(&persister);
///     store.SetValue("Server", "Port", "8080");
///     core::IniFile document;
///     store.GetSettings(common::GroupNameMatcher("Resources/*"), document);
class ZUMRA_EXPORT SettingsManager {
public:
    /// An empty store that is not saved anywhere.
    SettingsManager();
    /// A store that is not saved anywhere, which starts as these defaults.
    explicit SettingsManager(const core::IniFile& defaults);
    /// Loads defaults and saved settings from `persister` (null: none). `restrictions` (null: none) gives the
    /// restricted groups; documents from include sources pass through `filter` (null: as they are). With
    /// `deferSaves` saving is left to a thread, without any delay. Nothing is owned, and everything must
    /// outlive the store. Throws what loading throws.
    explicit SettingsManager(ISettingsPersister* persister, IRestrictedSettingsLoader* restrictions = nullptr,
                             IIncludeFilter* filter = nullptr, bool deferSaves = false);
    SettingsManager(ISettingsPersister* persister, IRestrictedSettingsLoader* restrictions,
                    IIncludeFilter* filter, const SaveOptions& options);
    /// Saves what is not saved. Requires that no operation is running and no subscriber being called;
    /// subscribers may still be registered.
    ~SettingsManager();
    SettingsManager(const SettingsManager&) = delete;
    SettingsManager& operator=(const SettingsManager&) = delete;

    /// The groups that match, without copying their values: one consistent state. `revision`, when not null,
    /// becomes the revision of that state.
    [[nodiscard]] common::GroupMap Read(const common::GroupNameMatcher& groups, const Identity* who = nullptr,
                                        std::uint64_t* revision = nullptr) const;
    /// The same of the groups that these values are in, each once and whole; for readers of several single
    /// values, as of one moment.
    [[nodiscard]] common::GroupMap Read(const std::vector<common::SettingLocator>& values,
                                        const Identity* who = nullptr,
                                        std::uint64_t* revision = nullptr) const;
    /// As `Read` of groups that match, of the default settings.
    [[nodiscard]] common::GroupMap ReadDefaults(const common::GroupNameMatcher& groups,
                                                const Identity* who = nullptr) const;
    /// Copies the groups that match into `target`, each whole; other groups of `target` stay.
    void GetSettings(const common::GroupNameMatcher& groups, core::IniFile& target,
                     const Identity* who = nullptr) const;
    /// Absent when there is no such group or value.
    [[nodiscard]] std::optional<std::string> GetValue(std::string_view group, std::string_view name,
                                                      const Identity* who = nullptr) const;

    // Each returns the revision of the store right after it. A document of settings becomes a part of the
    // store: one that is moved here is not copied.

    /// Adds every group and value of `settings`; equal-named values are replaced, nothing is removed.
    /// Creating an empty group is a change.
    std::uint64_t MergeSettings(core::IniFile settings, const Identity* who = nullptr);
    /// Sets one value, creating its group if there is none.
    std::uint64_t SetValue(std::string_view group, std::string_view name, std::string value,
                           const Identity* who = nullptr);
    /// Removes every group that matches and stores the groups of `settings`, each in place of any of its
    /// name. Reports every group that it matched or brought.
    std::uint64_t OverwriteSettings(const common::GroupNameMatcher& groups, core::IniFile settings,
                                    const Identity* who = nullptr);
    std::uint64_t EraseGroups(const common::GroupNameMatcher& groups, const Identity* who = nullptr);
    /// The group stays, even when it has no value left.
    std::uint64_t EraseValue(std::string_view group, std::string_view name, const Identity* who = nullptr);
    /// All of these in one commit.
    std::uint64_t EraseValues(const std::vector<common::SettingLocator>& values,
                              const Identity* who = nullptr);
    /// Puts every group of the defaults that matches back to exactly its default values, also where it was
    /// removed. Groups that the defaults lack are left alone.
    std::uint64_t RestoreToDefaults(const common::GroupNameMatcher& groups, const Identity* who = nullptr);

    /// Merges `settings` if every value of `expected` is in the store with the same text; an expected group
    /// without values demands nothing. Comparing and merging are one step. Returns when the merge is saved,
    /// also when saves are deferred, unless told `kDontWait`: then the caller goes on with `WhenSaved`.
    TestResult TestAndMerge(const core::IniFile& expected, core::IniFile settings,
                            const Identity* who = nullptr, Durability durability = Durability::kSaved);
    /// Merges `settings` if the groups that match are exactly those of `expected`, with exactly their values.
    TestResult TestExactlyAndMerge(const common::GroupNameMatcher& groups, const core::IniFile& expected,
                                   core::IniFile settings, const Identity* who = nullptr,
                                   Durability durability = Durability::kSaved);
    /// As `TestExactlyAndMerge`, but what it does then is `OverwriteSettings` of the groups that match.
    TestResult TestExactlyAndOverwrite(const common::GroupNameMatcher& groups, const core::IniFile& expected,
                                       core::IniFile settings, const Identity* who = nullptr,
                                       Durability durability = Durability::kSaved);

    /// The subscriber, not owned, is told of changes of these groups; subscribing again adds to them. The
    /// document that it is given holds exactly those of the groups reported to it that exist.
    void Subscribe(IChangeCallback* callback, const std::set<std::string>& namesAndPatterns);
    /// After this the subscriber is not called again: waits for a call of it that runs on another thread, but
    /// returns at once from within its own call.
    void UnSubscribe(IChangeCallback* callback);

    /// For the library's own listeners. `current`, when not null, becomes the matching groups as of the
    /// moment from which changes are told: nothing is missed between the two and nothing is told twice.
    /// Returns the revision of that moment; a listener that was already known may still be given queued
    /// changes up to it, of groups that it asked for before.
    std::uint64_t Subscribe(common::IChangeListener* listener, common::GroupNameMatcher groups,
                            common::GroupMap* current = nullptr);
    /// Takes these names and patterns away from what the listener is told of.
    void UnSubscribe(common::IChangeListener* listener, const common::GroupNameMatcher& groups);
    /// What the listener is subscribed to; how much that is, which costs nothing to ask; and what of `groups`
    /// it is not subscribed to, entry by entry.
    [[nodiscard]] common::GroupNameMatcher Subscriptions(const common::IChangeListener* listener) const;
    [[nodiscard]] common::GroupNameMatcher::Extent SubscriptionsExtent(
        const common::IChangeListener* listener) const;
    [[nodiscard]] common::GroupNameMatcher NotSubscribed(const common::IChangeListener* listener,
                                                         common::GroupNameMatcher groups) const;
    /// As for a subscriber.
    void UnSubscribe(common::IChangeListener* listener);
    /// The two halves of it: after the first no call of the listener begins, unless it subscribes again; the
    /// second waits for a call that runs on another thread.
    void Drop(common::IChangeListener* listener);
    void AwaitReturn(common::IChangeListener* listener);
    /// Returns when the listener has been told of everything committed before the call, which this call does
    /// itself where nobody is about it; waits for calls of the listener on another thread, and returns at
    /// once from within a call of it. Throws nothing but what the listener throws.
    void Settle(common::IChangeListener* listener);

    /// Counts commits since construction; 0 at first.
    [[nodiscard]] std::uint64_t Revision() const;
    [[nodiscard]] StoreStatistics Statistics() const;
    [[nodiscard]] bool MayRead(std::string_view group, const Identity* who) const;
    [[nodiscard]] bool MayWrite(std::string_view group, const Identity* who) const;

    /// Returns when everything committed before the call is saved, without waiting for any delay; throws
    /// `zumra::osa::Exception` with what made the save fail.
    void Flush();
    /// Calls `done` once: with null when everything up to `revision` (at most the present one) is saved, with
    /// an `zumra::osa::Exception` when an attempt to save it, which this call causes without any delay,
    /// failed. With deferred saves never blocks: `done` is called at once on this thread when it is saved
    /// already, else later on the thread that saves. Otherwise this call saves and calls `done` itself.
    /// `done` is called under no lock and must not throw.
    void WhenSaved(std::uint64_t revision, std::function<void(std::exception_ptr)> done);

    /// Loads defaults and restrictions anew and keeps the saved differences: what a client set or removed
    /// stays so, everything else follows the new defaults. One commit, which reports the groups that really
    /// changed. When loading throws, that comes out and everything is as it was. Waits for a reload on
    /// another thread; not to be called while loading.
    std::uint64_t Reload();

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings::server
