// XML of the stream list with all its entries beside that with one: what an entry costs does not grow with their number.
#include "harness/contender.h"
#include "records/xml.h"

namespace bench {
namespace {

struct fixture : xml_fixture<stream_list<>> {
    std::string one;

    fixture() {
        const std::string end = "</streams>";
        one = text.substr(0, text.find(end) + end.size()) + "</ptp_ipv4_streams_arr>";
    }
};

std::string check_all() {
    fixture &f = own<fixture>();
    f.parse(f.text);
    return f.values() == stream_list<>::example() && f.err == 0 ? "" : "other values came back";
}

std::string check_one() {
    fixture &f = own<fixture>();
    f.parse(f.one);
    const bool same = f.values().streams[0] == stream_list<>::example().streams[0];
    return same && f.err == 0 ? "" : "other values came back";
}

const contender one("xml_list", "one entry", check_one,
                    {timed("parse", own<fixture>, [](fixture &f) { return f.parse(f.one); })});
const contender all("xml_list", "128 entries", check_all,
                    {timed("parse", own<fixture>, [](fixture &f) { return f.parse(f.text); })});

}  // namespace
}  // namespace bench
