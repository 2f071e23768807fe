#include "client/Exchanges.h"

namespace zumra::test {

namespace {

constexpr const char* kNoResult = "";

std::string Got(IBackend& backend, const GroupNameMatcher& groups) {
    core::IniFile document;
    backend.Get(groups, document);
    return document.SaveToString();
}

std::vector<KnownExchange> Readings() {
    return {
        {"get",
         [](IBackend& b) {
             return Got(b, Groups({"a", "b*"}));
         },
         "get delimited\na\nb*\n.\n", "data\n[a]\nx = 1\n\n[b2]\n\n.\n", "[a]\nx = 1\n\n[b2]\n\n"},
        {"get unusual names",
         [](IBackend& b) {
             GroupNameMatcher groups;
             groups.AddName(".");
             groups.AddName("star*");
             groups.AddName("two\nlines");
             return Got(b, groups);
         },
         "get delimited\n\".\"\n\"star*\"\n\"two\\nlines\"\n.\n",
         "data\n[.]\nx = .\n\n[star*]\n\n[star*2]\n\n[\"two\\nlines\"]\n\n.\n",
         "[.]\nx = .\n\n[star*]\n\n[\"two\\nlines\"]\n\n"},
        {"get value",
         [](IBackend& b) {
             return b.GetValue({"a", "x"}).value_or("none");
         },
         "get-value\n[a]x\n.\n", "data\n[a]\nx = text\n\n.\n", "text"},
        {"get empty value",
         [](IBackend& b) {
             return "'" + b.GetValue({"]", "\n"}).value_or("none") + "'";
         },
         "get-value\n[\"]\"]\"\\n\"\n.\n", "data\n[\"]\"]\n\"\\n\" = \n\n.\n", "''"},
        {"get missing value",
         [](IBackend& b) {
             return b.GetValue({"a", "x"}).value_or("none");
         },
         "get-value\n[a]x\n.\n", "data\n[a]\n\n.\n", "none"},
        {"get value of a missing group",
         [](IBackend& b) {
             return b.GetValue({"a", "x"}).value_or("none");
         },
         "get-value\n[a]x\n.\n", "data\n.\n", "none"},
    };
}

std::vector<KnownExchange> Changes() {
    return {
        {"merge", [](IBackend& b) { return b.Merge(Document("[a]\nx=1\n[b]\n")), kNoResult; },
         "merge\n[a]\nx = 1\n\n[b]\n\n.\nsync\n", "synced\n", kNoResult},
        {"set value",
         [](IBackend& b) {
             return b.SetValue({"a", "x"}, " 1"), kNoResult;
         },
         "merge\n[a]\nx = \" 1\"\n\n.\nsync\n", "synced\n", kNoResult},
        {"erase value",
         [](IBackend& b) {
             return b.EraseValue({"a]", "x"}), kNoResult;
         },
         "erase-value\n[\"a]\"]x\n.\nsync\n", "synced\n", kNoResult},
        {"overwrite",
         [](IBackend& b) { return b.Overwrite(Groups({"a*"}), Document("[b]\nx=1\n")), kNoResult; },
         "overwrite\na*\n.\n[b]\nx = 1\n\n.\nsync\n", "synced\n", kNoResult},
        {"erase",
         [](IBackend& b) {
             return b.Erase(Groups({"a", "b*"})), kNoResult;
         },
         "erase\na\nb*\n.\nsync\n", "synced\n", kNoResult},
        {"restore", [](IBackend& b) { return b.Restore(Groups({"a"})), kNoResult; }, "restore\na\n.\nsync\n",
         "synced\n", kNoResult},
        {"sync", [](IBackend& b) { return b.Sync(), kNoResult; }, "sync\n", "synced\n", kNoResult},
        {"flush", [](IBackend& b) { return b.Flush(), kNoResult; }, "flush\n", "flushed\n", kNoResult},
    };
}

std::vector<KnownExchange> Tests() {
    const auto plain = [](IBackend& b) {
        return std::string(
            b.TestAndMerge(Document("[a]\nx=1\n"), Document("[a]\nx=2\n"), nullptr) ? "merged" : "refused");
    };
    const auto explained = [](IBackend& b) {
        ZumraSettingsClient::Difference why;
        const bool merged = b.TestAndMerge(Document("[a]\nx=1\n"), Document("[a]\nx=2\n"), &why);
        return Tested(merged, why);
    };
    const auto exact = [](IBackend& b) {
        ZumraSettingsClient::Difference why;
        const bool merged =
            b.TestExactlyAndMerge(Groups({"a*"}), Document("[a]\nx=1\n"), Document("[a]\nx=2\n"), &why);
        return Tested(merged, why);
    };
    const auto overwritten = [](IBackend& b) {
        ZumraSettingsClient::Difference why;
        const bool done =
            b.TestExactlyAndOverwrite(Groups({"a*"}), Document("[a]\nx=1\n"), Document("[a]\nx=2\n"), &why);
        return Tested(done, why);
    };
    const std::string documents = "[a]\nx = 1\n\n.\n[a]\nx = 2\n\n.\n";
    return {
        {"test, merged", plain, "test-and-merge\n" + documents, "result\nok\n", "merged"},
        {"test, refused", plain, "test-and-merge\n" + documents, "result\nrefused\n", "refused"},
        {"explained test, merged", explained, "test-and-merge explain\n" + documents, "result\nok\n.\n",
         "merged"},
        {"explained test, refused", explained, "test-and-merge explain\n" + documents,
         "result\nrefused\na\nname x\nexpected 1\nactual \"3\\n\"\n.\n",
         "refused group=a name=x expected=1 actual=3\n"},
        {"exact test, merged", exact, "test-exactly-and-merge explain\na*\n.\n" + documents,
         "result\nok\n.\n", "merged"},
        {"exact test, refused", exact, "test-exactly-and-merge explain\na*\n.\n" + documents,
         "result\nrefused\n\".\"\n.\n", "refused group=. name=- expected=- actual=-"},
        {"exact test, overwritten", overwritten, "test-exactly-and-overwrite explain\na*\n.\n" + documents,
         "result\nok\n.\n", "merged"},
        {"exact test, not overwritten", overwritten,
         "test-exactly-and-overwrite explain\na*\n.\n" + documents,
         "result\nrefused\na\nname x\nactual 1\n.\n", "refused group=a name=x expected=- actual=1"},
    };
}

std::vector<KnownExchange> Subscriptions() {
    return {
        {"subscribe",
         [](IBackend& b) {
             NullCallback callback;
             b.Subscribe(&callback, Groups({"a*", "b"}));
             return kNoResult;
         },
         "subscribe\nb\na*\n.\nsync\n", "synced\n", kNoResult},
        {"follow",
         [](IBackend& b) {
             RecordingFollower follower;
             b.Follow(&follower, Groups({"a*"}));
             return follower.Text();
         },
         "subscribe\na*\n.\nsync\nget delimited\na*\n.\n",
         "async change\na1\n.\n[a1]\nx = old\n\n.\nsynced\ndata\n[a1]\nx = 1\n\n.\n", "snapshot a1{x=1;}"},
        {"change seen by a follower",
         [](IBackend& b) {
             RecordingFollower follower;
             b.Follow(&follower, Groups({"a*", "c"}));
             b.Sync();
             return follower.Text();
         },
         "subscribe\nc\na*\n.\nsync\nget delimited\nc\na*\n.\nsync\n",
         "synced\ndata\n.\nasync change\na1\na2\nb\n.\n[a1]\nx = 1\n\n[b]\n\n.\nsynced\n",
         "snapshotchange a1{x=1;} a2-"},
    };
}

}  // namespace

std::vector<KnownExchange> KnownExchanges() {
    std::vector<KnownExchange> all;
    for (auto part : {Readings(), Changes(), Tests(), Subscriptions()}) {
        for (KnownExchange& exchange : part) {
            all.push_back(std::move(exchange));
        }
    }
    return all;
}

}  // namespace zumra::test
