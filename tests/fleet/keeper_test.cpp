// The store without servers: what is there after a process that ended at any moment, and what people are answered.
#include <gmock/gmock.h>

#include <filesystem>

#include "../transport/nats/nats_server.h"
#include "keeper.h"
#include "report_maker.h"
#include "sqlite_history.h"

namespace ptp_fleet {
namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t start = 1'700'000'000 * second;

/** Simulated elements, whose messages come in the order in which they were made. */
class some_elements {
  public:
    explicit some_elements(std::uint32_t count)
        : clocks_(5, count, 1, {}), reports_(count, 10, start), sequences_(count) {}

    std::vector<journal_entry> next_second() {
        std::vector<journal_entry> result;
        clocks_.run_second();
        const std::uint64_t now = start + static_cast<std::uint64_t>(clocks_.time()) * second;
        reports_.report_second(clocks_, [&](const report &one) {
            journal_entry entry;
            entry.name = {"sim" + std::to_string(one.element), "0"};
            entry.source = "boot." + entry.name.element;
            entry.sequence = ++sequences_[one.element];
            entry.message = one.message;
            entry.time_ns = entry.heard_ns = now;
            entry.bytes.assign(one.bytes.begin(), one.bytes.end());
            result.push_back(std::move(entry));
        });
        return result;
    }

  private:
    network clocks_;
    report_maker reports_;
    std::vector<std::uint64_t> sequences_;
};

/** A process that keeps. */
struct collecting_process {
    collecting_process(const std::string &file, const std::string &holder) : kept(file, holder, state, samples) {}

    fleet_state state;
    open_samples samples;
    keeper kept;
};

class Keeper : public testing::Test {
  protected:
    std::string file() const { return folder_.path + "/fleet.db"; }
    std::unique_ptr<collecting_process> open(const std::string &holder = "one") {
        return std::make_unique<collecting_process>(file(), holder);
    }
    static std::string described(const fleet_state &of) {
        std::string text;
        for (const clock_summary &row : of.summaries()) {
            text += to_text(row.name) + " " + to_text(row.lock) + " since " + std::to_string(row.lock_since_ns) + " " +
                    (row.parent ? to_text(*row.parent) : "") + " " + std::to_string(row.offset_ns.value_or(0)) + " " +
                    std::to_string(row.messages) + " messages " + std::to_string(row.events) + " events " +
                    std::to_string(row.changed_ns) + "\n";
            for (const clock_record &record : of.records(row.name)) {
                text += "  " + record.json + " " + std::to_string(record.time_ns) + "\n";
            }
        }
        for (const change_entry &each : of.recent_changes(10000)) {
            text += to_text(each.name) + " " + each.what + " " + each.before + " " + each.after + "\n";
        }
        return text;
    }

    test::scratch_folder folder_;
};

TEST_F(Keeper, IsAfterAnEndAtAnyMomentAsIfNothingHadBeen) {
    some_elements elements(8);
    collecting_process whole(folder_.path + "/other.db", "other");
    auto broken = open();
    for (int i = 1; i <= 40; ++i) {
        for (const journal_entry &each : elements.next_second()) {
            whole.kept.take(each);
            broken->kept.take(each);
        }
        broken->kept.commit();
        if (i % 11 == 0) {
            broken->kept.checkpoint();
        }
        if (i % 7 == 0) {
            broken = open("process " + std::to_string(i));
        }
    }
    broken = open("last");
    EXPECT_EQ(described(broken->state), described(whole.state));
    EXPECT_EQ(broken->kept.totals().messages, whole.kept.totals().messages);
    whole.kept.commit();
    sqlite_history a(folder_.path + "/other.db", whole.samples, [] { return store_totals(); });
    sqlite_history b(file(), broken->samples, [] { return store_totals(); });
    const clock_name name{"sim3", "0"};
    const auto expected = a.series(name, start, start + 100 * second, 1000),
               found = b.series(name, start, start + 100 * second, 1000);
    ASSERT_EQ(expected.size(), 40u);
    ASSERT_EQ(found.size(), 40u);
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].time_ns, expected[i].time_ns);
        EXPECT_EQ(found[i].offset_mean, expected[i].offset_mean);
    }
    EXPECT_EQ(b.changes(name, 0, ~0ull, 1000).size(), a.changes(name, 0, ~0ull, 1000).size());
    EXPECT_FALSE(b.changes(0, ~0ull, 1000).empty());
}

TEST_F(Keeper, TakesEachNumberOnceInWhateverOrderAndCountsWhatIsMissing) {
    some_elements elements(1);
    std::vector<journal_entry> all;
    for (int i = 0; i < 20; ++i) {
        for (journal_entry &each : elements.next_second()) {
            all.push_back(std::move(each));
        }
    }
    auto process = open();
    const auto take = [&](std::size_t number) { return process->kept.take(all[number - 1]).is; };
    EXPECT_EQ(take(1), verdict::next);
    EXPECT_EQ(take(5), verdict::next);
    EXPECT_EQ(take(3), verdict::late);
    EXPECT_EQ(take(5), verdict::repeated);
    process->kept.checkpoint();
    EXPECT_EQ(take(9), verdict::next);
    process->kept.commit();
    process = open("after");
    EXPECT_EQ(process->kept.totals().missing, 5u) << "2, 4 and 6 to 8";
    for (const std::size_t number : {1, 3, 5, 9}) {
        EXPECT_EQ(take(number), verdict::repeated) << number;
    }
    for (const std::size_t number : {7, 2, 4, 8, 6}) {
        EXPECT_EQ(take(number), verdict::late) << number;
    }
    EXPECT_EQ(process->kept.totals().missing, 0u);
    EXPECT_EQ(process->kept.totals().repeated, 5u);
}

TEST_F(Keeper, WritesNoMoreWhenAnotherHasOpenedTheStore) {
    some_elements elements(2);
    auto first = open("first");
    const auto second_process = open("second");
    for (const journal_entry &each : elements.next_second()) {
        first->kept.take(each);
    }
    EXPECT_THROW(first->kept.commit(), superseded);
    EXPECT_THROW(first->kept.checkpoint(), superseded);
}

TEST_F(Keeper, AnswersWithFewerPointsThatHaveTheExtremesAndForgetsByAge) {
    some_elements elements(2);
    auto process = open();
    for (int i = 0; i < 600; ++i) {
        for (const journal_entry &each : elements.next_second()) {
            process->kept.take(each);
        }
        if (i % 60 == 0) {
            process->kept.checkpoint();
        }
    }
    sqlite_history past(file(), process->samples, [] { return store_totals(); });
    const clock_name name{"sim1", "0"};
    const auto all = past.series(name, start, start + 3600 * second, 10000);
    const auto few = past.series(name, start, start + 3600 * second, 60);
    ASSERT_EQ(all.size(), 600u);
    EXPECT_LE(few.size(), 12u);
    const auto highest = [](const std::vector<series_point> &of) {
        double value = of.front().offset_high;
        for (const series_point &each : of) {
            value = std::max(value, each.offset_high);
        }
        return value;
    };
    EXPECT_EQ(highest(few), highest(all));
    ASSERT_FALSE(past.records_at(name, start + 300 * second).empty());
    EXPECT_TRUE(past.records_at(name, start - second).empty());

    process->kept.checkpoint();
    keeping how;
    const std::uint64_t day = 86'400 * second;
    process->kept.maintain(how, start + 3 * day);
    const auto minutes = past.series(name, start, start + 3600 * second, 10000);
    EXPECT_LT(minutes.size(), 20u) << "seconds are gone";
    EXPECT_NEAR(highest(minutes), highest(all), 0.1);
    process->kept.maintain(how, start + 20 * day);
    const auto hours = past.series(name, start - 3600 * second, start + 3600 * second, 10000);
    EXPECT_LE(hours.size(), 2u);
    EXPECT_NEAR(highest(hours), highest(all), 0.1);
    EXPECT_FALSE(past.records_at(name, start + 300 * second).empty());
    process->kept.maintain(how, start + 500 * day);
    EXPECT_TRUE(past.series(name, start - 3600 * second, start + 3600 * second, 10000).empty());
    EXPECT_FALSE(past.records_at(name, start + 3600 * second).empty()) << "the last of each stays";
}

}  // namespace
}  // namespace ptp_fleet
