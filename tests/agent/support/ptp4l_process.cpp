#include "ptp4l_process.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "network.h"

namespace ptp_agent::test {
namespace {

constexpr const char *executable = "ptp4l";

bool is_installed() {
    for (const char *folder : {"/usr/sbin/", "/usr/local/sbin/", "/usr/bin/", "/sbin/"}) {
        if (access((std::string(folder) + executable).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string why_no_daemons() {
    if (!is_installed()) {
        return "ptp4l is not installed (Debian package linuxptp)";
    }
    // Without it a daemon would fail for want of rights, not change anything.
    void *library = dlopen(STILL_CLOCK, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr || dlsym(library, "clock_adjtime") == nullptr) {
        return "the library that keeps daemons from the clock cannot be used";
    }
    return enter_own_network();
}

std::map<std::string, std::string> fast_options() {
    return {{"network_transport", "L2"},     {"time_stamping", "software"},    {"step_threshold", "0"},
            {"first_step_threshold", "0"},   {"pi_proportional_const", "0.7"}, {"pi_integral_const", "0.3"},
            {"logSyncInterval", "-4"},       {"logMinDelayReqInterval", "-4"}, {"logAnnounceInterval", "-3"},
            {"announceReceiptTimeout", "3"}, {"tx_timestamp_timeout", "50"},   {"fault_reset_interval", "0"},
            {"summary_interval", "0"}};
}

std::string still_clock_environment() { return std::string("LD_PRELOAD=") + STILL_CLOCK; }

void take_daemons_environment(const std::string &library) {
    setenv("LD_PRELOAD", (STILL_CLOCK + (library.empty() ? "" : ":" + library)).c_str(), 1);
    // Preloaded libraries are no sanitizer's business.
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    setenv("PATH", "/usr/local/sbin:/usr/sbin:/sbin:/usr/local/bin:/usr/bin:/bin", 1);
}

Ptp4lProcess::Ptp4lProcess(const std::string &folder, const std::string &name,
                           const std::vector<std::string> &interfaces,
                           const std::map<std::string, std::string> &options, int network)
    : path_(folder + "/" + name), network_(network) {
    std::map<std::string, std::string> all = fast_options();
    all["uds_address"] = path_;
    for (const auto &[option, value] : options) {
        all[option] = value;
    }
    std::ofstream file(path_ + ".conf");
    file << "[global]\n";
    for (const auto &[option, value] : all) {
        file << option << ' ' << value << '\n';
    }
    for (const std::string &interface : interfaces) {
        file << '[' << interface << "]\n";
    }
    file.close();
    start();
}

Ptp4lProcess::~Ptp4lProcess() {
    signal(SIGCONT);
    signal(SIGKILL);
}

void Ptp4lProcess::start() {
    const std::string configuration = path_ + ".conf", log = path_ + ".log";
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        take_daemons_environment();
        if (network_ < 0 || setns(network_, CLONE_NEWNET) == 0) {
            execlp(executable, executable, "-m", "-q", "-f", configuration.c_str(), nullptr);
        }
        _exit(127);
    }
    process_ = child;
}

void Ptp4lProcess::signal(int number) {
    if (process_ <= 0) {
        return;
    }
    kill(process_, number);
    if (number == SIGKILL || number == SIGTERM) {
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }
}

std::string Ptp4lProcess::log() const {
    std::ostringstream text;
    text << std::ifstream(path_ + ".log").rdbuf();
    return text.str();
}

}  // namespace ptp_agent::test
