// Finding elements by number, and reading them by a path that is not searched.
#include <algorithm>

#include "test_support.h"

namespace velalib_test {
namespace {

class XmlElements : public testing::Test {
  protected:
    u_int32 find(const char *path) {
        u_int32 element = 99;
        result = xml_find_element(parsed, path, &element);
        return element;
    }
    std::string text_of(u_int32 element) {
        const char path[] = "shown";
        const char *text = nullptr;
        xml_select_element(parsed, path, element);
        result = xml_get_element_text(parsed, path, &text);
        return result == VELA_OK ? text : "error " + std::to_string(result);
    }

    document parsed{"<r><a>1</a><b>2</b><x/><a>3</a><c><a>4</a></c><b>5</b><a>6</a></r>"};
    u_int32 result = 0;
};

TEST_F(XmlElements, PathsOfAnyFormNameOneElement) {
    EXPECT_EQ(text_of(find("//r/a[2]")), "3");
    EXPECT_EQ(text_of(find("//c/a")), "4");
    EXPECT_EQ(find("//r/missing"), 0u);
    EXPECT_EQ(result, u_int32{VELA_ENOENT});
    // General expressions name the first of what they answer to.
    EXPECT_EQ(text_of(find("(//a)[3]")), "4");
    EXPECT_EQ(text_of(find("//a[2]")), "3");
    EXPECT_EQ(find("//a | //r"), find("//r"));
    EXPECT_EQ(find("//a[. = 'x']"), 0u);
    EXPECT_EQ(result, u_int32{VELA_ENOENT});
    u_int32 element = 0;
    for (const char *path : {"//r[", "count(//a)", "//", ""}) {
        EXPECT_EQ(xml_find_element(parsed, path, &element), u_int32{VELA_EINVAL}) << path;
    }
    EXPECT_EQ(xml_find_element(parsed, nullptr, &element), u_int32{VELA_EINVAL});
    EXPECT_EQ(xml_find_element(nullptr, "//r", &element), u_int32{VELA_EINVAL});
}

TEST_F(XmlElements, ChildrenAreFoundInAnyOrder) {
    const std::vector<std::string> names = {"a", "b", "c", "x"};
    std::vector<std::string> order = names;
    do {
        u_int32 fresh = xml_first_child(parsed, find("//r"));
        for (const std::string &name : order) {
            EXPECT_EQ(xml_find_child(parsed, &fresh, name.c_str()), find(("//r/" + name).c_str())) << name;
        }
        EXPECT_EQ(xml_find_child(parsed, &fresh, "missing"), 0u);
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(xml_first_child(parsed, find("//x")), 0u);
}

TEST_F(XmlElements, SiblingsOfOneNameFollowEachOther) {
    u_int32 fresh = xml_first_child(parsed, find("//r"));
    u_int32 element = xml_find_child(parsed, &fresh, "a");
    std::string texts;
    for (; element != 0; element = xml_find_next(parsed, &fresh, element)) {
        texts += text_of(element);
    }
    EXPECT_EQ(texts, "136");
    EXPECT_EQ(text_of(xml_find_child(parsed, &fresh, "b")), "2");
    EXPECT_STREQ(xml_last_name(parsed, find("//r/a[3]")), "a");
    EXPECT_EQ(xml_last_name(parsed, find("//r/a[2]")), nullptr);
}

TEST_F(XmlElements, ASelectionHoldsForTheNextReadByItsPath) {
    const std::string path = "//r/b";
    const std::string same = path;
    const auto read = [&](const std::string &by) {
        char value[8];
        return xml_get_element_value(parsed, by.c_str(), value, sizeof value, 0) == VELA_OK ? value[0] : '?';
    };
    const u_int32 other = find("//r/a[2]");
    xml_select_element(parsed, path.c_str(), other);
    EXPECT_EQ(read(path), '3');
    EXPECT_EQ(read(path), '2') << "the selection is used up";
    xml_select_element(parsed, path.c_str(), other);
    EXPECT_EQ(read(same), '2') << "another pointer";
    EXPECT_EQ(read(path), '2') << "no longer the next read";
    xml_select_element(parsed, path.c_str(), 0);
    EXPECT_EQ(read(path), '?');
}

}  // namespace
}  // namespace velalib_test
