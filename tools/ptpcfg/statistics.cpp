// stats: the counters of types, from a file that processes share or from this process, as text or JSON.
#include <cerrno>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "files.h"
#include "refused_file.h"
#include "table.h"
#include "velalib/shared_types.h"

namespace ptpcfg {
namespace {

/** One variant of a type. */
struct counted_variant {
    std::string type;
    std::string module;
    std::string kind;
    u_int32 variant;
    u_int64 created;
    u_int64 destroyed;
};

/** A name from a file: whatever is no plain character becomes a question mark, so that it can stand anywhere. */
std::string plain_name(const char *name) {
    std::string text = name;
    for (char &character : text) {
        const bool plain = character > ' ' && character <= '~' && character != '"' && character != '\\';
        if (!plain) {
            character = '?';
        }
    }
    return text;
}

/** The rows of shared types, or with nullptr of this process; without `all` only those that counted something. */
std::vector<counted_variant> rows_of(const vela_shared_types *types, bool all) {
    std::vector<counted_variant> rows;
    vela_type_counts_each(
        types,
        [](void *cookie, const vela_type_counts *counts) {
            static_cast<std::vector<counted_variant> *>(cookie)->push_back(
                {plain_name(counts->type_name), plain_name(counts->module_name), plain_name(counts->kind),
                 counts->variant, counts->created, counts->destroyed});
        },
        &rows);
    if (!all) {
        std::erase_if(rows, [](const counted_variant &row) { return row.created == 0 && row.destroyed == 0; });
    }
    return rows;
}

/** Can be below 0: increments of two processes at the same moment may be lost. */
std::string alive(const counted_variant &row) {
    return std::to_string(static_cast<int64_t>(row.created - row.destroyed));
}

std::string text_of(const std::vector<counted_variant> &rows) {
    table lines;
    lines.row({"TYPE", "VARIANT", "CREATED", "DESTROYED", "ALIVE"});
    for (const counted_variant &row : rows) {
        lines.row({row.type, std::to_string(row.variant), std::to_string(row.created), std::to_string(row.destroyed),
                   alive(row)});
    }
    return lines.text();
}

std::string json_of(const std::vector<counted_variant> &rows) {
    std::string text = "{\"types\": [";
    for (const counted_variant &row : rows) {
        text += &row == rows.data() ? "\n" : ",\n";
        text += "  {\"type\": \"" + row.type + "\", \"module\": \"" + row.module + "\", \"kind\": \"" + row.kind +
                "\", \"variant\": " + std::to_string(row.variant) + ", \"created\": " + std::to_string(row.created) +
                ", \"destroyed\": " + std::to_string(row.destroyed) + "}";
    }
    return text + (rows.empty() ? "]}\n" : "\n]}\n");
}

}  // namespace

void show_statistics(const statistics_options &options) {
    u_int32 err = 0;
    char reason[200] = "";
    const std::unique_ptr<vela_shared_types, decltype(&vela_shared_types_close)> types(
        vela_shared_types_read(options.file.c_str(), &err, reason, sizeof reason), &vela_shared_types_close);
    if (types == nullptr) {
        const bool is_wrong = err == VELA_EINVAL || err == EAGAIN;
        throw failure(is_wrong ? code_of_refused(options.file) : exit_code::io, options.file + ": " + reason);
    }
    const std::vector<counted_variant> rows = rows_of(types.get(), options.all);
    write_output("-", options.json ? json_of(rows) : text_of(rows));
}

std::string statistics_of_this_run() { return text_of(rows_of(nullptr, false)); }

}  // namespace ptpcfg
