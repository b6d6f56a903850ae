// Backends that lie in libraries of their own.
#pragma once

#include "backend.h"
#include "vela_transport_plugin.h"

namespace vela::transport {

// Whether what stands before that position of a URI may be the name of a scheme that a library brings.
bool is_plugin_scheme(std::string_view uri, size_t colon);

std::unique_ptr<backend> make_plugin(const std::string &scheme, const std::string &rest, const backend_options &options,
                                     failure &why);

// Loads the library of a scheme, which then stays; null with the reason: VELA_ENOENT, as the end of a sentence, when there
// is none.
const vela_transport_plugin *load_plugin(const std::string &scheme, failure &why);

}  // namespace vela::transport
