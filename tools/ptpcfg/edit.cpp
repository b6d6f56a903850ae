// edit: gives fields other values, in the file's own format.
#include <nlohmann/json.hpp>

#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "files.h"
#include "inputs.h"
#include "record_stream.h"
#include "record_writer.h"

namespace ptpcfg {
namespace {

struct assignment {
    std::string field;
    std::string value;
    size_t matches = 0;  // messages that have the field
};

assignment assignment_from(const std::string &text) {
    const size_t sign = text.find('=');
    if (sign == std::string::npos || sign == 0) {
        throw failure(exit_code::usage, "'" + text + "': FIELD=VALUE is wanted, as in priority1=128");
    }
    return {text.substr(0, sign), text.substr(sign + 1)};
}

class editor {
  public:
    explicit editor(const edit_options &options) : options_(options), name_(input_name(options.input.path)) {
        for (const std::string &text : options.assignments) {
            assignments_.push_back(assignment_from(text));
        }
    }

    void change(const record &record) {
        ++number_;
        if (options_.message != 0 && number_ != options_.message) {
            return;
        }
        json_value value = json_of(record);
        bool is_changed = false;
        for (assignment &each : assignments_) {
            last_ = nodes_of(record.type(), value);
            const std::vector<field_node> found = named_nodes(last_, each.field);
            if (!found.empty()) {
                const field_node &node = only_node(found, each.field);
                ++each.matches;
                is_changed = true;
                const_cast<json_value &>(*node.value) = value_for(record.type(), node.path, each.value);
            }
        }
        if (is_changed) {
            take_values(record, value);
        }
        paths_.clear();
        for (const field_node &node : last_) {
            paths_.push_back(node.path);
        }
    }

    void check() const {
        if (options_.message > number_) {
            throw failure(exit_code::bad_input, name_ + ": has " + counted(number_, "message") + ", no message " +
                                                    std::to_string(options_.message));
        }
        for (const assignment &each : assignments_) {
            if (each.matches == 0) {
                throw failure(exit_code::bad_input, name_ + ": " + no_field_text(names(), each.field));
            }
            if (each.matches > 1 && !options_.all) {
                throw failure(exit_code::bad_input, name_ + ": " + std::to_string(each.matches) + " messages have " +
                                                        each.field + "; --message N names one, --all changes each");
            }
        }
    }

  private:
    std::vector<field_node> names() const {
        std::vector<field_node> nodes;
        for (const std::string &path : paths_) {
            nodes.push_back({path, nullptr});
        }
        return nodes;
    }

    const edit_options &options_;
    std::string name_;
    std::vector<assignment> assignments_;
    std::vector<field_node> last_;
    std::vector<std::string> paths_;  // of the last message, for what is not found
    u_int32 number_ = 0;
};

}  // namespace

void edit(const edit_options &options) {
    editor editor(options);
    session_options flags = options.session;
    flags.tracked = true;  // what a text says of state flags stays
    const session session(flags);
    const std::string &path = options.input.path;
    input_stream input(path);
    const format form = input_format(options.input.from, path, input.ahead(format_lookahead));
    if (form == format::rec) {
        throw failure(exit_code::usage, path + ": a recording is not changed; 'ptpcfg convert' makes messages of it");
    }
    output_stream output(options.output.empty() ? path : options.output);
    record_writer writer(form, [&output](std::string_view text) { output.write(text); });
    each_record(input, form, bare_type_of(options.input.type), session, [&](const record &each) {
        editor.change(each);
        writer.add(each);
    });
    editor.check();
    writer.finish();
    output.finish();
}

}  // namespace ptpcfg
