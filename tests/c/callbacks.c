/* SPDX-License-Identifier: Apache-2.0 */
/* A store of callbacks: a few parts in memory, which fail when they are told to. */
#include "check.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

enum { FILES = 8, CAPACITY = 4096 };

struct file {
    char name[64], type[128], data[CAPACITY];
    size_t length;
    bool exists;
};

struct callbackStore {
    struct file saved[FILES], files[FILES];
    bool hasTypes, isOpen;
    int streams, calls, failing;
    opcraft_monitor* monitor; /* ends the work at the failing call instead */
};

struct stream {
    struct callbackStore* store;
    struct file* file;
    size_t position;
    bool isUsed;
};

static struct stream streams[4];

static int step(struct callbackStore* store) {
    if (++store->calls != store->failing)
        return 0;
    if (store->monitor == NULL)
        return EDQUOT;
    opcraft_monitor_cancel(store->monitor);
    return 0;
}

static struct file* findFile(struct callbackStore* store, const char* name) {
    for (int i = 0; i != FILES; ++i)
        if (store->files[i].exists && strcmp(store->files[i].name, name != NULL ? name : "types") == 0)
            return &store->files[i];
    return NULL;
}

static struct file* addFile(struct callbackStore* store, const char* name, const char* type) {
    struct file* file = store->files;
    while (file->exists)
        ++file;
    memset(file, 0, sizeof *file);
    snprintf(file->name, sizeof file->name, "%s", name);
    snprintf(file->type, sizeof file->type, "%s", type);
    file->exists = true;
    return file;
}

static int openStore(void* data, opcraft_mode mode) {
    struct callbackStore* store = data;
    const int value = step(store);
    if (value != 0)
        return value;
    memcpy(store->files, store->saved, sizeof store->files);
    if (mode == OPCRAFT_MODE_CREATE)
        memset(store->files, 0, sizeof store->files);
    store->isOpen = true;
    return 0;
}

static int closeStore(void* data, bool discard) {
    struct callbackStore* store = data;
    const int value = step(store);
    CHECK(store->isOpen && store->streams == 0);
    if (value != 0 && !discard)
        return value;
    if (!discard)
        memcpy(store->saved, store->files, sizeof store->saved);
    store->isOpen = false;
    return value;
}

static int list(void* data, opcraft_listing* listing) {
    struct callbackStore* store = data;
    int value = step(store);
    for (int i = 0; value == 0 && i != FILES; ++i)
        if (store->files[i].exists && strcmp(store->files[i].name, "types") != 0)
            value = opcraft_listing_add(listing, store->files[i].name, store->hasTypes ? NULL : store->files[i].type);
    return value;
}

static int begin(struct callbackStore* store, struct file* file, void** stream) {
    const int value = file != NULL ? step(store) : ENOENT;
    struct stream* each = streams;
    while (value == 0 && each->isUsed)
        ++each;
    if (value != 0)
        return value;
    each->isUsed = true;
    each->store = store;
    each->file = file;
    each->position = 0;
    ++store->streams;
    *stream = each;
    return 0;
}

static int beginRead(void* data, const char* name, void** stream) {
    return begin(data, findFile(data, name), stream);
}

static int readBytes(void* data, void* stream, void* buffer, size_t capacity, size_t* length) {
    struct stream* from = stream;
    const int value = step(data);
    const size_t left = from->file->length - from->position;
    *length = left < 100 ? left : 100; /* not more at a time */
    *length = *length < capacity ? *length : capacity;
    memcpy(buffer, from->file->data + from->position, *length);
    from->position += *length;
    return value;
}

static void endRead(void* data, void* stream) {
    struct stream* from = stream;
    CHECK(from->isUsed && from->store == data);
    from->isUsed = false;
    --from->store->streams;
}

static int beginWrite(void* data, const char* name, void** stream) {
    struct file* file = findFile(data, name);
    if (file == NULL && name == NULL)
        file = addFile(data, "types", "");
    const int value = begin(data, file, stream);
    if (value == 0)
        file->length = 0;
    return value;
}

static int writeBytes(void* data, void* stream, const void* bytes, size_t length) {
    struct file* file = ((struct stream*)stream)->file;
    const int value = step(data);
    if (file->length + length > CAPACITY)
        return ENOSPC;
    memcpy(file->data + file->length, bytes, length);
    file->length += length;
    return value;
}

static int endWrite(void* data, void* stream) {
    endRead(data, stream);
    return step(data);
}

static int create(void* data, const char* name, const char* type) {
    const int value = step(data);
    if (value == 0)
        addFile(data, name, type);
    return value;
}

static int removePart(void* data, const char* name) {
    const int value = step(data);
    struct file* file = findFile(data, name);
    if (file == NULL)
        return ENOENT;
    file->exists = value != 0;
    return value;
}

static opcraft_store* newStore(struct callbackStore* store, const opcraft_store_options* options) {
    const opcraft_store_callbacks callbacks = {sizeof callbacks, store->hasTypes, openStore, closeStore, list,
                                               beginRead,        readBytes,       endRead,   beginWrite, writeBytes,
                                               endWrite,         create,          removePart};
    return opcraft_store_new_callbacks(&callbacks, store, options, &error);
}

/* Two packages with one another: the first is made, the second is the first changed. Stops where a call fails.
 * @return whether all was done; otherwise there is an error. */
static bool make(opcraft_package* package) {
    return opcraft_part_create(package, "/a.xml", "application/xml", OPCRAFT_COMPRESSION_NORMAL, &error) &&
           opcraft_part_write(package, "/a.xml", "<a/>", 4, &error) &&
           opcraft_part_create(package, "/b.xml", "application/xml", OPCRAFT_COMPRESSION_NORMAL, &error) &&
           opcraft_package_close(package, &error);
}

static bool change(opcraft_package* package) {
    const opcraft_property title = {sizeof title, "title", OPCRAFT_PROPERTY_TEXT, "T", 0, NULL};
    const opcraft_property* const changes[] = {&title};
    opcraft_bytes* bytes = opcraft_part_read(package, "/a.xml", 0, &error);
    if (bytes == NULL)
        return false;
    CHECK_TEXT((const char*)bytes->data, "<a/>");
    opcraft_bytes_free(bytes);
    char* id = opcraft_relationship_create(package, "/a.xml", "http://example.org/t", "/c.xml", false, "r1", &error);
    opcraft_text_free(id);
    return id != NULL && opcraft_part_write(package, "/a.xml", "<changed/>", 10, &error) &&
           opcraft_part_move(package, "/b.xml", "/c.xml", &error) &&
           opcraft_package_set_properties(package, changes, 1, &error) && opcraft_package_close(package, &error);
}

/* What the second package is, after it was saved. */
static void checkChanged(opcraft_store* store) {
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error);
    if (!DONE(package != NULL))
        return;
    opcraft_part_list* parts = opcraft_package_list_parts(package, &error);
    opcraft_relationship_list* relationships = opcraft_package_list_relationships(package, "/a.xml", &error);
    opcraft_bytes* bytes = opcraft_part_read(package, "/a.xml", 0, &error);
    if (DONE(parts != NULL && relationships != NULL && bytes != NULL)) {
        CHECK(parts->count == 3 && parts->parts[0]->length == UINT64_MAX && relationships->count == 1);
        CHECK_TEXT((const char*)bytes->data, "<changed/>");
        CHECK(!relationships->relationships[0]->dangling);
    }
    opcraft_bytes_free(bytes);
    opcraft_relationship_list_free(relationships);
    opcraft_part_list_free(parts);
    opcraft_package_free(package);
}

static bool use(opcraft_store* store, opcraft_mode mode, bool (*action)(opcraft_package*)) {
    opcraft_package* package = opcraft_package_open(store, mode, NULL, &error);
    const bool done = package != NULL && action(package);
    opcraft_package_free(package);
    return done;
}

/* Without a content types stream, the part is made anew. */
static bool retypeWhileItIsWritten(opcraft_package* package) {
    opcraft_writer* writer = opcraft_part_rewrite(package, "/a.xml", &error);
    const bool done = opcraft_writer_write(writer, "<a", 2, &error) &&
                      opcraft_part_set_content_type(package, "/a.xml", "text/xml", &error);
    opcraft_writer_free(writer);
    return done;
}

void testCallbacks(void) {
    static struct callbackStore callbacks;
    for (int hasTypes = 0; hasTypes != 2; ++hasTypes) {
        memset(&callbacks, 0, sizeof callbacks);
        callbacks.hasTypes = hasTypes;
        opcraft_store* store = newStore(&callbacks, NULL);
        DONE(use(store, OPCRAFT_MODE_CREATE, make));
        CHECK(use(store, OPCRAFT_MODE_CHANGE, retypeWhileItIsWritten) == hasTypes);
        CHECK(hasTypes || error->kind == OPCRAFT_ERROR_STORE_IN_USE);
        opcraft_error_free(error);
        DONE(use(store, OPCRAFT_MODE_CHANGE, change));
        checkChanged(store);
        CHECK((findFile(&callbacks, NULL) != NULL) == hasTypes);
        CHECK(!callbacks.isOpen && callbacks.streams == 0);
        opcraft_store_free(store);
    }
    opcraft_store_callbacks incomplete = {sizeof incomplete, false,     openStore, closeStore, list,
                                          beginRead,         readBytes, endRead,   NULL,       writeBytes,
                                          endWrite,          create,    removePart};
    REFUSED(INVALID_ARGUMENT, opcraft_store_new_callbacks(&incomplete, NULL, NULL, &error));
    CHECK(opcraft_listing_add(NULL, "/a", NULL) == EINVAL);
}

/* Every call fails once: the error says so, nothing stays open, and what was saved before is there. */
static bool failAt(int number, bool hasTypes, bool isCancelled) {
    static struct callbackStore callbacks;
    opcraft_store_options options = {0};
    memset(&callbacks, 0, sizeof callbacks);
    callbacks.hasTypes = hasTypes;
    options.size = sizeof options;
    options.monitor = isCancelled ? opcraft_monitor_new(&error) : NULL;
    opcraft_store* store = newStore(&callbacks, &options);
    DONE(use(store, OPCRAFT_MODE_CREATE, make));
    callbacks.monitor = options.monitor;
    callbacks.failing = callbacks.calls + number;
    const struct file before = callbacks.saved[0];
    const bool done = use(store, OPCRAFT_MODE_CHANGE, change);
    const bool hasFired = callbacks.calls >= callbacks.failing;
    CHECK(!callbacks.isOpen && callbacks.streams == 0);
    callbacks.failing = 0;
    if (!done && CHECK(error != NULL)) {
        const int expected = isCancelled ? ECANCELED : EDQUOT;
        if (!CHECK(error->system_error == expected && (!isCancelled || error->kind == OPCRAFT_ERROR_CANCELLED)))
            fprintf(stderr, "call %d: %s, %d: %s\n", number, opcraft_error_kind_name(error->kind), error->system_error,
                    error->message);
        opcraft_error_free(error);
        error = NULL;
        CHECK(memcmp(&before, &callbacks.saved[0], sizeof before) == 0);
        if (!isCancelled) /* it goes on as if nothing had been */
            DONE(use(store, OPCRAFT_MODE_CHANGE, change));
    }
    if (!isCancelled)
        checkChanged(store);
    opcraft_store_free(store);
    opcraft_monitor_free(options.monitor);
    return hasFired;
}

void testFailingCallbacks(void) {
    for (int hasTypes = 0; hasTypes != 2; ++hasTypes)
        for (int isCancelled = 0; isCancelled != 2; ++isCancelled) {
            int number = 1;
            while (number < 1000 && failAt(number, hasTypes, isCancelled))
                ++number;
            CHECK(number > 20 && number < 1000);
        }
}
