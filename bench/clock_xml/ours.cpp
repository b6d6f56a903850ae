// The clock record as XML by the library's C functions.
#include "harness/contender.h"
#include "records/xml.h"

namespace bench {
namespace {

using fixture = xml_fixture<clock_record<>>;

std::string check() {
    fixture &f = own<fixture>();
    f.parse(f.text);
    return f.values() == clock_record<>::example() && f.err == 0 ? "" : "other values came back";
}

const contender entry("clock_xml", "ours", check,
                      {timed("render", own<fixture>, [](fixture &f) { return f.render(); }),
                       timed("parse", own<fixture>, [](fixture &f) { return f.parse(f.text); })});

}  // namespace
}  // namespace bench
