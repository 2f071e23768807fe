// A database that has lost its end, as after a disk's failure: it is refused, not taken for a smaller one.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "storage/OpenStore.h"
#include "support/TemporaryDirectory.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {
namespace {

constexpr std::size_t kPage = 4096;

core::IniFile Load(const std::string& path) {
    return OpenStore("sqlite:" + path, [](const std::string& warning) { ADD_FAILURE() << warning; })->Load();
}

std::string Whole(const std::string& path) {
    core::IniFile document;
    for (int group = 0; group < 40; ++group) {
        document["group" + std::to_string(group)]["value"] = std::string(1000, 'v');
    }
    OpenStore("sqlite:" + path, [](const std::string&) {})->Save(document);
    EXPECT_EQ(document, Load(path));
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(CutDatabaseTest, IsNotTakenForASmallerOne) {
    const test::TemporaryDirectory directory;
    const std::string whole = Whole(directory.File("whole"));
    ASSERT_EQ(0u, whole.size() % kPage);
    ASSERT_GE(whole.size(), 8 * kPage);
    const std::string cut = directory.File("cut");
    for (std::size_t size = kPage; size < whole.size(); size += kPage) {
        directory.Write("cut", whole.substr(0, size));
        try {
            const core::IniFile found = Load(cut);
            ADD_FAILURE() << found.size() << " groups in " << size << " bytes";
        } catch (const osa::Exception& error) {
            EXPECT_NE(std::string::npos, std::string(error.what()).find("'" + cut + "'")) << error.what();
        }
        EXPECT_EQ(size, std::filesystem::file_size(cut)) << "it is left as it was";
    }
    for (const std::size_t size : {16U, 100U, 512U}) {
        directory.Write("cut", whole.substr(0, size));
        EXPECT_THROW((void)Load(cut), osa::Exception) << size;
    }
}

}  // namespace
}  // namespace zumra::storage
