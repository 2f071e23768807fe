#include "zumra-settings/Verbs.h"

namespace zumra::cli {

const std::vector<Verb>& AllVerbs() {
    static const std::vector<Verb> verbs{
        {"get", "Show values, groups or patterns", "zumra-settings get '[Server]Port' 'Alarm/*'", AddGet},
        {"set", "Set values", "zumra-settings set '[Server]Port' 8080", AddSet},
        {"unset", "Remove values", "zumra-settings unset '[Server]Port'", AddUnset},
        {"list", "List the names of groups", "zumra-settings list --prefixes Resources/", AddList},
        {"merge", "Add a document's groups and values", "zumra-settings merge new.ini", AddMerge},
        {"overwrite", "Put a document in place of groups",
         "zumra-settings overwrite 'Alarm/*' --from alarms.ini", AddOverwrite},
        {"erase", "Remove groups", "zumra-settings erase 'Alarm/*'", AddErase},
        {"restore", "Put groups back to their defaults", "zumra-settings restore Server", AddRestore},
        {"test-and-merge", "Merge only if the settings are as expected",
         "zumra-settings test-and-merge --expect old.ini --merge new.ini", AddTestAndMerge},
        {"watch", "Show changes as they come",
         "zumra-settings watch 'Alarm/*' --exec 'systemctl reload alarms'", AddWatch},
        {"export", "Write all settings, or some groups", "zumra-settings export > all.ini", AddExport},
        {"import", "Read settings that were exported", "zumra-settings import --dry-run all.ini", AddImport},
        {"diff", "Show how settings differ from the defaults", "zumra-settings diff", AddDiff},
        {"resources", "Show who uses how much of each resource", "zumra-settings resources", AddResources},
        {"reserve", "Set how much of a resource a consumer uses", "zumra-settings reserve DSP Analytics 20%",
         AddReserve},
        {"stats", "Show what the server is doing", "zumra-settings stats", AddStats},
        {"clients", "Show who is connected", "zumra-settings clients", AddClients},
        {"ping", "See whether the server answers", "zumra-settings ping --count 3", AddPing},
        {"flush", "Wait until everything is saved", "zumra-settings flush", AddFlush},
    };
    return verbs;
}

}  // namespace zumra::cli
