// A real ptp4l that a test starts itself, with the machine's clock out of its reach.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace ptp_agent::test {

/** Empty, or why no ptp4l can be played here: the text for GTEST_SKIP(). Enters a network of its own. */
std::string why_no_daemons();

/** Options of [global] that reach SLAVE within two seconds over a veth pair, without hardware timestamps. */
std::map<std::string, std::string> fast_options();

/** The environment in which a daemon leaves the machine's clock alone: LD_PRELOAD=... */
std::string still_clock_environment();
/**
 * Gives a child, before it runs a daemon or an agent, that environment and a PATH that has daemons.
 * @param library  preloaded, too
 */
void take_daemons_environment(const std::string &library = {});

class Ptp4lProcess {
  public:
    /**
     * @param folder      where its socket, configuration and log are: `name`, `name`.conf, `name`.log
     * @param interfaces  one section each
     * @param options     of [global], over fast_options()
     * @param network     descriptor of the namespace to run in; -1: that of this process
     */
    Ptp4lProcess(const std::string &folder, const std::string &name, const std::vector<std::string> &interfaces,
                 const std::map<std::string, std::string> &options = {}, int network = -1);
    ~Ptp4lProcess();
    Ptp4lProcess(const Ptp4lProcess &) = delete;
    Ptp4lProcess &operator=(const Ptp4lProcess &) = delete;

    void start();
    /** Ends it by a signal, SIGTERM or SIGKILL or SIGSTOP, ...; waits for its end where it is one. */
    void signal(int number);
    pid_t process() const { return process_; }
    const std::string &socket_path() const { return path_; }
    std::string log() const;

  private:
    std::string path_;
    int network_;
    pid_t process_ = -1;
};

}  // namespace ptp_agent::test
