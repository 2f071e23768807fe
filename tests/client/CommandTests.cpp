#include <sstream>

#include "Documents.h"
#include "settings/client/commands/TestAndMergeCommand.h"
#include "zumra/core/IniFile.h"

#include "CheckFrame.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::client::TestAndMergeCommand;

namespace {

CHECK(TestAndMergeCommandTest) {
    const IniFile testSettings = MakeDocument({{"old", "setting", "banana"}});
    const IniFile mergeSettings = MakeDocument({{"new", "setting", "peach"}});
    TestAndMergeCommand tamc(testSettings, mergeSettings);

    std::ostringstream oss;
    tamc.SendRequest(oss);
    check_equal(
        "test-and-merge\n"
        "[old]\n"
        "setting = banana\n"
        "\n"
        ".\n"
        "[new]\n"
        "setting = peach\n"
        "\n"
        ".\n",
        oss.str());
    fail_unless(false == tamc.WasSuccessful());

    std::istringstream iss("ok\n");
    tamc.HandleResponse(iss);
    fail_unless(true == tamc.WasSuccessful());
    fail_unless(iss.good());
}

const TestCase kTestAndMerge = {
    "TestAndMerge",
    {
        TestAndMergeCommandTest,
    },
};

}  // namespace

Suite* CommandTests() {
    return BuildSuite("CommandTests", {kTestAndMerge});
}

}  // namespace zumra::tests
