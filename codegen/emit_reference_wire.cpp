// Works out the items and widths of encodings from the rows.
#include "emit_reference_wire.h"

#include "emit_reference_markdown.h"

namespace codegen {
namespace {

wire_size fixed(std::uint32_t width) { return {width, false}; }

wire_size wire_size_of_element(const field &row, wire_form form) {
    switch (row.category) {
        case field_category::primitive:
            return fixed(row.primitive->width);
        case field_category::enumeration:
            return fixed(wire_enumeration_width);
        case field_category::structure:
            return wire_size_of(*row.structure, row.structure->latest, form);
        case field_category::text:
            break;
    }
    return {0, true};
}

/** The flag bytes that follow a field: one, or for an array one for the whole and one per element. */
std::uint32_t state_width(const field &row, wire_form form) {
    if (form == wire_form::untracked || row.is_companion()) {
        return 0;
    }
    return row.is_array() ? 1 + *row.capacity : 1;
}

std::string bytes(const wire_size &size) {
    return size.text() + (size.fixed == 1 && !size.has_texts ? " byte" : " bytes");
}

/** Lays items one after another. */
class drawing {
  public:
    explicit drawing(wire_form form) : form_(form) {}

    void message_prefix(const message &type);
    void payload(const codegen::payload &row);
    /** `depth` says how many levels of embedded records are taken apart. */
    void record(const structure &type, std::uint32_t variant, const std::string &path, unsigned depth);
    void enumeration_value(const enumeration &type, const std::string &path);

    std::vector<wire_item> take() { return std::move(items_); }

  private:
    void add(const wire_size &width, std::string name, std::string content);
    void value(const field &row, const std::string &path, unsigned depth);
    void element(const field &row, const std::string &path, unsigned depth);
    void state(const field &row, const std::string &path);

    wire_form form_;
    wire_size end_;
    std::vector<wire_item> items_;
};

void drawing::add(const wire_size &width, std::string name, std::string content) {
    items_.push_back({end_, width, std::move(name), std::move(content)});
    end_ += width;
}

void drawing::message_prefix(const message &type) {
    add(fixed(1), "header/tag", "0xBC");
    add(fixed(6), "header/address", "0xFF each");
    add(fixed(1), "header/tracked", form_ == wire_form::tracked ? "1: state flags travel" : "0: no state flags");
    add(fixed(4), "header/word", "the sender's header word");
    add(fixed(4), "header/length", wire_size_of(type, form_).text() + ": bytes of the whole message");
    add(fixed(11), "header/reserved", "0");
    add(fixed(16), "identity", code(type.luid));
}

void drawing::payload(const codegen::payload &row) {
    if (row.structure != nullptr) {
        record(*row.structure, row.structure->latest, row.type_name + "/", 0);
    } else {
        add(fixed(row.primitive->width), row.type_name, primitive_link(row.type_name));
    }
}

void drawing::record(const structure &type, std::uint32_t variant, const std::string &path, unsigned depth) {
    const wire_size total = wire_size_of(type, variant, form_);
    const wire_size end = end_ + total;
    add(fixed(wire_variant_width), path + "variant", std::to_string(variant));
    add(fixed(wire_flag_width), path + "flag", form_ == wire_form::tracked ? "0x08: state flags travel" : "0x00");
    const wire_size jump = {total.fixed - wire_variant_width - wire_flag_width, total.has_texts};
    add(fixed(wire_jump_width), path + "jump", jump.text() + ": bytes up to offset " + end.text());
    for (const field &row : type.fields) {
        if (row.since <= variant) {
            value(row, path + row.name, depth);
            state(row, path + row.name);
        }
    }
}

void drawing::enumeration_value(const enumeration &type, const std::string &path) {
    add(fixed(wire_variant_width), path + "/variant", variants_text(type.latest));
    add(fixed(wire_enumeration_width - wire_variant_width), path, "number of " + link(type.name));
}

void drawing::value(const field &row, const std::string &path, unsigned depth) {
    if (!row.is_array()) {
        element(row, path, depth);
        return;
    }
    const wire_size width = wire_size_of_element(row, form_);
    if (row.category != field_category::structure || depth == 0) {
        add(*row.capacity * width, path, type_link(row) + ", " + bytes(width) + " each");
        return;
    }
    element(row, path + "[0]", depth);
    if (*row.capacity > 1) {
        add((*row.capacity - 1) * width, path + "[1...]",
            plural(*row.capacity - 1, "further element") + ", " + bytes(width) + " each");
    }
}

void drawing::element(const field &row, const std::string &path, unsigned depth) {
    if (row.category == field_category::enumeration) {
        enumeration_value(*row.enumeration, path);
    } else if (row.category == field_category::structure && depth > 0) {
        record(*row.structure, row.structure->latest, path + "/", depth - 1);
    } else if (row.category == field_category::text) {
        add({0, true}, path, "as many characters as " + code(row.companion_name) + " says");
    } else {
        add(wire_size_of_element(row, form_), path, type_link(row));
    }
}

void drawing::state(const field &row, const std::string &path) {
    const std::uint32_t width = state_width(row, form_);
    if (width > 0) {
        add(fixed(width), path + " state", row.is_array() ? "flag of the whole array, then one per element" : "flag");
    }
}

}  // namespace

std::string wire_size::text() const {
    if (!has_texts) {
        return std::to_string(fixed);
    }
    return fixed == 0 ? "n" : std::to_string(fixed) + " + n";
}

wire_size &wire_size::operator+=(const wire_size &other) {
    fixed += other.fixed;
    has_texts = has_texts || other.has_texts;
    return *this;
}

wire_size operator+(wire_size a, const wire_size &b) { return a += b; }

wire_size operator*(std::uint32_t count, const wire_size &size) { return {count * size.fixed, size.has_texts}; }

wire_size wire_size_of(const structure &type, std::uint32_t variant, wire_form form) {
    wire_size size = fixed(wire_variant_width + wire_flag_width + wire_jump_width);
    for (const field &row : type.fields) {
        if (row.since <= variant) {
            size += row.capacity.value_or(1) * wire_size_of_element(row, form) + fixed(state_width(row, form));
        }
    }
    return size;
}

wire_size wire_size_of(const payload &row, wire_form form) {
    return row.structure != nullptr ? wire_size_of(*row.structure, row.structure->latest, form)
                                    : fixed(row.primitive->width);
}

wire_size wire_size_of(const message &type, wire_form form) {
    wire_size size = fixed(wire_message_prefix);
    for (const payload &row : type.payloads) {
        size += wire_size_of(row, form);
    }
    return size;
}

std::vector<wire_item> wire_items(const structure &type, std::uint32_t variant, wire_form form) {
    drawing result(form);
    result.record(type, variant, "", 1);
    return result.take();
}

std::vector<wire_item> wire_items(const message &type, wire_form form) {
    drawing result(form);
    result.message_prefix(type);
    for (const payload &row : type.payloads) {
        result.payload(row);
    }
    return result.take();
}

std::vector<wire_item> wire_items(const enumeration &type) {
    drawing result(wire_form::untracked);
    result.enumeration_value(type, type.name);
    return result.take();
}

}  // namespace codegen
