#include "agent_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
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

#include "base/clocks.h"
#include "base/file_descriptor.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/module.h"
#include "ptp_cfg/port_stream.h"
#include "ptp_cfg/receive.h"
#include "support/ptp4l_process.h"

namespace ptp_agent::test {
namespace {

std::uint64_t now_ms() { return base::clock_ms(CLOCK_MONOTONIC); }

std::string program() { return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "ptp_agent").string(); }

}  // namespace

AgentProcess::AgentProcess(const std::string &folder, const std::string &name, const std::string &more)
    : folder_(folder + "/" + name) {
    std::filesystem::create_directories(folder_);
    std::ofstream file(folder_ + "/agent.toml");
    file << "runtime_directory = \"" << folder_ << "/run\"\nstate_directory = \"" << folder_ << "/state\"\n"
         << "[[control_plane]]\nlisten = \"" << control_uri() << "\"\n"
         << "[observation]\npoll_ms = 100\nstatistics_s = 1\n"
         << "[daemon.options]\ntime_stamping = \"software\"\nstep_threshold = 0\nfirst_step_threshold = 0\n"
         << "pi_proportional_const = 0.7\npi_integral_const = 0.3\ntx_timestamp_timeout = 50\n"
         << "[holdover]\nlock_bound_ns = 1000000\nlock_time_ns = 200000000\n"
         << more;
}

AgentProcess::~AgentProcess() { end(SIGKILL); }

bool AgentProcess::start() {
    const std::string path = program(), configuration = folder_ + "/agent.toml", log = folder_ + "/log";
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        take_daemons_environment();
        execl(path.c_str(), path.c_str(), "--config", configuration.c_str(), nullptr);
        _exit(127);
    }
    for (const std::uint64_t end = now_ms() + 5000; now_ms() < end; usleep(10'000)) {
        if (!ask("status").empty()) {
            return true;
        }
    }
    return false;
}

int AgentProcess::end(int number) {
    if (process_ <= 0) {
        return -1;
    }
    kill(process_, number);
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void AgentProcess::signal(int number) const { kill(process_, number); }

std::string AgentProcess::ask(const std::string &question) const {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (folder_ + "/run/status.sock").copy(address.sun_path, sizeof address.sun_path - 1);
    const base::file_descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        return {};
    }
    const std::string line = question + "\n";
    (void)!write(made.get(), line.data(), line.size());
    std::string answer;
    char part[4096];
    for (ssize_t count; (count = read(made.get(), part, sizeof part)) > 0;) {
        answer.append(part, static_cast<std::size_t>(count));
    }
    return answer;
}

nlohmann::json AgentProcess::status() const { return nlohmann::json::parse(ask("status"), nullptr, false); }

nlohmann::json AgentProcess::clock() const {
    const nlohmann::json all = status();
    return all.is_object() && !all["clocks"].empty() ? all["clocks"][0] : nlohmann::json::object();
}

bool AgentProcess::wait_for(const std::function<bool(const nlohmann::json &)> &holds, unsigned timeout_ms) const {
    for (const std::uint64_t end = now_ms() + timeout_ms; now_ms() < end; usleep(30'000)) {
        const nlohmann::json now = clock();
        if (!now.empty() && holds(now)) {
            return true;
        }
    }
    return false;
}

pid_t AgentProcess::daemon() const { return clock().value("/process/id"_json_pointer, 0); }

std::string AgentProcess::log() const {
    std::ostringstream text;
    text << std::ifstream(folder_ + "/log").rdbuf();
    return text.str();
}

ControlPlanePeer::ControlPlanePeer(const std::string &uri)
    : handle_(make_tracking_handle()), sending_handle_(make_handle()) {
    ptp_cfg_bundle_handler_register(on_bundle);
    u_int32 err = 0;
    char reason[256] = "";
    channel_ = vela_channel_connect("gable", uri.c_str(), nullptr, reason, sizeof reason, &err);
    EXPECT_NE(channel_, nullptr) << reason;
}

ControlPlanePeer::~ControlPlanePeer() { vela_channel_close(channel_, nullptr); }

void ControlPlanePeer::on_message(vela_handle *, u_int32, void *context, const ptp_cfg_type *type, void *message,
                                  u_int32 *) {
    auto *self = static_cast<ControlPlanePeer *>(context);
    self->received_.emplace_back(self->handle_, type, message);
}

void ControlPlanePeer::on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length,
                                 void *context) {
    u_int32 err = 0;
    ptp_cfg_dispatch_bundle(handle, mem_class, on_message, context, bundle, length, nullptr, &err);
    EXPECT_EQ(err, 0u);
}

void ControlPlanePeer::send(const Record &message) {
    ptp_cfg_type_description description = {};
    description.size = sizeof description;
    ptp_cfg_type_describe(message.type(), &description);
    std::vector<std::uint8_t> bytes(65537);
    u_int32 err = 0;
    const u_int32 length =
        description.operations->marshal(message.handle(), 0, bytes.data(), message.message(), 65536, &err);
    ASSERT_EQ(err, 0u);
    bytes.resize(length);
    send_bytes(bytes);
}

void ControlPlanePeer::send_bytes(const std::vector<std::uint8_t> &bytes) {
    for (const std::uint64_t end = now_ms() + 10'000; now_ms() < end; receive_for(10)) {
        u_int32 err = 0;
        if (vela_channel_send(channel_, bytes.data(), static_cast<u_int32>(bytes.size()), &err) != 0) {
            return;
        }
        ASSERT_EQ(err, u_int32{VELA_EAGAIN});
    }
    FAIL() << "the agent takes no more messages";
}

bool ControlPlanePeer::receive_until(const std::function<bool(const Record &)> &holds, unsigned timeout_ms) {
    std::size_t seen = 0;
    for (const std::uint64_t end = now_ms() + timeout_ms; now_ms() < end;) {
        vela_channel_wait(channel_, 20);
        u_int32 err = 0;
        vela_channel_process(channel_, handle_.get(), 0, this, 0, &err);
        for (; seen < received_.size(); ++seen) {
            if (holds(received_[seen])) {
                return true;
            }
        }
    }
    return false;
}

void ControlPlanePeer::receive_for(unsigned duration_ms) {
    receive_until([](const Record &) { return false; }, duration_ms);
}

Record ControlPlanePeer::message(const char *name, const std::vector<std::pair<const char *, std::int64_t>> &fields) {
    Record record(sending_handle_, ptp_cfg_type_find(name));
    for (const auto &[path, value] : fields) {
        EXPECT_TRUE(record.set(path, value)) << name << " " << path;
    }
    return record;
}

void configure(ControlPlanePeer &peer, const TestClock &clock) {
    Record record =
        peer.message("ptp_clock_cfg",
                     {{"clk_version", VELA_PTP_VERSION_2},
                      {"clk_profile", VELA_PTP_PROFILE_DEFAULT},
                      {"default_data_set.clock_quality.clock_class", clock.slave_only ? 255 : 248},
                      {"default_data_set.clock_quality.offset_scaled_log_var", -1},
                      {"default_data_set.numberPorts", static_cast<std::int64_t>(clock.interfaces.size())},
                      {"default_data_set.priority1", clock.priority1},
                      {"default_data_set.priority2", 128},
                      {"default_data_set.clk_domain", clock.domain},
                      {"default_data_set.two_step_flag", 1},
                      {"default_data_set.slv_only", clock.slave_only ? 1 : 0},
                      {"default_data_set.local_priority", 128},
                      {"time_properties.currentUtcOffset", 37},
                      {"time_properties.ptpTimescale", 1},
                      {"time_properties.timeSource", VELA_PTP_TIME_SOURCE_INTERNAL_OSCILLATOR},
                      {"revertive_bmca", 1},
                      {"clock_handle", clock.handle},
                      {"clk_type", clock.boundary ? VELA_PTP_CFG_CLK_TYPE_BOUNDARY : VELA_PTP_CFG_CLK_TYPE_ORDINARY}});
    u_int32 err = 0;
    auto *data_set =
        ptp_clock_default_data_set_get(record.handle(), 0, static_cast<ptp_clock *>(record.payload()), &err);
    auto *identity = ptp_clock_default_ds_clk_id_get(record.handle(), 0, data_set, &err);
    const u_int8 octets[8] = {0x02, 0, 0, 0xFF, 0xFE, 0, 0, clock.identity};
    ptp_clock_identity_ptp_clk_id_set_mem(record.handle(), 0, identity, octets, sizeof octets, &err);
    ASSERT_EQ(err, 0u);
    peer.send(record);
    for (std::size_t i = 0; i < clock.interfaces.size(); ++i) {
        const auto number = static_cast<std::int64_t>(i + 1);
        Record port = peer.message("ptp_port_cfg", {{"encap", VELA_PTP_CFG_PORT_ENCAP_ETH},
                                                    {"clk_handle", clock.handle},
                                                    {"port_num", number},
                                                    {"ptp_version", VELA_PTP_VERSION_2},
                                                    {"local_priority", 128}});
        ptp_port_port_name_set(port.handle(), 0, static_cast<ptp_port *>(port.payload()), clock.interfaces[i].c_str(),
                               static_cast<u_int32>(clock.interfaces[i].size()), &err);
        ASSERT_EQ(err, 0u);
        peer.send(port);
        peer.send(peer.message("ptp_stream_cfg", {{"port_handle", number},
                                                  {"stream_handle", number},
                                                  {"log_announce_intrvl", -3},
                                                  {"announce_receipt_timeout", 3},
                                                  {"log_sync_interval", -4},
                                                  {"log_min_delay_req_interval", -4},
                                                  {"local_priority", 128},
                                                  {"encap", VELA_PTP_CFG_PORT_ENCAP_ETH}}));
    }
}

}  // namespace ptp_agent::test
