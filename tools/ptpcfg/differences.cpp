// Compares values leaf by leaf, and sequences by their longest common one.
#include "differences.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace ptpcfg {
namespace {

using sequence = std::vector<sequence_item>;

/** Most cells of the table of the longest common sequence, which has one for each pair of records. */
constexpr size_t most_cells = size_t{16} << 20;

/** Values of arrays by place, of objects by name; those that only the right side has stand behind. */
void compare_members(const std::string &path, const json_value &left, const json_value &right,
                     std::vector<difference> &found);

void compare(const std::string &path, const json_value *left, const json_value *right, std::vector<difference> &found) {
    if (left != nullptr && right != nullptr && !is_leaf(*left) && left->type() == right->type() && !is_leaf(*right)) {
        compare_members(path, *left, *right, found);
        return;
    }
    if (left == nullptr || right == nullptr || *left != *right) {
        const auto text = [](const json_value *value) {
            return value != nullptr ? std::optional<std::string>(plain_text(*value)) : std::nullopt;
        };
        found.push_back({path, text(left), text(right)});
    }
}

void compare_members(const std::string &path, const json_value &left, const json_value &right,
                     std::vector<difference> &found) {
    if (left.is_array()) {
        for (size_t index = 0; index < std::max(left.size(), right.size()); ++index) {
            compare(path + "[" + std::to_string(index) + "]", index < left.size() ? &left[index] : nullptr,
                    index < right.size() ? &right[index] : nullptr, found);
        }
        return;
    }
    for (const auto &[name, value] : left.items()) {
        compare(path + "/" + name, &value, right.contains(name) ? &right[name] : nullptr, found);
    }
    for (const auto &[name, value] : right.items()) {
        if (!left.contains(name)) {
            compare(path + "/" + name, nullptr, &value, found);
        }
    }
}

/** A stretch of both sequences in which nothing is known to be equal. */
struct stretch {
    size_t left_begin, left_end, right_begin, right_end;
};

/** Pairs what has the same name, in order; the rest stands on its own side. */
void pair_by_name(const sequence &left, const sequence &right, const stretch &part, std::vector<counterpart> &found) {
    std::vector<bool> is_taken(part.right_end - part.right_begin);
    size_t next = part.right_begin;
    for (size_t at = part.left_begin; at < part.left_end; ++at) {
        size_t match = next;
        while (match < part.right_end && right[match].name != left[at].name) {
            ++match;
        }
        if (match == part.right_end) {
            found.push_back({at, std::nullopt});
            continue;
        }
        for (; next < match; ++next) {
            found.push_back({std::nullopt, next});
        }
        if (left[at].word != right[match].word) {
            found.push_back({at, match});
        }
        next = match + 1;
    }
    for (; next < part.right_end; ++next) {
        found.push_back({std::nullopt, next});
    }
}

/** Splits a stretch at the records of its longest common sequence. */
void pair_by_common(const sequence &left, const sequence &right, const stretch &part, std::vector<counterpart> &found) {
    const size_t rows = part.left_end - part.left_begin;
    const size_t columns = part.right_end - part.right_begin;
    std::vector<u_int32> longest((rows + 1) * (columns + 1));  // of what is left from a pair of places on
    const auto at = [&](size_t row, size_t column) -> u_int32 & { return longest[row * (columns + 1) + column]; };
    const auto is_equal = [&](size_t row, size_t column) {
        return left[part.left_begin + row].word == right[part.right_begin + column].word;
    };
    for (size_t row = rows; row-- > 0;) {
        for (size_t column = columns; column-- > 0;) {
            at(row, column) = is_equal(row, column) ? at(row + 1, column + 1) + 1
                                                    : std::max(at(row + 1, column), at(row, column + 1));
        }
    }
    size_t row = 0;
    size_t column = 0;
    stretch between = {part.left_begin, part.left_begin, part.right_begin, part.right_begin};
    while (row < rows && column < columns) {
        if (!is_equal(row, column)) {
            at(row + 1, column) >= at(row, column + 1) ? ++row : ++column;
            continue;
        }
        between.left_end = part.left_begin + row++;
        between.right_end = part.right_begin + column++;
        pair_by_name(left, right, between, found);
        between.left_begin = between.left_end + 1;
        between.right_begin = between.right_end + 1;
    }
    pair_by_name(left, right, {between.left_begin, part.left_end, between.right_begin, part.right_end}, found);
}

}  // namespace

std::vector<difference> differences(const std::string &path, const json_value &left, const json_value &right) {
    std::vector<difference> found;
    compare(path, &left, &right, found);
    return found;
}

std::vector<counterpart> counterparts(const sequence &left, const sequence &right) {
    stretch part = {0, left.size(), 0, right.size()};
    const size_t shorter = std::min(left.size(), right.size());
    while (part.left_begin < shorter && left[part.left_begin].word == right[part.right_begin].word) {
        ++part.left_begin;
        ++part.right_begin;
    }
    while (part.left_end > part.left_begin && part.right_end > part.right_begin &&
           left[part.left_end - 1].word == right[part.right_end - 1].word) {
        --part.left_end;
        --part.right_end;
    }
    std::vector<counterpart> found;
    const size_t rows = part.left_end - part.left_begin + 1;
    const bool is_short = rows < most_cells / (part.right_end - part.right_begin + 1);
    (is_short ? pair_by_common : pair_by_name)(left, right, part, found);
    return found;
}

}  // namespace ptpcfg
