/**
 * Binary trace: a call records a message number, a level and the arguments; texts are looked up by number later.
 *
 * Traced messages reach a sink, a function of the program, and, when one is open, a ring: records of fixed size in
 * memory or in a file, of which the newest are kept. What a process put into a file is there whatever becomes of the
 * process. A reader gets the records back; `ptpcfg trace FILE` prints them.
 *
 * Functions that can fail return 0 or an error of <errno.h>, named with each. All leave errno alone that are called
 * while tracing (__BLf_...).
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
     *
     * When its name ends with "texts", sections with "subjects", "arguments" and "levels" instead may say more, in the
     * same form: the subject, the digits of the arguments ("44", "0") and the usual level of each number. Readers of a
     * ring take subjects from there, and notice by the arguments when a record and a text do not belong together.
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
 * @param sink  NULL: the default, which prints emergencies and errors to stderr, one line each: module, level, subject
 *              and text
 */
BITLOG_API void bitlog_set_sink(bitlog_sink_fn sink, void *cookie);

/**
 * Sets the least severe level that is traced, BITLOG_DEBUG at start; safe from any thread, not from a signal handler.
 * A call below it costs one load and one branch. The default sink stays at BITLOG_ERROR, or what is more severe.
 */
BITLOG_API void bitlog_set_level(uint32_t level);
/** The level last set. */
BITLOG_API uint32_t bitlog_get_level(void);

/** As a module's level: the module follows bitlog_set_level() again. */
#define BITLOG_COMMON_LEVEL 0xFFFFFFFFu

/**
 * Sets the least severe level of one module, in place of the one of bitlog_set_level(); safe from any thread, not from
 * a signal handler. The module need not be loaded yet.
 * @param module  its name, for example "vela_ptp_cfg"
 * @return 0, ENOMEM when no more modules fit, or EINVAL for a name that is missing or too long
 */
BITLOG_API uint32_t bitlog_set_module_level(const char *module, uint32_t level);

/**
 * Registers a module; safe to repeat and to call from several threads. A name that is registered already keeps its
 * number, also when its library was unloaded and loaded again.
 * @param module      at most 63 characters; copied
 * @param module_id   0 before the first call; receives a number from 1; 0 means not registered
 * @param descriptor  stays valid as long as the module is loaded; may be NULL (no texts)
 * @return 0, VELA_ENOMEM when no more modules fit, or VELA_EINVAL for a name or section name that is missing or too
 *         long
 */
BITLOG_API uint32_t bitlog_module_init_fn(const char *module, uint16_t *module_id, const bitlog_descriptor *descriptor);

/** Name of a registered module; NULL when there is none of that number. */
BITLOG_API const char *bitlog_module_name(uint16_t module_id);
/** "emergency", "error", "informational", "debug"; other severities by their syslog names, "unknown" beyond. */
BITLOG_API const char *bitlog_level_name(uint32_t level);

/**
 * Formats a record as text: its message text with the arguments put in, or, when the module's texts cannot be found,
 * "message 1234 of ptp_clock: ARGUMENT, ...". Strings are put in as they are. The first call for a module reads the
 * texts from the module's file.
 * @param buffer  receives at most room - 1 characters and a NUL; may be NULL when `room` is 0
 * @return characters that the whole text needs, as snprintf counts
 */
BITLOG_API size_t bitlog_format(const bitlog_record *record, char *buffer, size_t room);

/** Records of a ring unless another number is wanted, and the largest number. */
enum { BITLOG_DEFAULT_CAPACITY = 4096, BITLOG_MOST_CAPACITY = 1 << 20 };

/**
 * Opens the process's ring: from now on every message that passes the levels is kept there, beside what the sink does
 * with it. Threads share the ring without locks; when it is full the oldest record goes. A record takes 128 bytes;
 * strings that do not fit are cut, the longest first. A child process of fork() goes on tracing into the same file.
 *
 * Not locked: open and close a ring while no other thread opens or closes one. Other threads may trace meanwhile.
 *
 * @param path      file to hold the ring, or NULL for memory. Its room on the disk is taken at once. A ring that is
 *                  there already becomes PATH.old, so that a process which is started again keeps what the one
 *                  before it traced (one that still runs goes on there); any other file is left alone. Nobody may
 *                  make the file shorter while it is open.
 * @param capacity  records to keep, rounded up to a power of two; 0 stands for BITLOG_DEFAULT_CAPACITY
 * @return 0; EBUSY when a ring is open; EINVAL for a capacity beyond BITLOG_MOST_CAPACITY; EEXIST when the path, or
 *         PATH.old, is some other file, also a symbolic link; EACCES when a ring that is there belongs to another user,
 *         see bitlog_ring_open_with(); ENOMEM; or what creating the file came to, for example ENOSPC or EACCES
 */
BITLOG_API uint32_t bitlog_ring_open(const char *path, uint32_t capacity);

/** How to open a ring. Zero-fill it, set `size`, then what you need. Later releases add members at the end. */
typedef struct bitlog_ring_options {
    size_t size;                /**< sizeof(bitlog_ring_options) */
    uint32_t capacity;          /**< as for bitlog_ring_open() */
    uint32_t allow_other_users; /**< non-zero: rings that are there already may belong to another user */
} bitlog_ring_options;

/**
 * Opens the process's ring as bitlog_ring_open() does. Without allow_other_users a ring under the path, or under
 * PATH.old, must belong to the effective user of this process: it is renamed or replaced, and a new one is made.
 * @return as bitlog_ring_open(), and EINVAL for options of another size
 */
BITLOG_API uint32_t bitlog_ring_open_with(const char *path, const bitlog_ring_options *options);

/**
 * Closes the ring; a file keeps its records. No other thread may trace or read the ring meanwhile. A process that ends
 * need not close it. Does nothing when none is open.
 */
BITLOG_API void bitlog_ring_close(void);

/** A record as it was kept. */
typedef struct bitlog_entry {
    /** Its strings and points are valid until the reader is used again; points is NULL when the subject is unknown. */
    bitlog_record record;
    uint64_t position;    /**< counts from 0 since the ring was opened */
    int64_t time_ns;      /**< since 1970 in UTC: the clock when the ring was opened, and what passed since then */
    uint32_t thread;      /**< of the operating system */
    uint32_t cut;         /**< bit I: argument I is a string that was cut */
    uint64_t lost_before; /**< records between the one before and this that were overwritten, unfinished or damaged */
} bitlog_entry;

/** What a ring says of itself. */
typedef struct bitlog_ring_info {
    char program[56];    /**< that opened it */
    uint32_t process_id; /**< that opened it */
    uint32_t capacity;   /**< records */
    int64_t opened_ns;   /**< since 1970 in UTC */
    uint64_t traced;     /**< records so far, kept or not */
    uint64_t dropped;    /**< of these, the ones that met a record of a whole turn before which was not finished yet */
} bitlog_ring_info;

/** Reads a ring from its oldest record on. A reader belongs to one thread at a time. */
typedef struct bitlog_reader bitlog_reader;

/**
 * Opens a ring to read, also while a process is tracing into it. The file is not trusted: one that is damaged or made
 * up is refused, or gives wrong records, and nothing worse.
 * @param path    file, or NULL for the ring that this process has open, which is not to be closed before the reader
 * @param reader  receives the reader, to be closed by bitlog_reader_close(); NULL after a failure
 * @param reason  receives what is wrong, as one sentence without the path; may be NULL when `room` is 0
 * @return 0; EINVAL when it is no ring or a damaged one; ENOENT when there is none of this process; ENOMEM; or what
 *         opening or reading the file came to
 */
BITLOG_API uint32_t bitlog_reader_open(const char *path, bitlog_reader **reader, char *reason, size_t room);
/** Closes a reader; NULL is allowed. */
BITLOG_API void bitlog_reader_close(bitlog_reader *reader);

/**
 * Looks in a folder first for the files of the libraries that traced, by their names: for a ring that comes from
 * another machine. To be called before the first record is got.
 * @return 0, or ENAMETOOLONG
 */
BITLOG_API uint32_t bitlog_reader_look_in(bitlog_reader *reader, const char *folder);

/** The state of the ring now. */
BITLOG_API void bitlog_reader_info(bitlog_reader *reader, bitlog_ring_info *info);

/**
 * Gets the next record; when there is none now, later calls may find more.
 * @param patience_ms  how long a record may take that a thread has begun to write. Until that time has passed in
 *                     several calls there is no next record; then it counts as lost. 0 for the ring of a process that
 *                     has ended.
 * @return 1 when `entry` was filled, otherwise 0
 */
BITLOG_API int bitlog_reader_next(bitlog_reader *reader, bitlog_entry *entry, uint32_t patience_ms);

/**
 * Formats a record as bitlog_format() does, with the text from the file of the library that traced it. That file is
 * looked for where it was then, see also bitlog_reader_look_in(), and must be the same build. Control characters of
 * what was traced come as \xHH, so that the text is one line and safe to show on a terminal; the entry's arguments have
 * them as they are.
 */
BITLOG_API size_t bitlog_reader_format(bitlog_reader *reader, const bitlog_entry *entry, char *buffer, size_t room);

/** Name of the module that a record is of, valid until the reader is closed; NULL when the ring does not name it. */
BITLOG_API const char *bitlog_reader_module(bitlog_reader *reader, uint16_t module_id);

/**
 * Why the texts of a module cannot be shown, as one sentence that names the file; NULL when they can. Valid until the
 * reader is closed.
 */
BITLOG_API const char *bitlog_reader_texts_fault(bitlog_reader *reader, uint16_t module_id);

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
