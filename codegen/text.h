// Text building: placeholders, C strings, wrapped comments.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace codegen {

/** What {name} stands for, by name. */
using placeholders = std::map<std::string, std::string, std::less<>>;

constexpr std::size_t line_width = 120;

/**
 * Replaces every {name} of lower-case letters, digits and underscores; other braces stay. Names that are not known
 * stay too and are added to `unknown`.
 */
std::string expand(std::string_view text, const placeholders &values, std::set<std::string> &unknown);

/** expand() for texts of the generator itself, in which an unknown name is a bug: throws std::logic_error. */
std::string fill(std::string_view text, const placeholders &values);

/** A C string literal. */
std::string c_string(std::string_view text);

std::string join(const std::vector<std::string> &parts, std::string_view separator);

/** Words in lines of at most line_width characters that begin with `prefix`; ends in a newline. */
std::string wrapped(std::string_view text, std::string_view first_prefix, std::string_view prefix);

/** "first(a, b)" and `end` over as many lines as it needs, the further ones aligned after the parenthesis. */
std::string wrapped_call(const std::string &first, const std::vector<std::string> &arguments, const std::string &end);

/** The statements of a line of code. */
std::vector<std::string> statements(std::string_view line);

/** A statement, broken after commas or a parenthesis where it is too long. */
std::string wrapped_statement(const std::string &statement, const std::string &indent);

std::string upper(std::string text);

/** A text that begins a sentence. */
std::string capitalized(std::string text);

/** Whether `word` stands in `text` as a whole identifier. */
bool mentions(std::string_view text, std::string_view word);

}  // namespace codegen
