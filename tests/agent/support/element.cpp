#include "support/element.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "agent/intent/fields.h"
#include "base/clocks.h"
#include "base/file_descriptor.h"
#include "ptp_cfg/receive.h"
#include "support/messages.h"
#include "support/ptp4l_process.h"
#include "vela_bundle.h"

namespace ptp_agent::test {
namespace {

constexpr u_int32 bundle_bytes = 1 << 20;

std::uint64_t now_ms() { return base::clock_ms(CLOCK_MONOTONIC); }

/** What lets daemons lock within seconds, without hardware timestamps. */
std::map<std::string, std::string> fast_daemon_options() {
    return {{"time_stamping", "\"software\""}, {"step_threshold", "0.0"},    {"first_step_threshold", "0.0"},
            {"pi_proportional_const", "0.7"},  {"pi_integral_const", "0.3"}, {"tx_timestamp_timeout", "50"},
            {"fault_reset_interval", "\"0\""}, {"summary_interval", "0"}};
}

std::string configuration_text(const std::string &folder, const ElementOptions &options) {
    std::ostringstream text;
    text << "runtime_directory = \"" << folder << "\"\nstate_directory = \""
         << (options.state_directory.empty() ? folder + "/state" : options.state_directory)
         << "\"\n[[control_plane]]\nlisten = \"unix:" << folder
         << "/control\"\n[observation]\npoll_ms = " << options.poll_ms
         << "\n[holdover]\nlock_time_ns = 1_000_000_000\nlock_bound_ns = " << options.lock_bound_ns << '\n'
         << options.tables << "\n[daemon]\n"
         << options.daemon << "\n[daemon.options]\n";
    auto all = fast_daemon_options();
    for (const auto &[option, value] : options.daemon_options) {
        all[option] = value;
    }
    for (const auto &[option, value] : all) {
        text << option << " = " << value << '\n';
    }
    return text.str();
}

/** A literal without what it shares with the others of its enumeration: VELA_PTP_PORT_STATE_SLAVE is SLAVE. */
std::string short_literal(const ptp_cfg_type *type, u_int64 number) {
    ptp_cfg_literal first{}, value{};
    for (u_int32 i = 0; ptp_cfg_literal_describe(type, i, &value) != 0; ++i) {
        first = i == 0 ? value : first;
        if (value.number == number) {
            std::size_t shared = 0;
            for (std::size_t c = 0; first.literal[c] != '\0' && first.literal[c] == value.literal[c]; ++c) {
                shared = first.literal[c] == '_' ? c + 1 : shared;
            }
            return value.literal + (i != 0 ? shared : 0);
        }
    }
    return std::to_string(number);
}

/** A field, and where it was found. */
struct Found {
    const ptp_cfg_type *owner = nullptr;
    u_int32 index = 0;
    void *instance = nullptr;
    bool is_told = false;
    const ptp_cfg_field_description *about = nullptr;
};
bool is_flagged(vela_handle *handle, const Found &at) {
    constexpr u_int32 whole_array = 0xFFFFFFFF;
    u_int32 err = 0;
    return ptp_cfg_field_state_flag_get(at.owner, at.index, handle, memory_class, at.instance,
                                        at.about->is_array != 0 ? whole_array : 0, &err) != 0;
}

std::optional<Found> find_in(vela_handle *handle, const ptp_cfg_type *type, void *instance, std::string_view path,
                             bool is_told) {
    const std::size_t dot = path.find('.');
    const std::string_view name = path.substr(0, dot);
    const auto &fields = fields_of(type);
    for (u_int32 index = 0; index < fields.size(); ++index) {
        if (name != fields[index].name) {
            continue;
        }
        Found found = {type, index, instance, is_told, &fields[index]};
        found.is_told = is_told || is_flagged(handle, found);
        if (dot == std::string_view::npos) {
            return found;
        }
        u_int32 err = 0;
        void *inner = ptp_cfg_field_get(type, index, handle, memory_class, instance, 0, &err);
        return inner == nullptr ? std::nullopt
                                : find_in(handle, fields[index].type, inner, path.substr(dot + 1), false);
    }
    return std::nullopt;
}

std::string text_of(vela_handle *handle, const Found &at) {
    u_int32 err = 0;
    if (at.about->kind == PTP_CFG_FIELD_OPAQUE) {
        const void *value = ptp_cfg_field_get(at.owner, at.index, handle, memory_class, at.instance, 0, &err);
        const bool is_mac = at.about->type_name == std::string_view("en_address");
        return is_mac ? to_text(*static_cast<const en_address *>(value))
                      : to_text(*static_cast<const ip_address *>(value));
    }
    std::string text;
    for (u_int32 element = 0; element < at.about->capacity; ++element) {
        const u_int64 value =
            ptp_cfg_field_get_value(at.owner, at.index, handle, memory_class, at.instance, element, &err);
        if (at.about->kind == PTP_CFG_FIELD_ENUMERATION) {
            return short_literal(at.about->type, value);
        }
        if (at.about->kind == PTP_CFG_FIELD_BOOLEAN) {
            return value != 0 ? "true" : "false";
        }
        char digits[24];
        std::snprintf(digits, sizeof digits, at.about->is_array != 0 ? "%02llx" : "%lld",
                      static_cast<long long>(value));
        text += digits;
    }
    return text;
}

}  // namespace

std::string why_no_elements() {
    const std::string why_not = why_no_daemons();
    return why_not.empty() && access(PTP_AGENT, X_OK) != 0 ? std::string(PTP_AGENT) + " was not built" : why_not;
}

Report::Report(std::uint64_t at, unsigned number, Record record)
    : at_ms(at), bundle(number), message(std::move(record)) {}

std::optional<std::string> Report::told(std::string_view path) const {
    for (u_int32 payload = 0; payload < fields_of(message.type()).size(); ++payload) {
        const ptp_cfg_type *type = fields_of(message.type())[payload].type;
        u_int32 err = 0;
        void *instance =
            ptp_cfg_field_get(message.type(), payload, message.handle(), memory_class, message.message(), 0, &err);
        if (type == nullptr || instance == nullptr) {
            continue;
        }
        if (const auto found = find_in(message.handle(), type, instance, path, false)) {
            return found->is_told ? std::optional(text_of(message.handle(), *found)) : std::nullopt;
        }
    }
    return std::nullopt;
}

Element::Element(const std::string &folder, std::string name, const ElementOptions &options)
    : folder_(folder + "/" + name),
      name_(std::move(name)),
      configuration_(folder_ + ".toml"),
      clock_shift_(options.clock_shift),
      receiving_(make_tracking_handle()),
      sending_(make_handle()) {
    std::filesystem::create_directories(folder_);
    std::ofstream(configuration_) << configuration_text(folder_, options);
    gable_bundle_handler_register(on_bundle);
    vela_channel_options channel = {};
    channel.size = sizeof channel;
    channel.reconnect_most_ms = 50;
    char reason[256] = "";
    u_int32 err = 0;
    channel_ =
        vela_channel_connect("gable", ("unix:" + folder_ + "/control").c_str(), &channel, reason, sizeof reason, &err);
    EXPECT_NE(channel_, nullptr) << reason;
}

Element::~Element() {
    signal(SIGCONT);
    signal(SIGTERM);
    vela_channel_close(channel_, nullptr);
    if (testing::Test::HasFailure() && getenv("PTP_AGENT_TEST_LOGS") != nullptr) {
        std::fprintf(stderr, "---- %s:\n%s", name_.c_str(), log().c_str());
    }
}

void Element::start() {
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int out = open((folder_ + ".log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        setenv("SHIFTED_CLOCK", clock_shift_.c_str(), 1);
        take_daemons_environment(clock_shift_.empty() ? "" : SHIFTED_CLOCK);
        if (setns(network_.descriptor(), CLONE_NEWNET) == 0) {
            execl(PTP_AGENT, PTP_AGENT, "--config", configuration_.c_str(), nullptr);
        }
        _exit(127);
    }
}

void Element::signal(int number) {
    if (process_ <= 0) {
        return;
    }
    kill(process_, number);
    if (number == SIGKILL || number == SIGTERM) {
        waitpid(process_, &end_status_, 0);
        process_ = -1;
    }
}

bool Element::is_running() {
    if (process_ > 0 && waitpid(process_, &end_status_, WNOHANG) == process_) {
        process_ = -1;
    }
    return process_ > 0;
}

pid_t Element::daemon_process(int clock) {
    const nlohmann::json status = ask();
    for (const auto &each : status.is_object() ? status["clocks"] : nlohmann::json::array()) {
        if (each["handle"] == clock) {
            return each["process"]["id"];
        }
    }
    return 0;
}

std::string Element::log() const {
    std::ostringstream text;
    text << std::ifstream(folder_ + ".log").rdbuf();
    return text.str();
}

void Element::send(const std::vector<Record> &messages) {
    u_int32 err = 0;
    ASSERT_FALSE(messages.empty());
    vela_handle *handle = messages.front().handle();
    vela_bundle *bundle = vela_bundle_open(handle, memory_class, bundle_bytes, &err);
    for (const Record &each : messages) {
        ASSERT_EQ(each.handle(), handle) << "messages of one bundle have one handle";
        vela_bundle_add(handle, memory_class, describe(each.type()).operations->marshal, each.message(), &err);
    }
    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    vela_bundle_close(handle, &bytes, &length, &err);
    EXPECT_EQ(err, 0u);
    send_bytes({bytes, bytes + length});
    vela_bundle_destroy(bundle);
}

void Element::send_examples(const std::vector<std::string> &files) {
    std::vector<Record> messages;
    for (const std::string &file : files) {
        messages.push_back(example(sending_, file));
    }
    send(messages);
}

void Element::send_bytes(const std::vector<std::uint8_t> &bytes) {
    u_int32 err = 0;
    vela_channel_send(channel_, bytes.data(), static_cast<u_int32>(bytes.size()), &err);
    EXPECT_EQ(err, 0u);
    process_channel();
}

void Element::on_message(vela_handle *, u_int32, void *context, const ptp_cfg_type *type, void *message, u_int32 *) {
    auto *self = static_cast<Element *>(context);
    self->reports_.emplace_back(now_ms(), self->bundles_, Record(self->receiving_, type, message));
}

void Element::on_bundle(vela_handle *handle, u_int32, const u_int8 *bundle, u_int32 length, void *context) {
    auto *self = static_cast<Element *>(context);
    ++self->bundles_;
    u_int32 err = 0;
    ptp_cfg_bundle_report report = {};
    ptp_cfg_dispatch_bundle(handle, memory_class, on_message, context, bundle, length, &report, &err);
    EXPECT_EQ(report.failed, 0u) << self->name_ << " reported something that cannot be decoded";
}

void Element::process_channel() {
    u_int32 err = 0;
    vela_channel_process(channel_, receiving_.get(), memory_class, this, 1000, &err);
}

std::optional<std::string> Element::last_of_port(std::string_view message, std::string_view path, int port) const {
    for (auto report = reports_.rbegin(); report != reports_.rend(); ++report) {
        if (report->name() == message && (port < 0 || report->told("hdl") == std::to_string(port))) {
            if (const auto value = report->told(path)) {
                return value;
            }
        }
    }
    return std::nullopt;
}

std::string Element::ask_text(const std::string &question) {
    const std::string path = folder_ + "/status.sock";
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const base::file_descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval patience = {1, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::string answer;
    if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::send(socket.get(), (question + "\n").data(), question.size() + 1, MSG_NOSIGNAL) < 0) {
        return answer;
    }
    char part[65536];
    for (ssize_t count = 0; (count = read(socket.get(), part, sizeof part)) > 0;) {
        answer.append(part, static_cast<std::size_t>(count));
    }
    return answer;
}

nlohmann::json Element::ask(const std::string &question) {
    nlohmann::json answer = nlohmann::json::parse(ask_text(question), nullptr, false);
    return answer.is_discarded() ? nlohmann::json() : answer;
}

std::string Element::lock_state(int clock) {
    const nlohmann::json status = ask();
    for (const auto &each : status.is_object() ? status["clocks"] : nlohmann::json::array()) {
        if (each["handle"] == clock) {
            return each["state"];
        }
    }
    return {};
}

bool Element::has_event(const std::string &text) {
    for (const auto &event : ask("events")) {
        if (event["text"].get<std::string>().find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

Element &Elements::add(const std::string &name, const ElementOptions &options) {
    return *elements_.emplace_back(std::make_unique<Element>(directory_.path(), name, options));
}

void Elements::connect(const Element &one, const std::string &interface, const Element &other,
                       const std::string &other_interface, int network) {
    run({"ip", "link", "add", interface, "netns", one.network().process(), "type", "veth", "peer", "name",
         other_interface, "netns", other.network().process()});
    const std::string prefix = "10.0." + std::to_string(network) + ".";
    one.network().run({"ip", "addr", "add", prefix + "1/24", "dev", interface});
    other.network().run({"ip", "addr", "add", prefix + "2/24", "dev", other_interface});
    set_link(one, interface, true);
    set_link(other, other_interface, true);
}

void Elements::set_link(const Element &element, const std::string &interface, bool is_up) {
    element.network().run({"ip", "link", "set", interface, is_up ? "up" : "down"});
}

bool Elements::wait_until(const std::function<bool()> &holds, std::uint64_t timeout_ms) {
    const std::uint64_t end = now_ms() + timeout_ms;
    std::vector<pollfd> descriptors;
    while (true) {
        descriptors.clear();
        for (const auto &each : elements_) {
            each->process_channel();
            descriptors.push_back({each->channel_descriptor(), POLLIN, 0});
        }
        if (holds()) {
            return true;
        }
        if (now_ms() >= end) {
            return false;
        }
        poll(descriptors.data(), descriptors.size(), 20);
    }
}

}  // namespace ptp_agent::test
