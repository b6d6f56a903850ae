// Domains from files: what a good one sets, and what is said of each bad one.
#include "failing_memory.h"
#include "test_support.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

namespace velalib_test {
namespace {

/** A module with two types and a message, loaded as long as it lives. */
class loaded_module {
  public:
    loaded_module() {
        for (type_record *record : {&port, &profile}) {
            set_kind(*record, "type");
        }
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

    void write(const std::string &content) const {
        unlink(path.c_str());  // some file systems take milliseconds to shorten a file
        std::ofstream(path, std::ios::binary) << content;
    }

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
        for (size_t at = 0; (at = result.find(path + ":", at)) != std::string::npos;) {
            result.erase(at, path.size() + 1);
        }
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
        {named + "[[variants]]\nptp_port = 1", "2: a list of tables; a domain has one table, write [variants]"},
        {named + "[variants]\nptp_prot = 0", "3: no loaded module has a type 'ptp_prot'; did you mean ptp_port?"},
        {named + "[variants]\nweather = 0",
         "3: no loaded module has a type 'weather'; correct the name, or load the module that has it"},
        {named + "[variants]\n\"a\\nb\" = 0", "3: no loaded module has a type 'a?b'"},
        {named + "[variants]\nptp_port = 2", "3: 'ptp_port' has no variant 2; give a number from 0 to 1"},
        {named + "[variants]\nptp_port = -1", "3: 'ptp_port' has no variant -1; give a number from 0 to 1"},
        {named + "[variants]\nptp_port = 256", "3: 'ptp_port' has no variant 256"},
        {named + "[variants]\nptp_clock_profile = 1", "3: 'ptp_clock_profile' has no variant 1; give 0, the only one"},
        {named + "[variants]\nptp_port = +-1", "3: the variant of 'ptp_port' is no whole number"},
        {named + "[variants]\nptp_port = 01", "3: the variant of 'ptp_port' is no whole number"},
        {named + "[variants]\nptp_port = 0x-1", "3: the variant of 'ptp_port' is no whole number"},
        {named + "[variants]\nptp_port = 0xFFFFFFFFFFFFFFFF", "3: the variant of 'ptp_port' is no whole number"},
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
    ASSERT_EQ(mkfifo((path + ".pipe").c_str(), 0600), 0);
    std::ofstream(path + ".long") << "name = 'x'\n#" << std::string(1 << 20, 'x');
    const struct {
        std::string path;
        u_int32 code;
        const char *says;
    } cases[] = {
        {path + ".none", VELA_ENOENT, ".none: cannot read: No such file"},
        {testing::TempDir(), VELA_EINVAL, ": cannot read: it is a folder"},
        {"/dev/zero", VELA_EINVAL, "/dev/zero: cannot read: it is no regular file"},
        {path + ".pipe", VELA_EINVAL, ".pipe: cannot read: it is no regular file"},
        {path + ".long", VELA_EMSGSIZE, ".long: longer than 1 MiB"},
        {"", VELA_EINVAL, "no file is named"},
    };
    for (const auto &each : cases) {
        char text[500] = "";
        u_int32 failure = 0;
        EXPECT_EQ(vela_domain_load(each.path.c_str(), text, sizeof text, &failure), nullptr);
        EXPECT_EQ(failure, each.code) << text;
        EXPECT_NE(std::string(text).find(each.says), std::string::npos) << text;
    }
    unlink((path + ".pipe").c_str());
    unlink((path + ".long").c_str());
    err = VELA_ENOMEM;
    EXPECT_EQ(vela_domain_load(path.c_str(), nullptr, 0, &err), nullptr);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_ENOMEM)) << "a call under an error does nothing";
    err = 0;
}

// ---- hostile files -------------------------------------------------------------------------------------------------

TEST_F(domain_file_test, RefusesWhatADomainNeverHoldsWithItsLine) {
    const std::string deep(100'000, '[');
    const struct {
        std::string content;
        const char *says;
    } cases[] = {
        {"[= 9", "1: no key begins with '='"},
        {"[\n", "1: no key begins with the end of the line"},
        {"[variants", "1: the name of the table has no end"},
        {"= 1", "1: no key begins with '='"},
        {"name", "1: no = stands behind the key"},
        {"name =", "1: no value begins with the end of the line"},
        {"name = =", "1: no value begins with '='"},
        {"\n\u031b = 1", "2: no key begins with a character that stands in texts"},
        {"a\uFCFF = 1", "1: no = stands behind"},
        {"\u00e4 = 'x'", "1: no key begins with a character"},
        {"name = \u00e4", "1: no value begins with a character"},
        {"name = 'x' \u00e4", "1: the line goes on with a character"},
        {"name = 'x' 7", "1: the line goes on with '7'"},
        {"name = x", "1: a text without quotes; put it in quotes"},
        {"name = 'x", "1: a text has no end"},
        {"name = \"x\n\"", "1: a text has no end"},
        {"name = '''x'''", "1: a text over several lines"},
        {"name = \"\\q\"", "1: a \\ that means nothing"},
        {"name = \"\\uD800\"", "1: \\u and \\U need"},
        {"name = \"\\u00", "1: \\u and \\U need"},
        {"a.b = 1", "1: a key of several parts"},
        {"variants = { ptp_port = 0 }", "1: a table in braces"},
        {"forbidden_messages = " + deep, "1: a list holds another list"},
        {"forbidden_messages = [\n'a'\n'b']", "3: a list goes on with '''"},
        {"forbidden_messages = ['a',\n#", "2: a list has no end"},
        {"\n[variants]\n[variants]", "3: the same key or table was there before"},
        {"# \x01", "1: a control character"},
        {"a = 1\r", "1: a control character"},
        {std::string("name = 'a\0'", 11), "1: a control character"},
        {"\n# \xff", "2: a byte that is no UTF-8"},
        {"# \xe4\xf6", "1: a byte that is no UTF-8"},
        {"# \xc0\xaf", "1: a byte that is no UTF-8"},
        {"# \xed\xa0\x80", "1: a byte that is no UTF-8"},
        {"# \xf4\x90\x80\x80", "1: a byte that is no UTF-8"},
        {"# \xe2\x82", "1: a byte that is no UTF-8"},
    };
    for (const auto &each : cases) {
        const std::string says = faults_of(each.content);
        EXPECT_EQ(says.rfind(each.says, 0), 0u) << each.content.substr(0, 100) << "\nsays: " << says;
    }
}

TEST_F(domain_file_test, ReadsWhatTheFormatAllows) {
    const struct {
        std::string content;
        const char *name;
        int variant;
    } cases[] = {
        {"\xEF\xBB\xBFname=\"a\\t\\u00e4\"\r\n", nullptr, 1},  // a tab is no part of a name
        {"name = 'caf\u00e9' # \u4e16\r\n[ variants ]\r\n'ptp_port' = 0x0", "caf\u00e9", 0},
        {"name = \"\\\"\\u00E9\\U0001F552\\\\\"\n[variants]\n\"ptp\\u005fport\" = +1\n", "\"\u00e9\U0001F552\\", 1},
        {"forbidden_messages = [ # none\n\n ]\nname = '#='\n\t[variants]\n ptp_port\t=\t0_0\n", nullptr, 0},
        {"forbidden_messages = [\n 'ptp_port_cfg_message', # one\n\n]\nname = '#='\n[variants]#\nptp_port=0b0",
         "#=", 0},
    };
    for (const auto &each : cases) {
        write(each.content);
        char text[500] = "";
        vela_domain *domain = vela_domain_load(path.c_str(), text, sizeof text, &err);
        EXPECT_EQ(domain != nullptr, each.name != nullptr) << each.content << text;
        if (domain != nullptr) {
            vela_handle_set_domain(handle, domain);
            EXPECT_STREQ(handle->domain_name, each.name);
            EXPECT_EQ(vela_domain_lookup_variant(handle, &handle->variant_domain, &module.port.info, &err),
                      each.variant);
            vela_handle_set_domain(handle, nullptr);
        }
        vela_domain_destroy(domain);
        err = 0;
    }
}

/** Loads what stands in the file; whatever that is, it is a domain or has a reason. */
void load_anything(const std::string &path) {
    char text[500] = "";
    u_int32 failure = 0;
    vela_domain *domain = vela_domain_load(path.c_str(), text, sizeof text, &failure);
    ASSERT_EQ(domain == nullptr, failure != 0);
    ASSERT_EQ(domain == nullptr, text[0] != '\0');
    vela_domain_destroy(domain);
}

TEST_F(domain_file_test, OutlastsChangesOfEveryKind) {
    const std::string whole =
        "# \u00e4\nname = \"first \\u00e9\"\nforbidden_messages = [\n'ptp_port_cfg_message',]\n[variants]\nptp_port = "
        "0\n";
    const std::string spice = "[]{}=\"'\\#.,\n\r\t _-+09xXbuUeinf\0\x7f\xcc\x9b\xef\xb3\xbf\xc3\xa4\xff";
    std::mt19937 random(17);
    for (int round = 0; round < 10'000; ++round) {
        std::string changed = whole;
        for (unsigned change = random() % 6; change > 0; --change) {
            const size_t at = random() % (changed.size() + 1);
            switch (random() % 4) {
                case 0:
                    changed.insert(at, 1, spice[random() % spice.size()]);
                    break;
                case 1:
                    changed.erase(at, random() % 8);
                    break;
                case 2:
                    changed.insert(at, changed.substr(random() % (changed.size() + 1), random() % 20));
                    break;
                default:
                    changed.resize(at);
            }
        }
        write(changed);
        load_anything(path);
        ASSERT_FALSE(HasFatalFailure()) << changed;
    }
}

TEST_F(domain_file_test, LargeFilesTakeLittleTime) {
    std::string keys = "name = 'x'\n[variants]\n";
    for (int i = 0; keys.size() < 1'000'000; ++i) {
        keys += "ptp_prot_" + std::to_string(i) + " = 0\n";
    }
    const auto start = std::chrono::steady_clock::now();
    for (const std::string &content : {keys, "forbidden_messages = ['" + std::string(1'000'000, ',') + "']",
                                       "forbidden_messages = [" + std::string(1'000'000, '\n')}) {
        write(content);
        load_anything(path);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << "seconds, also under valgrind";
}

TEST_F(domain_file_test, LackOfMemoryIsAnErrorAtEveryPoint) {
    if (!test::can_fail()) {
        GTEST_SKIP() << "the program's memory is another's here";
    }
    for (const char *content : {"name = 'a name that is too long to stay within a string object'\n"
                                "forbidden_messages = ['ptp_port_cfg_message']\n[variants]\nptp_port = 0\n",
                                "[= 9", "name = 7\n[variants]\nptp_prot = 0", "name = 'x'\nname = 'x'"}) {
        write(content);
        char text[500] = "";
        u_int32 failure = VELA_ENOMEM;
        for (long most = 0; failure == VELA_ENOMEM; ++most) {
            ASSERT_LT(most, 1000);
            failure = 0;
            text[0] = '\0';
            test::memory.fail_after(most);
            vela_domain *domain = vela_domain_load(path.c_str(), text, sizeof text, &failure);
            test::memory.stop();
            EXPECT_EQ(domain == nullptr, failure != 0);
            EXPECT_EQ(failure == VELA_ENOMEM, std::string(text) == "there is no memory for a domain") << text;
            vela_domain_destroy(domain);
        }
    }
}

}  // namespace
}  // namespace velalib_test
