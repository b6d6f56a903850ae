// A walk over encoded bytes by reflection: what stands where, and the first place at which it stops making sense.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reflection.h"

namespace ptpcfg {

/** A stretch of bytes that means one thing. */
struct wire_item {
    size_t offset;
    size_t width;
    std::string path;
    std::string value;
};

struct wire_walk {
    std::vector<wire_item> items;
    std::string problem;  // empty when everything made sense
    size_t problem_offset = 0;
    size_t end = 0;  // first offset behind what was understood
};

/** What a walk gives: with the items, or whether everything makes sense only, which is many times faster. */
enum class walk_result { items, problem };

/** Walks one message that begins at `offset`; it may use the bytes up to `limit`. */
wire_walk walk_message(std::string_view bytes, size_t offset, size_t limit, walk_result wanted);

/** Walks an instance of a structure or enumeration. */
wire_walk walk_type(std::string_view bytes, const ptp_cfg_type *type, walk_result wanted);

/** Whether bytes begin as a bundle of messages. */
bool is_bundle(std::string_view bytes);

/** Places in a message's header. */
constexpr size_t tracked_offset = 7;
constexpr size_t length_offset = 12;
constexpr size_t zero_offset = 16;

/** Where the messages of an input begin and end. */
struct message_span {
    size_t offset;
    size_t length;
};

/**
 * Splits input into messages: one after the other, or a bundle of them. Lengths are checked against the input.
 * @param name  of the input, for the failure
 */
std::vector<message_span> split_messages(const std::string &name, std::string_view bytes);

/**
 * The bytes of a message, as its header says; fails when there is no such header.
 * @param name, offset  of the input and of the message in it, for the failure
 * @param rest          what follows there: at least a header and identity, or all that is left
 */
size_t message_length(const std::string &name, u_int64 offset, std::string_view rest);

/** Fails when a message of `length` bytes is longer than what is `there`. */
void check_room(const std::string &name, u_int64 offset, size_t length, size_t there);

}  // namespace ptpcfg
