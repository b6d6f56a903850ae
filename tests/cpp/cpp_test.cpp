// What users of the C++ classes rely on beyond what each type has: ownership, errors, arrays, formats, dispatch.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <unordered_set>
#include <utility>

#include "ptp_cfg.hpp"
#include "ptp_cfg/cpp/throwing.hpp"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/** A handle that counts what it gave out. */
class counted {
  public:
    counted() : handle_(make(this)) {}
    vela_handle *get() const { return handle_; }
    int blocks() const { return blocks_; }
    void fail_from_now_on() { fails_ = true; }

  private:
    static ptp::handle make(counted *self) {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.cookie = self;
        options.alloc = [](void *cookie, u_int32, size_t size) -> void * {
            auto *counts = static_cast<counted *>(cookie);
            counts->blocks_ += counts->fails_ ? 0 : 1;
            return counts->fails_ ? nullptr : std::malloc(size);
        };
        options.free = [](void *cookie, u_int32, void *memory) {
            static_cast<counted *>(cookie)->blocks_ -= memory != nullptr ? 1 : 0;
            std::free(memory);
        };
        return ptp::handle::create(&options).value();
    }

    int blocks_ = 0;
    bool fails_ = false;
    ptp::handle handle_;
};

ptp::port named_port(vela_handle *handle, std::string_view name) {
    auto port = ptp::throwing::create<ptp::port>(handle);
    port.set_port_name(name).value();
    return port;
}

std::vector<u_int8> port_bytes(vela_handle *handle, std::string_view name) {
    auto message = ptp::throwing::create<ptp::port_cfg_message>(handle);
    message.port().set_port_name(name).value();
    return ptp::throwing::to_bytes(message);
}

TEST(CppOwner, GivesEachBlockBackOnceHoweverItIsMoved) {
    counted handle;
    const int before = handle.blocks();
    {
        ptp::port first = named_port(handle.get(), "first");
        ptp::port second = named_port(handle.get(), "second");
        second = std::move(first);
        EXPECT_EQ(second.port_name(), "first");
        second = second.clone().value();
        EXPECT_FALSE(first);  // NOLINT: what is left behind is nothing
        ptp::port third(std::move(second));
        std::vector<ptp::port> many;
        many.push_back(std::move(third));
        many.push_back(named_port(handle.get(), "grown"));
        EXPECT_EQ(many[0].port_name(), "first");
    }
    EXPECT_EQ(handle.blocks(), before);
}

TEST(CppOwner, HandsPayloadsBetweenMessagesAndPrograms) {
    counted handle;
    const int before = handle.blocks();
    {
        auto message = ptp::port_cfg_message::create(handle.get()).value();
        message.set_port(named_port(handle.get(), "given")).value();
        EXPECT_EQ(message.port().port_name(), "given");
        ptp::port taken = message.take_port();
        EXPECT_EQ(taken.port_name(), "given");
        EXPECT_FALSE(message.port());
        EXPECT_EQ(message.port().port_num(), 0) << "nothing reads as nothing";
        EXPECT_NE(message.port().set_port_num(1).error().code, VELA_OK);
        ptp_port *raw = taken.release();
        const ptp::port again(handle.get(), raw);
        EXPECT_EQ(again.port_name(), "given");
    }
    EXPECT_EQ(handle.blocks(), before);
}

TEST(CppErrors, ReachTheNextResultWhenNobodyLooksAtThem) {
    ptp::handle handle = ptp::handle::create().value();
    ptp::port port = named_port(handle, "port");
    port.set_port_name(std::string(256, 'x'));
    port.set_port_num(4);
    u_int8 room[1000];
    const auto refused = ptp::encode(port, room);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, u_int32{VELA_ENOSPC});
    EXPECT_TRUE(ptp::encode(port, room)) << "an error is reported once";
    EXPECT_EQ(port.port_num(), 4) << "those after it are set all the same";
    if (!port.set_port_name(std::string(256, 'x'))) {
        port.set_port_name("short");
    }
    EXPECT_TRUE(ptp::encode(port, room)) << "one that was looked at is dealt with";
    port.set_port_name(std::string(256, 'x'));
    EXPECT_EQ(handle.take_error().error().code, u_int32{VELA_ENOSPC});
}

TEST(CppErrors, AreThrownByValue) {
    ptp::handle handle = ptp::throwing::make_handle();
    ptp::port port = named_port(handle, "port");
    try {
        port.set_port_name(std::string(300, 'x')).value();
        FAIL() << "no exception";
    } catch (const ptp::failure &thrown) {
        EXPECT_EQ(thrown.code(), u_int32{VELA_ENOSPC});
        EXPECT_THAT(thrown.what(), HasSubstr("VELA_ENOSPC"));
    }
    EXPECT_THROW(ptp::throwing::decode<ptp::port_cfg_message>(handle, ptp::span<const u_int8>()), ptp::failure);
    try {
        ptp::throwing::from_json<ptp::port>(handle, "{\"port_num\":\n 70000}");
        FAIL() << "no exception";
    } catch (const ptp::format_failure &thrown) {
        EXPECT_THAT(thrown.what(), HasSubstr("line 2"));
        EXPECT_THAT(thrown.what(), HasSubstr("port_num"));
    }
}

TEST(CppErrors, TellWhatAnOlderPeerLacks) {
    vela_domain *domain = vela_domain_create("older");
    vela_domain_set_variant(domain, "ptp_port", 0);
    vela_domain_set_variant(domain, "ptp_clock_profile", 0);
    vela_handle_options options = {};
    options.size = sizeof options;
    options.domain = domain;
    {
        ptp::handle handle = ptp::handle::create(&options).value();
        auto port = ptp::port::create(handle).value();
        EXPECT_EQ(port.acceptable_slave_table_enabled().error().code, u_int32{VELA_EEPOCH});
        EXPECT_TRUE(port.acceptable_slave_table_enabled().value_or(true));
        EXPECT_EQ(port.set_acceptable_slave_table_enabled(true).error().code, u_int32{VELA_EEPOCH});
        int newer = 0;
        port.visit([&](std::string_view name, const auto &) { newer += name == "acceptable_slave_table_enabled"; });
        EXPECT_EQ(newer, 0);
        auto clock = ptp::clock::create(handle).value();
        auto refused = clock.set_clk_profile(ptp::clock_profile::PHASE_PROFILE_G8275_2).error();
        EXPECT_EQ(refused.code, u_int32{VELA_EEPOCH});
        char text[200];
        refused.text(text, sizeof text);
        EXPECT_THAT(text, HasSubstr("ptp_clock_clk_profile_set_value"));
    }
    vela_domain_destroy(domain);
}

TEST(CppErrors, LeaveNothingBehindWithoutMemoryOrInDamagedBytes) {
    counted handle;
    const std::vector<u_int8> bytes = port_bytes(handle.get(), "a port");
    const int before = handle.blocks();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_FALSE(ptp::decode<ptp::port_cfg_message>(handle.get(), {bytes.data(), length}));
        EXPECT_FALSE(ptp::receive(handle.get(), {bytes.data(), length}));
    }
    EXPECT_FALSE(ptp::decode<ptp::clock_cfg_message>(handle.get(), bytes)) << "another message";
    handle.fail_from_now_on();
    EXPECT_EQ(ptp::port::create(handle.get()).error().code, u_int32{VELA_ENOMEM});
    EXPECT_FALSE(ptp::decode<ptp::port_cfg_message>(handle.get(), bytes));
    EXPECT_FALSE(ptp::from_json<ptp::port>(handle.get(), "{}"));
    EXPECT_EQ(handle.blocks(), before);
}

TEST(CppArrays, AreRangesOfViews) {
    ptp::handle handle = ptp::handle::create().value();
    auto list = ptp::ipv4_streams_arr::create(handle).value();
    u_int16 next = 5;
    for (ptp::ipv4_stream_id_view stream : list.streams().first(3)) {
        stream.set_stream_id(next++).value();
    }
    std::vector<int> ids;
    const ptp::ipv4_streams_arr &read_only = list;
    for (const auto &stream : read_only.streams().first(4)) {
        ids.push_back(stream.stream_id());
    }
    EXPECT_THAT(ids, ElementsAre(5, 6, 7, 0));
    list.set_streams(9, list.streams()[2]).value();
    EXPECT_EQ(list.streams()[9].stream_id(), 7);
    EXPECT_EQ(list.set_streams(128, list.streams()[2]).error().code, u_int32{VELA_ENOENT});

    auto identity = ptp::clock_identity::create(handle).value();
    const u_int8 octets[] = {0xAA, 0xBB, 0xCC};
    identity.set_ptp_clk_id(octets).value();
    identity.set_ptp_clk_id(7, 0x30).value();
    EXPECT_THAT(identity.ptp_clk_id(), ElementsAre(0xAA, 0xBB, 0xCC, 0, 0, 0, 0, 0x30));
    EXPECT_EQ(identity.set_ptp_clk_id(std::vector<u_int8>(9)).error().code, u_int32{VELA_EINVAL});
}

TEST(CppValues, CompareAndHashByTheirFields) {
    ptp::handle handle = ptp::handle::create().value();
    const ptp::port low = named_port(handle, "low");
    ptp::port high = named_port(handle, "low");
    EXPECT_TRUE(low == high && low <= high && !(low < high));
    high.set_port_num(9).value();
    EXPECT_TRUE(low != high && low < high && high > low && high >= low);
    ptp::port_view view = high;
    EXPECT_TRUE(view == high && ptp::port_const_view(low) != view);
    std::unordered_set<ptp::port> seen;
    seen.insert(low.clone().value());
    EXPECT_EQ(seen.count(low.clone().value()), 1u);
    EXPECT_EQ(seen.count(high.clone().value()), 0u);
    view.assign(low).value();
    EXPECT_TRUE(low == high);
}

TEST(CppFormats, ReadWhatTheyWrite) {
    ptp::handle handle = ptp::handle::create().value();
    const ptp::port port = named_port(handle, "eth0 \xC3\xA9");
    EXPECT_TRUE(ptp::from_json<ptp::port>(handle, ptp::to_json(port, 2).value()).value() == port);
    EXPECT_TRUE(ptp::from_xml<ptp::port>(handle, ptp::to_xml(port).value()).value() == port);
    const auto message = ptp::decode<ptp::port_cfg_message>(handle, port_bytes(handle, "eth0")).value();
    const std::string json = ptp::to_json(message).value();
    EXPECT_EQ(ptp::to_json(ptp::from_json<ptp::port_cfg_message>(handle, json).value()).value(), json);
    const std::string xml = ptp::to_xml(message).value();
    EXPECT_EQ(ptp::to_xml(ptp::from_xml<ptp::port_cfg_message>(handle, xml).value()).value(), xml);
#ifndef PTP_CFG_EXPORTED_RUNTIME  // such a library reads plainly, which passes over what it does not know
    EXPECT_THAT(ptp::from_xml<ptp::port>(handle, "<ptp_port><unknown/></ptp_port>").error().reason,
                HasSubstr("unknown"));
#endif
    std::ostringstream out;
    out << port << ptp::port_state::PORT_STATE_SLAVE << static_cast<ptp::port_state>(77);
    EXPECT_THAT(out.str(), HasSubstr("port_name@var_string:\"eth0"));
    EXPECT_THAT(out.str(), HasSubstr("VELA_PTP_PORT_STATE_SLAVE77"));
    EXPECT_EQ(ptp::parse<ptp::port_state>("VELA_PTP_PORT_STATE_SLAVE").value(), ptp::port_state::PORT_STATE_SLAVE);
    EXPECT_FALSE(ptp::parse<ptp::port_state>("VELA_PTP_VERSION_1"));
}

/** Two messages in a bundle, as a sender packs them. */
std::vector<u_int8> bundle_of_two(vela_handle *handle) {
    std::vector<u_int8> bytes = port_bytes(handle, "in a bundle");
    auto clock = ptp::clock_cfg_message::create(handle).value();
    clock.clock().set_clock_handle(7).value();
    const std::vector<u_int8> more = ptp::to_bytes(clock).value();
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

TEST(CppDispatch, GivesEachMessageToTheFirstThatTakesIt) {
    counted handle;
    const int before = handle.blocks();
    const std::vector<u_int8> clock = [&] {
        auto message = ptp::clock_cfg_message::create(handle.get()).value();
        message.clock().set_clock_handle(7).value();
        return ptp::to_bytes(message).value();
    }();
    u_int64 seen = 0;
    std::string others;
    const auto take_clock = [&](ptp::clock_cfg_message message) { seen = message.clock().clock_handle(); };
    const auto take_any = [&](ptp::any_message message) {
        ptp_cfg_type_description about = {};
        about.size = sizeof about;
        ptp_cfg_type_describe(message.type(), &about);
        others += about.short_name;
    };
    EXPECT_EQ(ptp::dispatch(handle.get(), clock, take_clock, take_any).value().taken, 1u);
    EXPECT_EQ(ptp::dispatch(handle.get(), port_bytes(handle.get(), "port"), take_clock, take_any).value().taken, 1u);
    EXPECT_EQ(seen, 7u);
    EXPECT_EQ(others, "ptp_port_cfg");
    const auto nobody = ptp::dispatch(handle.get(), port_bytes(handle.get(), "port"), take_clock).value();
    EXPECT_EQ(nobody.failed, 1u);
    EXPECT_EQ(nobody.first.err, u_int32{VELA_ENOSYS});
    EXPECT_THROW(ptp::dispatch(handle.get(), clock, [](ptp::clock_cfg_message) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    const auto cut = ptp::dispatch(handle.get(), ptp::span<const u_int8>(clock).first(20), take_any).value();
    EXPECT_EQ(cut.taken, 0u);
    EXPECT_EQ(cut.first.err, u_int32{VELA_EMSGSIZE});
    EXPECT_EQ(handle.blocks(), before);
}

TEST(CppDispatch, ReceivesWhateverComes) {
    ptp::handle handle = ptp::handle::create().value();
    const std::vector<u_int8> two = bundle_of_two(handle);
    u_int32 consumed = 0;
    auto first = ptp::receive(handle, two, &consumed).value();
    EXPECT_FALSE(first.take<ptp::clock_cfg_message>());
    const ptp::port_cfg_message port = first.take<ptp::port_cfg_message>().value();
    EXPECT_EQ(port.port().port_name(), "in a bundle");
    EXPECT_FALSE(first);
    auto second = ptp::receive(handle, {two.data() + consumed, two.size() - consumed}).value();
    EXPECT_TRUE(second.is<ptp::clock_cfg_message>());
}

}  // namespace
