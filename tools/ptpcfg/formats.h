// The forms in which a record is read and written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ptpcfg {

/** `rec` is a recording or capture, which is only read: ptpcfg record writes them. */
enum class format { xml, json, yaml, bin, hex, text, rec };

/** What --from and --to accept, for help texts and checks. */
inline constexpr const char *input_formats = "xml, json, yaml, bin, hex, rec, pcapng";
inline constexpr const char *output_formats = "xml, json, yaml, bin, hex, text";

/** The format of a name; throws a usage failure that lists `allowed` when it is none of them. */
format format_named(const std::string &name, const char *option, const char *allowed);

/** The format that a file's ending says, if it says one. */
std::optional<format> format_of_ending(const std::string &path);

/** Whether records in a format are written in characters that are no bytes of the wire: XML, JSON, YAML. */
constexpr bool is_written(format form) { return form == format::xml || form == format::json || form == format::yaml; }

/** The input format that the content shows. */
format format_of_content(std::string_view content);

/** Bytes from a whole text of hexadecimal digits, as hex_reader takes them. */
std::string from_hex(const std::string &name, std::string_view text);

/** "1 byte", "2 bytes". */
std::string counted(uint64_t count, const char *noun);

/** Bytes as lines of 16 pairs. */
std::string to_hex(std::string_view bytes);

/** Bytes as pairs with `separator` between them. */
std::string hex_pairs(std::string_view bytes, const char *separator);

}  // namespace ptpcfg
