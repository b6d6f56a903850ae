#include "state_flags.h"

#include <map>

#include "failure.h"

namespace ptpcfg {
namespace {

class flag_setter {
  public:
    explicit flag_setter(vela_handle *handle) : handle_(handle) {}

    /** `owner` is the type of `instance`, whose fields or payloads are the children of `node`. */
    void set(const ptp_cfg_type *owner, void *instance, pugi::xml_node node) {
        const std::vector<ptp_cfg_field_description> fields = fields_of(owner);
        std::map<u_int32, u_int32> elements;
        for (const pugi::xml_node child : node.children()) {
            for (u_int32 index = 0; index < fields.size(); ++index) {
                if (std::string_view(fields[index].name) == child.name()) {
                    field(owner, instance, child, fields[index], {index, elements[index]++});
                }
            }
        }
    }

  private:
    struct position {
        u_int32 field;
        u_int32 element;
    };

    void field(const ptp_cfg_type *owner, void *instance, pugi::xml_node node,
               const ptp_cfg_field_description &description, position at) {
        u_int32 err = 0;
        if (const pugi::xml_attribute state = node.attribute("state")) {
            ptp_cfg_field_state_flag_set(owner, at.field, handle_, memory_class, instance, at.element,
                                         static_cast<u_int8>(state.as_uint()), &err);
        }
        if (description.kind == PTP_CFG_FIELD_STRUCTURE) {
            void *inner = ptp_cfg_field_get(owner, at.field, handle_, memory_class, instance, at.element, &err);
            if (inner != nullptr) {
                set(description.type, inner, node);
            }
        }
        if (err != 0) {
            throw failure(exit_code::bad_input,
                          std::string(node.name()) + ": cannot set its state flag: " + error_text(err));
        }
    }

    vela_handle *handle_;
};

}  // namespace

void set_state_flags(const record &record, pugi::xml_node element) {
    if (describe(record.type()).kind != PTP_CFG_ENUMERATION) {
        flag_setter(record.handle()).set(record.type(), record.instance(), element);
    }
}

}  // namespace ptpcfg
