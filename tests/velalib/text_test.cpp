// Bounded formatting.
#include "test_support.h"

#include <climits>

namespace velalib_test {
namespace {

class text_test : public handle_test {
  protected:
    /** Formats at every room: a prefix of the text, exactly as long as there is room, and 90 when it is cut. */
    template <typename... Arguments>
    void check(const std::string &expected, const char *format, Arguments... arguments) {
        for (u_int32 room = 0; room <= expected.size() + 2; ++room) {
            std::vector<char> out(room, '~');
            const u_int32 written = vela_snprintf(handle, test_class, out.data(), room, &err, format, arguments...);
            const u_int32 wanted = std::min<u_int32>(room, static_cast<u_int32>(expected.size()));
            ASSERT_EQ(written, wanted) << format;
            EXPECT_EQ(std::string(out.data(), written), expected.substr(0, wanted));
            EXPECT_EQ(std::string(out.begin() + written, out.end()), std::string(room - written, '~'));
            if (room < expected.size()) {
                expect_failure(VELA_EMSGSIZE);
            } else {
                EXPECT_EQ(err, 0u);
            }
        }
    }
};

TEST_F(text_test, FormatsWithinTheRoom) {
    check("", "%s", "");
    check("label@type: {\n", "%s@%s: {\n", "label", "type");
    check("-2147483648 4294967295 c 100%", "%d %u %c %d%%", INT_MIN, UINT_MAX, 'c', 100);
    const char *none = nullptr;
    check("[(null)]", "[%s]", none);
}

TEST_F(text_test, LeavesOtherDirectivesToTheCLibrary) {
    check("s 0x1f    7|1.50", "%s 0x%x %4d|%.2f", "s", 31, 7, 1.5);
    const std::string large(1000, 'x');
    check(large + " 00007", "%s %05d", large.c_str(), 7);
}

TEST_F(text_test, DoesNothingAfterAnError) {
    char out[4] = {'~', '~', '~', '~'};
    err = VELA_EEPOCH;
    EXPECT_EQ(vela_snprintf(handle, test_class, out, 4, &err, "abc"), 0u);
    EXPECT_EQ(vela_print_space(handle, test_class, out, 2, 4, &err), 0u);
    EXPECT_EQ(std::string(out, 4), "~~~~");
    EXPECT_EQ(err, VELA_EEPOCH);
}

TEST_F(text_test, IndentsWithinTheRoom) {
    char out[4] = {'~', '~', '~', '~'};
    EXPECT_EQ(vela_print_space(handle, test_class, out, 2, 4, &err), 2u);
    EXPECT_EQ(std::string(out, 4), "  ~~");
    EXPECT_EQ(vela_print_space(handle, test_class, out, 4000000000u, 3, &err), 3u);
    EXPECT_EQ(std::string(out, 4), "   ~");
    expect_failure(VELA_EMSGSIZE);
    EXPECT_EQ(vela_print_space(handle, test_class, nullptr, 0, 0, &err), 0u);
    EXPECT_EQ(err, 0u);
}

}  // namespace
}  // namespace velalib_test
