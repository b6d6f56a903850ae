// One stream for all that elements say, so that its order is that in which the servers took it.
#include "prepare.h"

#include "server.h"

namespace ptp_fleet {
namespace {

constexpr double patience_s = 10;
constexpr double second_ns = 1e9;

}  // namespace

void prepare_stream(const stream_options &options) {
    const server at(options.uri, false, patience_s);
    const std::string subjects = at.settings().send + ".>";
    const char *list[] = {subjects.c_str()};
    jsStreamConfig configuration;
    jsStreamConfig_Init(&configuration);
    configuration.Name = options.name.c_str();
    configuration.Subjects = list;
    configuration.SubjectsLen = 1;
    configuration.Storage = js_FileStorage;
    configuration.Replicas = options.replicas;
    configuration.MaxBytes = options.max_bytes;
    configuration.MaxAge = static_cast<int64_t>(options.max_hours * 3600 * second_ns);
    configuration.Duplicates = static_cast<int64_t>(options.duplicate_minutes * 60 * second_ns);
    constexpr jsErrCode name_in_use = static_cast<jsErrCode>(10058);
    jsErrCode code = static_cast<jsErrCode>(0);
    natsStatus status = js_AddStream(nullptr, at.stream_context(), &configuration, nullptr, &code);
    if (status != NATS_OK && code == name_in_use) {
        status = js_UpdateStream(nullptr, at.stream_context(), &configuration, nullptr, &code);
    }
    check(status, options.uri + ": stream " + options.name);
}

}  // namespace ptp_fleet
