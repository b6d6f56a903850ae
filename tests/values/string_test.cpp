// Texts on their own: encoding, order, print and XML of every byte.
#include "test_support.h"

#include <random>

namespace velalib_test {
namespace {

class strings_test : public handle_test {
  protected:
    void TearDown() override {
        var_string_destroy_internal(handle, test_class, &text, 1);
        handle_test::TearDown();
    }
    void set(const std::string &characters) {
        var_string_set(handle, test_class, &text, characters.data(), static_cast<u_int32>(characters.size()), &err);
    }
    std::string line(const std::string &characters) {
        set(characters);
        std::string out(2000, '~');
        const u_int32 count = static_cast<u_int32>(characters.size());
        out.resize(var_string_print(handle, test_class, out.data(), 1, "name", &text, count, 2000, &err));
        return out;
    }
    std::string xml(const std::string &characters) {
        set(characters);
        std::string out(2000, '~');
        const u_int32 count = static_cast<u_int32>(characters.size());
        out.resize(var_string_to_xml(handle, test_class, "name", out.data(), &text, count, 2000, 0, &err));
        return out;
    }
    /** Through XML and back. */
    std::string round_trip(const std::string &characters) {
        document parsed("<r>" + xml(characters) + "</r>");
        var_string back = nullptr;
        u_int8 count = 77;
        char reason[200] = "";
        var_string_from_xml(handle, test_class, "//r/name", parsed, &back, &count, &err, reason, sizeof reason);
        EXPECT_EQ(err, 0u) << reason << parsed.reason();
        std::string result(back == nullptr ? "" : back, count);
        var_string_destroy_internal(handle, test_class, &back, 0);
        return result;
    }

    var_string text = nullptr;
};

TEST_F(strings_test, SetReplacesWithACopy) {
    set("first");
    EXPECT_STREQ(text, "first");
    EXPECT_EQ(var_string_get(handle, test_class, &text, &err), text);
    var_string_set(handle, test_class, &text, text + 1, 3, &err);  // out of itself
    EXPECT_STREQ(text, "irs");
    EXPECT_EQ(seen.stores, (std::vector<announcement>(2, {&text, 8, test_class})));
    var_string other = nullptr;
    var_string_copy(handle, test_class, &other, &text, 3, &err);
    EXPECT_STREQ(other, "irs");
    EXPECT_NE(other, text);
    var_string_set(handle, test_class, &other, nullptr, 0, &err);
    EXPECT_EQ(other, nullptr);
    var_string_copy(handle, test_class, &text, &other, 3, &err);
    EXPECT_EQ(text, nullptr);
    var_string_set(handle, test_class, &text, nullptr, 1, &err);
    expect_failure(VELA_EINVAL);
    EXPECT_EQ(var_string_get(handle, test_class, nullptr, &err), nullptr);
    expect_failure(VELA_ENOENT);
}

TEST_F(strings_test, WithoutMemoryNothingChanges) {
    open_with_limit(1);
    set("kept");
    seen.stores.clear();
    set("longer");
    expect_failure(VELA_ENOMEM);
    EXPECT_STREQ(text, "kept");
    EXPECT_TRUE(seen.stores.empty());
    document parsed("<name>x</name>");
    u_int8 count = 4;
    var_string_from_xml(handle, test_class, "//name", parsed, &text, &count, &err, nullptr, 0);
    expect_failure(VELA_ENOMEM);
    EXPECT_STREQ(text, "kept");
    EXPECT_EQ(count, 4);
    // On the wire the length has been replaced already, so the old characters cannot stay.
    const u_int8 wire[] = {'w', 'i', 'r', 'e', 's'};
    EXPECT_EQ(var_string_unmarshal(handle, test_class, wire, &text, 5, 5, 0, &err), 0u);
    expect_failure(VELA_ENOMEM);
    EXPECT_EQ(text, nullptr);
}

TEST_F(strings_test, WireIsExactlyTheCount) {
    set(std::string("a\0b", 3));
    seen.stores.clear();
    std::vector<u_int8> wire(3, 0xEE);
    for (u_int32 room = 0; room < 3; ++room) {
        EXPECT_EQ(var_string_marshal(handle, test_class, wire.data(), &text, 3, room, &err), 0u);
        expect_failure(VELA_EMSGSIZE);
    }
    EXPECT_EQ(wire, std::vector<u_int8>(3, 0xEE));
    EXPECT_EQ(var_string_len(handle, test_class, &text, 3), 3u);
    EXPECT_EQ(var_string_marshal(handle, test_class, wire.data(), &text, 3, 3, &err), 3u);
    EXPECT_EQ(wire, (std::vector<u_int8>{'a', 0, 'b'}));
    const u_int8 longer[] = {'x', 'y', 'z', 'w'};
    EXPECT_EQ(var_string_unmarshal(handle, test_class, longer, &text, 4, 4, 0, &err), 4u);
    EXPECT_STREQ(text, "xyzw");
    EXPECT_EQ(var_string_unmarshal(handle, test_class, longer, &text, 4, 3, 0, &err), 0u);
    expect_failure(VELA_EMSGSIZE);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(var_string_marshal(handle, test_class, wire.data(), &text, 3, 3, &err), 3u);  // a NULL text
    EXPECT_EQ(wire, (std::vector<u_int8>{0, 0, 0}));
    EXPECT_EQ(var_string_unmarshal(handle, test_class, nullptr, &text, 0, 0, 0, &err), 0u);
    EXPECT_EQ(err, 0u);
    EXPECT_TRUE(seen.stores.empty());
}

TEST_F(strings_test, OrderAndHash) {
    char a[] = "abc", b[] = "abd", empty[] = "";
    const var_string first = a, second = b, none = nullptr, nothing = empty;
    EXPECT_EQ(var_string_compare(&first, &second), -1);
    EXPECT_EQ(var_string_compare(&second, &first), 1);
    EXPECT_EQ(var_string_compare(&none, &nothing), 0);
    EXPECT_EQ(var_string_compare(&none, &first), -1);
    EXPECT_EQ(var_string_compare(nullptr, &none), -1);
    EXPECT_EQ(var_string_hash(&none, 0, 5), var_string_hash(&nothing, 0, 5));
    EXPECT_NE(var_string_hash(&first, 3, 5), var_string_hash(&second, 3, 5));
    char long_one[] = "ab\0x", long_two[] = "ab\0y";
    const var_string one = long_one, two = long_two;
    EXPECT_EQ(var_string_compare(&one, &two), 0);
    EXPECT_EQ(var_string_hash(&one, 4, 5), var_string_hash(&two, 4, 5));
    EXPECT_EQ(var_string_compare_counted(&one, 4, &two, 4), -1);
    EXPECT_EQ(var_string_compare_counted(&one, 2, &two, 4), -1);
    EXPECT_EQ(var_string_compare_counted(&one, 2, &two, 2), 0);
    EXPECT_EQ(var_string_compare_counted(&none, 9, &two, 1), -1);
}

TEST_F(strings_test, PrintedLinesQuoteTheText) {
    EXPECT_EQ(line("port 1"), " name@var_string:\"port 1\"\n");
    EXPECT_EQ(line(""), " name@var_string:\"\"\n");
    EXPECT_EQ(line(std::string("\"\\\n\r\t\0\x7F\xFF", 8)), " name@var_string:\"\\\"\\\\\\n\\r\\t\\x00\\x7F\\xFF\"\n");
    std::string umlauts(63, 'x');  // characters of two bytes across the internal piece size
    for (int i = 0; i < 60; ++i) {
        umlauts += "\xC3\xA4";
    }
    EXPECT_EQ(line(umlauts), " name@var_string:\"" + umlauts + "\"\n");
    set("abc");
    char small[12];
    EXPECT_EQ(var_string_print(handle, test_class, small, 0, "n", &text, 3, sizeof small, &err), sizeof small);
    EXPECT_EQ(std::string(small, sizeof small), "n@var_string");
    expect_failure(VELA_EMSGSIZE);
}

TEST_F(strings_test, XmlCarriesEveryByte) {
    EXPECT_EQ(xml("a<b>&\"c'"), "<name>a&lt;b&gt;&amp;\"c'</name>");
    EXPECT_EQ(xml(std::string("\x01\0\\", 3)), "<name>\\x01\\x00\\\\</name>");
    EXPECT_EQ(xml("\xC3\xA4\xC3"), "<name>\xC3\xA4\\xC3</name>");
    std::vector<std::string> hostile = {"",
                                        " ",
                                        "  leading and trailing  ",
                                        "\t",
                                        "\n",
                                        "\r\n",
                                        "\r",
                                        "]]>",
                                        "<!--",
                                        "&amp;",
                                        "&#0;",
                                        "\\x41",
                                        "\\",
                                        "\\\\x",
                                        "<name value out of range/>",
                                        "\xC0\x80",
                                        "\xED\xA0\x80",
                                        "\xF4\x90\x80\x80",
                                        "\xEF\xBF\xBF",
                                        "\xE2\x82\xAC",
                                        "\xF0\x9F\x95\x92",
                                        "\xF0\x9F\x95",
                                        "\xE2\x82"};
    for (int byte = 0; byte < 256; ++byte) {
        hostile.push_back("<" + std::string(1, static_cast<char>(byte)) + "x");
    }
    std::minstd_rand random(3);
    for (int i = 0; i < 300; ++i) {
        std::string bytes(random() % 256, '\0');
        for (char &byte : bytes) {
            byte = static_cast<char>(random() >> 5);
        }
        hostile.push_back(bytes);
    }
    for (const std::string &characters : hostile) {
        ASSERT_EQ(round_trip(characters), characters);
    }
}

TEST_F(strings_test, XmlIsWrittenWholeOrNotAtAll) {
    set("<&>");
    const std::string whole = "<n state=\"3\">&lt;&amp;&gt;</n>";
    for (u_int32 room = 0; room <= whole.size(); ++room) {
        std::vector<char> out(room, '~');
        const u_int32 written = var_string_to_xml(handle, test_class, "n", out.data(), &text, 3, room, 3, &err);
        EXPECT_EQ(written, room < whole.size() ? 0 : whole.size());
        EXPECT_EQ(std::string(out.begin(), out.end()), room < whole.size() ? std::string(room, '~') : whole);
        if (room < whole.size()) {
            expect_failure(VELA_EMSGSIZE);
        }
    }
}

TEST_F(strings_test, XmlReadingKeepsTheOldTextOnFailure) {
    set("old");
    u_int8 count = 3;
    char reason[200] = "";
    const auto read = [&](const std::string &content) {
        document parsed("<name>" + content + "</name>");
        var_string_from_xml(handle, test_class, "//name", parsed, &text, &count, &err, reason, sizeof reason);
    };
    seen.stores.clear();
    read(std::string(256, 'x'));
    expect_failure(VELA_ENOSPC);
    EXPECT_STREQ(reason, "element //name: 256 characters are more than the 255 it can hold");
    for (const char *escape : {"\\", "\\q", "\\x", "\\x4", "\\xg0", "\\X41"}) {
        read(escape);
        EXPECT_NE(std::string(reason).find("is no escape"), std::string::npos) << escape;
        expect_failure(VELA_EINVAL);
    }
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(seen.stores.empty());
    read(std::string(254, 'x') + "\\x41");
    EXPECT_EQ(count, 255);
    EXPECT_EQ(text[254], 'A');
    EXPECT_EQ(seen.stores, (std::vector<announcement>{{&text, 8, test_class}, {&count, 1, test_class}}));
}

TEST_F(strings_test, WithoutAValueNothingIsDone) {
    u_int8 bytes[4] = {1, 2, 3, 4}, count = 7;
    char out[64], array[4] = "abc";
    const auto refused = [&](u_int32 result, u_int32 code = VELA_EINVAL) {
        EXPECT_EQ(result, 0u);
        expect_failure(code);
    };
    refused(var_string_marshal(handle, test_class, bytes, nullptr, 3, 4, &err));
    refused(var_string_unmarshal(handle, test_class, bytes, nullptr, 3, 4, 0, &err));
    refused(var_string_print(handle, test_class, out, 0, "n", nullptr, 3, sizeof out, &err));
    refused(var_string_to_xml(handle, test_class, "n", out, nullptr, 3, sizeof out, 0, &err));
    refused(char_unmarshal(handle, test_class, bytes, nullptr, 3, 4, 0, &err));
    refused(char_unmarshal(handle, test_class, bytes, array, 4, 3, 0, &err), VELA_EMSGSIZE);
    refused(char_print(handle, test_class, out, 0, "n", nullptr, 3, sizeof out, &err));
    refused(char_to_xml(handle, test_class, "n", out, nullptr, 3, sizeof out, 0, &err));
    EXPECT_EQ(var_string_get(handle, test_class, nullptr, &err), nullptr);
    expect_failure(VELA_ENOENT);
    EXPECT_EQ(char_get(handle, test_class, nullptr, &err), nullptr);
    expect_failure(VELA_ENOENT);
    var_string_set(handle, test_class, &text, nullptr, 3, &err);
    expect_failure(VELA_EINVAL);
    var_string_copy(handle, test_class, &text, nullptr, 3, &err);
    expect_failure(VELA_EINVAL);
    char_set(handle, test_class, array, nullptr, 4, &err);
    expect_failure(VELA_EINVAL);
    document parsed("<n>x</n>");
    var_string_from_xml(handle, test_class, "//n", parsed, nullptr, &count, &err, nullptr, 0);
    expect_failure(VELA_EINVAL);
    char_from_xml(handle, test_class, "//n", parsed, nullptr, 4, &err, nullptr, 0);
    expect_failure(VELA_EINVAL);
    EXPECT_EQ(var_string_len(handle, test_class, nullptr, 3) + char_len(handle, test_class, nullptr, 3), 0u);
    EXPECT_EQ(char_compare(nullptr, array, 4), -1);
    EXPECT_EQ(char_compare(array, nullptr, 4), 1);
    EXPECT_EQ(char_hash(nullptr, 4, 5), 5u);
    EXPECT_EQ(var_string_hash(nullptr, 4, 5), 5u);
    EXPECT_EQ(var_string_compare_counted(nullptr, 1, &text, 1), -1);
    EXPECT_EQ(var_string_compare_counted(&text, 1, nullptr, 1), 1);
    EXPECT_EQ(count, 7);
    EXPECT_TRUE(seen.stores.empty());
}

TEST_F(strings_test, CharArrays) {
    char array[6] = "xxxxx";
    char_set(handle, test_class, array, "abc", 6, &err);
    EXPECT_EQ(std::string(array, 6), std::string("abc\0\0\0", 6));
    EXPECT_EQ(seen.stores, (std::vector<announcement>{{array, 6, test_class}}));
    char_set(handle, test_class, array, "1234567", 6, &err);
    expect_failure(VELA_ENOSPC);
    EXPECT_EQ(char_get(handle, test_class, array, &err), array);
    EXPECT_EQ(char_len(handle, test_class, array, 6), 6u);
    u_int8 wire[6] = {};
    EXPECT_EQ(char_marshal(handle, test_class, wire, array, 6, 5, &err), 0u);
    expect_failure(VELA_EMSGSIZE);
    EXPECT_EQ(char_marshal(handle, test_class, wire, array, 6, 6, &err), 6u);
    char back[6];
    EXPECT_EQ(char_unmarshal(handle, test_class, wire, back, 6, 6, 0, &err), 6u);
    EXPECT_EQ(char_compare(array, back, 6), 0);
    EXPECT_EQ(char_hash(array, 6, 1), char_hash(back, 6, 1));
    back[5] = 1;
    EXPECT_EQ(char_compare(array, back, 6), -1);
    char out[60];
    EXPECT_EQ(std::string(out, char_print(handle, test_class, out, 0, "n", array, 6, sizeof out, &err)),
              "n@char:\"abc\"\n");
    EXPECT_EQ(std::string(out, char_to_xml(handle, test_class, "n", out, back, 6, sizeof out, 0, &err)),
              "<n>abc\\x00\\x00\\x01</n>");
    document parsed("<n>abc\\x00\\x00\\x01</n>");
    char_from_xml(handle, test_class, "//n", parsed, array, 6, &err, nullptr, 0);
    EXPECT_EQ(char_compare(array, back, 6), 0);
    char_from_xml(handle, test_class, "//n", parsed, array, 5, &err, nullptr, 0);
    expect_failure(VELA_ENOSPC);
}

}  // namespace
}  // namespace velalib_test
