// A connection over TCP.
#pragma once

#include "backend.h"
#include "base/file_descriptor.h"

namespace vela::transport {

// The connecting end's link may have to be established first; one that was accepted is.
std::unique_ptr<peer_link> make_tcp_link(file_descriptor fd, const backend_options &options, bool is_established,
                                         std::string peer);

}  // namespace vela::transport
