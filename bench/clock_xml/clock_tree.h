// The clock record as a tree of elements, for programs that use an XML library directly.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "records/clock.h"
#include "records/record.h"

namespace bench {

/** Literals of an enumeration by their number. */
using literals = std::vector<std::string>;

inline literals literals_of(const char *type) {
    literals all;
    ptp_cfg_literal literal;
    while (ptp_cfg_literal_describe(ptp_cfg_type_find(type), static_cast<u_int32>(all.size()), &literal) != 0) {
        all.emplace_back(literal.literal);
    }
    return all;
}

struct clock_literals {
    literals version = literals_of("ptp_clock_version");
    literals profile = literals_of("ptp_clock_profile");
    literals accuracy = literals_of("ptp_clock_accuracy");
    literals time_source = literals_of("ptp_clock_time_source");
    literals type = literals_of("ptp_clock_type");
    literals mode = literals_of("ptp_clock_mode");
    literals network = literals_of("ptp_network_type");
    literals tracking = literals_of("ptp_tracking_type");
};

inline const clock_literals &known_literals() {
    static const clock_literals known;
    return known;
}

/** The number of a literal. */
inline u_int32 number_of(const literals &all, const char *literal) {
    for (u_int32 i = 0; i < all.size(); ++i) {
        if (std::strcmp(all[i].c_str(), literal) == 0) {
            return i;
        }
    }
    return 0;
}

/** Shows a clock to a visitor: truth(), number() and choice() for values, open() and close() around structures. */
template <class Visitor, class Clock>
void visit_clock(Visitor &visitor, Clock &clock) {
    const clock_literals &known = known_literals();
    visitor.truth("modify", clock.modify);
    visitor.choice("clk_version", clock.version, known.version);
    visitor.choice("clk_profile", clock.profile, known.profile);

    auto &ds = clock.default_ds;
    visitor.open("default_data_set");
    visitor.open("clk_id");
    for (auto &octet : ds.clock_id) {
        visitor.number("ptp_clk_id", octet);
    }
    visitor.close();
    visitor.open("clock_quality");
    visitor.number("clock_class", ds.quality.clock_class);
    visitor.number("offset_scaled_log_var", ds.quality.offset_scaled_log_var);
    visitor.choice("clock_accuracy", ds.quality.accuracy, known.accuracy);
    visitor.close();
    visitor.number("numberPorts", ds.number_ports);
    visitor.number("priority1", ds.priority1);
    visitor.number("priority2", ds.priority2);
    visitor.number("clk_domain", ds.domain);
    visitor.truth("two_step_flag", ds.two_step);
    visitor.truth("slv_only", ds.slave_only);
    visitor.number("local_priority", ds.local_priority);
    visitor.close();

    auto &time = clock.time_properties;
    visitor.open("time_properties");
    visitor.number("currentUtcOffset", time.utc_offset);
    visitor.truth("currentUtcOffsetValid", time.utc_offset_valid);
    visitor.truth("leap59", time.leap59);
    visitor.truth("leap61", time.leap61);
    visitor.truth("timeTraceable", time.time_traceable);
    visitor.truth("frequencyTraceable", time.frequency_traceable);
    visitor.truth("ptpTimescale", time.ptp_timescale);
    visitor.choice("timeSource", time.time_source, known.time_source);
    visitor.number("v_port_index", time.v_port_index);
    visitor.close();

    visitor.truth("revertive_bmca", clock.revertive);
    visitor.number("clock_handle", clock.handle);
    visitor.choice("clk_type", clock.type, known.type);
    visitor.choice("clk_mode", clock.mode, known.mode);
    visitor.truth("warm_restart", clock.warm_restart);
    visitor.choice("network_type", clock.network_type, known.network);
    visitor.choice("tracking_type", clock.tracking_type, known.tracking);
}

/** The XML text that the library renders of the example clock. */
inline std::string library_xml() {
    vela_handle *handle = make_handle();
    u_int32 err = 0;
    std::string text(16384, '\0');
    text.resize(ptp_clock_to_xml(handle, mem_class, "ptp_clock", text.data(), make_example<clock_record<>>(handle),
                                 static_cast<u_int32>(text.size()), 0, &err));
    require(err == 0, "render a clock");
    vela_handle_destroy(handle, nullptr);
    return text;
}

/** The check of functions that render and parse clocks with an XML library: the same text, and the same values. */
inline std::string xml_fault(size_t (*render)(const clock_values &, std::string &),
                             bool (*parse)(const std::string &, clock_values &)) {
    std::string text;
    render(example_clock, text);
    if (text != library_xml()) {
        return "rendered another text: " + text;
    }
    clock_values values{};
    return parse(text, values) && values == example_clock ? "" : "other values came back";
}

inline std::vector<work> xml_works(size_t (*render)(const clock_values &, std::string &),
                                   bool (*parse)(const std::string &, clock_values &)) {
    return {{"render",
             [render](benchmark::State &state) {
                 std::string text;
                 text.reserve(16384);
                 repeat(state, [&] {
                     text.clear();
                     return render(example_clock, text);
                 });
             }},
            {"parse", [parse](benchmark::State &state) {
                 const std::string text = library_xml();
                 clock_values values{};
                 repeat(state, [&] { return parse(text, values); });
             }}};
}

}  // namespace bench
