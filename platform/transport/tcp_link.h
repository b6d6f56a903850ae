// A connection over TCP.
#pragma once

#include "base/file_descriptor.h"
#include "mechanism.h"

namespace vela::transport {

// The connecting end's link may have to be established first; one that was accepted is.
std::unique_ptr<peer_link> make_tcp_link(file_descriptor fd, const mechanism_options &options, bool is_established,
                                         std::string peer);

}  // namespace vela::transport
