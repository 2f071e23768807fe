#include "storage/IniFileStore.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "storage/FakeFiles.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {
namespace {

const std::string kPath = "/state/settings.ini";

core::IniFile Document(const std::string& text) {
    core::IniFile document;
    document["group"]["value"] = text;
    document["lines"]["hostile"] = text + "\n[Other]\n# end\n";
    document["empty"];
    return document;
}

class IniFileStoreTest : public ::testing::Test {
protected:
    [[nodiscard]] IniFileStore Store() {
        return IniFileStore(_files, kPath, [this](const std::string& text) { _warnings.push_back(text); });
    }

    /// Calls that one save makes, given what the files are now.
    [[nodiscard]] static std::size_t CountCalls(FakeFiles files, const core::IniFile& document) {
        const std::size_t before = files.Calls();
        IniFileStore(files, kPath, [](const std::string&) {}).Save(document);
        return files.Calls() - before;
    }

    FakeFiles _files;
    std::vector<std::string> _warnings;
    const core::IniFile _old = Document("old");
    const core::IniFile _older = Document("older");
    const core::IniFile _new = Document("new");
};

TEST_F(IniFileStoreTest, StartsEmptyWithoutAFile) {
    EXPECT_EQ(core::IniFile(), Store().Load());
    EXPECT_TRUE(_warnings.empty());
}

TEST_F(IniFileStoreTest, GivesBackWhatWasSaved) {
    Store().Save(_old);
    EXPECT_EQ(_old, Store().Load());
    EXPECT_EQ(0u, _files.OpenDescriptors());
    EXPECT_FALSE(_files.Exists(kPath + ".new"));
}

TEST_F(IniFileStoreTest, KeepsThePreviousFile) {
    Store().Save(_old);
    const std::string saved = _files.Get(kPath);
    Store().Save(_new);
    EXPECT_EQ(saved, _files.Get(kPath + ".previous"));
    EXPECT_EQ(_new, Store().Load());
}

TEST_F(IniFileStoreTest, WritesInPieces) {
    _files.WriteAtMost(7);
    Store().Save(_old);
    EXPECT_EQ(_old, Store().Load());
}

TEST_F(IniFileStoreTest, IsAFileThatAPersonCanEdit) {
    Store().Save(_old);
    std::string text = _files.Get(kPath);
    EXPECT_EQ(0u, text.find("# zumra settings 1\n[empty]\n\n[group]\nvalue = old\n"));
    _files.Put(kPath, text + "\r\n\n");
    EXPECT_EQ(_old, Store().Load());
}

TEST_F(IniFileStoreTest, EveryTruncationFallsBackToThePreviousFile) {
    Store().Save(_old);
    Store().Save(_new);
    const std::string whole = _files.Get(kPath);
    for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
        _files.Put(kPath, whole.substr(0, size));
        _warnings.clear();
        EXPECT_EQ(_old, Store().Load()) << size;
        EXPECT_EQ(2u, _warnings.size());
        EXPECT_EQ(whole.substr(0, size), _files.Get(kPath + ".broken"));
    }
}

TEST_F(IniFileStoreTest, AnyCallOfALoadThatFallsBackMayFailOnce) {
    Store().Save(_old);
    Store().Save(_new);
    const FakeFiles whole = _files;
    std::size_t thrown = 0;
    for (std::size_t call = 0;; ++call) {
        _files = whole;
        _files.Put(kPath, "half of a fi");
        const std::size_t before = _files.Calls();
        _files.FailAt(call, EIO);
        try {
            EXPECT_EQ(_old, Store().Load()) << call;
            EXPECT_TRUE(_files.Exists(kPath + ".broken")) << call;
        } catch (const osa::Exception& error) {
            ++thrown;
            EXPECT_NE(nullptr, std::strstr(error.what(), "Input/output error")) << error.what();
        }
        EXPECT_EQ(0U, _files.OpenDescriptors());
        const bool failed = _files.Calls() > before + call;
        _files.Disarm();
        EXPECT_EQ(_old, Store().Load()) << call;
        EXPECT_EQ("half of a fi", _files.Get(kPath + ".broken"));
        if (!failed) {
            break;
        }
    }
    EXPECT_LT(3U, thrown);
}

TEST_F(IniFileStoreTest, RefusesToStartEmptyWhenNothingCanBeRead) {
    _files.Put(kPath, "# zumra settings 1\nnonsense\n# end\n");
    try {
        (void)Store().Load();
        FAIL() << "no exception";
    } catch (const osa::Exception& error) {
        EXPECT_NE(nullptr, std::strstr(error.what(), "nonsense")) << error.what();
        EXPECT_NE(nullptr, std::strstr(error.what(), "no previous settings")) << error.what();
    }
    _files.Put(kPath + ".previous", "also nonsense");
    EXPECT_THROW((void)Store().Load(), osa::Exception);
    EXPECT_TRUE(_files.Exists(kPath));
}

TEST_F(IniFileStoreTest, UsesThePreviousFileWhenThereIsOnlyThat) {
    Store().Save(_old);
    _files.Put(kPath + ".previous", _files.Get(kPath));
    ASSERT_EQ(0, _files.Unlink(kPath.c_str()));
    EXPECT_EQ(_old, Store().Load());
    EXPECT_EQ(1u, _warnings.size());
}

struct Start {
    const char* name;
    int saves;
    bool hardLinks;
};

class IniFileStoreFaultTest : public IniFileStoreTest, public ::testing::WithParamInterface<Start> {
protected:
    void SetUp() override {
        if (!GetParam().hardLinks) {
            _files.NoHardLinks();
        }
        if (GetParam().saves > 1) {
            Store().Save(_older);
        }
        if (GetParam().saves > 0) {
            Store().Save(_old);
        }
    }
    [[nodiscard]] core::IniFile Before() const { return GetParam().saves > 0 ? _old : core::IniFile(); }
};

TEST_P(IniFileStoreFaultTest, EveryCallFailsOnceWithEveryError) {
    const std::size_t calls = CountCalls(_files, _new);
    ASSERT_GE(calls, 8u);
    const FakeFiles start = _files;
    for (std::size_t call = 0; call < calls; ++call) {
        for (int error : {ENOSPC, EIO, EROFS, EDQUOT, EACCES, EMFILE, EINTR, ENOMEM}) {
            SCOPED_TRACE("call " + std::to_string(call) + " fails with " + std::strerror(error));
            _files = start;
            _files.FailAt(call, error);
            bool saved = true;
            try {
                Store().Save(_new);
            } catch (const osa::Exception& failure) {
                saved = false;
                EXPECT_NE(nullptr, std::strstr(failure.what(), "/state/")) << failure.what();
            }
            EXPECT_EQ(0u, _files.OpenDescriptors());
            EXPECT_FALSE(_files.Exists(kPath + ".new"));
            _files.Disarm();
            const core::IniFile found = Store().Load();
            EXPECT_TRUE(found == _new || (!saved && found == Before()));
            Store().Save(_new);
            EXPECT_EQ(_new, Store().Load());
        }
    }
}

TEST_P(IniFileStoreFaultTest, ThePowerFailsAtEveryCall) {
    const std::size_t calls = CountCalls(_files, _new);
    const FakeFiles start = _files;
    std::size_t tried = 0;
    for (std::size_t call = 0; call <= calls; ++call) {
        for (auto data : {FakeFiles::Luck::kSyncedOnly, FakeFiles::Luck::kHalf, FakeFiles::Luck::kAll}) {
            for (std::size_t names = 0;; ++names) {
                // Inodes are shared between copies: start from files of our own.
                FakeFiles files;
                _files = files;
                SetUp();
                _files.CutAt(call);
                bool saved = false;
                try {
                    Store().Save(_new);
                    saved = true;
                } catch (const PowerCut&) {
                }
                const std::size_t changes = _files.UnsyncedNameChanges();
                if (names > changes) {
                    break;
                }
                ++tried;
                SCOPED_TRACE("cut at call " + std::to_string(call) + " with " + std::to_string(names) +
                             " name changes");
                _files.Reboot({names, data});
                const core::IniFile found = Store().Load();
                EXPECT_EQ(saved, call == calls);
                EXPECT_TRUE(found == _new || (!saved && found == Before()));
                Store().Save(_new);
                EXPECT_EQ(_new, Store().Load());
            }
        }
    }
    EXPECT_GT(tried, 3 * calls);
}

INSTANTIATE_TEST_SUITE_P(Starts, IniFileStoreFaultTest,
                         ::testing::Values(Start{"first", 0, true}, Start{"second", 1, true},
                                           Start{"third", 2, true}, Start{"firstWithoutLinks", 0, false},
                                           Start{"secondWithoutLinks", 1, false},
                                           Start{"thirdWithoutLinks", 2, false}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace zumra::storage
