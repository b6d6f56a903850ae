#include "session.h"

#include <charconv>
#include <utility>

#include "failure.h"

namespace ptpcfg {

record::record(const ptp_cfg_type *type, void *instance, vela_handle *handle)
    : type_(type), instance_(instance), handle_(handle) {}

record::record(record &&other) noexcept
    : type_(other.type_), instance_(std::exchange(other.instance_, nullptr)), handle_(other.handle_) {}

record::~record() {
    if (instance_ != nullptr) {
        operations().destroy(handle_, memory_class, instance_);
    }
}

void session::destroy_domain::operator()(vela_domain *domain) const { vela_domain_destroy(domain); }

void session::destroy_handle::operator()(vela_handle *handle) const { vela_handle_destroy(handle, nullptr); }

session::session(const session_options &options) : tracked_(options.tracked) {
    if (!options.domain.empty()) {
        domain_.reset(vela_domain_create("ptpcfg"));
        if (domain_ == nullptr) {
            throw failure(exit_code::io, "there is no memory for a domain");
        }
        for (const std::string &assignment : options.domain) {
            set_variant(assignment);
        }
    }
    plain_ = create(VELA_STTR_OFF);
    tracking_ = create(VELA_STTR_ON);
}

void session::set_variant(const std::string &assignment) {
    const size_t equals = assignment.find('=');
    const std::string number = equals == std::string::npos ? "" : assignment.substr(equals + 1);
    int variant = -1;
    const auto [end, problem] = std::from_chars(number.data(), number.data() + number.size(), variant);
    if (problem != std::errc() || end != number.data() + number.size()) {
        throw failure(exit_code::usage, "--domain " + assignment + ": TYPE=VARIANT is wanted, for example ptp_port=0");
    }
    const ptp_cfg_type_description type = describe(type_named(assignment.substr(0, equals)));
    if (variant < 0 || variant > type.newest_variant || type.kind == PTP_CFG_MESSAGE) {
        throw failure(exit_code::usage, "--domain " + assignment + ": " + type.name +
                                            (type.kind == PTP_CFG_MESSAGE
                                                 ? " is a message, which has no variants; name the type of its payload"
                                                 : " has the variants 0 to " + std::to_string(type.newest_variant)));
    }
    if (vela_domain_set_variant(domain_.get(), type.name, static_cast<int8>(variant)) != 0) {
        throw failure(exit_code::io, "there is no memory for a domain");
    }
    overrides_.emplace_back(type.name, variant);
}

std::unique_ptr<vela_handle, session::destroy_handle> session::create(u_int32 tracking) const {
    vela_handle_options options{};
    options.size = sizeof options;
    options.tracking = tracking;
    options.domain = domain_.get();
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(&options, &err);
    if (handle == nullptr) {
        throw failure(exit_code::io, "cannot create a runtime handle: " + error_text(err));
    }
    return std::unique_ptr<vela_handle, destroy_handle>(handle);
}

int session::variant_of(const ptp_cfg_type *type) const {
    const ptp_cfg_type_description description = describe(type);
    int variant = description.newest_variant;
    for (const auto &[name, value] : overrides_) {
        if (name == description.name) {
            variant = value;
        }
    }
    return variant;
}

}  // namespace ptpcfg
