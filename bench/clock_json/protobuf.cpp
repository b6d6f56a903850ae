// The clock record as JSON by Protocol Buffers, whose schema has numbers where the library's text has names.
#include <google/protobuf/util/json_util.h>

#include "harness/contender.h"
#include "protobuf_codecs.h"
#include "records/records.h"

namespace bench {
namespace {

struct fixture {
    using codec = protobuf_codec<ptp_clock>;

    codec::message clock;
    codec::message parsed;
    std::string text;

    fixture() {
        codec::fill(clock_record<>::example(), clock);
        render();
    }
    size_t render() {
        text.clear();
        require(google::protobuf::util::MessageToJsonString(clock, &text).ok(), "render a clock");
        return text.size();
    }
    bool parse() {
        parsed.Clear();
        return google::protobuf::util::JsonStringToMessage(text, &parsed).ok();
    }
};

std::string check() {
    fixture &f = own<fixture>();
    ptp_clock_values values{};
    const bool sound = f.parse();
    fixture::codec::read(f.parsed, values);
    return sound && values == clock_record<>::example() ? "" : "other values came back";
}

const contender entry("clock_json", "protobuf", check,
                      {timed("render", own<fixture>, [](fixture &f) { return f.render(); }),
                       timed("parse", own<fixture>, [](fixture &f) { return f.parse(); })});

}  // namespace
}  // namespace bench
