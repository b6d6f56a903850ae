// Domains as TOML files: reads one, checks it against the types of the loaded modules, reports every fault with its line.
#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <set>
#include <vector>

#include "base/characters.h"
#include "base/failure.h"
#include "base/file_reading.h"
#include "base/guarded_file.h"
#include "domain_syntax.h"
#include "module_types.h"
#include "velalib/runtime.h"

namespace {

using velalib::domain_entry;
using velalib::domain_value;

constexpr size_t longest_file = 1024 * 1024;
constexpr size_t most_faults = 100;  // more help nobody, and each takes a look at all names
constexpr size_t longest_name = sizeof(vela_handle::domain_name) - 1;

struct destroy_domain {
    void operator()(vela_domain *domain) const { vela_domain_destroy(domain); }
};
using owned_domain = std::unique_ptr<vela_domain, destroy_domain>;

std::string number(int64_t value) { return std::to_string(value); }

/** A name from the file, fit for a message: it may hold anything. */
std::string quoted(std::string_view name) {
    return "'" + base::printable(name.substr(0, 64)) + (name.size() > 64 ? "...'" : "'");
}

/** Reads a file whole; false with the reason. */
bool read_file(const std::string &path, std::string &content, base::failure &why) {
    const base::opened_file opened = base::open_regular(path.c_str(), O_RDONLY, base::allow_all);
    int error = opened.code;
    if (opened) {
        content.resize(longest_file + 1);
        content.resize(base::read_at(opened.file.get(), content.data(), content.size(), 0, error));
    }
    if (error != 0) {
        why = {static_cast<u_int32>(error), path + ": cannot read: " + (opened ? strerror(error) : opened.reason())};
    } else if (content.size() > longest_file) {
        why = {VELA_EMSGSIZE, path + ": longer than 1 MiB; no domain is, name another file"};
    }
    return why.code == 0;
}

class domain_reader {
  public:
    explicit domain_reader(std::string path) : path_(std::move(path)) {}

    /** The domain, or null with the faults. */
    owned_domain read(std::string_view content);
    /** A line per fault, in the order of the file. */
    std::string faults();

  private:
    struct fault {
        u_int32 line;
        std::string text;
    };

    void take_entry(const domain_entry &entry);
    std::string take_name(const std::vector<domain_entry> &entries);
    void take_variant(const std::string &type, const domain_value &value);
    void take_messages(const domain_value &value);
    void take_message(const domain_value &value);
    void refuse_key(const domain_entry &entry);

    void report(u_int32 line, const std::string &what, const std::string &remedy) {
        faults_.push_back({std::max(line, 1u), what + "; " + remedy});
    }
    void report(const domain_value &at, const std::string &what, const std::string &remedy) {
        report(at.line, what, remedy);
    }

    std::string path_;
    owned_domain domain_;
    std::set<std::string> forbidden_;
    std::vector<fault> faults_;
};

owned_domain domain_reader::read(std::string_view content) {
    velalib::domain_syntax syntax(content);
    if (!syntax.read()) {
        report(syntax.fault.line, syntax.fault.what, syntax.fault.remedy);
        return nullptr;
    }
    const std::string name = take_name(syntax.entries);
    domain_.reset(vela_domain_create(name.c_str()));
    if (domain_ == nullptr) {
        throw std::bad_alloc();
    }
    for (const domain_entry &entry : syntax.entries) {
        if (faults_.size() < most_faults) {
            take_entry(entry);
        }
    }
    return faults_.empty() ? std::move(domain_) : nullptr;
}

void domain_reader::take_entry(const domain_entry &entry) {
    if (entry.table == "variants") {
        take_variant(entry.key, entry.value);
    } else if (!entry.table.empty()) {
        return;  // of a table whose head was refused
    } else if (entry.key == "variants") {
        if (entry.value.what != domain_value::table) {
            report(entry.value, "'variants' is no table", "write [variants], then a line TYPE = VARIANT per type");
        }
    } else if (entry.key == "forbidden_messages") {
        take_messages(entry.value);
    } else if (entry.key != "name") {
        refuse_key(entry);
    }
}

/** The domain's name; empty, with a fault, when it is not to be used. */
std::string domain_reader::take_name(const std::vector<domain_entry> &entries) {
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [](const domain_entry &each) { return each.table.empty() && each.key == "name"; });
    if (entry == entries.end()) {
        report(1, "the domain has no name", "add a line like name = \"older peer\" at the top");
        return "";
    }
    if (entry->value.what != domain_value::text) {
        report(entry->value, "'name' is no text", "put it in quotes");
        return "";
    }
    const std::string &name = entry->value.characters;
    const bool is_plain = std::none_of(name.begin(), name.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; });
    if (name.empty() || name.size() > longest_name) {
        report(entry->value, "'name' has " + number(static_cast<int64_t>(name.size())) + " characters",
               "give 1 to " + number(longest_name));
    } else if (!is_plain) {
        report(entry->value, "'name' has a control character", "leave it out");
    } else {
        return name;
    }
    return "";
}

void domain_reader::take_variant(const std::string &type, const domain_value &value) {
    const vela_type_info *type_info = velalib::find_type(type);
    if (type == "name" || type == "forbidden_messages") {
        report(value, quoted(type) + " stands in [variants]", "move it above that line");
    } else if (type_info == nullptr) {
        report(value, "no loaded module has a type " + quoted(type), velalib::type_advice(type, false));
    } else if (velalib::is_message(*type_info)) {
        report(value, quoted(type) + " is a message, which has no variants",
               "name the type of its payload, or forbid it in forbidden_messages");
    } else {
        const int8 latest = velalib::latest_variant(*type_info);
        const std::string allowed =
            latest == 0 ? "give 0, the only one it has" : "give a number from 0 to " + number(latest);
        if (value.what != domain_value::integer) {
            report(value, "the variant of " + quoted(type) + " is no whole number", allowed);
        } else if (value.number < 0 || value.number > latest) {
            report(value, quoted(type) + " has no variant " + number(value.number), allowed);
        } else if (vela_domain_set_variant(domain_.get(), type.c_str(), static_cast<int8>(value.number)) != 0) {
            throw std::bad_alloc();
        }
    }
}

void domain_reader::take_messages(const domain_value &value) {
    if (value.what != domain_value::list) {
        report(value, "'forbidden_messages' is no list", "write forbidden_messages = [\"MESSAGE\", ...]");
        return;
    }
    for (const domain_value &element : value.elements) {
        if (faults_.size() < most_faults) {
            take_message(element);
        }
    }
}

void domain_reader::take_message(const domain_value &value) {
    if (value.what != domain_value::text) {
        report(value, "'forbidden_messages' holds something that is no text", "put the message's name in quotes");
        return;
    }
    const std::string &name = value.characters;
    const vela_type_info *type_info = velalib::find_type(name);
    if (type_info == nullptr) {
        report(value, "no loaded module has a message " + quoted(name), velalib::type_advice(name, true));
    } else if (!velalib::is_message(*type_info)) {
        report(value, quoted(name) + " is no message", "name the messages that carry it, or its variant in [variants]");
    } else if (!forbidden_.insert(name).second) {
        report(value, quoted(name) + " is forbidden already", "leave it out here");
    } else if (vela_domain_forbid_message(domain_.get(), name.c_str()) != 0) {
        throw std::bad_alloc();
    }
}

void domain_reader::refuse_key(const domain_entry &entry) {
    const bool is_type = velalib::find_type(entry.key) != nullptr;
    report(
        entry.value, "unknown key " + quoted(entry.key),
        is_type ? "move it below a line [variants]" : "a domain has name, forbidden_messages and the table variants");
}

std::string domain_reader::faults() {
    std::stable_sort(faults_.begin(), faults_.end(), [](const fault &a, const fault &b) { return a.line < b.line; });
    std::string text;
    for (const fault &each : faults_) {
        text += (text.empty() ? "" : "\n") + path_ + ":" + number(each.line) + ": " + each.text;
    }
    return text;
}

/** Loads a file; null with the reason. */
owned_domain load(const char *path, base::failure &why) {
    std::string content;
    if (path == nullptr || path[0] == '\0') {
        why = {VELA_EINVAL, "no file is named that holds a domain"};
        return nullptr;
    }
    if (!read_file(path, content, why)) {
        return nullptr;
    }
    domain_reader reader(path);
    owned_domain domain = reader.read(content);
    if (domain == nullptr) {
        why = {VELA_EINVAL, reader.faults()};
    }
    return domain;
}

}  // namespace

vela_domain *vela_domain_load(const char *path, char *error_text, size_t room, u_int32 *err) {
    return base::make_or_fail(err, error_text, room, "there is no memory for a domain",
                              [path](base::failure &why) { return load(path, why); });
}
