/* SPDX-License-Identifier: Apache-2.0 */
#ifndef OPCRAFT_OPCRAFT_H
#define OPCRAFT_OPCRAFT_H

/**
 * @file
 * The C interface of Opcraft: packages of the Open Packaging Conventions (ECMA-376 Part 2, ISO/IEC 29500-2).
 *
 * What holds for all of it:
 * - **Handles** are opaque. Each kind has a function that frees it, which takes NULL. A handle is used by one thread at
 *   a time, different handles by different threads at once; an `opcraft_monitor` by any number of threads. A package
 *   with its store, readers and writers counts as one handle.
 * - **Texts** are UTF-8 and end with a zero byte; in what the library returns, what is not UTF-8, as in the path of a
 *   file, is U+FFFD. What a function returns in a structure lives until the structure is freed, whatever becomes of the
 *   handle that it was asked of. Texts that a function takes are copied.
 * - **Sizes** are bytes.
 * - **Failures**: a function that can fail takes `opcraft_error **` last. It returns NULL or false then, and stores an
 *   error there, unless the argument is NULL; the caller frees it. When nothing fails, NULL is stored there. What was
 *   there before is overwritten, not freed. Nothing else is changed by a failure unless it is said. NULL for an
 * argument that does not allow it is OPCRAFT_ERROR_INVALID_ARGUMENT. No C++ exception leaves a function, and no signal
 *   disposition, locale or environment variable is changed.
 * - **Structures** begin with `size`. The caller sets it to `sizeof` of a structure that it fills, all of which else
 *   may be zero, which means the default; the library sets it in what it returns. New members come at the end. What the
 *   library returns in one is not changed by the caller, and is freed as a whole. Lists are arrays of pointers, so that
 *   their elements may grow; behind the last element there is NULL.
 * - **Values** of enumerations are never changed or reused; new ones are added. A caller takes one that it does not
 *   know for a further kind.
 */

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define OPCRAFT_C_API __attribute__((visibility("default")))
#else
#define OPCRAFT_C_API
#endif

/* C++ gives an enumeration only the values that its enumerators need, unless its type is named; a program may pass any.
 */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define OPCRAFT_C_ENUM : unsigned
#else
#define OPCRAFT_C_ENUM
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The library ------------------------------------------------------------------------------------------------- */

/** The version of this header. */
#define OPCRAFT_VERSION_MAJOR 0
#define OPCRAFT_VERSION_MINOR 1
#define OPCRAFT_VERSION_PATCH 0

/** The version of the library that is loaded, "0.1.0"; lives as long as the process. Thread-safe. */
OPCRAFT_C_API const char* opcraft_version(void);

/* ---- Errors ------------------------------------------------------------------------------------------------------ */

/** What went wrong, for programs; `opc::ErrorKind` has the same enumerators. */
typedef enum opcraft_error_kind OPCRAFT_C_ENUM {
    OPCRAFT_ERROR_OTHER = 0,            /**< nothing of what follows */
    OPCRAFT_ERROR_OUT_OF_MEMORY = 1,    /**< there is no memory left */
    OPCRAFT_ERROR_INVALID_ARGUMENT = 2, /**< a value that the function does not take */
    OPCRAFT_ERROR_CANCELLED = 3,        /**< the caller ended the work */
    /** the package costs more than `Limits` allow, or a file is too large for the system */
    OPCRAFT_ERROR_LIMIT_EXCEEDED = 4,
    /** another program changes the file, or changed it since it was opened; the store or the part is in use already */
    OPCRAFT_ERROR_STORE_IN_USE = 5,
    OPCRAFT_ERROR_DAMAGED_STORE = 6, /**< no ZIP file, or one with damaged or ambiguous content */
    /** an encrypted item, an unknown compression method, or something that the store cannot do */
    OPCRAFT_ERROR_NOT_SUPPORTED = 7,
    OPCRAFT_ERROR_NOT_FOUND = 8,         /**< a file or stored item is not there */
    OPCRAFT_ERROR_PERMISSION_DENIED = 9, /**< the system refuses access */
    OPCRAFT_ERROR_ALREADY_EXISTS = 10,   /**< a file or stored item is there already */
    OPCRAFT_ERROR_NOT_PERMITTED = 11,    /**< the way in which the store is open excludes it */
    OPCRAFT_ERROR_SYSTEM_ERROR = 12,     /**< another failure of the system; the code of the error says which */
    /** a text is no URI reference (RFC 3986 §4.1), or a relationship target cannot be made one */
    OPCRAFT_ERROR_INVALID_URI = 20,
    /** a URI breaks a part-name rule (ECMA-376-2 §6.2.2), or no relationships part name can be derived from it */
    OPCRAFT_ERROR_INVALID_PART_NAME = 21,
    OPCRAFT_ERROR_INVALID_CONTENT_TYPE = 22,             /**< a text is not a media type */
    OPCRAFT_ERROR_INVALID_CONTENT_TYPE_PARAMETER = 23,   /**< a parameter name or value cannot stand in a media type */
    OPCRAFT_ERROR_CONTENT_TYPE_PARAMETER_NOT_FOUND = 24, /**< a media type has no such parameter */
    OPCRAFT_ERROR_CONTENT_TYPE_NOT_FOUND = 25, /**< neither an Override nor a Default gives a part its content type */
    OPCRAFT_ERROR_INVALID_CONTENT_TYPE_STREAM = 26, /**< the content types stream is malformed (ECMA-376-2 §7.2.3) */
    OPCRAFT_ERROR_PART_NOT_FOUND = 27,              /**< the package has no part of that name */
    OPCRAFT_ERROR_PART_ALREADY_EXISTS = 28,         /**< a part of an equivalent name exists (ECMA-376-2 §6.2.2) */
    /** a part name contains, or extends, the name of another part as a path (ECMA-376-2 §6.2.2) */
    OPCRAFT_ERROR_PART_IS_DERIVED_FROM_EXISTING_PART_NAME = 29,
    OPCRAFT_ERROR_PART_HAS_RELATIONSHIP_NAME = 30, /**< a regular part was given the name of a relationships part */
    OPCRAFT_ERROR_PART_CREATE_FAILED = 31,         /**< the physical package did not create a part */
    /** the physical package did not delete a part, or the names of the package are inconsistent */
    OPCRAFT_ERROR_PART_DELETE_FAILED = 32,
    OPCRAFT_ERROR_INCONSISTENT_PACKAGE = 33, /**< relationships parts were left without a source after opening */
    /** a package has, or would get, more than one core properties relationship (ECMA-376-2 §8) */
    OPCRAFT_ERROR_INVALID_CORE_PROPERTIES_RELATIONSHIPS = 34,
    OPCRAFT_ERROR_PACKAGE_READ_ONLY = 35,   /**< a change was asked of a package that is open for reading */
    OPCRAFT_ERROR_PACKAGE_CREATE_ONLY = 36, /**< reading or deleting was asked of a package that is open for creation */
    OPCRAFT_ERROR_PACKAGE_NOT_OPEN = 37,    /**< an operation needs an open package */
    OPCRAFT_ERROR_PACKAGE_ALREADY_OPEN = 38, /**< an operation needs a closed package */
    /** there is nothing to open: the physical package reports a missing file (ENOENT) */
    OPCRAFT_ERROR_PACKAGE_NOT_FOUND = 39,
    /** the physical package was refused permission while closing (EACCES) */
    OPCRAFT_ERROR_PACKAGE_PERMISSION_DENIED = 40,
    OPCRAFT_ERROR_PACKAGE_OPEN_FAILED = 41,  /**< any other physical failure while opening; carries its code */
    OPCRAFT_ERROR_PACKAGE_CLOSE_FAILED = 42, /**< any other physical failure while closing; carries its code */
    OPCRAFT_ERROR_INVALID_PART_STREAM = 43,  /**< the physical package did not give a part's stream */
    /** a part or relationship source was used after its package was closed or the part deleted */
    OPCRAFT_ERROR_INVALID_OBJECT = 44,
    OPCRAFT_ERROR_RELATIONSHIP_NOT_FOUND = 45,      /**< a relationship does not exist */
    OPCRAFT_ERROR_RELATIONSHIP_ALREADY_EXISTS = 46, /**< a relationship ID is in use */
    OPCRAFT_ERROR_INVALID_RELATIONSHIP_ID = 47,     /**< a relationship ID is not an xsd:ID */
    OPCRAFT_ERROR_INVALID_RELATIONSHIP_TYPE = 48,   /**< a relationship type is empty or no xsd:anyURI */
    OPCRAFT_ERROR_INVALID_RELATIONSHIP_TARGET = 49, /**< a relationship cannot have that target (ECMA-376-2 §6.5) */
    /** a relationships part is malformed, or would outgrow the limits for XML (ECMA-376-2 §6.5.2) */
    OPCRAFT_ERROR_INVALID_RELATIONSHIP_CONTENT = 50,
    /** XML is malformed, invalid against its schema, carries a DTD, or is neither UTF-8 nor UTF-16 */
    OPCRAFT_ERROR_INVALID_XML_DOCUMENT = 51,
    OPCRAFT_ERROR_INVALID_XML_SCHEMA = 52,           /**< an embedded schema did not load */
    OPCRAFT_ERROR_INVALID_PART_CONTENT = 53,         /**< well-formed content breaks the rules of its part */
    OPCRAFT_ERROR_UNSUPPORTED_RESOLVE = 54,          /**< a URI that is not hierarchical cannot be resolved */
    OPCRAFT_ERROR_UNSUPPORTED_RELATIVIZE = 55,       /**< two URIs do not qualify for a relative reference */
    OPCRAFT_ERROR_COULD_NOT_GENERATE_SIGNATURE = 56, /**< signing or countersigning failed */
    OPCRAFT_ERROR_COULD_NOT_REMOVE_SIGNATURE = 57,   /**< removing a signature failed half-way */
    OPCRAFT_ERROR_SIGNATURE_NOT_FOUND = 58,          /**< a name or part denotes no signature */
    OPCRAFT_ERROR_INVALID_SIGNATURE = 59,            /**< a signature is inconsistent with its package */
    OPCRAFT_ERROR_NOT_IMPLEMENTED = 60               /**< a legal feature that the library does not support was met */
} opcraft_error_kind;

/** An error. Fields that are not known are 0 or NULL. */
typedef struct opcraft_error {
    size_t size;
    opcraft_error_kind kind;
    int system_error;      /**< a value of errno.h; 0 when the system has nothing to do with it */
    const char* message;   /**< one sentence, for people; names the file, the item and the value */
    const char* item;      /**< the part, or the item that is not a part, with the error in its content */
    uint64_t line;         /**< in the XML of the item, the first being 1 */
    uint64_t column;       /**< in UTF-16 units, the first being 1 */
    const char* element;   /**< its name as it is written */
    const char* attribute; /**< the name of the one that is wrong */
    const char* value;     /**< of the attribute, or the text of the element */
    const char* id;        /**< the Id of the element */
} opcraft_error;

OPCRAFT_C_API void opcraft_error_free(opcraft_error* error);

/** The name of a kind, "InvalidPartName"; "Other" for a value that the library does not know. Thread-safe. */
OPCRAFT_C_API const char* opcraft_error_kind_name(opcraft_error_kind kind);

/* ---- What functions return --------------------------------------------------------------------------------------- */

/** Bytes. */
typedef struct opcraft_bytes {
    size_t size;
    const unsigned char* data; /**< not NULL; followed by a zero byte that does not count */
    size_t length;
} opcraft_bytes;

OPCRAFT_C_API void opcraft_bytes_free(opcraft_bytes* bytes);

/** A text that the caller frees. */
OPCRAFT_C_API void opcraft_text_free(char* text);

/* ---- Limits, progress, cancelling -------------------------------------------------------------------------------- */

/** Bounds on what a package may cost (`opc::Limits`). 0: the default of the library. */
typedef struct opcraft_limits {
    size_t size;
    uint64_t items;       /**< items of a ZIP file; 250,000 */
    uint64_t item_size;   /**< bytes of one item, inflated; 4 GiB */
    uint64_t total_size;  /**< bytes of all items that are read, inflated; 16 GiB */
    uint64_t ratio;       /**< inflated bytes for one compressed byte, above 64 MiB of an item; 250 */
    uint64_t name_length; /**< bytes of the name of an item; 4,096 */
    uint64_t xml_size;    /**< bytes of an XML part or stream; 64 MiB */
    uint64_t xml_depth;   /**< nested elements; 128 */
    uint64_t xml_nodes;   /**< elements, attributes and other nodes of an XML part or stream; 1,000,000 */
} opcraft_limits;

/** Shows how far work is and ends it. Outlives the stores that are made with it. All functions are thread-safe. */
typedef struct opcraft_monitor opcraft_monitor;

OPCRAFT_C_API opcraft_monitor* opcraft_monitor_new(opcraft_error** error);
OPCRAFT_C_API void opcraft_monitor_free(opcraft_monitor* monitor);
/** The bytes of items that were read so far; what is read twice counts twice. */
OPCRAFT_C_API uint64_t opcraft_monitor_bytes_read(const opcraft_monitor* monitor);
/** The work that goes on, and what is begun later, fails as soon as it reads, writes or waits, with
 *  OPCRAFT_ERROR_CANCELLED. A file is the old one or the new one. May be called from a signal handler. */
OPCRAFT_C_API void opcraft_monitor_cancel(opcraft_monitor* monitor);

/* ---- Stores: where a package lies -------------------------------------------------------------------------------- */

/** A file, a folder, bytes in memory, or a store of the caller's. Nothing is opened before a package is. One package or
 *  operation uses it at a time (else OPCRAFT_ERROR_STORE_IN_USE). */
typedef struct opcraft_store opcraft_store;

/** Which of several items of one name, or of several archives in a row, is read by what reads tolerantly. */
typedef enum opcraft_take OPCRAFT_C_ENUM {
    OPCRAFT_TAKE_NEITHER = 0,
    OPCRAFT_TAKE_FIRST = 1,
    OPCRAFT_TAKE_LAST = 2
} opcraft_take;

/** For a store of the caller's own, `monitor` and the limits of XML count alone; the rest is about files and their
 * items.
 */
typedef struct opcraft_store_options {
    size_t size;
    const opcraft_limits* limits; /**< NULL: the defaults */
    opcraft_monitor* monitor;     /**< NULL: none */
    uint64_t memory;              /**< bytes of memory for new content until it is saved; 0: 8 MiB */
    const char* temporary_folder; /**< for what exceeds it; NULL: what TMPDIR names, else /var/tmp */
    unsigned threads;             /**< the most that read at once; 0: the caller's alone */
    int64_t lock_timeout; /**< milliseconds to wait for other savers of the file; 0: no lock, and the second of two
                               saves is refused; below 0: waits without end */
    bool consistent;      /**< refuses a ZIP file that other programs could read as another package */
    opcraft_take take;
    const char* output; /**< a file that is written instead of the one that was opened, or of the bytes in memory; NULL:
                             none */
} opcraft_store_options;

/** A ZIP file, or a folder with an unpacked package, which is for reading only. */
OPCRAFT_C_API opcraft_store* opcraft_store_new_file(const char* path, const opcraft_store_options* options,
                                                    opcraft_error** error);

/** The bytes of a ZIP file. They are copied; a save changes the copy. @param data may be NULL when `length` is 0. */
OPCRAFT_C_API opcraft_store* opcraft_store_new_memory(const void* data, size_t length,
                                                      const opcraft_store_options* options, opcraft_error** error);

/** Receives the parts of a store; for `opcraft_store_callbacks::list`. */
typedef struct opcraft_listing opcraft_listing;
/** @param content_type NULL for a store with a content types stream.
 *  @return 0, or a value of errno.h that `list` returns at once. */
OPCRAFT_C_API int opcraft_listing_add(opcraft_listing* listing, const char* name, const char* content_type);

typedef enum opcraft_mode OPCRAFT_C_ENUM {
    OPCRAFT_MODE_READ = 0,
    OPCRAFT_MODE_CHANGE = 1, /**< an existing package */
    OPCRAFT_MODE_CREATE = 2  /**< a new package, which replaces an existing one */
} opcraft_mode;

/** A store of the caller's own (`opc::interfaces::IPhysicalPackage`, which has the rules). All return 0, or a value of
 *  errno.h, which the error of the failed call has: ENOENT when there is no such package or part, EACCES where
 *  permission is denied. A `create` that fails leaves no part. Part names begin with "/"; NULL as a name means the
 *  content types stream. They are called on the thread that calls the library, and return: no exception and no
 *  `longjmp` leaves them. Each begin_read and begin_write that succeeds is followed by its end before `close` is
 *  called. */
typedef struct opcraft_store_callbacks {
    size_t size;
    bool has_content_types_stream; /**< whether the store keeps content types in a stream, as a ZIP file does; otherwise
                                        each part has its own */
    int (*open)(void* data, opcraft_mode mode);
    int (*close)(void* data, bool discard); /**< saves what was changed, or drops it; after a failure the store
                                               is still open, with all changes */
    int (*list)(void* data, opcraft_listing* listing); /**< all parts, relationships parts included */
    int (*begin_read)(void* data, const char* name, void** stream);
    int (*read)(void* data, void* stream, void* buffer, size_t capacity,
                size_t* length); /**< a length of 0 at the end */
    void (*end_read)(void* data, void* stream);
    int (*begin_write)(void* data, const char* name, void** stream); /**< replaces the content */
    int (*write)(void* data, void* stream, const void* bytes, size_t length);
    int (*end_write)(void* data, void* stream);
    int (*create)(void* data, const char* name, const char* content_type);
    int (*remove)(void* data, const char* name);
} opcraft_store_callbacks;

/** @param callbacks copied; `data` is passed to each, and lives as long as the store. */
OPCRAFT_C_API opcraft_store* opcraft_store_new_callbacks(const opcraft_store_callbacks* callbacks, void* data,
                                                         const opcraft_store_options* options, opcraft_error** error);

OPCRAFT_C_API void opcraft_store_free(opcraft_store* store);

/** The bytes of a store in memory as they were last saved; NULL for another one, and where there are none. They live
 *  until a package that uses the store is saved, or the store is freed. */
OPCRAFT_C_API const void* opcraft_store_data(const opcraft_store* store, size_t* length);

/* ---- Packages ---------------------------------------------------------------------------------------------------- */

/** An open package. */
typedef struct opcraft_package opcraft_package;

typedef struct opcraft_open_options {
    size_t size;
    bool tolerant; /**< reads a package in which something is wrong as far as it can be read */
} opcraft_open_options;

/** @param store outlives the package. */
OPCRAFT_C_API opcraft_package* opcraft_package_open(opcraft_store* store, opcraft_mode mode,
                                                    const opcraft_open_options* options, opcraft_error** error);

/** Saves what was changed, and closes: all that can be done with the package then is to free it, and the store is free
 *  for others. Readers and writers are freed before (else OPCRAFT_ERROR_STORE_IN_USE). After a failure the package is
 *  still open, with all changes. */
OPCRAFT_C_API bool opcraft_package_close(opcraft_package* package, opcraft_error** error);

/** Frees a package; what was not saved by closing it is dropped. Its readers and writers, if there are any, have to be
 *  freed all the same, and fail until then (OPCRAFT_ERROR_INVALID_OBJECT). */
OPCRAFT_C_API void opcraft_package_free(opcraft_package* package);

/** A part as it is listed. */
typedef struct opcraft_part {
    size_t size;
    const char* name;         /**< "/word/document.xml" */
    const char* content_type; /**< "text/xml" */
    uint64_t length;          /**< bytes; UINT64_MAX where the store does not tell */
    uint64_t stored_length;   /**< bytes, compressed; UINT64_MAX where the store does not tell */
    uint64_t relationships;   /**< how many the part has */
} opcraft_part;

/** An item of the store that is not a part. */
typedef struct opcraft_item {
    size_t size;
    const char* name;
    uint64_t length;
    uint64_t stored_length;
    const char* reason; /**< why it is no part, in words */
} opcraft_item;

typedef struct opcraft_part_list {
    size_t size;
    size_t count;
    const opcraft_part* const* parts; /**< in the order of their names, without relationships parts */
    size_t item_count;
    const opcraft_item* const* items; /**< what is no part, in the order of the store */
} opcraft_part_list;

/** All parts, and all items that are none, at once. */
OPCRAFT_C_API opcraft_part_list* opcraft_package_list_parts(const opcraft_package* package, opcraft_error** error);
OPCRAFT_C_API void opcraft_part_list_free(opcraft_part_list* list);

/** Whether there is a part; a name that is no part name is an error. */
OPCRAFT_C_API bool opcraft_package_has_part(const opcraft_package* package, const char* name, bool* has,
                                            opcraft_error** error);

/** The content type of a part, which the caller frees (`opcraft_text_free`). */
OPCRAFT_C_API char* opcraft_part_content_type(const opcraft_package* package, const char* name, opcraft_error** error);

/** The content of a part. @param most more bytes are an error (OPCRAFT_ERROR_LIMIT_EXCEEDED); 0: no bound but the
 * limits. */
OPCRAFT_C_API opcraft_bytes* opcraft_part_read(const opcraft_package* package, const char* name, uint64_t most,
                                               opcraft_error** error);

/** Reads a part from its start in blocks. One reader or writer of a part is open at a time (else
 *  OPCRAFT_ERROR_STORE_IN_USE), and none while the part is moved or deleted, while core properties in it are set, or
 *  while it gets another content type in a store without a content types stream. */
typedef struct opcraft_reader opcraft_reader;
OPCRAFT_C_API opcraft_reader* opcraft_part_open(const opcraft_package* package, const char* name,
                                                opcraft_error** error);
/** @param length receives how many bytes were read: 0 only at the end, or for a capacity of 0. */
OPCRAFT_C_API bool opcraft_reader_read(opcraft_reader* reader, void* buffer, size_t capacity, size_t* length,
                                       opcraft_error** error);
OPCRAFT_C_API void opcraft_reader_free(opcraft_reader* reader);

/** How strongly a new part is compressed. */
typedef enum opcraft_compression OPCRAFT_C_ENUM {
    OPCRAFT_COMPRESSION_NORMAL = 0,
    OPCRAFT_COMPRESSION_NONE = 1,
    OPCRAFT_COMPRESSION_MAXIMUM = 2,
    OPCRAFT_COMPRESSION_FAST = 3
} opcraft_compression;

/** Creates an empty part. */
OPCRAFT_C_API bool opcraft_part_create(opcraft_package* package, const char* name, const char* content_type,
                                       opcraft_compression compression, opcraft_error** error);

/** Gives a part new content. After a failure the part has no content that can be saved until it is written anew. */
OPCRAFT_C_API bool opcraft_part_write(opcraft_package* package, const char* name, const void* data, size_t length,
                                      opcraft_error** error);

/** Gives a part new content in blocks. After a failure the writer takes nothing more, see `opcraft_part_write`. */
typedef struct opcraft_writer opcraft_writer;
OPCRAFT_C_API opcraft_writer* opcraft_part_rewrite(opcraft_package* package, const char* name, opcraft_error** error);
OPCRAFT_C_API bool opcraft_writer_write(opcraft_writer* writer, const void* data, size_t length, opcraft_error** error);
/** Ends the content. */
OPCRAFT_C_API bool opcraft_writer_close(opcraft_writer* writer, opcraft_error** error);
/** Without a close before, the part has no content that can be saved until it is written anew. */
OPCRAFT_C_API void opcraft_writer_free(opcraft_writer* writer);

/** Deletes a part and its relationships. Relationships that lead to it stay. */
OPCRAFT_C_API bool opcraft_part_delete(opcraft_package* package, const char* name, opcraft_error** error);
/** Gives a part another name, with every relationship that leads to it. After OPCRAFT_ERROR_PART_CREATE_FAILED, when the
 *  store failed half-way, the package is to be freed, not closed. */
OPCRAFT_C_API bool opcraft_part_move(opcraft_package* package, const char* name, const char* new_name,
                                     opcraft_error** error);
OPCRAFT_C_API bool opcraft_part_set_content_type(opcraft_package* package, const char* name, const char* content_type,
                                                 opcraft_error** error);

/* ---- Relationships ----------------------------------------------------------------------------------------------- */

typedef struct opcraft_relationship {
    size_t size;
    const char* source; /**< a part name, "/" for the package */
    const char* id;
    const char* type;
    const char* target;   /**< as it is written */
    const char* resolved; /**< an internal target resolved against the source, an external one as a URI; NULL when it
                               cannot be made one */
    bool external;
    bool dangling; /**< internal, and no part is there */
} opcraft_relationship;

typedef struct opcraft_relationship_list {
    size_t size;
    size_t count;
    const opcraft_relationship* const* relationships; /**< those of one source together, by ID */
} opcraft_relationship_list;

/** @param source a part name, or "/" for the package; NULL: of the package and all parts. */
OPCRAFT_C_API opcraft_relationship_list* opcraft_package_list_relationships(const opcraft_package* package,
                                                                            const char* source, opcraft_error** error);
OPCRAFT_C_API void opcraft_relationship_list_free(opcraft_relationship_list* list);

/** Relates a source to a part, or with `external` to something outside of the package.
 *  @param id NULL: a new one.
 *  @return the ID, which the caller frees (`opcraft_text_free`). */
OPCRAFT_C_API char* opcraft_relationship_create(opcraft_package* package, const char* source, const char* type,
                                                const char* target, bool external, const char* id,
                                                opcraft_error** error);
/** Gives an internal relationship another target. */
OPCRAFT_C_API bool opcraft_relationship_set_target(opcraft_package* package, const char* source, const char* id,
                                                   const char* target, opcraft_error** error);
OPCRAFT_C_API bool opcraft_relationship_delete(opcraft_package* package, const char* source, const char* id,
                                               opcraft_error** error);

/* ---- Core properties (ECMA-376-2 section 8) ---------------------------------------------------------------------- */

typedef struct opcraft_keyword {
    size_t size;
    const char* text;
    const char* language; /**< a language tag, or NULL */
} opcraft_keyword;

typedef enum opcraft_property_kind OPCRAFT_C_ENUM {
    OPCRAFT_PROPERTY_TEXT = 0,
    OPCRAFT_PROPERTY_TIME = 1, /**< W3CDTF in UTC, "2026-01-31T10:00:00.25Z" */
    OPCRAFT_PROPERTY_KEYWORDS = 2
} opcraft_property_kind;

typedef struct opcraft_property {
    size_t size;
    const char* name; /**< of its element, "lastModifiedBy" */
    opcraft_property_kind kind;
    const char* value; /**< NULL for keywords; in a change, NULL deletes the property */
    size_t keyword_count;
    const opcraft_keyword* const* keywords;
} opcraft_property;

typedef struct opcraft_property_list {
    size_t size;
    const char* part; /**< that holds them; NULL when the package has none */
    size_t count;
    const opcraft_property* const* properties; /**< those that are there, by name */
} opcraft_property_list;

OPCRAFT_C_API opcraft_property_list* opcraft_package_list_properties(const opcraft_package* package,
                                                                     opcraft_error** error);
OPCRAFT_C_API void opcraft_property_list_free(opcraft_property_list* list);

/** Gives the properties that are named their values, and leaves all else in the part as it is. Times may be in any form
 * of W3CDTF. `kind` is not read; for keywords, `value` is NULL and `keyword_count` above 0. */
OPCRAFT_C_API bool opcraft_package_set_properties(opcraft_package* package, const opcraft_property* const* changes,
                                                  size_t count, opcraft_error** error);

/* ---- What is wrong with a package -------------------------------------------------------------------------------- */

typedef enum opcraft_severity OPCRAFT_C_ENUM {
    OPCRAFT_SEVERITY_ERROR = 0,
    OPCRAFT_SEVERITY_WARNING = 1,
    OPCRAFT_SEVERITY_NOTE = 2
} opcraft_severity;

/** A rule that a package can break. Lives as long as the process. */
typedef struct opcraft_rule {
    size_t size;
    const char* name; /**< of the standard, "M1.26", or of the library, "dangling-target" */
    opcraft_severity severity;
    const char* subject; /**< what it is about */
    const char* summary; /**< in one sentence */
    const char* remedy;  /**< what to do about it */
} opcraft_rule;

/** All rules. @param count receives how many; may be NULL.
 *  @return NULL when there is no memory for them. Thread-safe. */
OPCRAFT_C_API const opcraft_rule* const* opcraft_rules(size_t* count);

typedef struct opcraft_finding {
    size_t size;
    const opcraft_rule* rule;
    bool blocks;         /**< the package cannot be opened because of it, but tolerantly */
    const char* message; /**< one sentence, without the item */
    const char* item;    /**< NULL: the package as a whole; the other fields of the place as in `opcraft_error` */
    uint64_t line;
    uint64_t column;
    const char* element;
    const char* attribute;
    const char* value;
    const char* id;
} opcraft_finding;

typedef struct opcraft_finding_list {
    size_t size;
    size_t count;
    const opcraft_finding* const* findings; /**< in the order of the items of the store */
} opcraft_finding_list;
OPCRAFT_C_API void opcraft_finding_list_free(opcraft_finding_list* list);

/** What was wrong with a package that was opened tolerantly; empty for another one. */
OPCRAFT_C_API opcraft_finding_list* opcraft_package_list_findings(const opcraft_package* package,
                                                                  opcraft_error** error);

typedef struct opcraft_lint_options {
    size_t size;
    bool without_contents;    /**< reads no more than a package that is opened does */
    const char* const* rules; /**< the names of those that count */
    size_t rule_count;        /**< 0: all */
} opcraft_lint_options;

/** Holds a package to all rules. It is opened for reading, as tolerantly as it can be, and closed. */
OPCRAFT_C_API opcraft_finding_list* opcraft_lint(opcraft_store* store, const opcraft_lint_options* options,
                                                 opcraft_error** error);

typedef struct opcraft_repair_options {
    size_t size;
    const char* const*
        only;          /**< the rules that are mended, by name; what loses something is mended only when it is named */
    size_t only_count; /**< 0: all that lose nothing */
    opcraft_take take; /**< of items and entries of one name */
    bool breaks_signatures; /**< without it, a signed package is not changed */
    bool apply;             /**< false: nothing is changed */
} opcraft_repair_options;

typedef struct opcraft_repair_step {
    size_t size;
    const opcraft_finding* finding;
    const char* change; /**< what it does, in one sentence */
    const char* loss;   /**< what is lost by it; NULL: nothing */
    bool deletes;       /**< it is applied only when `only` or `take` says so */
    bool applies;
    const char* why; /**< why it does not apply; NULL when it does */
} opcraft_repair_step;

typedef struct opcraft_repair_plan {
    size_t size;
    bool applied; /**< what applies is done */
    size_t step_count;
    const opcraft_repair_step* const* steps;
    size_t broken_signature_count;
    const char* const* broken_signatures; /**< the parts and items with those that do not hold afterwards */
    size_t left_count;
    const opcraft_finding* const* left; /**< errors for which there is no step */
} opcraft_repair_plan;
OPCRAFT_C_API void opcraft_repair_plan_free(opcraft_repair_plan* plan);

/** What can be mended without guessing, or mends it in one save. For a file or folder, or bytes in memory; a folder can
 *  only be looked at (OPCRAFT_ERROR_NOT_SUPPORTED for another store). When it fails, the store is unchanged. */
OPCRAFT_C_API opcraft_repair_plan* opcraft_repair(opcraft_store* store, const opcraft_repair_options* options,
                                                  opcraft_error** error);

/* ---- How two packages differ ------------------------------------------------------------------------------------- */

typedef enum opcraft_difference_kind OPCRAFT_C_ENUM {
    OPCRAFT_DIFFERENCE_ADDED = 0,
    OPCRAFT_DIFFERENCE_REMOVED = 1,
    OPCRAFT_DIFFERENCE_RENAMED = 2,
    OPCRAFT_DIFFERENCE_CHANGED = 3
} opcraft_difference_kind;

typedef enum opcraft_content_difference OPCRAFT_C_ENUM {
    OPCRAFT_CONTENT_SAME = 0,
    OPCRAFT_CONTENT_XML = 1,       /**< in what the XML says */
    OPCRAFT_CONTENT_TOO_LARGE = 2, /**< as XML, in more than is compared line by line */
    OPCRAFT_CONTENT_BYTES = 3
} opcraft_content_difference;

/** A part that one package alone has, or that differs. */
typedef struct opcraft_part_difference {
    size_t size;
    opcraft_difference_kind kind;
    const char* name_before; /**< NULL for an added part; so are the other fields `…_before` */
    const char* name_after;  /**< NULL for a removed part */
    const char* content_type_before;
    const char* content_type_after;
    uint64_t length_before;
    uint64_t length_after;
    const char* sha256_before; /**< hexadecimal */
    const char* sha256_after;
    bool content_type_differs;
    opcraft_content_difference content;
    uint64_t lines_removed; /**< of the printed XML */
    uint64_t lines_added;
    const char* lines;  /**< the differences as a unified diff of the printed XML, without a header; NULL for none */
    const char* reason; /**< why XML is compared by bytes, or how it differs other than in lines; NULL */
} opcraft_part_difference;

/** A relationship that one package alone has. */
typedef struct opcraft_relationship_difference {
    size_t size;
    opcraft_difference_kind kind; /**< added or removed */
    const char* source;
    const char* id;
    const char* type;
    const char* target; /**< resolved where it is internal */
    bool external;
    const char* problem; /**< why it is no relationship, but an entry that is kept as it stands; NULL */
} opcraft_relationship_difference;

typedef struct opcraft_property_difference {
    size_t size;
    const char* name;
    const char* before; /**< NULL when it was not there */
    const char* after;
} opcraft_property_difference;

typedef struct opcraft_item_difference {
    size_t size;
    opcraft_difference_kind kind; /**< not renamed */
    const char* name;
    uint64_t length_before;
    uint64_t length_after;
} opcraft_item_difference;

typedef enum opcraft_signature_change OPCRAFT_C_ENUM {
    OPCRAFT_SIGNATURE_BROKEN = 0,
    OPCRAFT_SIGNATURE_REMOVED = 1,
    OPCRAFT_SIGNATURE_ADDED = 2,
    OPCRAFT_SIGNATURE_MENDED = 3
} opcraft_signature_change;

typedef struct opcraft_signature_difference {
    size_t size;
    opcraft_signature_change change;
    const char* part;
    bool held_before;
    bool holds_after;
    const char* reason; /**< why it does not hold where it does not; NULL */
} opcraft_signature_difference;

typedef struct opcraft_difference_report {
    size_t size;
    bool equal;
    uint64_t compared_parts; /**< in both packages */
    size_t part_count;
    const opcraft_part_difference* const* parts;
    size_t relationship_count;
    const opcraft_relationship_difference* const* relationships;
    size_t property_count;
    const opcraft_property_difference* const* properties;
    size_t item_count;
    const opcraft_item_difference* const* items;
    size_t signature_count;
    const opcraft_signature_difference* const* signatures;
    size_t unread_signature_count;
    const char* const* unread_signatures; /**< why the signatures of a package could not be read, and were not compared
                                               but as parts */
} opcraft_difference_report;
OPCRAFT_C_API void opcraft_difference_report_free(opcraft_difference_report* report);

typedef struct opcraft_compare_options {
    size_t size;
    bool ignore_ids;
    bool ignore_order;
    bool ignore_core_properties;
    bool ignore_signatures;
    bool without_lines; /**< leaves out `opcraft_part_difference.lines` */
    bool tolerant;      /**< opens the packages tolerantly */
} opcraft_compare_options;

/** How two packages differ in meaning. Both are opened for reading and closed; the stores are two. */
OPCRAFT_C_API opcraft_difference_report* opcraft_compare(opcraft_store* before, opcraft_store* after,
                                                         const opcraft_compare_options* options, opcraft_error** error);

/* ---- Signatures (ECMA-376-2 section 10) -------------------------------------------------------------------------- */

typedef enum opcraft_digest OPCRAFT_C_ENUM {
    OPCRAFT_DIGEST_DEFAULT = 0, /**< SHA-256 */
    OPCRAFT_DIGEST_MD5 = 1,
    OPCRAFT_DIGEST_SHA1 = 2,
    OPCRAFT_DIGEST_SHA224 = 3,
    OPCRAFT_DIGEST_SHA256 = 4,
    OPCRAFT_DIGEST_SHA384 = 5,
    OPCRAFT_DIGEST_SHA512 = 6
} opcraft_digest;

/** In which form a signature is stored. */
typedef enum opcraft_signature_form OPCRAFT_C_ENUM {
    OPCRAFT_FORM_STANDARD = 0, /**< that of the standard, which other programs check */
    OPCRAFT_FORM_OFFICE = 1,   /**< with what Microsoft Office adds */
    OPCRAFT_FORM_LIBRARY = 2   /**< of this library alone */
} opcraft_signature_form;

/** What a signature has to cover. */
typedef enum opcraft_coverage OPCRAFT_C_ENUM {
    OPCRAFT_COVERAGE_CONTENT = 0, /**< all but core and extended properties and the thumbnail of the package */
    OPCRAFT_COVERAGE_ALL = 1,
    OPCRAFT_COVERAGE_ANY = 2
} opcraft_coverage;

/** The time at which a certificate has to be valid. */
typedef enum opcraft_validation_time OPCRAFT_C_ENUM {
    OPCRAFT_TIME_NOW = 0,
    OPCRAFT_TIME_GIVEN = 1,
    OPCRAFT_TIME_SIGNED = 2, /**< what the signature claims, which nothing confirms */
    OPCRAFT_TIME_STAMPED = 3 /**< that of a time stamp of a trusted authority */
} opcraft_validation_time;

/** Certificates and keys are PEM or DER; one that cannot be read is an OPCRAFT_ERROR_INVALID_ARGUMENT. Nobody is
 * trusted unless `trust`, `system_trust` or `public_key` says so; the last excludes the other two and `signers`. */
typedef struct opcraft_verify_options {
    size_t size;
    const void* trust; /**< the certificates that are trusted; several in PEM */
    size_t trust_length;
    bool system_trust;      /**< those of the system are trusted, too */
    const void* public_key; /**< the only key that counts; certificates do not then */
    size_t public_key_length;
    bool allow_untrusted;       /**< does not ask who signed */
    const char* const* signers; /**< who is accepted: the subject of a trusted certificate as `opcraft_signature.subject`
                                   gives it, or the SHA-256 fingerprint of a key or certificate in hexadecimal */
    size_t signer_count;        /**< 0: everybody who is trusted */
    opcraft_digest weakest_digest; /**< the weakest that is accepted; 0: each */
    opcraft_coverage coverage;
    opcraft_validation_time time;
    const char* given_time; /**< W3CDTF, for OPCRAFT_TIME_GIVEN */
    bool strict;            /**< reads relationships by the letter of the standard only */
} opcraft_verify_options;

typedef enum opcraft_verdict OPCRAFT_C_ENUM {
    OPCRAFT_VERDICT_VALID =
        0, /**< every signature holds, is vouched for and accepted, and covers what it has to by itself */
    OPCRAFT_VERDICT_INVALID = 1, /**< one does not hold or cannot be read, or nobody who is accepted vouches for it */
    OPCRAFT_VERDICT_INCOMPLETE = 2, /**< one does not cover what it has to */
    OPCRAFT_VERDICT_UNREADABLE = 3, /**< the signatures cannot be read */
    OPCRAFT_VERDICT_UNSIGNED = 4,
    OPCRAFT_VERDICT_UNCHECKED = 5 /**< there are signatures of a kind alone that is not checked */
} opcraft_verdict;

typedef enum opcraft_voucher OPCRAFT_C_ENUM {
    OPCRAFT_VOUCHER_NOBODY = 0,
    OPCRAFT_VOUCHER_UNTRUSTED_CERTIFICATE = 1,
    OPCRAFT_VOUCHER_TRUSTED_CERTIFICATE = 2,
    OPCRAFT_VOUCHER_GIVEN_KEY = 3
} opcraft_voucher;

typedef enum opcraft_reference_kind OPCRAFT_C_ENUM {
    OPCRAFT_REFERENCE_OBJECT = 0, /**< something in the signature itself */
    OPCRAFT_REFERENCE_PART = 1,
    OPCRAFT_REFERENCE_RELATIONSHIPS = 2 /**< of one source */
} opcraft_reference_kind;

/** The values are those of `opc::model::ReferenceVerdict`. */
typedef enum opcraft_reference_verdict OPCRAFT_C_ENUM {
    OPCRAFT_REFERENCE_HOLDS = 0,
    OPCRAFT_REFERENCE_DIGEST_DIFFERS = 1,
    OPCRAFT_REFERENCE_CONTENT_TYPE_DIFFERS = 2,
    OPCRAFT_REFERENCE_MISSING = 3,
    OPCRAFT_REFERENCE_NOT_SUPPORTED = 4,
    OPCRAFT_REFERENCE_NOT_READABLE = 5,
    OPCRAFT_REFERENCE_MISNAMED = 6
} opcraft_reference_verdict;

/** Something that a signature lists. */
typedef struct opcraft_reference {
    size_t size;
    opcraft_reference_kind kind;
    const char* target; /**< the part; the source of the relationships; the Id of the object */
    opcraft_reference_verdict verdict;
    const char* problem;             /**< NULL when it holds */
    const char* remark;              /**< what is unusual; NULL */
    const char* signed_content_type; /**< NULL but for a part and relationships */
    const char* content_type;
    const char* digest_method; /**< identifier */
    const char* signed_digest; /**< base64 */
    const char* digest;        /**< NULL when none can be computed */
    size_t relationship_count;
    const char* const* relationships; /**< the IDs of those that are selected */
} opcraft_reference;

typedef struct opcraft_certificate {
    size_t size;
    const char* subject;
    const char* issuer;
    const char* serial_number; /**< hexadecimal */
    const char* not_before;    /**< W3CDTF in UTC */
    const char* not_after;
    unsigned key_size; /**< bits */
    const void* der;
    size_t der_length;
} opcraft_certificate;

typedef struct opcraft_time_stamp {
    size_t size;
    const char* time;      /**< NULL when it cannot be read */
    const char* authority; /**< NULL when it is not known */
    bool holds;
    bool trusted;
    const char* problem; /**< NULL */
} opcraft_time_stamp;

typedef struct opcraft_signature {
    size_t size;
    const char* name; /**< as `opcraft_unsign` takes it */
    const char* part;
    opcraft_signature_form form;
    bool countersignature;
    bool holds;          /**< the value and all references hold */
    const char* problem; /**< what does not hold first, or why it cannot be read; NULL */
    opcraft_voucher voucher;
    const char* doubt; /**< why a certificate is not trusted; NULL where none is distrusted */
    size_t objection_count;
    const char* const* objections;           /**< what of `signers` and `weakest_digest` it does not meet */
    const char* subject;                     /**< of the certificate; NULL for a bare key */
    const char* key_fingerprint;             /**< SHA-256 of the SubjectPublicKeyInfo, hexadecimal; NULL */
    const char* algorithm;                   /**< identifier of the signature method; NULL */
    unsigned key_size;                       /**< bits; 0 */
    const char* time;                        /**< as the signer claims, W3CDTF in UTC; NULL */
    const char* validation_time;             /**< for which the certificate was validated; NULL when none was */
    const opcraft_certificate* certificate;  /**< NULL when there is none */
    const opcraft_certificate* trust_anchor; /**< NULL */
    size_t weak_count;
    const char* const* weak; /**< weak algorithms, by name */
    size_t time_stamp_count;
    const opcraft_time_stamp* const* time_stamps;
    bool complete; /**< it covers by itself what it has to */
    size_t covered_part_count;
    const char* const* covered_parts;
    size_t uncovered_part_count;
    const char* const* uncovered_parts;
    size_t uncovered_relationship_count;
    const char* const* uncovered_relationships; /**< "/word/document.xml#rId1" */
    size_t uncovered_item_count;
    const char* const* uncovered_items; /**< items that are no parts */
    size_t excepted_count;
    const char* const* excepted; /**< parts, relationships and items that are neither signed nor content */
    size_t reference_count;
    const opcraft_reference* const* references;
} opcraft_signature;

typedef struct opcraft_verification {
    size_t size;
    opcraft_verdict verdict;
    const char* problem; /**< why the signatures cannot be read; NULL */
    size_t signature_count;
    const opcraft_signature* const* signatures;
    size_t loose_count;
    const char* const* loose; /**< parts that look like signatures, but are not tied to the package */
    size_t unchecked_count;
    const char* const* unchecked; /**< items with signatures of a kind that is not checked */
    uint64_t external_targets;    /**< relationships that lead out of the package: what they lead to is never signed */
} opcraft_verification;
OPCRAFT_C_API void opcraft_verification_free(opcraft_verification* verification);

/** Verifies all signatures of a package, which is opened for reading, as strictly as `opcraft_store_options.consistent`
 *  says in any case, and closed. A signature that does not hold is a verdict, not an error. Revocation is not checked;
 * the network is never used. */
OPCRAFT_C_API opcraft_verification* opcraft_verify(opcraft_store* store, const opcraft_verify_options* options,
                                                   opcraft_error** error);

/** A private key that lies elsewhere: in a token, an agent or a service (`opc::crypto::Signer`). */
typedef struct opcraft_signer {
    size_t size;
    const void* public_key; /**< SubjectPublicKeyInfo, PEM or DER */
    size_t public_key_length;
    /** Signs octets: RSA with PKCS#1 v1.5, elliptic curves in DER. The answer is verified before anything is done with
     *  it.
     *  @param capacity of `signature`, at least 8,192 bytes.
     *  @return 0, or a value of errno.h, which is the `system_error` of what `opcraft_sign` fails with. */
    int (*sign)(void* data, opcraft_digest digest, const void* octets, size_t length, void* signature, size_t capacity,
                size_t* signature_length);
    void* data;
} opcraft_signer;

/** One of `signer`, `key` and `pkcs12` is given. Whether others trust the certificate is not looked at; it has to be
 * the key's, valid today and for signatures. */
typedef struct opcraft_sign_options {
    size_t size;
    const opcraft_signer* signer;
    const void* key; /**< a private key, PEM or DER */
    size_t key_length;
    const void* pkcs12; /**< with private key, certificate and chain */
    size_t pkcs12_length;
    const char* password;    /**< of `key` or `pkcs12`; NULL: none */
    const void* certificate; /**< of the signer, PEM or DER; NULL: a bare key, which does not identify anybody */
    size_t certificate_length;
    const void* chain; /**< further certificates that are written into the signature; several in PEM */
    size_t chain_length;
    opcraft_signature_form form;
    opcraft_digest digest;    /**< not OPCRAFT_DIGEST_MD5 or OPCRAFT_DIGEST_SHA1 */
    const char* comments;     /**< the purpose, for OPCRAFT_FORM_OFFICE alone, which shows it; NULL */
    const char* const* parts; /**< the parts that are signed alone */
    size_t part_count;        /**< 0: all parts and relationships */
    bool countersign;         /**< signs all signatures instead */
} opcraft_sign_options;

typedef struct opcraft_sign_result {
    size_t size;
    const char* name; /**< of the new signature */
    uint64_t parts;   /**< how many it covers */
    uint64_t relationships;
    size_t warning_count;
    const char* const* warnings; /**< what it cannot cover, and weak keys and digests */
} opcraft_sign_result;
OPCRAFT_C_API void opcraft_sign_result_free(opcraft_sign_result* result);

/** Signs a package, which is opened for a change and saved. Refuses a file that other programs could read as another
 *  package. When it fails, the store is unchanged. */
OPCRAFT_C_API opcraft_sign_result* opcraft_sign(opcraft_store* store, const opcraft_sign_options* options,
                                                opcraft_error** error);

/** Removes signatures, and saves. When it fails, the store is unchanged.
 *  @param name of a signature (OPCRAFT_ERROR_SIGNATURE_NOT_FOUND); not of one that a countersignature covers, which is
 *         to be removed before (OPCRAFT_ERROR_COULD_NOT_REMOVE_SIGNATURE). NULL: all, also those that cannot be read.
 *  @param removed receives how many; may be NULL. */
OPCRAFT_C_API bool opcraft_unsign(opcraft_store* store, const char* name, uint64_t* removed, opcraft_error** error);

#ifdef __cplusplus
}
#endif

#endif
