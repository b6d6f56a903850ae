// Finding elements by path: the right ones in any order, and in linear time in document order.
#include "test_support.h"

#include <random>

namespace velalib_test {
namespace {

std::string value_of(vela_xml_document *parsed, const std::string &path) {
    char value[128];
    const u_int32 result = xml_get_element_value(parsed, path.c_str(), value, sizeof value, 0);
    return result == VELA_OK ? value : "error " + std::to_string(result);
}

u_int32 count_of(vela_xml_document *parsed, const std::string &path) {
    u_int32 count = 99;
    EXPECT_EQ(xml_get_element_nodecount(parsed, path.c_str(), &count), 0u);
    return count;
}

TEST(XmlCursor, FindsRepeatedAndMissingElementsInAnyOrder) {
    document parsed(
        "<r><a>1</a><b>2</b><a>3</a><list><e>10</e><x>11</x><e>12</e><e>13</e></list><ab>4</ab><a>5</a></r>");
    ASSERT_NE(parsed, nullptr) << parsed.reason();
    EXPECT_EQ(value_of(parsed, "//r/b"), "2");
    EXPECT_EQ(value_of(parsed, "//r/a"), "1");
    EXPECT_EQ(value_of(parsed, "//r/ab"), "4");
    EXPECT_EQ(value_of(parsed, "//r/a[3]"), "5");
    EXPECT_EQ(value_of(parsed, "//r/a[2]"), "3");
    EXPECT_EQ(value_of(parsed, "//r/a[4]"), "error 2");
    EXPECT_EQ(value_of(parsed, "//r/a[0]"), "error 2");
    EXPECT_EQ(value_of(parsed, "//r/missing"), "error 2");
    EXPECT_EQ(value_of(parsed, "//r/missing/deeper[2]"), "error 2");
    for (const int pass : {1, 2}) {
        EXPECT_EQ(value_of(parsed, "//r/list/e[1]"), "10") << pass;
        EXPECT_EQ(value_of(parsed, "//r/list/e[2]"), "12");
        EXPECT_EQ(value_of(parsed, "//r/list/e[3]"), "13");
        EXPECT_EQ(value_of(parsed, "//r/list/e[4]"), "error 2");
        EXPECT_EQ(value_of(parsed, "//r/list/x"), "11");
        EXPECT_EQ(value_of(parsed, "/r/list/e"), "10");
    }
    EXPECT_EQ(value_of(parsed, "//e"), "10");
    EXPECT_EQ(value_of(parsed, "//nowhere"), "error 2");
}

TEST(XmlCursor, CountsElements) {
    document parsed("<r><a/><b><a/><c/><a><a/></a></b><a/></r>");
    EXPECT_EQ(count_of(parsed, "//a"), 5u);
    EXPECT_EQ(count_of(parsed, "//a"), 5u);
    EXPECT_EQ(count_of(parsed, "//r/a"), 2u);
    EXPECT_EQ(count_of(parsed, "//r/a[2]"), 1u);
    EXPECT_EQ(count_of(parsed, "//r/a[3]"), 0u);
    EXPECT_EQ(count_of(parsed, "//b/a"), 2u);
    EXPECT_EQ(count_of(parsed, "//b"), 1u);
    EXPECT_EQ(count_of(parsed, "//x"), 0u);
    EXPECT_EQ(count_of(parsed, "/r"), 1u);
}

TEST(XmlCursor, LeavesOtherPathsToXPath) {
    document parsed("<r><a k='1'>1</a><a k='2'>2</a></r>");
    EXPECT_EQ(value_of(parsed, "//a[@k='2']"), "2");
    EXPECT_EQ(value_of(parsed, "r/a[2]"), "2");
    EXPECT_EQ(value_of(parsed, "//a[last()]"), "2");
    EXPECT_EQ(count_of(parsed, "//a[2]"), 1u);
    EXPECT_EQ(value_of(parsed, "//a/@k"), "error 2");  // no element
    for (const char *path : {"", "//", "//r/", "//r/a[", "//r/a[]", "//r//[", "///"}) {
        u_int32 count = 0;
        EXPECT_EQ(value_of(parsed, path), "error 22") << path;
        EXPECT_EQ(xml_get_element_nodecount(parsed, path, &count), static_cast<u_int32>(VELA_EINVAL)) << path;
    }
    EXPECT_EQ(value_of(parsed, "//r/" + std::string(3000, 'x')), "error 2");
    std::string deep = "/";
    for (int i = 0; i < 100; ++i) {
        deep += "/a";
    }
    EXPECT_EQ(value_of(parsed, deep), "error 2");
}

// XPath is the oracle: (//NAME)[1]/... says the same in a form that the cursor does not take.
class random_document {
  public:
    explicit random_document(unsigned seed) : random_(seed) { text_ = element("r", 4); }

    const std::string &text() const { return text_; }
    std::string name() { return std::string(1, static_cast<char>('a' + random_() % 4)); }
    std::string steps() {
        std::string path;
        for (unsigned i = random_() % 4; i > 0; --i) {
            path += "/" + name() + "[" + std::to_string(1 + random_() % 4) + "]";
        }
        return path;
    }

  private:
    std::string element(const std::string &name, int depth) {
        std::string text = "<" + name + ">" + std::to_string(++number_);
        if (depth > 0) {
            for (unsigned i = random_() % 8; i > 0; --i) {
                text += element(this->name(), depth - 1);
            }
        }
        return text + "</" + name + ">";
    }

    std::minstd_rand random_;
    int number_ = 0;
    std::string text_;
};

TEST(XmlCursor, AgreesWithXPathOnRandomDocuments) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        random_document made(seed);
        document parsed(made.text());
        ASSERT_NE(parsed, nullptr) << parsed.reason();
        for (int i = 0; i < 100; ++i) {
            const std::string anchor = "//" + made.name();
            const std::string steps = made.steps();
            std::string general = "(";
            general.append(anchor).append(")[1]").append(steps);
            ASSERT_EQ(value_of(parsed, anchor + steps), value_of(parsed, general)) << general << made.text();
        }
    }
}

}  // namespace
}  // namespace velalib_test
