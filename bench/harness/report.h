// Collects the repetitions of a run and writes them down as Markdown tables.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "harness/limits.h"

namespace bench {

class report : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context &) override { return true; }
    /** Takes the repetitions of one benchmark, whose name is SCENARIO/WORK/CONTENDER. */
    void ReportRuns(const std::vector<Run> &runs) override;

    /** One table per scenario, then the limits and the races. Rows and columns are in the order in which contenders entered. */
    void write(std::ostream &out) const;
    /** Whether every limit holds whose two sides were timed. */
    bool limits_hold() const;

  private:
    /** How a limit's two sides compare. */
    struct verdict {
        double ratio;
        double difference;
        bool holds;
    };

    /** False when one of the sides was not timed. */
    bool evaluate(const limit &one, verdict &result) const;
    /** Median processor time of one iteration in nanoseconds; negative when it was not timed. */
    double median(const std::string &name) const;
    double median(const side &of) const;
    void write_scenario(std::ostream &out, const std::string &scenario) const;
    /** What contenders counted: the times that a share of single passes stays below. */
    void write_quantiles(std::ostream &out) const;
    void write_limits(std::ostream &out) const;
    void write_races(std::ostream &out) const;

    std::map<std::string, std::vector<double>> times_;
    std::map<std::string, std::map<std::string, std::vector<double>>> quantiles_;
};

/** The name under which a benchmark is registered and reported. */
std::string benchmark_name(const std::string &scenario, const std::string &work, const std::string &contender);

}  // namespace bench
