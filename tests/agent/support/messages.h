// Messages as a control plane would send them.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "agent/intent/intent.h"
#include "agent/profiles/rules.h"

namespace ptp_agent::test {

using Values = std::initializer_list<std::pair<std::string_view, std::int64_t>>;

/** A message of that name with some fields set; what does not take its value is a failure of the test. */
ptp_agent::Record message(const ptp_agent::SharedHandle &handle, std::string_view name, Values values = {});

void set_text(ptp_agent::Record &record, std::string_view path, std::string_view text);
/** An IPv4 or IPv6 address. */
void set_ip(ptp_agent::Record &record, std::string_view path, const std::string &address);
void set_mac(ptp_agent::Record &record, std::string_view path, const en_address &address);

/** A message of examples/clocks/. */
ptp_agent::Record example(const ptp_agent::SharedHandle &handle, const std::string &file);

/** ptp_port_cfg of a port of clock 1 on an interface. */
ptp_agent::Record port(const ptp_agent::SharedHandle &handle, int number, std::string_view interface,
                       Values values = {});

/** An intent and what is asked of it; an answer that is not `applied` fails where the test expects that. */
class Wishes {
  public:
    ptp_agent::Answer take(const ptp_agent::Record &record);
    /** A message that must be taken. */
    void ask(const ptp_agent::Record &record);
    ptp_agent::ClockIntent clock(std::uint8_t handle = 1) const { return intent.clock(handle).value(); }

    ptp_agent::SharedHandle handle = ptp_agent::make_handle();
    ptp_agent::Intent intent{handle};
    ptp_agent::RuleBook rules;
};

}  // namespace ptp_agent::test
