// One stream for all that elements say, so that its order is that in which the servers took it; and one for what is
// no message.
#include "prepare.h"

#include "server.h"

namespace ptp_fleet {
namespace {

constexpr double patience_s = 10;
constexpr double second_ns = 1e9;
constexpr std::int64_t share_of_the_dead = 16;  // of the room for all

/** Makes it, or gives the one that is there these settings. */
void make(const server &at, const stream_options &options, const std::string &name, const std::string &subjects,
          std::int64_t max_bytes) {
    const char *list[] = {subjects.c_str()};
    jsStreamConfig configuration;
    jsStreamConfig_Init(&configuration);
    configuration.Name = name.c_str();
    configuration.Subjects = list;
    configuration.SubjectsLen = 1;
    configuration.Storage = js_FileStorage;
    configuration.Replicas = options.replicas;
    configuration.MaxBytes = max_bytes;
    configuration.MaxAge = static_cast<int64_t>(options.max_hours * 3600 * second_ns);
    configuration.Duplicates = static_cast<int64_t>(options.duplicate_minutes * 60 * second_ns);
    constexpr jsErrCode name_in_use = static_cast<jsErrCode>(10058);
    jsErrCode code = static_cast<jsErrCode>(0);
    natsStatus status = js_AddStream(nullptr, at.stream_context(), &configuration, nullptr, &code);
    if (status != NATS_OK && code == name_in_use) {
        status = js_UpdateStream(nullptr, at.stream_context(), &configuration, nullptr, &code);
    }
    check(status, options.uri + ": stream " + name);
}

}  // namespace

void prepare_stream(const stream_options &options) {
    const server at(options.uri, false, patience_s);
    const std::string &prefix = at.settings().send;
    make(at, options, options.name, prefix + ".>", options.max_bytes);
    make(at, options, options.name + "-DEAD", prefix + "-dead.>", options.max_bytes / share_of_the_dead);
}

}  // namespace ptp_fleet
