#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "server/SessionHarness.h"
#include "server/Transcripts.h"
#include "zumra/settings/server/ClientHandler.h"

namespace zumra::settings::server::testing {
namespace {

using settings::testing::Step;
using settings::testing::Transcript;

std::vector<Transcript> AllTranscripts() {
    std::vector<Transcript> all = settings::testing::RegularTranscripts();
    for (Transcript& transcript : settings::testing::ErrorTranscripts()) {
        all.push_back(std::move(transcript));
    }
    return all;
}

/// What a request gives when the input ends `length` bytes into it, other than for "merge". A last line
/// without a line end is a line, so the request is whole when nothing but that is missing.
std::string CutReply(const Step& step, std::size_t length) {
    const std::string got = step.request.substr(0, length);
    if (got.find_first_not_of("\r\n") == std::string::npos) {
        return "";
    }
    if (got + '\n' == step.request || got + "\r\n" == step.request) {
        return step.reply;
    }
    const std::string text = got.substr(got.find_first_not_of("\r\n"));
    std::string line = text.substr(0, text.find_first_of("\r\n"));
    if (line == "revision" || line == "test-and-merge explain" || line == "sync") {
        return line == "test-and-merge explain" ? "error\n" + line + ": input ended within the request\n"
                                                : step.reply;
    }
    if (text.find('\n') == std::string::npos) {
        const bool asksForMore =
            line == "get" || line == "erase" || line == "test-and-merge" ||
            line == "test-exactly-and-merge" || line == "subscribe" || line == "get delimited" ||
            line == "unsubscribe" || line == "overwrite" || line == "restore" || line == "erase-value" ||
            line == "get-value" || line == "test-exactly-and-merge explain" ||
            line == "test-exactly-and-overwrite" || line == "test-exactly-and-overwrite explain";
        if (!asksForMore) {
            const bool format = line.starts_with("serialize ");
            return format ? "error\nserialize: unknown format '" + line.substr(10) + "'\n"
                          : "error\nunknown command '" + line + "'\n";
        }
    }
    return "error\n" + line + ": input ended within the request\n";
}

bool IsMerge(const Step& step, std::size_t cut) {
    const std::string got = step.request.substr(0, cut);
    return got.starts_with("merge") && (got.size() == 5 || got[5] == '\n' || got[5] == '\r');
}

std::string RunInPieces(Server& server, std::string_view request, std::mt19937& random) {
    Session session(server.env, {});
    std::string output;
    while (!request.empty()) {
        const std::size_t size = std::min<std::size_t>(request.size(), random() % 12);
        output += Feed(session, request.substr(0, size));
        request.remove_prefix(size);
    }
    return output + Finish(session);
}

std::string RunBytewise(Server& server, std::string_view request) {
    Session session(server.env, {});
    std::string output;
    for (const char byte : request) {
        output += Feed(session, std::string_view(&byte, 1));
    }
    return output + Finish(session);
}

TEST(SessionTranscriptTests, Whole) {
    for (const Transcript& transcript : AllTranscripts()) {
        Server server(transcript.defaults);
        EXPECT_EQ(RunWhole(server, transcript.Request()), transcript.Reply()) << transcript.name;
    }
}

TEST(SessionTranscriptTests, StepByStepWhenNothingIsLeftOpen) {
    for (const Transcript& transcript : AllTranscripts()) {
        Server server(transcript.defaults);
        Session session(server.env, {});
        for (std::size_t i = 0; i < transcript.steps.size(); ++i) {
            const bool last = i + 1 == transcript.steps.size();
            std::string output = Feed(session, transcript.steps[i].request);
            output += last ? Finish(session) : "";
            EXPECT_EQ(output, transcript.steps[i].reply) << transcript.name << ", step " << i;
        }
        EXPECT_TRUE(session.Ended()) << transcript.name;
        EXPECT_EQ(session.InputUnderstood(), transcript.regular) << transcript.name;
    }
}

TEST(SessionTranscriptTests, ByteByByte) {
    for (const Transcript& transcript : AllTranscripts()) {
        Server server(transcript.defaults);
        EXPECT_EQ(RunBytewise(server, transcript.Request()), transcript.Reply()) << transcript.name;
    }
}

TEST(SessionTranscriptTests, InRandomPieces) {
    std::mt19937 random(1);
    for (const Transcript& transcript : AllTranscripts()) {
        for (int round = 0; round < 20; ++round) {
            Server server(transcript.defaults);
            EXPECT_EQ(RunInPieces(server, transcript.Request(), random), transcript.Reply())
                << transcript.name;
        }
    }
}

TEST(SessionTranscriptTests, OverStreams) {
    for (const Transcript& transcript : AllTranscripts()) {
        Server server(transcript.defaults);
        std::istringstream requests(transcript.Request());
        std::ostringstream responses;
        ClientHandler handler(&server.env, &requests, &responses);
        EXPECT_EQ(handler.Run(), transcript.regular) << transcript.name;
        EXPECT_EQ(responses.str(), transcript.Reply()) << transcript.name;
    }
}

/// Wherever the input is cut off, what was whole is answered, what was not gives one error, and nothing but a
/// "merge" takes effect in part.
TEST(SessionTranscriptTests, CutAtEveryByte) {
    for (const Transcript& transcript : settings::testing::RegularTranscripts()) {
        for (std::size_t i = 0; i < transcript.steps.size(); ++i) {
            Server whole(transcript.defaults);
            RunWhole(whole, transcript.Request(i));
            const Step& step = transcript.steps[i];
            for (std::size_t cut = 0; cut < step.request.size(); ++cut) {
                if (IsMerge(step, cut)) {
                    continue;
                }
                Server server(transcript.defaults);
                const std::string request = transcript.Request(i) + step.request.substr(0, cut);
                const std::string expected = CutReply(step, cut);
                EXPECT_EQ(RunWhole(server, request), transcript.Reply(i) + expected)
                    << transcript.name << ", step " << i << ", cut at " << cut;
                if (expected.starts_with("error")) {
                    EXPECT_EQ(server.Text(), whole.Text()) << transcript.name << " " << cut;
                }
            }
        }
    }
}

TEST(SessionTranscriptTests, CutMergeIsAsIfItsEndStoodThere) {
    for (const Transcript& transcript : settings::testing::RegularTranscripts()) {
        bool phpArray = false;
        for (std::size_t i = 0; i < transcript.steps.size(); ++i) {
            const Step& step = transcript.steps[i];
            phpArray =
                step.request == "serialize phparray\n" || (phpArray && step.request != "serialize ini\n");
            for (std::size_t cut = 0; !phpArray && cut < step.request.size(); ++cut) {
                const std::string got = step.request.substr(0, cut);
                if (!IsMerge(step, cut) || got.ends_with("\n.") || got.ends_with("\n.\r")) {
                    continue;
                }
                const std::string request = transcript.Request(i) + got;
                Server ended(transcript.defaults);
                Server cutOff(transcript.defaults);
                EXPECT_EQ(RunWhole(cutOff, request), RunWhole(ended, request + "\n.\n"))
                    << transcript.name << " " << cut;
                EXPECT_EQ(cutOff.Text(), ended.Text()) << transcript.name << " " << cut;
            }
        }
    }
}

TEST(SessionTranscriptTests, CutPhpArrayChangesNothing) {
    const std::string array = "merge\na:1:{s:1:\"a\";a:1:{s:1:\"x\";s:3:\"}\n.\";}}";
    for (std::size_t cut = 6; cut < array.size(); ++cut) {
        Server server;
        EXPECT_EQ(RunWhole(server, "serialize phparray\n" + array.substr(0, cut)),
                  "error\nmerge: input ended within the request\n")
            << cut;
        EXPECT_EQ(server.Text(), "");
    }
    Server server;
    EXPECT_EQ(RunWhole(server, "serialize phparray\n" + array), "");
    EXPECT_EQ(server.Text(), "[a]\nx = \"}\\n.\"\n\n");
}

/// Wherever it is cut, pieces make no difference.
TEST(SessionTranscriptTests, CutBytewiseIsAsCutWhole) {
    for (const Transcript& transcript : AllTranscripts()) {
        const std::string request = transcript.Request();
        for (std::size_t cut = 0; cut < request.size(); ++cut) {
            Server whole(transcript.defaults);
            Server bytewise(transcript.defaults);
            ASSERT_EQ(RunBytewise(bytewise, request.substr(0, cut)), RunWhole(whole, request.substr(0, cut)))
                << transcript.name << ", cut at " << cut;
            ASSERT_EQ(bytewise.Text(), whole.Text()) << transcript.name << ", cut at " << cut;
        }
    }
}

}  // namespace
}  // namespace zumra::settings::server::testing
