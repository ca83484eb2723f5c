/* SPDX-License-Identifier: Apache-2.0 */
/* Each allocation fails once: an error says so, nothing is lost of what was there, and nothing leaks. */
#include "check.h"

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)

/* These take the place of those of the C library in the whole process. */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* old, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);
extern void __libc_free(void* memory);

static bool isArmed;
static unsigned long count, failing;
static long live;

static bool fails(void) {
    const bool is = isArmed && ++count == failing;
    if (is)
        errno = ENOMEM;
    return is;
}

static void* made(void* memory) {
    live += isArmed && memory != NULL;
    return memory;
}

void* malloc(size_t size) {
    return fails() ? NULL : made(__libc_malloc(size));
}

void* calloc(size_t items, size_t size) {
    return fails() ? NULL : made(__libc_calloc(items, size));
}

void* aligned_alloc(size_t alignment, size_t size) {
    return fails() ? NULL : made(__libc_memalign(alignment, size));
}

void* realloc(void* old, size_t size) {
    if (fails())
        return NULL;
    void* memory = __libc_realloc(old, size);
    return old == NULL ? made(memory) : memory;
}

void free(void* memory) {
    live -= isArmed && memory != NULL;
    __libc_free(memory);
}

/* Something of everything with the letter, without what the validating parser does, which leaks when memory ends.
 * @return whether all was done; otherwise there is an error. */
static bool work(opcraft_package* package) {
    opcraft_part_list* parts = opcraft_package_list_parts(package, &error);
    if (parts == NULL)
        return false;
    opcraft_part_list_free(parts);
    opcraft_relationship_list* relationships = opcraft_package_list_relationships(package, NULL, &error);
    if (relationships == NULL)
        return false;
    opcraft_relationship_list_free(relationships);
    opcraft_property_list* properties = opcraft_package_list_properties(package, &error);
    if (properties == NULL)
        return false;
    opcraft_property_list_free(properties);
    opcraft_bytes* bytes = opcraft_part_read(package, "/word/document.xml", 0, &error);
    if (bytes == NULL)
        return false;
    opcraft_bytes_free(bytes);
    char* id = opcraft_relationship_create(package, "/", "http://example.org/t", "/new.xml", false, NULL, &error);
    if (id == NULL)
        return false;
    opcraft_text_free(id);
    return opcraft_part_create(package, "/new.xml", "application/xml", OPCRAFT_COMPRESSION_NORMAL, &error) &&
           opcraft_part_write(package, "/new.xml", "<new/>", 6, &error) &&
           opcraft_part_delete(package, "/docProps/app.xml", &error) && opcraft_package_close(package, &error);
}

/* The validating parser is set up when a document first needs it. */
static void setUp(void) {
    const opcraft_property title = {sizeof title, "title", OPCRAFT_PROPERTY_TEXT, "T", 0, NULL};
    const opcraft_property* const changes[] = {&title};
    opcraft_store* store;
    opcraft_package* package = openLetter(&store);
    DONE(opcraft_package_set_properties(package, changes, 1, &error));
    DONE(work(package));
    closeLetter(package, store);
}

/* @return whether all of it was done. */
static bool run(opcraft_store* store) {
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_CHANGE, NULL, &error);
    const bool done = package != NULL && work(package);
    opcraft_package_free(package);
    return done;
}

static bool failAt(unsigned long number, const char* path) {
    opcraft_store_options options = {0};
    options.size = sizeof options;
    options.output = pathOf("output.docx");
    char before[512];
    strcpy(before, path);
    live = 0;
    count = 0;
    failing = number;
    isArmed = true;
    opcraft_store* store = opcraft_store_new_file(before, &options, &error);
    const bool done = store != NULL && run(store);
    opcraft_store_free(store);
    if (!done)
        CHECK(error != NULL && error->kind == OPCRAFT_ERROR_OUT_OF_MEMORY);
    opcraft_error_free(error);
    error = NULL;
    isArmed = false;
    if (!CHECK(live <= (number == 0 ? 0 : 1))) /* libzip leaks when it fails to open an item */
        fprintf(stderr, "allocation %lu of %lu: %ld more than before\n", number, count, live);
    return count >= failing;
}

void testMemoryFaults(void) {
    char path[512];
    strcpy(path, copyLetter("letter.docx"));
    setUp();
    failAt(0, path);
    unsigned long number = 1;
    while (failAt(number, path))
        ++number;
    CHECK(number > 500);
}

#else

void testMemoryFaults(void) {}

#endif
