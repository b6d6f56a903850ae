// Writes captures.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "failure.h"
#include "files.h"
#include "pcapng.h"
#include "pcapng_layout.h"

namespace ptpcfg {
namespace {

/** Numbers are written in the machine's own order, which each section tells. */
template <typename Number>
void append(std::string &to, Number number) {
    to.append(reinterpret_cast<const char *>(&number), sizeof number);
}

void append_padded(std::string &to, std::string_view bytes) {
    to.append(bytes);
    to.append(pcapng::padded(static_cast<u_int32>(bytes.size())) - bytes.size(), '\0');
}

void append_option(std::string &to, u_int16 code, std::string_view value) {
    value = value.substr(0, 0xFFFF);
    append(to, code);
    append(to, static_cast<u_int16>(value.size()));
    append_padded(to, value);
}

void end_options(std::string &to) { append(to, u_int32{pcapng::end}); }

/** Where the last whole packet of an older file ends. */
u_int64 whole_length(const std::string &path) {
    capture_reader reader(path);
    vela_recording_item item{};
    u_int64 end = 0;
    while (reader.next(item)) {
        if (item.kind == VELA_RECORDING_DAMAGED) {
            throw failure(exit_code::bad_input, path + ": offset " + std::to_string(item.offset) + ": " + item.reason +
                                                    "; give another file");
        }
        if (item.kind == VELA_RECORDING_TORN) {
            std::fprintf(stderr, "ptpcfg: warning: %s: a packet was cut at its end, and is removed\n", path.c_str());
            return item.offset;
        }
        end = reader.position();
    }
    return std::max(end, reader.position());
}

}  // namespace

bool is_capture_name(const std::string &path) { return path.ends_with(".pcapng"); }

capture_writer::capture_writer(const std::string &path, const std::string &source)
    : path_(path), file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600)) {
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0) {
        fail_io(path, "open");
    }
    if (status.st_size > 0 && ::ftruncate(file_.get(), static_cast<off_t>(whole_length(path))) != 0) {
        fail_io(path, "cut");
    }
    std::string section;
    append(section, pcapng::byte_order);
    append(section, u_int16{1});  // version 1.0
    append(section, u_int16{0});
    append(section, ~u_int64{0});  // of a length that is not known yet
    write_block(pcapng::section, section);
    std::string interface;
    append(interface, static_cast<u_int16>(pcapng::user0));
    append(interface, u_int16{0});
    append(interface, u_int32{0});  // packets are never cut
    append_option(interface, pcapng::interface_name, source);
    append_option(interface, pcapng::interface_resolution, "\x09");
    end_options(interface);
    write_block(pcapng::interface_description, interface);
}

void capture_writer::add(u_int64 time_ns, std::string_view message, const std::string &comment) {
    std::string body;
    append(body, u_int32{0});  // the interface
    append(body, static_cast<u_int32>(time_ns >> 32));
    append(body, static_cast<u_int32>(time_ns));
    append(body, static_cast<u_int32>(message.size()));
    append(body, static_cast<u_int32>(message.size()));
    append_padded(body, message);
    if (!comment.empty()) {
        append_option(body, pcapng::comment, comment);
        end_options(body);
    }
    write_block(pcapng::enhanced_packet, body);
}

/** A block that does not fit is taken back. */
void capture_writer::write_block(u_int32 type, const std::string &body) {
    const auto length = static_cast<u_int32>(pcapng::frame + body.size());
    std::string block;
    append(block, type);
    append(block, length);
    block += body;
    append(block, length);
    struct stat before {};
    const bool is_known = ::fstat(file_.get(), &before) == 0;
    try {
        write_all(file_.get(), path_, block);
    } catch (const failure &) {
        if (is_known && ::ftruncate(file_.get(), before.st_size) != 0) {
            throw failure(exit_code::io, path_ + ": cannot write, and the last packet is cut");
        }
        throw;
    }
}

}  // namespace ptpcfg
