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
    for (int i = 0; i < depth; ++i) {
        text += "<a>";
    }
    text += inner;
    for (int i = 0; i < depth; ++i) {
        text += "</a>";
    }
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
          "<a><![CDATA[&x;<b value out of range/>]]></a>", "<a>&#x1F552;</a>", "<a>]] ></a>", "<a/>\n \n",
          "<a\n></a\n>", "<?xml version='1.0' encoding='utf-8' standalone='yes' ?><?p?><a b = \"'\" c='\">'/>",
          "<\xC3\xA9.\xC2\xB7-1/>", "<a>\x7F\xC2\x80\xF0\x9F\x95\x92</a>", "<a><!----><?p a>?></a>", "<:/>",
          "<a>></a>"}) {
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
    EXPECT_EQ(vela_xml_parse("<", 1, nullptr, 0), nullptr);
    vela_xml_destroy(nullptr);
}

TEST(XmlParse, RefusesWhatIsNotWellFormed) {
    const std::pair<std::string, const char *> wrong[] = {
        {"<a/>x", "1, column 5: text outside the root element"},
        {"<a/>>", "1, column 5: text outside"},
        {"<a/>\n\n&#32;", "3, column 1: text outside"},
        {"<a/><![CDATA[]]>", "1, column 5: text outside"},
        {"<a>]]></a>", "1, column 4: ']]>' in a text; write it as ]]&gt;"},
        {"<a b='1<2'/>", "1, column 8: '<' in an attribute's value; write it as &lt;"},
        {"<a b='1' c='2'\nb='3'/>", "2, column 1: an attribute of a name that this element already has"},
        {"<a b='1'c='2'/>", "1, column 9: a blank must stand before an attribute"},
        {"<a b='&x;'/>", "1, column 7: an '&'"},
        {"<a b='1/>", "1, column 6: this attribute's value does not end"},
        {"<a b=1/>", "1, column 6: an attribute's value must stand here, in quotes"},
        {"<a b/>", "1, column 5: an attribute is written NAME=\"VALUE\""},
        {"<a><!-- b--c --></a>", "1, column 10: '--' within a comment"},
        {"<a><!-- b ---></a>", "1, column 11: '--' within a comment"},
        {"<a><!-- b</a>", "1, column 4: this comment does not end"},
        {"<a>\x01</a>", "1, column 4: a control character"},
        {"<a b='\x1F'/>", "1, column 7: a control character"},
        {"<a><!--\x02--></a>", "1, column 8: a control character"},
        {"<a><![CDATA[\x03]]></a>", "1, column 13: a control character"},
        {"<a><?p \x04?></a>", "1, column 8: a control character"},
        {"<a>\xC3</a>", "1, column 4: bytes that are no UTF-8"},
        {"<a>\xC0\xAF</a>", "1, column 4: bytes that are no UTF-8"},
        {"<a>\xED\xA0\x80</a>", "1, column 4: bytes that are no UTF-8"},
        {"<a>\xEF\xBF\xBF</a>", "1, column 4: bytes that are no UTF-8"},
        {"<a b='\xFF'/>", "1, column 7: bytes that are no UTF-8"},
        {"<a\xC3\x97/>", "1, column 3: the tag must end here"},
        {"<1/>", "1, column 2: an element's name"},
        {"<-a/>", "1, column 2: an element's name"},
        {"< a/>", "1, column 2: an element's name"},
        {"<\xC3\x97/>", "1, column 2: an element's name"},
        {"<a><", "1, column 5: an element's name"},
        {"<a", "1, column 3: the tag must end here"},
        {"<a/", "1, column 3: the tag must end here"},
        {"<a>1 < 2</a>", "1, column 7: an element's name"},
        {"<a></b>", "1, column 6: this end tag is not that of the element"},
        {"<a></a b>", "1, column 8: the end tag must end here"},
        {"<a></ a>", "1, column 6: this end tag"},
        {"</a>", "1, column 3: an end tag, but no element is open"},
        {"<a><b></b>", "1, column 2: this element is not closed"},
        {"<a><![CDATA[</a>", "1, column 4: this CDATA section does not end"},
        {"<a><![cdata[]]></a>", "1, column 4: neither a comment"},
        {" <?xml version='1.0'?><a/>", "1, column 2: an XML declaration has its place"},
        {"<a><?XML a?></a>", "1, column 4: an XML declaration has its place"},
        {"<?xml?><a/>", "1, column 1: an XML declaration has its place"},
        {"<?xml version='2.0'?><a/>", "1, column 1: a wrong XML declaration"},
        {"<?xml encoding='UTF-8'?><a/>", "1, column 1: a wrong XML declaration"},
        {"<?xml version='1.0' standalone='maybe'?><a/>", "1, column 1: a wrong XML declaration"},
        {"<?xml version='1.0' standalone='no' encoding='UTF-8'?><a/>", "1, column 1: a wrong XML declaration"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a/>", "1, column 1: the declaration names another encoding"},
        {"<?p/?><a/>", "1, column 4: the name of a processing instruction must end here"},
        {"<? p?><a/>", "1, column 1: a processing instruction without a name"},
        {"<?p <a/>", "1, column 1: this processing instruction does not end"},
        {"<a><b value out of range/><b value out of rage/></a>", "1, column 36: an attribute is written"},
    };
    for (const auto &[text, reason] : wrong) {
        EXPECT_EQ(reason_for(text).substr(0, strlen(reason) + 5), std::string("line ") + reason) << text;
    }
    // Very many attributes are no reason to take very long.
    std::string many = "<a";
    for (int i = 0; i < 50000; ++i) {
        many += " a" + std::to_string(i) + "=''";
    }
    EXPECT_EQ(reason_for(many + "/>"), "accepted");
    EXPECT_NE(reason_for(many + " a7=''/>").find("already has"), std::string::npos);
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
