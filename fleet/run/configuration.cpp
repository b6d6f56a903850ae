// The keys of the file, each with where its value goes.
#include "configuration.h"

#include <toml++/toml.h>

#include <fstream>
#include <sstream>

namespace ptp_fleet {
namespace {

/** A table of the file whose keys are all to be known. */
class section {
  public:
    section(const toml::table &all, const char *name, std::string file) : name_(name), file_(std::move(file)) {
        const toml::node *found = *name == '\0' ? &all : all.get(name);
        if (found != nullptr && !found->is_table()) {
            throw std::runtime_error(file_ + ": " + name_ + " is to be a table");
        }
        from_ = found == nullptr ? nullptr : found->as_table();
    }

    template <typename value>
    void take(const char *key, value &to) {
        known_.emplace_back(key);
        const toml::node *found = from_ == nullptr ? nullptr : from_->get(key);
        if (found == nullptr) {
            return;
        }
        const auto read = found->value<value>();
        if (!read) {
            fail(found->source().begin.line, std::string(key) + " is to be " + wanted<value>());
        }
        if constexpr (std::is_arithmetic_v<value>) {
            if (*read < value()) {
                fail(found->source().begin.line, std::string(key) + " is below 0");
            }
        }
        to = *read;
    }
    void take_bytes(const char *key, std::uint64_t &to) {
        double gigabytes = static_cast<double>(to) / (1 << 30);
        take(key, gigabytes);
        to = static_cast<std::uint64_t>(gigabytes * (1 << 30));
    }
    void skip(const char *key) { known_.emplace_back(key); }
    /** Fails for a key that nobody has taken. */
    void end() const {
        for (const auto &[key, value] : from_ == nullptr ? toml::table() : *from_) {
            if (std::find(known_.begin(), known_.end(), key.str()) == known_.end()) {
                fail(key.source().begin.line, "there is no key " + std::string(key.str()));
            }
        }
    }

  private:
    template <typename value>
    static const char *wanted() {
        return std::is_same_v<value, std::string> ? "a text"
               : std::is_same_v<value, bool>      ? "true or false"
                                                  : "a number";
    }
    [[noreturn]] void fail(unsigned line, const std::string &why) const {
        throw std::runtime_error(file_ + ":" + std::to_string(line) + ": " + (name_.empty() ? "" : "[" + name_ + "] ") +
                                 why);
    }

    std::string name_, file_;
    const toml::table *from_ = nullptr;
    std::vector<std::string> known_;
};

std::string whole(const std::string &file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in) {
        throw std::runtime_error(file + ": cannot be read");
    }
    return text.str();
}

toml::table parsed(const std::string &text, const std::string &file) {
    try {
        return toml::parse(text, file);
    } catch (const toml::parse_error &error) {
        throw std::runtime_error(file + ":" + std::to_string(error.source().begin.line) + ": " +
                                 std::string(error.description()));
    }
}

void read_general(const toml::table &all, const std::string &file, run_configuration &to) {
    section general(all, "", file);
    general.take("uri", to.collect.uri);
    general.take("name", to.collect.name);
    general.take("database", to.collect.database);
    general.take("checkpoint", to.collect.checkpoint_s);
    general.take("silent_after", to.silent_after_s);
    general.take("lease", to.lease_s);
    std::int64_t replicas = to.replicas;
    general.take("replicas", replicas);
    to.replicas = static_cast<int>(replicas);
    general.take("alone", to.is_alone);
    for (const char *table : {"keep", "serve", "webhook", "alarm"}) {
        general.skip(table);
    }
    general.end();
}

void read_keep(const toml::table &all, const std::string &file, keeping &to) {
    section keep(all, "keep", file);
    keep.take("seconds_days", to.seconds_days);
    keep.take("minutes_days", to.minutes_days);
    keep.take("hours_days", to.hours_days);
    keep.take("records_days", to.records_days);
    keep.take("journal_hours", to.journal_hours);
    keep.take("source_days", to.source_days);
    keep.take_bytes("gigabytes", to.most_bytes);
    keep.end();
}

void read_others(const toml::table &all, const std::string &file, run_configuration &to) {
    section serve(all, "serve", file);
    serve.take("listen", to.web.listen);
    serve.take("page", to.web.page);
    serve.take("tokens", to.web.tokens);
    serve.take("certificate", to.web.certificate);
    serve.take("key", to.web.key);
    serve.end();
    section hook(all, "webhook", file);
    hook.take("url", to.hook.url);
    hook.take("token_file", to.hook.token_file);
    hook.take("ca", to.hook.ca);
    hook.take("give_up_after", to.hook.give_up_s);
    hook.end();
}

}  // namespace

run_configuration read_configuration(const std::string &file) {
    run_configuration result;
    result.collect.uri = "nats://127.0.0.1:4222/ptp";
    result.collect.database = "fleet.db";
    const std::string text = file.empty() ? "" : whole(file);
    const toml::table all = parsed(text, file);
    read_general(all, file, result);
    read_keep(all, file, result.collect.keep);
    read_others(all, file, result);
    result.rules = all.contains("alarm") ? read_rules(text, file) : usual_rules();
    if (result.lease_s < 1) {
        throw std::runtime_error(file + ": lease is below a second");
    }
    return result;
}

}  // namespace ptp_fleet
