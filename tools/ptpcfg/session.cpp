// Makes handles as the command line wants them.
#include "session.h"

#include <utility>

#include "failure.h"
#include "ptp_cfg/json.h"

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

void session::destroy_handle::operator()(vela_handle *handle) const { vela_handle_destroy(handle, nullptr); }

namespace {

u_int32 rules_of(const session_options &options) {
    constexpr u_int32 forms = VELA_XML_NUMBERS | VELA_XML_SHORT_FORMS;
    constexpr u_int32 strict = VELA_XML_STRICT | VELA_XML_ALL_PAYLOADS;
    return options.plain ? forms : forms | strict | (options.complete ? u_int32{VELA_XML_ALL_FIELDS} : 0);
}

u_int32 json_rules_of(const session_options &options) {
    return options.plain ? PTP_CFG_JSON_SKIP_UNKNOWN : options.complete ? PTP_CFG_JSON_ALL_FIELDS : 0;
}

}  // namespace

session::session(const session_options &options)
    : tracked_(options.tracked),
      xml_rules_(rules_of(options)),
      json_rules_(json_rules_of(options)),
      domain_(domain_from(options.domain)) {
    plain_ = create(VELA_STTR_OFF);
    tracking_ = create(VELA_STTR_ON);
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

void session::admit(const record &record, const std::string &place) const {
    if (domain_ == nullptr) {
        return;
    }
    const ptp_cfg_type_description type = describe(record.type());
    if (type.kind == PTP_CFG_MESSAGE && !is_allowed(record.handle(), record.type())) {
        throw failure(exit_code::bad_input,
                      place + ": the domain '" + record.handle()->domain_name + "' does not allow " + type.short_name);
    }
    leave_out_newer(record.handle(), record.type(), record.instance());
}

}  // namespace ptpcfg
