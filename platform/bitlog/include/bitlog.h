/**
 * Binary trace: a call records a message number, a level and the arguments; texts are looked up by number later.
 *
 * The entry points are named after their arguments, one digit each: 1 a string, 4 a 32-bit number, 5 a pointer;
 * 0 alone means none.
 */
#ifndef BITLOG_H
#define BITLOG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BITLOG_API __attribute__((visibility("default")))

/** Severity, as syslog numbers it, in the top byte of a level word. */
enum {
    BITLOG_EMERGENCY = 0,
    BITLOG_ERROR = 0x3000000,
    BITLOG_INFORMATIONAL = 0x6000000,
    BITLOG_DEBUG = 0x7000000
};

/** The trace points of one subject (a type of the module); the first argument of every entry point. */
typedef struct bitlog_trace_points {
    const char *subject;   /**< for example "ptp_clock" */
    uint32_t first_number; /**< number of the subject's first message */
    uint32_t count;        /**< how many numbers it may use */
} bitlog_trace_points;

/** What a module says of itself. */
typedef struct bitlog_descriptor {
    const char *module;       /**< "vela_ptp_cfg" */
    const char *text_section; /**< section of the module's file that holds its message texts, or NULL */
} bitlog_descriptor;

/** One traced message, as a sink receives it; strings are valid during the call only. */
typedef struct bitlog_record {
    const bitlog_trace_points *points;
    uint32_t number;
    uint16_t module_id;
    uint32_t level;         /**< BITLOG_... */
    uint32_t argument_count;
    char kind[4];           /**< per argument '1', '4' or '5' */
    union {
        const char *text;   /**< '1'; may be NULL */
        uint32_t number;    /**< '4' */
        const void *address;/**< '5' */
    } argument[4];
} bitlog_record;

/** Receives every traced message, on the tracing thread. It must not call the library that traces. */
typedef void (*bitlog_sink_fn)(void *cookie, const bitlog_record *record);

/**
 * Replaces the sink. Not locked: do it before threads trace.
 * @param sink  NULL: the default, which prints emergencies and errors to stderr
 */
BITLOG_API void bitlog_set_sink(bitlog_sink_fn sink, void *cookie);

/**
 * Registers a module; safe to repeat and to call from several threads.
 * @param module_id  receives a number from 1; 0 means not registered
 * @return 0, or 12 when no more modules fit
 */
BITLOG_API uint32_t bitlog_module_init_fn(const char *module, uint16_t *module_id, const bitlog_descriptor *descriptor);

/**
 * Formats a record as text.
 * @return characters that the whole text needs, as snprintf counts
 */
BITLOG_API size_t bitlog_format(const bitlog_record *record, char *buffer, size_t room);

BITLOG_API void __BLf_0(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level);
BITLOG_API void __BLf_1(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                        const char *a);
BITLOG_API void __BLf_4(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                        uint32_t a);
BITLOG_API void __BLf_11(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                         const char *a, const char *b);
BITLOG_API void __BLf_44(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                         uint32_t a, uint32_t b);
BITLOG_API void __BLf_51(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                         const void *a, const char *b);
BITLOG_API void __BLf_111(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                          const char *a, const char *b, const char *c);
BITLOG_API void __BLf_444(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                          uint32_t a, uint32_t b, uint32_t c);

#ifdef __cplusplus
}
#endif

#endif
