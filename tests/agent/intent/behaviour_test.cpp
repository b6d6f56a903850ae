// behaviour.toml against the catalogue of messages and against what the intent does with them.
#include "agent/intent/behaviour.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "agent/intent/fields.h"
#include "agent/intent/objects.h"
#include "support/messages.h"

namespace ptp_agent::test {
namespace {

constexpr const char *unknown_field = "this release of the agent does nothing with it";

std::vector<const ptp_cfg_type *> all_messages() {
    std::vector<const ptp_cfg_type *> messages;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type *type = ptp_cfg_type_at(index);
        if (describe(type).kind == PTP_CFG_MESSAGE) {
            messages.push_back(type);
        }
    }
    return messages;
}

/** Paths of every single field below a structure, and the variant that brought each. */
void add_leaves(const ptp_cfg_type *type, const std::string &before, int8 since, std::map<std::string, int8> &leaves) {
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        const int8 brought = std::max(since, static_cast<int8>(field.since));
        if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
            add_leaves(field.type, before + field.name + ".", brought, leaves);
        } else {
            leaves[before + field.name] = brought;
        }
    }
}

std::map<std::string, int8> leaves_of(const ptp_cfg_type *message) {
    std::map<std::string, int8> leaves;
    for (const ptp_cfg_field_description &payload : fields_of(message)) {
        if (payload.type == nullptr) {
            leaves[""] = 0;
        } else {
            add_leaves(payload.type, "", 0, leaves);
        }
    }
    return leaves;
}

bool is_inside(const std::string &leaf, const std::string &path) {
    return leaf == path || (!path.empty() && leaf.starts_with(path + "."));
}

TEST(Behaviour, HasEachMessageAndEachFieldOnce) {
    const std::vector<const ptp_cfg_type *> messages = all_messages();
    ASSERT_EQ(behaviours().size(), messages.size());
    EXPECT_GE(std::count_if(behaviours().begin(), behaviours().end(), [](const auto &each) { return each.is_stated; }),
              47);
    for (std::size_t index = 0; index < messages.size(); ++index) {
        const Behaviour &behaviour = behaviours()[index];
        SCOPED_TRACE(behaviour.message);
        EXPECT_EQ(behaviour.message, describe(messages[index]).short_name);
        const std::map<std::string, int8> leaves = leaves_of(messages[index]);
        std::map<std::string, int> named;
        for (const FieldBehaviour &field : behaviour.fields) {
            int matches = 0;
            for (const auto &[leaf, since] : leaves) {
                const bool is_named = is_inside(leaf, field.path);
                matches += is_named ? 1 : 0;
                named[leaf] += is_named ? 1 : 0;
                EXPECT_TRUE(!is_named || since > 0 || !behaviour.is_stated || field.how != unknown_field) << leaf;
            }
            EXPECT_GT(matches, 0) << "no field '" << field.path << "'";
            EXPECT_FALSE(field.how.empty()) << field.path;
        }
        for (const auto &[leaf, since] : leaves) {
            EXPECT_EQ(named[leaf], 1) << "field '" << leaf << "'";
        }
    }
}

TEST(Behaviour, AppliesExactlyWhatTheIntentTakes) {
    std::set<std::string_view> taken;
    for (const MessageAction &action : message_actions()) {
        taken.insert(action.message);
    }
    for (const Behaviour &behaviour : behaviours()) {
        EXPECT_EQ(behaviour.kind == Behaviour::Kind::Applied, taken.contains(behaviour.message)) << behaviour.message;
        for (const FieldBehaviour &field : behaviour.fields) {
            EXPECT_TRUE(behaviour.kind == Behaviour::Kind::Reported || field.source != FieldSource::Daemon)
                << behaviour.message << ": the daemon does not say what the control plane sends: " << field.path;
        }
    }
}

TEST(Behaviour, AnswersEachMessageAsItsRowSays) {
    for (const ptp_cfg_type *type : all_messages()) {
        Wishes wishes;
        wishes.ask(example(wishes.handle, "default_profile_ordinary_clock.xml"));
        const Behaviour &behaviour = *behaviour_of(describe(type).short_name);
        const Answer answer = wishes.take(Record(wishes.handle, type));
        switch (behaviour.kind) {
            case Behaviour::Kind::Reported:
                EXPECT_EQ(answer.kind, Answer::Kind::NotForUs) << behaviour.message;
                break;
            case Behaviour::Kind::NotExpressible:
                EXPECT_EQ(answer.kind, Answer::Kind::NotExpressible) << behaviour.message;
                EXPECT_THAT(to_text(answer), testing::HasSubstr(behaviour.how));
                break;
            case Behaviour::Kind::Applied:  // empty records are mostly wrong, but they are never for someone else
                EXPECT_TRUE(answer.kind == Answer::Kind::Applied || answer.kind == Answer::Kind::Refused)
                    << to_text(answer);
        }
    }
}

/** "Suite.Name" of each test of the agent. */
std::set<std::string> all_tests() {
    std::set<std::string> tests;
    const std::regex head("^TEST(?:_F|_P)?\\((\\w+), (\\w+)\\)");
    for (const auto &entry : std::filesystem::recursive_directory_iterator(AGENT_TESTS)) {
        std::ifstream file(entry.path());
        for (std::string line; entry.path().extension() == ".cpp" && std::getline(file, line);) {
            std::smatch found;
            if (std::regex_search(line, found, head)) {
                tests.insert(found[1].str() + "." + found[2].str());
            }
        }
    }
    return tests;
}

TEST(Behaviour, IsShownOfEachMessageByTestsThatExist) {
    const std::set<std::string> tests = all_tests();
    std::ifstream file(AGENT_TESTS "/intent/tests_of_messages.txt");
    std::string line;
    std::getline(file, line);
    for (const Behaviour &behaviour : behaviours()) {
        if (!behaviour.is_stated) {
            continue;
        }
        ASSERT_TRUE(std::getline(file, line)) << "nothing shows " << behaviour.message;
        std::istringstream words(line);
        std::string word;
        words >> word;
        EXPECT_EQ(word, behaviour.message + ":");
        unsigned count = 0;
        for (; words >> word; ++count) {
            EXPECT_TRUE(tests.contains(word)) << behaviour.message << ": there is no test " << word;
        }
        EXPECT_GT(count, 0u) << "nothing shows " << behaviour.message;
    }
    EXPECT_FALSE(std::getline(file, line)) << line;
}

}  // namespace
}  // namespace ptp_agent::test
