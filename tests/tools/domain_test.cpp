// An older and a newer peer: two processes at one socket, one of which knows less than the other.
#include <gmock/gmock.h>

#include <set>

#include "records.h"
#include "shell.h"

using ptp_cfg_test::record_type;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string older = std::string("--domain ") + EXAMPLES_FOLDER + "/domains/first_release.toml";

/** Names of the types with several variants that a type holds, or is. */
std::set<std::string> changed_types_in(const ptp_cfg_type *type) {
    const record_type &about = record_type::of(type);
    std::set<std::string> names;
    if (about.about.newest_variant > 0) {
        names.insert(about.about.name);
    }
    for (const ptp_cfg_field_description &field : about.fields) {
        if (field.type != nullptr) {
            names.merge(changed_types_in(field.type));
        }
    }
    return names;
}

std::vector<record_type> changed_messages() {
    std::vector<record_type> messages = ptp_cfg_test::record_types(PTP_CFG_MESSAGE);
    std::erase_if(messages, [](const record_type &message) { return changed_types_in(message.type).empty(); });
    return messages;
}

/** A value for every field that the handle's domain knows; a field has the same value in every domain. */
void fill(const record_type &message, vela_handle *handle, void *instance) {
    ptp_cfg_test::for_each_leaf(message, handle, instance, [handle](const ptp_cfg_test::leaf &leaf) {
        const u_int64 seed = std::hash<std::string>()(leaf.field().name) % 1000 + leaf.element;
        ptp_cfg_test::fill_leaf(handle, leaf, ptp_cfg_test::filling::random, seed);
        if (leaf.field().kind == PTP_CFG_FIELD_ENUMERATION) {
            u_int32 err = 0;
            ptp_cfg_field_set_value(leaf.owner.type, leaf.index, handle, ptp_cfg_test::mem_class, leaf.instance,
                                    leaf.element, 1, &err);  // a literal that both know
            EXPECT_EQ(err, 0u);
        }
    });
}

/** The changed messages one after the other, as a domain encodes them. */
std::string encoding(const vela_domain *domain, bool tracked) {
    ptp_cfg_test::test_handle handle({.tracking = tracked ? u_int32{VELA_STTR_ON} : 0, .domain = domain});
    std::string bytes;
    for (const record_type &message : changed_messages()) {
        const auto instance = message.create(handle);
        fill(message, handle, instance.get());
        const ptp_cfg_test::octets octets = message.marshal(handle, instance.get());
        bytes.append(octets.begin(), octets.end());
    }
    return bytes;
}

class older_peer : public shell_test {
  protected:
    void SetUp() override {
        shell_test::SetUp();
        u_int32 err = 0;
        char why[500] = "";
        domain_ = vela_domain_load(older.c_str() + older.find('/'), why, sizeof why, &err);
        ASSERT_NE(domain_, nullptr) << why;
        encode(false);
    }
    void TearDown() override {
        vela_domain_destroy(domain_);
        shell_test::TearDown();
    }

    void encode(bool tracked) {
        write("new.bin", encoding(nullptr, tracked));
        write("old.bin", encoding(domain_, tracked));
    }

    /** Sends a file from one process to another and expects that it arrives; returns what the listener wrote. */
    static std::string exchange(const std::string &file, const std::string &sender, const std::string &listener,
                                const std::string &form) {
        const std::string count = std::to_string(changed_messages().size());
        const outcome result =
            sh("rm -f got; ptpcfg listen unix:$PWD/s --timeout 20 --count " + count + " --to " + form + " -o got " +
               listener + " & listener=$!\nptpcfg send unix:$PWD/s " + sender + " " + file + "\nwait $listener");
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return read("got");
    }

    vela_domain *domain_ = nullptr;
};

TEST_F(older_peer, all_types_that_changed_are_in_the_example_and_in_messages) {
    const std::string listed = sh("cat $CLOCKS/../domains/first_release.toml").out;
    int known_otherwise = 0;
    std::set<std::string> sent;
    for (const record_type &message : changed_messages()) {
        sent.merge(changed_types_in(message.type));
    }
    ptp_cfg_test::test_handle handle({.domain = domain_});
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION}) {
        for (const record_type &type : ptp_cfg_test::record_types(kind)) {
            EXPECT_EQ(sent.contains(type.about.name), type.about.newest_variant > 0) << type.about.name;
            const int8 variant = static_cast<vela_instance_header *>(type.create(handle).get())->variant;
            const bool is_listed = listed.find("\n" + std::string(type.about.name) + " = 0") != std::string::npos;
            EXPECT_EQ(variant, is_listed ? 0 : type.about.newest_variant) << type.about.name;
            known_otherwise += is_listed ? 1 : 0;
        }
    }
    EXPECT_EQ(known_otherwise, 8);
}

TEST_F(older_peer, gets_from_a_newer_one_what_it_knows) {
    for (const bool tracked : {false, true}) {
        encode(tracked);
        ASSERT_LT(read("old.bin").size(), read("new.bin").size());
        EXPECT_EQ(exchange("new.bin", "", "", "bin"), read("new.bin")) << "two newer ones";
        EXPECT_EQ(exchange("new.bin", "", older, "bin"), read("old.bin")) << "the newer one knows nothing of it";
        EXPECT_EQ(exchange("new.bin", older, "", "bin"), read("old.bin")) << "the newer one says less";
        EXPECT_EQ(exchange("new.bin", older, older, "bin"), read("old.bin"));
    }
}

TEST_F(older_peer, is_understood_by_a_newer_one) {
    ASSERT_THAT(sh("ptpcfg decode new.bin | ptpcfg encode " + older).err, HasSubstr("needs variant 1 of "));
    ASSERT_EQ(sh("ptpcfg decode old.bin -o old.xml").err, "");
    EXPECT_EQ(exchange("old.xml", older, "", "bin"), read("old.bin"));
    EXPECT_NE(exchange("old.bin", "", "", "xml"), "");
    const outcome again = sh("ptpcfg encode got --from xml " + older + " | cmp old.bin -");  // refuses newer fields
    EXPECT_EQ(again.status, 0) << again.err;
}

TEST_F(older_peer, has_no_newer_values_in_xml_and_keeps_them_in_bytes) {
    write("in.xml",
          "<ptp_clock_cfg><ptp_clock>\n<clk_profile><VELA_PTP_PHASE_PROFILE_G8275_2/></clk_profile>"
          "</ptp_clock></ptp_clock_cfg>");
    const outcome refused = sh("ptpcfg send unix:$PWD/s " + older + " in.xml");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("in.xml:2:"));
    EXPECT_THAT(refused.err, HasSubstr("needs variant 1 of ptp_clock_profile, but 0 is in use"));
    ASSERT_EQ(sh("ptpcfg encode in.xml -o in.bin").err, "");
    EXPECT_THAT(sh("ptpcfg decode " + older + " in.bin").out, HasSubstr("<VELA_PTP_PHASE_PROFILE_G8275_2/>"));
}

TEST_F(older_peer, neither_gets_nor_takes_a_message_it_does_not_know) {
    ASSERT_EQ(sh("ptpcfg describe --xml ptp_ip_streams_list_msg >in.xml; ptpcfg encode in.xml -o in.bin").err, "");
    for (const char *file : {"in.xml", "in.bin"}) {
        const outcome refused = sh("ptpcfg send --timeout 1 unix:$PWD/s " + older + " " + file);
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.err, StartsWith(std::string("ptpcfg: ") + file));
        EXPECT_THAT(refused.err, HasSubstr("the domain 'first release' does not allow ptp_ip_streams_list_msg"));
    }
    const outcome taken = sh("ptpcfg listen unix:$PWD/s --timeout 20 --count 1 " + older +
                             " & listener=$!\nptpcfg send unix:$PWD/s in.bin\nwait $listener");
    EXPECT_EQ(taken.status, 4);
    EXPECT_THAT(taken.err, HasSubstr("message 1: offset 0: the domain 'first release' does not allow"));
    EXPECT_EQ(taken.out, "");
}

TEST_F(older_peer, may_be_named_before_the_subcommand) {
    const std::string after = sh("ptpcfg decode new.bin " + older).out;
    EXPECT_NE(after, sh("ptpcfg decode new.bin").out);
    EXPECT_EQ(sh("ptpcfg " + older + " decode new.bin").out, after);
    EXPECT_EQ(sh("ptpcfg " + older + " record unix:$PWD/s r.rec").status, 2);  // would mean nothing
}

TEST_F(older_peer, is_described_by_one_file_and_single_variants) {
    write("old.toml", "name = 'old'\n[variants]\nptp_utc_offset = 0\n");
    const std::string sample = "ptpcfg describe --xml ptp_utc_offset_cmd ";
    EXPECT_THAT(sh(sample).out, HasSubstr("<v_port_index>"));
    EXPECT_THAT(sh(sample + "--domain old.toml").out, Not(HasSubstr("leap_second_day")));
    const std::string between = sh(sample + "--domain ptp_utc_offset=1 --domain old.toml").out;
    EXPECT_THAT(between, HasSubstr("leap_second_day"));
    EXPECT_THAT(between, Not(HasSubstr("v_port_index")));
    EXPECT_EQ(sh(sample + "--domain old.toml --domain old.toml").status, 2);

    write("a=b.toml", "name = 'old'\ncolour = 1\n[variants]\nptp_prot = 0\n");
    const outcome faulty = sh("ptpcfg listen unix:$PWD/s --timeout 1 --domain ./a=b.toml");
    EXPECT_EQ(faulty.status, 1);
    EXPECT_THAT(faulty.err, StartsWith("ptpcfg: ./a=b.toml:2: unknown key 'colour'; "));
    EXPECT_THAT(faulty.err, HasSubstr("\nptpcfg: ./a=b.toml:4: no loaded module has a type 'ptp_prot'; did you mean"));
    const outcome missing = sh(sample + "--domain none.toml");
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.err, "ptpcfg: none.toml: cannot read: No such file or directory\n");
}

TEST_F(older_peer, takes_the_example_clocks_that_its_profiles_allow) {
    for (const char *clock :
         {"g8275_1_boundary_clock", "default_profile_ordinary_clock", "delete_clock", "modify_priority"}) {
        EXPECT_EQ(sh("ptpcfg encode " + older + " --check $CLOCKS/" + clock + ".xml").err, "") << clock;
    }
    EXPECT_THAT(sh("ptpcfg encode " + older + " $CLOCKS/g8275_2_boundary_clock.xml").err,
                HasSubstr("needs variant 1 of ptp_clock_profile"));
}

}  // namespace
