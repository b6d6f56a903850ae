// Captures (pcapng) of messages, which tools for network traffic open: written, and read again.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_descriptor.h"
#include "vela_recorder.h"

namespace ptpcfg {

/** Whether a file's name says that it is one. */
bool is_capture_name(const std::string &path);
/** Whether content begins as one: a section header, in either order of bytes. */
inline bool begins_capture(std::string_view content) {
    return content.starts_with("\x0A\x0D\x0D\x0A") && content.size() >= 12 &&
           (content.substr(8, 4) == "\x4D\x3C\x2B\x1A" || content.substr(8, 4) == "\x1A\x2B\x3C\x4D");
}

/**
 * Adds messages to a capture, each a packet of DLT_USER0 with its time in nanoseconds and, as a comment, its peer. Every
 * writer begins a section of its own, so that a file can be added to.
 */
class capture_writer {
  public:
    /**
     * Opens or makes the file; a packet that was cut at its end is removed. Fails when it is no capture.
     * @param source  where the messages come from: the name of the capture's interface
     */
    capture_writer(const std::string &path, const std::string &source);

    /** @param time_ns  since 1970-01-01T00:00:00Z */
    void add(u_int64 time_ns, std::string_view message, const std::string &comment);

  private:
    void write_block(u_int32 type, const std::string &body);

    std::string path_;
    base::file_descriptor file_;
};

/** Reads the packets of DLT_USER0 of a capture, of either byte order and any resolution of time. */
class capture_reader {
  public:
    explicit capture_reader(const std::string &path);
    ~capture_reader();

    /** The next packet, or what is wrong there; false at the end. Valid until the next call. */
    bool next(vela_recording_item &item);
    u_int64 size() const { return size_; }
    u_int64 position() const { return position_; }

  private:
    struct interface {
        u_int32 link_type;
        u_int64 ticks_per_second;
    };
    bool read(u_int64 offset, size_t length, std::string &bytes) const;
    u_int32 number(std::string_view bytes, size_t at, size_t width) const;
    bool begin_section(std::string_view head);
    void add_interface(std::string_view body);
    bool take_packet(u_int32 type, std::string_view body, vela_recording_item &item);
    bool fail(vela_recording_item &item, vela_recording_kind kind, const char *reason, u_int64 extent);

    std::string path_;
    base::file_descriptor file_;
    u_int64 size_ = 0;
    u_int64 position_ = 0;
    bool is_big_endian_ = false;
    std::vector<interface> interfaces_;
    std::string block_;
};

}  // namespace ptpcfg
