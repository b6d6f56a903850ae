// Streams of clock messages of several lengths, each marshalled behind the one before and then received one by one. The
// time is per message, so that it stays the same when cost grows with the number only.
#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *sender = make_handle();
    vela_handle *receiver = make_handle();
    ptp_clock_cfg_message *message = make_clock_message(sender);
    std::vector<u_int8> bytes = std::vector<u_int8>(10000 * clock_message_width);
    receipt got;
    u_int32 err = 0;

    u_int32 pass(u_int32 count) {
        u_int32 length = 0;
        for (u_int32 i = 0; i < count; ++i) {
            length += ptp_clock_cfg_message_marshal(sender, mem_class, bytes.data() + length, message,
                                                    static_cast<u_int32>(bytes.size()) - length, &err);
        }
        u_int32 position = 0;
        while (position < length && err == 0) {
            position += ptp_cfg_dispatch(receiver, mem_class, &got, nullptr, nullptr, bytes.data() + position,
                                         length - position, &err);
        }
        return position;
    }
};

std::string check() {
    fixture &f = own<fixture>();
    const u_int64 before = f.got.messages;
    f.pass(10000);
    return f.err == 0 && f.got.messages - before == 10000 ? "" : "messages were lost";
}

work of(u_int32 count) {
    return {std::to_string(count) + " messages", [count](benchmark::State &state) {
                fixture &f = own<fixture>();
                repeat_batch(state, count, [&] { return f.pass(count); });
            }};
}

const contender entry("message_stream", "ours, per message", check, {of(1), of(10), of(100), of(1000), of(10000)});

}  // namespace
}  // namespace bench
