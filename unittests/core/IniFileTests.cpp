#include "zumra/core/IniFile.h"

#include <gtest/gtest.h>

namespace zumra::core {
namespace {

TEST(IniFile, WritesGroupsAndValuesInOrder) {
    IniFile document;
    document["b"]["two"] = "2";
    document["b"]["one"] = "1";
    document["a"];
    EXPECT_EQ("[a]\n\n[b]\none = 1\ntwo = 2\n\n", document.SaveToString());
}

}  // namespace
}  // namespace zumra::core
