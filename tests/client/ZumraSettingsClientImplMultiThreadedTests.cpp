#include "Documents.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::ZumraSettingsClient;

namespace {

CHECK(mergeAndGet) {
    ClientOfCheck client(ZumraSettingsClient::kLocalMultiThreadedPipe);
    client.MergeSettings(
        MakeDocument({{"fruits", "peaches", "tasty"}, {"fruits", "pomegranates", "difficult"}}));
    mark_point();

    IniFile ini;
    client.GetSettings("*", ini);
    check_equal("tasty", ini["fruits"]["peaches"]);
    check_equal("difficult", ini["fruits"]["pomegranates"]);
}

const TestCase kAll = {
    "all",
    {
        mergeAndGet,
    },
};

}  // namespace

Suite* ZumraSettingsClientImplMultiThreadedTests() {
    return BuildSuite("ZumraSettingsClientImplMultiThreadedTests", {kAll});
}

}  // namespace zumra::tests
