// How a text is encoded, by its first bytes.
#pragma once

#include <string_view>

namespace ptpcfg {

inline constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/** Whether a text begins in UTF-16 or UTF-32: with a mark, or with zero bytes around its first character. */
constexpr bool is_wide_text(std::string_view begin) {
    if (begin.starts_with("\xFF\xFE") || begin.starts_with("\xFE\xFF")) {
        return true;
    }
    const auto is_zero = [begin](size_t at) { return at >= begin.size() || begin[at] == '\0'; };
    return begin.size() >= 2 && (is_zero(0) != is_zero(1) || (is_zero(0) && is_zero(2) && !is_zero(3)));
}

}  // namespace ptpcfg
