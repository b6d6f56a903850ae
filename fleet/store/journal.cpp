// Packs entries one after the other; the names that come again and again are the compressor's business.
#include "journal.h"

#include <zlib.h>

#include <algorithm>

#include "coding.h"

namespace ptp_fleet {
namespace {

constexpr int level = 1;  // higher ones take several times as long for a few per cent
constexpr std::uint64_t largest_piece = std::uint64_t{1} << 30;

}  // namespace

void journal_piece::add(const journal_entry &of) {
    put_text(raw_, of.source);
    put_text(raw_, of.name.element);
    put_text(raw_, of.name.clock);
    put_text(raw_, of.message);
    put_number(raw_, of.sequence);
    put_difference(raw_, static_cast<std::int64_t>(of.heard_ns - last_ns_));
    put_difference(raw_, static_cast<std::int64_t>(of.time_ns - of.heard_ns));
    put_bytes(raw_, of.bytes);
    first_ns_ = count_++ == 0 ? of.heard_ns : first_ns_;
    last_ns_ = of.heard_ns;
}

void journal_piece::clear() {
    raw_.clear();
    count_ = 0;
    first_ns_ = last_ns_ = 0;
}

std::vector<std::uint8_t> journal_piece::compressed() const {
    std::vector<std::uint8_t> result;
    put_number(result, raw_.size());
    const std::size_t begin = result.size();
    uLongf room = compressBound(raw_.size());
    result.resize(begin + room);
    if (compress2(result.data() + begin, &room, raw_.data(), raw_.size(), level) != Z_OK) {
        throw std::bad_alloc();
    }
    result.resize(begin + room);
    return result;
}

void read_piece(std::span<const std::uint8_t> compressed, const std::function<void(const journal_entry &)> &to) {
    coded_input head(compressed);
    const std::uint64_t size = head.number();
    std::size_t begin = 0;
    while (compressed[begin++] >= 0x80) {
    }
    if (size > largest_piece) {
        throw std::runtime_error("a piece of the journal is damaged");
    }
    std::vector<std::uint8_t> raw(size);
    uLongf length = size;
    if (uncompress(raw.data(), &length, compressed.data() + begin, compressed.size() - begin) != Z_OK ||
        length != size) {
        throw std::runtime_error("a piece of the journal is damaged");
    }
    std::uint64_t last_ns = 0;
    for (coded_input in(raw); !in.is_at_end();) {
        journal_entry entry;
        entry.source = in.text();
        entry.name.element = in.text();
        entry.name.clock = in.text();
        entry.message = in.text();
        entry.sequence = in.number();
        entry.heard_ns = last_ns += static_cast<std::uint64_t>(in.difference());
        entry.time_ns = entry.heard_ns + static_cast<std::uint64_t>(in.difference());
        const auto bytes = in.bytes();
        entry.bytes.assign(bytes.begin(), bytes.end());
        to(entry);
    }
}

}  // namespace ptp_fleet
