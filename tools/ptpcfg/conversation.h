// What a shell's commands work on: the channel, the record that is being made, and what the peer said.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "outgoing.h"
#include "session.h"

namespace ptpcfg {

class conversation {
  public:
    /** @param show  writes a text for people */
    conversation(const channel_options &options, std::function<void(const std::string &)> show);

    /** Does one command line; fails as subcommands do. False when it was the last. */
    bool run(const std::string &line);
    /** What can stand in place of the word that begins at `begin`. */
    std::vector<std::string> completions(const std::string &line, size_t begin) const;
    /** Readable when serve() has something to do. */
    int fd() const { return channel_.fd(); }
    void serve() { channel_.serve(); }
    /** Waits until the peer has read everything. */
    void finish();

    using words = std::vector<std::string>;
    void help(const words &arguments);
    void make(const words &arguments);
    void load(const words &arguments);
    void set(const words &arguments);
    void get(const words &arguments);
    void print(const words &arguments);
    void send(const words &arguments);
    void wait(const words &arguments);
    void describe_name(const words &arguments);

  private:
    void take(std::string_view bytes);
    const record &current() const;

    channel_options options_;
    std::function<void(const std::string &)> show_;
    session session_;
    std::optional<record> record_;
    u_int64 received_ = 0;
    u_int64 sent_ = 0;
    outgoing channel_;
};

}  // namespace ptpcfg
