#include "zumra/settings/server/ClientHandler.h"

#include <sstream>

#include "common/MemoryPersister.h"
#include "zumra/settings/server/SerializationManager.h"
#include "zumra/settings/server/ServerEnv.h"
#include "zumra/settings/server/SettingsManager.h"

#include "CheckFrame.h"
#include "Suites.h"

namespace zumra::tests {

using settings::server::ClientHandler;
using settings::server::SerializationManager;
using settings::server::ServerEnv;
using settings::server::SettingsManager;

namespace {

void RunClientHandlerScript(ServerEnv* env, const char* requests, const char* expectedReplies) {
    std::istringstream in(requests);
    std::ostringstream out;
    ClientHandler handler(env, &in, &out);
    handler.Run();
    check_equal(expectedReplies, out.str());
}

void RunScriptOnFreshServer(const char* requests, const char* expectedReplies) {
    SettingsManager settingsManager;
    SerializationManager serializationManager;
    ServerEnv env = {&settingsManager, &serializationManager};
    RunClientHandlerScript(&env, requests, expectedReplies);
}

CHECK(subscribe_selfmerge) {
    RunScriptOnFreshServer(
        "subscribe\n"
        "Section1\n"
        "Section2\n"
        ".\n"
        "merge\n"
        "[Section1]\n"
        "setting=value\n",
        // replies
        "async change\n"
        "Section1\n"
        ".\n"
        "[Section1]\n"
        "setting = value\n"
        "\n"
        ".\n");
}

CHECK(subscribe_overwrite) {
    RunScriptOnFreshServer(
        "merge\n"
        "[Group1]\n"
        "setting=value\n"
        "[Group2]\n"
        "setting=value\n"
        ".\n"
        "subscribe\n"
        "Group1\n"
        "Group2\n"
        ".\n"
        "overwrite\n"
        "*\n"
        ".\n"
        "[Group2]\n"
        "setting=value\n"
        ".\n",
        // replies
        "async change\n"
        "Group1\n"
        "Group2\n"
        ".\n"
        "[Group2]\n"
        "setting = value\n"
        "\n"
        ".\n");
}

CHECK(subscribe_change_some) {
    RunScriptOnFreshServer(
        "merge\n"
        "[group]\n"
        "setting1=value\n"
        ".\n"
        "subscribe\n"
        "group\n"
        ".\n"
        "merge\n"
        "[group]\n"
        "setting2=newvalue\n"
        ".\n",
        // replies
        "async change\n"
        "group\n"
        ".\n"
        "[group]\n"
        "setting1 = value\n"
        "setting2 = newvalue\n"
        "\n"
        ".\n");
}

CHECK(get_settings) {
    RunScriptOnFreshServer(
        "merge\n"
        "[Section1]\n"
        "one=1\n"
        "\n"
        "[Section2]\n"
        "two=2\n"
        "\n"
        ".\n"
        "get\n"
        "Section1\n"
        ".\n",
        // replies
        "[Section1]\n"
        "one = 1\n"
        "\n");
}

CHECK(get_delimited) {
    RunScriptOnFreshServer(
        "merge\n"
        "[Section1]\n"
        "one=1\n"
        "\n"
        "[Section2]\n"
        "two=2\n"
        "\n"
        ".\n"
        "get delimited\n"
        "Section1\n"
        ".\n",
        // replies
        "data\n"
        "[Section1]\n"
        "one = 1\n"
        "\n"
        ".\n");
}

CHECK(serialize_phparray) {
    RunScriptOnFreshServer(
        "merge\n"
        "[Section1]\n"
        "one=1\n"
        "two=2\n"
        "\n"
        "[Section2]\n"
        "two=2\n"
        "\n"
        ".\n"
        "serialize phparray\n"
        "get\n"
        "Section1\n"
        ".\n",
        // replies
        "a:1:{s:8:\"Section1\";a:2:{s:3:\"one\";s:1:\"1\";s:3:\"two\";s:1:\"2\";}}\n"
        "\n");
}

CHECK(merge_phparray) {
    RunScriptOnFreshServer(
        "serialize phparray\n"
        "merge\n"
        "a:1:{s:8:\"Section1\";a:2:{s:3:\"one\";s:1:\"1\";s:3:\"two\";s:1:\"2\";}}\n"
        "serialize ini\n"
        "get\n"
        "Section1\n"
        ".\n",
        // replies
        "[Section1]\n"
        "one = 1\n"
        "two = 2\n"
        "\n");
}

CHECK(callback_phparray) {
    RunScriptOnFreshServer(
        "serialize phparray\n"
        "subscribe\n"
        "Section1\n"
        ".\n"
        "merge\n"
        "a:1:{s:8:\"Section1\";a:2:{s:3:\"one\";s:1:\"1\";s:3:\"two\";s:1:\"2\";}}\n",
        // replies
        "async change\n"
        "Section1\n"
        ".\n"
        "a:1:{s:8:\"Section1\";a:2:{s:3:\"one\";s:1:\"1\";s:3:\"two\";s:1:\"2\";}}\n"
        "\n"
        ".\n");
}

CHECK(client_restore_defaults) {
    TestUtil::MemoryPersister persister;
    persister._defaults["group"]["val"] = "abcd";
    persister._defaults["group2"]["val"] = "abcdefg";
    SettingsManager settingsManager(&persister, nullptr, nullptr, false);
    SerializationManager serializationManager;
    ServerEnv env = {&settingsManager, &serializationManager};

    RunClientHandlerScript(&env,
                           "merge\n"
                           "[group]\n"
                           "val = xyz\n"
                           "val2 = ghi\n"
                           "[group2]\n"
                           "val = banana\n"
                           ".\n"
                           "restore\n"
                           "group\n"
                           ".\n"
                           "get\n"
                           "*\n"
                           ".\n",
                           // replies
                           "[group]\n"
                           "val = abcd\n"
                           "\n"
                           "[group2]\n"
                           "val = banana\n"
                           "\n");
}

CHECK(test_and_set_success) {
    TestUtil::MemoryPersister persister;
    persister._defaults["group"]["val"] = "abcd";
    persister._defaults["group2"]["val"] = "abcdefg";
    SettingsManager settingsManager(&persister, nullptr, nullptr, false);
    SerializationManager serializationManager;
    ServerEnv env = {&settingsManager, &serializationManager};

    RunClientHandlerScript(&env,
                           "test-and-merge\n"
                           "[group]\n"
                           "val = abcd\n"
                           ".\n"
                           "[group]\n"
                           "val = efgh\n"
                           ".\n",
                           // replies
                           "result\n"
                           "ok\n");
    check_equal("efgh", persister._settings["group"]["val"]);
}

const TestCase kAll = {
    "all",
    {
        subscribe_selfmerge,
        subscribe_overwrite,
        subscribe_change_some,
        get_settings,
        get_delimited,
        serialize_phparray,
        merge_phparray,
        callback_phparray,
        client_restore_defaults,
        test_and_set_success,
    },
};

}  // namespace

Suite* ClientHandlerTests() {
    return BuildSuite("ClientHandlerTests", {kAll});
}

}  // namespace zumra::tests
