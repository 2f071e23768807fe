#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "client/Callbacks.h"
#include "client/ConcurrentChanges.h"
#include "settings/client/InProcessServer.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/IniWatcher.h"
#include "zumra/settings/SettingsWatcher.h"

namespace zumra::settings {
namespace {

using WatchersInCallbacksTests = ConcurrentChanges;

ZUMRA_INSTANTIATE_IN_EVERY_MODE(WatchersInCallbacksTests);

/// Makes watchers in one call and destroys them in the next.
class WatchingCallback final : public IChangeCallback {
public:
    explicit WatchingCallback(ZumraSettingsClient& client) : _client(client) {}

    void SettingsChanged(const std::set<std::string>& /*changedGroups*/,
                         const core::IniFile& /*data*/) override {
        _documents.reset();
        _variables.reset();
        document.Clear();
        _documents = std::make_unique<IniWatcher>(&_client, &document);
        _documents->AddPattern("*");
        EXPECT_TRUE(_documents->Update());
        EXPECT_EQ(document.GetValue("pair/1", "x"), document.GetValue("pair/2", "x"));
        _variables = std::make_unique<SettingsWatcher>(&_client);
        _variables->AddSetting("pair/1", "x", &number);
        EXPECT_TRUE(_variables->UpdateSettings());
        called.Set();
    }
    void Update() {
        _documents->Update();
        _variables->UpdateSettings();
    }

    core::IniFile document;
    int number = 0;
    test::Event called;

private:
    ZumraSettingsClient& _client;
    std::unique_ptr<IniWatcher> _documents;
    std::unique_ptr<SettingsWatcher> _variables;
};

TEST_P(WatchersInCallbacksTests, CallbacksMayMakeAndDestroyWatchers) {
    WatchingCallback first(_client);
    WatchingCallback second(_client);
    _client.Subscribe(&first, "random/*");
    _client.Subscribe(&second, "pair/*");
    Start([this] { ChangeAtRandom(9); });
    Start([this] { ChangeAtRandom(10); });
    JoinAll();
    for (WatchingCallback* callback : {&first, &second}) {
        callback->called.Wait();
        _client.UnSubscribe(callback);
        callback->Update();
        EXPECT_EQ(callback->document, All());
        EXPECT_EQ(std::to_string(callback->number), All().GetValue("pair/1", "x"));
    }
}

/// Does with the watchers what a program's callback might.
class UsingCallback final : public IChangeCallback {
public:
    UsingCallback(IniWatcher& documents, SettingsWatcher& variables)
        : _documents(documents), _variables(variables) {}

    void SettingsChanged(const std::set<std::string>& /*changedGroups*/,
                         const core::IniFile& /*data*/) override {
        _documents.Update();
        _documents.TryUpdate();
        _variables.UpdateSettings();
        _documents.AddPattern("later" + std::to_string(++_calls % 3));
        called.Set();
    }

    test::Event called;

private:
    std::atomic<int> _calls{0};
    IniWatcher& _documents;
    SettingsWatcher& _variables;
};

TEST_P(WatchersInCallbacksTests, ACallbackMayUseTheWatchers) {
    core::IniFile document;
    IniWatcher documents(&_client, &document);
    documents.AddPattern("random/*");
    int number = 0;
    SettingsWatcher variables(&_client);
    variables.AddSetting("pair/1", "x", &number);
    UsingCallback callback(documents, variables);
    _client.Subscribe(&callback, "*");
    Start([this] { ChangeAtRandom(8); });
    while (Running()) {
        documents.Update();
        variables.UpdateSettings();
    }
    JoinAll();
    callback.called.Wait();
    _client.UnSubscribe(&callback);
    documents.AddPattern("*");
    documents.Update();
    variables.UpdateSettings();
    EXPECT_EQ(document, All());
    EXPECT_EQ(std::to_string(number), document.GetValue("pair/1", "x"));
}

TEST_P(WatchersInCallbacksTests, AnUpdateMayRunACallbackThatUpdates) {
    const client::InProcessServer server;
    ZumraSettingsClient reader(server.Connect(GetParam()));
    ZumraSettingsClient writer(server.Connect(GetParam()));
    core::IniFile document;
    IniWatcher documents(&reader, &document);
    documents.AddPattern("a");
    documents.Update();
    int number = 0;
    SettingsWatcher variables(&reader);
    variables.AddSetting("a", "x", &number);
    variables.UpdateSettings();
    UsingCallback callback(documents, variables);
    reader.Subscribe(&callback, "a");
    for (int round = 1; round <= 20; ++round) {
        writer.SetValue("[a]x", std::to_string(round));
        if (round % 2 == 0) {
            documents.Update();
        } else {
            variables.UpdateSettings();
        }
    }
    callback.called.Wait();
    reader.UnSubscribe(&callback);
    documents.Update();
    variables.UpdateSettings();
    EXPECT_EQ(document.GetValue("a", "x"), "20");
    EXPECT_EQ(number, 20);
}

}  // namespace
}  // namespace zumra::settings
