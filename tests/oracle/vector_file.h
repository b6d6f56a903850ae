// The vectors that vectors.py writes, read back.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "velalib/types.h"

namespace oracle_test {

using octets = std::vector<u_int8>;

struct wire_piece {
    size_t offset;
    std::string what;
};

struct test_vector {
    std::string name;
    std::string title;
    bool tracked = false;
    bool shallow = false;
    u_int32 word = 0;
    std::vector<std::pair<std::string, int>> domain;
    std::vector<std::pair<std::string, std::string>> values;  // path, kind and value
    std::vector<std::pair<std::string, u_int8>> flags;
    std::vector<std::string> extra_data;
    octets bytes;
    std::vector<wire_piece> pieces;

    // The library has an unrolled path for records of constant layout at their latest variants.
    bool can_go_unrolled() const {
        const auto is_text = [](const auto &value) { return value.second.starts_with("text"); };
        return !tracked && !shallow && domain.empty() && extra_data.empty() &&
               std::none_of(values.begin(), values.end(), is_text);
    }
};

struct type_line {
    std::string name;
    u_int32 newest_variant, parts, size, tracked_size;
};

struct vector_file {
    std::vector<test_vector> vectors;
    std::vector<type_line> types;
};

inline octets from_hex(const std::string &text) {
    octets result;
    for (size_t i = 0; text != "-" && i + 1 < text.size(); i += 2) {
        result.push_back(static_cast<u_int8>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return result;
}

inline std::string rest_of(std::istringstream &line) {
    std::string result;
    std::getline(line >> std::ws, result);
    return result;
}

inline void read_item(const std::string &item, std::istringstream &line, test_vector &current) {
    std::string path;
    int number = 0;
    if (item == "tracked") {
        current.tracked = true;
    } else if (item == "shallow") {
        current.shallow = true;
    } else if (item == "word") {
        line >> current.word;
    } else if (item == "domain") {
        line >> path >> number;
        current.domain.emplace_back(path, number);
    } else if (item == "set") {
        line >> path;
        current.values.emplace_back(path, rest_of(line));
    } else if (item == "flag") {
        line >> path >> number;
        current.flags.emplace_back(path, static_cast<u_int8>(number));
    } else if (item == "extra") {
        line >> path;
        current.extra_data.push_back(path);
    } else if (item == "bytes") {
        std::string hex;
        line >> hex;
        const octets bytes = from_hex(hex);
        current.pieces.push_back({current.bytes.size(), rest_of(line)});
        current.bytes.insert(current.bytes.end(), bytes.begin(), bytes.end());
    } else {
        ADD_FAILURE() << "unknown item in the vectors: " << item;
    }
}

inline vector_file read_vectors() {
    const char *path = getenv("ORACLE_VECTORS");
    std::ifstream in(path != nullptr ? path : ORACLE_VECTORS);
    vector_file file;
    test_vector current;
    for (std::string text; std::getline(in, text);) {
        std::istringstream line(text);
        std::string item;
        line >> item;
        if (item == "vector") {
            current = {};
            line >> current.name;
            current.title = current.name + " " + rest_of(line);
        } else if (item == "type") {
            type_line type;
            line >> type.name >> type.newest_variant >> type.parts >> type.size >> type.tracked_size;
            file.types.push_back(type);
        } else if (item == "end") {
            file.vectors.push_back(current);
        } else if (item[0] != '#') {
            read_item(item, line, current);
        }
    }
    EXPECT_FALSE(file.vectors.empty()) << "no vectors could be read";
    return file;
}

const vector_file &the_vectors() {
    static const vector_file file = read_vectors();
    return file;
}

}  // namespace oracle_test
