// Looking at a store, which may be in use, leaves it as it is.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <thread>
#include <tuple>
#include <utility>

#include "storage/FileCalls.h"
#include "storage/OpenStore.h"
#include "storage/SqliteStore.h"
#include "support/TemporaryDirectory.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {
namespace {

core::IniFile Document(int number, std::size_t padding = 5000) {
    core::IniFile document;
    for (int group = 0; group < 10; ++group) {
        document["group" + std::to_string(group)]["number"] = std::to_string(number);
        document["group" + std::to_string(group)]["padding"] =
            std::string(padding, static_cast<char>('a' + number % 26));
    }
    return document;
}

class LookAtStoreTest : public ::testing::TestWithParam<const char*> {
protected:
    [[nodiscard]] std::string Uri() const { return GetParam() + _path; }
    [[nodiscard]] core::IniFile Look() const { return LookAtStore(Uri())->Load(); }
    [[nodiscard]] std::unique_ptr<ISettingsStore> Open() const {
        return OpenStore(Uri(), [](const std::string& warning) { ADD_FAILURE() << warning; });
    }
    [[nodiscard]] std::string ReasonOfLooking() const {
        try {
            (void)Look();
        } catch (const osa::Exception& error) {
            return error.what();
        }
        return "no exception";
    }
    /// Everything in the folder, with what it holds and when it was changed.
    [[nodiscard]] auto Files() const {
        std::map<std::string, std::tuple<ino_t, time_t, long, std::string>> files;
        for (const auto& entry : std::filesystem::directory_iterator(_directory.Path())) {
            struct stat status {};
            EXPECT_EQ(0, ::stat(entry.path().c_str(), &status));
            std::ifstream file(entry.path(), std::ios::binary);
            files[entry.path()] = {status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec,
                                   std::string(std::istreambuf_iterator<char>(file), {})};
        }
        return files;
    }

    test::TemporaryDirectory _directory;
    const std::string _path = _directory.File("settings");
};

TEST_P(LookAtStoreTest, MakesNothing) {
    EXPECT_TRUE(Look().empty());
    EXPECT_TRUE(Files().empty());
}

TEST_P(LookAtStoreTest, SeesWhatIsSavedWhileTheStoreIsOpen) {
    const auto store = Open();
    for (int number = 0; number < 3; ++number) {
        store->Save(Document(number));
        const auto before = Files();
        EXPECT_EQ(Document(number), Look());
        EXPECT_EQ(before, Files());
    }
}

TEST_P(LookAtStoreTest, ChangesNothingOfAStoreThatWasClosed) {
    Open()->Save(Document(1));
    const auto before = Files();
    EXPECT_EQ(Document(1), Look());
    EXPECT_EQ(before, Files());
}

TEST_P(LookAtStoreTest, SeesWhatAKilledProcessSaved) {
    Open()->Save(Document(1));
    const pid_t child = ::fork();
    if (child == 0) {
        const auto store = Open();
        store->Save(Document(2));
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const auto before = Files();
    EXPECT_EQ(Document(2), Look());
    EXPECT_EQ(before, Files());
    EXPECT_EQ(Document(2), Open()->Load());
}

TEST_P(LookAtStoreTest, SeesWholeDocumentsInTheirOrderWhileTheyAreSaved) {
    const auto store = Open();
    store->Save(Document(0));
    std::atomic<bool> enough{false};
    std::thread writer([&] {
        for (int number = 1; !enough; ++number) {
            store->Save(Document(number));
        }
    });
    int last = 0;
    int steps = 0;
    while (steps < 30) {
        const core::IniFile seen = Look();
        const int number = std::stoi(seen.GetValue("group0", "number"));
        EXPECT_EQ(Document(number), seen) << number;
        EXPECT_GE(number, last);
        steps += number > last ? 1 : 0;
        last = number;
    }
    enough = true;
    writer.join();
}

TEST_P(LookAtStoreTest, NamesWhatIsNoStore) {
    std::ofstream(_path) << std::string(5000, 'x');
    const auto before = Files();
    EXPECT_NE(std::string::npos, ReasonOfLooking().find("'" + _path + "'")) << ReasonOfLooking();
    EXPECT_EQ(before, Files());
}

INSTANTIATE_TEST_SUITE_P(Stores, LookAtStoreTest, ::testing::Values("ini:", "sqlite:"), [](const auto& test) {
    return std::string(test.param, std::string(test.param).size() - 1);
});

TEST(LookAtDatabaseTest, NamesADatabaseThatIsNotWhole) {
    const test::TemporaryDirectory directory;
    const std::string path = directory.File("settings");
    OpenStore("sqlite:" + path, {})->Save(Document(1));
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    SystemFileCalls calls;
    EXPECT_THROW((void)LookAtDatabase(calls, path), osa::Exception);
}

/// Somebody does something to the files at the n-th time that a file is opened, or is read first.
class BusyFiles : public SystemFileCalls {
public:
    BusyFiles(int at, std::function<void()> work) : _at(at), _work(std::move(work)) {}
    int Open(const char* path, int flags, mode_t mode) override {
        Count();
        _opened = true;
        return SystemFileCalls::Open(path, flags, mode);
    }
    ssize_t Read(int fd, void* buffer, std::size_t size) override {
        const ssize_t got = SystemFileCalls::Read(fd, buffer, size);
        if (std::exchange(_opened, false)) {
            Count();
        }
        return got;
    }
    [[nodiscard]] bool WasBusy() const { return _at < 0; }

private:
    void Count() {
        if (_at-- == 0) {
            _work();
        }
    }

    int _at;
    std::function<void()> _work;
    bool _opened = false;
};

class BusyDatabaseTest : public ::testing::TestWithParam<bool> {
protected:
    /// Changes one group.
    void SaveSmall() {
        _document["first"]["number"] = std::to_string(++_number);
        Save();
    }
    /// Changes that and others, so much that the log is written back into the database at once, and begun
    /// anew by the next save.
    void SaveBig() {
        _document.MergeSettings(Document(++_number, 500000));
        _document["first"]["number"] = std::to_string(_number);
        Save();
    }
    void Save() {
        _store->Save(_document);
        _saved.emplace(_document.GetValue("first", "number"), _document);
    }

    test::TemporaryDirectory _directory;
    const std::string _path = _directory.File("settings");
    const std::unique_ptr<ISettingsStore> _store = OpenStore("sqlite:" + _path, {});
    core::IniFile _document;
    int _number = 0;
    std::map<std::string, core::IniFile> _saved;  ///< by the number of its first group
};

TEST_P(BusyDatabaseTest, IsSeenAsItWasAtOneMoment) {
    int call = 0;
    for (bool busy = true; busy; ++call) {
        SaveBig();
        _saved.clear();
        SaveSmall();
        BusyFiles files(call, [this] {
            SaveBig();
            if (GetParam()) {
                SaveSmall();
            }
        });
        const core::IniFile seen = LookAtDatabase(files, _path);
        const auto saved = _saved.find(seen.GetValue("first", "number"));
        ASSERT_NE(_saved.end(), saved) << "at call " << call;
        EXPECT_TRUE(saved->second == seen) << "at call " << call;
        busy = files.WasBusy();
    }
    EXPECT_GE(call, 9);
}

INSTANTIATE_TEST_SUITE_P(Logs, BusyDatabaseTest, ::testing::Bool(), [](const auto& test) {
    return test.param ? std::string("begunAnew") : std::string("writtenBack");
});

TEST(LookAtDatabaseTest, GivesUpOnOneThatNeverRests) {
    const test::TemporaryDirectory directory;
    const std::string path = directory.File("settings");
    OpenStore("sqlite:" + path, {})->Save(Document(1));
    // Every reading of the database finds another one.
    class Restless : public SystemFileCalls {
    public:
        explicit Restless(std::string database) : path(std::move(database)) {}
        int Open(const char* file, int flags, mode_t mode) override {
            if (path == file) {
                std::ofstream(file, std::ios::app) << 'x';
            }
            return SystemFileCalls::Open(file, flags, mode);
        }

    private:
        const std::string path;
    } files(path);
    try {
        (void)LookAtDatabase(files, path);
        ADD_FAILURE() << "no exception";
    } catch (const osa::Exception& error) {
        EXPECT_EQ("cannot use settings database '" + path + "': it changes while it is read",
                  std::string(error.what()));
    }
}

}  // namespace
}  // namespace zumra::storage
