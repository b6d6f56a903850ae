// Numbers at the edge of what their field holds, in each form, and just beyond; and where commas are decimal points.
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <locale>

#include "edges.h"

namespace ptp_cfg_test {
namespace {

bool is_number(const ptp_cfg_field_description &field) {
    return field.kind == PTP_CFG_FIELD_UNSIGNED || field.kind == PTP_CFG_FIELD_SIGNED;
}

/** Of a number of so many bytes: the least, the greatest, and what lies next to these and to 0, as 64 bits. */
std::vector<u_int64> edges_of(const ptp_cfg_field_description &field) {
    const u_int64 top = u_int64{1} << (8 * field.element_size - 1);
    if (field.kind == PTP_CFG_FIELD_SIGNED) {
        return {~top + 1, ~top + 2, ~u_int64{0}, 0, 1, top - 2, top - 1};
    }
    return {0, 1, 2, top - 1, top, 2 * top - 2, 2 * top - 1};
}
constexpr size_t edge_count = 7;

std::string in_words(const ptp_cfg_field_description &field, u_int64 value) {
    return field.kind == PTP_CFG_FIELD_SIGNED ? std::to_string(static_cast<int64_t>(value)) : std::to_string(value);
}

/** Sets each number of a structure to its edge of that index, a neighbour to the next one. */
void set_edges(const record_type &type, vela_handle *handle, void *instance, size_t edge) {
    for_each_leaf(type, handle, instance, [&](const leaf &where) {
        if (!is_number(where.field())) {
            return;
        }
        const u_int64 value = edges_of(where.field())[edge++ % edge_count];
        u_int32 err = 0;
        ptp_cfg_field_set_value(where.owner.type, where.index, handle, mem_class, where.instance, where.element, value,
                                &err);
        EXPECT_EQ(ptp_cfg_field_get_value(where.owner.type, where.index, handle, mem_class, where.instance,
                                          where.element, &err),
                  value)
            << where.owner.about.name << "." << where.field().name;
        EXPECT_EQ(err, 0u);
    });
}

TEST(numbers, at_the_edge_are_the_same_in_each_form) {
    const test_handle handle;
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        for (size_t edge = 0; edge < edge_count; ++edge) {
            const owned<void> instance = type.create(handle);
            set_edges(type, handle, instance.get(), edge);
            expect_survives(type, handle, instance.get(), forms_of(type, handle, instance.get()));
            if (type.about.untracked_size > 2000) {
                break;  // a long array has all of them in its elements
            }
        }
    }
}

/** The text of one number field in XML and in JSON. */
struct number_text {
    std::string xml, json;
    number_text(const record_type &type, const ptp_cfg_field_description &field, const std::string &value) {
        const std::string name = type.about.name, element = field.name;
        xml = "<" + name + "><" + element + ">" + value + "</" + element + "></" + name + ">";
        const std::string quoted = field.element_size == 8 ? "\"" + value + "\"" : value;
        json = "{\"" + element + "\":" + (field.is_array != 0 ? "[" + quoted + "]" : quoted) + "}";
    }
};

template <class Visit>
void for_each_number(Visit visit) {
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        for (u_int32 index = 0; index < type.fields.size(); ++index) {
            if (is_number(type.fields[index]) && type.fields[index].is_read_only == 0) {
                visit(type, index, type.fields[index]);
            }
        }
    }
}

TEST(numbers, are_told_from_those_just_beyond) {
    const test_handle handle;
    for_each_number([&](const record_type &type, u_int32 index, const ptp_cfg_field_description &field) {
        SCOPED_TRACE(std::string(type.about.name) + "." + field.name);
        const owned<void> instance = type.create(handle);
        const auto value = [&] {
            u_int32 err = 0;
            return ptp_cfg_field_get_value(type.type, index, handle, mem_class, instance.get(), 0, &err);
        };
        for (const u_int64 edge : edges_of(field)) {
            const number_text text(type, field, in_words(field, edge));
            EXPECT_EQ(read_xml(type, handle, text.xml, 0, instance.get()), 0u) << text.xml;
            EXPECT_EQ(value(), edge) << text.xml;
            EXPECT_EQ(read_json(type, handle, text.json, instance.get()), 0u) << text.json;
            EXPECT_EQ(value(), edge) << text.json;
        }
        const u_int64 before = value();
        const bool is_signed = field.kind == PTP_CFG_FIELD_SIGNED;
        const std::string above[] = {"256", "65536", "4294967296", "18446744073709551616"};
        const std::string signed_above[] = {"128", "32768", "2147483648", "9223372036854775808"};
        const std::string below[] = {"-129", "-32769", "-2147483649", "-9223372036854775809"};
        const size_t width = static_cast<size_t>(__builtin_ctz(field.element_size));
        for (const std::string &beyond :
             {is_signed ? signed_above[width] : above[width], is_signed ? below[width] : std::string("-1"),
              std::string("1,5"), std::string("1.5"), std::string(400, '9'), std::string("1e3")}) {
            const number_text text(type, field, beyond);
            EXPECT_EQ(read_xml(type, handle, text.xml, VELA_XML_STRICT, instance.get()), u_int32{VELA_EINVAL})
                << beyond;
            EXPECT_EQ(read_xml(type, handle, text.xml, 0, instance.get()), u_int32{VELA_EINVAL}) << beyond;
            if (field.is_array == 0 || beyond != "1,5") {  // which is two elements
                EXPECT_EQ(read_json(type, handle, text.json, instance.get()), u_int32{VELA_EINVAL}) << beyond;
            }
            EXPECT_EQ(value(), before) << beyond;
        }
    });
}

/** A locale with decimal commas and points between thousands, made for the test where the system has the sources. */
class comma_locale {
  public:
    comma_locale() {
        char name[] = "/tmp/ptp-locale-XXXXXX";
        folder_ = mkdtemp(name);
        const std::string line = "localedef -i de_DE -f UTF-8 " + folder_ + "/de_DE.UTF-8 >/dev/null 2>&1";
        is_made_ = std::system(line.c_str()) == 0 && setenv("LOCPATH", folder_.c_str(), 1) == 0 &&
                   setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
        if (is_made_) {
            std::locale::global(std::locale("de_DE.UTF-8"));
        }
    }
    comma_locale(const comma_locale &) = delete;
    comma_locale &operator=(const comma_locale &) = delete;
    ~comma_locale() {
        std::locale::global(std::locale::classic());
        setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(folder_);
    }
    bool is_made() const { return is_made_; }

  private:
    std::string folder_;
    bool is_made_ = false;
};

TEST(numbers, know_nothing_of_the_locale) {
    const test_handle handle;
    std::vector<std::pair<record_type, forms>> before;
    const auto forms_at_edges = [&](const record_type &type) {
        const owned<void> instance = type.create(handle);
        set_edges(type, handle, instance.get(), 5);
        const forms result = forms_of(type, handle, instance.get());
        expect_survives(type, handle, instance.get(), result);
        return result;
    };
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        before.emplace_back(type, forms_at_edges(type));
    }
    const comma_locale german;
    if (!german.is_made()) {
        GTEST_SKIP() << "localedef makes no de_DE.UTF-8 here; it wants the package locales";
    }
    char text[32];
    snprintf(text, sizeof text, "%.1f", 0.5);
    ASSERT_STREQ(text, "0,5") << "the locale is not in use";
    for (const auto &[type, expected] : before) {
        EXPECT_TRUE(forms_at_edges(type) == expected) << type.about.name;
    }
}

}  // namespace
}  // namespace ptp_cfg_test
