// Runs the generator on a small good schema, and on a bad one per rule of its checker.
#include <bzlib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

const fs::path data_directory = CODEGEN_TEST_DATA;

std::string read(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::vector<std::string> lines(const std::string &text) {
    std::istringstream stream(text);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
    }
    return result;
}

/** A copy of the good schema and templates in a directory of its own, and the generator run on it. */
class generator : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = fs::temp_directory_path() / "codegen_test_XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        root_ = name;
        fs::copy(data_directory / "good", root_, fs::copy_options::recursive);
    }
    void TearDown() override { fs::remove_all(root_); }

    void overlay(const fs::path &directory) {
        fs::copy(directory, root_, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    }

    int run(const std::string &out, const std::string &more = "") {
        const std::string command = std::string(more.starts_with("env ") ? more : "") + "'" CODEGEN "' --schema '" +
                                    (root_ / "schema").string() + "' --templates '" + (root_ / "templates").string() +
                                    "' --out '" + (root_ / out).string() + "' " + (more.starts_with("--") ? more : "") +
                                    " >'" + (root_ / "stdout").string() + "' 2>'" + (root_ / "stderr").string() + "'";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::map<std::string, std::string> contents(const std::string &out) {
        std::map<std::string, std::string> files;
        for (const auto &entry : fs::recursive_directory_iterator(root_ / out)) {
            if (entry.is_regular_file()) {
                files[fs::relative(entry.path(), root_ / out).generic_string()] = read(entry.path());
            }
        }
        return files;
    }

    std::string generated(const std::string &file) { return read(root_ / "out" / file); }

    fs::path root_;
};

class bad_schema : public generator, public testing::WithParamInterface<std::string> {};

TEST_P(bad_schema, is_refused_with_a_clear_line_and_writes_nothing) {
    overlay(data_directory / "bad" / GetParam());
    const fs::path file = root_ / "said/errors.txt";
    EXPECT_EQ(run("out", "--errors '" + file.string() + "'"), 1);
    const std::string errors = read(root_ / "stderr");
    EXPECT_EQ(read(file), errors);
    for (const std::string &part : lines(read(root_ / "expected.txt"))) {
        EXPECT_THAT(errors, HasSubstr(part));
    }
    for (const std::string &line : lines(errors)) {
        EXPECT_THAT(line, ContainsRegex("^.*\\.toml(:[0-9]+)?: .+; .+$"));
    }
    EXPECT_FALSE(fs::exists(root_ / "out"));
}

std::vector<std::string> rules() {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(data_directory / "bad")) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(rule, bad_schema, testing::ValuesIn(rules()), [](const auto &info) { return info.param; });

TEST_F(generator, writes_the_same_twice_and_what_it_lists) {
    ASSERT_EQ(run("out"), 0) << read(root_ / "stderr");
    ASSERT_EQ(run("again"), 0);
    EXPECT_EQ(contents("out"), contents("again"));
    ASSERT_EQ(run("none", "--list"), 0);
    std::string names;
    for (const auto &[name, text] : contents("out")) {
        names += name + "\n";
    }
    EXPECT_EQ(read(root_ / "stdout"), names);
    EXPECT_FALSE(fs::exists(root_ / "none"));
    std::ofstream(root_ / "errors.txt") << "of a schema that was wrong";
    ASSERT_EQ(run("out", "--errors '" + (root_ / "errors.txt").string() + "'"), 0);
    EXPECT_FALSE(fs::exists(root_ / "errors.txt"));
}

TEST_F(generator, rewrites_only_what_changed) {
    ASSERT_EQ(run("out"), 0);
    const fs::path kept = root_ / "out/private/kinds.cpp";
    const fs::path changed = root_ / "out/private/letters_descriptors.h";
    const auto past = fs::last_write_time(kept) - std::chrono::hours(1);
    fs::last_write_time(kept, past);
    fs::last_write_time(changed, past);
    std::ofstream(root_ / "schema/letters.toml", std::ios::app)
        << "\n[[message]]\nname = \"more\"\nluid = \"000000000000000000000000000000ff\"\ntrace = 99\ndoc = \"More.\"\n"
           "role = \"event\"\npayloads = [\"point\"]\n";
    ASSERT_EQ(run("out"), 0);
    EXPECT_EQ(fs::last_write_time(kept), past);
    EXPECT_NE(fs::last_write_time(changed), past);
}

TEST_F(generator, lays_fields_and_flags_out) {
    ASSERT_EQ(run("out"), 0);
    const std::string tables = generated("private/records_descriptors.h");
    // Worked out by hand: 11 bytes of header, natural alignment, 7 flag bytes for two points of two fields each.
    for (const char *row : {".offset = 12, .flag_position = 0, .capacity = 1, .stride = 4,",
                            ".offset = 16, .flag_position = 1, .capacity = 1, .stride = 16,",
                            ".offset = 32, .flag_position = 2, .capacity = 2, .stride = 24,",
                            ".offset = 80, .flag_position = 9, .capacity = 3, .stride = 1,",
                            ".offset = 83, .flag_position = no_flag, .capacity = 1, .stride = 1,",
                            ".offset = 88, .flag_position = 13, .capacity = 1, .stride = 8,",
                            ".offset = 96, .flag_position = 14, .capacity = 1, .stride = 6,",
                            ".offset = 102, .flag_position = 15, .capacity = 1, .stride = 2,",
                            ".offset = 104, .flag_position = 16, .capacity = 1, .stride = 16,",
                            ".companion_offset = 83", "drawing_validity[] = {7, 8, 9};", ".block_length = 17,"}) {
        EXPECT_THAT(tables, HasSubstr(row));
    }
    EXPECT_LT(tables.find("point_descriptor = {"), tables.find("drawing_descriptor = {"));
    EXPECT_THAT(generated("private/kinds_descriptors.h"), HasSubstr("color_thresholds[] = {2, 3};"));
    const std::string records = generated("private/records_data.cpp");
    EXPECT_THAT(records, HasSubstr("{0, 102, 34, 0, 0, 0},\n    {1, 104, 32, 0, 0, 0},\n    {2, 120, 16, 0, 0, 0},"));
    EXPECT_THAT(generated("private/letters_data.cpp"), HasSubstr("{0, 48, 0, 0, 0, 0},"));
}

TEST_F(generator, expands_templates_into_prototypes_and_definitions) {
    ASSERT_EQ(run("out"), 0);
    const std::string source = generated("private/records.cpp");
    EXPECT_THAT(source, HasSubstr("#include \"operations/samples.h\"\n"));
    EXPECT_THAT(source, HasSubstr("extern \"C\" drawing *drawing_create(vela_handle *handle, u_int32) {\n"));
    EXPECT_THAT(source, HasSubstr("(vela_handle *handle, drawing *instance, vela_boolean *visible, u_int32 *paper,\n"));
    EXPECT_THAT(source, HasSubstr("(handle, instance, err, visible, paper, title_size, err_, class_);"));
    EXPECT_THAT(source, HasSubstr("static_cast<u_int64>(static_cast<int64_t>(err_))"));
    EXPECT_THAT(source, HasSubstr("extern \"C\" char *drawing_title_get(drawing *instance) {\n    // 1 of it\n"));
    EXPECT_THAT(generated("include/ptp_cfg/letters.h"),
                HasSubstr("VELA_API vela_boolean *point_cfg_message_vela_boolean_get(point_cfg_message *message);"));
    for (const auto &[name, text] : contents("out")) {
        if (name.ends_with(".h") || name.ends_with(".cpp")) {
            for (const std::string &line : lines(text)) {
                EXPECT_THAT(line, Not(ContainsRegex("\\{[a-z_]{3,}\\}[^;]*$"))) << name;  // a placeholder that stayed
            }
        }
    }
}

TEST_F(generator, says_once_in_types_h_what_is_not_particular_to_a_function) {
    ASSERT_EQ(run("out"), 0);
    const std::string types = generated("include/ptp_cfg/types.h");
    for (const char *line : {" *   err          receives the code of a failure\n",
                             " *   message      a sample of a message\n", " * Samples: All of them are small.\n"}) {
        EXPECT_THAT(types, HasSubstr(line));
    }
    const std::string header = generated("include/ptp_cfg/records.h");
    EXPECT_THAT(header, HasSubstr(" * @param[in] reserved  0\n"));            // the operation's own
    EXPECT_THAT(header, HasSubstr(" * @param[out] err_  Offset (dots).\n"));  // not named after its field
    EXPECT_THAT(header, Not(HasSubstr(" err  ")));
    EXPECT_THAT(header, Not(HasSubstr("@param[out] visible")));
}

TEST_F(generator, puts_everyday_functions_first_and_hints_at_single_ones_where_there_are_many_parameters) {
    std::ofstream schema(root_ / "schema/records.toml", std::ios::app);
    schema << "\n[[structure]]\nname = \"wide\"\nluid = \"000000000000000000000000000000fe\"\ntrace = 98\n"
              "doc = \"Wide.\"\nsize = 32\ntracked_size = 39\nfields = [\n";
    for (const char name : {'a', 'b', 'c', 'd', 'e', 'f', 'g'}) {
        schema << "  { name = \"" << name << "\", type = \"u_int8\", doc = \"One.\" },\n";
    }
    schema << "]\n";
    schema.close();
    ASSERT_EQ(run("out"), 0) << read(root_ / "stderr");
    const std::string header = generated("include/ptp_cfg/records.h");
    std::size_t at = 0;
    for (const char *next : {"drawing_create(", "drawing, field", "drawing_title_get(", "---- Chained: drawing",
                             "drawing_set_all(", "---- For runtimes: drawing", "drawing_get_all("}) {
        EXPECT_NE(at = header.find(next, at), std::string::npos) << next;
    }
    EXPECT_THAT(header, HasSubstr("There is wide_<field>_get_value()."));
    EXPECT_THAT(header, Not(HasSubstr("There is drawing_<field>_get_value().")));
    const std::string page = generated("docs/reference/drawing.md");
    EXPECT_LT(page.find("### Everyday"), page.find("### Chained\n\n- sample: `drawing_set_all`\n"));
}

TEST_F(generator, exports_every_function_and_object_by_name) {
    ASSERT_EQ(run("out"), 0);
    const std::string script = generated("ptp_cfg.map");
    for (const std::string &line : lines(generated("functions.txt"))) {
        EXPECT_THAT(script, HasSubstr("    " + line.substr(0, line.find('\t')) + ";\n"));
    }
    for (const char *name : {"ptp_cfg_start", "ptp_cfg_started", "_color_type_info_internal", "message_point_cfg_name",
                             "_point_cfg_message_type_info_internal", "drawing_title_size_get_value"}) {
        EXPECT_THAT(script, HasSubstr(std::string("    ") + name + ";\n"));
    }
    EXPECT_THAT(script, Not(HasSubstr("u_int8_width")));  // the runtime's
    EXPECT_THAT(script, Not(HasSubstr("handler;")));      // the application's
    EXPECT_THAT(generated("private/type_table.cpp"), ContainsRegex("_drawing_t.*_point_t.*_lamp_t.*_color_t.*_cfg_m"));
}

TEST_F(generator, writes_a_manifest_of_stated_and_computed_hashes) {
    ASSERT_EQ(run("out"), 0);
    // The hash of "structure point\nx u_int8 0 0\ny u_int8 0 0\n", computed with another program.
    EXPECT_EQ(lines(generated("private/manifest.txt")).at(2),
              "00000000000000000000000000000012:3c3d22fa6c06802085764cf4f4fed357type000:00024N");
    EXPECT_EQ(lines(generated("private/manifest.txt")).at(4),
              "00000000000000000000000000000001:0123456789abcdef0123456789abcdefenum001:00016N");
    const std::string neutral = generated("private/manifest.cpp");
    ASSERT_EQ(run("out", "env SOURCE_DATE_EPOCH=86400 "), 0);
    EXPECT_NE(generated("private/manifest.cpp"), neutral);
}

TEST_F(generator, numbers_and_compresses_trace_texts) {
    ASSERT_EQ(run("out"), 0);
    const std::string texts = generated("private/trace_texts.txt");
    EXPECT_THAT(texts, HasSubstr("64\tno color\n128\tno drawing\n129\tdrawing stays: %s\n"));
    EXPECT_THAT(texts, HasSubstr("321\tpoint_cfg without vela_boolean\n322\tpoint_cfg_message handled\n"));
    EXPECT_THAT(texts, Not(HasSubstr("257\t")));  // there is no second payload
    for (const char *table : {"levels", "arguments", "subjects"}) {
        EXPECT_EQ(lines(generated("private/trace_" + std::string(table) + ".txt")).size(), lines(texts).size());
    }
    EXPECT_THAT(generated("private/trace_arguments.txt"), HasSubstr("128\t0\n129\t1\n"));
    EXPECT_THAT(generated("private/trace_subjects.txt"), HasSubstr("321\tpoint_cfg_message\n"));
    EXPECT_THAT(generated("private/trace_levels.txt"), HasSubstr("64\temergency\n128\terror\n"));
    std::string packed = generated("private/trace_texts.bz2");
    std::string unpacked(texts.size() + 1, '\0');
    unsigned length = unpacked.size();
    ASSERT_EQ(BZ2_bzBuffToBuffDecompress(unpacked.data(), &length, packed.data(), packed.size(), 0, 0), BZ_OK);
    EXPECT_EQ(unpacked.substr(0, length), texts);
}

TEST_F(generator, draws_encodings_in_the_reference) {
    ASSERT_EQ(run("out"), 0);
    // Worked out by hand: a point takes 8 bytes, with state flags 10; n stands for the title.
    const std::string drawing = generated("docs/reference/drawing.md");
    for (const char *rows :
         {"| 2 | 4 | `jump` | 43 + n: bytes up to offset 45 + n |\n| 6 | 1 | `visible` |",
          "| 14 | 4 | `corners[0]/jump` | 6: bytes up to offset 20 |\n| 18 | 1 | `corners[0]/x` |",
          "| 20 | 8 | `corners[1...]` | 1 further element, 8 bytes each |\n| 28 | 3 | `octets` |",
          "| 32 | n | `title` | as many characters as `title_size` says |\n| 32 + n | 6 | `printer` |",
          "| 40 + n | 1 | `class/variant` | 0 to 1 |\n| 41 + n | 4 | `class` | number of [`color`]",
          "| 34 | 3 | `corners state` | flag of the whole array, then one per element |", "| 40 | 4 | `octets state` |",
          "| 44 | 1 | `title_size` |", "| 45 + n | 1 | `title state` |",
          "| 2 | 1 | `corners` as a whole |\n| 3 | 2 | elements of `corners`, one each |\n"
          "| 5 | 4 | block of [`point`](point.md) in `corners`, 2 bytes per element |\n| 9 | 1 |",
          "- field title: `drawing_title_get`\n"}) {
        EXPECT_THAT(drawing, HasSubstr(rows));
    }
    const std::string message = generated("docs/reference/point_cfg_message.md");
    EXPECT_THAT(message, HasSubstr("| 12 | 4 | `header/length` | 52: bytes of the whole message |"));
    EXPECT_THAT(message, HasSubstr("| 51 | 1 | `vela_boolean` |"));
    EXPECT_THAT(generated("docs/reference/point.md"),
                HasSubstr("- [`drawing`](drawing.md), field `corners`\n- [`point_cfg_message`](point_cfg_message.md)"));
}

TEST_F(generator, keeps_the_reference_to_the_types_there_are) {
    const std::string before = read(root_ / "schema/letters.toml");
    std::ofstream(root_ / "schema/letters.toml", std::ios::app)
        << "\n[[message]]\nname = \"more\"\nluid = \"000000000000000000000000000000ff\"\ntrace = 99\n"
           "doc = \"On|off, <or> *not*.\"\nrole = \"event\"\npayloads = [\"point\"]\n";
    ASSERT_EQ(run("out"), 0);
    EXPECT_THAT(generated("docs/reference/index.md"), HasSubstr("| message | On\\|off, \\<or\\> \\*not\\* |\n"));
    EXPECT_TRUE(fs::exists(root_ / "out/docs/reference/more_message.md"));
    std::ofstream(root_ / "schema/letters.toml") << before;
    ASSERT_EQ(run("out"), 0);
    EXPECT_FALSE(fs::exists(root_ / "out/docs/reference/more_message.md"));
    EXPECT_TRUE(fs::exists(root_ / "out/docs/reference/point_cfg_message.md"));
    EXPECT_THAT(generated("docs/reference/index.md"), Not(HasSubstr("more_message")));
}

}  // namespace
