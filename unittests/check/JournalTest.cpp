#include "check/Journal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "check/Results.h"

namespace zumra::check {
namespace {

using Event = Journal::Event;

class JournalTest : public testing::Test {
protected:
    void SetUp() override { _journal.Open(_file); }
    void TearDown() override { close(_file); }

    [[nodiscard]] std::vector<Journal::Record> Read() const { return Journal::Read(_file); }
    [[nodiscard]] Results::BrokenEnd AddTo(Results& results) const {
        return results.AddRound(Read(), {"the process ended", std::chrono::seconds(5)});
    }

    void Plan(const char* name) { _journal.Write(Event::kPlanned, "Suite", "case", name); }
    void Start(const char* name) { _journal.Write(Event::kStarted, "Suite", "case", name, "2000000"); }
    void End(const char* outcome, const char* text = "") {
        _journal.Write(Event::kEnded, outcome, "500000", "file:1", text);
    }
    void StartOver() {
        close(_file);
        _file = Journal::NewFile();
        _journal.Open(_file);
    }

    int _file = Journal::NewFile();
    Journal _journal;
};

TEST_F(JournalTest, GivesBackWhatWasWritten) {
    _journal.Write(Event::kEnded, "F", "12", "file:7", "a\ntext\x80");
    _journal.Write(Event::kFinished);
    const std::vector<Journal::Record> records = Read();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].event, Event::kEnded);
    EXPECT_EQ(records[0].fields, (std::array<std::string, 4>{"F", "12", "file:7", "a\ntext\x80"}));
    EXPECT_EQ(records[1].event, Event::kFinished);
    EXPECT_EQ(records[1].fields, (std::array<std::string, 4>{}));
}

TEST_F(JournalTest, LeavesOutARecordThatIsNotWhole) {
    _journal.Write(Event::kPlanned, "Suite", "case", "check");
    _journal.Write(Event::kPlanned, "Suite", "case", "other");
    const off_t size = lseek(_file, 0, SEEK_END);
    for (off_t cut = 1; cut <= size / 2; ++cut) {
        ASSERT_EQ(ftruncate(_file, size - cut), 0);
        EXPECT_EQ(Read().size(), 1U);
    }
    ASSERT_EQ(ftruncate(_file, size / 2 - 1), 0);
    EXPECT_TRUE(Read().empty());
}

TEST_F(JournalTest, KeepsARecordOfAnyLength) {
    const std::string text(300000, 'x');
    _journal.Write(Event::kEnded, "F", "1", "", text.c_str());
    ASSERT_EQ(Read().size(), 1U);
    EXPECT_EQ(Read()[0].fields[3], text);
}

TEST_F(JournalTest, WritesNothingBeforeItIsOpen) {
    Journal closed;
    closed.Write(Event::kFinished);
    EXPECT_TRUE(Read().empty());
}

TEST_F(JournalTest, TellsWhatBecameOfTheChecks) {
    for (const char* name : {"passes", "fails", "breaks"})
        Plan(name);
    Start("passes");
    End("P");
    Start("fails");
    End("F", "why");
    Start("breaks");
    End("E", "how");
    _journal.Write(Event::kFinished);
    Results results;
    EXPECT_EQ(AddTo(results).text, "");
    ASSERT_EQ(results.Checks().size(), 3U);
    EXPECT_EQ(results.Checks()[0].outcome, Outcome::kPassed);
    EXPECT_EQ(results.Checks()[0].text, "");
    EXPECT_EQ(results.Checks()[0].seconds, 0.5);
    EXPECT_EQ(results.Checks()[1].outcome, Outcome::kFailed);
    EXPECT_EQ(results.Checks()[1].text, "why");
    EXPECT_EQ(results.Checks()[1].place, "file:1");
    EXPECT_EQ(results.Checks()[2].outcome, Outcome::kError);
    EXPECT_EQ(FullName(results.Checks()[2]), "Suite/case/breaks");
    EXPECT_FALSE(results.Total().AreGood());
}

TEST_F(JournalTest, TellsWhichCheckTheProcessEndedIn) {
    for (const char* name : {"passes", "crashes", "waits"})
        Plan(name);
    Start("passes");
    _journal.Write(Event::kDefined, "file:3");
    End("P");
    Start("crashes");
    _journal.Write(Event::kDefined, "file:9");
    Results results;
    const Results::BrokenEnd end = AddTo(results);
    EXPECT_EQ(end.text, "the process ended");
    EXPECT_FALSE(end.wasReported);
    EXPECT_EQ(end.reportStart, "file:9:E:case:crashes:0: ");
    EXPECT_EQ(results.FirstBrokenEnd(), "the process ended");
    EXPECT_EQ(results.Checks()[1].outcome, Outcome::kError);
    EXPECT_EQ(results.Checks()[1].place, "file:9");
    EXPECT_EQ(results.Checks()[1].seconds, 3);
    EXPECT_EQ(results.Checks()[2].outcome, Outcome::kNotRun);
    EXPECT_EQ(results.Total().notRun, 1U);
}

TEST_F(JournalTest, LetsTheProcessSayHowItEnds) {
    Plan("crashes");
    Start("crashes");
    _journal.Write(Event::kBroken, "E", "", "file:9", "a crash");
    Results results;
    const Results::BrokenEnd end = AddTo(results);
    EXPECT_EQ(end.text, "a crash");
    EXPECT_TRUE(end.wasReported);
    EXPECT_EQ(results.Checks()[0].text, "a crash");
}

TEST_F(JournalTest, TellsOfAnEndBetweenChecks) {
    Plan("waits");
    Results results;
    EXPECT_EQ(AddTo(results).reportStart, "");
    EXPECT_EQ(results.FirstBrokenEnd(), "the process ended");
}

TEST_F(JournalTest, MayHaveNothingToTell) {
    Results results;
    EXPECT_EQ(AddTo(results).text, "");
    EXPECT_TRUE(results.Total().AreGood());
}

TEST_F(JournalTest, PutsRoundsTogether) {
    Results results;
    for (int round = 0; round < 4; ++round) {
        StartOver();
        Plan("wavers");
        Plan("passes");
        Start("wavers");
        End(round == 1 ? "F" : round == 2 ? "E" : "P", round == 1 ? "first" : "later");
        Start("passes");
        End("P");
        _journal.Write(Event::kFinished);
        EXPECT_EQ(AddTo(results).text, "");
    }
    ASSERT_EQ(results.Checks().size(), 2U);
    const CheckResult& wavers = results.Checks()[0];
    EXPECT_EQ(wavers.outcome, Outcome::kFailed);
    EXPECT_EQ(wavers.text, "first");
    EXPECT_EQ(wavers.rounds, 4U);
    EXPECT_EQ(wavers.badRounds, 2U);
    EXPECT_EQ(wavers.seconds, 0.5);
    EXPECT_EQ(results.Total().passed, 1U);
    EXPECT_EQ(results.Rounds(), 4U);
}

TEST_F(JournalTest, KeepsEqualChecksAndThoseThatNobodyPlannedApart) {
    Plan("twice");
    Plan("twice");
    for (const char* name : {"unplanned", "twice", "twice"}) {
        Start(name);
        End("P");
    }
    _journal.Write(Event::kFinished);
    Results results;
    EXPECT_EQ(AddTo(results).text, "");
    ASSERT_EQ(results.Checks().size(), 3U);
    EXPECT_EQ(results.Checks()[0].name, "unplanned");
    EXPECT_EQ(results.Total().passed, 3U);
}

}  // namespace
}  // namespace zumra::check
