#include "zumra/settings/server/LoadPriorityIncludeFilter.h"

#include <string>

#include "Documents.h"
#include "zumra/core/IniFile.h"

#include "CheckFrame.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::server::IIncludeFilter;
using settings::server::LoadPriorityIncludeFilter;

namespace {

// A document that declares `priority` for its one group.
IniFile DocumentWithPriority(int priority) {
    return LoadDocument(
        "[ZumraSettings/LoadPriority]\n"
        "Group/Subgroup = " +
        std::to_string(priority) +
        "\n"
        "[Group/Subgroup]\n"
        "SomeValue = 42\n");
}

const char* const kUndeclared =
    "[Group/Subgroup]\n"
    "SomeValue = 23\n"
    "SomeOtherValue = 42\n"
    "[OtherGroup]\n"
    "SomeValue = 19\n";

const char* const kPriority10 =
    "[ZumraSettings/LoadPriority]\n"
    "Group/Subgroup = 10\n"
    "[Group/Subgroup]\n"
    "SomeValue = 1729\n"
    "OtherValue = 23\n";

CHECK(lpif_filter) {
    LoadPriorityIncludeFilter priorityFilter;
    IIncludeFilter& filter = priorityFilter;
    {
        IniFile ini = DocumentWithPriority(10);
        filter.Filter(ini);
        fail_if(ini.HasGroup("ZumraSettings/LoadPriority"));
        check_equal("42", ini.GetValue("Group/Subgroup", "SomeValue"));
    }
    IniFile ini = LoadDocument(kUndeclared);
    filter.Filter(ini);
    fail_if(ini.HasGroup("Group/Subgroup"));
    check_equal("19", ini.GetValue("OtherGroup", "SomeValue"));
}

CHECK(lpif_filterPriority) {
    LoadPriorityIncludeFilter priorityFilter;
    IIncludeFilter& filter = priorityFilter;
    IniFile first = LoadDocument(kPriority10);
    filter.Filter(first);

    IniFile ini = DocumentWithPriority(20);
    filter.Filter(ini);
    fail_if(ini.HasGroup("ZumraSettings/LoadPriority"));
    check_equal("42", ini.GetValue("Group/Subgroup", "SomeValue"));
}

CHECK(lpif_filterPriority2) {
    LoadPriorityIncludeFilter priorityFilter;
    IIncludeFilter& filter = priorityFilter;
    IniFile first = LoadDocument(kPriority10);
    filter.Filter(first);
    {
        IniFile ini = DocumentWithPriority(3);
        filter.Filter(ini);
        fail_if(ini.HasGroup("ZumraSettings/LoadPriority"));
        fail_if(ini.HasGroup("Group/Subgroup"));
    }
    IniFile ini = DocumentWithPriority(7);
    filter.Filter(ini);
    fail_if(ini.HasGroup("ZumraSettings/LoadPriority"));
    fail_if(ini.HasGroup("Group/Subgroup"));
}

const TestCase kAll = {
    "all",
    {
        lpif_filter,
        lpif_filterPriority,
        lpif_filterPriority2,
    },
};

}  // namespace

Suite* LoadPriorityIncludeFilterTests() {
    return BuildSuite("LoadPriorityIncludeFilterTests", {kAll});
}

}  // namespace zumra::tests
