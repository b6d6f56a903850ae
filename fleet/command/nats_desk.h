// Commands over NATS: each element's number is a key that only who has seen its last value can change.
#pragma once

#include <mutex>

#include "command_desk.h"
#include "notes.h"
#include "server.h"

namespace ptp_fleet {

class nats_desk : public command_desk {
  public:
    /** Throws std::runtime_error. */
    nats_desk(const std::string &uri, const std::string &name, int replicas, const fleet_state &state, notes &kept);

    std::uint64_t version(const std::string &element) override;
    command_entry send(const command_request &request) override;
    std::optional<command_entry> entry(std::uint64_t id) override { return notes_.command(id); }
    std::vector<command_entry> entries(std::size_t limit) override { return notes_.commands(limit); }

    /** What a clock reported: an answer where its element was told something a short while ago. */
    void note(const clock_name &name, const std::string &message);
    void note(const change_entry &of);
    /** Gives up waiting where it is time; keeps what came. Call it now and then. */
    void settle(std::uint64_t now_ns);

  private:
    struct last_one {
        std::uint64_t version = 0;
        std::uint64_t revision = 0;  // of the key; 0: there is none
        std::string who;
    };

    last_one last_of(const std::string &element);
    /** Takes the number after the one that the sender has seen; false with the reason when another has. */
    bool take_number(command_entry &of, std::uint64_t seen);
    bool publish(command_entry &of, const std::vector<std::uint8_t> &bytes);
    void add_answer(const std::string &element, const change_entry &of);

    server server_;
    std::string name_, prefix_;
    const fleet_state &state_;
    notes &notes_;
    std::unique_ptr<kvStore, vela::nats::destroyer<kvStore_Destroy>> bucket_;
    std::mutex mutex_;
    std::vector<command_entry> pending_;
    std::uint64_t next_ = 1;
};

}  // namespace ptp_fleet
