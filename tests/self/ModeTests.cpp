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

void unknown_mode_run(int) {
    const auto mode = static_cast<ZumraSettingsClient::OperationMode>(7);
    RunCheckInMode(__FILE__, __LINE__, mode, [](ZumraSettingsClient&) {});  // reported
}

const TTest unknown_mode[] = {{"unknown_mode", unknown_mode_run, __FILE__, __LINE__}};

const TestCase kAll = {
    "all",
    {
        three_modes_pass,
        three_modes_fail,
        two_modes_throw,
        unknown_mode,
    },
};

}  // namespace

Suite* ModeTests() {
    return BuildSuite("ModeTests", {kAll});
}

}  // namespace zumra::tests
