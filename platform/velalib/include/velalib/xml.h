/**
 * XML documents: how they are parsed, by which rules they are read, and what values look like in them.
 *
 * An element is named after its field; a structure's holds one element per field, an array is one element after the
 * other with the field's name. What a field's element holds:
 *
 *     numbers         decimal, or hexadecimal behind 0x, with a sign or without one: 24, +24, -2, 0x18
 *     vela_boolean    true, false, 1 or 0, in lower case
 *     enumerations    an empty element that is named after the value: <VELA_PTP_VERSION_1/>; see VELA_XML_NUMBERS
 *     en_address      six bytes of two hexadecimal digits between : or -, as in 00:1b:19:00:00:01
 *     ip_address      192.0.2.1; 2001:db8::1, where the number of a scope may follow as in fe80::1%3; nothing, or none,
 *                     for no address; raw:FAMILY:BYTES:SCOPE with 32 hexadecimal digits for what these cannot express
 *     vrf_info        ID:TABLE:AFI:SAFI, four numbers
 *     var_string      the characters as they stand, blanks included, 255 bytes at most. \xHH is the byte of that
 *                     number, \\ a backslash; no other backslash may occur. The length's own element is not read
 *
 * Blanks around a value count in a var_string only. An attribute state="N" is a state flag, which is written and not
 * read by this library's calls. A library that was built without XML has no function that writes or reads it.
 *
 * A document must be well-formed XML 1.0 in UTF-8, without a document type and with elements nested at most 64 deep;
 * any other is refused as a whole. One form is taken that is not well-formed: <NAME value out of range/>, by which an
 * enumeration's value without a literal is written. The number is not in it, so that it reads as no value.
 */
#ifndef VELALIB_XML_H
#define VELALIB_XML_H

#include "velalib/types.h"

VELA_BEGIN_C

/** A parsed document. Not locked: one thread at a time, readers included. */
typedef struct vela_xml_document vela_xml_document;

/**
 * Rules of reading, to be combined.
 *
 * Without any, what is absent keeps its value, and what is unknown or in the wrong place is skipped: a document may
 * come from a newer release, or hold more than one reader wants. A misspelt name then passes unnoticed. Whatever people
 * write is better read strictly.
 */
enum {
    /**
     * Errors are also: elements and attributes that the type does not know, an element that stands twice or too often
     * or not within its parent, text where elements belong, a missing or unknown literal, a field or value that is newer
     * than the instance. For a message the root element must be the message, alone or in a ptp_cfg. Nothing is stored
     * unless the whole is right. Fields may stand in any order.
     */
    VELA_XML_STRICT = 1,
    VELA_XML_ALL_PAYLOADS = 2, /**< with VELA_XML_STRICT: each payload of a message must be there */
    VELA_XML_ALL_FIELDS = 4,   /**< with VELA_XML_STRICT: each field must be there, and each element of an array */
    /** An enumeration may hold a number in place of a literal, so that values without one can be read. */
    VELA_XML_NUMBERS = 8,
    /**
     * A structure of bytes alone, as an identity is, may hold them as AA-BB-CC-FF-FE-00-03-30, and a number that is an
     * IPv4 address may be written as 192.0.2.1.
     */
    VELA_XML_SHORT_FORMS = 16
};

/** What is wrong in a document. All pointers are valid during the call that they are given to. */
typedef struct vela_xml_fault {
    /** What the error word becomes: VELA_EINVAL, VELA_ENOSPC for too long a text, VELA_EEPOCH for what is too new. */
    u_int32 code;
    u_int32 line;       /**< from 1 */
    u_int32 column;     /**< from 1, in bytes; where the element's name begins */
    const char *path;   /**< names from the root, as in ptp_clock_cfg/ptp_clock/clk_id/ptp_clk_id[3] */
    const char *reason; /**< what is wrong and what to do, without a line feed */
} vela_xml_fault;

/**
 * Told of each fault that strict reading finds, in the order of the document; and of the first place where a document
 * is not well-formed, with the path "".
 * @return non-zero to be told of the next, too
 */
typedef u_int32 (*vela_xml_fault_fn)(void *cookie, const vela_xml_fault *fault);

/** How a document is to be read. Clear it, set `size`, then what is wanted. */
typedef struct vela_xml_options {
    u_int32 size;               /**< sizeof(vela_xml_options) */
    u_int32 rules;              /**< VELA_XML_...; 0: plain reading */
    vela_xml_fault_fn on_fault; /**< NULL: reading ends at the first fault, which is in its error text alone */
    void *cookie;               /**< first argument of on_fault */
} vela_xml_options;

/**
 * Parses a document for plain reading. There is no expansion of entities and no access to a network.
 * @param error_text  NULL, or receives the reason with line and column
 * @return the document, owned by the caller, or NULL
 */
VELA_API vela_xml_document *vela_xml_parse(const char *text, size_t length, char *error_text, size_t error_room);
/**
 * Parses a document for reading by rules: every _from_xml() call on it keeps to them. A strict document holds a copy of
 * the text, for lines and columns.
 *
 *     vela_xml_options options = { .size = sizeof options, .rules = VELA_XML_STRICT };
 *     document = vela_xml_parse_with(text, length, &options, &err, why, sizeof why);
 *     message = ptp_clock_cfg_message_from_xml(handle, 0, document, &err, why, sizeof why);
 *     // why: line 3, column 4: ptp_clock_cfg/ptp_clock/clk_modus: unknown element in ptp_clock; did you mean clk_mode?
 *
 * @param options  NULL for plain reading; copied
 * @param err      error word; VELA_ENOMEM without memory, VELA_EINVAL for a document that is not well-formed, or for
 *                 unknown options
 */
VELA_API vela_xml_document *vela_xml_parse_with(const char *text, size_t length, const vela_xml_options *options,
                                                u_int32 *err, char *error_text, size_t error_room);
/** @param document  may be NULL */
VELA_API void vela_xml_destroy(vela_xml_document *document);

VELA_END_C

#endif
