#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "client/Exchanges.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using Strings = std::set<std::string>;
using test::Document;

/// Every call that was made of it, as text.
class RecordingCallback final : public IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& changedGroups, const core::IniFile& data) override {
        _text += "changed";
        for (const std::string& group : changedGroups) {
            _text += " <" + group + ">";
        }
        _text += "\n" + data.SaveToString();
    }
    [[nodiscard]] const std::string& Text() const { return _text; }

private:
    std::string _text;
};

struct Step {
    const char* name;
    /// Returns what it read.
    std::function<std::string(Client&)> run;
};

constexpr const char* kNothing = "";

std::string Get(const Client& client, const Strings& patterns) {
    core::IniFile document = Document("[untouched]\nx=1\n");
    client.GetSettings(patterns, document);
    return document.SaveToString();
}

std::string Get(const Client& client, const std::string& pattern) {
    core::IniFile document = Document("[untouched]\nx=1\n[Camera/1]\nstale=1\n");
    client.GetSettings(pattern, document);
    return document.SaveToString();
}

std::string Refresh(const Client& client, const char* held) {
    core::IniFile document = Document(held);
    client.RefreshSettings(document);
    return document.SaveToString();
}

template <class Groups>
std::string Refresh(const Client& client, const Groups& groups, const char* held) {
    core::IniFile document = Document(held);
    client.RefreshSettings(groups, document);
    return document.SaveToString();
}

std::string Test(Client& client, const char* expected, const char* values) {
    Client::Difference why;
    const bool merged = client.TestAndMerge(Document(expected), Document(values), &why);
    return test::Tested(merged, why) +
           (client.TestAndMerge(Document(expected), Document("")) ? " holds" : " does not hold");
}

std::string TestExactly(Client& client, const Strings& groups, const char* expected, const char* values) {
    Client::Difference why;
    const bool merged = client.TestExactlyAndMerge(groups, Document(expected), Document(values), &why);
    return test::Tested(merged, why) + (client.TestExactlyAndMerge(groups, Document(expected), Document(""))
                                            ? " holds"
                                            : " does not hold");
}

std::string TestAndOverwrite(Client& client, const char* expected, const char* values) {
    Client::Difference why;
    const bool done =
        client.TestExactlyAndOverwrite({"Camera/*"}, Document(expected), Document(values), &why);
    return test::Tested(done, why) + Get(client, "*");
}

std::string Hostile(Client& client) {
    core::IniFile document;
    for (const char* name :
         {"", " ", ".", "*", "a*", "]", "\"", "a\nb", "\r", "=", "[x]", "#c", ";c", "\\n"}) {
        for (const char* value : {"", " v ", ".", "\n.\n", "\"q\"", "a\r", "\\", "sync\nget\n*\n.\n"}) {
            document[name][std::string(name) + value] = value;
        }
        client.SetValue(common::SettingLocator{name, name}.ToString(), name);
    }
    document["nul"][std::string("a\0b", 3)] = std::string("\0", 1);
    client.MergeSettings(document);
    std::string read = client.GetValue(common::SettingLocator{"a*", "a*"}.ToString());
    core::IniFile same = document;
    client.RefreshSettings(same);
    read += same == document ? "equal" : "merged with what was set";
    return read + Get(client, "*");
}

std::vector<Step> Readings() {
    return {
        {"get by name", [](Client& c) { return Get(c, "Camera/1"); }},
        {"get by pattern", [](Client& c) { return Get(c, "Camera/*"); }},
        {"get all", [](Client& c) { return Get(c, "*"); }},
        {"get by set",
         [](Client& c) {
             return Get(c, Strings{"Camera/2", "Al*", "Missing", "Missing*"});
         }},
        {"get by empty set", [](Client& c) { return Get(c, Strings{}); }},
        {"get by overlapping set",
         [](Client& c) {
             return Get(c, Strings{"Camera/1", "Cam*", "*"});
         }},
        {"refresh", [](Client& c) { return Refresh(c, "[Camera/1]\nold=1\n[Vanished]\nx=1\n[Alarm]\n"); }},
        {"refresh by name",
         [](Client& c) { return Refresh(c, Strings{"Camera/1"}, "[Camera/1]\nold=1\n[Alarm]\nold=1\n"); }},
        {"refresh by pattern",
         [](Client& c) {
             return Refresh(c, std::string("Camera/*"),
                            "[Camera/1]\nold=1\n[Camera/9]\nx=1\n[Camera*]\nx=1\n[Alarm]\n");
         }},
        {"refresh by set",
         [](Client& c) {
             return Refresh(c, Strings{"Al*", "Camera/2", "Vanished"},
                            "[Alarm]\n[Camera/1]\nold=1\n[Vanished]\nx=1\n");
         }},
        {"refresh by empty set", [](Client& c) { return Refresh(c, Strings{}, "[Alarm]\nold=1\n"); }},
        {"refresh nothing", [](Client& c) { return Refresh(c, ""); }},
        {"get value", [](Client& c) { return c.GetValue("[Camera/1]name"); }},
        {"get missing value", [](Client& c) { return c.GetValue("[Camera/1]missing"); }},
        {"find missing group", [](Client& c) { return c.FindValue("[Missing]x").value_or("none"); }},
        {"find empty value", [](Client& c) { return c.FindValue("[Alarm]empty").value_or("none"); }},
        {"get with bad locator", [](Client& c) { return c.GetValue("asdasdasdas"); }},
        {"find with bad locator", [](Client& c) { return c.FindValue("").value_or("none"); }},
    };
}

std::vector<Step> Changes() {
    return {
        {"merge",
         [](Client& c) { return c.MergeSettings(Document("[Alarm]\non=false\n[New]\n")), Get(c, "*"); }},
        {"merge nothing", [](Client& c) { return c.MergeSettings({}), Get(c, "*"); }},
        {"set value", [](Client& c) { return c.SetValue("[New/2]x", " 1 \n"), Get(c, "*"); }},
        {"set with bad locator", [](Client& c) { return c.SetValue("]x[", "1"), kNothing; }},
        {"erase value", [](Client& c) { return c.EraseValue("[Camera/1]name"), Get(c, "*"); }},
        {"erase last value", [](Client& c) { return c.EraseValue("[Camera/2]name"), Get(c, "*"); }},
        {"erase missing value", [](Client& c) { return c.EraseValue("[Camera/9]name"), Get(c, "*"); }},
        {"erase with bad locator", [](Client& c) { return c.EraseValue("[x"), kNothing; }},
        {"overwrite by name",
         [](Client& c) {
             return c.OverwriteSettings("Camera/1", Document("[Camera/1]\nz=1\n")), Get(c, "*");
         }},
        {"overwrite by pattern",
         [](Client& c) { return c.OverwriteSettings("Camera/*", Document("[Other]\nz=1\n")), Get(c, "*"); }},
        {"overwrite by set",
         [](Client& c) {
             return c.OverwriteSettings(Strings{"Alarm", "Camera/2"}, {}), Get(c, "*");
         }},
        {"overwrite by empty set",
         [](Client& c) { return c.OverwriteSettings(Strings{}, Document("[Alarm]\n")), Get(c, "*"); }},
        {"erase groups by pattern", [](Client& c) { return c.EraseGroups("Camera*"), Get(c, "*"); }},
        {"erase groups by name", [](Client& c) { return c.EraseGroups("Camera/1"), Get(c, "*"); }},
        {"erase groups by set",
         [](Client& c) {
             return c.EraseGroups(Strings{"Al*", "Camera/1"}), Get(c, "*");
         }},
        {"erase groups by empty set", [](Client& c) { return c.EraseGroups(Strings{}), Get(c, "*"); }},
        {"restore erased by name",
         [](Client& c) { return c.EraseGroups("*"), c.RestoreToDefaults("Camera/1"), Get(c, "*"); }},
        {"restore by pattern",
         [](Client& c) {
             c.SetValue("[Camera/1]name", "x");
             c.SetValue("[Camera/2]more", "x");
             c.SetValue("[Camera/3]name", "x");
             return c.RestoreToDefaults("Camera*"), Get(c, "*");
         }},
        {"restore by set",
         [](Client& c) {
             c.SetValue("[Alarm]on", "maybe");
             c.EraseGroups("Camera/1");
             return c.RestoreToDefaults(Strings{"Alarm", "Camera/1", "Missing"}), Get(c, "*");
         }},
        {"hostile names and values", Hostile},
        {"sync and flush", [](Client& c) { return c.Sync(), c.Flush(), kNothing; }},
    };
}

std::vector<Step> Tests() {
    return {
        {"test holds",
         [](Client& c) { return Test(c, "[Alarm]\non=true\n", "[Alarm]\non=x\n") + Get(c, "*"); }},
        {"test differs",
         [](Client& c) { return Test(c, "[Alarm]\non=no\n", "[Alarm]\non=x\n") + Get(c, "*"); }},
        {"test missing value", [](Client& c) { return Test(c, "[Alarm]\nx=\n", "[A]\n") + Get(c, "*"); }},
        {"test missing group", [](Client& c) { return Test(c, "[None]\nx=1\n", "[A]\n") + Get(c, "*"); }},
        {"test empty group", [](Client& c) { return Test(c, "[None]\n", "[A]\nx=1\n") + Get(c, "*"); }},
        {"test nothing", [](Client& c) { return Test(c, "", "[A]\nx=1\n") + Get(c, "*"); }},
        {"exact test holds",
         [](Client& c) {
             return TestExactly(c, {"Camera/*"}, "[Camera/1]\nname=front\n[Camera/2]\nname=back\n",
                                "[Camera/1]\nname=x\n") +
                    Get(c, "*");
         }},
        {"exact test, value too many",
         [](Client& c) { return TestExactly(c, {"Alarm"}, "[Alarm]\non=true\n", "[A]\n") + Get(c, "*"); }},
        {"exact test, value differs",
         [](Client& c) {
             return TestExactly(c, {"Camera/1"}, "[Camera/1]\nname=x\n", "[A]\n") + Get(c, "*");
         }},
        {"exact test, value missing",
         [](Client& c) {
             return TestExactly(c, {"Camera/1"}, "[Camera/1]\nname=front\nx=\n", "[A]\n") + Get(c, "*");
         }},
        {"exact test, group too many",
         [](Client& c) { return TestExactly(c, {"Camera/*"}, "[Camera/1]\nname=front\n", "[A]\n"); }},
        {"exact test, group missing",
         [](Client& c) { return TestExactly(c, {"None*"}, "[None]\n", "[A]\n") + Get(c, "*"); }},
        {"exact test, overwrite",
         [](Client& c) {
             return TestAndOverwrite(c, "[Camera/1]\nname=front\n[Camera/2]\nname=back\n",
                                     "[Camera/1]\nplace=x\n[B]\ny=1\n");
         }},
        {"exact test, no overwrite",
         [](Client& c) { return TestAndOverwrite(c, "[Camera/1]\nname=front\n", "[A]\n"); }},
        {"exact test of nothing", [](Client& c) { return TestExactly(c, {}, "", "[A]\n") + Get(c, "*"); }},
    };
}

std::string Subscribed(Client& client, const Strings& groups, const std::function<void()>& change) {
    RecordingCallback callback;
    client.Subscribe(&callback, groups);
    test::RecordingFollower follower;
    client.Backend().Follow(&follower, test::Groups(groups));
    change();
    // A callback runs on another thread in one of the modes; after this one, all before it have run.
    client.Sync();
    client.UnSubscribe(&callback);
    client.Backend().Unfollow(&follower);
    change();
    return follower.Text();
}

std::vector<Step> Subscriptions() {
    return {
        {"follow merge",
         [](Client& c) {
             return Subscribed(c, {"Camera/*", "New"}, [&] {
                 c.MergeSettings(Document("[Camera/1]\nx=1\n[New]\n[Alarm]\non=no\n"));
             });
         }},
        {"follow no change",
         [](Client& c) { return Subscribed(c, {"*"}, [&] { c.SetValue("[Alarm]on", "true"); }); }},
        {"follow overwrite without change",
         [](Client& c) {
             return Subscribed(c, {"*"},
                               [&] { c.OverwriteSettings("Al*", Document("[Alarm]\non=true\nempty=\n")); });
         }},
        {"follow erase", [](Client& c) { return Subscribed(c, {"*"}, [&] { c.EraseGroups("Camera/*"); }); }},
        {"follow set and erase value",
         [](Client& c) {
             return Subscribed(c, {"Alarm"}, [&] {
                 c.SetValue("[Alarm]x", "1");
                 c.EraseValue("[Alarm]x");
             });
         }},
        {"follow test and merge",
         [](Client& c) {
             return Subscribed(c, {"Alarm"}, [&] { Test(c, "[Alarm]\non=true\n", "[Alarm]\non=x\n"); });
         }},
        {"subscribe without callback", [](Client& c) { return c.Subscribe(nullptr, "a"), kNothing; }},
        {"unsubscribe unknown", [](Client& c) { return c.UnSubscribe(nullptr), kNothing; }},
    };
}

std::vector<Step> AllSteps() {
    std::vector<Step> all;
    for (const auto& part : {Readings(), Changes(), Tests(), Subscriptions()}) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::string RunStep(Client::OperationMode mode, const Step& step) {
    Client client(mode,
                  Document("[Alarm]\non=true\nempty=\n[Camera/1]\nname=front\n[Camera/2]\nname=back\n"));
    try {
        return step.run(client);
    } catch (const osa::Exception& e) {
        return std::string("threw ") + e.what() + "\n" + Get(client, "*");
    }
}

void PrintTo(const Step& step, std::ostream* out) {
    *out << step.name;
}

class ModeTableTests : public testing::TestWithParam<Step> {};

INSTANTIATE_TEST_SUITE_P(All, ModeTableTests, testing::ValuesIn(AllSteps()));

TEST_P(ModeTableTests, EveryModeGivesWhatTheLocalOneGives) {
    const std::string expected = RunStep(Client::kLocal, GetParam());
    EXPECT_EQ(RunStep(Client::kLocalSingleThreadedPipe, GetParam()), expected);
    EXPECT_EQ(RunStep(Client::kLocalMultiThreadedPipe, GetParam()), expected);
}

/// What the table compares is not nothing: some of its results, spelled out.
TEST(ModeTableResultTests, TheLocalModeGivesWhatIsAskedFor) {
    const auto local = [](const Step& step) { return RunStep(Client::kLocal, step); };
    EXPECT_EQ(local(Readings()[0]), "[Camera/1]\nname = front\n\n[untouched]\nx = 1\n\n");
    EXPECT_EQ(local(Readings()[6]), "[Alarm]\nempty = \non = true\n\n[Camera/1]\nname = front\n\n");
    EXPECT_EQ(local(Readings()[8]), "[Alarm]\n\n[Camera*]\nx = 1\n\n[Camera/1]\nname = front\n\n");
    EXPECT_EQ(local(Readings()[9]), "[Alarm]\nempty = \non = true\n\n[Camera/1]\nold = 1\n\n");
    EXPECT_EQ(local(Readings()[16]).substr(0, 58),
              "threw Failed to parse 'asdasdasdas' as a SettingLocator\n[A");
    EXPECT_EQ(local(Tests()[1]).substr(0, 61),
              "refused group=Alarm name=on expected=no actual=true does not ");
    EXPECT_EQ(local(Subscriptions()[0]),
              "snapshot Camera/1{name=front;} Camera/2{name=back;}change Camera/1{name=front;x=1;} New{}");
    EXPECT_EQ(local(Subscriptions()[6]).substr(0, 29), "threw Subscribe: no callback\n");
}

TEST(ModeTableResultTests, UnknownModeIsRefused) {
    for (const int mode : {0, 1, 6, -1}) {
        try {
            Client client(static_cast<Client::OperationMode>(mode));
            ADD_FAILURE() << mode;
        } catch (const osa::Exception& e) {
            EXPECT_EQ(e.what(), "unknown operation mode " + std::to_string(mode));
        }
    }
}

}  // namespace
}  // namespace zumra::settings
