// The clock record as XML by the library's C functions.
#include "clock_xml/clock_tree.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *handle = make_handle();
    ptp_clock *clock = make_example<clock_record<>>(handle);
    ptp_clock *parsed = ptp_clock_create(handle, mem_class);
    std::string text = std::string(16384, '\0');
    u_int32 length = 0;
    u_int32 err = 0;

    fixture() { length = render(); }

    u_int32 render() {
        return ptp_clock_to_xml(handle, mem_class, "ptp_clock", text.data(), clock, static_cast<u_int32>(text.size()),
                                0, &err);
    }
    u_int32 parse() {
        vela_xml_document *document = vela_xml_parse(text.data(), length, nullptr, 0);
        ptp_clock_from_xml(handle, mem_class, "//ptp_clock", document, parsed, &err, nullptr, 0);
        vela_xml_destroy(document);
        return err;
    }
};

fixture &own() {
    static fixture it;
    return it;
}

std::string check() {
    fixture &f = own();
    f.parse();
    return clock_record<>::read(f.handle, f.parsed, &f.err) == example_clock && f.err == 0 ? ""
                                                                                           : "other values came back";
}

const contender entry("clock_xml", "ours", check,
                      {{"render", [](benchmark::State &state) { repeat(state, [] { return own().render(); }); }},
                       {"parse", [](benchmark::State &state) { repeat(state, [] { return own().parse(); }); }}});

}  // namespace
}  // namespace bench
