#include "check/Results.h"

#include <cstdlib>
#include <optional>

namespace zumra::check {

namespace {

Outcome ReadOutcome(const std::string& letter) {
    return letter == "P" ? Outcome::kPassed : letter == "F" ? Outcome::kFailed : Outcome::kError;
}

}  // namespace

/// Reads the journal of one round into the results: the checks come in the same order in each.
class Results::Round {
public:
    Round(std::vector<CheckResult>& checks, const ProcessEnd& end) : _checks(checks), _end(end) {}

    void Take(const Journal::Record& record) {
        const auto& [first, second, third, fourth] = record.fields;
        switch (record.event) {
            case Journal::Event::kPlanned:
                Plan(first, second, third);
                break;
            case Journal::Event::kStarted:
                Start(first, second, third, std::atoll(fourth.c_str()));
                break;
            case Journal::Event::kDefined:
                _definition = first;
                break;
            case Journal::Event::kEnded:
                End(ReadOutcome(first), third, fourth, std::atof(second.c_str()) / 1e6);
                break;
            case Journal::Event::kBroken:
                if (!_brokenText)
                    _brokenText = fourth;
                End(ReadOutcome(first), third, fourth, SecondsUntilEnd());
                break;
            case Journal::Event::kFinished:
                _isFinished = true;
                break;
        }
    }

    /// For a round that is not finished.
    BrokenEnd Break() {
        BrokenEnd broken{_brokenText.value_or(_end.text), _brokenText.has_value(), ""};
        if (_running != nullptr) {
            broken.reportStart = (_definition.empty() ? "" : _definition + ":E:") + _running->testCase + ":" +
                                 _running->name + ":0: ";
            End(Outcome::kError, _definition, _end.text, SecondsUntilEnd());
        }
        return broken;
    }

    /// A program may end without having had anything to run.
    [[nodiscard]] bool IsWhole() const { return _isFinished || (_planned == 0 && _next == 0); }

private:
    void Plan(const std::string& suite, const std::string& testCase, const std::string& name) {
        if (_planned == _checks.size())
            _checks.push_back({suite, testCase, name, Outcome::kNotRun, "", "", 0, 0, 0});
        ++_planned;
    }

    /// Checks start in the order in which they were planned; one that nobody planned comes in between.
    void Start(const std::string& suite, const std::string& testCase, const std::string& name,
               long long microseconds) {
        const auto isIt = [&](const CheckResult& check) {
            return check.name == name && check.testCase == testCase && check.suite == suite;
        };
        if (_next == _checks.size() || !isIt(_checks[_next]))
            _checks.insert(_checks.begin() + static_cast<std::ptrdiff_t>(_next),
                           {suite, testCase, name, Outcome::kNotRun, "", "", 0, 0, 0});
        _running = &_checks[_next++];
        _startTime = std::chrono::microseconds(microseconds);
        _definition.clear();
    }

    [[nodiscard]] double SecondsUntilEnd() const {
        return std::chrono::duration<double>(_end.time - _startTime).count();
    }

    void End(Outcome outcome, const std::string& place, const std::string& text, double seconds) {
        if (_running == nullptr)
            return;
        CheckResult& check = *_running;
        _running = nullptr;
        ++check.rounds;
        check.seconds += (seconds - check.seconds) / check.rounds;
        if (outcome == Outcome::kPassed) {
            if (check.badRounds == 0)
                check.outcome = Outcome::kPassed;
            return;
        }
        if (check.badRounds++ == 0) {
            check.outcome = outcome;
            check.place = place;
            check.text = text;
        }
    }

    std::vector<CheckResult>& _checks;
    const ProcessEnd& _end;
    std::chrono::microseconds _startTime{};
    std::size_t _planned = 0;
    std::size_t _next = 0;
    CheckResult* _running = nullptr;
    std::string _definition;
    std::optional<std::string> _brokenText;
    bool _isFinished = false;
};

std::string FullName(const CheckResult& check) {
    return check.suite + "/" + check.testCase + "/" + check.name;
}

Counts Count(const std::vector<const CheckResult*>& checks) {
    Counts counts;
    for (const CheckResult* check : checks) {
        ++counts.all;
        ++(check->outcome == Outcome::kPassed   ? counts.passed
           : check->outcome == Outcome::kFailed ? counts.failed
           : check->outcome == Outcome::kError  ? counts.errors
                                                : counts.notRun);
    }
    return counts;
}

Counts Results::Total() const {
    std::vector<const CheckResult*> all;
    for (const CheckResult& check : _checks)
        all.push_back(&check);
    return Count(all);
}

Results::BrokenEnd Results::AddRound(const std::vector<Journal::Record>& records, const ProcessEnd& end) {
    ++_rounds;
    Round round(_checks, end);
    for (const Journal::Record& record : records)
        round.Take(record);
    if (round.IsWhole())
        return {};
    BrokenEnd broken = round.Break();
    if (_firstBrokenEnd.empty())
        _firstBrokenEnd = broken.text;
    return broken;
}

}  // namespace zumra::check
