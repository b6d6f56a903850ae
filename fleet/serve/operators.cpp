// Reads and compares tokens.
#include "operators.h"

#include <strings.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace ptp_fleet {
namespace {

constexpr std::size_t shortest_token = 16;

/** Takes as long for a wrong token as for the right one; only the length shows. */
bool are_equal(std::string_view given, std::string_view token) {
    unsigned difference = given.size() == token.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size(); ++i) {
        const char expected = i < token.size() ? token[i] : '\0';
        difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(expected);
    }
    return difference == 0;
}

bool is_same_file(const struct stat &left, const struct stat &right) {
    return left.st_ino == right.st_ino && left.st_dev == right.st_dev && left.st_size == right.st_size &&
           left.st_mtim.tv_sec == right.st_mtim.tv_sec && left.st_mtim.tv_nsec == right.st_mtim.tv_nsec;
}

}  // namespace

operators::operators(std::string path) : path_(std::move(path)) {
    if (path_.empty()) {
        return;
    }
    struct stat now = {};
    if (::stat(path_.c_str(), &now) == 0 && (now.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw std::runtime_error("others may read the tokens in " + path_ + "; chmod 600 it");
    }
    read_again_if_changed();
    if (entries_.empty()) {
        throw std::runtime_error(path_ +
                                 " cannot be read or has no line NAME TOKEN with a token of 16 characters or more");
    }
}

std::vector<operators::entry> operators::read(const std::string &path) {
    std::vector<entry> found;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        entry one;
        if (words >> one.name >> one.token && one.name.front() != '#' && one.token.size() >= shortest_token) {
            found.push_back(std::move(one));
        }
    }
    return found;
}

std::optional<std::string> operators::name_of(std::string_view authorization) {
    constexpr std::string_view scheme = "Bearer ";
    if (authorization.size() <= scheme.size() || strncasecmp(authorization.data(), scheme.data(), scheme.size()) != 0 ||
        path_.empty()) {
        return std::nullopt;
    }
    const std::lock_guard lock(mutex_);
    read_again_if_changed();
    std::optional<std::string> name;
    for (const entry &one : entries_) {
        if (are_equal(authorization.substr(scheme.size()), one.token)) {
            name = one.name;
        }
    }
    return name;
}

void operators::read_again_if_changed() {
    struct stat now = {};
    if (::stat(path_.c_str(), &now) != 0) {
        entries_.clear();
        seen_.reset();
        return;
    }
    if (!seen_ || !is_same_file(*seen_, now)) {
        entries_ = read(path_);
        seen_ = now;
    }
}

}  // namespace ptp_fleet
