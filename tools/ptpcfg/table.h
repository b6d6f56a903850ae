// Text in columns.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "terminal.h"

namespace ptpcfg {

/**
 * Lines of cells in columns that are as wide as they must be; the last one is broken to fit the terminal. On one that is
 * too narrow for the columns, the last cell stands below the others, indented.
 */
class table {
  public:
    void row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    std::string text() const {
        const std::vector<size_t> widths = column_widths();
        size_t begin = 0;  // of the last column
        for (size_t column = 0; column + 1 < widths.size(); ++column) {
            begin += widths[column] + gap;
        }
        const size_t width = line_width();
        const bool is_narrow = width != 0 && width < begin + std::min(widths.empty() ? 0 : widths.back(), least_room);
        std::string text;
        for (const auto &cells : rows_) {
            text += is_narrow ? stacked(cells, width) : wrapped(aligned(cells, widths), width, begin) + "\n";
        }
        return text;
    }

  private:
    static constexpr size_t gap = 2;
    static constexpr size_t least_room = 24;

    std::vector<size_t> column_widths() const {
        std::vector<size_t> widths;
        for (const auto &cells : rows_) {
            widths.resize(std::max(widths.size(), cells.size()));
            for (size_t column = 0; column < cells.size(); ++column) {
                widths[column] = std::max(widths[column], cells[column].size());
            }
        }
        return widths;
    }
    static std::string aligned(const std::vector<std::string> &cells, const std::vector<size_t> &widths) {
        std::string line;
        for (size_t column = 0; column < cells.size(); ++column) {
            line += cells[column] + std::string(widths[column] - cells[column].size() + gap, ' ');
        }
        line.resize(line.find_last_not_of(' ') + 1);
        return line;
    }
    static std::string stacked(const std::vector<std::string> &cells, size_t width) {
        std::string head;
        for (size_t column = 0; column + 1 < cells.size(); ++column) {
            head += (head.empty() || cells[column].empty() ? "" : "  ") + cells[column];
        }
        const std::string below = cells.empty() || cells.back().empty() ? "" : "    " + cells.back();
        return (head.empty() ? "" : wrapped(head, width, 2) + "\n") +
               (below.empty() ? "" : wrapped(below, width, 4) + "\n");
    }

    std::vector<std::vector<std::string>> rows_;
};

}  // namespace ptpcfg
