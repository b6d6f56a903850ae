// JSON and YAML: what survives the way through every format, what is refused, and what validators say.
#include <gmock/gmock.h>

#include "ptp_cfg/clock.h"
#include "records.h"
#include "shell.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using ptp_cfg_test::leaf;
using ptp_cfg_test::octets;
using ptp_cfg_test::record_type;

enum class texts { any_bytes, letters };

class formats : public shell_test {
  protected:
    /** Every message, each leaf with another value: the bytes of one, by its number. */
    static std::string message(const record_type &type, texts what) {
        const ptp_cfg_test::test_handle handle;
        const auto instance = type.create(handle);
        fill(type, handle, instance.get(), ptp_cfg_test::filling::random, 5);
        ptp_cfg_test::for_each_leaf(type, handle, instance.get(), [&](const leaf &each) {
            if (each.owner.about.kind == PTP_CFG_STRUCTURE && each.field().kind == PTP_CFG_FIELD_TEXT &&
                what == texts::letters) {
                u_int32 err = 0;
                const std::string name = "Größe \"" + std::to_string(each.index) + '"';
                ptp_cfg_field_set(each.owner.type, each.index, handle, ptp_cfg_test::mem_class, each.instance,
                                  each.element, name.data(), static_cast<u_int32>(name.size()), &err);
            }
        });
        const octets bytes = type.marshal(handle, instance.get());
        return {bytes.begin(), bytes.end()};
    }
    static void write_messages(texts what) {
        std::string all;
        for (const record_type &type : ptp_cfg_test::record_types(PTP_CFG_MESSAGE)) {
            all += message(type, what);
        }
        write("all.bin", all);
    }
};

TEST_F(formats, every_message_goes_through_all_formats_and_comes_back_as_it_was) {
    write_messages(texts::any_bytes);
    EXPECT_EQ(sh(R"(
        ptpcfg convert all.bin -o a.json && ptpcfg convert a.json -o b.yaml && ptpcfg convert b.yaml -o c.xml &&
        ptpcfg convert c.xml -o d.yml && ptpcfg convert d.yml -o e.json && cmp a.json e.json && cmp b.yaml d.yml &&
        ptpcfg convert c.xml -o f.bin && cmp all.bin f.bin && ptpcfg convert e.json --to hex | ptpcfg encode >g.bin &&
        cmp all.bin g.bin)")
                  .err,
              "");
    // Each alone, and by content alone.
    const outcome each = sh(R"(
        for type in $(ptpcfg describe | awk '$2 == "message" { print $1 }'); do
            ptpcfg describe --xml $type | ptpcfg encode >one.bin &&
            for form in json yaml xml; do ptpcfg convert one.bin --to $form | ptpcfg encode | cmp - one.bin || exit; done
        done)");
    EXPECT_EQ(each.err + each.out, "");
}

TEST_F(formats, state_flags_and_variants_stand_in_json_and_yaml) {
    write("in.json", R"({"ptp_clock_cfg": {"ptp_clock": {
        "modify": true, "default_data_set": {"clk_id": {"ptp_clk_id": [1, 2], "$state": {"ptp_clk_id": [3, 4, 5]}}},
        "time_properties": {"$variant": 0}, "$state": {"modify": 2}}}})");
    ASSERT_EQ(sh("ptpcfg encode --tracked in.json -o a.bin").err, "");
    for (const char *form : {"json", "yaml"}) {
        EXPECT_EQ(sh(std::string("ptpcfg convert a.bin --to ") + form + " | ptpcfg encode --tracked | cmp a.bin -").err,
                  "");
    }
    EXPECT_THAT(sh("ptpcfg convert a.bin --to yaml").out, HasSubstr("\"$state\":\n      modify: 2\n"));
    EXPECT_EQ(sh("ptpcfg encode in.json | wc -c").out, sh("ptpcfg encode --tracked in.json | ptpcfg convert --to json |"
                                                          "ptpcfg encode | wc -c")
                                                           .out);
    EXPECT_THAT(sh("ptpcfg encode --domain ptp_clock_time_properties_data_set=0 $CLOCKS/g8275_1_boundary_clock.xml |"
                   "ptpcfg convert --to json")
                    .out,
                HasSubstr("\"time_properties\": {\n        \"$variant\": 0,"));
}

TEST_F(formats, several_messages_stand_in_an_array_or_one_behind_the_other) {
    const std::string delete_1 = R"({"ptp_clock_delete_cmd": {"ptp_clock_delete": {"clock_id": 1}}})";
    write("a.json", "[" + delete_1 + "," + delete_1 + "]");
    write("b.json", delete_1 + "\n" + delete_1);
    const std::string yaml = "ptp_clock_delete_cmd:\n  ptp_clock_delete: {clock_id: 0x1}\n";
    write("a.yaml", "# two\n" + yaml + "---\n" + yaml + "...\n");
    write("b.yaml",
          "%YAML 1.2\n---\n- ptp_clock_delete_cmd: {ptp_clock_delete: {clock_id: 1}}\n"
          "- ptp_clock_delete_cmd: {\"ptp_clock_delete\": {clock_id: +1}}\n");
    for (const char *name : {"b.json", "a.yaml", "b.yaml"}) {
        EXPECT_EQ(sh(std::string("ptpcfg encode a.json -o a.bin && ptpcfg encode <") + name + " | cmp a.bin -").err, "")
            << name;
    }
    EXPECT_THAT(sh("ptpcfg convert a.bin --to json").out, StartsWith("[\n  {\n    \"ptp_clock_delete_cmd\": {\n"));
    EXPECT_EQ(sh("ptpcfg encode --type ptp_clock_mode --to hex --from yaml").status, 1);
    write("mode.yaml", "VELA_PTP_CLOCK_MODE_BC_HYBRID\n");
    EXPECT_EQ(sh("ptpcfg encode --type ptp_clock_mode --to hex mode.yaml").out, "00 00 00 00 08\n");
    EXPECT_EQ(sh("ptpcfg convert a.bin").status, 2);
}

// ---- bad input ------------------------------------------------------------------------------------------------------

struct bad_text {
    const char *name;  // of the file
    std::string text;
    const char *told;
    const char *options = "";
};

std::string clock_json(const std::string &members) { return "{\"ptp_clock_cfg\": {\"ptp_clock\": {" + members + "}}}"; }
std::string clock_yaml(const std::string &members) { return "ptp_clock_cfg:\n  ptp_clock:\n" + members; }
std::string repeated(size_t count, const std::string &text) {
    std::string result;
    while (count-- > 0) {
        result += text;
    }
    return result;
}

TEST_F(formats, bad_json_and_yaml_are_refused_with_their_place_and_leave_nothing) {
    const std::string nul("\0", 1);
    const bad_text rows[] = {
        {"a.json", "", "a.json: is empty"},
        {"a.json", " \n\t", "a.json: holds no message"},
        {"a.json", "[]", "a.json: holds no message"},
        {"a.json", "[", "a.json:1:2: not well-formed JSON: the text ends within an array"},
        {"a.json", "[1", "a.json:1:2: an object that is named after the message is wanted, not 1"},
        {"a.json", "[" + clock_json("") + ",]", "a.json:1:39: not well-formed JSON: a value is wanted behind ','"},
        {"a.json", "\xEF\xBB\xBF{}", "a.json:1:1: not well-formed JSON: begins with a byte order mark"},
        {"a.json", "\xFF\xFE{" + nul, "a.json:1:1: not well-formed JSON: is UTF-16 or UTF-32; save it as UTF-8"},
        {"a.json", "{" + nul + "}" + nul, "a.json:1:1: not well-formed JSON: is UTF-16 or UTF-32"},
        {"a.json", "{\"ptp_clock\": {}}", "ptp_clock: is no message; 'ptpcfg describe' lists them (for a record alone"},
        {"a.json", "{\"ptp_clock_cfg\": {}}", "a.json:1:19: ptp_clock_cfg: \"ptp_clock\" is missing; add it"},
        {"a.json", "\n  " + clock_json("\n\"modify\": 1"),
         "a.json:3:11: ptp_clock_cfg/ptp_clock/modify: true or false is wanted, not 1"},
        {"a.json", clock_json("\"modify\": true, \"modify\": true"), "modify: stands here a second time; keep one"},
        {"a.json", clock_json("\"clk_modus\": 1"), "unknown member of ptp_clock; did you mean clk_mode?"},
        {"a.json", clock_json("\"clock_handle\": 1" + std::string(9999, '0')), "is not a u_int64 (0 to 184467"},
        {"a.json", clock_json("\"clock_handle\": 1e99"), "a whole number, as digits in quotes, is wanted, not 1e99"},
        {"a.json", "{\"ptp_port_cfg\": {\"ptp_port\": {\"port_name\": \"\xC0\x80\"}}}", "bytes that are no UTF-8"},
        {"a.json", repeated(100000, "["), "a.json:1:2: an object that is named after the message is wanted"},
        {"a.json", repeated(100000, "{\"ptp_clock_cfg\":"), "a.json:1:19: ptp_clock_cfg/ptp_clock_cfg: unknown member"},
        {"a.json", "{\"ptp_clock_cfg\": {\"ptp_clock\": {\"x\":" + repeated(100, "[") + repeated(100, "]") + "}}}",
         "is nested more than 64 deep", "--plain"},
        {"a.json", "\"" + std::string(1 << 22, 'x'), "the text ends within a string"},
        {"a.json", "{\"ptp_clock_cfg\": " + nul + "}", "a.json:1:19: ptp_clock_cfg: an object is wanted"},
        {"a.json",
         R"({"ptp_clock_cfg": {"ptp_clock": {}},)"
         "\n"
         R"( "ptp_port_cfg": {}})",
         "a.json:2:2: ptp_clock_cfg: a message has one member; begin another message for what stands here"},
        {"a.json", clock_json("\"clk_mode\": 1e400"), "clk_mode: a literal's number is wanted, not 1e400"},
        {"a.json", clock_json("\"clk_mode\": 0x1"), "clk_mode: a literal's number is wanted, not 0x1"},
        {"a.json", clock_json("\"\\ud800\": 1"), "is the first half of a character without the second"},
        {"a.json", clock_json("\"\\udc00\": 1"), "is the second half of a character without the first"},
        {"a.json", clock_json("\"\xED\xA0\x80\": 1"), "not well-formed: bytes that are no UTF-8"},
        {"a.json", "{" + clock_json("").substr(1) + nul, "a.json:1:37: "},
        {"a.json", clock_json("") + "}", "a.json:1:37: an object that is named after the message is wanted"},
        {"a.yaml", "", "a.yaml: is empty"},
        {"a.yaml", "# nothing\n---\n", "a.yaml: holds no message"},
        {"a.yaml", "ptp_clock_cfg: [", "not well-formed YAML: ',' or ']' is wanted"},
        {"a.yaml", "ptp_clock_cfg:\n\tptp_clock: 1\n", "a.yaml:2:"},
        {"a.yaml", clock_yaml("    modify: yes\n"),
         "a.yaml:3:13: ptp_clock_cfg/ptp_clock/modify: true or false is wanted, not the text \"yes\""},
        {"a.yaml", clock_yaml("    modify: true\n    clk_mode: X\n    modify: true\n"),
         "a.yaml:4:15: ptp_clock_cfg/ptp_clock/clk_mode: unknown literal of ptp_clock_mode"},
        {"a.yaml", clock_yaml("    modify: true\n    modify: true\n"),
         "a.yaml:4:5: ptp_clock_cfg/ptp_clock/modify: stands here a second time; keep one"},
        {"a.yaml", "---\n" + clock_yaml("    modify: true\n") + "---\n" + clock_yaml("    modify: 010\n"),
         "a.yaml:8:13: ptp_clock_cfg/ptp_clock/modify: true or false is wanted, not the text \"010\""},
        {"a.yaml", "a: &x [1]\nb: *x\n", "a.yaml:2:4: aliases are not read; write the value"},
        {"a.yaml", "a: &a [x]\nb: &b [*a, *a]\nc: &c [*b, *b]\nptp_clock_cfg: *c\n",
         "a.yaml:2:8: aliases are not read"},
        {"a.yaml", "a: *b\n", "a.yaml:1:4: aliases are not read; write the value"},
        {"a.yaml", "b: &b {modify: true}\nptp_clock_cfg:\n  ptp_clock:\n    <<: *b\n",
         "a.yaml:4:9: aliases are not read"},
        {"a.yaml", clock_yaml("    clk_mode: \"VELA\n"), "not well-formed YAML: a text in quotes does not end"},
        {"a.yaml", clock_yaml("    clk_mode: 'VELA"), "not well-formed YAML: a text in quotes does not end"},
        {"a.yaml", clock_yaml("    clk_mode: 'VELA\n  "), "not well-formed YAML: a text in quotes does not end"},
        {"a.yaml", clock_yaml("    clk_mode: a: b\n"), "a.yaml:3:16: not well-formed YAML: a ':' has no place here"},
        {"a.yaml", clock_yaml("    clk_mode: @a\n"), "no value begins with this character; a text that does stands in"},
        {"a.yaml", clock_yaml("    clk_mode: {a\n"), "not well-formed YAML: ',' or '}' is wanted"},
        {"a.yaml", clock_yaml("    clk_mode: 1e400\n"), "clk_mode: a literal's number is wanted, not 1e400"},
        {"a.yaml", clock_yaml("    clk_mode: -.inf\n"), "clk_mode: a literal's number is wanted, not -.inf"},
        {"a.yaml", "ptp_port_cfg: {ptp_port: {port_name: 1.5}}\n", "port_name: a text in quotes is wanted, not 1.5"},
        {"a.yaml", "ptp_clock_cfg: {ptp_clock: {}}\nptp_clock_cfg: {ptp_clock: {}}\n",
         "a.yaml:2:1: ptp_clock_cfg: a message has one member; begin another message for what stands here"},
        {"a.yaml", "\xEF\xBB\xBF" + clock_yaml("    clk_mode: 77x\n"), "unknown literal of ptp_clock_mode"},
        {"a.yaml", nul + "p" + nul + "t", "a.yaml:1:1: not well-formed YAML: is UTF-16 or UTF-32; save it as UTF-8"},
        {"a.yaml", "ptp_clock_cfg: !!int 3\n", "tags such as tag:yaml.org,2002:int are not read; leave it out"},
        {"a.yaml", "? [1]\n: 2\n", "the name of a member is wanted"},
        {"a.yaml", "ptp_clock_cfg: \xFF\n", "a.yaml:1:16: not well-formed YAML: bytes that are no UTF-8"},
        {"a.yaml", "ptp_clock_cfg: \x01\n", "a.yaml:1:16: not well-formed YAML: a control character"},
        {"a.yaml", "\xFF\xFEp" + nul, "a.yaml:1:1: not well-formed YAML: is UTF-16 or UTF-32; save it as UTF-8"},
        {"a.yaml", repeated(100, "[") + repeated(100, "]"), "is nested more than 64 deep"},
    };
    for (const bad_text &row : rows) {
        write(row.name, row.text);
        const outcome result = sh(std::string("ptpcfg convert ") + row.options + " " + row.name + " -o out.bin");
        EXPECT_EQ(result.status, 1) << row.text.substr(0, 80);
        EXPECT_THAT(result.err, HasSubstr(row.told)) << row.text.substr(0, 80);
        EXPECT_THAT(result.err, StartsWith("ptpcfg: " + std::string(row.name))) << row.text.substr(0, 80);
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(listing(), row.name);
        std::filesystem::remove(row.name);
    }
}

TEST_F(formats, line_ends_marks_and_numbers_that_writers_make_are_read) {
    ASSERT_EQ(sh(R"(
        for form in xml json yaml; do ptpcfg convert $CLOCKS/modify_priority.xml -o unix.$form || exit; done
        ptpcfg encode unix.xml -o good.bin && ptpcfg convert unix.xml -o unix.hex
        for form in xml json yaml hex; do sed 's/$/\r/' unix.$form >dos.$form; done
        for form in xml yaml; do { printf '\357\273\277'; cat unix.$form; } >marked.$form; done)")
                  .err,
              "");
    EXPECT_EQ(sh("for file in dos.* marked.*; do ptpcfg encode $file | cmp - good.bin || echo $file; done").out, "");
    write("a.yaml", "ptp_clock_delete_cmd: {ptp_clock_delete: {clock_id: -0}}\n");
    write("a.json", R"({"ptp_clock_delete_cmd": {"ptp_clock_delete": {"clock_id": -0}}})");
    write("b.yaml", "ptp_port_cfg: {ptp_port: {port_name: \"\\U0001F552 1.5\"}}\n");
    write("b.json", R"({"ptp_port_cfg": {"ptp_port": {"port_name": "\ud83d\udd52 1.5"}}})");
    EXPECT_EQ(sh("for each in a b; do ptpcfg encode $each.json >j && ptpcfg encode $each.yaml | cmp - j; done").out,
              "");
    EXPECT_EQ(sh("iconv -t UTF-16 unix.json | ptpcfg encode").err,
              "ptpcfg: standard input:1:1: not well-formed JSON: is UTF-16 or UTF-32; save it as UTF-8\n");
}

TEST_F(formats, every_cut_of_a_text_is_a_fault_or_less_and_leaves_nothing) {
    // YAML ends anywhere: what is there may be right without the rest.
    const outcome result = sh(R"(
        ptpcfg convert $CLOCKS/modify_priority.xml --to json >whole.json
        ptpcfg convert $CLOCKS/modify_priority.xml --to yaml >whole.yaml
        size=$(($(wc -c <whole.json) - 2)); at=0
        while test $at -lt $size; do
            head -c $at whole.json >cut.json
            ptpcfg encode cut.json -o out.bin 2>why && { echo "accepted at $at"; break; }
            test $? = 1 && grep -q '^ptpcfg: cut.json' why && test ! -e out.bin || { echo "at $at"; cat why; break; }
            at=$((at + 1))
        done
        size=$(($(wc -c <whole.yaml) - 2)); at=0
        while test $at -lt $size; do
            head -c $at whole.yaml >cut.yaml
            ptpcfg encode --check cut.yaml 2>why; status=$?
            test $status = 0 || { test $status = 1 && grep -q '^ptpcfg: cut.yaml' why; } || { echo "at $at"; cat why; break; }
            at=$((at + 3))
        done)");
    EXPECT_EQ(result.out, "");
}

// ---- validators -----------------------------------------------------------------------------------------------------

TEST_F(formats, json_of_every_message_is_valid_by_its_json_schema) {
    if (sh("python3 -c 'import jsonschema'").status != 0) {
        GTEST_SKIP() << "python3-jsonschema is not installed";
    }
    write_messages(texts::any_bytes);
    const outcome result = sh(R"(
        ptpcfg convert all.bin -o all.json && ptpcfg convert --qualified all.bin -o qualified.json &&
        ptpcfg schema --json-schema -o any.schema &&
        for type in $(ptpcfg describe | awk '$2 == "message" { print $1 }'); do
            ptpcfg schema --json-schema $type -o $type.schema || exit
        done &&
        python3 - <<'PY'
import json
from jsonschema import Draft202012Validator as validator
schemas = {}
def check(instance, name):
    if name not in schemas:
        schema = json.load(open(name + ".schema"))
        validator.check_schema(schema)
        schemas[name] = validator(schema)
    return [error.message for error in schemas[name].iter_errors(instance)]
messages = json.load(open("all.json"))
for message, qualified in zip(messages, json.load(open("qualified.json"))):
    name, = message
    for each in message, qualified:
        assert not check(each, name), (name, check(each, name))
    payload = next(iter(message[name].values()))
    if isinstance(payload, dict):
        payload["nothing"] = 1
        assert check(message, name), name
assert not check(messages[0], "any") or check({}, "any")
assert check({"ptp_clock_cfg": {"ptp_clock": {"clk_mode": "NONE"}}}, "any")
assert check({"ptp_clock_cfg": {"ptp_clock": {"modify": 1}}}, "ptp_clock_cfg")
assert check({"ptp_clock_cfg": {"ptp_clock": {"default_data_set": {"priority1": 256}}}}, "ptp_clock_cfg")
print(len(messages))
PY)");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, std::to_string(ptp_cfg_test::record_types(PTP_CFG_MESSAGE).size()) + "\n");
    EXPECT_EQ(sh("ptpcfg schema").status, 2);
    EXPECT_EQ(sh("ptpcfg schema --json-schema ptp_clok").status, 2);
}

TEST_F(formats, json_of_every_message_is_valid_by_the_yang_module) {
    if (sh("command -v yanglint").status != 0) {
        GTEST_SKIP() << "yanglint (libyang2-tools) is not installed";
    }
    EXPECT_EQ(sh("ptpcfg schema --yang -o ptp_cfg.yang && yanglint ptp_cfg.yang").err, "");
    for (const record_type &type : ptp_cfg_test::record_types(PTP_CFG_MESSAGE)) {
        write("one.bin", message(type, texts::letters));
        const outcome result =
            sh("ptpcfg convert --qualified one.bin -o one.json && yanglint -t notif ptp_cfg.yang one.json");
        EXPECT_EQ(result.status, 0) << type.about.name;
        EXPECT_EQ(result.err, "") << type.about.name << read("one.json").substr(0, 2000);
    }
    write("bad.json", R"({"ptp_cfg:ptp_clock_cfg": {"ptp_clock": {"modify": 1}}})");
    EXPECT_NE(sh("yanglint -t notif ptp_cfg.yang bad.json").status, 0);
    write("bad.json", R"({"ptp_cfg:ptp_clock_cfg": {"ptp_clock": {"clk_mode": "NONE"}}})");
    EXPECT_NE(sh("yanglint -t notif ptp_cfg.yang bad.json").status, 0);
}

}  // namespace
