#include "zumra/settings/IniWatcher.h"

#include <utility>

#include "settings/client/ChangeQueue.h"
#include "settings/client/Require.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {

using client::Arrivals;
using common::GroupNameMatcher;

struct IniWatcher::State {
    State(client::IBackend& asked, core::IniFile& kept) : backend(asked), queue(asked), document(kept) {}

    bool Apply() ZUMRA_EXCLUDES(mutex);
    void Put(const Arrivals& news) ZUMRA_REQUIRES(mutex);
    void EraseMissing(const Arrivals& all) ZUMRA_REQUIRES(mutex);

    client::IBackend& backend;
    client::ChangeQueue queue;
    osa::Mutex mutex{"IniWatcher"};
    core::IniFile& document ZUMRA_GUARDED_BY(mutex);
};

bool IniWatcher::State::Apply() {
    osa::MutexLock lock(mutex);
    Arrivals news = queue.Take();
    try {
        Put(news);
    } catch (...) {
        queue.PutBack(std::move(news));
        throw;
    }
    return news.any;
}

void IniWatcher::State::Put(const Arrivals& news) {
    if (news.whole) {
        EraseMissing(news);
    }
    for (const auto& [name, group] : news.groups) {
        if (group) {
            document.SetGroup(name, *group);
        } else {
            document.EraseGroup(name);
        }
    }
}

void IniWatcher::State::EraseMissing(const Arrivals& all) {
    std::set<std::string> watched;
    all.scope.GetMatchingGroups(document, watched);
    for (const std::string& name : watched) {
        if (all.groups.find(name) == all.groups.end()) {
            document.EraseGroup(name);
        }
    }
}

IniWatcher::IniWatcher(ZumraSettingsClient* client, core::IniFile* document)
    : _state(std::make_unique<State>(client::RequireBackend(client, "IniWatcher"),
                                     *client::RequireNotNull(document, "IniWatcher", "document"))) {}

IniWatcher::~IniWatcher() = default;

void IniWatcher::AddPattern(const std::string& pattern) {
    _state->queue.Want(GroupNameMatcher(pattern));
}

bool IniWatcher::Update() {
    if (_state->queue.FollowsAllWanted()) {
        _state->backend.Sync();
    } else {
        _state->queue.FollowWanted();
    }
    return _state->Apply();
}

bool IniWatcher::TryUpdate() {
    if (!_state->queue.Started()) {
        throw osa::Exception("TryUpdate called before Update");
    }
    return _state->Apply();
}

bool IniWatcher::WaitForChange(std::chrono::milliseconds timeout) {
    return _state->queue.Wait(timeout);
}

int IniWatcher::FileDescriptor() const {
    return _state->queue.FileDescriptor();
}

}  // namespace zumra::settings
