// Domains from files: what a good one sets, and what is said of each bad one.
#include "test_support.h"

#include <unistd.h>

#include <fstream>

namespace velalib_test {
namespace {

/** A module with two types and a message, loaded as long as it lives. */
class loaded_module {
  public:
    loaded_module() {
        for (type_record *record : {&port, &profile}) set_kind(*record, "type");
        set_kind(message, "message");
        *vela_module_tot_root.last_next = &module_;
    }
    ~loaded_module() { *vela_module_tot_root.last_next = nullptr; }
    loaded_module(const loaded_module &) = delete;
    loaded_module &operator=(const loaded_module &) = delete;

    type_record port{"ptp_port", 2};
    type_record profile{"ptp_clock_profile", 1};
    type_record message{"ptp_port_cfg_message"};

  private:
    static void set_kind(type_record &record, const char *kind) {
        snprintf(record.info.kind, sizeof record.info.kind, "%s", kind);
    }
    vela_type_info *const types_[4] = {&port.info, &profile.info, &message.info, nullptr};
    vela_module module_ = {"test", types_, nullptr, nullptr};
};

class domain_file_test : public handle_test {
  protected:
    void SetUp() override {
        handle_test::SetUp();
        path = testing::TempDir() + "domain_" + std::to_string(getpid()) + ".toml";
    }
    void TearDown() override {
        unlink(path.c_str());
        handle_test::TearDown();
    }

    void write(const std::string &content) const { std::ofstream(path, std::ios::binary) << content; }

    /** The lines that loading a file of this content says, without the file's name before them. */
    std::string faults_of(const std::string &content) {
        write(content);
        char text[2000] = "";
        u_int32 failure = 0;
        vela_domain *domain = vela_domain_load(path.c_str(), text, sizeof text, &failure);
        EXPECT_EQ(domain, nullptr) << content;
        EXPECT_EQ(failure, static_cast<u_int32>(VELA_EINVAL)) << content;
        vela_domain_destroy(domain);
        std::string result = text;
        for (size_t at = 0; (at = result.find(path + ":", at)) != std::string::npos;) result.erase(at, path.size() + 1);
        return result;
    }

    loaded_module module;
    std::string path;
};

TEST_F(domain_file_test, SaysWhatTheCallsWouldSay) {
    write("name = 'first release'\nforbidden_messages = ['ptp_port_cfg_message']\n[variants]\nptp_port = 0\n");
    vela_domain *domain = vela_domain_load(path.c_str(), nullptr, 0, &err);
    ASSERT_NE(domain, nullptr);
    vela_handle_set_domain(handle, domain);
    EXPECT_STREQ(handle->domain_name, "first release");
    EXPECT_EQ(vela_domain_lookup_variant(handle, &handle->variant_domain, &module.port.info, &err), 0);
    EXPECT_EQ(vela_domain_lookup_message_ok(handle, &handle->variant_domain, &module.message.info, &err), 0u);
    vela_handle_set_domain(handle, nullptr);
    vela_domain_destroy(domain);

    write("name = '" + std::string(63, 'x') + "'\n");  // all the rest may be left out
    domain = vela_domain_load(path.c_str(), nullptr, 0, &err);
    EXPECT_NE(domain, nullptr);
    vela_domain_destroy(domain);
    EXPECT_EQ(err, 0u);
}

TEST_F(domain_file_test, NamesTheLineOfEachFaultAndItsRemedy) {
    const std::string named = "name = 'old'\n";
    const struct {
        std::string content;
        std::string says;
    } cases[] = {
        {"", "1: the domain has no name; add a line"},
        {"\nname = 7", "2: 'name' is no text; put it in quotes"},
        {"name = ''", "1: 'name' has 0 characters; give 1 to 63"},
        {"name = '" + std::string(64, 'x') + "'", "1: 'name' has 64 characters; give 1 to 63"},
        {"name = \"a\\u0000b\"", "1: 'name' has a control character; leave it out"},
        {named + named, "2: "},
        {named + "\nnonsense", "3: "},
        {named + "colour = 1", "2: unknown key 'colour'; a domain has name,"},
        {named + "ptp_port = 0", "2: unknown key 'ptp_port'; move it below a line [variants]"},
        {named + "variants = 3", "2: 'variants' is no table; write [variants]"},
        {named + "[[variants]]\nptp_port = 1", "2: 'variants' is no table; write [variants]"},
        {named + "[variants]\nptp_prot = 0", "3: no loaded module has a type 'ptp_prot'; did you mean ptp_port?"},
        {named + "[variants]\nweather = 0",
         "3: no loaded module has a type 'weather'; correct the name, or load the module that has it"},
        {named + "[variants]\n\"a\\nb\" = 0", "3: no loaded module has a type 'a?b'"},
        {named + "[variants]\nptp_port = 2", "3: 'ptp_port' has no variant 2; give a number from 0 to 1"},
        {named + "[variants]\nptp_port = -1", "3: 'ptp_port' has no variant -1; give a number from 0 to 1"},
        {named + "[variants]\nptp_port = 256", "3: 'ptp_port' has no variant 256"},
        {named + "[variants]\nptp_clock_profile = 1", "3: 'ptp_clock_profile' has no variant 1; give 0, the only one"},
        {named + "[variants]\nptp_port = '0'", "3: the variant of 'ptp_port' is no whole number; give a number from"},
        {named + "[variants]\nptp_port = 0.0", "3: the variant of 'ptp_port' is no whole number"},
        {named + "[variants]\nptp_port_cfg_message = 0", "3: 'ptp_port_cfg_message' is a message, which has no"},
        {named + "[variants]\nforbidden_messages = []", "3: 'forbidden_messages' stands in [variants]; move it above"},
        {named + "forbidden_messages = 'ptp_port_cfg_message'", "2: 'forbidden_messages' is no list"},
        {named + "forbidden_messages = [\n'ptp_port_cfg_message',\n1]", "4: 'forbidden_messages' holds something that"},
        {named + "forbidden_messages = ['ptp_port_cfg']",
         "2: no loaded module has a message 'ptp_port_cfg'; did you "
         "mean ptp_port_cfg_message?"},
        {named + "forbidden_messages = ['ptp_port']", "2: 'ptp_port' is no message; name the messages that carry it"},
        {named + "forbidden_messages = ['ptp_port_cfg_message',\n'ptp_port_cfg_message']",
         "3: 'ptp_port_cfg_message' is forbidden already; leave it out here"},
    };
    for (const auto &each : cases) {
        const std::string says = faults_of(each.content);
        EXPECT_EQ(says.rfind(each.says, 0), 0u) << each.content << "\nsays: " << says;
        EXPECT_EQ(says.find('\n'), std::string::npos) << "one fault: " << says;
    }
}

TEST_F(domain_file_test, NamesAllFaultsInTheOrderOfTheFile) {
    const std::string says = faults_of("name = 1\nforbidden_messages = [2]\n[variants]\nptp_port = 3\na = 4\n");
    size_t at = 0;
    for (const char *line : {"1: ", "\n2: ", "\n4: ", "\n5: "}) {
        ASSERT_NE(at = says.find(line, at), std::string::npos) << line << says;
    }
    char little[20] = "";
    EXPECT_EQ(vela_domain_load(path.c_str(), little, sizeof little, &err), nullptr);
    EXPECT_EQ(std::string(little), path.substr(0, sizeof little - 1)) << "cut, and ended";
    err = 0;
}

TEST_F(domain_file_test, NamesAFileThatCannotBeRead) {
    const struct {
        std::string path;
        u_int32 code;
        const char *says;
    } cases[] = {
        {path + ".none", VELA_ENOENT, ".none: cannot read: No such file"},
        {testing::TempDir(), EISDIR, ": cannot read: Is a directory"},
        {"/dev/zero", VELA_EMSGSIZE, "/dev/zero: longer than 1 MiB"},
        {"", VELA_EINVAL, "no file is named"},
    };
    for (const auto &each : cases) {
        char text[500] = "";
        u_int32 failure = 0;
        EXPECT_EQ(vela_domain_load(each.path.c_str(), text, sizeof text, &failure), nullptr);
        EXPECT_EQ(failure, each.code) << text;
        EXPECT_NE(std::string(text).find(each.says), std::string::npos) << text;
    }
    err = VELA_ENOMEM;
    EXPECT_EQ(vela_domain_load(path.c_str(), nullptr, 0, &err), nullptr);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_ENOMEM)) << "a call under an error does nothing";
    err = 0;
}

}  // namespace
}  // namespace velalib_test
