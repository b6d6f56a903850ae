// A C++ source with bytes as an array in a named section.
#include "section.h"

#include <algorithm>

#include "emit.h"

namespace codegen {

std::string section_source(const std::string &purpose, const std::string &section, const std::string &content) {
    constexpr std::size_t bytes_per_line = 24;
    std::string text =
        "// " + purpose + "\n// " + generated_note("the schema") +
        "\n#ifdef __arm__\n#define PROGBITS \"%progbits\"\n#else\n#define PROGBITS \"@progbits\"\n#endif\n\n"
        "asm(\".pushsection " +
        section + ",\\\"\\\",\" PROGBITS \"\\n\"\n";
    for (std::size_t start = 0; start < content.size(); start += bytes_per_line) {
        const std::size_t end = std::min(start + bytes_per_line, content.size());
        text += "    \".byte ";
        for (std::size_t index = start; index < end; ++index) {
            text += (index == start ? "" : ",") + std::to_string(static_cast<unsigned char>(content[index]));
        }
        text += "\\n\"\n";
    }
    // Nothing refers to a section; to this the module does, so that static linking takes it in.
    const std::string name = section.substr(1);
    return text + "    \".popsection\\n\");\n\nnamespace ptp_cfg {\n\nextern const char section_" + name +
           ";\nconst char section_" + name + " = 0;\n\n}  // namespace ptp_cfg\n";
}

}  // namespace codegen
