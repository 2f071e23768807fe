#include "zumra-settings/Verbs.h"

namespace zumra::cli {

const std::vector<Verb>& AllVerbs() {
    static const std::vector<Verb> verbs{
        {"get", "Show values, groups or patterns", "zumra-settings get '[Server]Port' 'Alarm/*'", AddGet,
         Words::kAny, true},
        {"set", "Set values", "zumra-settings set '[Server]Port' 8080", AddSet, Words::kSettings},
        {"unset", "Remove values", "zumra-settings unset '[Server]Port'", AddUnset, Words::kLocators},
        {"list", "List the names of groups", "zumra-settings list --prefixes Resources/", AddList,
         Words::kStart, true},
        {"merge", "Add a document's groups and values", "zumra-settings merge new.ini", AddMerge,
         Words::kFile},
        {"overwrite", "Put a document in place of groups",
         "zumra-settings overwrite 'Alarm/*' --from alarms.ini", AddOverwrite, Words::kGroups},
        {"erase", "Remove groups", "zumra-settings erase 'Alarm/*'", AddErase, Words::kGroups},
        {"restore", "Put groups back to their defaults", "zumra-settings restore Server", AddRestore,
         Words::kGroups},
        {"test-and-merge", "Merge only if the settings are as expected",
         "zumra-settings test-and-merge --expect old.ini --merge new.ini", AddTestAndMerge},
        {"watch", "Show changes as they come",
         "zumra-settings watch 'Alarm/*' --exec 'systemctl reload alarms'", AddWatch, Words::kGroups, true,
         "nobody else changes a store that this process has for itself"},
        {"export", "Write all settings, or some groups", "zumra-settings export > all.ini", AddExport,
         Words::kGroups, true},
        {"import", "Read settings that were exported", "zumra-settings import --dry-run all.ini", AddImport,
         Words::kFile},
        {"edit", "Change settings in an editor", "zumra-settings edit Server 'Alarm/*'", AddEdit,
         Words::kGroups},
        {"diff", "Show how settings differ from the defaults", "zumra-settings diff", AddDiff, Words::kGroups,
         true},
        {"resources", "Show who uses how much of each resource", "zumra-settings resources", AddResources,
         Words::kResource, true},
        {"reserve", "Set how much of a resource a consumer uses", "zumra-settings reserve DSP Analytics 20%",
         AddReserve, Words::kReservation},
        {"stats", "Show what the server is doing", "zumra-settings stats", AddStats, Words::kNone, true,
         "it is the server that counts"},
        {"clients", "Show who is connected", "zumra-settings clients", AddClients, Words::kNone, true,
         "nobody connects to a store"},
        {"ping", "See whether the server answers", "zumra-settings ping --count 3", AddPing, Words::kNone,
         true, "there is none to answer"},
        {"flush", "Wait until everything is saved", "zumra-settings flush", AddFlush, Words::kNone, true},
    };
    return verbs;
}

const Verb* FindVerb(const std::string& name) {
    for (const Verb& verb : AllVerbs()) {
        if (name == verb.name) {
            return &verb;
        }
    }
    return nullptr;
}

}  // namespace zumra::cli
