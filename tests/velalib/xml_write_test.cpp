// Tags.
#include "test_support.h"

#include <functional>
#include <regex>

namespace velalib_test {
namespace {

class xml_write_test : public handle_test {
  protected:
    using writer = std::function<u_int32(char *buffer, u_int32 room)>;

    /** Writes at every room: the whole item, or nothing of it and 90. */
    void check(const std::string &expected, const writer &write) {
        for (u_int32 room = 0; room <= expected.size() + 1; ++room) {
            std::vector<char> out(room, '~');
            const u_int32 written = write(out.data(), room);
            if (room < expected.size()) {
                EXPECT_EQ(written, 0u);
                EXPECT_EQ(std::string(out.begin(), out.end()), std::string(room, '~'));
                expect_failure(VELA_EMSGSIZE);
            } else {
                EXPECT_EQ(std::string(out.data(), written), expected);
                EXPECT_EQ(err, 0u);
            }
        }
    }
    writer start(const char *name, u_int8 flag) {
        return
            [=, this](char *out, u_int32 room) { return start_tag(handle, test_class, out, name, room, flag, &err); };
    }
};

TEST_F(xml_write_test, TagsAreWholeOrAbsent) {
    check("<clock>", start("clock", 0));
    check("<clock state=\"2\">", start("clock", 2));
    check("<clock state=\"10\">", start("clock", 10));
    check("<clock state=\"205\">", start("clock", 205));
    check("</clock>",
          [this](char *out, u_int32 room) { return end_tag(handle, test_class, out, "clock", room, &err); });
    check("<VELA_X/>", [this](char *out, u_int32 room) {
        return xml_enum_print(handle, test_class, out, "<VELA_X/> and more", room, 9, &err);
    });
}

TEST_F(xml_write_test, OnlyTheEndTagActsAfterAnError) {
    char out[40];
    err = VELA_EEPOCH;
    EXPECT_EQ(start_tag(handle, test_class, out, "a", sizeof out, 0, &err), 0u);
    EXPECT_EQ(start_tag_timestamp(handle, test_class, out, "a", sizeof out, &err), 0u);
    EXPECT_EQ(xml_enum_print(handle, test_class, out, "<b/>", sizeof out, 4, &err), 0u);
    EXPECT_EQ(end_tag(handle, test_class, out, "a", sizeof out, &err), 4u);
    EXPECT_EQ(std::string(out, 4), "</a>");
    EXPECT_EQ(end_tag(handle, test_class, out, "a", 3, &err), 0u);
    EXPECT_EQ(err, VELA_EEPOCH);
}

TEST_F(xml_write_test, TimestampsAreUtcWithNanoseconds) {
    std::vector<char> out(100);
    const u_int32 written =
        start_tag_timestamp(handle, test_class, out.data(), "ptp_cfg", static_cast<u_int32>(out.size()), &err);
    const std::string text(out.data(), written);
    const std::regex form("<ptp_cfg time=\"(\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2})\\.\\d{9}Z\">");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, form)) << text;
    tm read = {};
    ASSERT_NE(strptime(match[1].str().c_str(), "%Y-%m-%dT%H:%M:%S", &read), nullptr);
    EXPECT_NEAR(difftime(timegm(&read), time(nullptr)), 0, 5);
    std::vector<char> small(written - 1, '~');
    EXPECT_EQ(start_tag_timestamp(handle, test_class, small.data(), "ptp_cfg", written - 1, &err), 0u);
    EXPECT_EQ(small[0], '~');
    expect_failure(VELA_EMSGSIZE);
}

}  // namespace
}  // namespace velalib_test
