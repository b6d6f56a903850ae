// Rows of the table of all clocks as JSON.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clock_table.h"

namespace ptp_fleet {

/** Places in the list of all columns. */
using column_list = std::vector<std::size_t>;

column_list all_columns();
/** Names with commas between. Nothing where one is no column, which `unknown` then names. */
std::optional<column_list> read_columns(std::string_view names, std::string &unknown);

/** A document with the rows that changed after that number, or with all. */
std::string rows_text(const clock_table &table, std::optional<std::uint64_t> since, const column_list &columns,
                      std::uint64_t now_ns);
/** A row alone, by column. */
std::string row_text(const clock_row &of, std::size_t place);

}  // namespace ptp_fleet
