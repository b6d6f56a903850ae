// get: the value of a field.
#include <nlohmann/json.hpp>

#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "files.h"
#include "inputs.h"

namespace ptpcfg {

void get(const get_options &options) {
    const session session(options.session);
    output_stream output("-");
    u_int32 number = 0;
    bool is_found = false;
    std::vector<field_node> last;
    json_value value;
    each_record_of(options.input, session, [&](const record &each, std::string_view) {
        ++number;
        if (options.message != 0 && number != options.message) {
            return;
        }
        value = json_of(each);
        last = nodes_of(each.type(), value);
        const std::vector<field_node> found = named_nodes(last, options.field);
        if (!found.empty()) {
            is_found = true;
            const json_value &only = *only_node(found, options.field).value;
            output.write((options.json ? only.dump() : plain_text(only)) + "\n");
        }
    });
    const std::string name = input_name(options.input.path);
    if (options.message > number) {
        throw failure(exit_code::bad_input,
                      name + ": has " + counted(number, "message") + ", no message " + std::to_string(options.message));
    }
    if (!is_found) {
        throw failure(exit_code::bad_input, name + ": " + no_field_text(last, options.field));
    }
    output.finish();
}

}  // namespace ptpcfg
