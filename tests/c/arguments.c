/* SPDX-License-Identifier: Apache-2.0 */
/* What functions refuse of their arguments, and structures of other sizes. */
#include "check.h"

#include <stdlib.h>
#include <string.h>

void testArguments(void) {
    opcraft_store* store;
    opcraft_package* package = openLetter(&store);
    opcraft_writer* writer = opcraft_part_rewrite(package, "/word/styles.xml", &error);
    opcraft_property property = {sizeof property, "title", OPCRAFT_PROPERTY_TEXT, "T", 0, NULL};
    const opcraft_property* change = &property;
    char buffer[8];
    size_t length = 1;
    bool has;
    DONE(writer != NULL);
    /* NULL for each argument that has to be there */
    REFUSED(INVALID_ARGUMENT, opcraft_store_new_file(NULL, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_store_new_memory(NULL, 1, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_store_new_callbacks(NULL, NULL, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_open(NULL, OPCRAFT_MODE_READ, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_close(NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_list_parts(NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_has_part(NULL, "/a", &has, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_has_part(package, NULL, &has, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_has_part(package, "/a", NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_content_type(package, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_read(package, NULL, 0, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_open(package, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_reader_read(NULL, buffer, sizeof buffer, &length, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_create(package, NULL, "a/b", OPCRAFT_COMPRESSION_NORMAL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_create(package, "/a", NULL, OPCRAFT_COMPRESSION_NORMAL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_write(package, NULL, "", 1, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_write(package, "/docProps/app.xml", NULL, 1, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_rewrite(package, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_writer_write(NULL, "", 1, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_writer_write(writer, NULL, 1, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_writer_close(NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_delete(package, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_move(package, NULL, "/a", &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_move(package, "/word/document.xml", NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_set_content_type(package, "/word/document.xml", NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_list_relationships(NULL, "/", &error));
    REFUSED(INVALID_ARGUMENT, opcraft_relationship_create(package, NULL, "t", "/a", false, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_relationship_create(package, "/", NULL, "/a", false, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_relationship_create(package, "/", "t", NULL, false, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_relationship_set_target(package, "/", NULL, "/a", &error));
    REFUSED(INVALID_ARGUMENT, opcraft_relationship_set_target(package, "/", "rId1", NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_relationship_delete(package, "/", NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_list_properties(NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_package_set_properties(package, NULL, 1, &error));
    /* other values that are none */
    REFUSED(INVALID_ARGUMENT, opcraft_package_open(store, (opcraft_mode)7, NULL, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_create(package, "/a", "a/b", (opcraft_compression)7, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_part_read(package, "/\xC3", 0, &error));
    property.name = "titel";
    REFUSED(INVALID_ARGUMENT, opcraft_package_set_properties(package, &change, 1, &error));
    property.name = "created";
    REFUSED(INVALID_ARGUMENT, opcraft_package_set_properties(package, &change, 1, &error));
    property.name = "keywords";
    REFUSED(INVALID_ARGUMENT, opcraft_package_set_properties(package, &change, 1, &error));
    /* who does not ask for the error gets none */
    CHECK(!opcraft_part_delete(NULL, "/a", NULL));
    CHECK(opcraft_monitor_bytes_read(NULL) == 0 && opcraft_store_data(NULL, &length) == NULL && length == 0);
    opcraft_monitor_cancel(NULL);
    opcraft_error_free(NULL);
    opcraft_reader_free(NULL);
    opcraft_writer_free(writer);
    closeLetter(package, store);
}

void testStructures(void) {
    struct {
        opcraft_store_options known;
        char newer[16];
    } options = {{0}, {0}};
    opcraft_limits limits = {0};
    static const struct {
        size_t size;
        char beyond;
        bool taken;
    } rows[] = {
        {sizeof(opcraft_store_options), 1, true}, /* what is beyond the size is not read */
        {sizeof options, 0, true},                /* of a newer version, and not used */
        {sizeof options, 1, false},               /* used */
        {0, 0, false},
        {sizeof(size_t), 0, false},
        {sizeof(opcraft_store_options) - 1, 0, false},
        {(size_t)-1, 0, false},
    };
    for (size_t i = 0; i != sizeof rows / sizeof *rows; ++i) {
        options.known.size = rows[i].size;
        options.newer[15] = rows[i].beyond;
        opcraft_store* store = opcraft_store_new_memory("", 0, &options.known, &error);
        if (rows[i].taken)
            DONE(store != NULL);
        else
            REFUSED(INVALID_ARGUMENT, store);
        opcraft_store_free(store);
    }
    /* a structure in a structure */
    options.known.size = sizeof options.known;
    options.known.limits = &limits;
    REFUSED(INVALID_ARGUMENT, opcraft_store_new_memory("", 0, &options.known, &error));
    limits.size = sizeof limits;
    limits.items = 3;
    opcraft_store* store = opcraft_store_new_file(copyLetter("letter.docx"), &options.known, &error);
    if (DONE(store != NULL))
        REFUSED(LIMIT_EXCEEDED, opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error));
    opcraft_store_free(store);
}
