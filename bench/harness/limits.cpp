#include "harness/limits.h"

namespace bench {
namespace {

limit beside(const char *scenario, const char *work, const char *contender, const char *other, double factor,
             double more = 0) {
    return {{scenario, work, contender}, {scenario, work, other}, factor, more};
}

std::vector<limit> make() {
    std::vector<limit> all;
    for (const char *scenario : {"clock_record", "stream_statistics", "stream_list"}) {
        for (const char *work : {"encode", "decode"}) {
            all.push_back(beside(scenario, work, "ours", "hand", 1.5));
        }
    }
    for (const char *work : {"set a number", "set an enumeration", "get a number", "get an enumeration"}) {
        all.push_back(beside("field_access", work, "ours", "plain store", 1, 3));
    }
    all.push_back(beside("clock_xml", "render", "ours", "pugixml", 1));
    all.push_back(beside("clock_xml", "parse", "ours", "pugixml", 2));
    all.push_back(beside("xml_list", "parse", "128 entries", "one entry", 140));
    all.push_back(beside("socket_message", "to handler", "ours", "raw bytes", 1.5));
    const char *per_message = "ours, per message";
    all.push_back(
        {{"message_stream", "10000 messages", per_message}, {"message_stream", "10 messages", per_message}, 1.5, 0});
    return all;
}

}  // namespace

const std::vector<limit> &limits() {
    static const std::vector<limit> all = make();
    return all;
}

}  // namespace bench
