// Reads and compares bearer tokens.
#include "agent/notification/tokens.h"

#include <strings.h>

#include <sstream>
#include <stdexcept>
#include <utility>

#include "agent/notification/files.h"

namespace ptp_agent::notification {
namespace {

/** Takes as long for a wrong token as for the right one; only the length shows. */
bool are_equal(std::string_view given, std::string_view token) {
    unsigned difference = given.size() == token.size() ? 0 : 1;
    for (std::size_t index = 0; index < given.size(); ++index) {
        const char expected = index < token.size() ? token[index] : '\0';
        difference |= static_cast<unsigned char>(given[index]) ^ static_cast<unsigned char>(expected);
    }
    return difference == 0;
}

std::vector<std::string> tokens_in(const std::string &text) {
    std::vector<std::string> tokens;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (!line.empty() && line.front() != '#') {
            tokens.push_back(line);
        }
    }
    return tokens;
}

bool is_same_file(const struct stat &left, const struct stat &right) {
    return left.st_ino == right.st_ino && left.st_dev == right.st_dev && left.st_size == right.st_size &&
           left.st_mtim.tv_sec == right.st_mtim.tv_sec && left.st_mtim.tv_nsec == right.st_mtim.tv_nsec;
}

}  // namespace

Tokens::Tokens(std::string path) : path_(std::move(path)) {
    if (path_.empty()) {
        return;
    }
    read_again_if_changed();
    if (tokens_.empty()) {
        throw std::runtime_error("token_file: " + path_ + " cannot be read or has no token; write one a line");
    }
}

bool Tokens::admit(std::string_view authorization) {
    if (path_.empty()) {
        return true;
    }
    read_again_if_changed();
    constexpr std::string_view scheme = "Bearer ";
    if (authorization.size() <= scheme.size() || strncasecmp(authorization.data(), scheme.data(), scheme.size()) != 0) {
        return false;
    }
    const std::string_view given = authorization.substr(scheme.size());
    bool is_good = false;
    for (const std::string &token : tokens_) {
        is_good = are_equal(given, token) || is_good;
    }
    return is_good;
}

void Tokens::read_again_if_changed() {
    struct stat now {};
    if (::stat(path_.c_str(), &now) != 0) {
        tokens_.clear();
        seen_.reset();
        return;
    }
    if (!seen_ || !is_same_file(*seen_, now)) {
        tokens_ = tokens_in(file_text(path_).value_or(""));
        seen_ = now;
    }
}

}  // namespace ptp_agent::notification
