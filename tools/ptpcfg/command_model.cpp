// Asks CLI11 for subcommands, options and what their values may be.
#include "command_model.h"

#include <algorithm>
#include <sstream>

#include "formats.h"
#include "reflection.h"

namespace ptpcfg {
namespace {

std::vector<std::string> split(const std::string &text, const char *separators) {
    std::vector<std::string> words;
    for (size_t at = text.find_first_not_of(separators); at != std::string::npos;) {
        const size_t end = std::min(text.find_first_of(separators, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(separators, end);
    }
    return words;
}

std::vector<std::string> type_names() {
    std::vector<std::string> names;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        names.emplace_back(describe(ptp_cfg_type_at(index)).short_name);
    }
    return names;
}

/** From what stands for a value: FILE, FORMAT, {one,another}. */
void set_values(const std::string &type, option_model &option) {
    const size_t brace = type.find('{');
    option.value = type.substr(0, brace != std::string::npos ? brace - (brace > 0 ? 1 : 0) : type.find(':'));
    if (brace != std::string::npos) {
        option.words = split(type.substr(brace + 1, type.find('}') - brace - 1), ",");
    } else if (option.value == "FORMAT") {
        option.words = split(std::string(input_formats) + ", text", ", ");
    } else if (option.value == "TYPE" || option.value == "MESSAGE" || option.value == "NAME" ||
               option.value == "TYPE|MESSAGE") {
        option.words = type_names();
    } else if (option.value == "URI") {
        option.words = {"unix:", "tcp:", "nats://"};
    }
    const bool is_file = option.value.starts_with("FILE") || option.value == "PATH";
    option.kind = !option.words.empty()      ? value_kind::word
                  : is_file                  ? value_kind::file
                  : option.value == "FOLDER" ? value_kind::folder
                                             : value_kind::none;
}

option_model model_of(const CLI::Option &option) {
    option_model result;
    result.meaning = option.get_description();
    result.is_required = option.get_required();
    result.is_repeated = option.get_items_expected_max() > 1;
    for (const std::string &name : option.get_snames()) {
        result.names.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        result.names.push_back("--" + name);
    }
    const bool has_value = option.get_type_size_max() > 0 && option.get_items_expected_max() > 0;
    if (has_value) {
        set_values(option.get_type_name(), result);
    }
    if (result.names.empty()) {
        result.names.push_back(result.value.empty() ? option.get_name() : result.value);
    }
    return result;
}

}  // namespace

command_model model_of(const CLI::App &app, const std::string &name) {
    command_model result;
    result.name = name;
    result.group = app.get_group();
    result.meaning = app.get_description();
    result.end = help_end_of(app);
    for (const CLI::Option *option : app.get_options()) {
        (option->get_positional() ? result.positionals : result.options).push_back(model_of(*option));
    }
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        if (command->get_name().empty()) {  // a group of options
            const std::vector<option_model> grouped = model_of(*command).options;
            result.options.insert(result.options.end(), grouped.begin(), grouped.end());
            continue;
        }
        result.commands.push_back(model_of(*command, (name.empty() ? "" : name + " ") + command->get_name()));
    }
    return result;
}

}  // namespace ptpcfg
