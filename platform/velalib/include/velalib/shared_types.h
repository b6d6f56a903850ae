/**
 * Type information that several processes share, and counts of the instances that were created of each type.
 *
 * Handles with shared type information have type-information records of their own, with counters of their own. Here
 * those records lie in a file that several processes map, all at the same address: an instance that refers to one is
 * understood by all of them (it may itself lie in memory that they share), and what each of them creates and destroys
 * is counted in one place, which `ptpcfg stats FILE` shows.
 *
 *     one process     types = vela_shared_types_create("/dev/shm/ptp.types", address, 1 << 17, &err, why, sizeof why);
 *     the others      types = vela_shared_types_open("/dev/shm/ptp.types", NULL, &err, why, sizeof why);
 *     each of them    options.shared_types = types; handle = vela_handle_create(&options, &err);
 *
 * When types are entered: vela_handle_create() enters all types of the modules that are loaded, a module that is loaded
 * later enters its types at their first use. Entering is locked between processes; the lock survives a process that
 * dies with it. A record never moves, changes or goes once it can be found, so finding one takes no lock. It points at
 * nothing outside the file.
 *
 * Counters are not locked, and incremented plainly, after the handle's pre_write_counter: when two processes count the
 * same variant of the same type at the same moment, one increment may be lost. An application that needs exact counts
 * serialises in that callback or keeps to one process per type.
 *
 * Whoever may write to the file is trusted as this process is. Therefore it must belong to this process's effective
 * user and may be no symbolic link, unless options allow that. Against accidents all of it is checked when it is
 * opened, and what others add when it is first used. Do not shorten it while it is in use: handles are then refused and
 * types no longer entered, but counting in a record that is gone from the file ends the process (SIGBUS).
 */
#ifndef VELALIB_SHARED_TYPES_H
#define VELALIB_SHARED_TYPES_H

#include "velalib/types.h"

VELA_BEGIN_C

/** Type information in a file, as this process has it mapped or read. */
typedef struct vela_shared_types vela_shared_types;

/**
 * Makes the file and maps it. Nothing may be at `path` yet.
 * @param path     a file in /dev/shm or another memory file system is best; readable and writable for owner and group,
 *                 less the umask
 * @param address  where every process is to map it: a multiple of 4096 at which all of them have `size` bytes free.
 *                 On 64-bit Linux 0x7ea000000000 is far from all that the system places by itself
 * @param size     bytes, rounded up to whole pages; the types of this library need 64 KiB, others about 400 bytes each
 * @param err      0 on entry; receives VELA_ENOMEM (no memory), EEXIST (17) (the file exists, or the address is taken),
 *                 VELA_EINVAL (no path, an address or a size that will not do), or the system's error number of the
 *                 call that failed
 * @param reason   NULL, or receives the failure in words, without the path
 * @param room     bytes of `reason`
 * @return to be given to vela_handle_create() and vela_shared_types_close(), or NULL
 */
VELA_API vela_shared_types *vela_shared_types_create(const char *path, void *address, size_t size, u_int32 *err,
                                                     char *reason, size_t room);
/**
 * Maps a file that another process of this user has made. A process maps it once, for all its handles and threads.
 * @param path     the same
 * @param address  NULL: where the file says; another address than that is refused
 * @param err      as for create; also VELA_ENOENT (no such file), EAGAIN (11) (its maker has not finished it: try
 *                 again), EACCES (13) (it belongs to another user, or may not be opened), VELA_EINVAL (it is no such
 *                 file, is damaged or cut, comes from another release, or belongs to another address), 40 (it is a
 *                 symbolic link)
 */
VELA_API vela_shared_types *vela_shared_types_open(const char *path, void *address, u_int32 *err, char *reason,
                                                   size_t room);

/** How to open a file. Zero-fill it, set `size`, then what you need. Later releases add members at the end. */
typedef struct vela_shared_types_options {
    size_t size;               /**< sizeof(vela_shared_types_options) */
    void *address;             /**< as for vela_shared_types_open() */
    u_int32 allow_other_users; /**< non-zero: the file may belong to another user, who is then trusted */
    u_int32 allow_links;       /**< non-zero: the path may be a link, as /proc/PID/fd/N of a file without a name is */
} vela_shared_types_options;

/** Maps a file as vela_shared_types_open() does; VELA_EINVAL also for options of another size. NULL: all 0. */
VELA_API vela_shared_types *vela_shared_types_open_with(const char *path, const vela_shared_types_options *options,
                                                        u_int32 *err, char *reason, size_t room);
/**
 * Reads a file, to count only: wherever its address is, whosever it is, without a right to write, and safe from what
 * happens to the file meanwhile and afterwards. Errors are those of open. A handle refuses it with VELA_EINVAL.
 */
VELA_API vela_shared_types *vela_shared_types_read(const char *path, u_int32 *err, char *reason, size_t room);
/** Lets go of it; the mapping stays until the last handle that uses it is destroyed. The file stays. NULL: nothing. */
VELA_API void vela_shared_types_close(vela_shared_types *types);

/** What was created of one variant of a type. */
typedef struct vela_type_counts {
    const char *type_name;   /**< for example "ptp_clock" */
    const char *module_name; /**< "ptp_cfg" */
    const char *kind;        /**< "type", "enum" or "message" */
    u_int32 variant;
    u_int64 created;   /**< since the file was made, or the process began */
    u_int64 destroyed; /**< the difference to `created` is alive, or was lost with a process that ended */
} vela_type_counts;

/** Receives one row; its texts are valid during the call. */
typedef void (*vela_type_counts_fn)(void *cookie, const vela_type_counts *counts);

/**
 * Visits each variant of each type, in the order in which the types were entered.
 * @param types  NULL: the counters of this process's loaded modules, which handles without shared type information move
 */
VELA_API void vela_type_counts_each(const vela_shared_types *types, vela_type_counts_fn visit, void *cookie);

VELA_END_C

#endif
