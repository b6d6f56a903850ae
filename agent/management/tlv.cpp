// The one codec over the rows of management TLVs.
#include "agent/management/tlv.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace ptp_agent {
namespace {

/** Copies numbers between the wire and this processor (little-endian or not): one of the two orders is its own. */
void copy_numbers(std::uint8_t *to, const std::uint8_t *from, const TlvField &field, std::endian wire) {
    for (unsigned i = 0; i < field.elements; ++i, to += field.width, from += field.width) {
        if (wire == std::endian::native) {
            std::memcpy(to, from, field.width);
        } else {
            std::reverse_copy(from, from + field.width, to);
        }
    }
}

void decode_field(const TlvField &field, const std::uint8_t *data, std::uint8_t *structure) {
    const std::uint8_t *from = data + field.offset;
    std::uint8_t *to = structure + field.member;
    switch (field.kind) {
        case FieldKind::Number:
            copy_numbers(to, from, field, std::endian::big);
            break;
        case FieldKind::LittleEndian:
            copy_numbers(to, from, field, std::endian::little);
            break;
        case FieldKind::Octets:
            std::memcpy(to, from, field.width);
            break;
        case FieldKind::Bit:
            *to = from[0] >> field.width & 1;
            break;
        case FieldKind::LowNibble:
            *to = from[0] & 0x0F;
            break;
        case FieldKind::Truth:
            *to = std::any_of(from, from + field.width, [](std::uint8_t octet) { return octet != 0; }) ? 1 : 0;
            break;
    }
}

void encode_field(const TlvField &field, std::uint8_t *data, const std::uint8_t *structure) {
    std::uint8_t *to = data + field.offset;
    const std::uint8_t *from = structure + field.member;
    switch (field.kind) {
        case FieldKind::Number:
            copy_numbers(to, from, field, std::endian::big);
            break;
        case FieldKind::LittleEndian:
            copy_numbers(to, from, field, std::endian::little);
            break;
        case FieldKind::Octets:
            std::memcpy(to, from, field.width);
            break;
        case FieldKind::Bit:
            to[0] = static_cast<std::uint8_t>(to[0] | (*from != 0 ? 1u : 0u) << field.width);
            break;
        case FieldKind::LowNibble:
            to[0] = static_cast<std::uint8_t>(to[0] | (*from & 0x0F));
            break;
        case FieldKind::Truth:
            to[field.width - 1] = *from != 0 ? 1 : 0;
            break;
    }
}

}  // namespace

const TlvRow *find_tlv(ManagementId id) {
    const std::span<const TlvRow> rows = tlv_rows();
    const auto found = std::find_if(rows.begin(), rows.end(), [id](const TlvRow &row) { return row.id == id; });
    return found == rows.end() ? nullptr : &*found;
}

std::string name_of(ManagementId id) {
    if (const TlvRow *row = find_tlv(id)) {
        return std::string(row->name);
    }
    char number[8];
    std::snprintf(number, sizeof number, "0x%04X", static_cast<unsigned>(id));
    return number;
}

bool decode_tlv(const TlvRow &row, std::span<const std::uint8_t> data, void *structure) {
    if (data.size() < row.length) {
        return false;
    }
    for (const TlvField &field : row.fields) {
        decode_field(field, data.data(), static_cast<std::uint8_t *>(structure));
    }
    return true;
}

std::vector<std::uint8_t> encode_tlv(const TlvRow &row, const void *structure) {
    std::vector<std::uint8_t> data(row.length);
    for (const TlvField &field : row.fields) {
        encode_field(field, data.data(), static_cast<const std::uint8_t *>(structure));
    }
    return data;
}

std::optional<std::string> decode_text(const TlvRow &row, std::span<const std::uint8_t> data) {
    if (!row.text_follows || data.size() < row.length + std::size_t{1}) {
        return std::nullopt;
    }
    const std::size_t length = data[row.length];
    const auto characters = data.subspan(row.length + std::size_t{1});
    if (characters.size() < length) {
        return std::nullopt;
    }
    return std::string(reinterpret_cast<const char *>(characters.data()), length);
}

}  // namespace ptp_agent
