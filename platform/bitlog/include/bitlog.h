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
enum { BITLOG_EMERGENCY = 0, BITLOG_ERROR = 0x3000000, BITLOG_INFORMATIONAL = 0x6000000, BITLOG_DEBUG = 0x7000000 };

/** The trace points of one subject (a type of the module); the first argument of every entry point. */
typedef struct bitlog_trace_points {
    const char *subject;   /**< for example "ptp_clock" */
    uint32_t first_number; /**< number of the subject's first message */
    uint32_t count;        /**< how many numbers it may use */
} bitlog_trace_points;

/** What a module says of itself. */
typedef struct bitlog_descriptor {
    const char *module; /**< "vela_ptp_cfg" */
    /**
     * Section of the module's file that holds its message texts, or NULL. Its content is compressed with bzip2: one
     * line per message, "NUMBER<TAB>TEXT", where TEXT may hold %s, %d, %u, %p and %%.
     */
    const char *text_section;
} bitlog_descriptor;

/** One traced message, as a sink receives it; strings are valid during the call only. */
typedef struct bitlog_record {
    const bitlog_trace_points *points;
    uint32_t number;
    uint16_t module_id;
    uint32_t level; /**< BITLOG_... */
    uint32_t argument_count;
    char kind[4]; /**< per argument '1', '4' or '5' */
    union {
        const char *text;    /**< '1'; may be NULL */
        uint32_t number;     /**< '4' */
        const void *address; /**< '5' */
    } argument[4];
} bitlog_record;

/** Receives every traced message, on the tracing thread. It must not call the library that traces. */
typedef void (*bitlog_sink_fn)(void *cookie, const bitlog_record *record);

/**
 * Replaces the sink. Not locked: do it before threads trace.
 * @param sink  NULL: the default, which prints emergencies and errors to stderr, one line each
 */
BITLOG_API void bitlog_set_sink(bitlog_sink_fn sink, void *cookie);

/**
 * Sets the least severe level that is traced, BITLOG_DEBUG at start; safe from any thread. A call below it costs one
 * comparison. The default sink stays at BITLOG_ERROR, or what is more severe.
 */
BITLOG_API void bitlog_set_level(uint32_t level);
/** The level last set. */
BITLOG_API uint32_t bitlog_get_level(void);

/**
 * Registers a module; safe to repeat and to call from several threads. A name that is registered already keeps its
 * number, also when its library was unloaded and loaded again.
 * @param module      at most 63 characters; copied
 * @param module_id   0 before the first call; receives a number from 1; 0 means not registered
 * @param descriptor  stays valid as long as the module is loaded; may be NULL (no texts)
 * @return 0, 12 when no more modules fit, or 22 for a name or section name that is missing or too long
 */
BITLOG_API uint32_t bitlog_module_init_fn(const char *module, uint16_t *module_id, const bitlog_descriptor *descriptor);

/** Name of a registered module; NULL when there is none of that number. */
BITLOG_API const char *bitlog_module_name(uint16_t module_id);
/** "emergency", "error", "informational", "debug"; other severities by their syslog names, "unknown" beyond. */
BITLOG_API const char *bitlog_level_name(uint32_t level);

/**
 * Formats a record as text: its message text with the arguments put in, or, when the module's texts cannot be found,
 * "message 1234 of ptp_clock: ARGUMENT, ...". The first call for a module reads the texts from the module's file.
 * @param buffer  receives at most room - 1 characters and a NUL; may be NULL when `room` is 0
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
