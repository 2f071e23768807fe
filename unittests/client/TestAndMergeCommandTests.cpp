#include "settings/client/commands/TestAndMergeCommand.h"

#include <gtest/gtest.h>

#include <sstream>

namespace zumra::settings::client {
namespace {

core::IniFile Document(const char* group, const char* name, const char* value) {
    core::IniFile document;
    document[group][name] = value;
    return document;
}

class TestAndMergeCommandTest : public testing::Test {
protected:
    bool Read(const std::string& reply) {
        std::istringstream in(reply);
        const bool result = _command.HandleResponse(in);
        std::getline(in, _rest, '\0');
        return result;
    }

    core::IniFile _test = Document("group", "val", "abcd");
    core::IniFile _merge = Document("group", "val", "efgh");
    TestAndMergeCommand _command{_test, _merge};
    std::string _rest;
};

TEST_F(TestAndMergeCommandTest, WritesBothDocumentsEachClosedByItsEmptyLineAndADot) {
    std::ostringstream out;
    _command.SendRequest(out);
    EXPECT_EQ(out.str(), "test-and-merge\n[group]\nval = abcd\n\n.\n[group]\nval = efgh\n\n.\n");
    EXPECT_EQ(_command.ExpectedResponse(), "result");
}

TEST_F(TestAndMergeCommandTest, EmptyDocumentsLeaveTheDotsAlone) {
    const core::IniFile empty;
    TestAndMergeCommand command(empty, empty);
    std::ostringstream out;
    command.SendRequest(out);
    EXPECT_EQ(out.str(), "test-and-merge\n.\n.\n");
}

TEST_F(TestAndMergeCommandTest, OnlyTheExactWordIsSuccess) {
    for (const char* word : {"", "\n", "refused\n", "ok \n", "okay\n", " ok\n", "OK\n"}) {
        EXPECT_FALSE(Read(word)) << word;
        EXPECT_FALSE(_command.WasSuccessful()) << word;
    }
    EXPECT_TRUE(Read("ok\n"));
    EXPECT_TRUE(_command.WasSuccessful());
}

TEST_F(TestAndMergeCommandTest, SuccessStaysWhateverIsReadLater) {
    EXPECT_TRUE(Read("ok\n"));
    EXPECT_TRUE(Read("refused\n"));
    EXPECT_TRUE(_command.WasSuccessful());
}

TEST_F(TestAndMergeCommandTest, ReadsOneLineAndNothingFurther) {
    EXPECT_TRUE(Read("ok\nasync change\n"));
    EXPECT_EQ(_rest, "async change\n");
    std::istringstream in("ok\n");
    _command.HandleResponse(in);
    EXPECT_TRUE(in.good());
}

class Plain : public RemoteCommand {
public:
    Plain() : RemoteCommand("fine") {}
    void SendRequest(std::ostream& out) override { out << "plain\n"; }
};

TEST(RemoteCommand, ByItselfReadsNothingAndIsContent) {
    Plain command;
    std::istringstream in("rest\n");
    EXPECT_TRUE(command.HandleResponse(in));
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, "rest");
    EXPECT_EQ(command.ExpectedResponse(), "fine");
}

}  // namespace
}  // namespace zumra::settings::client
