// The primitives as printed lines and as XML.
#include "test_support.h"

#include <limits>

namespace velalib_test {
namespace {

template <typename P>
struct text_operations {
    u_int32 (*print)(vela_handle *, u_int32, char *, u_int32, const char *, const P *, u_int32, u_int32 *);
    u_int32 (*to_xml)(vela_handle *, u_int32, const char *, char *, const P *, u_int32, u_int8, u_int32 *);
    void (*from_xml)(vela_handle *, u_int32, const char *, vela_xml_document *, P *, u_int32 *, char *, u_int32);
};

#define TEXT_FORMS(P) \
    text_operations<P> { P##_print, P##_to_xml, P##_from_xml }

class primitive_text_test : public handle_test {
  protected:
    template <typename P>
    std::string print(const text_operations<P> &form, const P &value) {
        char out[200];
        return {out, form.print(handle, test_class, out, 2, "field", &value, sizeof out, &err)};
    }

    /** Renders at every room, and reads back what a document of it holds. */
    template <typename P>
    void check(const text_operations<P> &form, const P &value, const std::string &printed, const std::string &xml) {
        check_rooms(form, value, "  field@" + printed + "\n", "<field state=\"2\">" + xml + "</field>");
        document parsed("<r><field state=\"2\">" + xml + "</field></r>");
        P back;
        memset(&back, 0x5A, sizeof back);
        char reason[200] = "";
        form.from_xml(handle, test_class, "//r/field", parsed, &back, &err, reason, sizeof reason);
        EXPECT_EQ(err, 0u) << reason;
        EXPECT_EQ(memcmp(&back, &value, sizeof value), 0) << xml;
        EXPECT_EQ(seen.stores, (std::vector<announcement>{{&back, sizeof(P), test_class}}));
        seen.stores.clear();
    }

    template <typename P>
    void check_rooms(const text_operations<P> &form, const P &value, const std::string &line,
                     const std::string &element) {
        for (u_int32 room = 0; room <= std::max(line.size(), element.size()); ++room) {
            std::vector<char> out(room, '~');
            u_int32 written = form.print(handle, test_class, out.data(), 2, "field", &value, room, &err);
            EXPECT_EQ(std::string(out.data(), written), line.substr(0, room));
            if (room < line.size()) {
                expect_failure(VELA_EMSGSIZE);
            }
            out.assign(room, '~');
            written = form.to_xml(handle, test_class, "field", out.data(), &value, room, 2, &err);
            EXPECT_EQ(std::string(out.data(), room < element.size() ? room : written),
                      room < element.size() ? std::string(room, '~') : element);
            if (room < element.size()) {
                expect_failure(VELA_EMSGSIZE);
            }
        }
    }

    /** Reads a value written by hand; the result, or the error's explanation. */
    template <typename P>
    u_int32 read(const text_operations<P> &form, const std::string &text, P *value, std::string *reason) {
        document parsed("<r><field>" + text + "</field></r>");
        char explanation[200] = "";
        form.from_xml(handle, test_class, "//r/field", parsed, value, &err, explanation, sizeof explanation);
        *reason = explanation;
        const u_int32 result = err;
        EXPECT_EQ(handle->last_error.code, result);
        err = 0;
        vela_clear_last_error(handle);
        seen.stores.clear();
        return result;
    }

    template <typename P>
    void check_integer(const text_operations<P> &form, const std::string &name, const std::vector<const char *> &bad) {
        constexpr P low = std::numeric_limits<P>::min();
        constexpr P high = std::numeric_limits<P>::max();
        for (const P value : {low, high, P{7}}) {
            check(form, value, name + ":" + std::to_string(value), std::to_string(value));
        }
        std::string reason;
        P value = 9;
        for (const char *text :
             {"", " ", "1 2", "abc", "0x", "0xg", "--1", "1.0", "1e3", "+-1", "18446744073709551616"}) {
            EXPECT_EQ(read(form, text, &value, &reason), static_cast<u_int32>(VELA_EINVAL)) << text;
        }
        for (const char *text : bad) {
            EXPECT_EQ(read(form, text, &value, &reason), static_cast<u_int32>(VELA_EINVAL)) << text;
            EXPECT_NE(reason.find(std::string("element //r/field: value '") + text + "' is not a"), std::string::npos)
                << reason;
            EXPECT_NE(reason.find(std::to_string(high) + ")"), std::string::npos) << reason;
        }
        EXPECT_EQ(value, 9);
        EXPECT_EQ(read(form, "\n\t0x7F ", &value, &reason), 0u);
        EXPECT_EQ(value, 127);
        EXPECT_EQ(read(form, "+08", &value, &reason), 0u);
        EXPECT_EQ(value, 8);
        EXPECT_EQ(read(form, "-0", &value, &reason), 0u);
        EXPECT_EQ(value, 0);
    }
};

TEST_F(primitive_text_test, Integers) {
    check_integer(TEXT_FORMS(u_int8), "u_int8", {"256", "-1", "0x100"});
    check_integer(TEXT_FORMS(u_int16), "u_int16", {"65536", "-1"});
    check_integer(TEXT_FORMS(u_int32), "u_int32", {"4294967296", "-1"});
    check_integer(TEXT_FORMS(u_int64), "u_int64", {"18446744073709551616", "-1", "0x10000000000000000"});
    check_integer(TEXT_FORMS(int8), "int8", {"128", "-129", "-0x81"});
    check_integer(TEXT_FORMS(int16), "int16", {"32768", "-32769"});
    check_integer(TEXT_FORMS(int32), "int32", {"2147483648", "-2147483649"});
}

TEST_F(primitive_text_test, Booleans) {
    const auto form = TEXT_FORMS(vela_boolean);
    check(form, vela_boolean{1}, "vela_boolean:true", "true");
    check(form, vela_boolean{0}, "vela_boolean:false", "false");
    EXPECT_EQ(print(form, vela_boolean{0x100}), "  field@vela_boolean:true\n");
    std::string reason;
    vela_boolean value = 5;
    for (const char *text : {"", "TRUE", "yes", "2", "truefalse"}) {
        EXPECT_EQ(read(form, text, &value, &reason), static_cast<u_int32>(VELA_EINVAL)) << text;
    }
    EXPECT_EQ(value, 5u);
    EXPECT_EQ(read(form, " 1 ", &value, &reason), 0u);
    EXPECT_EQ(value, 1u);
}

TEST_F(primitive_text_test, MacAddresses) {
    const auto form = TEXT_FORMS(en_address);
    check(form, en_address{{0x00, 0x1B, 0x19, 0xAB, 0xCD, 0xEF}}, "en_address:00:1b:19:ab:cd:ef", "00:1b:19:ab:cd:ef");
    std::string reason;
    en_address value = {};
    for (const char *text : {"", "00:1b:19:ab:cd", "00:1b:19:ab:cd:ef:00", "00:1b:19:ab:cd:eg", "001b19abcdef00000"}) {
        EXPECT_EQ(read(form, text, &value, &reason), static_cast<u_int32>(VELA_EINVAL)) << text;
    }
    EXPECT_EQ(read(form, "00-1B-19-AB-CD-EF", &value, &reason), 0u);
    EXPECT_EQ(value.octet[5], 0xEF);
}

TEST_F(primitive_text_test, IpAddresses) {
    const auto form = TEXT_FORMS(ip_address);
    const auto both = [&](const ip_address &value, const std::string &text) {
        check(form, value, "ip_address:" + (text.empty() ? "none" : text), text);
    };
    both({}, "");
    both({4, 0, {192, 0, 2, 1}, {}}, "192.0.2.1");
    both({6, 3, {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, {}}, "2001:db8::1%3");
    both({6, 0, {}, {}}, "::");
    both({6, 4294967295u, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255, 255}, {}},
         "::ffff:255.255.255.255%4294967295");
    both({4, 5, {1}, {}}, "raw:4:01000000000000000000000000000000:5");
    both({4, 0, {1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9}, {}}, "raw:4:01020304000000000000000000000009:0");
    both({0, 1, {}, {}}, "raw:0:00000000000000000000000000000000:1");
    both({255, 4294967295u, {0xFF}, {}}, "raw:255:ff000000000000000000000000000000:4294967295");
    std::string reason;
    ip_address value = {};
    for (const char *text : {"1.2.3", "1.2.3.4.5", "256.0.0.1", "1.2.3.4%1", "1:2", "::1%", "::1%x", "raw:1:00:0",
                             "raw:256:00000000000000000000000000000000:0", "raw:1:0000000000000000000000000000000g:0",
                             "2001:0db8:0000:0000:0000:0000:0000:0000:0000:0000:0000:0000:0001"}) {
        EXPECT_EQ(read(form, text, &value, &reason), static_cast<u_int32>(VELA_EINVAL)) << text;
    }
    EXPECT_EQ(read(form, "none", &value, &reason), 0u);
}

TEST_F(primitive_text_test, VrfDescriptors) {
    const auto form = TEXT_FORMS(vrf_info);
    check(form, vrf_info{5, 100, 1, 1, 0}, "vrf_info:id 5 table 100 afi 1 safi 1", "5:100:1:1");
    check(form, vrf_info{UINT64_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX, 0},
          "vrf_info:id 18446744073709551615 table 4294967295 afi 4294967295 safi 4294967295",
          "18446744073709551615:4294967295:4294967295:4294967295");
    std::string reason;
    vrf_info value = {};
    for (const char *text : {"", "1:2:3", "1:2:3:4:5", "1:2:3:", "1:2:3:4294967296", "1: 2:3:4"}) {
        EXPECT_EQ(read(form, text, &value, &reason), static_cast<u_int32>(VELA_EINVAL)) << text;
    }
}

TEST_F(primitive_text_test, AbsentElementsAndBadCallsAreTold) {
    document parsed("<r/>");
    u_int8 value = 3;
    char reason[16] = "";
    u_int8_from_xml(handle, test_class, "//r/field", parsed, &value, &err, reason, sizeof reason);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_ENOENT));
    EXPECT_EQ(handle->last_error.code, 0u);  // the reader of a record absorbs it
    EXPECT_STREQ(reason, "");
    u_int8_from_xml(handle, test_class, "//r", parsed, &value, &err, reason, sizeof reason);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_ENOENT));
    err = 0;
    u_int8_from_xml(handle, test_class, "//r", parsed, &value, &err, reason, sizeof reason);
    expect_failure(VELA_EINVAL);
    EXPECT_STREQ(reason, "element //r: va");  // cut, terminated
    u_int8_from_xml(handle, test_class, "//r", parsed, &value, &err, nullptr, 0);
    expect_failure(VELA_EINVAL);
    u_int8_from_xml(handle, test_class, "//[", parsed, &value, &err, nullptr, 0);
    expect_failure(VELA_EINVAL);
    u_int8_from_xml(handle, test_class, "//r", nullptr, &value, &err, nullptr, 0);
    expect_failure(VELA_EINVAL);
    u_int8_from_xml(handle, test_class, "//r", parsed, nullptr, &err, nullptr, 0);
    expect_failure(VELA_EINVAL);
    char out[8];
    EXPECT_EQ(u_int8_print(handle, test_class, out, 0, "x", nullptr, sizeof out, &err), 0u);
    expect_failure(VELA_EINVAL);
    EXPECT_EQ(u_int8_to_xml(handle, test_class, "x", out, nullptr, sizeof out, 0, &err), 0u);
    expect_failure(VELA_EINVAL);
    EXPECT_EQ(value, 3);
}

}  // namespace
}  // namespace velalib_test
