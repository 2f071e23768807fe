#include "zumra/settings/common/CallbackDispatcher.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "zumra/core/IniFile.h"

#include "CheckFrame.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::common::CallbackDispatcher;
using settings::common::GroupNameMatcher;

namespace {

class change_subscriber : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& changedGroups, const IniFile&) override {
        ++_callbackCount;
        _changedSections = changedGroups;
    }

    std::int32_t _callbackCount = 0;
    std::set<std::string> _changedSections;
};

CHECK(cbd_basic_subscribe) {
    CallbackDispatcher dispatcher;
    change_subscriber subscriber;
    IniFile ini;
    const std::set<std::string> groupNames = {"section"};
    dispatcher.AddCallback(&subscriber, groupNames);

    ini["section"]["value"] = "1";
    dispatcher.OnChange(ini);

    fail_unless(subscriber._changedSections == groupNames);
}

CHECK(cbd_multiple_subscribers) {
    CallbackDispatcher dispatcher;
    change_subscriber s1;
    change_subscriber s2;
    change_subscriber s3;
    const std::set<std::string> g1 = {"a"};
    const std::set<std::string> g2 = {"b"};
    const std::set<std::string> g3 = {"a", "b"};
    dispatcher.AddCallback(&s1, g1);
    dispatcher.AddCallback(&s2, g2);
    dispatcher.AddCallback(&s3, g3);

    IniFile ini;
    ini["a"]["value"] = "1";
    ini["b"]["value"] = "1";
    dispatcher.OnChange(ini);

    fail_unless(s1._changedSections == g1);
    fail_unless(s2._changedSections == g2);
    fail_unless(s3._changedSections == g3);
}

CHECK(cbd_pattern_subscription) {
    CallbackDispatcher dispatcher;
    change_subscriber subscriber;
    IniFile ini;
    dispatcher.AddCallback(&subscriber, std::set<std::string>{"abc/*"});

    ini["123"];
    dispatcher.OnChange(ini);
    fail_unless(0 == subscriber._callbackCount);
    fail_unless(subscriber._changedSections.empty());

    ini["abc/aaa"];
    ini["abc/bbb"];
    dispatcher.OnChange(ini);
    const std::set<std::string> changedGroups = {"abc/aaa", "abc/bbb"};
    fail_unless(1 == subscriber._callbackCount);
    fail_unless(changedGroups == subscriber._changedSections);
}

CHECK(cbd_get_all_subscribed_groups) {
    CallbackDispatcher dispatcher;
    change_subscriber subscriber1;
    change_subscriber subscriber2;
    GroupNameMatcher matcher1;
    matcher1.AddNameOrPattern("abc");
    dispatcher.AddCallback(&subscriber1, matcher1);
    GroupNameMatcher matcher2;
    matcher2.AddNameOrPattern("xyz");
    dispatcher.AddCallback(&subscriber2, matcher2);

    std::set<std::string> groups;
    dispatcher.GetAllSubscribedGroups(groups);
    const std::vector<std::string> all(groups.begin(), groups.end());

    fail_unless(all.size() == 2);
    fail_unless("abc" == all[0]);
    fail_unless("xyz" == all[1]);
}

CHECK(cbd_subscribe_delete) {
    CallbackDispatcher dispatcher;
    change_subscriber subscriber;
    std::set<std::string> groupNames = {"group1", "group2"};
    dispatcher.AddCallback(&subscriber, groupNames);

    const IniFile ini;
    groupNames = {"group1"};
    dispatcher.OnChange(groupNames, ini);

    fail_unless(1 == subscriber._callbackCount);
    fail_unless(subscriber._changedSections == groupNames);
}

const TestCase kAll = {
    "all",
    {
        cbd_basic_subscribe,
        cbd_multiple_subscribers,
        cbd_pattern_subscription,
        cbd_get_all_subscribed_groups,
        cbd_subscribe_delete,
    },
};

}  // namespace

Suite* CallbackDispatcherTests() {
    return BuildSuite("CallbackDispatcherTests", {kAll});
}

}  // namespace zumra::tests
