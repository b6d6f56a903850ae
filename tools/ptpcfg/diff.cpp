// diff: in which fields the messages of two inputs differ.
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "differences.h"
#include "failure.h"
#include "files.h"
#include "inputs.h"
#include "terminal.h"

namespace ptpcfg {
namespace {

/** The records of one side; their JSON is kept as text, which takes the least room. */
struct side {
    std::string name;
    std::vector<sequence_item> items;
};

void remove_flags(json_value &value) {
    if (value.is_object()) {
        value.erase("$state");
    }
    if (value.is_structured()) {
        for (json_value &member : value) {
            remove_flags(member);
        }
    }
}

side read_side(const diff_options &options, const std::string &path) {
    const session session(options.session);
    side result{input_name(path), {}};
    each_record_of({path, options.from, options.type}, session, [&](const record &each, std::string_view) {
        json_value value = json_of(each);
        if (!options.session.tracked) {
            remove_flags(value);
        }
        if (describe(each.type()).kind == PTP_CFG_MESSAGE) {
            value = json_value(value.front());
        }
        result.items.push_back({describe(each.type()).short_name, value.dump()});
    });
    return result;
}

class report {
  public:
    report(const diff_options &options, const side &left, const side &right)
        : options_(options),
          left_(left),
          right_(right),
          has_several_(left.items.size() > 1 || right.items.size() > 1) {}

    void add(const counterpart &pair) {
        if (!pair.right) {
            add_alone(left_, *pair.left, "- ", colour::red);
        } else if (!pair.left) {
            add_alone(right_, *pair.right, "+ ", colour::green);
        } else {
            add_both(*pair.left, *pair.right);
        }
    }
    const std::string &text() const { return text_; }

  private:
    void add_alone(const side &of, size_t index, const char *sign, colour colour) {
        const std::string line = sign + place(index) + of.items[index].name + ": only in " + of.name;
        text_ += painted(line, colour, STDOUT_FILENO) + "\n";
    }

    void add_both(size_t left, size_t right) {
        const std::string where = left == right ? place(left) : place(left, "/" + std::to_string(right + 1));
        for (const difference &each : differences(left_.items[left].name, json_value::parse(left_.items[left].word),
                                                  json_value::parse(right_.items[right].word))) {
            if (!is_ignored(each.path)) {
                text_ += where + each.path + ": " + painted(each.left.value_or("absent"), colour::red, STDOUT_FILENO) +
                         " -> " + painted(each.right.value_or("absent"), colour::green, STDOUT_FILENO) + "\n";
            }
        }
    }

    std::string place(size_t index, const std::string &other = {}) const {
        return has_several_ ? "message " + std::to_string(index + 1) + other + ": " : "";
    }

    bool is_ignored(const std::string &path) const {
        return std::any_of(options_.ignore.begin(), options_.ignore.end(), [&](std::string field) {
            std::replace(field.begin(), field.end(), '.', '/');
            const size_t at = path.find(field);
            return at != std::string::npos && (at == 0 || path[at - 1] == '/') &&
                   (at + field.size() == path.size() || path[at + field.size()] == '/' ||
                    path[at + field.size()] == '[');
        });
    }

    const diff_options &options_;
    const side &left_;
    const side &right_;
    bool has_several_;
    std::string text_;
};

void compare(const diff_options &options) {
    if (options.left == "-" && options.right == "-") {
        throw failure(exit_code::usage, "diff: only one input can be standard input");
    }
    const side left = read_side(options, options.left);
    const side right = read_side(options, options.right);
    report told(options, left, right);
    for (const counterpart &pair : counterparts(left.items, right.items)) {
        told.add(pair);
    }
    if (!options.quiet) {
        write_output("-", told.text());
    }
    if (!told.text().empty()) {
        throw ends_silently{1};
    }
}

}  // namespace

/** As diff does, 1 is for what differs, and 2 for all else. */
void diff(const diff_options &options) try { compare(options); } catch (const failure &error) {
    throw failure(exit_code::usage, error.what());
} catch (const std::bad_alloc &) {
    throw failure(exit_code::usage, "there is not enough memory: diff holds both inputs");
}

}  // namespace ptpcfg
