// What each message does here, as agent/behaviour.toml says: applied, reported, or not expressible by this daemon.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ptp_agent {

/** Where the value of a field comes from, or of a field that was received what it does. */
enum class FieldSource {
    Daemon,      ///< the daemon says it
    Configured,  ///< the control plane's value, which is applied, or reported as applied
    Derived,     ///< computed from what the daemon says or the control plane gave
    Absent       ///< not known or of no effect: its state flag stays clear, its value means nothing
};

struct FieldBehaviour {
    std::string path;  ///< of a field, or of a structure for all inside it; empty for a payload that is one value
    FieldSource source = FieldSource::Absent;
    std::string how;  ///< from what, or why not
};

struct Behaviour {
    enum class Kind { Applied, Reported, NotExpressible };
    std::string message;  ///< "ptp_clock_cfg"
    Kind kind = Kind::NotExpressible;
    std::string how;        ///< how it is applied, what it is reported from, or why it is not expressible
    bool is_stated = true;  ///< false: it has no row yet
    std::vector<FieldBehaviour> fields;
};

/**
 * One for each message, in the order of the catalogue of messages. A message that has no row yet is not expressible; a
 * field that no row names yet is absent.
 */
const std::vector<Behaviour> &behaviours();
/** nullptr when there is no message of that name. */
const Behaviour *behaviour_of(std::string_view message);

/** "applied", "reported", "not expressible" */
std::string_view to_text(Behaviour::Kind kind);
/** "daemon", "configured", "derived", "absent" */
std::string_view to_text(FieldSource source);

}  // namespace ptp_agent
