// Medians and spreads of the repetitions, as Markdown tables.
#include "harness/report.h"

#include <algorithm>
#include <cstdio>

#include "harness/contender.h"

namespace bench {
namespace {

void add_once(std::vector<std::string> &list, const std::string &item) {
    if (std::find(list.begin(), list.end(), item) == list.end()) {
        list.push_back(item);
    }
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, value < 100 ? "%.1f" : "%.0f", value);
    return text;
}

std::string ratio(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

double middle_of(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

std::string benchmark_name(const std::string &scenario, const std::string &work, const std::string &contender) {
    return scenario + "/" + work + "/" + contender;
}

void report::ReportRuns(const std::vector<Run> &runs) {
    for (const Run &run : runs) {
        if (run.run_type != Run::RT_Iteration) {
            continue;
        }
        if (run.error_occurred) {
            GetErrorStream() << run.benchmark_name() << ": " << run.error_message << "\n";
            continue;
        }
        times_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
        for (const auto &[quantile, value] : run.counters) {
            quantiles_[run.run_name.function_name][quantile].push_back(value.value);
        }
    }
    if (!runs.empty()) {
        const std::string &name = runs.front().run_name.function_name;
        const double time = median(name);
        if (time >= 0) {
            GetOutputStream() << name << ": " << number(time) << " ns\n" << std::flush;
        }
    }
}

double report::median(const std::string &name) const {
    const auto found = times_.find(name);
    return found == times_.end() ? -1 : middle_of(found->second);
}

void report::write(std::ostream &out) const {
    std::vector<std::string> scenarios;
    for (const contender &one : contenders()) {
        add_once(scenarios, one.scenario);
    }
    for (const std::string &scenario : scenarios) {
        write_scenario(out, scenario);
    }
    write_quantiles(out);
    write_limits(out);
    write_races(out);
}

void report::write_scenario(std::ostream &out, const std::string &scenario) const {
    std::vector<std::string> works;
    std::vector<std::string> names;
    for (const contender &one : contenders()) {
        for (const work &piece : one.works) {
            if (one.scenario == scenario && median(benchmark_name(scenario, piece.name, one.name)) >= 0) {
                add_once(works, piece.name);
                add_once(names, one.name);
            }
        }
    }
    if (works.empty()) {
        return;
    }
    // The first column is what the others are compared with: their ratios say how many times longer they take.
    out << "### " << scenario << "\n\n| ns |";
    for (const std::string &name : names) {
        out << " " << name << " |";
    }
    out << "\n|---|";
    for (size_t i = 0; i < names.size(); ++i) {
        out << "---:|";
    }
    out << "\n";
    for (const std::string &piece : works) {
        out << "| " << piece << " |";
        const double first = median(benchmark_name(scenario, piece, names.front()));
        for (const std::string &name : names) {
            const double time = median(benchmark_name(scenario, piece, name));
            out << " ";
            if (time >= 0) {
                out << number(time);
                if (name != names.front() && first > 0) {
                    out << " (" << ratio(time / first) << ")";
                }
            }
            out << " |";
        }
        out << "\n";
    }
    out << "\n";
}

void report::write_quantiles(std::ostream &out) const {
    if (quantiles_.empty()) {
        return;
    }
    out << "### Each timed by itself\n\n| ns | p50 | p99 | p99.9 |\n|---|---:|---:|---:|\n";
    for (const contender &one : contenders()) {
        for (const work &piece : one.works) {
            const auto found = quantiles_.find(benchmark_name(one.scenario, piece.name, one.name));
            if (found == quantiles_.end()) {
                continue;
            }
            out << "| " << one.scenario << ", " << piece.name.substr(0, piece.name.find(',')) << ", " << one.name
                << " |";
            for (const auto &[quantile, values] : found->second) {
                out << " " << number(middle_of(values)) << " |";
            }
            out << "\n";
        }
    }
    out << "\n";
}

double report::median(const side &of) const { return median(benchmark_name(of.scenario, of.work, of.contender)); }

bool report::evaluate(const limit &one, verdict &result) const {
    const double base = one.base.scenario == nullptr ? 0 : median(one.base);
    const double left = median(one.left) - base;
    const double right = median(one.right);
    if (median(one.left) < 0 || right < 0 || base < 0) {
        return false;
    }
    result.ratio = left / right;
    result.difference = left - right;
    result.holds = left <= one.factor * right + one.more;
    return true;
}

void report::write_limits(std::ostream &out) const {
    out << "### Limits\n\n| scenario | work | compared with | measured | at most | |\n|---|---|---|---:|---:|---|\n";
    for (const limit &one : limits()) {
        verdict result;
        if (!evaluate(one, result)) {
            continue;
        }
        const bool by_difference = one.more > 0;
        out << "| " << one.left.scenario << " | " << one.left.work << ", " << one.left.contender << " | "
            << (one.left.work == one.right.work ? std::string() : one.right.work + std::string(", "))
            << one.right.contender
            << (one.base.scenario == nullptr ? "" : std::string(", beyond ") + one.base.contender) << " | "
            << (by_difference ? ratio(result.difference) + " ns more" : ratio(result.ratio) + " x") << " | "
            << (by_difference ? ratio(one.more) + " ns more" : ratio(one.factor) + " x") << " | "
            << (result.holds ? "holds" : "**missed**") << " |\n";
    }
    out << "\n";
}

void report::write_races(std::ostream &out) const {
    out << "### Ahead of the peers\n\n| scenario | work | fastest peer | ours takes | |\n|---|---|---|---:|---|\n";
    for (const race &one : races()) {
        const double own = median(benchmark_name(one.scenario, one.work, one.contender));
        double best = -1;
        std::string name;
        for (const char *other : one.others) {
            const double time = median(benchmark_name(one.scenario, one.work, other));
            if (time >= 0 && (best < 0 || time < best)) {
                best = time;
                name = other;
            }
        }
        if (own >= 0 && best > 0) {
            out << "| " << one.scenario << " | " << one.work << " | " << name << " | " << ratio(own / best) << " x | "
                << (own <= best ? "ahead" : "**behind**") << " |\n";
        }
    }
    out << "\n";
}

bool report::limits_hold() const {
    return std::all_of(limits().begin(), limits().end(), [this](const limit &one) {
        verdict result;
        return !evaluate(one, result) || result.holds;
    });
}

}  // namespace bench
