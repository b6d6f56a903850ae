// Writes the files that have changed, and removes pages that are not made any more.
#include "output.h"

#include <fstream>
#include <iterator>
#include <ostream>
#include <stdexcept>

namespace codegen {
namespace {

bool holds(const std::filesystem::path &file, const std::string &content) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        return false;
    }
    return std::string(std::istreambuf_iterator<char>(stream), {}) == content;
}

}  // namespace

void output_set::add(const std::string &path, std::string content) {
    if (!files_.emplace(path, std::move(content)).second) {
        throw std::logic_error("two outputs are called " + path);
    }
}

void output_set::own(const std::string &directory) { owned_.push_back(directory); }

void output_set::list(std::ostream &stream) const {
    for (const auto &[path, content] : files_) {
        stream << path << '\n';
    }
}

void output_set::write(const std::filesystem::path &directory) const {
    for (const auto &[path, content] : files_) {
        const std::filesystem::path file = directory / path;
        if (holds(file, content)) {
            continue;
        }
        std::filesystem::create_directories(file.parent_path());
        std::ofstream stream(file, std::ios::binary | std::ios::trunc);
        stream << content;
        stream.close();
        if (!stream) {
            throw std::runtime_error(file.generic_string() + ": cannot be written; check the directory and its space");
        }
    }
    remove_others(directory);
}

void output_set::remove_others(const std::filesystem::path &directory) const {
    for (const std::string &owned : owned_) {
        std::vector<std::filesystem::path> others;
        for (const auto &entry : std::filesystem::directory_iterator(directory / owned)) {
            if (!files_.contains(owned + "/" + entry.path().filename().generic_string())) {
                others.push_back(entry.path());
            }
        }
        for (const std::filesystem::path &other : others) {
            std::filesystem::remove(other);
        }
    }
}

}  // namespace codegen
