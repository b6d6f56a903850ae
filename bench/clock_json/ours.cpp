// The clock record as JSON by the library.
#include "clock_json/clock_text.h"
#include "ptp_cfg/json.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *handle = make_handle();
    const ptp_cfg_type *type = ptp_cfg_type_find("ptp_clock");
    ptp_clock *clock = make_example<clock_record<>>(handle);
    ptp_clock *parsed = ptp_clock_create(handle, mem_class);
    std::string text = std::string(16384, '\0');
    u_int32 length = 0;
    u_int32 err = 0;

    fixture() { length = render(); }

    u_int32 render() {
        return ptp_cfg_to_json(handle, mem_class, type, clock, text.data(), static_cast<u_int32>(text.size()), nullptr,
                               &err);
    }
    u_int32 parse() {
        ptp_cfg_from_json(handle, mem_class, type, parsed, text.data(), length, nullptr, &err, nullptr, 0);
        return err;
    }
    u_int32 parse_new() {
        void *made =
            ptp_cfg_from_json(handle, mem_class, type, nullptr, text.data(), length, nullptr, &err, nullptr, 0);
        ptp_clock_destroy(handle, mem_class, static_cast<ptp_clock *>(made));
        return err;
    }
};

std::string check() {
    fixture &f = own<fixture>();
    f.parse();
    f.parse_new();
    const auto values = clock_record<>::read(f.handle, f.parsed, &f.err);
    return values == clock_record<>::example() && f.err == 0 ? "" : "other values came back";
}

const contender entry("clock_json", "ours", check,
                      {timed("render", own<fixture>, [](fixture &f) { return f.render(); }),
                       timed("parse", own<fixture>, [](fixture &f) { return f.parse(); }),
                       timed("parse to a new clock", own<fixture>, [](fixture &f) { return f.parse_new(); })});

}  // namespace

std::string library_json() { return own<fixture>().text.substr(0, own<fixture>().length); }

}  // namespace bench
