// Makes domains of options, and takes out of records what a peer does not know.
#include "domain.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>

#include "failure.h"

namespace ptpcfg {
namespace {

constexpr const char *wanted = "a FILE or TYPE=VARIANT is wanted, for example ptp_port=0";

/** A file may have an equals sign in its name; then it is written with its folder. */
bool is_assignment(const std::string &option) {
    return option.find('=') != std::string::npos && option.find('/') == std::string::npos;
}

void check(u_int32 code) {
    if (code != 0) {
        throw failure(exit_code::io, "there is no memory for a domain");
    }
}

domain load(const std::string &path) {
    if (ptp_cfg_type_find(path.c_str()) != nullptr) {
        throw failure(exit_code::usage, "--domain " + path + ": " + wanted);
    }
    std::string reason(16384, '\0');
    u_int32 err = 0;
    domain result(vela_domain_load(path.c_str(), reason.data(), reason.size(), &err));
    if (result == nullptr) {
        std::error_code ignored;
        const bool is_wrong_text = err == VELA_EINVAL && std::filesystem::is_regular_file(path, ignored);
        throw failure(is_wrong_text ? exit_code::bad_input : exit_code::io, reason.c_str());
    }
    return result;
}

void set_variant(vela_domain *of, const std::string &assignment) {
    const size_t equals = assignment.find('=');
    const std::string number = assignment.substr(equals + 1);
    int variant = -1;
    const auto [end, problem] = std::from_chars(number.data(), number.data() + number.size(), variant);
    if (problem != std::errc() || end != number.data() + number.size()) {
        throw failure(exit_code::usage, "--domain " + assignment + ": " + wanted);
    }
    const ptp_cfg_type_description type = describe(type_named(assignment.substr(0, equals)));
    if (variant < 0 || variant > type.newest_variant || type.kind == PTP_CFG_MESSAGE) {
        throw failure(exit_code::usage, "--domain " + assignment + ": " + type.name +
                                            (type.kind == PTP_CFG_MESSAGE
                                                 ? " is a message, which has no variants; name the type of its payload"
                                                 : " " + variants_text(type)));
    }
    check(vela_domain_set_variant(of, type.name, static_cast<int8>(variant)));
}

/** The record by which the runtime knows a type; there is one for each. */
const vela_type_info *record_of(const ptp_cfg_type *type) {
    const u_int8 *luid = describe(type).luid;
    for (const vela_module *module = vela_module_tot_root.first; module != nullptr; module = module->next) {
        for (vela_type_info *const *record = module->types; *record != nullptr; ++record) {
            if (std::memcmp((*record)->luid, luid, sizeof(*record)->luid) == 0) {
                return *record;
            }
        }
    }
    return nullptr;
}

}  // namespace

domain domain_from(const std::vector<std::string> &options) {
    domain result;
    for (const std::string &option : options) {
        if (is_assignment(option)) {
            continue;
        }
        if (result != nullptr) {
            throw failure(exit_code::usage, "--domain " + option + ": a peer has one domain, so one FILE is allowed");
        }
        result = load(option);
    }
    if (result == nullptr && !options.empty()) {
        result.reset(vela_domain_create("ptpcfg"));
        check(result == nullptr ? VELA_ENOMEM : VELA_OK);
    }
    for (const std::string &option : options) {
        if (is_assignment(option)) {
            set_variant(result.get(), option);
        }
    }
    return result;
}

int8 variant_under(vela_handle *handle, const ptp_cfg_type *type) {
    u_int32 err = 0;
    const int8 variant = vela_domain_lookup_variant(handle, &handle->variant_domain, record_of(type), &err);
    check(err);
    return variant;
}

bool is_allowed(vela_handle *handle, const ptp_cfg_type *message) {
    u_int32 err = 0;
    const u_int32 allowed = vela_domain_lookup_message_ok(handle, &handle->variant_domain, record_of(message), &err);
    check(err);
    return allowed != 0;
}

void leave_out_newer(vela_handle *handle, const ptp_cfg_type *type, void *instance) {
    if (describe(type).kind != PTP_CFG_MESSAGE) {
        auto *header = static_cast<vela_instance_header *>(instance);
        header->variant = std::min(header->variant, variant_under(handle, type));
        if (header->variant < 0 || describe(type).kind == PTP_CFG_ENUMERATION) {
            return;
        }
    }
    u_int32 index = 0;
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        for (u_int32 element = 0; field.type != nullptr && element < field.capacity; ++element) {
            u_int32 err = 0;
            void *inner = ptp_cfg_field_get(type, index, handle, memory_class, instance, element, &err);
            if (inner != nullptr) {
                leave_out_newer(handle, field.type, inner);
            }
        }
        ++index;
    }
}

}  // namespace ptpcfg
