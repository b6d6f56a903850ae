// The four transport domains and the handlers of what they deliver.
#pragma once

#include <atomic>

#include "vela_transport.h"

namespace vela::transport {

struct domain {
    const char *name;
    std::atomic<vela_bundle_handler> handler;
};

// Null when there is no domain of that name.
const domain *find_domain(const char *name);

}  // namespace vela::transport
