// Sets the flags that attributes of XML elements give.
#include "state_flags.h"

#include <algorithm>
#include <map>
#include <optional>

#include "failure.h"

namespace ptpcfg {
namespace {

class flag_setter {
  public:
    flag_setter(vela_handle *handle, const vela_xml_document *document) : handle_(handle), document_(document) {}

    /** `owner` is the type of `instance`, whose fields or payloads are the children of `element`. */
    void set(const ptp_cfg_type *owner, void *instance, u_int32 element) {
        const std::vector<ptp_cfg_field_description> fields = fields_of(owner);
        std::map<u_int32, u_int32> counts;
        for (u_int32 child = xml_first_child(document_, element); child != 0;
             child = xml_next_sibling(document_, child)) {
            for (u_int32 index = 0; index < fields.size(); ++index) {
                const bool is_named = std::string_view(fields[index].name) == xml_element_name(document_, child);
                if (is_named && counts[index] < std::max<u_int32>(fields[index].capacity, 1)) {
                    field(owner, instance, child, fields[index], {index, counts[index]++});
                }
            }
        }
    }

  private:
    struct position {
        u_int32 field;
        u_int32 element;
    };

    /** The flag that an element's attribute gives, if it gives one. */
    std::optional<u_int8> state_of(u_int32 element) const {
        const char *name = nullptr;
        const char *value = nullptr;
        char reason[80];
        for (u_int32 index = 0; xml_get_attribute(document_, element, index, &name, &value) != 0; ++index) {
            if (std::string_view(name) == "state" &&
                xml_check_value("u_int8", value, reason, sizeof reason) == VELA_OK) {
                const bool is_hex = std::string_view(value).find_first_of("xX") != std::string_view::npos;
                return static_cast<u_int8>(std::stoul(value, nullptr, is_hex ? 16 : 10));
            }
        }
        return std::nullopt;
    }

    void field(const ptp_cfg_type *owner, void *instance, u_int32 element, const ptp_cfg_field_description &description,
               position at) {
        u_int32 err = 0;
        if (const std::optional<u_int8> state = state_of(element)) {
            ptp_cfg_field_state_flag_set(owner, at.field, handle_, memory_class, instance, at.element, *state, &err);
        }
        if (description.kind == PTP_CFG_FIELD_STRUCTURE) {
            void *inner = ptp_cfg_field_get(owner, at.field, handle_, memory_class, instance, at.element, &err);
            if (inner != nullptr) {
                set(description.type, inner, element);
            }
        }
        if (err != 0) {
            throw failure(exit_code::bad_input, std::string(xml_element_name(document_, element)) +
                                                    ": cannot set its state flag: " + error_text(err));
        }
    }

    vela_handle *handle_;
    const vela_xml_document *document_;
};

}  // namespace

void set_state_flags(const record &record, const vela_xml_document *document, u_int32 element) {
    if (describe(record.type()).kind != PTP_CFG_ENUMERATION) {
        flag_setter(record.handle(), document).set(record.type(), record.instance(), element);
    }
}

}  // namespace ptpcfg
