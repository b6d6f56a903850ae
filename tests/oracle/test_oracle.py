"""Checks the oracle by encodings worked out by hand and by sizes that follow from its tables in another way."""

import unittest

import annotate
import encoder
import tables
import vectors
from encoder import Ip, Octets, Record, Vrf

ALL = [*tables.STRUCTURES, *tables.ENUMERATIONS, *tables.MESSAGES]


def encoded(name, **record):
    return encoder.joined(encoder.encode(name, Record(**record))).hex(" ")


def length(name, **fill):
    return len(encoder.joined(encoder.encode(name, vectors.fill(name, **fill))))


class Encodings(unittest.TestCase):
    def test_fields_and_their_flags(self):
        values = {"clock_class": 6, "offset_scaled_log_var": -2, "clock_accuracy": 18}
        flags = {"clock_class": 1, "offset_scaled_log_var": 2, "clock_accuracy": 3}
        self.assertEqual(encoded("ptp_clock_quality", values=values),
                         "00 00 00 00 00 0c 06 ff fe 00 00 00 00 12")
        self.assertEqual(encoded("ptp_clock_quality", values=values, flags=flags),
                         "00 08 00 00 00 0f 06 01 ff fe 02 00 00 00 00 12 03")
        self.assertEqual(encoded("ptp_clock_quality", values=values, flags={}, extra={""}),
                         "00 28 00 00 00 00 00 00 00 00 00 00 00 00 0f 06 00 ff fe 00 00 00 00 00 12 00")

    def test_array_flags_follow_the_last_element_the_whole_first(self):
        values = {f"ptp_clk_id[{i}]": 0x10 + i for i in range(8)}
        flags = {"ptp_clk_id[*]": 0x80} | {f"ptp_clk_id[{i}]": 0x90 + i for i in range(8)}
        self.assertEqual(encoded("ptp_clock_identity", values=values),
                         "00 00 00 00 00 0c 10 11 12 13 14 15 16 17")
        self.assertEqual(encoded("ptp_clock_identity", values=values, flags=flags),
                         "00 08 00 00 00 15 10 11 12 13 14 15 16 17 80 90 91 92 93 94 95 96 97")

    def test_nested_structure_carries_its_own_flags(self):
        flags = {"clock_identity": 1, "clock_identity/ptp_clk_id[*]": 2, "portNumber": 3}
        self.assertEqual(encoded("ptp_port_identity", values={"portNumber": 0x0102}, flags=flags),
                         "00 08 00 00 00 1f 00 08 00 00 00 15" + " 00" * 8 + " 02" + " 00" * 8 + " 01 01 02 03")

    def test_variants_add_fields_at_the_end(self):
        values = {"utc_offset": 37, "leap_second_day": -1, "v_port_index": 9, "utc_offset_valid": 1}
        for variant, rest in enumerate(("06 00 25", "0e 00 25 00 00 ff ff 00 00 00 00",
                                        "10 00 25 00 00 ff ff 00 00 00 00 09 01")):
            self.assertEqual(encoded("ptp_utc_offset", values=values, variants={"ptp_utc_offset": variant}),
                             f"0{variant} 00 00 00 00 {rest}")
        self.assertEqual(encoded("ptp_clock_profile", values={"value": 5}), "01 00 00 00 05")

    def test_primitives_of_fixed_width(self):
        address = Ip(6, bytes(range(16)), 0x01020304)
        self.assertIn(f"06 {address.address.hex(' ')} 01 02 03 04 ff 7f 80",
                      encoded("ptp_stream_params", values={
                          "stream_addr": address, "log_announce_interval": -1, "log_sync_interval": 127,
                          "log_min_delay_req_interval": -128}))
        self.assertTrue(encoded("ptp_stream_params", values={"stream_mac_addr": Octets(range(1, 7))})
                        .endswith("01 02 03 04 05 06"))
        self.assertIn("00 00 00 00 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04",
                      encoded("ptp_port", values={"vrf": Vrf(1, 2, 3, 4)}))

    def test_text_follows_its_length_which_has_no_flag(self):
        self.assertTrue(encoded("ptp_virtual_port", values={"v_port_name": b"ab"}, flags={"v_port_name": 7})
                        .endswith(" 02 61 62 07"))
        self.assertTrue(encoded("ptp_virtual_port", flags={"time_set_flag": 5, "v_port_name": 7})
                        .endswith(" 00 05 00 07"))

    def test_absent_instance_has_no_fields(self):
        self.assertEqual(encoded("ptp_clock", null={""}), "ff 00 00 00 00 04")
        self.assertEqual(encoded("ptp_clock", null={""}, flags={}), "ff 08 00 00 00 04")
        self.assertEqual(len(bytes.fromhex(encoded("ptp_clock", null={""}, extra={""}))), 15)

    def test_messages(self):
        identity = " 22 18 06 e6 06 85 86 54 59 a7 71 66 d2 3f 6a 22"
        self.assertEqual(encoded("ptp_1pps_input_state_message", values={"vela_boolean": 1}, header_word=0x01020304),
                         "bc ff ff ff ff ff ff 00 01 02 03 04 00 00 00 2c" + " 00" * 11 + identity + " 01")
        two = bytes.fromhex(encoded("ptp_port_data_set_info_message", flags={}, values={"ptp_port_pd_hdl/hdl": 5}))
        self.assertEqual((two[7], int.from_bytes(two[12:16])), (1, len(two)))
        self.assertEqual(two[43:52].hex(" "), "00 08 00 00 00 07 00 05 00")
        self.assertEqual(two[52:54].hex(" "), "00 08")

    def test_lengths(self):
        for name, untracked, tracked in (
                ("ptp_clock", 109, 151), ("ptp_utc_offset", 18, 25), ("ptp_port_identity", 22, 33),
                ("ptp_msg_stats", 406, 456), ("ptp_ipv4_streams_arr", 6 + 128 * 34, 6 + 128 * 34 + 1025),
                ("ptp_ip_streams_arr", 6 + 50 * 51, 6 + 50 * 51 + 401),
                ("ptp_stream_runtime_state_arr", 10 + 10 * 465, 10 + 10 * 465 + 602),
                ("ptp_port_runtime_state_msg_message", 43 + 8 + 36, 43 + 8 + 36 + 6)):
            self.assertEqual((length(name), length(name, tracked=True)), (untracked, tracked), name)


class Tables(unittest.TestCase):
    # Size and alignment in memory.
    MEMORY = {"u_int8": (1, 1), "int8": (1, 1), "u_int16": (2, 2), "int16": (2, 2), "u_int32": (4, 4), "int32": (4, 4),
              "u_int64": (8, 8), "vela_boolean": (4, 4), "en_address": (6, 1), "ip_address": (48, 4),
              "vrf_info": (24, 8), "var_string": (8, 8)}

    def size_and_block(self, name):
        """Bytes of an instance and of its state flags, from the fields."""
        position, block = 11, 0
        for field in tables.STRUCTURES[name].fields:
            size, alignment, inner = 16, 8, 0
            if field.type in self.MEMORY:
                size, alignment = self.MEMORY[field.type]
            elif field.type in tables.STRUCTURES:
                size, inner = self.size_and_block(field.type)
            position = -(-position // alignment) * alignment + size * max(field.capacity, 1)
            block += bool(field.capacity) + max(field.capacity, 1) * (1 + inner) if not field.length_of else 0
        end = -(-position // 8) * 8
        return end + (8 if end <= 64 else 16), block

    def test_sizes_follow_from_the_fields(self):
        for name, structure in tables.STRUCTURES.items():
            size, block = self.size_and_block(name)
            self.assertEqual((size, size + block), (structure.size, structure.tracked_size), name)

    def test_nothing_is_missing_or_doubled(self):
        self.assertEqual([len(table) for table in (tables.STRUCTURES, tables.ENUMERATIONS, tables.MESSAGES)],
                         [60, 28, 47])
        self.assertEqual(len({message.luid for message in tables.MESSAGES.values()}), 47)
        known = {*tables.STRUCTURES, *tables.ENUMERATIONS, *self.MEMORY}
        for name, structure in tables.STRUCTURES.items():
            names = [field.name for field in structure.fields]
            self.assertEqual(len(names), len(set(names)), name)
            self.assertLessEqual({field.type for field in structure.fields}, known, name)
        newer = {name: tables.latest(name) for name in ALL if tables.latest(name)}
        self.assertEqual(newer, {
            "ptp_clock_profile": 1, "ptp_tracking_type": 1, "ptp_clock_time_properties_data_set": 1, "ptp_port": 1,
            "ptp_stream_delete": 1, "ptp_master_attribute": 1, "ptp_bmca_current_mst_details": 2, "ptp_utc_offset": 2})


class Vectors(unittest.TestCase):
    def test_every_value_differs_from_its_default_and_its_neighbours(self):
        for name in tables.STRUCTURES:
            record = vectors.fill(name, tracked=True)
            pieces = [piece for piece in encoder.encode(name, record) if piece.item == "value"]
            self.assertTrue(all(any(piece.data) for piece in pieces), name)
            wide = [value for value in record.values.values() if not isinstance(value, int) or abs(value) > 255]
            self.assertEqual(len(wide), len(set(wide)), name)
            flags = list(record.flags.values())[:255]
            self.assertEqual(len(set(flags)), len(flags), name)
            self.assertNotIn(0, record.flags.values(), name)

    def test_older_parts_are_named_in_the_domain(self):
        text = list(vectors.lines("ptp_bmca_data"))
        self.assertEqual([line for line in text if line.startswith("domain")], [
            "domain ptp_master_attribute 0", "domain ptp_bmca_current_mst_details 0",
            "domain ptp_bmca_current_mst_details 1"] * 2)
        self.assertNotIn("set mst_attr_arr[9]/mst_ip_ext", "\n".join(text[:text.index("end")]))

    def test_every_type_has_vectors_in_both_modes(self):
        for name in ALL:
            modes = {title.rsplit(maxsplit=1)[1] for title, _ in vectors.cases(name)}
            self.assertEqual(modes, {"tracked", "untracked"}, name)

    def test_golden_files_are_what_the_oracle_encodes(self):
        for name in annotate.NAMES:
            golden = (annotate.GOLDEN / f"{name}.txt").read_text(encoding="ascii")
            self.assertEqual(golden, annotate.text(name), f"{name}: see annotate.py")


if __name__ == "__main__":
    unittest.main()
