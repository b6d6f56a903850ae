/**
 * The runtime handle: memory, write notification, variant domain and error state.
 *
 * A handle is the first argument of every operation. It is not locked: one thread at a time. Create as
 * many as there are threads.
 */
#ifndef VELALIB_HANDLE_H
#define VELALIB_HANDLE_H

#include "velalib/memory_use.h"
#include "velalib/shared_types.h"
#include "velalib/types.h"

VELA_BEGIN_C

/** First word of every type-information record. */
#define VELA_TYPE_INFO_MAGIC 0xbeeff00du

/** Values of vela_sttr_record::mode. Every other value is a corrupt handle and aborts the process. */
enum { VELA_STTR_OFF = 0xDDDD, VELA_STTR_ON = 0xEEEE };

/** One row of a type's variant table. */
typedef struct vela_variant_row {
    u_int32 variant;     /**< number of this revision, from 0 */
    u_int32 used_length; /**< instance bytes up to the end of this variant's last field */
    u_int32 alloc_slop;  /**< bytes allocated beyond them */
    u_int64 created;     /**< instances created in this variant */
    u_int64 destroyed;   /**< instances destroyed in this variant */
    u_int64 reserved;    /**< 0 */
} vela_variant_row;

/** The revisions that a type has. */
typedef struct vela_variant_table {
    int8 count;             /**< number of rows, at least 1 */
    vela_variant_row *rows; /**< one per variant, in rising order */
} vela_variant_table;

/** What the runtime knows of a type: 272 bytes, one static record per type. */
typedef struct vela_type_info {
    u_int32 magic;                     /**< VELA_TYPE_INFO_MAGIC */
    u_int8 luid[16];                   /**< the type's 128-bit identity */
    char luid_text[33];                /**< the same as 32 lower-case hexadecimal digits */
    char type_name[64];                /**< for example "ptp_clock" */
    char module_name[64];              /**< the module that defines the type */
    char kind[64];                     /**< "type", "enum" or "message" */
    int32 signed_word;                 /**< -1 */
    vela_variant_table *variant_table; /**< never NULL in a record that may be instantiated */
    u_int32 shared;                    /**< non-zero in a copy that several handles or processes share */
} vela_type_info;

/** A handle's own copy of a type-information record: the record and two words, 288 bytes. */
typedef struct vela_type_info_copy {
    vela_type_info info;
    u_int64 word[2]; /**< 0 */
} vela_type_info_copy;

/** Every instance, of whatever type, begins with these 11 bytes; the fields follow at offset 11. */
typedef struct vela_instance_header {
    const vela_type_info *type_info;
    int8 variant;           /**< revision that this instance follows */
    int8 allocated_variant; /**< revision chosen when it was created or initialised */
    u_int8 flags;           /**< VELA_FLAG_... */
} vela_instance_header;

/** Bits of an instance's flag byte. */
enum {
    VELA_FLAG_OID = 0x01,         /**< the instance has an object-identifier mapping */
    VELA_FLAG_EMBEDDED = 0x02,    /**< part of another object: never freed by itself */
    VELA_FLAG_NESTED = 0x04,      /**< a field of a parent instance */
    VELA_FLAG_TRACKED = 0x08,     /**< owns a state-flag block */
    VELA_FLAG_EXTRA_DATA = 0x20,  /**< carries extra runtime data on the wire */
    VELA_FLAG_STTR_OFFSET = 0x40, /**< its state-flag block lies at an offset that the runtime keeps */
    VELA_FLAG_OWNED_BLOCK = 0x80  /**< the header's first word owns a block that destroy frees */
};

struct vela_handle;
struct vela_domain;
struct vela_bundle;
struct vela_runtime;

typedef void *(*vela_alloc_fn)(void *cookie, u_int32 mem_class, size_t size);
typedef void (*vela_free_fn)(void *cookie, u_int32 mem_class, void *memory);
/** Called with exactly the bytes that are about to change. */
typedef void (*vela_pre_write_fn)(void *cookie, void *address, size_t length, u_int32 mem_class);
typedef void (*vela_type_table_insert_fn)(void *type_table_cookie, u_int32 mem_class, const char *luid_text,
                                          vela_type_info *record);
typedef vela_type_info *(*vela_type_table_lookup_fn)(void *type_table_cookie, u_int32 mem_class, const char *luid_text);

/** Mode of state tracking; the handle points at it, so that several handles can share one. */
typedef struct vela_sttr_record {
    u_int32 mode; /**< VELA_STTR_OFF or VELA_STTR_ON */
} vela_sttr_record;

/** Which variant of each type the handle speaks. Without a domain: the newest of each. */
typedef struct vela_variant_domain {
    const struct vela_domain *overrides; /**< NULL: every type at its newest variant, every message allowed */
} vela_variant_domain;

/** The last failure that an operation of this handle reported. */
typedef struct vela_last_error {
    u_int32 code;  /**< 0: none since the last operation began */
    u_int32 epoch; /**< non-zero when it was reported as an epoch error (VELA_EEPOCH or VELA_EDOMAIN) */
} vela_last_error;

/**
 * The handle. An application creates it with vela_handle_create() and reads or changes only what the
 * comments below allow; the callbacks receive a cookie first, never the handle.
 */
typedef struct vela_handle {
    vela_alloc_fn shared_alloc;                  /**< memory of type-information copies */
    vela_alloc_fn alloc;                         /**< memory of every instance; may answer NULL */
    vela_free_fn free;                           /**< returns what `alloc` gave */
    vela_pre_write_fn pre_write;                 /**< NULL, or told of every store into an instance */
    vela_pre_write_fn pre_write_counter;         /**< NULL, or told of every store into an instance counter */
    vela_type_table_insert_fn type_table_insert; /**< enters a type-information record */
    vela_type_table_lookup_fn type_table_lookup; /**< finds one by LUID text, or NULL */
    u_int32 shared_type_info; /**< non-zero: instances point at this handle's copies of the records */
    /** First argument of alloc, free, pre_write and pre_write_counter; the runtime's own with the default allocator. */
    void *cookie;
    void *type_table_cookie;
    void *shared_alloc_cookie;
    vela_variant_domain variant_domain;
    u_int32 chained_err;             /**< error word of every _cr operation; the application resets it to 0 */
    u_int32 chained_mem_class;       /**< memory class of every _cr operation; set by the application */
    u_int32 chained_mode;            /**< 1 while a create_cr runs */
    vela_sttr_record *sttr_record;   /**< NULL: no state tracking */
    u_int32 hd_mapping;              /**< non-zero: destroying a structure drops its runtime mapping */
    struct vela_bundle *bundle_open; /**< non-NULL while a bundle is being packed */
    u_int32 msg_header_word;         /**< sent in the header of every message; set by the application */
    char domain_name[64];            /**< name of the domain, for diagnostics */
    u_int64 reserved[3];             /**< 0 */
    /** Stands behind words of eight bytes: nearly every call clears it, in one store that should not straddle lines. */
    vela_last_error last_error;
    struct vela_runtime *runtime; /**< the runtime's own state */
} vela_handle;

/**
 * How a handle is to be made. Zero-fill it, set `size`, then what you need; all else has a default. Later releases add
 * members at the end; a program that was compiled with fewer has the defaults of the rest.
 */
typedef struct vela_handle_options {
    size_t size;                /**< sizeof(vela_handle_options) */
    vela_alloc_fn alloc;        /**< NULL: the handle's own allocator, which returns everything at destroy */
    vela_free_fn free;          /**< together with alloc */
    vela_alloc_fn shared_alloc; /**< NULL: the handle's own memory, not part of its report */
    void *cookie;               /**< what alloc, free, pre_write and pre_write_counter receive */
    void *shared_alloc_cookie;
    vela_pre_write_fn pre_write;         /**< NULL: none */
    vela_pre_write_fn pre_write_counter; /**< NULL: none */
    u_int32 tracking;                    /**< 0: no record, VELA_STTR_OFF or VELA_STTR_ON */
    u_int32 shared_type_info;            /**< non-zero: keep type information in copies of this handle's own */
    u_int32 msg_header_word;             /**< sent in every message header */
    const struct vela_domain *domain;    /**< NULL: newest variants; the caller keeps it alive */
    u_int32 work_buffer_size;            /**< bytes of the buffer that clone_cr and copy_cr use; 0: 65536 */

    /* The next three are for handles without `alloc`; memory_use.h says what is counted. */
    u_int64 memory_budget;           /**< bytes that may be out at once, beyond which allocation fails; 0: no limit */
    vela_left_behind_fn left_behind; /**< NULL, or told by vela_handle_destroy(), with `cookie`, of each block left */
    u_int32 memory_accounting;       /**< non-zero: count each memory class; implied by the two above */

    /** NULL, or where type information lies that several processes share; implies shared_type_info. Not together with
     *  shared_alloc. The handle keeps it mapped. */
    vela_shared_types *shared_types;
} vela_handle_options;

/** What a handle still held when it was destroyed. All of it has been returned. */
typedef struct vela_handle_report {
    u_int64 blocks; /**< instances and other blocks that were never freed (default allocator only) */
    u_int64 bytes;
} vela_handle_report;

/**
 * Creates a handle.
 * @param options  NULL for all defaults
 * @param err      0 on entry; receives VELA_ENOMEM (no memory, or none left in the shared types), VELA_EINVAL (options
 *                 of an unknown size, an alloc without a free or with accounting, an unknown tracking mode, shared
 *                 types that are only read, were cut or damaged, or know fewer variants than a loaded module), or
 *                 EAGAIN (11) (a process that enters shared types does not go on)
 * @return the handle, owned by the caller until vela_handle_destroy(), or NULL
 */
VELA_API vela_handle *vela_handle_create(const vela_handle_options *options, u_int32 *err);

/**
 * Destroys a handle and, with the default allocator, everything that it handed out.
 * @param handle  may be NULL
 * @param report  NULL, or receives what had been left behind
 */
VELA_API void vela_handle_destroy(vela_handle *handle, vela_handle_report *report);

/** Makes the handle speak another domain from now on; NULL: newest variants. The caller keeps it alive. */
VELA_API void vela_handle_set_domain(vela_handle *handle, const struct vela_domain *domain);

/**
 * Buffer that clone_cr and copy_cr work in.
 * @param buffer, length  receive it; it belongs to the handle
 */
VELA_API void velalib_get_handle_ws(vela_handle *handle, u_int8 **buffer, int32 *length);

/** A domain: what an older peer knows. Types and messages that it does not name are as in this release. */
typedef struct vela_domain vela_domain;

/** Creates a domain with a name of at most 63 characters; NULL without memory or when the name is longer. */
VELA_API vela_domain *vela_domain_create(const char *name);
VELA_API void vela_domain_destroy(vela_domain *domain);

/**
 * Sets the variant of a type in a domain.
 * @param type_name  for example "ptp_port"
 * @param variant    from 0. Above the newest, structures are made in their newest variant; enumerations take it as it
 *                   is, and then admit values that this release has no literal for
 * @return 0, VELA_ENOMEM (no memory) or VELA_EINVAL (negative variant, empty name)
 */
VELA_API u_int32 vela_domain_set_variant(vela_domain *domain, const char *type_name, int8 variant);

/** Forbids a message in a domain, for example "ptp_clock_cfg_message". Returns what the call above does. */
VELA_API u_int32 vela_domain_forbid_message(vela_domain *domain, const char *message_name);

/**
 * Makes a domain from a file, with the calls above. The file is text in UTF-8, in a part of TOML: one KEY = VALUE or
 * [TABLE] to a line, texts of one line in "" or '', whole numbers, lists of texts, remarks behind #.
 *
 *     name = "first release"                          # 1 to 63 characters
 *     forbidden_messages = ["ptp_tod_src_msg_message"]  # may be left out: messages that the peer does not know
 *     [variants]                                      # may be left out: types that the peer knows in an older variant
 *     ptp_port = 0
 *
 * Every name must be that of a type or message of a loaded module, and every variant one that the type has: load the
 * modules first, and neither load nor unload one meanwhile. The file is not trusted: whatever it holds, the call
 * returns a domain or an error.
 * @param path        of the file, at most 1 MiB long; a regular file, to which a link may lead, of any user
 * @param error_text, room  NULL, or receives what is wrong, cut to the room: a line "FILE:LINE: what; what to do" for
 *                    each fault up to the hundredth, or one line without a number when the file cannot be read
 * @param err         0 on entry, else the call does nothing; receives VELA_ENOMEM (no memory), VELA_EINVAL (faults in
 *                    the file, no path, or no regular file), VELA_EMSGSIZE (the file is too long), or the system's
 *                    errno when it cannot be read
 * @return the domain, owned by the caller until vela_domain_destroy(), or NULL
 */
VELA_API vela_domain *vela_domain_load(const char *path, char *error_text, size_t room, u_int32 *err);

/** Allocates and frees outside instances; `handle` may be NULL. */
VELA_API void *velalib_malloc(vela_handle *handle, u_int32 mem_class, size_t size);
VELA_API void velalib_free(vela_handle *handle, u_int32 mem_class, void *memory);

VELA_END_C

#endif
