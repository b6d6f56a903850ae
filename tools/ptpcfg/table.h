// Text in columns.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "terminal.h"

namespace ptpcfg {

/** Lines of cells in columns that are as wide as they must be; the last one is broken to fit the terminal. */
class table {
  public:
    void row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    std::string text() const {
        std::vector<size_t> widths;
        for (const auto &cells : rows_) {
            widths.resize(std::max(widths.size(), cells.size()));
            for (size_t column = 0; column < cells.size(); ++column) {
                widths[column] = std::max(widths[column], cells[column].size());
            }
        }
        std::string text;
        for (const auto &cells : rows_) {
            std::string line;
            size_t begin = 0;  // of the last column
            for (size_t column = 0; column < cells.size(); ++column) {
                begin = line.size();
                line += cells[column] + std::string(widths[column] - cells[column].size() + 2, ' ');
            }
            line.resize(line.find_last_not_of(' ') + 1);
            constexpr size_t least_room = 24;
            constexpr size_t indent = 8;  // where the last column would be too narrow
            text += wrapped(line, line_width(), line_width() >= begin + least_room ? begin : indent) + "\n";
        }
        return text;
    }

  private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace ptpcfg
