// Which messages are wanted: by their names and the values of their fields.
#pragma once

#include <memory>
#include <string>

#include "session.h"

namespace ptpcfg {

/**
 *     ptp_clock_cfg                         the message is one
 *     FIELD=VALUE  FIELD!=VALUE             the field, named as get names it, has the value; "..." is one value
 *     FIELD<VALUE  <=  >  >=                numbers alone
 *     not A    A and B    A or B    ( A )   in this order of strength
 */
class filter {
  public:
    /** Takes every message. */
    filter();
    /** Fails with a usage error where the text is no such expression, or names what no message has. */
    explicit filter(const std::string &text);
    filter(filter &&) noexcept;
    filter &operator=(filter &&) noexcept;
    ~filter();

    bool takes(const record &message) const;

    struct term;

  private:
    std::unique_ptr<term> root_;  // none: everything
};

inline constexpr const char *filter_help =
    "only messages that fit: names of messages and FIELD=VALUE (or != < <= > >=), with and, or, not and brackets";

}  // namespace ptpcfg
