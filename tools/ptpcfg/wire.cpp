#include "wire.h"

#include <algorithm>

#include "failure.h"
#include "formats.h"
#include "primitives.h"
#include "vela_bundle.h"

namespace ptpcfg {
namespace {

enum : u_int8 { extra_data_flag = VELA_FLAG_EXTRA_DATA, tracked_flag = VELA_FLAG_TRACKED };

/** Thrown inside a walk: the rest of the bytes cannot be placed. */
struct lost {};

std::string join(const std::string &path, const std::string &name) { return path.empty() ? name : path + "/" + name; }

std::string counted(size_t count, const char *noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

class walker {
  public:
    walker(std::string_view bytes, size_t offset, size_t limit, vela_handle *handle)
        : bytes_(bytes), position_(offset), limit_(std::min(limit, bytes.size())), handle_(handle) {}

    wire_walk message() {
        return guarded([this] { walk_message_body(); });
    }

    wire_walk type(const ptp_cfg_type *type) {
        return guarded([this, type] {
            if (describe(type).kind == PTP_CFG_ENUMERATION) {
                enumeration(type, describe(type).name);
            } else {
                structure(type, describe(type).name);
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
    std::string_view peek(size_t width, const std::string &path) {
        if (width > left()) {
            stop(position_, path + ": " + counted(width, "byte") + " wanted, " + std::to_string(left()) + " left");
        }
        return bytes_.substr(position_, width);
    }

    void add(size_t width, const std::string &path, std::string value) {
        result_.items.push_back({position_, width, path, std::move(value)});
        position_ += width;
    }

    u_int64 number(size_t width, const std::string &path) {
        const u_int64 value = read_number(peek(width, path));
        add(width, path, std::to_string(value));
        return value;
    }

    void walk_message_body();
    void header();
    void structure(const ptp_cfg_type *type, const std::string &path);
    void structure_fields(const ptp_cfg_type *type, const std::string &path, int variant, bool tracked);
    void field(const ptp_cfg_field_description &field, const std::string &path, size_t text_length);
    void element(const ptp_cfg_field_description &field, const std::string &path, size_t text_length);
    void enumeration(const ptp_cfg_type *type, const std::string &path);
    void state_flags(const ptp_cfg_field_description &field, const std::string &path);
    void skip_unknown(const std::string &path, size_t jump_offset, u_int64 jump);

    std::string_view bytes_;
    size_t position_;
    size_t limit_;
    vela_handle *handle_;
    wire_walk result_;
};

void walker::header() {
    const size_t start = position_;
    if (left() < PTP_CFG_MESSAGE_PREFIX) {
        note(start, "a message has at least " + std::to_string(PTP_CFG_MESSAGE_PREFIX) +
                        " bytes of header and identity, " + std::to_string(left()) + " are there");
    }
    const auto tag = static_cast<u_int8>(peek(1, "header/tag")[0]);
    if (tag != VELA_MESSAGE_TAG) {
        stop(start, "header/tag: " + hex_pairs(bytes_.substr(start, 1), "") + " does not begin a message, bc does");
    }
    add(1, "header/tag", "message");
    const std::string_view address = peek(6, "header/address");
    add(6, "header/address", address == std::string_view("\xff\xff\xff\xff\xff\xff") ? "everyone" : "");
    const bool tracked = peek(1, "header/tracked")[0] != 0;
    add(1, "header/tracked", tracked ? "with state flags" : "no state flags");
    number(4, "header/word");
    const size_t length_at = position_;
    const u_int64 length = number(4, "header/length");
    const std::string_view zeros = peek(VELA_WIRE_MESSAGE_HEADER - zero_offset, "header/reserved");
    const bool all_zero = zeros.find_first_not_of('\0') == std::string_view::npos;
    add(zeros.size(), "header/reserved", all_zero ? "" : "ignored, though not zero");
    if (length > limit_ - start) {
        note(length_at, "header/length: the message is said to have " + counted(length, "byte") + ", but " +
                            std::to_string(limit_ - start) + " are there");
    } else {
        limit_ = start + static_cast<size_t>(length);
    }
}

void walker::walk_message_body() {
    header();
    const std::string_view luid = peek(VELA_WIRE_LUID, "identity");
    const ptp_cfg_type *type = ptp_cfg_type_find_luid(reinterpret_cast<const u_int8 *>(luid.data()));
    if (type == nullptr || describe(type).kind != PTP_CFG_MESSAGE) {
        stop(position_, "identity: no message is known as " + hex_pairs(luid, ""));
    }
    add(VELA_WIRE_LUID, "identity", describe(type).short_name);
    for (const ptp_cfg_field_description &payload : fields_of(type)) {
        element(payload, payload.name, 0);
    }
    if (left() > 0) {
        note(position_, counted(left(), "byte") + " behind the last payload belong to nothing");
    }
}

void walker::structure(const ptp_cfg_type *type, const std::string &path) {
    const int newest = describe(type).newest_variant;
    const int variant = static_cast<int8>(peek(1, join(path, "variant"))[0]);
    std::string meaning = std::to_string(variant);
    if (variant < 0) {
        meaning += ": no instance";
    } else if (variant > newest) {
        meaning += ", read as " + std::to_string(newest) + ", the newest known";
    }
    add(1, join(path, "variant"), meaning);

    const auto flag = static_cast<u_int8>(peek(1, join(path, "flag"))[0]);
    std::string flags = (flag & tracked_flag) != 0 ? "with state flags" : "no state flags";
    if ((flag & extra_data_flag) != 0) {
        flags += ", extra data";
    }
    if ((flag & ~(tracked_flag | extra_data_flag)) != 0) {
        flags += ", unknown bits ignored";
    }
    add(1, join(path, "flag"), flags);
    if ((flag & extra_data_flag) != 0) {
        peek(VELA_WIRE_EXTRA_DATA, join(path, "extra data"));
        add(VELA_WIRE_EXTRA_DATA, join(path, "extra data"), "ignored");
    }
    const size_t jump_offset = position_;
    const u_int64 jump = read_number(peek(VELA_WIRE_JUMP, join(path, "jump")));
    add(VELA_WIRE_JUMP, join(path, "jump"), std::to_string(jump) + ", ends at " + std::to_string(jump_offset + jump));
    if (variant >= 0) {
        structure_fields(type, path, std::min(variant, newest), (flag & tracked_flag) != 0);
    }
    skip_unknown(path, jump_offset, jump);
}

void walker::structure_fields(const ptp_cfg_type *type, const std::string &path, int variant, bool tracked) {
    size_t text_length = 0;
    for (const ptp_cfg_field_description &description : fields_of(type)) {
        if (description.since > variant) {
            continue;
        }
        const size_t at = position_;
        field(description, join(path, description.name), text_length);
        if (description.is_read_only != 0) {
            text_length = static_cast<size_t>(read_number(bytes_.substr(at, position_ - at)));
        } else if (tracked) {
            state_flags(description, join(path, description.name));
        }
    }
}

void walker::field(const ptp_cfg_field_description &field, const std::string &path, size_t text_length) {
    if (field.is_array == 0) {
        element(field, path, text_length);
        return;
    }
    for (u_int32 index = 0; index < field.capacity; ++index) {
        element(field, path + "[" + std::to_string(index) + "]", text_length);
    }
}

void walker::element(const ptp_cfg_field_description &field, const std::string &path, size_t text_length) {
    switch (field.kind) {
        case PTP_CFG_FIELD_STRUCTURE:
            structure(field.type, path);
            break;
        case PTP_CFG_FIELD_ENUMERATION:
            enumeration(field.type, path);
            break;
        case PTP_CFG_FIELD_TEXT: {
            const std::string text = quoted(peek(text_length, path));
            add(text_length, path, text);
            break;
        }
        default: {
            const std::string text = value_text(field, peek(field.wire_width, path), handle_);
            add(field.wire_width, path, text);
            break;
        }
    }
}

void walker::enumeration(const ptp_cfg_type *type, const std::string &path) {
    const int variant = static_cast<int8>(peek(1, join(path, "variant"))[0]);
    add(1, join(path, "variant"), std::to_string(variant));
    const auto value = static_cast<u_int32>(read_number(peek(4, path)));
    const std::optional<enumeration_literal> known = literal_of(type, value);
    add(4, path, std::to_string(value) + " " + (known ? known->literal : "has no literal"));
}

void walker::state_flags(const ptp_cfg_field_description &field, const std::string &path) {
    const size_t wanted = field.is_array != 0 ? 1 + size_t{field.capacity} : 1;
    const size_t there = std::min(wanted, left());
    // Readers take trailing flags as 0 when the bytes end before them.
    if (there == 0) {
        return;
    }
    std::string value;
    for (const char flag : bytes_.substr(position_, there)) {
        value += (value.empty() ? "" : " ") + std::to_string(static_cast<u_int8>(flag));
    }
    add(there, path + " state", value + (there < wanted ? ", the rest is missing" : ""));
}

void walker::skip_unknown(const std::string &path, size_t jump_offset, u_int64 jump) {
    if (jump > limit_ - jump_offset) {
        stop(jump_offset,
             join(path, "jump") + ": ends " + counted(jump - (limit_ - jump_offset), "byte") + " behind the last one");
    }
    const size_t end = jump_offset + static_cast<size_t>(jump);
    if (end > position_) {
        add(end - position_, join(path, "(newer fields)"), "skipped");
    }
}

[[noreturn]] void refuse(const std::string &name, size_t offset, const std::string &reason) {
    throw failure(exit_code::bad_input, name + ": offset " + std::to_string(offset) + ": " + reason);
}

std::vector<message_span> split_bundle(const std::string &name, std::string_view bytes) {
    vela_bundle_reader reader{};
    u_int32 err = 0;
    vela_bundle_read(&reader, reinterpret_cast<const u_int8 *>(bytes.data()), static_cast<u_int32>(bytes.size()), &err);
    if (err != 0) {
        refuse(name, 0, "this begins as a bundle of messages, but its length or version is wrong");
    }
    std::vector<message_span> spans;
    vela_bundle_item item{};
    while (vela_bundle_next(&reader, &item) != 0) {
        if (item.err != 0) {
            refuse(name, item.offset, std::string("bundle: ") + (item.reason != nullptr ? item.reason : "no message"));
        }
        const auto *start = reinterpret_cast<const u_int8 *>(bytes.data());
        spans.push_back({static_cast<size_t>(item.message - start), item.length});
    }
    return spans;
}

}  // namespace

bool is_bundle(std::string_view bytes) {
    return bytes.size() >= 4 && read_number(bytes.substr(0, 4)) == VELA_BUNDLE_MAGIC;
}

wire_walk walk_message(std::string_view bytes, size_t offset, size_t limit, vela_handle *handle) {
    return walker(bytes, offset, limit, handle).message();
}

wire_walk walk_type(std::string_view bytes, const ptp_cfg_type *type, vela_handle *handle) {
    return walker(bytes, 0, bytes.size(), handle).type(type);
}

std::vector<message_span> split_messages(const std::string &name, std::string_view bytes) {
    if (bytes.empty()) {
        throw failure(exit_code::bad_input, name + ": is empty");
    }
    if (is_bundle(bytes)) {
        return split_bundle(name, bytes);
    }
    std::vector<message_span> spans;
    for (size_t offset = 0; offset < bytes.size();) {
        const std::string_view rest = bytes.substr(offset);
        if (static_cast<u_int8>(rest[0]) != VELA_MESSAGE_TAG) {
            refuse(name, offset,
                   "byte " + hex_pairs(rest.substr(0, 1), "") + " does not begin a message, bc does" +
                       (offset == 0 ? " (for a record without message header use --type)" : ""));
        }
        if (rest.size() < PTP_CFG_MESSAGE_PREFIX) {
            refuse(name, offset,
                   "a message has at least " + std::to_string(PTP_CFG_MESSAGE_PREFIX) +
                       " bytes of header and identity, " + std::to_string(rest.size()) + " are there");
        }
        const u_int64 length = read_number(rest.substr(length_offset, 4));
        if (length < PTP_CFG_MESSAGE_PREFIX || length > rest.size()) {
            refuse(name, offset + length_offset,
                   "the header gives the message " + counted(length, "byte") + ", " + std::to_string(rest.size()) +
                       " are there");
        }
        spans.push_back({offset, static_cast<size_t>(length)});
        offset += static_cast<size_t>(length);
    }
    return spans;
}

}  // namespace ptpcfg
