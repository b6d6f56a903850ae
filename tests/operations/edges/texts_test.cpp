// Texts of any bytes, in each form: they come back as they were, or are refused by name.
#include "edges.h"

namespace ptp_cfg_test {
namespace {

/** What writers and readers of text like to stumble over. */
std::vector<std::string> odd_texts() {
    using namespace std::string_literals;
    std::vector<std::string> result = {
        ""s,
        " "s,
        "  two blanks  "s,
        "\n"s,
        "\r\n"s,
        "\t"s,
        "a\0b"s,
        "\0"s,
        "\x7f"s,
        "\\"s,
        "\\x41"s,
        "\\u0041"s,
        "%s%n%d"s,
        "<a/>"s,
        "]]>"s,
        "<![CDATA["s,
        "&amp;"s,
        "&#0;"s,
        "\"'"s,
        "{\"$bytes\": \"41\"}"s,
        "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x95\x92"s,                  // two, three and four bytes
        "\xC2\x80\xC2\x9B\xE2\x80\xA8\xEF\xBF\xBE\xEF\xBB\xBF"s,  // controls above ASCII, a separator, a mark
        "\xC0\x80"s,
        "\xED\xA0\x80"s,
        "\xF4\x90\x80\x80"s,
        "\xE2\x82"s,
        "\x80"s,
        "\xFE\xFF"s,  // no UTF-8
        std::string(255, '\xFF'),
        std::string(255, '\0'),
        std::string(254, 'x') + "\xC3",
        std::string(255, '\\')};
    for (int byte = 0; byte < 256; ++byte) {
        result.push_back(std::string("x") + static_cast<char>(byte) + "y");
    }
    return result;
}

/** Visits each text in an instance. */
void for_each_text(const record_type &type, vela_handle *handle, void *instance,
                   const std::function<void(const leaf &)> &visit) {
    for_each_leaf(type, handle, instance, [&](const leaf &where) {
        if (where.field().kind == PTP_CFG_FIELD_TEXT) {
            visit(where);
        }
    });
}

std::string text_at(const leaf &where, vela_handle *handle) {
    u_int32 err = 0;
    const void *characters =
        ptp_cfg_field_get(where.owner.type, where.index, handle, mem_class, where.instance, 0, &err);
    const u_int64 length =
        ptp_cfg_field_get_value(where.owner.type, where.index - 1, handle, mem_class, where.instance, 0, &err);
    EXPECT_EQ(err, 0u);
    return {static_cast<const char *>(characters), length};
}

TEST(texts, of_any_bytes_survive_each_form) {
    const test_handle handle;
    u_int32 tried = 0;
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        if (!type.has_text()) {
            continue;
        }
        for (const std::string &text : odd_texts()) {
            const owned<void> instance = type.create(handle);
            for_each_text(type, handle, instance.get(), [&](const leaf &where) {
                u_int32 err = 0;
                ptp_cfg_field_set(where.owner.type, where.index, handle, mem_class, where.instance, 0, text.data(),
                                  static_cast<u_int32>(text.size()), &err);
                EXPECT_EQ(err, 0u);
                EXPECT_EQ(text_at(where, handle), text);
                ++tried;
            });
            const forms written = forms_of(type, handle, instance.get());
            expect_survives(type, handle, instance.get(), written);
            // What is shown to people has nothing in it that a terminal would obey.
            for (const std::string &shown : {written.json, written.print, written.xml}) {
                for (const char c : shown) {
                    ASSERT_TRUE(static_cast<u_int8>(c) >= ' ' || c == '\n' || c == '\t')
                        << type.about.name << ": " << shown;
                }
            }
        }
    }
    EXPECT_GT(tried, 250u);
}

TEST(texts, that_are_too_long_are_refused_and_change_nothing) {
    const test_handle handle;
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        if (!type.has_text()) {
            continue;
        }
        const owned<void> instance = type.create(handle);
        fill(type, handle, instance.get(), filling::random);
        const octets before = type.marshal(handle, instance.get());
        for_each_text(type, handle, instance.get(), [&](const leaf &where) {
            if (where.instance != instance.get()) {
                return;
            }
            u_int32 err = 0;
            const std::string text(256, 'x'), name = where.field().name, root = type.about.name;
            ptp_cfg_field_set(type.type, where.index, handle, mem_class, where.instance, 0, text.data(), 256, &err);
            EXPECT_EQ(err, u_int32{VELA_ENOSPC});
            vela_clear_last_error(handle);
            const std::string xml = "<" + root + "><" + name + ">" + text + "</" + name + "></" + root + ">";
            EXPECT_EQ(read_xml(type, handle, xml, 0, where.instance), u_int32{VELA_ENOSPC});
            EXPECT_EQ(read_xml(type, handle, xml, VELA_XML_STRICT, where.instance), u_int32{VELA_ENOSPC});
            EXPECT_EQ(read_json(type, handle, "{\"" + name + "\":\"" + text + "\"}", where.instance),
                      u_int32{VELA_ENOSPC});
        });
        EXPECT_EQ(type.marshal(handle, instance.get()), before) << type.about.name;
    }
}

}  // namespace
}  // namespace ptp_cfg_test
