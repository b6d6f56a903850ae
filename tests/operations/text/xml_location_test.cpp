// Records are read alike whatever form the path to them has: "//NAME", or a general expression whose first answer is the
// same element, however long it is and however many others answer.
#include <algorithm>
#include <random>

#include "records.h"

namespace ptp_cfg_test {
namespace {

/** An element of a document that is made up. */
struct element {
    std::string name;
    std::string content;  // markup that stands before the children
    std::vector<element> children;
};

/** Reads what the library has rendered: elements without attributes, from the '<' at `at` on. */
element read_element(const std::string &text, size_t &at) {
    const size_t end = text.find_first_of("/>", at);
    element result{text.substr(at + 1, end - at - 1), "", {}};
    at = text.find('>', at) + 1;
    if (text[end] == '/') {
        return result;
    }
    while (text.compare(at, 2, "</") != 0) {
        if (text[at] == '<') {
            result.children.push_back(read_element(text, at));
        } else {
            result.content += text[at++];
        }
    }
    at = text.find('>', at) + 1;
    return result;
}

std::string written(const element &it) {
    std::string text = "<" + it.name + ">" + it.content;
    for (const element &child : it.children) {
        text += written(child);
    }
    return text + "</" + it.name + ">";
}

/** Makes documents worse than any that is rendered. */
class vandal {
  public:
    explicit vandal(unsigned seed) : random_(seed) {}

    bool one_in(unsigned count) { return random_() % count == 0; }
    unsigned below(size_t count) { return static_cast<unsigned>(random_() % count); }

    void spoil(element &it) {
        for (element &child : it.children) {
            spoil(child);
        }
        if (it.children.empty()) {
            spoil_content(it);
        } else if (one_in(3)) {
            spoil_children(it);
        }
        if (one_in(40)) {
            it.children.insert(it.children.begin(), element(it));  // one of its own name inside it
        }
    }

  private:
    void spoil_content(element &it) {
        static const std::string values[] = {"1", " 0 ", "300", "-1", "99999999999999999999", "x", "\\q", "true"};
        switch (below(40)) {
            case 0:
                it.content = values[below(std::size(values))];
                break;
            case 1:
                it.content = "<![CDATA[" + it.content + "]]>";
                break;
            case 2:
                it.content = "<!-- c -->" + it.content + "<!-- d --><![CDATA[]]>";
                break;
            case 3:
                it.content.insert(0, "<b/>");
                break;
            case 4:
                it.content = one_in(4) ? std::string(200, '7') : "7";  // too long a text for a literal
                break;
            default:
                break;
        }
    }
    void spoil_children(element &it) {
        std::vector<element> &all = it.children;
        const unsigned at = below(all.size());
        switch (below(6)) {
            case 0:
                std::shuffle(all.begin(), all.end(), random_);
                break;
            case 1:
                all.erase(all.begin() + at);
                break;
            case 2:
                all.insert(all.begin() + below(all.size() + 1), element(all[at]));
                break;
            case 3:
                all.insert(all.begin() + at, {"unknown", "1", {}});
                break;
            case 4:
                all[at].name = it.name;
                break;
            default:
                it.content = "<!-- c -->text";
                all[at].children.push_back({"VELA_PTP_VERSION_1", "", {}});
                break;
        }
    }

    std::minstd_rand random_;
};

std::string made_up(const record_type &type, const std::string &rendered, vandal &with) {
    const std::string name = type.about.name;
    size_t at = 0;
    element record = read_element(rendered, at);
    const element second = record;
    with.spoil(record);
    std::string text = written(record);
    if (with.one_in(4)) {
        text = "<other/>" + text + written(second);
    }
    for (unsigned depth = 1 + with.below(50); depth > 0; --depth) {
        text = "<w>" + text + "</w>";
    }
    return text;
}

struct outcome {
    u_int32 err;
    u_int32 last_error;
    bool is_epoch;
    std::string error_text;  // without the path that was asked for
    std::string record;

    bool operator==(const outcome &) const = default;
};

std::ostream &operator<<(std::ostream &out, const outcome &it) {
    return out << it.err << " " << it.last_error << (it.is_epoch ? " epoch " : " ") << it.error_text << "\n"
               << it.record;
}

outcome read_by(const std::string &path, const record_type &type, vela_handle *handle, vela_xml_document *document) {
    const auto instance = type.create(handle);
    outcome result = {};
    char why[512] = "";
    vela_clear_last_error(handle);
    type.operations->from_xml(handle, mem_class, path.c_str(), document, instance.get(), &result.err, why, sizeof why);
    result.last_error = handle->last_error.code;
    result.is_epoch = handle->last_error.epoch != 0;
    result.error_text = why;
    const size_t named = result.error_text.find(path);
    if (named != std::string::npos) {
        result.error_text.erase(named, path.size());
    }
    vela_clear_last_error(handle);
    result.record = type.to_xml(handle, instance.get());
    return result;
}

/** How often each outcome came about, so that a document that spoils nothing is noticed. */
struct tally {
    u_int32 read = 0, refused = 0, too_new = 0;
};

void compare_forms(const record_type &type, int8 level, tally &seen) {
    const level_domain old(level);
    const test_handle handle({.domain = old.get()});
    const test_handle latest;
    const auto source = type.create(latest);
    fill(type, latest, source.get(), filling::random);
    const std::string rendered = type.to_xml(latest, source.get());
    if (rendered.size() > 10000) {
        return;  // general expressions take too long in it
    }
    for (unsigned seed = 1; seed <= 12; ++seed) {
        vandal with(seed * 7919 + static_cast<unsigned>(rendered.size()));
        const std::string text = made_up(type, rendered, with);
        const document parsed = parse_xml(text);
        const std::string name = type.about.name;
        const outcome simple = read_by("//" + name, type, handle, parsed.get());
        for (const std::string &path :
             {"(//" + name + ")[1]", "//*[name() = '" + name + "']", "/descendant::" + name, "//" + name}) {
            ASSERT_EQ(simple, read_by(path, type, handle, parsed.get())) << path << " in " << text;
        }
        outcome by_long =
            read_by("//" + name + "[not('" + std::string(300, 'x') + "' = '')]", type, handle, parsed.get());
        by_long.error_text = simple.error_text;  // has no room for the path
        ASSERT_EQ(simple, by_long) << text;
        ++(simple.err == 0 ? seen.read : simple.is_epoch ? seen.too_new : seen.refused);
    }
}

TEST(XmlPlaces, EveryFormOfPathReadsTheSame) {
#ifdef PTP_CFG_EXPORTED_RUNTIME
    GTEST_SKIP() << "such a library appends steps to a path of any form";
#endif
    tally seen;
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION}) {
        for (const record_type &type : record_types(kind)) {
            SCOPED_TRACE(type.about.name);
            compare_forms(type, 0, seen);
            compare_forms(type, 2, seen);
        }
    }
    EXPECT_GT(seen.read, 200u);
    EXPECT_GT(seen.refused, 100u);
    EXPECT_GT(seen.too_new, 5u);
}

}  // namespace
}  // namespace ptp_cfg_test
