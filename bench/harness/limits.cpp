// The limits: beside code written by hand, the best known peer, and the bare transport.
#include "harness/limits.h"

#include "bench_records.h"

namespace bench {
namespace {

limit beside(const char *scenario, const char *work, const char *contender, const char *other, double factor,
             double more = 0) {
    return {{scenario, work, contender}, {scenario, work, other}, factor, more};
}

const std::vector<const char *> large_records = {"clock_record", "stream_statistics", "stream_list"};

/** Beside code written for one record. */
void add_hand(std::vector<limit> &all) {
    for (const char *scenario : large_records) {
        for (const char *work : {"encode", "decode"}) {
            all.push_back(beside(scenario, work, "ours", "hand", 1.5));
        }
    }
}

/** Beside the peer that is best known. */
void add_protobuf(std::vector<limit> &all) {
    for (const char *scenario : large_records) {
        all.push_back(beside(scenario, "encode", "ours", "protobuf", 1 / 3.0));
        all.push_back(beside(scenario, "decode", "ours", "protobuf", 1 / 8.0));
    }
}

/** Beside the same bytes through the same kind of socket; in bundles what is added to them is the codec's own time. */
void add_transport(std::vector<limit> &all) {
    for (const char *scenario : {"transport_unix", "transport_tcp"}) {
        all.push_back(beside(scenario, "single message", "ours", "raw bytes", 1.5));
        limit bundled = beside(scenario, "message of a bundle", "ours", "codec alone", 1.2);
        bundled.base = {scenario, "message of a bundle", "raw bytes"};
        all.push_back(bundled);
    }
}

std::vector<limit> make_limits() {
    std::vector<limit> all;
    add_hand(all);
    add_protobuf(all);
    for (const char *work : {"set a number", "set an enumeration", "get a number", "get an enumeration"}) {
        all.push_back(beside("field_access", work, "ours, by calls", "plain store", 1, 3));
    }
    all.push_back(beside("clock_xml", "parse", "ours", "pugixml", 2));
    for (const char *work : {"render", "parse"}) {
        all.push_back(beside("clock_json", work, "ours", "XML", 1));
    }
    all.push_back(beside("xml_list", "parse", "128 entries", "one entry", 140));
    add_transport(all);
    const char *per_message = "ours, per message";
    all.push_back(
        {{"message_stream", "10000 messages", per_message}, {"message_stream", "10 messages", per_message}, 1.5, 0});
    return all;
}

/** Peers whose records cannot evolve, as FlatBuffers' structs, do not take part. */
std::vector<race> make_races() {
    const std::vector<const char *> peers = {"protobuf", "protobuf, arena", "flatbuffers", "capnproto"};
    std::vector<race> all;
    for (const char *scenario : record_scenarios) {
        for (const char *work : {"encode", "fill and encode", "decode and read", "create and destroy",
                                 "clone and destroy", "copy over another", "compare", "print"}) {
            all.push_back({scenario, work, "ours", peers});
        }
    }
    all.push_back({"clock_xml", "render", "ours", {"pugixml", "libxml2"}});
    all.push_back({"clock_xml", "parse", "ours", {"libxml2"}});
    for (const char *work : {"render", "parse"}) {
        all.push_back({"clock_json", work, "ours", {"nlohmann-json", "protobuf"}});
    }
    return all;
}

}  // namespace

const std::vector<limit> &limits() {
    static const std::vector<limit> all = make_limits();
    return all;
}

const std::vector<race> &races() {
    static const std::vector<race> all = make_races();
    return all;
}

}  // namespace bench
