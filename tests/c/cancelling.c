/* SPDX-License-Identifier: Apache-2.0 */
/* Ending the work, before and while a file is read, waited for and saved. */
#define _XOPEN_SOURCE 700
#include "check.h"

#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

static opcraft_monitor* monitor;

static void cancel(int signal) {
    (void)signal;
    opcraft_monitor_cancel(monitor);
}

static void cancelAfter(long microseconds) {
    const struct itimerval timer = {{0, 0}, {microseconds / 1000000, microseconds % 1000000}};
    if (microseconds == 0)
        opcraft_monitor_cancel(monitor);
    setitimer(ITIMER_REAL, &timer, NULL);
}

static opcraft_store* newStore(const char* path, opcraft_store_options options) {
    options.size = sizeof options;
    options.monitor = monitor = opcraft_monitor_new(&error);
    return opcraft_store_new_file(path, &options, &error);
}

static void freeStore(opcraft_store* store) {
    const struct itimerval never = {{0, 0}, {0, 0}};
    setitimer(ITIMER_REAL, &never, NULL);
    opcraft_store_free(store);
    opcraft_monitor_free(monitor);
}

/* A file with a part that takes some time to be saved. */
static void writeLarge(const char* path, size_t size) {
    unsigned char* data = malloc(size);
    for (size_t i = 0; i != size; ++i)
        data[i] = (unsigned char)(i * 2654435761U >> 13);
    opcraft_store* store = newStore(path, (opcraft_store_options){0});
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_CHANGE, NULL, &error);
    DONE(opcraft_part_create(package, "/large.bin", "application/octet-stream", OPCRAFT_COMPRESSION_NORMAL, &error));
    DONE(opcraft_part_write(package, "/large.bin", data, size, &error));
    DONE(opcraft_package_close(package, &error));
    opcraft_package_free(package);
    freeStore(store);
    free(data);
}

static void testReading(const char* path, unsigned threads) {
    char block[1000];
    size_t length;
    opcraft_store* store = newStore(path, (opcraft_store_options){.threads = threads});
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error);
    opcraft_reader* reader = opcraft_part_open(package, "/large.bin", &error);
    const uint64_t before = opcraft_monitor_bytes_read(monitor);
    DONE(opcraft_reader_read(reader, block, sizeof block, &length, &error));
    CHECK(length == sizeof block && opcraft_monitor_bytes_read(monitor) >= before + sizeof block);
    opcraft_monitor_cancel(monitor);
    REFUSED(CANCELLED, opcraft_reader_read(reader, block, sizeof block, &length, &error));
    REFUSED(CANCELLED, opcraft_part_read(package, "/word/document.xml", 0, &error));
    REFUSED(CANCELLED, opcraft_package_list_properties(package, &error));
    opcraft_reader_free(reader);
    opcraft_package_free(package);
    REFUSED(CANCELLED, opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error));
    freeStore(store);
}

/* Reads all items on several threads, and is ended at some point of that. */
static void testChecking(const char* path) {
    for (long after = 0; after < 20000; after += 2000) {
        opcraft_store* store = newStore(path, (opcraft_store_options){.threads = 4, .consistent = true});
        cancelAfter(after);
        opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error);
        if (package == NULL)
            REFUSED(CANCELLED, package);
        CHECK(package == NULL || after != 0);
        opcraft_package_free(package);
        freeStore(store);
    }
}

/* Whether the file has the part that was added. */
static bool isSaved(const char* path) {
    bool has = false;
    opcraft_store* store = opcraft_store_new_file(path, NULL, &error);
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error);
    DONE(package != NULL && opcraft_package_has_part(package, "/new.xml", &has, &error));
    opcraft_package_free(package);
    opcraft_store_free(store);
    return has;
}

/* Saves, and is ended at some point of that: the file is the old one or the new one, and nothing lies beside it. */
static bool saveFor(const char* path, long microseconds) {
    opcraft_store* store = newStore(path, (opcraft_store_options){0});
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_CHANGE, NULL, &error);
    DONE(opcraft_part_create(package, "/new.xml", "application/xml", OPCRAFT_COMPRESSION_NORMAL, &error));
    opcraft_bytes* bytes = opcraft_part_read(package, "/large.bin", 0, &error);
    DONE(opcraft_part_write(package, "/large.bin", bytes->data, bytes->length, &error));
    opcraft_bytes_free(bytes);
    cancelAfter(microseconds);
    const bool done = opcraft_package_close(package, &error);
    if (done)
        DONE(done);
    else
        REFUSED(CANCELLED, done);
    opcraft_package_free(package);
    freeStore(store);
    CHECK(isSaved(path) == done && countFiles() == 1);
    return done;
}

static void testSaving(const char* path) {
    CHECK(!saveFor(path, 0));
    long microseconds = 500;
    while (microseconds < 20000000 && !saveFor(path, microseconds))
        microseconds += microseconds / 2;
    CHECK(microseconds < 20000000);
}

static void testWaiting(const char* path) {
    opcraft_store* first = newStore(path, (opcraft_store_options){.lock_timeout = 1});
    opcraft_package* package = opcraft_package_open(first, OPCRAFT_MODE_CHANGE, NULL, &error);
    opcraft_monitor* firstMonitor = monitor;
    DONE(package != NULL);
    for (int mode = OPCRAFT_MODE_CHANGE; mode <= OPCRAFT_MODE_CREATE; ++mode) {
        opcraft_store* second = newStore(path, (opcraft_store_options){.lock_timeout = -1});
        cancelAfter(30000);
        REFUSED(CANCELLED, opcraft_package_open(second, (opcraft_mode)mode, NULL, &error));
        freeStore(second);
        second = newStore(path, (opcraft_store_options){.lock_timeout = 5});
        REFUSED(STORE_IN_USE, opcraft_package_open(second, (opcraft_mode)mode, NULL, &error));
        freeStore(second);
    }
    opcraft_package_free(package);
    monitor = firstMonitor;
    freeStore(first);
}

void testCancelling(void) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = cancel;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, NULL);
    char path[512];
    strcpy(path, copyLetter("letter.docx"));
    writeLarge(path, 8000000);
    testReading(path, 1);
    testReading(path, 4);
    testChecking(path);
    testSaving(path);
    testWaiting(path);
}
