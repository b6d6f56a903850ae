// What documents are accepted, and how refusals are explained.
#include "test_support.h"

namespace velalib_test {
namespace {

std::string reason_for(const std::string &text) {
    document parsed(text);
    return parsed == nullptr ? parsed.reason() : "accepted";
}

std::string nested(int depth, const std::string &inner) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<a>";
    text += inner;
    for (int i = 0; i < depth; ++i) text += "</a>";
    return text;
}

std::string value_of(vela_xml_document *parsed, const char *path) {
    char value[128];
    const u_int32 result = xml_get_element_value(parsed, path, value, sizeof value, 0);
    return result == VELA_OK ? value : "error " + std::to_string(result);
}

TEST(XmlParse, AcceptsOneElementWithWhatXmlPutsAroundIt) {
    for (const char *text :
         {"<a/>", "<?xml version=\"1.0\"?>\n<!-- c --><a/>\n<!-- d -->", "\xEF\xBB\xBF<a/>", "<a b='&lt;&#65;'/>",
          "<a><![CDATA[&x;<b value out of range/>]]></a>", "<a>&#x1F552;</a>"}) {
        EXPECT_EQ(reason_for(text), "accepted") << text;
    }
    EXPECT_EQ(reason_for(nested(64, "text")), "accepted");
}

TEST(XmlParse, SaysWhereADocumentIsWrong) {
    EXPECT_EQ(reason_for(""), "line 1, column 1: there is no text");
    EXPECT_EQ(reason_for("<!-- only -->"), "line 1, column 1: there is no element");
    EXPECT_EQ(reason_for("<a>\n <b>\n</a>").substr(0, 7), "line 3,");
    EXPECT_EQ(reason_for(std::string("<a>\n\0</a>", 9)), "line 2, column 1: a NUL character");
    EXPECT_EQ(reason_for("<a/>\n<b/>"), "line 2, column 2: a second root element; a document has one");
    EXPECT_EQ(reason_for("text <a/>"), "line 1, column 1: text outside the root element");
    EXPECT_EQ(reason_for("<a/> text").substr(0, 7), "line 1,");
    EXPECT_NE(reason_for("<!DOCTYPE a [<!ENTITY b 'c'>]><a>&amp;</a>").find("document type"), std::string::npos);
    EXPECT_NE(reason_for(nested(65, "")).find("nested too deeply"), std::string::npos);
    EXPECT_NE(reason_for(nested(200000, "")).find("nested too deeply"), std::string::npos);
    for (const char *reference :
         {"&b;", "&", "&#0;", "&#x1F;", "&#xD800;", "&#x110000;", "&#x99999999;", "&#;", "&lt"}) {
        EXPECT_NE(reason_for(std::string("<a>") + reference + "</a>").find("'&'"), std::string::npos) << reference;
    }
    for (const char *text : {"<", "<a", "<a b/>", "<a></b>", "<a b='c></a>", "<a><![CDATA[</a>", "<!-- <a/>", "</a>"}) {
        EXPECT_NE(reason_for(text), "accepted") << text;
    }
    EXPECT_EQ(vela_xml_parse("<", 1, nullptr, 0), nullptr);
    vela_xml_destroy(nullptr);
}

TEST(XmlParse, AcceptsAValueOutOfRangeAndNothingLikeIt) {
    document parsed("<r><state><ptp_state value out of range/></state><after>1</after></r>");
    ASSERT_NE(parsed, nullptr) << parsed.reason();
    EXPECT_EQ(value_of(parsed, "//r/state/ptp_state"), "");
    EXPECT_EQ(value_of(parsed, "//r/after"), "1");
    for (const char *text :
         {"<r><a value out of range></r>", "<r><a value out of range /></r>", "<r><a value out/></r>",
          "<r>< value out of range/></r>", "<r><a b value out of range/></r>"}) {
        EXPECT_NE(reason_for(text), "accepted") << text;
    }
    document quoted("<r><![CDATA[<a value out of range/>]]></r>");
    EXPECT_EQ(value_of(quoted, "//r"), "<a value out of range/>");
}

TEST(XmlParse, ReadsTextAsItStands) {
    document parsed("<r><a> 1 </a><b>x<!-- c -->y<![CDATA[<z>]]></b><c>\r\n&#13;</c><d><e/></d><f>   </f></r>");
    ASSERT_NE(parsed, nullptr) << parsed.reason();
    EXPECT_EQ(value_of(parsed, "//r/a"), " 1 ");
    EXPECT_EQ(value_of(parsed, "//r/b"), "xy<z>");
    EXPECT_EQ(value_of(parsed, "//r/c"), "\n\r");
    EXPECT_EQ(value_of(parsed, "//r/d"), "");
    EXPECT_EQ(value_of(parsed, "//r/f"), "   ");
}

TEST(XmlParse, ValuesAreCutAtTheRoomAndTextsAreNot) {
    document parsed("<a>" + std::string(300, 'x') + "</a>");
    char value[4];
    EXPECT_EQ(xml_get_element_value(parsed, "//a", value, sizeof value, 0), static_cast<u_int32>(VELA_ENOSPC));
    EXPECT_STREQ(value, "xxx");
    EXPECT_EQ(xml_get_element_value(parsed, "//a", value, 0, 0), static_cast<u_int32>(VELA_EINVAL));
    const char *text = nullptr;
    EXPECT_EQ(xml_get_element_text(parsed, "//a", &text), 0u);
    EXPECT_EQ(strlen(text), 300u);
    EXPECT_EQ(xml_get_element_text(parsed, "//b", &text), static_cast<u_int32>(VELA_ENOENT));
    EXPECT_EQ(xml_get_element_text(nullptr, "//b", &text), static_cast<u_int32>(VELA_EINVAL));
}

}  // namespace
}  // namespace velalib_test
