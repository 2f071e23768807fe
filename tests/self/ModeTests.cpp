#include "CheckModes.h"
#include "self/Suites.h"

namespace zumra::tests {

using settings::ZumraSettingsClient;

namespace {

CHECK_IN_ALL_MODES(three_modes_pass, ZumraSettingsClient& client) {
    client.SetValue("[group]name", "value");
    check_equal("value", client.GetValue("[group]name"));
}

CHECK_IN_ALL_MODES(three_modes_fail, ZumraSettingsClient& client) {
    fail_unless(client.GetValue("[group]name") == "value");  // reported
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(two_modes_throw, ZumraSettingsClient& client) {  // reported
    static_cast<void>(client.GetValue("no locator"));
}

const TestCase kAll = {
    "all",
    {
        three_modes_pass,
        three_modes_fail,
        two_modes_throw,
    },
};

}  // namespace

Suite* ModeTests() {
    return BuildSuite("ModeTests", {kAll});
}

}  // namespace zumra::tests
