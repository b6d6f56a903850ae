#include "agent/supervise/daemon_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "agent/base/whole_file.h"
#include "agent/supervise/lock_file.h"
#include "support/surroundings.h"

namespace ptp_agent {
namespace {

using test::run_until;

/**
 * Real processes whose configuration says how they behave: "bad" ends at once, "silent" never answers; with "unfit" and
 * "crashing" the file is not even read to its end, and "endless" takes for ever to read.
 */
class ScriptedDaemon : public Daemon {
  public:
    ScriptedDaemon(EventLoop &loop, std::string path) : loop_(loop), path_(std::move(path)) {}

    std::string_view name() const override { return "scripted"; }
    Rendering render(const ClockIntent &) const override { return {}; }
    std::vector<std::string> command(const std::string &path) const override {
        return {"/bin/sh", "-c",
                "read -r first <$0\n"
                "case $first in unfit*) echo line 1 is unfit; exit 254;; crashing*) kill -SEGV $$;; esac\n"
                "if grep -q 'end of trial' $0; then\n"
                "    case $first in endless*) exec sleep 100;; esac\n"
                "    echo 'no option: end of trial' >&2; exit 254\n"
                "fi\n"
                "case $first in bad*) echo cannot do it >&2; exit 255;; esac\n"
                "exec sleep 100",
                path};
    }
    std::optional<Trial> trial(const Rendering &rendering) const override {
        return has_trial_ ? std::optional(Trial{rendering.file + "\nend of trial\n", "end of trial"}) : std::nullopt;
    }
    void observe(std::function<void(const Observation &)> done) override {
        timers_.push_back(std::make_unique<Timer>(loop_, [this, done] {
            Observation found;
            const std::string file = read_file(path_).value_or("silent");
            if (file.find("silent") == std::string::npos && file.find("bad") == std::string::npos) {
                found.default_ds.emplace();
            }
            done(found);
        }));
        timers_.back()->start_ms(5);
    }
    void set(const Settings &settings, std::function<void(const SettingResult &)> done) override {
        set_.push_back(settings);
        timers_.push_back(std::make_unique<Timer>(loop_, [this, done] { done(set_result_); }));
        timers_.back()->start_ms(1);
    }
    void subscribe(std::function<void(const DaemonEvent &)>) override {}
    void running_in_domain(std::uint8_t domain) override { domain_ = domain; }

    EventLoop &loop_;
    std::string path_;
    bool has_trial_ = false;
    std::vector<Settings> set_;
    SettingResult set_result_ = {Outcome::Done, {}};
    std::uint8_t domain_ = 0;
    std::vector<std::unique_ptr<Timer>> timers_;
};

Plan plan_by_equality(const Rendering *running, const Rendering &wanted) {
    Plan plan;
    const bool restart = running == nullptr || running->file != wanted.file;
    plan.action = restart ? Plan::Action::Restart : *running == wanted ? Plan::Action::Nothing : Plan::Action::Set;
    plan.settings = wanted.settings;
    return plan;
}

class Control : public testing::Test {
  protected:
    Control() {
        options_.configuration_path = path_;
        options_.answer_timeout_ms = 300;
        options_.trial_timeout_ms = 300;
        options_.planner = plan_by_equality;
        options_.supervisor.first_wait_ms = 20;
        options_.supervisor.longest_wait_ms = 50;
        options_.supervisor.stop_timeout_ms = 100;
        make();
    }

    void make() {
        control_ = std::make_unique<DaemonControl>(
            loop_, daemon_, options_, [this](ProcessState state, const std::string &) { states_.push_back(state); });
    }

    static Rendering with(const std::string &file, int priority = -1) {
        Rendering result{file, {}};
        if (priority >= 0) {
            result.settings.priority1 = static_cast<std::uint8_t>(priority);
        }
        return result;
    }

    ApplyResult apply(const Rendering &wanted, DaemonControl::Refusal refusal = DaemonControl::Refusal::GiveUp) {
        std::optional<ApplyResult> result;
        control_->apply(wanted, 24, refusal, [&](const ApplyResult &each) { result = each; });
        EXPECT_TRUE(run_until(loop_, [&] { return result.has_value(); }));
        return result.value_or(ApplyResult());
    }

    test::TemporaryDirectory directory_;
    std::string path_ = directory_.path() + "/daemon.conf";
    EventLoop loop_;
    ScriptedDaemon daemon_{loop_, path_};
    ControlOptions options_;
    std::vector<ProcessState> states_;
    std::unique_ptr<DaemonControl> control_;
};

TEST_F(Control, DoesNoMoreThanIsNeeded) {
    EXPECT_EQ(apply(with("one", 1)).outcome, Outcome::Done);
    const pid_t process = control_->supervisor().process();
    EXPECT_EQ(daemon_.domain_, 24);
    ASSERT_EQ(daemon_.set_.size(), 1u) << "what the file does not say is set once the daemon answers";
    EXPECT_EQ(apply(with("one", 1)).action, Plan::Action::Nothing);
    EXPECT_EQ(daemon_.set_.size(), 1u);
    EXPECT_EQ(apply(with("one", 2)).action, Plan::Action::Set);
    EXPECT_EQ(daemon_.set_.back().priority1, 2);
    EXPECT_EQ(control_->supervisor().process(), process);
    EXPECT_EQ(apply(with("two", 2)).action, Plan::Action::Restart);
    EXPECT_NE(control_->supervisor().process(), process);
}

TEST_F(Control, TakesBackWhatTheDaemonDoesNotRunWith) {
    ASSERT_EQ(apply(with("good", 7)).outcome, Outcome::Done);
    for (const auto &[file, why] : {std::pair{"bad", "ended with status 255"}, {"silent", "does not answer"}}) {
        const ApplyResult refused = apply(with(file, 8));
        EXPECT_EQ(refused.outcome, Outcome::Refused);
        EXPECT_THAT(refused.reason, testing::HasSubstr(why));
        EXPECT_THAT(refused.reason, testing::HasSubstr("former configuration is back"));
        EXPECT_EQ(read_file(path_), "good");
        EXPECT_EQ(control_->supervisor().state(), ProcessState::Running);
        EXPECT_EQ(control_->running()->file, "good");
        EXPECT_EQ(daemon_.set_.back().priority1, 7);
    }
}

TEST_F(Control, LeavesTheDaemonAloneWhenATrialTellsThatItDoesNotTakeTheFile) {
    daemon_.has_trial_ = true;
    ASSERT_EQ(apply(with("unfit")).reason, "scripted does not take this configuration: line 1 is unfit");
    EXPECT_EQ(control_->supervisor().starts(), 0u) << "of a first file, too";
    ASSERT_EQ(apply(with("good", 7)).outcome, Outcome::Done);
    EXPECT_FALSE(read_file(path_ + ".trial"));
    const pid_t process = control_->supervisor().process();
    for (const auto &[file, why] : {std::pair{"unfit", "line 1 is unfit"}, {"crashing", "signal 11"}}) {
        const ApplyResult refused = apply(with(file, 8));
        EXPECT_EQ(refused.outcome, Outcome::Refused);
        EXPECT_THAT(refused.reason, testing::HasSubstr(why));
        EXPECT_EQ(control_->supervisor().process(), process);
        EXPECT_EQ(read_file(path_), "good");
        EXPECT_THAT(read_file(path_ + ".trial").value_or(""), testing::StartsWith(file)) << "to be looked at";
    }
    EXPECT_EQ(daemon_.set_.size(), 1u);
}

TEST_F(Control, GoesOnAfterATrialThatTellsNothing) {
    daemon_.has_trial_ = true;
    ASSERT_EQ(apply(with("good")).outcome, Outcome::Done);
    EXPECT_EQ(apply(with("endless")).outcome, Outcome::Done);
    EXPECT_EQ(read_file(path_), "endless");
    EXPECT_THAT(apply(with("bad")).reason, testing::HasSubstr("cannot do it; the former configuration is back"));
    EXPECT_EQ(read_file(path_), "endless");
}

TEST_F(Control, KeepsTheDaemonRunningDuringATrialAndEndsTheTrialWithItself) {
    daemon_.has_trial_ = true;
    options_.trial_timeout_ms = 5000;
    make();
    ASSERT_EQ(apply(with("good")).outcome, Outcome::Done);
    std::optional<ApplyResult> result;
    control_->apply(with("endless"), 0, DaemonControl::Refusal::GiveUp,
                    [&](const ApplyResult &each) { result = each; });
    kill(control_->supervisor().process(), SIGKILL);
    EXPECT_TRUE(run_until(loop_, [&] { return control_->supervisor().starts() == 2; }));
    EXPECT_EQ(read_file(path_), "good");
    EXPECT_FALSE(result);
    control_->stop();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->reason, "was stopped");
    EXPECT_FALSE(read_file(path_ + ".trial"));
}

TEST_F(Control, StopsAFirstConfigurationThatIsRefusedUnlessItRanBefore) {
    const ApplyResult refused = apply(with("bad"));
    EXPECT_EQ(refused.reason, "scripted does not run with this configuration: it ended with status 255: cannot do it");
    EXPECT_EQ(control_->supervisor().state(), ProcessState::Stopped);
    EXPECT_FALSE(control_->running());
    EXPECT_EQ(apply(with("bad"), DaemonControl::Refusal::KeepTrying).outcome, Outcome::Refused);
    EXPECT_TRUE(run_until(loop_, [&] { return control_->supervisor().state() == ProcessState::Failing; }));
    ASSERT_EQ(write_file(path_, "good now"), "");
    EXPECT_TRUE(run_until(loop_, [&] { return control_->supervisor().process() != 0; }));
}

TEST_F(Control, AppliesTheLastOfManyAndAnswersAll) {
    std::vector<ApplyResult> results;
    for (int i = 0; i < 50; ++i) {
        control_->apply(with(i == 49 ? "last" : "other" + std::to_string(i)), 0, DaemonControl::Refusal::GiveUp,
                        [&](const ApplyResult &each) { results.push_back(each); });
    }
    EXPECT_TRUE(run_until(loop_, [&] { return results.size() == 50; }));
    EXPECT_EQ(control_->running()->file, "last");
    EXPECT_EQ(control_->supervisor().starts(), 2u) << "the first and the last";
}

TEST_F(Control, TellsADaemonAgainWhatItForgotAndGivesUpWhenThatDoesNotHelp) {
    ASSERT_EQ(apply(with("good", 7)).outcome, Outcome::Done);
    Observation found;
    found.default_ds.emplace();
    found.default_ds->priority1 = 7;
    control_->check(found);
    EXPECT_EQ(daemon_.set_.size(), 1u);
    found.default_ds->priority1 = 128;
    for (int i = 0; i < 10; ++i) {
        control_->check(found);
        run_until(loop_, [&] { return !control_->is_busy(); });
    }
    EXPECT_EQ(daemon_.set_.size(), 4u);
}

TEST_F(Control, OnlySetsADaemonThatSomebodyElseStarts) {
    options_.is_external = true;
    make();
    EXPECT_EQ(apply(with("one", 1)).outcome, Outcome::Done);
    EXPECT_EQ(control_->supervisor().starts(), 0u);
    EXPECT_EQ(daemon_.set_.back().priority1, 1);
    const ApplyResult other = apply(with("two", 2));
    EXPECT_EQ(other.outcome, Outcome::Unsupported);
    EXPECT_THAT(other.reason, testing::HasSubstr("restart it with " + path_));
    EXPECT_EQ(read_file(path_), "two");
}

TEST_F(Control, SaysThatTheConfigurationCannotBeWritten) {
    options_.configuration_path = directory_.path() + "/none/daemon.conf";
    make();
    const ApplyResult refused = apply(with("one"));
    EXPECT_EQ(refused.outcome, Outcome::Refused);
    EXPECT_THAT(refused.reason, testing::HasSubstr("No such file or directory"));
    EXPECT_EQ(control_->supervisor().starts(), 0u);
}

TEST(LockFile, RefusesASecondAgentUntilTheFirstEnds) {
    const test::TemporaryDirectory directory;
    const std::string path = directory.path() + "/lock";
    auto first = std::make_unique<LockFile>(path);
    try {
        const LockFile second(path);
        FAIL() << "two hold it";
    } catch (const std::runtime_error &error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("process " + std::to_string(getpid())));
    }
    first.reset();
    const LockFile third(path);
}

}  // namespace
}  // namespace ptp_agent
