// Walks encodings by the descriptions of reflection, and stops at the first thing that cannot be.
#include "wire.h"

#include <algorithm>

#include "failure.h"
#include "formats.h"
#include "primitives.h"

namespace ptpcfg {
namespace {

enum : u_int8 { extra_data_flag = VELA_FLAG_EXTRA_DATA, tracked_flag = VELA_FLAG_TRACKED };

/** Thrown inside a walk: the rest of the bytes cannot be placed. */
struct lost {};

/** A name below others; its text is only made when somebody wants to read it. */
struct path {
    const char *name = "";
    const path *above = nullptr;
    const u_int32 *index = nullptr;  // of an element of an array

    std::string text() const {
        const std::string own = name + (index != nullptr ? "[" + std::to_string(*index) + "]" : "");
        const std::string before = above != nullptr ? above->text() : "";
        return before.empty() ? own : before + "/" + own;
    }
};

class walker {
  public:
    walker(std::string_view bytes, size_t offset, size_t limit, walk_result wanted)
        : bytes_(bytes),
          position_(offset),
          limit_(std::min(limit, bytes.size())),
          keeps_items_(wanted == walk_result::items) {}

    wire_walk message() {
        return guarded([this] { walk_message_body(); });
    }

    wire_walk type(const ptp_cfg_type *type) {
        return guarded([this, type] {
            if (describe(type).kind == PTP_CFG_ENUMERATION) {
                enumeration(type, {describe(type).name});
            } else {
                structure(type, {describe(type).name});
            }
            if (left() > 0) {
                note(position_, counted(left(), "byte") + " behind the record belong to nothing");
            }
        });
    }

  private:
    template <typename body>
    wire_walk guarded(body walk) {
        try {
            walk();
        } catch (const lost &) {
            // The problem is in the result already.
        }
        result_.end = position_;
        return std::move(result_);
    }

    /** Keeps the first problem, which explains those that follow from it. */
    void note(size_t offset, const std::string &problem) {
        if (result_.problem.empty()) {
            result_.problem = problem;
            result_.problem_offset = offset;
        }
    }

    [[noreturn]] void stop(size_t offset, const std::string &problem) {
        note(offset, problem);
        throw lost{};
    }

    size_t left() const { return limit_ - position_; }

    /** The next bytes, which must be there. */
    std::string_view peek(size_t width, const path &at) {
        if (width > left()) {
            stop_short(width, at);
        }
        return bytes_.substr(position_, width);
    }

    [[noreturn]] void stop_short(size_t width, const path &at) {
        stop(position_, at.text() + ": " + counted(width, "byte") + " wanted, " + std::to_string(left()) + " left");
    }

    /** Passes bytes of which nothing is to be told, if they are there. */
    bool pass_untold(size_t width) {
        const bool can_pass = !keeps_items_ && width <= left();
        position_ += can_pass ? width : 0;
        return can_pass;
    }

    /** Passes the next bytes; `meaning` makes the text that explains them. */
    template <typename describe>
    void add(size_t width, const path &at, describe meaning, const char *suffix = "") {
        if (keeps_items_) {
            result_.items.push_back({position_, width, at.text() + suffix, meaning()});
        }
        position_ += width;
    }

    u_int64 number(size_t width, const path &at) {
        const u_int64 value = read_number(peek(width, at));
        add(width, at, [value] { return std::to_string(value); });
        return value;
    }

    void walk_message_body();
    void header();
    void structure(const ptp_cfg_type *type, const path &at);
    void structure_fields(const ptp_cfg_type *type, const path &at, int variant, bool tracked);
    void field(const ptp_cfg_field_description &field, const path &at, size_t text_length);
    void element(const ptp_cfg_field_description &field, const path &at, size_t text_length);
    void enumeration(const ptp_cfg_type *type, const path &at);
    void state_flags(const ptp_cfg_field_description &field, const path &at);
    void pass_end(const path &at, size_t jump_offset, u_int64 jump);

    std::string_view bytes_;
    size_t position_;
    size_t limit_;
    bool keeps_items_;
    wire_walk result_;
};

void walker::header() {
    const path tag_path{"header/tag"}, address_path{"header/address"}, tracked_path{"header/tracked"};
    const path reserved_path{"header/reserved"};
    const size_t start = position_;
    if (left() < PTP_CFG_MESSAGE_PREFIX) {
        note(start, "a message has at least " + std::to_string(PTP_CFG_MESSAGE_PREFIX) +
                        " bytes of header and identity, " + std::to_string(left()) + " are there");
    }
    const auto tag = static_cast<u_int8>(peek(1, tag_path)[0]);
    if (tag != VELA_MESSAGE_TAG) {
        stop(start, "header/tag: " + hex_pairs(bytes_.substr(start, 1), "") + " does not begin a message, bc does");
    }
    add(1, tag_path, [] { return "message"; });
    const std::string_view address = peek(6, address_path);
    add(6, address_path, [=] { return address == std::string_view("\xff\xff\xff\xff\xff\xff") ? "everyone" : ""; });
    const bool tracked = peek(1, tracked_path)[0] != 0;
    add(1, tracked_path, [=] { return tracked ? "with state flags" : "no state flags"; });
    number(4, {"header/word"});
    const size_t length_at = position_;
    const u_int64 length = number(4, {"header/length"});
    const std::string_view zeros = peek(VELA_WIRE_MESSAGE_HEADER - zero_offset, reserved_path);
    const bool all_zero = zeros.find_first_not_of('\0') == std::string_view::npos;
    add(zeros.size(), reserved_path, [=] { return all_zero ? "" : "ignored, though not zero"; });
    if (length > limit_ - start) {
        note(length_at, "header/length: the message is said to have " + counted(length, "byte") + ", but " +
                            std::to_string(limit_ - start) + " are there");
    } else if (length < PTP_CFG_MESSAGE_PREFIX) {
        stop(length_at, "header/length: the message is said to have " + counted(length, "byte") +
                            ", but header and identity have " + std::to_string(PTP_CFG_MESSAGE_PREFIX));
    } else {
        limit_ = start + static_cast<size_t>(length);
    }
}

void walker::walk_message_body() {
    header();
    const path identity_path{"identity"};
    const std::string_view luid = peek(VELA_WIRE_LUID, identity_path);
    const ptp_cfg_type *type = ptp_cfg_type_find_luid(reinterpret_cast<const u_int8 *>(luid.data()));
    if (type == nullptr || describe(type).kind != PTP_CFG_MESSAGE) {
        stop(position_, "identity: no message is known as " + hex_pairs(luid, ""));
    }
    add(VELA_WIRE_LUID, identity_path, [=] { return describe(type).short_name; });
    for (const ptp_cfg_field_description &payload : fields_of(type)) {
        element(payload, {payload.name}, 0);
    }
    if (left() > 0) {
        note(position_, counted(left(), "byte") + " behind the last payload belong to nothing");
    }
}

std::string variant_text(int variant, int latest) {
    const std::string text = std::to_string(variant);
    if (variant < 0) {
        return text + ": no instance";
    }
    return variant > latest ? text + ", read as " + std::to_string(latest) + ", the latest known" : text;
}

std::string flag_text(u_int8 flag) {
    std::string text = (flag & tracked_flag) != 0 ? "with state flags" : "no state flags";
    if ((flag & extra_data_flag) != 0) {
        text += ", extra data";
    }
    if ((flag & ~(tracked_flag | extra_data_flag)) != 0) {
        text += ", unknown bits ignored";
    }
    return text;
}

void walker::structure(const ptp_cfg_type *type, const path &at) {
    const path variant_path{"variant", &at}, flag_path{"flag", &at}, extra_path{"extra data", &at};
    const path jump_path{"jump", &at};
    const int latest = describe(type).newest_variant;
    const int variant = static_cast<int8>(peek(1, variant_path)[0]);
    add(1, variant_path, [=] { return variant_text(variant, latest); });

    const auto flag = static_cast<u_int8>(peek(1, flag_path)[0]);
    add(1, flag_path, [=] { return flag_text(flag); });
    if ((flag & extra_data_flag) != 0) {
        peek(VELA_WIRE_EXTRA_DATA, extra_path);
        add(VELA_WIRE_EXTRA_DATA, extra_path, [] { return "ignored"; });
    }
    const size_t jump_offset = position_;
    const u_int64 jump = read_number(peek(VELA_WIRE_JUMP, jump_path));
    add(VELA_WIRE_JUMP, jump_path,
        [=] { return std::to_string(jump) + ", ends at " + std::to_string(jump_offset + jump); });
    if (variant >= 0) {
        structure_fields(type, at, std::min(variant, latest), (flag & tracked_flag) != 0);
    }
    pass_end(at, jump_offset, jump);
}

void walker::structure_fields(const ptp_cfg_type *type, const path &at, int variant, bool tracked) {
    size_t text_length = 0;
    for (const ptp_cfg_field_description &description : fields_of(type)) {
        if (description.since > variant) {
            continue;
        }
        const size_t start = position_;
        const path here{description.name, &at};
        field(description, here, text_length);
        if (description.is_read_only != 0) {
            text_length = static_cast<size_t>(read_number(bytes_.substr(start, position_ - start)));
        } else if (tracked) {
            state_flags(description, here);
        }
    }
}

/** Whether any bytes of the right number are a value: all but structures, which have an inside, and texts. */
bool has_defaults_only(const ptp_cfg_field_description &field) {
    return field.kind != PTP_CFG_FIELD_STRUCTURE && field.kind != PTP_CFG_FIELD_TEXT;
}

void walker::field(const ptp_cfg_field_description &field, const path &at, size_t text_length) {
    if (field.is_array == 0) {
        element(field, at, text_length);
        return;
    }
    if (has_defaults_only(field) && pass_untold(size_t{field.capacity} * field.wire_width)) {
        return;
    }
    for (u_int32 index = 0; index < field.capacity; ++index) {
        element(field, {at.name, at.above, &index}, text_length);
    }
}

void walker::element(const ptp_cfg_field_description &field, const path &at, size_t text_length) {
    if (has_defaults_only(field) && pass_untold(field.wire_width)) {
        return;
    }
    switch (field.kind) {
        case PTP_CFG_FIELD_STRUCTURE:
            structure(field.type, at);
            break;
        case PTP_CFG_FIELD_ENUMERATION:
            enumeration(field.type, at);
            break;
        case PTP_CFG_FIELD_TEXT: {
            const std::string_view text = peek(text_length, at);
            add(text_length, at, [=] { return quoted(text); });
            break;
        }
        default: {
            const std::string_view value = peek(field.wire_width, at);
            add(field.wire_width, at, [&] { return value_text(field, value); });
            break;
        }
    }
}

void walker::enumeration(const ptp_cfg_type *type, const path &at) {
    const path variant_path{"variant", &at};
    const int variant = static_cast<int8>(peek(1, variant_path)[0]);
    add(1, variant_path, [=] { return std::to_string(variant); });
    const auto value = static_cast<u_int32>(read_number(peek(4, at)));
    add(4, at, [=] {
        const std::optional<enumeration_literal> known = literal_of(type, value);
        return std::to_string(value) + " " + (known ? known->literal : "has no literal");
    });
}

void walker::state_flags(const ptp_cfg_field_description &field, const path &at) {
    const size_t wanted = field.is_array != 0 ? 1 + size_t{field.capacity} : 1;
    const size_t there = std::min(wanted, left());
    // Readers take trailing flags as 0 when the bytes end before them.
    if (there == 0) {
        return;
    }
    const auto text = [&] {
        std::string value;
        for (const char flag : bytes_.substr(position_, there)) {
            value += (value.empty() ? "" : " ") + std::to_string(static_cast<u_int8>(flag));
        }
        return value + (there < wanted ? ", the rest is missing" : "");
    };
    add(there, at, text, " state");
}

/** Passes what a newer peer put behind the fields that are known. */
void walker::pass_end(const path &at, size_t jump_offset, u_int64 jump) {
    const path jump_path{"jump", &at};
    const u_int64 known = position_ - jump_offset;
    if (jump > limit_ - jump_offset) {
        stop(jump_offset,
             jump_path.text() + ": ends " + counted(jump - (limit_ - jump_offset), "byte") + " behind the last one");
    }
    if (jump < known) {
        // Readers go on behind the fields; what the sender meant cannot be told.
        note(jump_offset, jump_path.text() + ": says that the record ends after " + counted(jump, "byte") + ", but " +
                              std::to_string(known) + " are taken by its jump and fields");
    } else if (jump > known) {
        add(static_cast<size_t>(jump - known), {"(newer fields)", &at}, [] { return "skipped"; });
    }
}

}  // namespace

wire_walk walk_message(std::string_view bytes, size_t offset, size_t limit, walk_result wanted) {
    return walker(bytes, offset, limit, wanted).message();
}

wire_walk walk_type(std::string_view bytes, const ptp_cfg_type *type, walk_result wanted) {
    return walker(bytes, 0, bytes.size(), wanted).type(type);
}

}  // namespace ptpcfg
