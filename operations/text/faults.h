// What the readers of XML and JSON say alike of what is wrong.
#pragma once

namespace ptp_cfg {

/** Of a field or value (43): the variant that it needs, of which type, the one in use, and what to do. */
inline constexpr char needs_newer_variant[] = "needs variant %d of %s, but %d is in use; %s";
inline constexpr char leave_it_out[] = "leave it out";
inline constexpr char give_older_value[] = "give a value that it has";

/** Of a field that can stand once. */
inline constexpr char stands_twice[] = "stands here a second time; keep one";

}  // namespace ptp_cfg
