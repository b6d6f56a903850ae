// Puts the number where the library has written that there is no literal.
#include "unnamed_values.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace ptpcfg {
namespace {

struct unnamed_value {
    std::string type;
    u_int32 number;
};

/** Collects such values in the order in which records are written. */
class collector {
  public:
    explicit collector(const record &of) : handle_(of.handle()) {
        if (describe(of.type()).kind == PTP_CFG_ENUMERATION) {
            value(of.type(), of.type(), 0, of.instance());
        } else {
            fields(of.type(), of.instance());
        }
    }
    const std::vector<unnamed_value> &found() const { return found_; }

  private:
    void fields(const ptp_cfg_type *owner, void *instance) {
        const std::vector<ptp_cfg_field_description> all = fields_of(owner);
        for (u_int32 index = 0; index < all.size(); ++index) {
            const ptp_cfg_field_description &field = all[index];
            if (field.kind == PTP_CFG_FIELD_ENUMERATION) {
                value(owner, field.type, index, instance);
            }
            for (u_int32 element = 0; field.kind == PTP_CFG_FIELD_STRUCTURE && element < field.capacity; ++element) {
                u_int32 err = 0;
                void *inner = ptp_cfg_field_get(owner, index, handle_, memory_class, instance, element, &err);
                if (inner != nullptr) {
                    fields(field.type, inner);
                }
            }
        }
    }
    void value(const ptp_cfg_type *owner, const ptp_cfg_type *type, u_int32 index, void *instance) {
        u_int32 err = 0;  // of a field that the instance is too old for, which is not written either
        const auto number =
            static_cast<u_int32>(ptp_cfg_field_get_value(owner, index, handle_, memory_class, instance, 0, &err));
        if (err == 0 && !literal_of(type, number)) {
            found_.push_back({describe(type).name, number});
        }
    }

    vela_handle *handle_;
    std::vector<unnamed_value> found_;
};

using words_fn = std::function<std::string(const unnamed_value &)>;

/**
 * Replaces the library's words for each such value, of which there are none as a rule.
 * @param is_words  whether what stands at a position, on a line that begins at another, are these words and no value
 */
void replace_words(const record &record, size_t from, std::string &text, std::string_view mark, const words_fn &words,
                   const words_fn &replacement, const std::function<bool(size_t line, size_t at)> &is_words) {
    if (text.find(mark, from) == std::string::npos) {
        return;
    }
    const collector values(record);
    std::string result(text, 0, from);
    size_t line = from;
    for (const unnamed_value &value : values.found()) {
        const std::string sought = words(value);
        size_t at = text.find(sought, line);
        while (at != std::string::npos && !is_words(line, at)) {
            at = text.find(sought, at + 1);
        }
        if (at == std::string::npos) {
            break;
        }
        result.append(text, line, at - line).append(replacement(value));
        line = at + sought.size();
    }
    text = result.append(text, line);
}

}  // namespace

void number_in_xml(const record &record, size_t from, std::string &text) {
    replace_words(
        record, from, text, " value out of range/>",
        [](const unnamed_value &value) { return "<" + value.type + " value out of range/>"; },
        [](const unnamed_value &value) { return std::to_string(value.number); },
        [](size_t, size_t) { return true; });  // a '<' of a text is escaped
}

void number_in_print(const record &record, size_t from, std::string &text) {
    replace_words(
        record, from, text, ":Enum value out of range",
        [](const unnamed_value &value) { return "@" + value.type + ":Enum value out of range"; },
        [](const unnamed_value &value) {
            return "@" + value.type + ":Enum value out of range: " + std::to_string(value.number) + "\n";
        },
        [&text](size_t start, size_t at) {
            // A text stands in quotes, and on one line.
            const size_t feed = text.rfind('\n', at);
            const size_t line = feed == std::string::npos ? start : std::max(start, feed + 1);
            return text.find('"', line) >= at;
        });
}

}  // namespace ptpcfg
