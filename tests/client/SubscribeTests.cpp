#include <cstdint>
#include <exception>
#include <set>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/osa/Semaphore.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::ZumraSettingsClient;

namespace {

// Called on a thread of the library: the check waits for the semaphore before it reads the other members.
class Subscriber : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& changedGroups, const IniFile& data) override {
        ++_callbackCount;
        _changedSections = changedGroups;
        _changedData.Clear();
        _changedData.MergeSettings(data);
        _semaphore.Release();
    }

    osa::Semaphore _semaphore{"subs", 128, 0};
    std::int32_t _callbackCount = 0;
    std::set<std::string> _changedSections;
    IniFile _changedData;
};

// A check that fails leaves before it has unsubscribed, and its subscriber goes before the client does.
class UnSubscribeOnFailure {
public:
    UnSubscribeOnFailure(ZumraSettingsClient& client, Subscriber& subscriber)
        : _client(client), _subscriber(subscriber) {}
    UnSubscribeOnFailure(const UnSubscribeOnFailure&) = delete;
    UnSubscribeOnFailure& operator=(const UnSubscribeOnFailure&) = delete;
    ~UnSubscribeOnFailure() {
        if (std::uncaught_exceptions() == 0)
            return;
        try {
            _client.UnSubscribe(&_subscriber);
        } catch (...) {
            // The failure that led here is the one to report.
        }
    }

private:
    ZumraSettingsClient& _client;
    Subscriber& _subscriber;
};

constexpr unsigned int kWaitMs = 1000;

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SubscribeDelete, ZumraSettingsClient& client) {
    client.SetValue("[group]setting", "value");
    Subscriber ss;
    const UnSubscribeOnFailure guard(client, ss);
    client.Subscribe(&ss, "group");
    client.OverwriteSettings("group", IniFile());
    ss._semaphore.Lock(kWaitMs);

    check_equal(1, ss._callbackCount);
    check_equal(1, ss._changedSections.size());
    client.UnSubscribe(&ss);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SubscribeWildcard, ZumraSettingsClient& client) {
    client.SetValue("[group]setting", "value");
    client.SetValue("[group2]setting", "value");
    Subscriber ss;
    const UnSubscribeOnFailure guard(client, ss);
    client.Subscribe(&ss, "group");
    client.SetValue("[group]setting", "newvalue");
    ss._semaphore.Lock(kWaitMs);

    check_equal(1, ss._callbackCount);
    check_equal(1, ss._changedSections.size());
    check_equal("group", *ss._changedSections.begin());
    check_equal("newvalue", ss._changedData["group"]["setting"]);
    fail_if(ss._changedData.HasGroup("group2"));
    client.UnSubscribe(&ss);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SubscribeCallbackShouldReturnAllValuesInGoup,
                                        ZumraSettingsClient& client) {
    client.SetValue("[group]setting1", "value");
    client.SetValue("[group]setting2", "value");
    Subscriber ss;
    const UnSubscribeOnFailure guard(client, ss);
    client.Subscribe(&ss, "group");
    client.SetValue("[group]setting3", "newvalue");
    ss._semaphore.Lock(kWaitMs);

    check_equal(1, ss._callbackCount);
    check_equal(1, ss._changedSections.size());
    check_equal("group", *ss._changedSections.begin());
    check_equal("value", ss._changedData["group"]["setting1"]);
    check_equal("value", ss._changedData["group"]["setting2"]);
    check_equal("newvalue", ss._changedData["group"]["setting3"]);
    fail_if(ss._changedData.HasGroup("group2"));
    client.UnSubscribe(&ss);
}

const TestCase kAll = {
    "all",
    {
        SubscribeDelete,
        SubscribeWildcard,
        SubscribeCallbackShouldReturnAllValuesInGoup,
    },
};

}  // namespace

Suite* SubscribeTests() {
    return BuildSuite("SubscribeTests", {kAll});
}

}  // namespace zumra::tests
