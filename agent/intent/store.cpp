// Keeps the intent in a file: a header and a bundle of messages, replaced whole.
#include "agent/intent/store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "agent/intent/fields.h"
#include "agent/intent/objects.h"
#include "base/big_endian.h"
#include "base/file_descriptor.h"
#include "base/guarded_file.h"
#include "ptp_cfg/receive.h"
#include "vela_bundle.h"

namespace ptp_agent {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The header, all numbers in network byte order. The checksum is of everything behind it.
constexpr std::array<std::uint8_t, 8> magic = {'P', 'T', 'P', 'W', 'I', 'S', 'H', '\n'};
constexpr std::uint32_t format_version = 1;
constexpr std::size_t version_at = 8;
constexpr std::size_t checksum_at = 12;
constexpr std::size_t generation_at = 16;
constexpr std::size_t boot_at = 24;
constexpr std::size_t boot_length = 36;
constexpr std::size_t header_length = 60;

constexpr std::size_t longest_file = std::size_t{16} << 20;
/** More than any message that is kept takes, its texts included. */
constexpr std::size_t room_per_message = 1024;

std::uint32_t checksum_of(const Bytes &file) {
    const std::size_t start = checksum_at + 4;
    return static_cast<std::uint32_t>(::crc32_z(::crc32_z(0, nullptr, 0), file.data() + start, file.size() - start));
}

/** A text that the next start of the machine changes; blanks where the system has none. */
std::string boot_identity(const std::string &path) {
    std::array<char, boot_length> text;
    text.fill(' ');
    const base::file_descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file && ::read(file.get(), text.data(), text.size()) < 0) {
        text.fill(' ');
    }
    return {text.data(), text.size()};
}

std::string system_text(const std::string &path, const char *doing) {
    return path + ": cannot " + doing + ": " + std::strerror(errno);
}

// ---- reading ---------------------------------------------------------------------------------------------------------

struct ReadFile {
    enum class Kind { Whole, Absent, Damaged, Failed } kind = Kind::Whole;
    Bytes bytes;
    std::string note;
};

ReadFile read_file(const std::string &path) {
    const base::opened_file opened = base::open_regular(path.c_str(), O_RDONLY, base::only_own);
    if (!opened) {
        return {opened.code == ENOENT ? ReadFile::Kind::Absent : ReadFile::Kind::Failed,
                {},
                path + ": cannot be read: " + opened.reason()};
    }
    if (opened.size() > longest_file) {
        return {ReadFile::Kind::Damaged, {}, path + ": is longer than any intent"};
    }
    ReadFile read{ReadFile::Kind::Whole, Bytes(opened.size()), {}};
    std::size_t done = 0;
    while (done < read.bytes.size()) {
        const ssize_t count = ::read(opened.file.get(), read.bytes.data() + done, read.bytes.size() - done);
        if (count < 0 && errno != EINTR) {
            return {ReadFile::Kind::Failed, {}, system_text(path, "read")};
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    read.bytes.resize(done);
    return read;
}

/** Reads a file and looks at its header. */
ReadFile read_checked(const std::string &path) {
    ReadFile read = read_file(path);
    if (read.kind != ReadFile::Kind::Whole) {
        return read;
    }
    const bool has_header =
        read.bytes.size() >= header_length && std::equal(magic.begin(), magic.end(), read.bytes.begin());
    if (has_header && base::load_big_endian<std::uint32_t>(read.bytes.data() + version_at) > format_version) {
        return {ReadFile::Kind::Failed,
                {},
                path + ": was written by a newer release (format " +
                    std::to_string(base::load_big_endian<std::uint32_t>(read.bytes.data() + version_at)) +
                    ", this one knows " + std::to_string(format_version) +
                    "); it is kept as it is: install that release, or move the file away"};
    }
    if (!has_header ||
        base::load_big_endian<std::uint32_t>(read.bytes.data() + checksum_at) != checksum_of(read.bytes)) {
        return {ReadFile::Kind::Damaged, {}, path + ": is damaged"};
    }
    return read;
}

/** Whether all values are such that they can be set: of what is not, no copy can be made later. */
bool is_sound(const SharedHandle &handle, const Record &record) {
    const Record copy(handle, record.type());
    return copy_payload({record.type(), record.handle(), record.message()},
                        {copy.type(), copy.handle(), copy.message()}, Copied::All);
}

/** Enters a message of the file; false for one that is not kept in this release, or is none. */
bool restore(Intent &intent, const vela_bundle_item &item) {
    u_int32 err = item.err;
    const ptp_cfg_type *type = nullptr;
    void *message =
        ptp_cfg_receive(intent.handle().get(), memory_class, &type, item.message, item.length, nullptr, &err);
    if (message == nullptr) {
        return false;
    }
    Record record(intent.handle(), type, message);
    if (!is_sound(intent.handle(), record)) {
        return false;
    }
    for (const ObjectClass &of : object_classes()) {
        if (of.message == record.name()) {
            const ObjectKey key = key_of(of.kind, of.keys, record);
            intent.put(key, std::make_shared<const Record>(std::move(record)));
            return true;
        }
    }
    return false;
}

/** Takes out what time sources said of themselves: it may be otherwise after a restart of the machine. */
void forget_status(Intent &intent) {
    const std::map<ObjectKey, SharedRecord> objects = intent.objects();
    for (const auto &[key, record] : objects) {
        if (class_of(key.kind).is_status) {
            intent.put(key, nullptr);
        } else if (key.kind == ObjectKind::VirtualPort) {
            Record reset = record->clone();
            reset.set("status", 0);
            reset.set("prtc_connected", 0);
            reset.set("time_set_flag", 0);
            intent.put(key, std::make_shared<const Record>(std::move(reset)));
        }
    }
}

/** The messages of a file whose header is right; false when one of them is none. */
bool restore_all(Intent &intent, const Bytes &file) {
    vela_bundle_reader reader;
    u_int32 err = 0;
    vela_bundle_read(&reader, file.data() + header_length, static_cast<u_int32>(file.size() - header_length), &err);
    vela_bundle_item item;
    while (vela_bundle_next(&reader, &item) != 0) {
        if (!restore(intent, item)) {
            return false;
        }
    }
    return err == 0;
}

// ---- writing ---------------------------------------------------------------------------------------------------------

/** Packs every record behind room for the header. */
Bytes pack(const Intent &intent, std::string &fault) {
    vela_handle *handle = intent.handle().get();
    u_int32 err = 0;
    const std::size_t room = intent.objects().size() * room_per_message + room_per_message;
    vela_bundle *bundle = vela_bundle_open(handle, memory_class, static_cast<u_int32>(room), &err);
    for (const auto &[key, record] : intent.objects()) {
        vela_bundle_add(handle, memory_class, describe(record->type()).operations->marshal, record->message(), &err);
    }
    Bytes file(header_length);
    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    if (bundle != nullptr) {
        u_int32 close_err = 0;
        vela_bundle_close(handle, &bytes, &length, &close_err);
        file.insert(file.end(), bytes, bytes + length);
    }
    vela_bundle_destroy(bundle);
    if (err != 0) {
        fault = "the intent cannot be encoded (" + std::to_string(err) + ")";
    }
    return file;
}

void write_header(Bytes &file, std::uint64_t generation, const std::string &boot) {
    std::copy(magic.begin(), magic.end(), file.begin());
    base::store_big_endian(file.data() + version_at, format_version);
    base::store_big_endian(file.data() + generation_at, generation);
    std::copy(boot.begin(), boot.end(), file.begin() + boot_at);
    base::store_big_endian(file.data() + checksum_at, checksum_of(file));
}

bool write_all(int file, const Bytes &bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(file, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return true;
}

std::string folder_of(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

/** Writes a file that is on the disk when this returns; empty, or what failed. */
std::string write_new(const std::string &path, const Bytes &bytes) {
    ::unlink(path.c_str());  // what an agent that was killed left, or somebody's link
    base::file_descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file && write_all(file.get(), bytes) && ::fsync(file.get()) == 0 && file.close()) {
        return {};
    }
    std::string fault = system_text(path, "write");
    ::unlink(path.c_str());
    return fault;
}

/** Gives the new file its name; the former one is FILE.previous from now on. */
std::string replace(const std::string &path, const std::string &written) {
    const std::string previous = path + ".previous";
    const std::string link = previous + ".new";
    ::unlink(link.c_str());
    const bool has_former = ::link(path.c_str(), link.c_str()) == 0;
    if ((has_former && ::rename(link.c_str(), previous.c_str()) != 0) || (!has_former && errno != ENOENT)) {
        return system_text(previous, "link");
    }
    if (::rename(written.c_str(), path.c_str()) != 0) {
        return system_text(path, "rename");
    }
    const base::file_descriptor folder(::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder && ::fsync(folder.get()) == 0 ? std::string() : system_text(folder_of(path), "sync");
}

}  // namespace

LoadedIntent IntentStore::load(const SharedHandle &handle, IntentLimits limits) {
    LoadedIntent loaded{LoadedIntent::Kind::Loaded, Intent(handle, limits), {}};
    ReadFile read = read_checked(path_);
    if (read.kind == ReadFile::Kind::Absent) {
        return loaded;
    }
    if (read.kind == ReadFile::Kind::Damaged) {
        const std::string damage = read.note;
        read = read_checked(path_ + ".previous");
        if (read.kind != ReadFile::Kind::Whole) {
            loaded.kind = LoadedIntent::Kind::Failed;
            loaded.note = damage + ", and there is no earlier one; move it away to begin without an intent";
            return loaded;
        }
        ::rename(path_.c_str(), (path_ + ".damaged").c_str());
        loaded.kind = LoadedIntent::Kind::Recovered;
        loaded.note = damage + " and kept as " + path_ + ".damaged; the intent before it is in force";
    }
    if (read.kind == ReadFile::Kind::Failed || !restore_all(loaded.intent, read.bytes)) {
        loaded.intent = Intent(handle, limits);
        loaded.kind = LoadedIntent::Kind::Failed;
        loaded.note = read.note.empty() ? path_ + ": has messages that this release does not keep; it is left as it is"
                                        : read.note;
        return loaded;
    }
    generation_ = base::load_big_endian<std::uint64_t>(read.bytes.data() + generation_at);
    const std::string boot(reinterpret_cast<const char *>(read.bytes.data()) + boot_at, boot_length);
    if (boot != boot_identity(boot_file_)) {
        forget_status(loaded.intent);
    }
    return loaded;
}

std::string IntentStore::save(const Intent &intent) {
    std::string fault;
    Bytes file = pack(intent, fault);
    if (fault.empty()) {
        write_header(file, generation_ + 1, boot_identity(boot_file_));
        const std::string written = path_ + ".new";
        fault = write_new(written, file);
        if (fault.empty()) {
            fault = replace(path_, written);
        }
    }
    generation_ += fault.empty() ? 1 : 0;
    return fault;
}

}  // namespace ptp_agent
