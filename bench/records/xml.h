// A record's example as XML text by the library, and back.
#pragma once

#include <vector>

#include "bench_records.h"

namespace bench {

template <class R>
struct xml_fixture {
    vela_handle *handle = make_handle();
    typename R::instance *record = make_example<R>(handle);
    typename R::instance *parsed = R::create(handle, mem_class);
    std::vector<char> buffer = std::vector<char>(R::text_room);
    std::string text;
    std::string path = std::string("//") + R::type;
    u_int32 err = 0;

    xml_fixture() {
        const u_int32 length = render();
        require(err == 0, "render XML");
        text.assign(buffer.data(), length);
    }

    u_int32 render() { return R::to_xml(handle, mem_class, R::type, buffer.data(), record, R::text_room, 0, &err); }
    u_int32 parse(const std::string &from) {
        vela_xml_document *document = vela_xml_parse(from.data(), from.size(), nullptr, 0);
        R::from_xml(handle, mem_class, path.c_str(), document, parsed, &err, nullptr, 0);
        vela_xml_destroy(document);
        return err;
    }
    /** The values that parsing left. */
    typename R::result values() { return R::read(handle, parsed, &err); }
};

}  // namespace bench
