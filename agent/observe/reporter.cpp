// What is reported of an observation, and what of it was said before.
#include "agent/observe/reporter.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace ptp_agent {
namespace {

/** States of a stream in the lists: the model leaves the numbers to the daemon. 0 is a place that is not in use. */
enum StreamState : std::int64_t { configured = 1, followed = 2 };

std::string text_of(const PortIdentity &identity) {
    char text[32];
    const ClockIdentity &id = identity.clock;
    std::snprintf(text, sizeof text, "%02x%02x%02x%02x%02x%02x%02x%02x-%u", id[0], id[1], id[2], id[3], id[4], id[5],
                  id[6], id[7], static_cast<unsigned>(identity.port));
    return text;
}

void add_counters(PortCounters &sum, const PortCounters &more) {
    for (std::size_t i = 0; i < sum.sent.size(); ++i) {
        sum.sent[i] += more.sent[i];
        sum.received[i] += more.received[i];
    }
}

std::vector<ReportMaker> makers_of_states() {
    std::vector<ReportMaker> makers;
    for (const auto &rows : {clock_report_rows(), port_report_rows(), master_report_rows()}) {
        for (const ReportRow &row : rows) {
            makers.emplace_back(row);
        }
    }
    return makers;
}

}  // namespace

Reporter::Reporter(SharedHandle handle, std::uint64_t statistics_ns)
    : handle_(std::move(handle)),
      statistics_ns_(statistics_ns),
      makers_(makers_of_states()),
      selected_(selected_master_event()),
      set_time_(set_time_event()),
      step_time_(step_time_event()) {}

std::vector<Report> Reporter::report(const ReportInput &input) {
    std::vector<Report> reports;
    const bool answers = input.now->default_ds.has_value();
    ReportInput all = input;
    // Who was silent may be another daemon by now: all that was said of the former is void.
    all.full = input.full || (answers && !answered_);
    answered_ = answers;
    take_statistics(*input.now, all.full);
    follow_master(all, reports);
    tell_jump(all, reports);
    for (const ReportMaker &maker : makers_) {
        if (maker.capacity() > 0) {
            add_parts(maker, all, reports);
        } else {
            add_state(maker, all, reports);
        }
    }
    return reports;
}

void Reporter::take_statistics(const Observation &now, bool full) {
    if (!full && counted_ns_ != 0 && now.monotonic_ns < counted_ns_ + statistics_ns_) {
        return;
    }
    counted_ns_ = now.monotonic_ns;
    counters_.clear();
    total_.reset();
    PortCounters sum;
    for (const PortObservation &port : now.ports) {
        if (port.counters) {
            counters_[port.number] = *port.counters;
            add_counters(sum, *port.counters);
        }
    }
    if (!now.ports.empty() && counters_.size() == now.ports.size()) {
        total_ = sum;
    }
}

std::optional<MasterInfo> Reporter::identify_master(const ReportInput &input) const {
    const Observation &now = *input.now;
    if (!now.parent_ds || !now.default_ds || now.parent_ds->parent.clock == now.default_ds->identity) {
        return std::nullopt;  // its own grandmaster
    }
    MasterInfo master;
    master.identity = now.parent_ds->parent;
    for (const ForeignMaster &heard : now.foreign_masters) {
        if (heard.sender == master.identity) {
            master.ip = parse_address(heard.address);
            if (heard.mac != MacAddress()) {
                master.mac = heard.mac;
            }
            master.stream = input.intent == nullptr ? std::nullopt : stream_of(*input.intent, heard);
        }
    }
    for (std::size_t i = 0; input.intent != nullptr && i < input.intent->ports().size(); ++i) {
        const bool is_slave = i < now.ports.size() && now.ports[i].data_set &&
                              (now.ports[i].data_set->state == PortState::Slave ||
                               now.ports[i].data_set->state == PortState::Uncalibrated);
        const PortIntent &port = input.intent->ports()[i];
        if (is_slave) {
            master.encapsulation = port.port->number("encap");
        }
        if (is_slave && !master.stream && port.streams.size() == 1) {
            master.stream = port.streams[0]->number("stream_handle");
        }
    }
    return master;
}

void Reporter::follow_master(const ReportInput &input, std::vector<Report> &reports) {
    master_updated_ = false;
    if (!input.now->parent_ds) {
        return;
    }
    std::optional<MasterInfo> found = identify_master(input);
    const PortIdentity parent = input.now->parent_ds->parent;
    const bool has_changed = parent_ && *parent_ != parent;
    if (has_changed) {
        former_master_ = master_;
        master_updated_ = true;
    }
    // An address that was heard once stays known, also while nothing is heard.
    if (!has_changed && found && master_ && found->identity == master_->identity) {
        found->ip = found->ip ? found->ip : master_->ip;
        found->mac = found->mac ? found->mac : master_->mac;
    }
    parent_ = parent;
    master_ = found;
    if (has_changed) {
        const ReportValues values = selected_.values(clock_source(input), {});
        reports.push_back({&selected_.row(), "", selected_.make(handle_, values, nullptr)});
    }
}

void Reporter::tell_jump(const ReportInput &input, std::vector<Report> &reports) {
    const std::optional<TimeJump> jump = jumps_.update(*input.now);
    if (!jump) {
        return;
    }
    ReportSource source = clock_source(input);
    source.jump = &*jump;
    const ReportMaker &maker = jump->kind == TimeJump::Kind::Set ? set_time_ : step_time_;
    reports.push_back({&maker.row(), "", maker.make(handle_, maker.values(source, {}), nullptr)});
}

ReportSource Reporter::clock_source(const ReportInput &input) const {
    ReportSource source;
    source.now = input.now;
    source.intent = input.intent;
    source.clock_state = input.clock_state;
    source.total = total_;
    source.master = master_ ? &*master_ : nullptr;
    source.former_master = former_master_ ? &*former_master_ : nullptr;
    source.master_updated = master_updated_;
    return source;
}

void Reporter::port_source(const ReportInput &input, std::size_t index, ReportSource &source) const {
    const std::vector<PortObservation> &ports = input.now->ports;
    const auto number = static_cast<std::uint16_t>(index + 1);
    source.port = index < ports.size() ? &ports[index] : nullptr;
    const auto counted = counters_.find(number);
    source.counters = source.port != nullptr && counted != counters_.end() ? &counted->second : nullptr;
    source.port_handle = number;
    if (input.intent != nullptr && index < input.intent->ports().size()) {
        source.port_handle = input.intent->ports()[index].port->number("port_num");
    }
}

Reporter::Sources Reporter::sources_of(Scope scope, const ReportInput &input) const {
    const ReportSource clock = clock_source(input);
    Sources sources;
    if (scope == Scope::Clock) {
        sources.push_back(clock);
    }
    for (std::size_t i = 0; scope == Scope::Port && i < input.now->ports.size(); ++i) {
        port_source(input, i, sources.emplace_back(clock));
    }
    for (std::size_t i = 0; scope == Scope::Stream && input.intent != nullptr && i < input.intent->ports().size();
         ++i) {
        const auto &streams = input.intent->ports()[i].streams;
        for (const SharedRecord &stream : streams) {
            ReportSource &source = sources.emplace_back(clock);
            port_source(input, i, source);
            source.stream = stream.get();
            const bool is_followed = master_ && master_->stream && master_->stream == stream->number("stream_handle");
            source.stream_state = is_followed ? followed : configured;
            // The daemon counts by port; the share of one of several streams is not known.
            source.counters = streams.size() == 1 ? source.counters : nullptr;
        }
    }
    for (std::size_t i = 0; scope == Scope::ForeignMaster && i < input.now->foreign_masters.size(); ++i) {
        sources.emplace_back(clock).foreign = &input.now->foreign_masters[i];
    }
    return sources;
}

void Reporter::add_state(const ReportMaker &maker, const ReportInput &input, std::vector<Report> &reports) {
    for (const ReportSource &source : sources_of(maker.row().scope, input)) {
        std::string subject;
        if (source.port != nullptr) {
            subject = "port " + std::to_string(source.port_handle.value_or(source.port->number));
        } else if (source.foreign != nullptr) {
            subject = "master " + text_of(source.foreign->sender);
        }
        add(maker, subject, maker.values(source, {}), input.full, reports);
    }
}

void Reporter::add_parts(const ReportMaker &maker, const ReportInput &input, std::vector<Report> &reports) {
    const RowArray &array = maker.row().array;
    Sources elements = sources_of(array.elements, input);
    if (array.takes != nullptr) {
        std::erase_if(elements, [&](const ReportSource &each) { return !array.takes(each); });
    }
    if (array.elements == Scope::ForeignMaster && !input.hears_masters) {
        return;  // an empty list would say that there is nobody
    }
    const std::span<const ReportSource> all(elements);
    const ReportSource clock = clock_source(input);
    if (!array.in_parts) {
        add(maker, "", maker.values(clock, all), input.full, reports);
        return;
    }
    const std::size_t parts = std::max<std::size_t>(1, (all.size() + maker.capacity() - 1) / maker.capacity());
    // A list of another length is told whole: from a part of it nobody learns what is no more.
    const bool is_longer_or_shorter = std::exchange(told_lengths_[&maker.row()], all.size()) != all.size();
    for (std::size_t i = 0; i < parts; ++i) {
        const std::size_t first = i * maker.capacity();
        const auto part = all.subspan(first, std::min(maker.capacity(), all.size() - first));
        add(maker, "part " + std::to_string(i + 1), maker.values(clock, part), input.full || is_longer_or_shorter,
            reports);
    }
}

void Reporter::add(const ReportMaker &maker, const std::string &subject, ReportValues values, bool full,
                   std::vector<Report> &reports) {
    const std::string key = maker.row().message + (" " + subject);
    const auto told = told_.find(key);
    const bool is_new = told == told_.end();
    // A list that is empty is worth a word when it was not, and nobody hears of one that never had anything.
    if (maker.is_empty(values) && (is_new || maker.is_empty(told->second))) {
        return;
    }
    if (is_new || full) {
        reports.push_back({&maker.row(), subject, maker.make(handle_, values, nullptr)});
    } else if (maker.has_changed(values, told->second)) {
        reports.push_back({&maker.row(), subject, maker.make(handle_, values, &told->second)});
    } else {
        return;
    }
    told_[key] = std::move(values);
}

}  // namespace ptp_agent
