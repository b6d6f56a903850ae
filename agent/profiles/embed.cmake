# cmake -DOUTPUT=FILE -DINPUTS=FILE;FILE... -P embed.cmake: a source that holds the texts of files.

string(CONCAT source
    "// The data files of this program. Made by embed.cmake.\n"
    "#include \"agent/profiles/embedded.h\"\n\n#include <stdexcept>\n#include <string>\n\n"
    "namespace ptp_agent {\n\nstd::string_view embedded_file(std::string_view name) {\n")
foreach(input IN LISTS INPUTS)
    get_filename_component(name "${input}" NAME)
    file(READ "${input}" text)
    string(APPEND source "    if (name == \"${name}\") {\n        return R\"toml(${text})toml\";\n    }\n")
endforeach()
string(APPEND source
    "    throw std::logic_error(\"no such data file: \" + std::string(name));\n}\n\n}  // namespace ptp_agent\n")
file(WRITE "${OUTPUT}" "${source}")
