// Listens to what several PTP daemons report, and prints a line for each change, until its input ends.
//
//     demo_timeline NAME=URI...
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "demo.h"

namespace {

/** What is worth a line: a field of a report, by the names on the way to it. */
struct watched {
    const char *message;
    std::vector<const char *> path;
    const char *label;
};

const std::vector<watched> watched_fields = {
    {"ptp_clock_runtime_state_msg", {"ptp_clock_runtime_state", "clock_state"}, "clock"},
    {"ptp_port_runtime_state_msg", {"ptp_port_runtime_state", "port_state"}, "port"},
    {"ptp_clk_default_ds_msg", {"ptp_clock_default_ds", "clock_quality", "clock_class"}, "clock class"},
    {"ptp_clk_default_ds_msg", {"ptp_clock_default_ds", "priority2"}, "priority2"},
    {"ptp_clk_parent_ds_msg", {"ptp_clock_parent_data_set", "grandmaster_identity", "ptp_clk_id"}, "grandmaster"},
    {"ptp_clk_parent_ds_msg",
     {"ptp_clock_parent_data_set", "grandmaster_clock_quality", "clock_class"},
     "clock class of the grandmaster"},
};

/** One daemon, and what it said last. */
struct element {
    std::string name;
    vela_channel *channel;
    std::map<std::string, std::string> last;
};

struct field {
    const ptp_cfg_type *owner;
    void *instance;
    u_int32 index;
    ptp_cfg_field_description description;
};

u_int32 index_of(const ptp_cfg_type *type, const char *name) {
    ptp_cfg_field_description found{};
    found.size = sizeof found;
    u_int32 index = 0;
    while (ptp_cfg_field_describe(type, index, &found) != 0 && strcmp(found.name, name) != 0) {
        ++index;
    }
    return index;
}

/** Walks from a message to a field of its payload. */
field find(vela_handle *handle, const ptp_cfg_type *type, void *message, const std::vector<const char *> &path) {
    field at{type, message, 0, {}};
    at.description.size = sizeof at.description;
    for (size_t step = 0; step < path.size(); ++step) {
        u_int32 err = 0;
        if (step != 0) {
            at.instance = ptp_cfg_field_get(at.owner, at.index, handle, demo::mem_class, at.instance, 0, &err);
            demo::check(err, std::string("read ") + path[step - 1]);
            at.owner = at.description.type;
        }
        at.index = index_of(at.owner, path[step]);
        demo::check(ptp_cfg_field_describe(at.owner, at.index, &at.description) != 0 ? 0 : u_int32{VELA_ENOENT},
                    std::string("find ") + path[step]);
    }
    return at;
}

/** A literal without what it shares with its neighbours: VELA_PTP_PORT_STATE_SLAVE is SLAVE. */
std::string short_literal(const ptp_cfg_type *type, u_int64 number) {
    ptp_cfg_literal first{}, value{};
    for (u_int32 i = 0; ptp_cfg_literal_describe(type, i, &value) != 0; ++i) {
        if (i == 0) {
            first = value;
        }
        if (value.number == number) {
            size_t shared = 0;
            for (size_t c = 0; first.literal[c] != '\0' && first.literal[c] == value.literal[c]; ++c) {
                shared = first.literal[c] == '_' ? c + 1 : shared;
            }
            return i != 0 ? value.literal + shared : std::string("not known");
        }
    }
    return std::to_string(number);
}

std::string text_of(vela_handle *handle, const field &at) {
    std::string text;
    for (u_int32 element = 0; element < at.description.capacity; ++element) {
        u_int32 err = 0;
        const u_int64 value =
            ptp_cfg_field_get_value(at.owner, at.index, handle, demo::mem_class, at.instance, element, &err);
        demo::check(err, std::string("read ") + at.description.name);
        if (at.description.kind == PTP_CFG_FIELD_ENUMERATION) {
            return short_literal(at.description.type, value);
        }
        char digits[24];
        std::snprintf(digits, sizeof digits, at.description.is_array != 0 ? "%02llx" : "%llu",
                      static_cast<unsigned long long>(value));
        text += digits;
    }
    return text;
}

double seconds_since_start() {
    static const auto start = std::chrono::steady_clock::now();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void on_report(vela_handle *handle, u_int32 mem_class, void *context, const ptp_cfg_type *type, void *message,
               u_int32 *) {
    element &self = *static_cast<element *>(context);
    ptp_cfg_type_description description{};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    for (const watched &row : watched_fields) {
        if (strcmp(row.message, description.short_name) != 0) {
            continue;
        }
        const std::string value = text_of(handle, find(handle, type, message, row.path));
        std::string &last = self.last[row.label];
        if (value != last) {
            std::printf("%7.3f s  %-12s %s is %s%s%s\n", seconds_since_start(), self.name.c_str(), row.label,
                        value.c_str(), last.empty() ? "" : ", was ", last.c_str());
            std::fflush(stdout);
            last = value;
        }
    }
    ptp_cfg_message_destroy(handle, mem_class, type, message);
}

void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    u_int32 err = 0;
    ptp_cfg_dispatch_bundle(handle, mem_class, on_report, context, bundle, length, nullptr, &err);
    demo::check(err, "understand a report");
}

element connect(const std::string &argument) {
    const size_t equals = argument.find('=');
    demo::check(equals == std::string::npos ? u_int32{VELA_EINVAL} : 0, "read " + argument + " as NAME=URI");
    char reason[256] = "";
    u_int32 err = 0;
    const std::string uri = argument.substr(equals + 1);
    vela_channel *channel = vela_channel_connect(demo::domain, uri.c_str(), nullptr, reason, sizeof reason, &err);
    demo::check(err, "connect to " + uri + ": " + reason);
    return {argument.substr(0, equals), channel, {}};
}

/** Waits at all channels and the standard input; returns when the latter ends. */
void listen(vela_handle *handle, std::vector<element> &elements) {
    std::vector<pollfd> waiting = {{STDIN_FILENO, POLLIN, 0}};
    for (const element &each : elements) {
        waiting.push_back({vela_channel_fd(each.channel), POLLIN, 0});
    }
    char ignored[256];
    while (poll(waiting.data(), waiting.size(), -1) >= 0 &&
           (waiting[0].revents == 0 || read(STDIN_FILENO, ignored, sizeof ignored) > 0)) {
        for (element &each : elements) {
            u_int32 err = 0;
            vela_channel_process(each.channel, handle, demo::mem_class, &each, 0, &err);
            demo::check(err, "use the channel to " + each.name);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    demo::introduce("timeline");
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s NAME=URI..., for example slave=unix:/run/ptp_agent/control\n", argv[0]);
        return 2;
    }
    seconds_since_start();
    vela_handle *handle = demo::create_handle();
    ptp_cfg_bundle_handler_register(on_bundle);
    std::vector<element> elements;
    for (int i = 1; i < argc; ++i) {
        elements.push_back(connect(argv[i]));
    }
    listen(handle, elements);
    ptp_cfg_bundle_handler_unregister();
    for (const element &each : elements) {
        vela_channel_close(each.channel, nullptr);
    }
    vela_handle_destroy(handle, nullptr);
    return 0;
}
