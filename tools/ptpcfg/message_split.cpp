// Finds the messages in bytes, in bundles or one after the other.
#include "failure.h"
#include "files.h"
#include "formats.h"
#include "primitives.h"
#include "vela_bundle.h"
#include "wire.h"

namespace ptpcfg {
namespace {

[[noreturn]] void refuse(const std::string &name, u_int64 offset, const std::string &reason) {
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
        const size_t length = message_length(name, offset, rest);
        check_room(name, offset, length, rest.size());
        spans.push_back({offset, length});
        offset += length;
    }
    return spans;
}

size_t message_length(const std::string &name, u_int64 offset, std::string_view rest) {
    if (static_cast<u_int8>(rest[0]) != VELA_MESSAGE_TAG) {
        refuse(name, offset,
               "byte " + hex_pairs(rest.substr(0, 1), "") + " does not begin a message, bc does" +
                   (offset == 0 ? " (for a record without message header use --type)" : ""));
    }
    if (rest.size() < PTP_CFG_MESSAGE_PREFIX) {
        refuse(name, offset,
               "a message has at least " + std::to_string(PTP_CFG_MESSAGE_PREFIX) + " bytes of header and identity, " +
                   std::to_string(rest.size()) + " are there");
    }
    const auto length = static_cast<size_t>(read_number(rest.substr(length_offset, 4)));
    if (length < PTP_CFG_MESSAGE_PREFIX || length > longest_message) {
        refuse(name, offset + length_offset,
               "the header gives the message " + counted(length, "byte") + "; " +
                   std::to_string(PTP_CFG_MESSAGE_PREFIX) + " to " + std::to_string(longest_message) + " are possible");
    }
    return length;
}

void check_room(const std::string &name, u_int64 offset, size_t length, size_t there) {
    if (length > there) {
        refuse(name, offset + length_offset,
               "the header gives the message " + counted(length, "byte") + ", " + std::to_string(there) + " are there");
    }
}

}  // namespace ptpcfg
