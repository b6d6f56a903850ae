// Domains as TOML files: reads one, checks it against the types of the loaded modules, reports every fault with its line.
#include <fcntl.h>
#include <unistd.h>

#include <toml++/toml.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "module_types.h"
#include "velalib/runtime.h"

namespace {

constexpr size_t longest_file = 1024 * 1024;
constexpr size_t longest_name = sizeof(vela_handle::domain_name) - 1;

struct destroy_domain {
    void operator()(vela_domain *domain) const { vela_domain_destroy(domain); }
};
using owned_domain = std::unique_ptr<vela_domain, destroy_domain>;

std::string number(int64_t value) { return std::to_string(value); }

/** A name from the file, fit for a message: it may hold anything. */
std::string quoted(std::string_view name) {
    std::string text = "'";
    for (const char character : name.substr(0, 64)) {
        text += static_cast<unsigned char>(character) < ' ' || character == '\x7f' ? '?' : character;
    }
    return text + (name.size() > 64 ? "...'" : "'");
}

/** Reads a file whole; returns 0 or the error word. */
u_int32 read_file(const char *path, std::string &content, std::string &why) {
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    ssize_t count = file < 0 ? -1 : 1;
    while (count > 0 && content.size() <= longest_file) {
        char block[8192];
        count = ::read(file, block, sizeof block);
        if (count > 0) content.append(block, static_cast<size_t>(count));
        if (count < 0 && errno == EINTR) count = 1;
    }
    const int error = errno;
    if (file >= 0) ::close(file);
    if (count < 0) {
        why = std::string(path) + ": cannot read: " + std::strerror(error);
        return static_cast<u_int32>(error);
    }
    if (content.size() > longest_file) {
        why = std::string(path) + ": longer than 1 MiB; no domain is, name another file";
        return VELA_EMSGSIZE;
    }
    return VELA_OK;
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

    owned_domain take(const toml::table &top);
    std::string take_name(const toml::table &top);
    void take_variants(const toml::table &top);
    void take_variant(vela_domain *domain, std::string_view type, const toml::node &value);
    void take_messages(const toml::table &top);
    void take_message(vela_domain *domain, const toml::node &value);
    void refuse_other_keys(const toml::table &top);

    void report(u_int32 line, const std::string &what, const std::string &remedy) {
        faults_.push_back({std::max(line, 1u), what + "; " + remedy});
    }
    void report(const toml::node &at, const std::string &what, const std::string &remedy) {
        report(at.source().begin.line, what, remedy);
    }

    std::string path_;
    owned_domain domain_;
    std::vector<std::string> forbidden_;
    std::vector<fault> faults_;
};

owned_domain domain_reader::read(std::string_view content) {
    try {
        return take(toml::parse(content, path_));
    } catch (const toml::parse_error &error) {
        report(error.source().begin.line, std::string(error.description()), "correct this line, it is no TOML");
        return nullptr;
    }
}

owned_domain domain_reader::take(const toml::table &top) {
    const std::string name = take_name(top);
    domain_.reset(vela_domain_create(name.c_str()));
    if (domain_ == nullptr) throw std::bad_alloc();
    take_variants(top);
    take_messages(top);
    refuse_other_keys(top);
    return faults_.empty() ? std::move(domain_) : nullptr;
}

/** The domain's name; empty, with a fault, when it is not to be used. */
std::string domain_reader::take_name(const toml::table &top) {
    const toml::node *node = top.get("name");
    if (node == nullptr) {
        report(1, "the domain has no name", "add a line like name = \"older peer\" at the top");
        return "";
    }
    if (!node->is_string()) {
        report(*node, "'name' is no text", "put it in quotes");
        return "";
    }
    const std::string &name = node->as_string()->get();
    const bool is_plain = std::none_of(name.begin(), name.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; });
    if (name.empty() || name.size() > longest_name) {
        report(*node, "'name' has " + number(static_cast<int64_t>(name.size())) + " characters",
               "give 1 to " + number(longest_name));
    } else if (!is_plain) {
        report(*node, "'name' has a control character", "leave it out");
    } else {
        return name;
    }
    return "";
}

void domain_reader::take_variants(const toml::table &top) {
    const toml::node *node = top.get("variants");
    if (node == nullptr) return;
    if (!node->is_table()) {
        report(*node, "'variants' is no table", "write [variants], then a line TYPE = VARIANT per type");
        return;
    }
    for (const auto &[type, variant] : *node->as_table()) take_variant(domain_.get(), type.str(), variant);
}

void domain_reader::take_variant(vela_domain *domain, std::string_view type, const toml::node &value) {
    const vela_type_info *record = velalib::find_type(type);
    if (type == "name" || type == "forbidden_messages") {
        report(value, quoted(type) + " stands in [variants]", "move it above that line");
    } else if (record == nullptr) {
        report(value, "no loaded module has a type " + quoted(type), velalib::type_advice(type, false));
    } else if (velalib::is_message(*record)) {
        report(value, quoted(type) + " is a message, which has no variants",
               "name the type of its payload, or forbid it in forbidden_messages");
    } else {
        const int newest = velalib::newest_variant(*record);
        const std::string allowed =
            newest == 0 ? "give 0, the only one it has" : "give a number from 0 to " + number(newest);
        if (!value.is_integer()) {
            report(value, "the variant of " + quoted(type) + " is no whole number", allowed);
        } else if (const int64_t variant = value.as_integer()->get(); variant < 0 || variant > newest) {
            report(value, quoted(type) + " has no variant " + number(variant), allowed);
        } else if (vela_domain_set_variant(domain, std::string(type).c_str(), static_cast<int8>(variant)) != 0) {
            throw std::bad_alloc();
        }
    }
}

void domain_reader::take_messages(const toml::table &top) {
    const toml::node *node = top.get("forbidden_messages");
    if (node == nullptr) return;
    if (!node->is_array()) {
        report(*node, "'forbidden_messages' is no list", "write forbidden_messages = [\"MESSAGE\", ...]");
        return;
    }
    for (const toml::node &element : *node->as_array()) take_message(domain_.get(), element);
}

void domain_reader::take_message(vela_domain *domain, const toml::node &value) {
    if (!value.is_string()) {
        report(value, "'forbidden_messages' holds something that is no text", "put the message's name in quotes");
        return;
    }
    const std::string &name = value.as_string()->get();
    const vela_type_info *record = velalib::find_type(name);
    if (record == nullptr) {
        report(value, "no loaded module has a message " + quoted(name), velalib::type_advice(name, true));
    } else if (!velalib::is_message(*record)) {
        report(value, quoted(name) + " is no message", "name the messages that carry it, or its variant in [variants]");
    } else if (std::find(forbidden_.begin(), forbidden_.end(), name) != forbidden_.end()) {
        report(value, quoted(name) + " is forbidden already", "leave it out here");
    } else {
        forbidden_.push_back(name);
        if (vela_domain_forbid_message(domain, name.c_str()) != 0) throw std::bad_alloc();
    }
}

void domain_reader::refuse_other_keys(const toml::table &top) {
    for (const auto &[key, value] : top) {
        if (key != "name" && key != "variants" && key != "forbidden_messages") {
            const bool is_type = velalib::find_type(key.str()) != nullptr;
            report(value, "unknown key " + quoted(key.str()),
                   is_type ? "move it below a line [variants]"
                           : "a domain has name, forbidden_messages and the table variants");
        }
    }
}

std::string domain_reader::faults() {
    std::stable_sort(faults_.begin(), faults_.end(), [](const fault &a, const fault &b) { return a.line < b.line; });
    std::string text;
    for (const fault &each : faults_) {
        text += (text.empty() ? "" : "\n") + path_ + ":" + number(each.line) + ": " + each.text;
    }
    return text;
}

/** Loads a file; null with the error word and its reason. */
owned_domain load(const char *path, std::string &why, u_int32 &err) {
    if (path == nullptr || path[0] == '\0') {
        why = "no file is named that holds a domain";
        err = VELA_EINVAL;
        return nullptr;
    }
    std::string content;
    err = read_file(path, content, why);
    if (err != 0) return nullptr;
    domain_reader reader(path);
    owned_domain domain = reader.read(content);
    if (domain == nullptr) {
        why = reader.faults();
        err = VELA_EINVAL;
    }
    return domain;
}

}  // namespace

vela_domain *vela_domain_load(const char *path, char *error_text, size_t room, u_int32 *err) {
    if (*err != 0) return nullptr;
    std::string why;
    owned_domain domain;
    try {
        domain = load(path, why, *err);
    } catch (const std::bad_alloc &) {
        *err = VELA_ENOMEM;
    }
    if (domain == nullptr && error_text != nullptr && room > 0) {
        snprintf(error_text, room, "%s", *err == VELA_ENOMEM ? "there is no memory for a domain" : why.c_str());
    }
    return domain.release();
}
