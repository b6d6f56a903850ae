// XML of the stream list with all its entries beside that with one: what an entry costs does not grow with their number.
#include "records/record.h"
#include "records/stream_list.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *handle = make_handle();
    ptp_ipv4_streams_arr *parsed = ptp_ipv4_streams_arr_create(handle, mem_class);
    std::string all;
    std::string one;
    u_int32 err = 0;

    fixture() {
        all.resize(1 << 17);
        all.resize(ptp_ipv4_streams_arr_to_xml(handle, mem_class, "ptp_ipv4_streams_arr", all.data(),
                                               make_example<stream_list_record<>>(handle),
                                               static_cast<u_int32>(all.size()), 0, &err));
        const std::string end = "</streams>";
        one = all.substr(0, all.find(end) + end.size()) + "</ptp_ipv4_streams_arr>";
    }

    u_int32 parse(const std::string &text) {
        vela_xml_document *document = vela_xml_parse(text.data(), text.size(), nullptr, 0);
        ptp_ipv4_streams_arr_from_xml(handle, mem_class, "//ptp_ipv4_streams_arr", document, parsed, &err, nullptr, 0);
        vela_xml_destroy(document);
        return err;
    }
};

fixture &own() {
    static fixture it;
    return it;
}

std::string check_all() {
    fixture &f = own();
    f.parse(f.all);
    return stream_list_record<>::read(f.handle, f.parsed, &f.err) == example_stream_list() && f.err == 0
               ? ""
               : "other values came back";
}

std::string check_one() {
    fixture &f = own();
    f.parse(f.one);
    return stream_list_record<>::read(f.handle, f.parsed, &f.err)[0] == example_stream_list()[0] && f.err == 0
               ? ""
               : "other values came back";
}

template <std::string fixture::*Text>
void time_it(benchmark::State &state) {
    fixture &f = own();
    repeat(state, [&] { return f.parse(f.*Text); });
}

const contender one("xml_list", "one entry", check_one, {{"parse", time_it<&fixture::one>}});
const contender all("xml_list", "128 entries", check_all, {{"parse", time_it<&fixture::all>}});

}  // namespace
}  // namespace bench
