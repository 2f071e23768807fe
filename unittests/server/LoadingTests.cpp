#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/LoadPriorityIncludeFilter.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::Document;

/// What is left of a document that passed through the filter.
core::IniFile Filtered(LoadPriorityIncludeFilter& filter, const std::string& text) {
    core::IniFile document = Document(text);
    filter.Filter(document, "test.ini");
    return document;
}

std::string Declaring(const std::string& priority) {
    return "[ZumraSettings/LoadPriority]\ng=" + priority + "\n[g]\nx=" + priority + "\n";
}

bool Passes(LoadPriorityIncludeFilter& filter, const std::string& priority) {
    const core::IniFile left = Filtered(filter, Declaring(priority));
    EXPECT_FALSE(left.HasGroup("ZumraSettings/LoadPriority"));
    return left.HasGroup("g");
}

TEST(LoadPriorityIncludeFilterTest, DocumentThatDeclaresNothingPassesWhole) {
    LoadPriorityIncludeFilter filter;
    EXPECT_EQ(Filtered(filter, "[a]\nx=1\n[b]\n"), Document("[a]\nx=1\n[b]\n"));
    EXPECT_EQ(Filtered(filter, "[a]\nx=2\n"), Document("[a]\nx=2\n")) << "of equals the later one wins";
}

TEST(LoadPriorityIncludeFilterTest, LowerIsRemovedEqualAndHigherPass) {
    LoadPriorityIncludeFilter filter;
    EXPECT_TRUE(Passes(filter, "10"));
    EXPECT_FALSE(Passes(filter, "9"));
    EXPECT_TRUE(Passes(filter, "10"));
    EXPECT_TRUE(Passes(filter, "11"));
    EXPECT_FALSE(Passes(filter, "10"));
    EXPECT_EQ(Filtered(filter, "[g]\nx=1\n[other]\nx=1\n"), Document("[other]\nx=1\n"));
}

TEST(LoadPriorityIncludeFilterTest, NegativeYieldsToWhatDeclaresNothing) {
    LoadPriorityIncludeFilter filter;
    EXPECT_TRUE(Passes(filter, "-5"));
    EXPECT_FALSE(Passes(filter, "-6"));
    EXPECT_EQ(Filtered(filter, "[g]\nx=undeclared\n"), Document("[g]\nx=undeclared\n"));
    EXPECT_FALSE(Passes(filter, "-5"));
    EXPECT_TRUE(Passes(filter, "0"));
    EXPECT_TRUE(Passes(filter, "9223372036854775807"));
    EXPECT_FALSE(Passes(filter, "-9223372036854775808"));
}

TEST(LoadPriorityIncludeFilterTest, PriorityOfAnAbsentGroupMeansNothing) {
    LoadPriorityIncludeFilter filter;
    Filtered(filter, "[ZumraSettings/LoadPriority]\ng=10\nZumraSettings/LoadPriority=3\n[a]\n");
    EXPECT_EQ(Filtered(filter, "[g]\n[a]\n"), Document("[g]\n[a]\n"));
}

TEST(LoadPriorityIncludeFilterTest, ResetForgets) {
    LoadPriorityIncludeFilter filter;
    EXPECT_TRUE(Passes(filter, "10"));
    filter.Reset();
    EXPECT_TRUE(Passes(filter, "3"));
}

TEST(LoadPriorityIncludeFilterTest, TextThatIsNoIntegerIsAnErrorAndChangesNothing) {
    for (const char* text : {"", "ten", "1x", "1 0", "0x10", "1.5", "+5", "--1", "9223372036854775808"}) {
        LoadPriorityIncludeFilter filter;
        core::IniFile document = Document("[a]\nx=1\n[g]\nx=1\n");
        document["ZumraSettings/LoadPriority"]["a"] = "7";
        document["ZumraSettings/LoadPriority"]["g"] = text;
        const core::IniFile before = document;
        try {
            filter.Filter(document, "/etc/zumra/10-net.ini");
            ADD_FAILURE() << "accepted '" << text << "'";
        } catch (const osa::Exception& error) {
            EXPECT_EQ(error.what(), std::string("/etc/zumra/10-net.ini: load priority line 'g = ") + text +
                                        "': expected a decimal integer");
        }
        EXPECT_EQ(document, before);
        EXPECT_EQ(Filtered(filter, "[a]\n").size(), 1U) << "nothing was remembered of the good entry";
    }
    LoadPriorityIncludeFilter filter;
    core::IniFile document = Document(Declaring("x"));
    try {
        static_cast<IIncludeFilter&>(filter).Filter(document);
        ADD_FAILURE();
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "load priority line 'g = x': expected a decimal integer");
    }
}

TEST(LoadPriorityIncludeFilterTest, BlanksAroundTheNumberAreIgnored) {
    LoadPriorityIncludeFilter filter;
    core::IniFile document;
    document["ZumraSettings/LoadPriority"]["g"] = " \t10 ";
    document["g"];
    filter.Filter(document, "");
    EXPECT_FALSE(Passes(filter, "9"));
}

TEST(SettingsCombinerTest, LaterValuesReplaceEqualNamedOnes) {
    SettingsCombiner combiner;
    combiner.LoadFromIni(Document("[a]\nx=1\ny=1\n[b]\n"));
    combiner.LoadFromIni(Document("[a]\ny=2\nz=2\n"));
    combiner.LoadInclude(Document("[ZumraSettings/LoadPriority]\na=1\n[c]\n"), "s");
    EXPECT_EQ(combiner.Combined(),
              Document("[a]\nx=1\ny=2\nz=2\n[b]\n[c]\n[ZumraSettings/LoadPriority]\na=1\n"))
        << "without a filter everything is combined as it is";
    EXPECT_EQ(combiner.Take().size(), 4U);
    EXPECT_TRUE(combiner.Combined().empty());
}

TEST(SettingsCombinerTest, OnlyIncludesPassThroughTheFilter) {
    LoadPriorityIncludeFilter filter;
    SettingsCombiner combiner(&filter);
    combiner.LoadInclude(Document("[ZumraSettings/LoadPriority]\na=5\n[a]\nx=include\n"), "1.ini");
    combiner.LoadInclude(Document("[a]\nx=lower\n[b]\nx=1\n"), "2.ini");
    EXPECT_THROW(combiner.LoadInclude(Document("[ZumraSettings/LoadPriority]\na=?\n[c]\nx=1\n"), "3.ini"),
                 osa::Exception);
    EXPECT_EQ(combiner.Combined(), Document("[a]\nx=include\n[b]\nx=1\n"));
    combiner.LoadFromIni(Document("[a]\nx=direct\n"));
    EXPECT_EQ(combiner.Combined().GetValue("a", "x"), "direct");
}

/// Defaults and includes as a daemon has them.
class IncludingStorage : public testing::MemoryStorage {
public:
    void LoadDefaults(SettingsCombiner& combiner) override {
        combiner.LoadFromIni(defaults);
        for (const auto& [source, text] : includes) {
            combiner.LoadInclude(Document(text), source);
        }
    }

    std::vector<std::pair<std::string, std::string>> includes;
};

class ReloadTest : public ::testing::Test {
protected:
    ReloadTest() {
        storage.defaults = Document("[a]\nx=1\n");
        storage.includes = {{"1.ini", Declaring("10")}, {"2.ini", "[g]\nx=low\n[h]\nx=1\n"}};
        store = std::make_unique<SettingsManager>(&storage, &restrictions, &filter);
    }

    core::IniFile All() const {
        core::IniFile all;
        store->GetSettings(GroupNameMatcher("*"), all);
        return all;
    }

    IncludingStorage storage;
    LoadPriorityIncludeFilter filter;
    testing::FixedRestrictions restrictions;
    std::unique_ptr<SettingsManager> store;
};

TEST_F(ReloadTest, IncludesAreCombinedThroughTheFilter) {
    EXPECT_EQ(All(), Document("[a]\nx=1\n[g]\nx=10\n[h]\nx=1\n"));
    EXPECT_EQ(store->Revision(), 0U);
}

TEST_F(ReloadTest, SameSourcesChangeNothing) {
    testing::RecordingCallback subscriber;
    store->Subscribe(&subscriber, {"*"});
    EXPECT_EQ(store->Reload(), 0U);
    EXPECT_TRUE(subscriber.calls.empty());
    EXPECT_EQ(storage.saves, 0);
}

TEST_F(ReloadTest, LowerPrioritiesCountAnew) {
    storage.includes = {{"1.ini", Declaring("3")}};
    store->Reload();
    EXPECT_EQ(All(), Document("[a]\nx=1\n[g]\nx=3\n"));
}

TEST_F(ReloadTest, OnlyWhatReallyChangesIsReported) {
    store->SetValue("a", "x", "mine");
    testing::RecordingCallback subscriber;
    store->Subscribe(&subscriber, {"*"});
    storage.defaults = Document("[a]\nx=2\n[new]\nx=1\n");
    EXPECT_EQ(store->Reload(), 2U);
    ASSERT_EQ(subscriber.calls.size(), 1U);
    EXPECT_EQ(subscriber.calls[0].groups, std::set<std::string>{"new"});
    storage.defaults = Document("[a]\nx=3\n[new]\nx=1\n");
    EXPECT_EQ(store->Reload(), 3U) << "the defaults are others";
    EXPECT_EQ(subscriber.calls.size(), 1U);
    store->RestoreToDefaults(GroupNameMatcher("a"));
    EXPECT_EQ(store->GetValue("a", "x"), "3");
}

TEST_F(ReloadTest, FailedLoadLeavesEverythingAsItWas) {
    const core::IniFile before = All();
    storage.defaults = Document("[other]\n");
    storage.includes = {{"bad.ini", Declaring("high")}};
    EXPECT_THROW(store->Reload(), osa::Exception);
    EXPECT_EQ(All(), before);
    EXPECT_EQ(store->Revision(), 0U);
    store->EraseGroups(GroupNameMatcher("a"));
    store->RestoreToDefaults(GroupNameMatcher("*"));
    EXPECT_EQ(All(), before);
}

TEST_F(ReloadTest, RestrictionsAreLoadedAnew) {
    Identity who;
    who.uid = 7;
    EXPECT_TRUE(store->MayWrite("a", &who));
    restrictions.groups.rules.push_back({GroupNameMatcher("a"), {true, {}, {}}, {}});
    EXPECT_TRUE(store->MayWrite("a", &who));
    store->Reload();
    EXPECT_FALSE(store->MayWrite("a", &who));
    EXPECT_TRUE(store->MayRead("a", &who));
    EXPECT_EQ(store->Revision(), 0U);
}

/// Sees whether two threads load from it at the same time.
class OneAtATime : public testing::MemoryStorage {
public:
    void LoadDefaults(SettingsCombiner& combiner) override {
        overlapped = overlapped || inside.exchange(true);
        for (int i = 0; i < 2000 && !overlapped; ++i) {
            std::this_thread::yield();
        }
        testing::MemoryStorage::LoadDefaults(combiner);
        inside = false;
    }

    std::atomic<bool> inside{false};
    std::atomic<bool> overlapped{false};
};

TEST(ReloadThreadsTest, SourcesAreLoadedByOneThreadAtATime) {
    OneAtATime storage;
    LoadPriorityIncludeFilter filter;
    SettingsManager store(&storage, nullptr, &filter);
    const auto reload = [&store] {
        for (int i = 0; i < 20; ++i) {
            store.Reload();
        }
    };
    std::thread other(reload);
    reload();
    other.join();
    EXPECT_FALSE(storage.overlapped);
}

TEST(ReloadWithoutPersisterTest, KeepsTheGroupsAndLoadsRestrictions) {
    testing::FixedRestrictions restrictions;
    SettingsManager store(nullptr, &restrictions);
    store.SetValue("a", "x", "1");
    restrictions.groups.rules.push_back({GroupNameMatcher("a"), {}, {}});
    EXPECT_EQ(store.Reload(), 1U);
    EXPECT_EQ(store.GetValue("a", "x"), "1");
    const Identity who;
    EXPECT_EQ(store.GetValue("a", "x", &who), std::nullopt);
}

}  // namespace
}  // namespace zumra::settings::server
