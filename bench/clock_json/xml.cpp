// The clock record as XML by the library: what its JSON is measured against.
#include "records/xml.h"
#include "harness/contender.h"

namespace bench {
namespace {

struct fixture : xml_fixture<clock_record<>> {
    u_int32 parse_by(u_int32 rules) {
        const vela_xml_options options = {sizeof options, rules, nullptr, nullptr};
        vela_xml_document *document =
            vela_xml_parse_with(text.data(), static_cast<u_int32>(text.size()), &options, &err, nullptr, 0);
        ptp_clock_from_xml(handle, mem_class, "//ptp_clock", document, parsed, &err, nullptr, 0);
        vela_xml_destroy(document);
        return err;
    }
};

std::string check() {
    fixture &f = own<fixture>();
    f.parse_by(VELA_XML_STRICT);
    f.parse_by(0);
    return f.values() == clock_record<>::example() && f.err == 0 ? "" : "other values came back";
}

const contender entry("clock_json", "XML", check,
                      {timed("render", own<fixture>, [](fixture &f) { return f.render(); }),
                       timed("parse", own<fixture>, [](fixture &f) { return f.parse_by(0); }),
                       timed("parse strictly", own<fixture>, [](fixture &f) { return f.parse_by(VELA_XML_STRICT); })});

}  // namespace
}  // namespace bench
