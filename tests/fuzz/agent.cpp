// What strangers send to the agent: answers of the daemon, the file of its intent, messages of control planes, requests to
// the notification API and its file of subscriptions.
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "agent/intent/store.h"
#include "agent/management/message.h"
#include "agent/notification/api.h"
#include "agent/profiles/rules.h"
#include "base/big_endian.h"
#include "files.h"
#include "targets.h"

namespace fuzz {

using namespace ptp_agent;  // whose names say what they are

// ---- answers of the daemon -------------------------------------------------------------------------------------------

void run_management(input in) {
    std::string why;
    const std::optional<ManagementMessage> message = decode_management(in.rest(), why);
    require(message.has_value() == why.empty(), "a message and a reason, or neither");
    if (!message) {
        return;
    }
    const octets again = encode_management(*message);
    const std::optional<ManagementMessage> second = decode_management(again, why);
    require(second && std::ranges::equal(second->data, message->data) && second->sequence == message->sequence &&
                second->id == message->id && second->error == message->error,
            "a management message is not stable");
    require(!name_of_error(message->error).empty() && !name_of(message->id).empty(), "something has no name");
    const TlvRow *row = find_tlv(message->id);
    if (row == nullptr) {
        return;
    }
    alignas(16) std::array<u_int8, 1024> structure = {};
    require(row->structure_size <= structure.size(), "a structure is larger than foreseen");
    const bool is_whole = decode_tlv(*row, message->data, structure.data());
    require(is_whole == (message->data.size() >= row->length), "a cut TLV is taken, or a whole one is not");
    if (is_whole) {
        const octets data = encode_tlv(*row, structure.data());
        alignas(16) std::array<u_int8, 1024> copy = {};
        decode_tlv(*row, data, copy.data());
        require(copy == structure, "a TLV is not stable");
        decode_text(*row, message->data);
    }
}

octets make_management(u_int64 number) {
    const TlvRow &row = tlv_rows()[number % tlv_rows().size()];
    random_source random(static_cast<u_int32>(number + 1));
    octets data(row.length + (row.text_follows ? 9u : 0u));
    std::generate(data.begin(), data.end(), [&] { return static_cast<u_int8>(random() >> 8); });
    if (row.text_follows) {
        data[row.length] = 8;
    }
    ManagementMessage message;
    message.action = ManagementAction::Response;
    message.id = row.id;
    message.sequence = static_cast<u_int16>(number);
    message.error = number % 5 == 4 ? 6 : 0;
    message.data = message.error == 0 ? std::span<const u_int8>(data) : std::span<const u_int8>();
    return encode_management(message);
}

// ---- the intent ------------------------------------------------------------------------------------------------------

namespace {

constexpr size_t header_length = 60;
constexpr size_t version_at = 8;
constexpr size_t checksum_at = 12;

const SharedHandle &agent_handle() {
    static const SharedHandle handle = make_tracking_handle();
    return handle;
}

/** Gives a file of the agent's the header and checksum that it checks first. */
void seal(octets &file) {
    constexpr std::string_view magic = "PTPWISH\n";
    file.resize(std::max(file.size(), header_length));
    std::ranges::copy(magic, file.begin());
    base::store_big_endian(file.data() + version_at, std::uint32_t{1});
    const size_t start = checksum_at + 4;
    base::store_big_endian(file.data() + checksum_at,
                           static_cast<std::uint32_t>(::crc32_z(0, file.data() + start, file.size() - start)));
}

}  // namespace

void run_intent_file(input in) {
    const std::string path = folder() + "/intent";
    const bool is_sealed = (in.octet() & 1) != 0;
    const std::span<const u_int8> rest = in.rest();
    octets file(rest.begin(), rest.end());
    if (is_sealed) {
        seal(file);
    }
    write_file(path, file);
    {
        IntentStore store(path, "/dev/null");
        LoadedIntent loaded = store.load(agent_handle());
        require((loaded.kind == LoadedIntent::Kind::Loaded) || !loaded.note.empty(), "a failure without a note");
        const size_t objects = loaded.intent.objects().size();
        require(store.save(loaded.intent).empty(), "an intent that was loaded cannot be saved");
        IntentStore second(path, "/dev/null");
        require(second.load(agent_handle()).intent.objects().size() == objects, "an intent is not stable");
    }
    for (const char *kept : {"", ".previous", ".damaged"}) {
        std::error_code ignored;
        std::filesystem::remove(path + kept, ignored);
    }
}

octets make_intent_file(u_int64 number) {
    octets result = {1};
    result.resize(1 + header_length);
    const octets bundle = make_bundle(number);
    result.insert(result.end(), bundle.begin() + 1, bundle.end());
    return result;
}

void run_intent_messages(input in) {
    static const RuleBook rules;
    Intent intent(agent_handle());
    for (int messages = 0; !in.is_empty() && messages < 8; ++messages) {
        const Intent before = intent;
        const Answer answer = take(intent, in.take(in.word()), agent_handle().get(), rules);
        require(answer.kind == Answer::Kind::Applied || intent == before, "what was not applied changed the intent",
                answer.message.c_str());
        require(answer.kind != Answer::Kind::Refused || !answer.violations.empty(), "refused without a reason");
        require(!to_text(answer).empty(), "an answer without a text");
    }
}

octets make_intent_messages(u_int64 number) {
    octets result;
    for (u_int64 i = 0; i <= number % 4; ++i) {
        const octets message = encoding_of(messages()[(number / 4 + i * 5) % messages().size()], number + i, 2);
        result.push_back(static_cast<u_int8>(message.size()));
        result.push_back(static_cast<u_int8>(message.size() >> 8));
        result.insert(result.end(), message.begin(), message.end());
    }
    return result;
}

// ---- the notification API --------------------------------------------------------------------------------------------

namespace {

using namespace ptp_agent::notification;

/** All that the API works on, without a server. Its loop is never run, so that nothing is called or looked up. */
struct api_parts {
    EventLoop loop;
    AddressSpace addresses{"cluster", "node", ResourceSet(31)};
    Samples samples = samples_of({{{"clock", {{LockState::Locked, 1}}, {{u_int8{6}, 2}}, {{1.5, 3}}}}, {}, {}}, {31});
    Networks nowhere{std::vector<std::string>{"192.0.2.0/24"}};  // for documents: nobody has these addresses
    Limits limits;
    Subscriptions subscriptions{folder() + "/subscriptions", limits};
    HttpCaller caller{loop, {}, nowhere};
    Notifier notifier{loop, caller, limits, [](const std::string &, const std::string &) {}};
    Tokens tokens{""};
    Api api{{addresses, samples, nowhere, subscriptions, notifier, tokens, MemberSpelling::Standard, false, "node:1"}};
};

std::string line(input &in) {
    std::string result;
    for (u_int8 octet = in.octet(); octet != '\n' && (octet != 0 || !in.is_empty()); octet = in.octet()) {
        result.push_back(static_cast<char>(octet));
    }
    return result;
}

}  // namespace

/** Requests, a line each for method, path, host and body; or, when it begins with #, the file of subscriptions. */
void run_notification_api(input in) {
    api_parts parts;
    if (in.octet() == '#') {
        write_file(folder() + "/subscriptions", in.rest());
        parts.subscriptions.load(parts.addresses, [](const std::string &) {});
        for (const char *kept : {"", ".unreadable"}) {
            std::error_code ignored;
            std::filesystem::remove(folder() + "/subscriptions" + kept, ignored);
        }
        return;
    }
    for (int requests = 0; !in.is_empty() && requests < 8; ++requests) {
        Request request;
        request.method = line(in);
        request.path = line(in);
        request.host = line(in);
        request.authorization = line(in);
        request.body = line(in);
        int answers = 0;
        if (std::unique_ptr<Response> refused = parts.api.admit(request)) {
            require(refused->status == 401, "refused with another status");
            continue;
        }
        parts.api.handle(request, [&](const Response &response) {
            ++answers;
            require(response.status >= 200 && response.status < 600, "no status of HTTP");
        });
        require(answers <= 1, "answered twice");
    }
}

octets make_notification_api(u_int64 number) {
    const std::string base = "/ocloudNotifications/v2/";
    const std::array<std::string, 8> requests = {
        "GET\n" + base + "health\n\n\n\n",
        "GET\n" + base + "publishers\nnode\n\n\n",
        "GET\n" + base + "cluster/node/node/sync/sync-status/sync-state/CurrentState\nnode:1\n\n\n",
        "GET\n" + base + "subscriptions\nnode:1\nBearer x\n\n",
        "POST\n" + base + "subscriptions\n[::1]:9043\n\n{\"ResourceAddress\": \"/././sync\", \"EndpointUri\": " +
            "\"http://192.0.2.1:9/e\"}\n",
        "DELETE\n" + base + "subscriptions/0f0e\nnode\n\n\n",
        "DELETE\n/api" + base + "subscriptions\nnode\n\n\n",
        "PUT\n/\n\n\n\n"};
    std::string text = "-" + requests[number % 8] + requests[number / 8 % 8];
    if (number % 9 == 8) {
        text =
            "#{\"subscriptions\": [{\"SubscriptionId\": \"0f0e\", \"ResourceAddress\": \"/././sync\", "
            "\"EndpointUri\": \"http://192.0.2.1/\"}]}";
    }
    return {text.begin(), text.end()};
}

}  // namespace fuzz
