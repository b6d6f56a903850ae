// Escapes texts for JSON.
#include "json.h"

#include <cstdio>

#include "base/characters.h"
#include "base/utf8.h"

namespace ptpcfg {
namespace {

std::string escaped(char character) {
    constexpr std::string_view plain = "\"\\\n\t";
    constexpr std::string_view letters = "\"\\nt";
    if (const size_t at = plain.find(character); at != std::string_view::npos) {
        return {'\\', letters[at]};
    }
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(character)));
    return code;
}

}  // namespace

std::string json_string(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const size_t length = base::utf8_length(text.data(), text.size());
        const char first = text.front();
        if (length == 0) {
            result += "\\ufffd";
        } else if (length == 1 && (base::is_control(first) || first == '"' || first == '\\')) {
            result += escaped(first);
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result + '"';
}

}  // namespace ptpcfg
