/* SPDX-License-Identifier: Apache-2.0 */
#ifndef OPCRAFT_TESTS_C_CHECK_H
#define OPCRAFT_TESTS_C_CHECK_H

/* What the tests of the C interface share. They are in C, as its users are. */

#include <opcraft/opcraft.h>

#include <stdbool.h>
#include <stddef.h>

/* Counts a failure, and says where. */
bool checkAt(bool holds, const char* what, const char* file, int line);
#define CHECK(condition) checkAt((condition), #condition, __FILE__, __LINE__)
bool checkText(const char* text, const char* expected, const char* what, const char* file, int line);
#define CHECK_TEXT(text, expected) checkText((text), (expected), #text, __FILE__, __LINE__)

/* Calls store their error here. */
extern opcraft_error* error;

/* A call that succeeds, and one that fails by an error of a kind; both free the error. */
bool checkDone(bool done, const char* what, const char* file, int line);
#define DONE(call) checkDone((call) && error == NULL, #call, __FILE__, __LINE__)
bool checkRefused(bool done, opcraft_error_kind kind, const char* what, const char* file, int line);
#define REFUSED(KIND, call) checkRefused((call), OPCRAFT_ERROR_##KIND, #call, __FILE__, __LINE__)

/* The letter of examples/ as a package in memory, open for a change; its store is freed by closeLetter. */
opcraft_package* openLetter(opcraft_store** store);
void closeLetter(opcraft_package* package, opcraft_store* store);

/* The path of a file in a folder of this test alone. */
const char* pathOf(const char* name);
/* Writes examples/letter.docx to such a file. */
const char* copyLetter(const char* name);
/* The number of files in the folder. */
int countFiles(void);

/* The tests. */
void testArguments(void);
void testStructures(void);
void testPackages(void);
void testErrors(void);
void testLifetimes(void);
void testCallbacks(void);
void testFailingCallbacks(void);
void testCancelling(void);
void testMemoryFaults(void);
void testFindings(void);
void testComparing(void);
void testSigning(void);
void testVerifying(void);

#endif
