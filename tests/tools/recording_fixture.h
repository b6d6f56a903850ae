// Recordings that a test makes, loads, replays, and lets a recorder write.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <vector>

#include "shell.h"
#include "vela_recorder.h"

inline constexpr u_int64 second = 1'000'000'000;
inline constexpr u_int64 noon = u_int64{1'767'960'000} * second;  // 2026-01-09T12:00:00Z

struct entry {
    u_int64 time_ns;
    std::string bytes;
    u_int32 source;
};

class recording : public shell_test {
  protected:
    /** A message that no type is known for: a header, an identity and what else. */
    static std::string unknown_message(u_int8 mark, size_t payload = 5) {
        std::string bytes(43 + payload, static_cast<char>(mark));
        bytes.replace(0, 27, 27, '\0');
        bytes[0] = '\xBC';
        for (int i = 0; i < 4; ++i) {
            bytes[static_cast<size_t>(15 - i)] = static_cast<char>(bytes.size() >> 8 * i);
        }
        return bytes;
    }
    static void make(const std::string &name, const std::vector<entry> &entries) {
        u_int32 err = 0;
        vela_recorder *recorder = vela_recorder_open(name.c_str(), nullptr, nullptr, 0, &err);
        ASSERT_NE(recorder, nullptr);
        for (const entry &each : entries) {
            vela_recorder_append(recorder, each.time_ns, each.source,
                                 reinterpret_cast<const u_int8 *>(each.bytes.data()),
                                 static_cast<u_int32>(each.bytes.size()), &err);
        }
        vela_recorder_close(recorder, nullptr);
        ASSERT_EQ(err, 0u);
    }
    /** Records of a recording, which must have nothing damaged and at most a torn end. */
    static std::vector<entry> load(const std::string &name) {
        std::vector<entry> entries;
        u_int32 err = 0;
        vela_recording *input = vela_recording_open(name.c_str(), nullptr, 0, &err);
        vela_recording_item item;
        while (input != nullptr && vela_recording_next(input, &item, &err) != 0) {
            EXPECT_NE(item.kind, VELA_RECORDING_DAMAGED);
            if (item.kind == VELA_RECORDING_RECORD) {
                entries.push_back(
                    {item.time_ns, {reinterpret_cast<const char *>(item.bytes), item.length}, item.source});
            }
        }
        EXPECT_EQ(err, 0u);
        vela_recording_close(input);
        return entries;
    }
    /** What a recording holds, one behind the other. */
    static std::string content(const std::string &name) {
        std::string all;
        for (const entry &each : load(name)) {
            all += each.bytes;
        }
        return all;
    }
    /** Replays in.rec to a listener of its own; status and stderr are the replay's, out what arrived. */
    static outcome replay(const std::string &options, const std::string &count) {
        outcome result = sh("ptpcfg listen unix:$PWD/s --to bin -o got.bin --timeout 20 --count " + count +
                            " & listener=$!\nptpcfg replay in.rec unix:$PWD/s " + options +
                            "; status=$?\nwait $listener; exit $status");
        result.out = read("got.bin");
        sh("rm -f got.bin");
        return result;
    }
    /** Sends packets to a Unix channel as they are, from a process without the library. */
    static void send_packets(const std::string &path, const std::vector<std::string> &packets) {
        const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        int connected = -1;
        for (int attempt = 0; attempt < 2000 && connected != 0; ++attempt) {
            connected = connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address);
            usleep(connected == 0 ? 0 : 10'000);
        }
        ASSERT_EQ(connected, 0);
        for (const std::string &packet : packets) {
            EXPECT_EQ(::send(socket, packet.data(), packet.size(), 0), static_cast<ssize_t>(packet.size()));
        }
        close(socket);
    }
    static outcome with_recorder(const std::string &options, const std::string &script) {
        return sh("ptpcfg record unix:$PWD/s out.rec " + options + " & recorder=$!\n" + script + "\nwait $recorder");
    }
};
