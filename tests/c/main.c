/* SPDX-License-Identifier: Apache-2.0 */
/* test_c NAME LETTER: runs the test of that name. */
#define _XOPEN_SOURCE 700
#include "check.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int failures;
static char letter[64 * 1024];
static size_t letterLength;
static char folder[] = "/tmp/opcraft-c-XXXXXX";

opcraft_error* error;

bool checkAt(bool holds, const char* what, const char* file, int line) {
    if (!holds) {
        fprintf(stderr, "%s:%d: failed: %s\n", file, line, what);
        ++failures;
    }
    return holds;
}

bool checkText(const char* text, const char* expected, const char* what, const char* file, int line) {
    const bool holds = text != NULL && strcmp(text, expected) == 0;
    if (!holds)
        fprintf(stderr, "%s is \"%s\", not \"%s\"\n", what, text != NULL ? text : "NULL", expected);
    return checkAt(holds, what, file, line);
}

static void freeError(void) {
    opcraft_error_free(error);
    error = NULL;
}

bool checkDone(bool done, const char* what, const char* file, int line) {
    if (error != NULL)
        fprintf(stderr, "%s: %s\n", opcraft_error_kind_name(error->kind), error->message);
    checkAt(done, what, file, line);
    freeError();
    return done;
}

bool checkRefused(bool done, opcraft_error_kind kind, const char* what, const char* file, int line) {
    const bool holds = !done && error != NULL && error->kind == kind && error->message[0] != '\0';
    if (!holds)
        fprintf(stderr, "%s: %s\n", error != NULL ? opcraft_error_kind_name(error->kind) : "no error",
                error != NULL ? error->message : "");
    checkAt(holds, what, file, line);
    freeError();
    return holds;
}

opcraft_package* openLetter(opcraft_store** store) {
    opcraft_package* package = NULL;
    *store = opcraft_store_new_memory(letter, letterLength, NULL, &error);
    if (DONE(*store != NULL))
        package = opcraft_package_open(*store, OPCRAFT_MODE_CHANGE, NULL, &error);
    DONE(package != NULL);
    return package;
}

void closeLetter(opcraft_package* package, opcraft_store* store) {
    opcraft_package_free(package);
    opcraft_store_free(store);
}

const char* pathOf(const char* name) {
    static char path[512];
    snprintf(path, sizeof path, "%s/%s", folder, name);
    return path;
}

const char* copyLetter(const char* name) {
    const char* path = pathOf(name);
    FILE* file = fopen(path, "wb");
    CHECK(file != NULL && fwrite(letter, 1, letterLength, file) == letterLength && fclose(file) == 0);
    return path;
}

int countFiles(void) {
    DIR* files = opendir(folder);
    int count = 0;
    while (files != NULL && readdir(files) != NULL)
        ++count;
    closedir(files);
    return count - 2; /* "." and ".." */
}

static void removeFolder(void) {
    DIR* files = opendir(folder);
    const struct dirent* each;
    while (files != NULL && (each = readdir(files)) != NULL)
        unlink(pathOf(each->d_name));
    closedir(files);
    rmdir(folder);
}

static const struct {
    const char* name;
    void (*run)(void);
} tests[] = {
    {"arguments", testArguments},
    {"structures", testStructures},
    {"packages", testPackages},
    {"errors", testErrors},
    {"lifetimes", testLifetimes},
    {"callbacks", testCallbacks},
    {"failing-callbacks", testFailingCallbacks},
    {"cancelling", testCancelling},
    {"memory-faults", testMemoryFaults},
    {"findings", testFindings},
    {"comparing", testComparing},
    {"signing", testSigning},
    {"verifying", testVerifying},
};

int main(int argc, char** argv) {
    bool ran = false;
    FILE* file = argc == 3 ? fopen(argv[2], "rb") : NULL;
    if (file == NULL || mkdtemp(folder) == NULL)
        return 2;
    letterLength = fread(letter, 1, sizeof letter, file);
    fclose(file);
    for (size_t i = 0; i != sizeof tests / sizeof *tests; ++i)
        if (strcmp(argv[1], tests[i].name) == 0) {
            tests[i].run();
            ran = true;
        }
    removeFolder();
    return !ran || failures != 0;
}
