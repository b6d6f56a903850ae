// From a URI to its backend: a new one is a source in backends/, which the build finds, and a row here; or a library of
// its own (vela_transport_plugin.h).
#include <iterator>

#include "backend.h"
#include "plugin.h"

namespace vela::transport {

// Each defined in the source of its name.
backend_maker make_inproc, make_unix, make_tcp;

namespace {

struct scheme {
    std::string_view name;  // with its colon
    const char *rest;       // what follows, for messages
    backend_maker *make;
};

constexpr scheme schemes[] = {
    {"inproc:", "NAME", make_inproc},
    {"unix:", "PATH", make_unix},
    {"tcp:", "HOST:PORT", make_tcp},
};

// "a:X, b:Y or c:Z"
std::string known_forms() {
    std::string text;
    for (const scheme &each : schemes) {
        text += &each == schemes ? "" : &each == std::end(schemes) - 1 ? " or " : ", ";
        text.append(each.name).append(each.rest);
    }
    return text;
}

}  // namespace

std::unique_ptr<backend> make_backend(const std::string &uri, const backend_options &options, failure &why) {
    for (const scheme &each : schemes) {
        if (uri.size() > each.name.size() && uri.starts_with(each.name)) {
            return each.make(uri.substr(each.name.size()), options, why);
        }
    }
    why = {VELA_ENOENT, ""};
    std::unique_ptr<backend> brought;
    if (const size_t colon = uri.find(':'); is_plugin_scheme(uri, colon)) {
        brought = make_plugin(uri.substr(0, colon), uri.substr(colon + 1), options, why);
    }
    if (brought == nullptr && why.code == VELA_ENOENT) {
        why = {VELA_EINVAL, "'" + uri + "' is no channel address: use " + known_forms() + why.text};
    }
    return brought;
}

}  // namespace vela::transport
