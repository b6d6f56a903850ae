#include "agent/management/message.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace ptp_agent {
namespace {

std::vector<std::uint8_t> from_hex(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += text[i] == ' ' ? 1 : 2) {
        if (text[i] != ' ') {
            bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
        }
    }
    return bytes;
}

TEST(Tlv, RowsFitTheirDataAndStructures) {
    std::set<ManagementId> seen;
    for (const TlvRow &row : tlv_rows()) {
        EXPECT_TRUE(seen.insert(row.id).second) << row.name;
        for (const TlvField &field : row.fields) {
            const bool bit = field.kind == FieldKind::Bit;
            EXPECT_LE(field.offset + (bit ? 1 : field.width * field.elements), row.length) << row.name;
            const int member = bit || field.kind == FieldKind::Truth ? 1 : field.width * field.elements;
            EXPECT_LE(field.member + member, row.structure_size) << row.name;
        }
    }
}

// Written out by hand from the layout of each data set.
TEST(Tlv, ReadsDataSetsAsTheDaemonSendsThem) {
    const auto default_ds = decode<DefaultDataSet>(from_hex("03 00 0002 80 f8 fe ffff 7f 0a1b2cfffe3d4e5f 18 00"));
    ASSERT_TRUE(default_ds);
    EXPECT_EQ(*default_ds,
              (DefaultDataSet{
                  true, true, 2, 128, 127, 24, {248, 0xFE, 0xFFFF}, {0x0a, 0x1b, 0x2c, 0xff, 0xfe, 0x3d, 0x4e, 0x5f}}));
    const auto current = decode<CurrentDataSet>(from_hex("0001 ffffffffffff0000 0000000005dc0000"));
    ASSERT_TRUE(current);
    EXPECT_EQ(*current, (CurrentDataSet{1, -65536, 1500LL << 16}));
    const auto properties = decode<TimeProperties>(from_hex("0025 3d 20"));
    ASSERT_TRUE(properties);
    EXPECT_EQ(*properties, (TimeProperties{37, true, false, true, true, true, true, 0x20}));
    const auto port = decode<PortDataSet>(from_hex("0a1b2cfffe3d4e5f0001 09 fc 0000000000000000 fd 03 fc 01 00 12"));
    ASSERT_TRUE(port);
    EXPECT_EQ(port->state, PortState::Slave);
    EXPECT_EQ(port->log_min_delay_req_interval, -4);
    EXPECT_EQ(port->log_announce_interval, -3);
    EXPECT_EQ(port->version, 2) << "a newer daemon has its minor version in the upper half";
}

TEST(Tlv, ReadsCountersThatAreLittleEndian) {
    std::vector<std::uint8_t> data(266);
    data[10] = 0x2A;         // received, messageType 0
    data[138 + 8 * 11] = 7;  // sent, messageType 11
    const auto statistics = decode<PortStatistics>(data);
    ASSERT_TRUE(statistics);
    EXPECT_EQ(statistics->counters.received[0], 42u);
    EXPECT_EQ(statistics->counters.sent[11], 7u);
}

TEST(Tlv, WritesWhatItReads) {
    std::mt19937 random(1);
    for (const TlvRow &row : tlv_rows()) {
        std::vector<std::uint8_t> structure(row.structure_size), again(row.structure_size);
        std::vector<std::uint8_t> data(row.length);
        for (std::uint8_t &octet : data) {
            octet = static_cast<std::uint8_t>(random());
        }
        ASSERT_TRUE(decode_tlv(row, data, structure.data()));
        const std::vector<std::uint8_t> written = encode_tlv(row, structure.data());
        ASSERT_TRUE(decode_tlv(row, written, again.data()));
        EXPECT_EQ(structure, again) << row.name;
        data.pop_back();
        EXPECT_FALSE(decode_tlv(row, data, structure.data())) << row.name;
    }
}

TEST(Tlv, ReadsATextOnlyWhereItIsWhole) {
    const TlvRow &row = *find_tlv(ManagementId::PortProperties);
    std::vector<std::uint8_t> data(12);
    EXPECT_FALSE(decode_text(row, data));
    data.insert(data.end(), {4, 'e', 't', 'h'});
    EXPECT_FALSE(decode_text(row, data));
    data.push_back('0');
    EXPECT_EQ(decode_text(row, data), "eth0");
}

TEST(Message, HasTheOctetsOfARequest) {
    ManagementMessage message;
    message.domain = 24;
    message.source = {{1, 2, 3, 4, 5, 6, 7, 8}, 9};
    message.target.port = 1;
    message.sequence = 0x1234;
    message.id = ManagementId::PortDataSet;
    EXPECT_EQ(encode_management(message),
              from_hex("0d 02 0036 18 00 0000 0000000000000000 00000000 0102030405060708 0009 1234 04 7f"
                       "ffffffffffffffff 0001 00 00 00 00 0001 0002 2004"));
}

TEST(Message, ComesBackWithDataOrError) {
    const std::uint8_t data[] = {1, 2, 3, 4};
    ManagementMessage message;
    message.action = ManagementAction::Response;
    message.data = data;
    std::string why;
    const std::vector<std::uint8_t> bytes = encode_management(message);
    const auto read = decode_management(bytes, why);
    ASSERT_TRUE(read) << why;
    EXPECT_TRUE(std::equal(read->data.begin(), read->data.end(), std::begin(data), std::end(data)));
    message.error = 4;
    const std::vector<std::uint8_t> failed = encode_management(message);
    const auto error = decode_management(failed, why);
    ASSERT_TRUE(error) << why;
    EXPECT_EQ(name_of_error(error->error), "WRONG_VALUE");
    EXPECT_TRUE(error->data.empty());
}

// The sanitizers' builds see a read past the end; here every cut and every flipped octet must end in an answer.
TEST(Message, IsReadWithinItsBytesWhateverTheyAre) {
    const std::uint8_t data[66] = {};
    ManagementMessage message;
    message.data = data;
    const std::vector<std::uint8_t> whole = encode_management(message);
    std::string why;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(decode_management(cut, why)) << length;
        EXPECT_FALSE(why.empty());
    }
    std::mt19937 random(2);
    for (int i = 0; i < 20000; ++i) {
        std::vector<std::uint8_t> spoilt = whole;
        for (int j = 0; j < 3; ++j) {
            spoilt[random() % spoilt.size()] = static_cast<std::uint8_t>(random());
        }
        if (const auto read = decode_management(spoilt, why)) {
            ASSERT_TRUE(read->data.empty() || (read->data.data() >= spoilt.data() &&
                                               read->data.data() + read->data.size() <= spoilt.data() + spoilt.size()));
        }
    }
}

}  // namespace
}  // namespace ptp_agent
