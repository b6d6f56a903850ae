// Takes a nats: URI apart: servers, subject, and options, each of which the environment may give as well.
#include "settings.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>

namespace vela::nats {
namespace {

constexpr u_int64 least_store = 1024 * 1024;
constexpr u_int64 most_window = 65536;

bool take_number(std::string_view text, u_int64 least, u_int64 most, u_int64 &out) {
    u_int64 factor = 1;
    if (!text.empty() && (text.back() == 'M' || text.back() == 'G')) {
        factor = text.back() == 'M' ? 1u << 20 : 1u << 30;
        text.remove_suffix(1);
    }
    u_int64 value = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (problem != std::errc() || end != text.data() + text.size() || value > most / factor) {
        return false;
    }
    out = value * factor;
    return out >= least;
}

template <std::string settings::*member>
bool take_text(settings &out, const std::string &value) {
    out.*member = value;
    return !value.empty();
}

template <std::string settings::*member>
bool take_tls_file(settings &out, const std::string &value) {
    out.has_tls = true;
    return take_text<member>(out, value);
}

// Names of consumers and streams are tokens of subjects.
template <std::string settings::*member>
bool take_name(settings &out, const std::string &value) {
    out.*member = value;
    return is_subject(value, false) && value.find_first_of(".{") == std::string::npos;
}

template <std::string settings::*member, bool may_have_wildcards>
bool take_subject(settings &out, const std::string &value) {
    out.*member = value;
    return is_subject(value, may_have_wildcards);
}

bool take_ack(settings &out, const std::string &value) {
    out.is_acknowledged = value == "stream";
    return out.is_acknowledged || value == "none";
}

bool take_delivery(settings &out, const std::string &value) {
    out.from = value == "new" ? delivery::fresh : value == "last" ? delivery::last : delivery::all;
    return value == "all" || value == "new" || value == "last";
}

bool take_tls(settings &out, const std::string &value) {
    out.has_tls = value == "1";
    return value == "1" || value == "0";
}

struct option {
    std::string_view name;
    const char *variable;  // of the environment, which the URI takes precedence over; null: none
    const char *wanted;
    bool (*take)(settings &out, const std::string &value);
};

constexpr option options[] = {
    {"send", nullptr, "a subject, perhaps with {message}", take_subject<&settings::send, false>},
    {"receive", nullptr, "a subject, perhaps with * or >", take_subject<&settings::receive, true>},
    {"ack", nullptr, "stream or none", take_ack},
    {"durable", nullptr, "a name without dots and blanks", take_name<&settings::durable>},
    {"stream", nullptr, "the name of a stream", take_name<&settings::stream>},
    {"queue", nullptr, "a name without dots and blanks", take_name<&settings::queue>},
    {"deliver", nullptr, "all, new or last", take_delivery},
    {"store", "VELA_NATS_STORE", "a folder", take_text<&settings::store>},
    {"store_bytes", "VELA_NATS_STORE_BYTES", "bytes, 1M at least, as 256M or 2G",
     [](settings &out, const std::string &value) {
         return take_number(value, least_store, u_int64{1} << 40, out.store_bytes);
     }},
    {"window", nullptr, "a number from 1 to 65536",
     [](settings &out, const std::string &value) { return take_number(value, 1, most_window, out.window); }},
    {"tls", "VELA_NATS_TLS", "1 or 0", take_tls},
    {"ca", "VELA_NATS_CA", "a file of certificates", take_tls_file<&settings::ca>},
    {"cert", "VELA_NATS_CERT", "a file with this end's certificate", take_tls_file<&settings::certificate>},
    {"key", "VELA_NATS_KEY", "a file with this end's key", take_tls_file<&settings::key>},
    {"creds", "VELA_NATS_CREDS", "a file of credentials", take_text<&settings::credentials>},
    {"user", "VELA_NATS_USER", "a name", take_text<&settings::user>},
    {"password_file", "VELA_NATS_PASSWORD_FILE", "a file", take_text<&settings::password_file>},
    {"token_file", "VELA_NATS_TOKEN_FILE", "a file", take_text<&settings::token_file>},
};

bool take_option(std::string_view name, const std::string &value, settings &out, failure &why) {
    std::string known;
    for (const option &each : options) {
        if (each.name == name) {
            const bool is_taken = each.take(out, value);
            why = {VELA_EINVAL, std::string(name) + "=" + value + ": " + each.wanted + " is wanted"};
            return is_taken;
        }
        known.append(known.empty() ? "" : ", ").append(each.name);
    }
    why = {VELA_EINVAL, "there is no option '" + std::string(name) + "': use " + known};
    return false;
}

bool take_environment(settings &out, failure &why) {
    for (const option &each : options) {
        const char *value = each.variable != nullptr ? std::getenv(each.variable) : nullptr;
        if (value != nullptr && value[0] != '\0' && !each.take(out, value)) {
            why = {VELA_EINVAL, std::string(each.variable) + "=" + value + ": " + each.wanted + " is wanted"};
            return false;
        }
    }
    return true;
}

// False where a percent sign is not followed by two digits.
bool decode_percent(std::string_view text, std::string &out) {
    for (size_t at = 0; at < text.size(); ++at) {
        int value = static_cast<unsigned char>(text[at]);
        if (value == '%') {
            const auto [end, problem] =
                std::from_chars(text.data() + at + 1, text.data() + std::min(at + 3, text.size()), value, 16);
            if (problem != std::errc() || end != text.data() + at + 3) {
                return false;
            }
            at += 2;
        }
        out += static_cast<char>(value);
    }
    return true;
}

bool take_query(std::string_view query, settings &out, failure &why) {
    while (!query.empty()) {
        const std::string_view part = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(part.size() + 1, query.size()));
        const size_t sign = part.find('=');
        std::string value;
        if (sign == std::string_view::npos || !decode_percent(part.substr(sign + 1), value)) {
            why = {VELA_EINVAL, "'" + std::string(part) + "': OPTION=VALUE is wanted, with %25 for a percent sign"};
            return false;
        }
        if (!take_option(part.substr(0, sign), value, out, why)) {
            return false;
        }
    }
    return true;
}

bool take_servers(std::string_view text, settings &out, failure &why) {
    do {
        const std::string_view server = text.substr(0, text.find(','));
        text.remove_prefix(std::min(server.size() + 1, text.size()));
        if (server.find('@') != std::string_view::npos) {
            why = {VELA_EINVAL, "others can read a URI: give user and password_file, token_file or creds instead"};
            return false;
        }
        const size_t colon = server.rfind(':');
        u_int64 port = 0;
        if (colon == std::string_view::npos || colon == 0 || !take_number(server.substr(colon + 1), 1, 65535, port)) {
            why = {VELA_EINVAL, "'" + std::string(server) + "': HOST:PORT is wanted, several with commas between"};
            return false;
        }
        out.place += out.place.empty() ? server : std::string_view();
        out.servers.append(out.servers.empty() ? "nats://" : ",nats://").append(server);
    } while (!text.empty());
    return true;
}

bool check(const settings &out, failure &why) {
    const char *fault = nullptr;
    if (out.certificate.empty() != out.key.empty()) {
        fault = "cert and key belong together";
    } else if (out.user.empty() != out.password_file.empty()) {
        fault = "user and password_file belong together";
    } else if (!out.durable.empty() && !out.queue.empty()) {
        fault = "receivers with the same durable share the messages already: leave queue out";
    } else if (!out.durable.empty() && out.receive.empty()) {
        fault = "durable is of what is received: name a subject by receive";
    }
    why = fault != nullptr ? failure{VELA_EINVAL, fault} : failure{};
    return fault == nullptr;
}

}  // namespace

bool is_subject(std::string_view text, bool may_have_wildcards) {
    constexpr std::string_view name = "{message}";
    bool is_last = false;
    while (!is_last) {
        std::string_view token = text.substr(0, text.find('.'));
        is_last = token.size() == text.size();
        text.remove_prefix(is_last ? text.size() : token.size() + 1);
        if (may_have_wildcards && (token == "*" || (token == ">" && is_last))) {
            continue;
        }
        token = !may_have_wildcards && token == name ? "name" : token;
        const bool is_plain = std::all_of(token.begin(), token.end(), [](unsigned char c) {
            return c > ' ' && c != 0x7f && c != '*' && c != '>' && c != '{' && c != '}';
        });
        if (token.empty() || !is_plain) {
            return false;
        }
    }
    return true;
}

bool read_settings(const vela_transport_request &request, settings &out, failure &why) {
    std::string_view rest = request.rest;
    const bool has_slashes = rest.starts_with("//");
    rest.remove_prefix(has_slashes ? 2 : 0);
    const size_t slash = rest.find('/');
    if (!has_slashes || slash == std::string_view::npos) {
        why = {VELA_EINVAL, "use nats://HOST:PORT/SUBJECT"};
        return false;
    }
    const std::string_view path = rest.substr(slash + 1);
    const std::string_view subject = path.substr(0, path.find('?'));
    const bool listens = request.listens != 0;
    if (!is_subject(subject, listens)) {
        why = {VELA_EINVAL, "'" + std::string(subject) + "' is no subject to " +
                                (listens ? "listen to: use names with dots between, * for any, > for all that follow"
                                         : "send to: use names with dots between; {message} is the message's name")};
        return false;
    }
    (listens ? out.receive : out.send) = subject;
    const std::string_view query = path.substr(std::min(subject.size() + 1, path.size()));
    return take_environment(out, why) && take_servers(rest.substr(0, slash), out, why) && take_query(query, out, why) &&
           check(out, why);
}

bool read_secret(const std::string &file, std::string &out, failure &why) {
    std::ifstream stream(file);
    if (!std::getline(stream, out) || out.empty()) {
        why = {VELA_EINVAL, file + ": cannot be read, or has no first line: it is to have the secret"};
        return false;
    }
    return true;
}

}  // namespace vela::nats
