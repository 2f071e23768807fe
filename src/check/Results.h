#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "check/Journal.h"

namespace zumra::check {

enum class Outcome { kPassed, kNotRun, kFailed, kError };

/// What became of one check, in all rounds together.
struct CheckResult {
    std::string suite;
    std::string testCase;
    std::string name;
    /// That of the first round in which it did not pass.
    Outcome outcome = Outcome::kNotRun;
    /// Of that round: "FILE:LINE", and why; both empty for a check that passed.
    std::string place;
    std::string text;
    unsigned rounds = 0;     // in which it was started
    unsigned badRounds = 0;  // in which it failed
    double seconds = 0;      // the mean of the rounds
};

/// "SUITE/CASE/CHECK"
std::string FullName(const CheckResult& check);

/// How many checks there are, and how many of each outcome.
struct Counts {
    unsigned all = 0;
    unsigned passed = 0;
    unsigned failed = 0;
    unsigned errors = 0;
    unsigned notRun = 0;

    [[nodiscard]] bool AreGood() const { return failed == 0 && errors == 0 && notRun == 0; }
};

Counts Count(const std::vector<const CheckResult*>& checks);

/// What became of all checks of a run, round by round. Memory does not grow with the rounds.
class Results {
public:
    /// How the process that ran a round ended before the round did.
    struct BrokenEnd {
        std::string text;
        /// Whether that process has said so itself.
        bool wasReported = false;
        /// The check that ran, "FILE:LINE:E:CASE:NAME:0: " as in Check's report; empty where none did.
        std::string reportStart;
    };

    /// How a round's process ended, and when by the steady clock.
    struct ProcessEnd {
        std::string text;
        std::chrono::microseconds time;
    };

    /// Adds a round by its journal. `end` counts for a round that did not come to its own end. Returns how
    /// that was, with an empty text for a round that did.
    BrokenEnd AddRound(const std::vector<Journal::Record>& records, const ProcessEnd& end);

    [[nodiscard]] const std::vector<CheckResult>& Checks() const { return _checks; }
    [[nodiscard]] Counts Total() const;
    [[nodiscard]] unsigned Rounds() const { return _rounds; }
    /// The text of the first round that did not come to its end; empty when all did.
    [[nodiscard]] const std::string& FirstBrokenEnd() const { return _firstBrokenEnd; }

private:
    class Round;

    std::vector<CheckResult> _checks;
    unsigned _rounds = 0;
    std::string _firstBrokenEnd;
};

}  // namespace zumra::check
