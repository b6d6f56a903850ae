// Records as text.

#include <algorithm>
#include <cstring>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/commands.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

class Print : public family_test {
  protected:
    Print() {
        ptp_clock_quality_set_all(handle, test_class, quality.get(), 248, -2, 6, &err);
        expect_ok();
    }
    void TearDown() override {
        quality.reset();
        family_test::TearDown();
    }
    /** The text that `print` writes into a buffer filled with dots. */
    template <class Call>
    std::string text_of(Call print) {
        std::string text(1u << 16, '.');
        const u_int32 count = print(text.data(), static_cast<u_int32>(text.size()));
        EXPECT_LE(count, text.size());
        EXPECT_EQ(text.find_first_not_of('.', count), std::string::npos) << "more was written than counted";
        text.resize(std::min<size_t>(count, text.size()));
        return text;
    }
    std::string print(const char *type_name, const void *instance) {
        return text_of([&](char *buffer, u_int32 room) {
            return record_type(type_name).operations->print(handle, test_class, buffer, instance, room, &err);
        });
    }
    std::string print_quality(u_int32 indent, const char *label) {
        return text_of([&](char *buffer, u_int32 room) {
            return ptp_clock_quality_print(handle, test_class, buffer, indent, label, quality.get(), room, &err);
        });
    }

    owned<ptp_clock_quality> quality = own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
};

TEST_F(Print, StructureAtADepth) {
    EXPECT_EQ(print_quality(0, "q"),
              "q@ptp_clock_quality: {\n"
              "  clock_class@u_int8:248\n"
              "  offset_scaled_log_var@int16:-2\n"
              "  clock_accuracy@ptp_clock_accuracy:VELA_PTP_CLOCK_ACCURACY_WITHIN_10us\n"
              "}\n");
    // The brace stands two characters on, behind what the buffer held before.
    EXPECT_EQ(print_quality(2, "q"),
              "  q@ptp_clock_quality: {\n"
              "    clock_class@u_int8:248\n"
              "    offset_scaled_log_var@int16:-2\n"
              "    clock_accuracy@ptp_clock_accuracy:VELA_PTP_CLOCK_ACCURACY_WITHIN_10us\n"
              "..}\n");
}

TEST_F(Print, NestedStructuresAndArrays) {
    const auto port = own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    ptp_clock_identity *identity = ptp_port_identity_clock_identity_get(handle, test_class, port.get(), &err);
    const u_int8 id[] = {1, 2, 3, 4, 5, 6, 7, 255};
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, identity, id, 8, &err);
    ptp_port_identity_portNumber_set_value(handle, test_class, port.get(), 65535, &err);
    EXPECT_EQ(print("ptp_port_identity", port.get()),
              "ptp_port_identity@ptp_port_identity: {\n"
              "  clock_identity@ptp_clock_identity: {\n"
              "    ptp_clk_id[0]@u_int8:1\n"
              "    ptp_clk_id[1]@u_int8:2\n"
              "    ptp_clk_id[2]@u_int8:3\n"
              "    ptp_clk_id[3]@u_int8:4\n"
              "    ptp_clk_id[4]@u_int8:5\n"
              "    ptp_clk_id[5]@u_int8:6\n"
              "    ptp_clk_id[6]@u_int8:7\n"
              "    ptp_clk_id[7]@u_int8:255\n"
              "..}\n"
              "  portNumber@u_int16:65535\n"
              "}\n");
}

TEST_F(Print, ArraysInFullWhateverTheirCount) {
    const auto list =
        own(ptp_stream_runtime_state_arr_create(handle, test_class), ptp_stream_runtime_state_arr_destroy);
    const std::string text = print("ptp_stream_runtime_state_arr", list.get());
    EXPECT_NE(text.find("\n  cnt@u_int32:0\n  state[0]@ptp_stream_runtime_state: {\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n  state[9]@ptp_stream_runtime_state: {\n"), std::string::npos);
    EXPECT_EQ(text.find("state[10]"), std::string::npos);
}

TEST_F(Print, UnknownVariantsAndOlderOnes) {
    const auto offset = own(ptp_utc_offset_create(handle, test_class), ptp_utc_offset_destroy);
    ptp_utc_offset_utc_offset_set_value(handle, test_class, offset.get(), 37, &err);
    header(offset.get()).variant = -1;
    EXPECT_EQ(print("ptp_utc_offset", offset.get()), "ptp_utc_offset@ptp_utc_offset: {\n");
    EXPECT_EQ(print("ptp_utc_offset", nullptr), "ptp_utc_offset@ptp_utc_offset: {\n");
    header(offset.get()).variant = 0;
    EXPECT_EQ(print("ptp_utc_offset", offset.get()), "ptp_utc_offset@ptp_utc_offset: {\n  utc_offset@u_int16:37\n}\n");
    header(offset.get()).variant = 1;
    const std::string middle = print("ptp_utc_offset", offset.get());
    EXPECT_NE(middle.find("leap_second_year"), std::string::npos);
    EXPECT_EQ(middle.find("v_port_index"), std::string::npos);
}

TEST_F(Print, EnumerationsWithAndWithoutLiteral) {
    const auto version = own(ptp_clock_version_create(handle, test_class), ptp_clock_version_destroy);
    const auto print_version = [&](u_int32 indent, const ptp_clock_version *of) {
        return text_of([&](char *buffer, u_int32 room) {
            return ptp_clock_version_print(handle, test_class, buffer, indent, "version", of, room, &err);
        });
    };
    ptp_clock_version_set_value(handle, test_class, version.get(), 1, &err);
    EXPECT_EQ(print_version(3, version.get()), "   version@ptp_clock_version:VELA_PTP_VERSION_1\n");
    chain();
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_clock_version_print_cr(handle, version.get(), buffer, room);
              }),
              "ptp_clock_version@ptp_clock_version:VELA_PTP_VERSION_1\n");
    expected_class = test_class;
    const octets strange = from_hex("00 00000007");
    ptp_clock_version_unmarshal(handle, test_class, strange.data(), version.get(), 5, 0, &err);
    EXPECT_EQ(print_version(0, version.get()), "version@ptp_clock_version:Enum value out of range");

    // The next field follows on the same line.
    const octets bytes = from_hex("00 00 0000000C F8 FFFE 00 00000063");
    ptp_clock_quality_unmarshal(handle, test_class, bytes.data(), quality.get(), 14, 0, &err);
    const std::string text = print_quality(0, "q");
    EXPECT_EQ(text.substr(text.find("  clock_accuracy")),
              "  clock_accuracy@ptp_clock_accuracy:Enum value out of range}\n");
}

TEST_F(Print, Messages) {
    const auto state =
        own(ptp_1pps_input_state_message_create(handle, test_class), ptp_1pps_input_state_message_destroy);
    ptp_1pps_input_state_message_vela_boolean_set_value(handle, test_class, state.get(), 1, &err);
    EXPECT_EQ(print("ptp_1pps_input_state_message", state.get()),
              "message@ptp_1pps_input_state: {\n"
              "  vela_boolean@vela_boolean:true\n"
              "}\n");

    const auto report =
        own(ptp_port_data_set_info_message_create(handle, test_class), ptp_port_data_set_info_message_destroy);
    const std::string text = print("ptp_port_data_set_info_message", report.get());
    const size_t second = text.find("  ptp_port_data_set@ptp_port_data_set: {\n");
    EXPECT_EQ(text.substr(0, second),
              "message@ptp_port_data_set_info: {\n"
              "  ptp_port_pd_hdl@ptp_port_pd_hdl: {\n"
              "    hdl@u_int16:0\n"
              "..}\n");
    EXPECT_EQ(text.substr(text.size() - 6), "..}\n}\n");
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_port_data_set_info_message_print_unsafe(handle, test_class, buffer, report.get(), room,
                                                                     &err);
              }),
              text);
    chain();
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_port_data_set_info_message_print_cr(handle, report.get(), buffer, room);
              }),
              text);
    EXPECT_EQ(ptp_port_data_set_info_message_print_cr(handle, report.get(), nullptr, 0), 0xFFFFFFFFu);
    expect_chained_error(VELA_EMSGSIZE);
    expected_class = test_class;
}

TEST_F(Print, NothingPassesTheRoom) {
    for (const char *name : {"ptp_clock", "ptp_port", "ptp_bmca_data", "ptp_clock_cfg_message",
                             "ptp_port_runtime_state_msg_message", "ptp_1pps_input_state_message"}) {
        const record_type type(name);
        const auto instance = create(type.type);
        fill(type, handle, instance.get(), filling::random);
        const std::string whole = print(name, instance.get());
        const u_int32 len = static_cast<u_int32>(whole.size());
        const guarded_memory memory(len);
        for (u_int32 room = 0; room <= len; room += room + 1 < len && len > 3000 ? 7 : 1) {
            char *buffer = reinterpret_cast<char *>(memory.last(room));
            memset(buffer, '.', room);
            const u_int32 count = type.operations->print(handle, test_class, buffer, instance.get(), room, &err);
            EXPECT_LE(count, room);
            EXPECT_EQ(err, room < len ? u_int32{VELA_EMSGSIZE} : 0u) << name << " " << room;
            EXPECT_EQ(handle->last_error.code, err);
            err = 0;
            vela_clear_last_error(handle);
        }
    }
}

TEST_F(Print, AnErrorThatIsSetEndsItAtOnce) {
    err = VELA_ENOMEM;
    EXPECT_EQ(print_quality(2, "q"), "");
    EXPECT_EQ(print("ptp_clock_accuracy", nullptr), "");
    EXPECT_EQ(print("ptp_clock_cfg_message", nullptr), "");
    expect_trace("ptp_clock_cfg_message", BITLOG_DEBUG,
                 "Already have error when printing ptp_clock_cfg: Cannot allocate memory");
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    err = 0;

    char buffer[256];
    handle->chained_err = VELA_ENOENT;
    EXPECT_EQ(ptp_clock_quality_print_cr(handle, buffer, 0, "q", quality.get(), sizeof buffer), 0xFFFFFFFFu);
    handle->chained_err = 0;
    EXPECT_EQ(ptp_clock_quality_print_cr(handle, buffer, 0, "q", quality.get(), sizeof buffer),
              print_quality(0, "q").size());
    EXPECT_EQ(ptp_clock_quality_print_cr(handle, buffer, 0, "q", quality.get(), 10), 0xFFFFFFFFu);
    expect_chained_error(VELA_EMSGSIZE);
}

}  // namespace
}  // namespace ptp_cfg_test
