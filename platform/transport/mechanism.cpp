// From a URI to its mechanism.
#include "mechanism.h"

namespace vela::transport {
namespace {

// The rest of `uri` after `scheme`, if it begins with that.
bool has_scheme(const std::string &uri, const std::string &scheme, std::string &rest) {
    if (uri.compare(0, scheme.size(), scheme) != 0) {
        return false;
    }
    rest = uri.substr(scheme.size());
    return true;
}

}  // namespace

std::unique_ptr<mechanism> make_mechanism(const std::string &uri, const mechanism_options &options, failure &why) {
    std::string rest;
    if (has_scheme(uri, "inproc:", rest) && !rest.empty()) {
        return make_inproc(rest, options);
    }
    if (has_scheme(uri, "unix:", rest) && !rest.empty()) {
        return make_unix(rest, options, why);
    }
    if (has_scheme(uri, "tcp:", rest) && !rest.empty()) {
        return make_tcp(rest, options, why);
    }
    why = {VELA_EINVAL, "'" + uri + "' is no channel address: use inproc:NAME, unix:PATH or tcp:HOST:PORT"};
    return nullptr;
}

}  // namespace vela::transport
