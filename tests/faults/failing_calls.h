/**
 * System calls that fail when a test says so, in the program that is linked with failing_calls.cpp, or in any process that
 * has it preloaded. A call is told by its number since fail_call(); each has a list of ways in which it may fail.
 *
 * A process reads PTP_CFG_FAIL_CALL=NUMBER:WAY when it begins, and makes the file PTP_CFG_FAILED_CALL once that call was
 * reached, with the name of the call and the way in it.
 */
#pragma once

namespace test {

/** What became of the call that was to fail. */
struct failed_call {
    const char *name = nullptr;  ///< nullptr: there were fewer calls
    const char *way = nullptr;   ///< nullptr: that call has fewer ways to fail, and did what it does
    bool is_harmless = false;    ///< it did less than was asked, or was interrupted: nothing may be lost by that
};

constexpr unsigned most_ways = 5;

/** Lets the call of this number, from 1, fail in its way of that number, from 0. */
void fail_call(unsigned number, unsigned way);
/** Lets no call fail from now on. */
failed_call stop_failing();

}  // namespace test
