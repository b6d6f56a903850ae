/**
 * Recordings: messages as bytes, each with its time, in files that turn over by size and count.
 *
 * Writing. A recorder adds records to FILE. When the next record would make FILE too large, FILE becomes FILE.1,
 * FILE.1 becomes FILE.2 and so on; the oldest file is given up.
 *
 *     vela_recorder *recorder = vela_recorder_open("/var/log/ptp.rec", NULL, text, sizeof text, &err);
 *     vela_recorder_append(recorder, 0, 0, bytes, length, &err);     // as often as needed
 *     vela_recorder_close(recorder, NULL);
 *
 * A record is one write. One that does not fit on a full disk is taken back, reported and counted, and recording
 * goes on as soon as there is room. A process that is killed leaves at most one torn record, at the end of FILE, and
 * readers skip it with a warning. The next recorder cuts it off when it is plain where it begins. Otherwise, and when
 * FILE is damaged, nothing of it is changed: it becomes FILE.1, and a new FILE is begun; a recorder that is to keep one
 * file only adds to it behind the damage. Against a loss of power there is no more protection than the file system
 * gives, but what was lost or damaged shows in the checksums.
 *
 * Reading. The files are read oldest first. Every byte is checked before it is believed; what is damaged is reported
 * with its place, and reading goes on at the next head of a record behind the place where the damaged one begins. What
 * a message inside a torn or damaged record holds can therefore come out as a record, if it has the form of one; the
 * damage before it tells.
 *
 *     vela_recording *recording = vela_recording_open("/var/log/ptp.rec", text, sizeof text, &err);
 *     vela_recording_item item;
 *     while (vela_recording_next(recording, &item, &err)) { if (item.kind == VELA_RECORDING_RECORD) ... }
 *     vela_recording_close(recording);
 *
 * Format of a file, all numbers in network byte order:
 *
 *     offset  bytes  content
 *     0       4      VELA_RECORDING_MAGIC
 *     4       1      VELA_RECORDING_VERSION
 *     5       3      0
 *     8              records, one behind the other
 *
 * and of a record:
 *
 *     0       4      VELA_RECORD_MARK
 *     4       4      number of bytes recorded, at most VELA_RECORD_LONGEST
 *     8       8      time in nanoseconds since 1970-01-01T00:00:00Z, leap seconds not counted
 *     16      4      source: what the writer chose
 *     20      4      CRC-32 (IEEE 802.3) of the bytes recorded
 *     24      4      CRC-32 of the 24 bytes before
 *     28             the bytes recorded
 *
 * The head's own checksum tells a wrong length before it is followed.
 *
 * A recorder or recording belongs to one thread at a time. All calls that take `err` follow the rules of
 * velalib/runtime.h: with *err set on entry they do nothing.
 */
#ifndef VELA_RECORDER_H
#define VELA_RECORDER_H

#include "velalib.h"

VELA_BEGIN_C

#define VELA_RECORDING_MAGIC 0x56524543u
#define VELA_RECORDING_VERSION 1u
#define VELA_RECORD_MARK 0xF5A95AC3u

/** In a record's source: the transport refused these bytes, because they are no message. */
#define VELA_RECORD_DAMAGED 0x80000000u

enum {
    VELA_RECORDING_HEADER = 8,              /**< bytes before the first record */
    VELA_RECORD_HEAD = 28,                  /**< bytes before what was recorded */
    VELA_RECORD_LONGEST = 64 * 1024 * 1024, /**< most bytes of one record, as of a message in transport */
    VELA_RECORDER_LEAST_FILE = 1024,        /**< lowest limit of a file's size, in bytes */
    VELA_RECORDER_MOST_FILES = 100          /**< FILE, FILE.1 ... FILE.99 */
};

/* ---- writing -------------------------------------------------------------------------------------------- */

typedef struct vela_recorder vela_recorder;

/**
 * How to record. Zero-fill it, set `size`, then what you need; 0 takes the default. Later releases add members at the
 * end; a program that was compiled with fewer has the defaults of the rest.
 */
typedef struct vela_recorder_options {
    size_t size;               /**< sizeof(vela_recorder_options) */
    u_int64 max_file_bytes;    /**< no file becomes larger; at least VELA_RECORDER_LEAST_FILE; default 16 MiB */
    u_int32 files;             /**< files that are kept, FILE included, at most VELA_RECORDER_MOST_FILES; default 8 */
    u_int32 mode;              /**< permission bits of new files, under the process's umask; default 0600 */
    u_int32 allow_other_users; /**< non-zero: files that are there may belong to another user than this process's */
    u_int32 allow_links;       /**< non-zero: FILE may be a symbolic link; the folders before it always may be */
} vela_recorder_options;

/** What a recorder did since it was opened. */
typedef struct vela_recorder_statistics {
    u_int64 records;    /**< written whole */
    u_int64 bytes;      /**< recorded in them, heads not counted */
    u_int64 failed;     /**< records that were not written */
    u_int64 rotations;  /**< times that a new file was begun because the old one was full or damaged */
    u_int64 cut_bytes;  /**< of torn records that were cut off when a file was opened */
    u_int64 file_bytes; /**< size of the file that is written now */
    u_int32 last_error; /**< error word of the last record that was not written; 0: none */
} vela_recorder_statistics;

/**
 * Opens FILE to add records, and creates it when it is not there. A torn record at its end is cut off, a damaged file
 * turned over, as said above. While it is open no other recorder can write it.
 * @param path     of FILE; its folder must allow to rename and create files
 * @param options  NULL: defaults
 * @param error_text, room  NULL, or receives a sentence: what was wrong or, without an error, what was cut off or
 *                          damaged; empty when there is nothing to say
 * @param err      receives EAGAIN (11) (another recorder has it open), VELA_ENOMEM, EACCES (13) (FILE belongs to
 *                 another user), VELA_EINVAL (options out of range; FILE is no recording or no regular file; a FILE.n
 *                 is in the way, which is no recording, or is a link or another user's), 40 (FILE is a symbolic link)
 *                 or the system's errno
 * @return the recorder, owned by the caller until vela_recorder_close(), or NULL
 */
VELA_API vela_recorder *vela_recorder_open(const char *path, const vela_recorder_options *options, char *error_text,
                                           size_t room, u_int32 *err);

/**
 * Adds a record, in one write. On failure the files are as before, apart from files that were turned over, and the
 * record is counted as failed; later records may succeed.
 * @param time_ns  nanoseconds since 1970-01-01T00:00:00Z; 0: now
 * @param source   where the bytes came from, any number that helps the reader; ptpcfg stores the transport's channel,
 *                 0 gable, 1 wicket, 2 skein, 3 osprey, with VELA_RECORD_DAMAGED added for what is no message
 * @param bytes    NULL is allowed with length 0
 * @param err      receives VELA_ENOSPC (the disk is full), VELA_EMSGSIZE (longer than a file or record may be),
 *                 VELA_EINVAL (bytes are NULL) or the system's errno; 27 is the process's limit of a file's size, which
 *                 sends SIGXFSZ: ignore that signal
 * @return 1 when it was recorded, else 0
 */
VELA_API u_int32 vela_recorder_append(vela_recorder *recorder, u_int64 time_ns, u_int32 source, const u_int8 *bytes,
                                      u_int32 length, u_int32 *err);

/** Reads the counters. */
VELA_API void vela_recorder_get_statistics(const vela_recorder *recorder, vela_recorder_statistics *statistics);

/**
 * Closes the file. Every record that was accepted is in it; nothing is buffered.
 * @param recorder    may be NULL
 * @param statistics  NULL, or receives the final counters
 */
VELA_API void vela_recorder_close(vela_recorder *recorder, vela_recorder_statistics *statistics);

/* ---- reading -------------------------------------------------------------------------------------------- */

typedef struct vela_recording vela_recording;

/** What a place in a recording is. */
typedef enum vela_recording_kind {
    VELA_RECORDING_RECORD = 1, /**< a record, whole and with the right checksums */
    VELA_RECORDING_TORN,       /**< the start of a record whose end is missing at the end of a file: a writer was
                                    killed, or writes at this moment */
    VELA_RECORDING_DAMAGED     /**< bytes that are no record */
} vela_recording_kind;

/** One place of a recording. The pointers are valid until the next call on the recording. */
typedef struct vela_recording_item {
    vela_recording_kind kind;
    u_int32 source;      /**< of a record, as given to vela_recorder_append() */
    u_int64 time_ns;     /**< of a record */
    const u_int8 *bytes; /**< what was recorded; NULL unless it is a record */
    u_int32 length;      /**< number of those bytes */
    const char *file;    /**< name of the file, as it was when the recording was opened */
    u_int64 offset;      /**< of the place in that file */
    u_int64 extent;      /**< bytes that the place takes in the file */
    const char *reason;  /**< static text that says what is wrong; NULL for a record */
} vela_recording_item;

/**
 * Opens FILE and all FILE.n there are, with the content they have at this moment. They may be written and turned
 * over meanwhile.
 * @param error_text, room  NULL, or receives a sentence that says what was wrong
 * @param err  receives VELA_ENOENT (there is no such file), VELA_ENOMEM, VELA_EINVAL (no regular file) or the system's
 *             errno
 * @return the recording, owned by the caller until vela_recording_close(), or NULL
 */
VELA_API vela_recording *vela_recording_open(const char *path, char *error_text, size_t room, u_int32 *err);

/**
 * Takes the next place, oldest file first.
 * @param err  receives 12 or the errno of a file that cannot be read; the next call goes on with the next file
 * @return 1 with an item; 0 at the end or with an error
 */
VELA_API u_int32 vela_recording_next(vela_recording *recording, vela_recording_item *item, u_int32 *err);

/** Bytes of all files, and those of them that were passed so far: for a progress display. */
VELA_API u_int64 vela_recording_size(const vela_recording *recording);
VELA_API u_int64 vela_recording_position(const vela_recording *recording);

/** Closes a recording; NULL is allowed. */
VELA_API void vela_recording_close(vela_recording *recording);

VELA_END_C

#endif
