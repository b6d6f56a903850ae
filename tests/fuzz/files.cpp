// Files: domains, recordings, traces and shared types. Where a file is large or has a checksum, an input is a list of
// changes to one that the library wrote.
#include <bitlog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "files.h"
#include "targets.h"
#include "vela_recorder.h"
#include "velalib.h"

namespace fuzz {
namespace {

/** The file that an input stands for: its own bytes, or changes of up to 8 bytes each to a sound one, and a length. */
octets file_of(input &in, const octets &sound) {
    if ((in.octet() & 1) == 0) {
        const std::span<const u_int8> all = in.rest();
        return {all.begin(), all.end()};
    }
    octets file = sound;
    const u_int32 cut = in.word();
    while (!in.is_empty()) {
        const size_t place = (in.word() * size_t{4} + in.octet()) % file.size();
        const std::span<const u_int8> change = in.take(1 + in.octet() % 8);
        std::copy_n(change.begin(), std::min(change.size(), file.size() - place),
                    file.begin() + static_cast<std::ptrdiff_t>(place));
    }
    file.resize(file.size() - (cut % 8 == 0 ? cut % file.size() : 0));
    return file;
}

/** No change, one, or some at places by chance. */
octets make_changes(u_int64 number) {
    random_source random(static_cast<u_int32>(number + 1));
    octets result = {1, 1, 0};
    for (u_int64 i = 0; i < number % 4; ++i) {
        for (int octet = 0; octet < 8; ++octet) {
            result.push_back(static_cast<u_int8>(random() >> 8));
        }
    }
    return result;
}

}  // namespace

// ---- domains ---------------------------------------------------------------------------------------------------------

void run_domain(input in) {
    const std::string path = folder() + "/domain";
    write_file(path, in.rest());
    std::array<char, 512> why;
    u_int32 err = 0;
    vela_domain *domain = vela_domain_load(path.c_str(), why.data(), why.size(), &err);
    require((domain != nullptr) == (err == 0), "a domain and an error, or neither");
    require(std::memchr(why.data(), 0, why.size()) != nullptr, "a reason without an end");
    require(err == 0 || why[0] != 0, "a fault without a reason");
    vela_domain_destroy(domain);
}

octets make_domain(u_int64 number) {
    std::string text = "# what a peer knows\nname = \"peer " + std::to_string(number) + "\"\n";
    const std::string message = describe(messages()[number % messages().size()]).name;
    text += "forbidden_messages = ['" + message + "', # not this one\n]\n";
    text = number % 2 == 0 ? text : "name = 'a'\nforbidden_messages = [\"" + message + "\"]\n";
    text += "[variants]\n";
    for (u_int64 i = 0; i < number % 7; ++i) {
        text += std::string(describe(records()[(number * 7 + i) % records().size()]).name) + " = 0x0\n";
    }
    return {text.begin(), text.end()};
}

// ---- recordings ------------------------------------------------------------------------------------------------------

namespace {

/** A recording of some messages. */
octets sound_recording() {
    const std::string path = folder() + "/sound.rec";
    u_int32 err = 0;
    vela_recorder *recorder = vela_recorder_open(path.c_str(), nullptr, nullptr, 0, &err);
    for (u_int32 i = 0; i < 6; ++i) {
        const octets bytes = encoding_of(messages()[i * 7 % messages().size()], i, 0);
        vela_recorder_append(recorder, i + 1, i, bytes.data(), static_cast<u_int32>(bytes.size()), &err);
    }
    vela_recorder_close(recorder, nullptr);
    require(err == 0, "no recording");
    return read_file(path);
}

const octets &kept_recording() {
    static const octets bytes = sound_recording();
    return bytes;
}

/** Reads to the end; every byte belongs to one place. */
u_int32 read_recording(const std::string &path) {
    u_int32 err = 0;
    vela_recording *recording = vela_recording_open(path.c_str(), nullptr, 0, &err);
    require((recording != nullptr) == (err == 0), "a recording and an error, or neither");
    u_int32 count = 0;
    u_int64 end = 0;
    std::string file;
    vela_recording_item item = {};
    while (recording != nullptr && vela_recording_next(recording, &item, &err) != 0) {
        end = file == item.file ? end : 0;
        file = item.file;
        require(item.extent > 0 && (end == 0 || item.offset == end), "places of a recording do not follow each other");
        end = item.offset + item.extent;
        require(end <= vela_recording_size(recording), "a place lies behind the end of its file");
        require((item.kind == VELA_RECORDING_RECORD) == (item.reason == nullptr), "a record with a fault, or none");
        octets copy(item.bytes, item.bytes + (item.bytes != nullptr ? item.length : 0));
        count += item.kind == VELA_RECORDING_RECORD ? 1 : 0;
    }
    require(err == 0 || recording == nullptr, "a file in memory cannot be read");
    vela_recording_close(recording);
    return count;
}

}  // namespace

void run_recording(input in) {
    const std::string path = folder() + "/fuzzed.rec";
    write_file(path, file_of(in, kept_recording()));
    read_recording(path);
}
octets make_recording(u_int64 number) { return make_changes(number); }

/** Goes on recording in whatever file there is: what was in it stays, and what is added can be read. */
void run_recorder(input in) {
    const std::string path = folder() + "/added.rec";
    vela_recorder_options options = {};
    options.size = sizeof options;
    options.files = 1 + in.octet() % 3;
    options.max_file_bytes = VELA_RECORDER_LEAST_FILE + in.octet() * u_int64{64};
    write_file(path, file_of(in, kept_recording()));
    const u_int32 before = read_recording(path);
    u_int32 err = 0;
    vela_recorder *recorder = vela_recorder_open(path.c_str(), &options, nullptr, 0, &err);
    require((recorder != nullptr) == (err == 0), "a recorder and an error, or neither");
    if (recorder != nullptr) {
        static const octets message = encoding_of(messages().front(), 1, 0);
        vela_recorder_append(recorder, 1, 2, message.data(), static_cast<u_int32>(message.size()), &err);
        require(err == 0, "nothing can be added");
        vela_recorder_statistics did = {};
        vela_recorder_close(recorder, &did);
        const u_int32 after = read_recording(path);
        require(after == before + 1 || (did.rotations > 0 && options.files == 1), "a record was lost, or made up");
    }
    for (const char *rest : {"", ".1", ".2", ".3"}) {
        unlink((path + rest).c_str());
    }
}

octets make_recorder(u_int64 number) {
    octets result = make_changes(number);
    result.insert(result.begin(), {static_cast<u_int8>(number), static_cast<u_int8>(number * 9)});
    return result;
}

// ---- traces ----------------------------------------------------------------------------------------------------------

namespace {

constexpr bitlog_trace_points points = {"fuzzed", 64, 64};

octets sound_trace() {
    const std::string path = folder() + "/sound.trace";
    u_int16 module = 0;
    constexpr bitlog_descriptor descriptor = {"fuzz", nullptr};
    bitlog_set_sink([](void *, const bitlog_record *) {}, nullptr);
    bitlog_module_init_fn("fuzz", &module, &descriptor);
    require(bitlog_ring_open(path.c_str(), 16) == 0, "no ring");
    for (u_int32 i = 0; i < 20; ++i) {
        __BLf_0(&points, 64 + i, module, BITLOG_INFORMATIONAL);
        __BLf_1(&points, 64 + i, module, BITLOG_ERROR, "a text");
        __BLf_44(&points, 64 + i, module, BITLOG_DEBUG, i, i);
        __BLf_51(&points, 64 + i, module, BITLOG_DEBUG, &points, nullptr);
    }
    bitlog_ring_close();
    return read_file(path);
}

}  // namespace

void run_trace(input in) {
    static const octets sound = sound_trace();
    const std::string path = folder() + "/fuzzed.trace";
    write_file(path, file_of(in, sound));
    bitlog_reader *reader = nullptr;
    std::array<char, 256> why = {};
    const u_int32 err = bitlog_reader_open(path.c_str(), &reader, why.data(), why.size());
    require((reader != nullptr) == (err == 0), "a reader and an error, or neither");
    bitlog_ring_info info = {};
    if (reader != nullptr) {
        bitlog_reader_info(reader, &info);
        require(std::memchr(info.program, 0, sizeof info.program) != nullptr, "a program's name without an end");
    }
    bitlog_entry entry = {};
    for (u_int32 count = 0; reader != nullptr && bitlog_reader_next(reader, &entry, 0) != 0; ++count) {
        require(count <= info.capacity, "more records than there is room for");
        std::array<char, 300> text;
        const size_t length = bitlog_reader_format(reader, &entry, text.data(), text.size());
        for (size_t i = 0; i < std::min(length, text.size() - 1); ++i) {
            require(static_cast<u_int8>(text[i]) >= ' ', "a control character in a text for people");
        }
        const char *module = bitlog_reader_module(reader, entry.record.module_id);
        require(module == nullptr || std::strlen(module) < 64, "a name of a module without an end");
    }
    bitlog_reader_close(reader);
}
octets make_trace(u_int64 number) { return make_changes(number); }

// ---- shared types ----------------------------------------------------------------------------------------------------

namespace {

octets sound_shared_types() {
    const std::string path = folder() + "/sound.types";
    u_int32 err = 0;
    vela_shared_types *types =
        vela_shared_types_create(path.c_str(), reinterpret_cast<void *>(0x7ea000000000), 1 << 17, &err, nullptr, 0);
    vela_handle_options options = {};
    options.size = sizeof options;
    options.shared_types = types;
    vela_handle *handle = vela_handle_create(&options, &err);
    require(handle != nullptr, "no shared types");
    vela_handle_destroy(handle, nullptr);
    vela_shared_types_close(types);
    return read_file(path);
}

}  // namespace

void run_shared_types(input in) {
    static const octets sound = sound_shared_types();
    const bool is_mapped = (in.octet() & 1) != 0;
    const std::string path = folder() + "/fuzzed.types";
    unlink(path.c_str());  // never shortens a file that is mapped
    write_file(path, file_of(in, sound));
    u_int32 err = 0;
    vela_shared_types *types = is_mapped ? vela_shared_types_open(path.c_str(), nullptr, &err, nullptr, 0)
                                         : vela_shared_types_read(path.c_str(), &err, nullptr, 0);
    require((types != nullptr) == (err == 0), "shared types and an error, or neither");
    if (types != nullptr) {
        size_t characters = 0;
        vela_type_counts_each(
            types,
            [](void *sum, const vela_type_counts *counts) {
                *static_cast<size_t *>(sum) +=
                    std::strlen(counts->type_name) + std::strlen(counts->module_name) + std::strlen(counts->kind);
            },
            &characters);
        vela_shared_types_close(types);
    }
}

octets make_shared_types(u_int64 number) {
    octets result = make_changes(number / 2);
    result.insert(result.begin(), static_cast<u_int8>(number));
    return result;
}

}  // namespace fuzz
