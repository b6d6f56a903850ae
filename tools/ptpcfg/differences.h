// What two records, and two sequences of records, differ in.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "fields.h"

namespace ptpcfg {

/** A value that differs; what one side does not have is empty there. */
struct difference {
    std::string path;
    std::optional<std::string> left;
    std::optional<std::string> right;
};

/** The leaves in which two values of a type differ, in their order. */
std::vector<difference> differences(const std::string &path, const json_value &left, const json_value &right);

/** A record of either side with its place, or of one side alone: then the other place is missing. */
struct counterpart {
    std::optional<size_t> left;
    std::optional<size_t> right;
};

/** What of a sequence is compared: equal words are equal records, equal names are records of a type. */
struct sequence_item {
    std::string name;
    std::string word;
};

/**
 * Which records of two sequences stand for each other: the longest common sequence is found, and what lies between is
 * paired by name. Very long sequences are paired by their places. Equal ones are left out.
 */
std::vector<counterpart> counterparts(const std::vector<sequence_item> &left, const std::vector<sequence_item> &right);

}  // namespace ptpcfg
