// Reads the files, and sends them with what keeps the page from loading anything from elsewhere.
#include "page_files.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "api_description.h"
#include "compression.h"
#include "problem.h"

namespace ptp_fleet {
namespace {

constexpr int best = 9;
constexpr const char *policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

constexpr std::array<std::pair<std::string_view, const char *>, 5> types{{{".html", "text/html; charset=utf-8"},
                                                                          {".js", "text/javascript; charset=utf-8"},
                                                                          {".css", "text/css; charset=utf-8"},
                                                                          {".svg", "image/svg+xml"},
                                                                          {".txt", "text/plain; charset=utf-8"}}};

std::string read_file(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file) {
        throw std::runtime_error(path.string() + " cannot be read");
    }
    return text.str();
}

}  // namespace

page_files::page_files(const std::string &folder) {
    add("/openapi.yaml", api_description, "application/yaml");
    if (folder.empty()) {
        return;
    }
    if (!std::filesystem::exists(std::filesystem::path(folder) / "index.html")) {
        throw std::runtime_error("there is no page in " + folder + ": it has no index.html");
    }
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        for (const auto &[ending, type] : types) {
            if (entry.is_regular_file() && entry.path().extension() == ending) {
                add("/" + entry.path().filename().string(), read_file(entry.path()), type);
            }
        }
    }
    files_["/"] = files_.at("/index.html");
}

void page_files::add(const std::string &path, std::string text, std::string type) {
    file &one = files_[path];
    one.tag = '"' + std::to_string(std::hash<std::string>()(text)) + '"';
    one.type = std::move(type);
    one.compressed = std::make_shared<const std::string>(gzip(text, best));
    one.plain = std::make_shared<const std::string>(std::move(text));
}

http_response page_files::answer(const http_request &request) const {
    const auto found = files_.find(request.path);
    if (found == files_.end()) {
        return problem(404, request.path == "/" ? "This server has no page; /openapi.yaml says what it has."
                                                : "There is no " + request.path + ".");
    }
    const file &one = found->second;
    http_response response;
    response.content_type = one.type;
    response.header = {{"Cache-Control", "no-cache"},
                       {"ETag", one.tag},
                       {"Content-Security-Policy", policy},
                       {"Referrer-Policy", "no-referrer"},
                       {"Vary", "Accept-Encoding"}};
    if (request.known_tag == one.tag) {
        response.status = 304;
        response.body = std::make_shared<const std::string>();
        return response;
    }
    response.body = request.takes_gzip ? one.compressed : one.plain;
    if (request.takes_gzip) {
        response.header.emplace_back("Content-Encoding", "gzip");
    }
    return response;
}

}  // namespace ptp_fleet
