/**
 * Uses an instance that it has destroyed, for the tests that look for what a memory checker, or the library, says.
 *
 * use_after_destroy call|inline|twice|block: reads by the exported function or the inline form, destroys twice, or
 * frees a block twice.
 */
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "ptp_cfg_inline.h"

static u_int8 read_by_call(vela_handle *handle, ptp_clock_quality *quality, u_int32 *err) {
    u_int8 (*const volatile get)(vela_handle *, u_int32, const ptp_clock_quality *, u_int32 *) =
        ptp_clock_quality_clock_class_get_value; /* the address of an accessor is that of the exported one */
    return get(handle, 0, quality, err);
}

/** For a test that looks at what was said, an abort is an end like another. */
static void end(int number) { _exit(number); }

int main(int count, char **words) {
    u_int32 err = 0;
    u_int8 value = 0;
    signal(SIGABRT, end);
    vela_handle *handle = vela_handle_create(NULL, &err);
    if (count != 2 || handle == NULL) return 2;
    ptp_clock_quality *quality = ptp_clock_quality_create(handle, 0);
    ptp_clock_quality *other = ptp_clock_quality_create(handle, 0);
    void *block = velalib_malloc(handle, 0, 100);
    ptp_clock_quality_destroy(handle, 0, other);
    ptp_clock_quality_destroy(handle, 0, quality);
    velalib_free(handle, 0, block);
    if (strcmp(words[1], "call") == 0) value = read_by_call(handle, quality, &err);
    if (strcmp(words[1], "inline") == 0) value = ptp_clock_quality_clock_class_get_value(handle, 0, quality, &err);
    if (strcmp(words[1], "twice") == 0) ptp_clock_quality_destroy(handle, 0, quality);
    if (strcmp(words[1], "block") == 0) velalib_free(handle, 0, block);
    printf("%u: nobody noticed\n", value);
    vela_handle_destroy(handle, NULL);
    return 0;
}
