// What the file of the library holds: trace points, manifest, exports, and what it needs.
#include <fstream>
#include <regex>
#include <sstream>

#include "elf_file.h"
#include "loaded_library.h"

namespace ptp_cfg_test {
namespace {

/** One record of the manifest section; a length of 0 ends them. */
struct section_record {
    u_int32 length = 0;
    u_int32 type = 0;
    std::string text;
};

section_record read_record(const std::string &section, size_t *position) {
    section_record record;
    if (section.size() < *position + 8) {
        ADD_FAILURE() << "the section ends without an end";
        return record;
    }
    memcpy(&record.length, section.data() + *position, 4);
    memcpy(&record.type, section.data() + *position + 4, 4);
    record.text = section.substr(*position + 8, record.length);
    *position += (8 + record.length + 3) / 4 * 4;
    return record;
}

TEST(module_test, trace_points_are_told_outside_of_memory) {
    for (const char *table : {"texts", "subjects", "arguments", "levels"}) {
        const elf_file::section section = elf_file(PTP_CFG_LIBRARY).find(std::string(".vela_ptp_cfg_") + table);
        ASSERT_TRUE(section.found) << table;
        EXPECT_FALSE(section.loaded) << table;
        EXPECT_EQ(section.content.substr(0, 3), "BZh") << table;
    }
}

TEST(module_test, manifest_lists_every_type) {
    const elf_file::section section = elf_file(PTP_CFG_LIBRARY).find(".zenta");
    ASSERT_TRUE(section.found);
    EXPECT_FALSE(section.loaded);
    size_t position = 0;
    const section_record manifest = read_record(section.content, &position);
    EXPECT_EQ(manifest.type, 2u);
    EXPECT_EQ(manifest.text.find('\0'), manifest.text.size() - 1);
    EXPECT_EQ(position % 4, 0u);

    loaded_library library;
    std::istringstream lines(manifest.text.substr(0, manifest.text.size() - 1));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "# ptp_cfg.tyman");
    const std::regex form("([0-9a-f]{32}):[0-9a-f]{32}(type|enum|mess)00([012]):([0-9]{5})N");
    for (const vela_type_info *record : records()) {
        std::getline(lines, line);
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(line, parts, form)) << line;
        EXPECT_EQ(parts[1], record->luid_text);
        EXPECT_EQ(parts[2], std::string(record->kind).substr(0, 4));
        EXPECT_EQ(std::stoi(parts[3]), record->variant_table->count - 1);
        const vela_variant_row &row = record->variant_table->rows[0];
        EXPECT_EQ(static_cast<u_int32>(std::stoi(parts[4])), parts[2] == "mess" ? 0 : row.used_length + row.alloc_slop);
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;

    // Identities and definitions of these types never change: files and peers refer to them.
    for (const char *known : {"c13fd0a548290cdc1c1ff084c3c98eb1:b8e89f27f197dbec0747035d97502babtype000:00024N",
                              "313ec5be9ab02fb1218821bfe24c6198:9175e349803cb8d402cfb340a4f6090denum001:00016N",
                              "852bda6c079d58af443fbd15f53e084c:06fb4259751f049c4dae74babd4bdbf1enum000:00016N"}) {
        EXPECT_NE(manifest.text.find(std::string("\n") + known + "\n"), std::string::npos) << known;
    }

    const section_record build = read_record(section.content, &position);
    EXPECT_EQ(build.type, 1u);
    EXPECT_TRUE(std::regex_match(build.text.substr(0, build.text.size() - 1),
                                 std::regex("ptp_cfg\nbuilt by: .*\non host: .*\npid: .*\nat: .*\ncomment: .*\n")))
        << build.text;
    const section_record end = read_record(section.content, &position);
    EXPECT_EQ(end.length, 0u);
    EXPECT_EQ(position, section.content.size());
}

TEST(module_test, exports_what_the_version_script_names) {
    std::ifstream script(PTP_CFG_MAP);
    std::set<std::string> named;
    bool global = false;
    for (std::string word; script >> word;) {
        global = word == "global:" || (global && word != "local:");
        if (global && word.ends_with(';')) {
            named.insert(word.substr(0, word.size() - 1));
        }
    }
    EXPECT_FALSE(named.empty());
#ifdef PTP_CFG_COUNT_PATHS
    named.insert("ptp_cfg_counted_wire_paths");
#endif
    EXPECT_EQ(elf_file(PTP_CFG_LIBRARY).exported(), named);
}

TEST(module_test, needs_nothing_but_the_runtime_and_the_trace_library) {
#ifdef PTP_CFG_SANITIZED
    GTEST_SKIP() << "a sanitizer brings libraries of its own";
#endif
    std::vector<std::string> needed = elf_file(PTP_CFG_LIBRARY).needed();
    std::sort(needed.begin(), needed.end());
    EXPECT_EQ(needed, (names{"libbitlog.so.1", "libc.so.6", "libvela.so.1"}));
}

}  // namespace
}  // namespace ptp_cfg_test
