// Text in columns.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace ptpcfg {

/** Lines of cells in columns that are as wide as they must be. */
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
            for (size_t column = 0; column < cells.size(); ++column) {
                line += cells[column] + std::string(widths[column] - cells[column].size() + 2, ' ');
            }
            text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        }
        return text;
    }

  private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace ptpcfg
