/* SPDX-License-Identifier: Apache-2.0 */
/* What functions do with a package in memory and in a file, which errors they have, and how long things live. */
#include "check.h"

#include <stdlib.h>
#include <string.h>

static const opcraft_part* findPart(const opcraft_part_list* list, const char* name) {
    for (size_t i = 0; i != list->count; ++i)
        if (strcmp(list->parts[i]->name, name) == 0)
            return list->parts[i];
    return NULL;
}

static void checkParts(const opcraft_package* package) {
    opcraft_part_list* list = opcraft_package_list_parts(package, &error);
    if (!DONE(list != NULL))
        return;
    const opcraft_part* document = findPart(list, "/word/letter.xml");
    const opcraft_part* note = findPart(list, "/gr%C3%BC%C3%9Fe.xml");
    CHECK(list->count == 5 && list->parts[5] == NULL && list->item_count == 0);
    if (CHECK(document != NULL && note != NULL)) {
        CHECK(document->length == 1751 && document->stored_length < 1751 && document->relationships == 4);
        CHECK(note->length == 200000 && note->relationships == 0);
        CHECK_TEXT(note->content_type, "application/xml;charset=utf-8");
    }
    opcraft_part_list_free(list);
}

static void checkRelationships(opcraft_package* package, const char* id) {
    static const opcraft_relationship expected[] = {
        {0, "/word/letter.xml", "rId1", NULL, "styles.xml", "/word/styles.xml", false, true},
        {0, "/word/letter.xml", "rId2", NULL, "media/bar.png", "/word/media/bar.png", false, false},
        {0, "/word/letter.xml", "rId9", NULL, "http://example.org/\xC3\xBC", "http://example.org/%C3%BC", true, false},
        {0, "/word/letter.xml", "", NULL, "../gr%C3%BC%C3%9Fe.xml", "/gr%C3%BC%C3%9Fe.xml", false, false},
    };
    opcraft_relationship_list* all = opcraft_package_list_relationships(package, NULL, &error);
    opcraft_relationship_list* list = opcraft_package_list_relationships(package, "/word/letter.xml", &error);
    if (DONE(all != NULL && list != NULL) && CHECK(list->count == 4 && all->count == 4 + 3)) {
        for (size_t i = 0, found = 0; i != list->count; ++i, found = 0) {
            const opcraft_relationship* each = list->relationships[i];
            for (size_t j = 0; j != 4; ++j)
                if (strcmp(each->id, expected[j].id[0] != '\0' ? expected[j].id : id) == 0) {
                    CHECK_TEXT(each->source, expected[j].source);
                    CHECK_TEXT(each->target, expected[j].target);
                    CHECK_TEXT(each->resolved, expected[j].resolved);
                    CHECK(each->external == expected[j].external && each->dangling == expected[j].dangling);
                    ++found;
                }
            CHECK(found == 1);
        }
    }
    opcraft_relationship_list_free(list);
    opcraft_relationship_list_free(all);
}

static void checkProperties(const opcraft_package* package) {
    opcraft_property_list* list = opcraft_package_list_properties(package, &error);
    if (!DONE(list != NULL))
        return;
    CHECK_TEXT(list->part, "/docProps/core.xml");
    if (CHECK(list->count == 4)) { /* the creator is deleted, created as it was */
        const opcraft_property* const* of = list->properties;
        CHECK_TEXT(of[0]->name, "created");
        CHECK_TEXT(of[0]->value, "2026-01-31T10:00:00Z");
        CHECK_TEXT(of[1]->name, "keywords");
        CHECK(of[1]->kind == OPCRAFT_PROPERTY_KEYWORDS && of[1]->value == NULL && of[1]->keyword_count == 2);
        CHECK_TEXT(of[1]->keywords[1]->text, "Bericht");
        CHECK_TEXT(of[1]->keywords[1]->language, "de");
        CHECK(of[1]->keywords[0]->language == NULL);
        CHECK(of[2]->kind == OPCRAFT_PROPERTY_TIME);
        CHECK_TEXT(of[2]->value, "2026-11-22T22:30:00Z");
        CHECK_TEXT(of[3]->value, "Gr\xC3\xBC\xC3\x9F"
                                 "e");
    }
    opcraft_property_list_free(list);
}

static void setProperties(opcraft_package* package) {
    const opcraft_keyword plain = {sizeof plain, "report", NULL};
    const opcraft_keyword german = {sizeof german, "Bericht", "de"};
    const opcraft_keyword* const keywords[] = {&plain, &german};
    const opcraft_property values[] = {
        {sizeof *values, "title", OPCRAFT_PROPERTY_TEXT,
         "Gr\xC3\xBC\xC3\x9F"
         "e",
         0, NULL},
        {sizeof *values, "creator", OPCRAFT_PROPERTY_TEXT, NULL, 0, NULL},
        {sizeof *values, "modified", OPCRAFT_PROPERTY_TIME, "2026-11-23T00:30+02:00", 0, NULL},
        {sizeof *values, "keywords", OPCRAFT_PROPERTY_KEYWORDS, NULL, 2, keywords},
    };
    const opcraft_property* const changes[] = {&values[0], &values[1], &values[2], &values[3]};
    DONE(opcraft_package_set_properties(package, changes, 4, &error));
}

static void writeInBlocks(opcraft_package* package, const char* name) {
    char block[1000];
    memset(block, 'x', sizeof block);
    opcraft_writer* writer = opcraft_part_rewrite(package, name, &error);
    DONE(writer != NULL);
    for (int i = 0; i != 200; ++i)
        DONE(opcraft_writer_write(writer, block, sizeof block, &error));
    DONE(opcraft_writer_close(writer, &error));
    DONE(opcraft_writer_close(writer, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_writer_write(writer, block, 1, &error));
    opcraft_writer_free(writer);
}

static void checkReading(const opcraft_package* package) {
    static const char name[] = "/gr\xC3\xBC\xC3\x9F"
                               "e.xml";
    char block[4096];
    size_t length = 1, total = 0;
    opcraft_reader* reader = opcraft_part_open(package, name, &error);
    DONE(reader != NULL);
    REFUSED(STORE_IN_USE, opcraft_part_read(package, name, 0, &error));
    while (length != 0 && DONE(opcraft_reader_read(reader, block, sizeof block, &length, &error)))
        total += length;
    CHECK(total == 200000);
    opcraft_reader_free(reader);
    opcraft_bytes* bytes = opcraft_part_read(package, name, 200000, &error);
    if (DONE(bytes != NULL))
        CHECK(bytes->length == 200000 && strspn((const char*)bytes->data, "x") == 200000);
    opcraft_bytes_free(bytes);
    REFUSED(LIMIT_EXCEEDED, opcraft_part_read(package, name, 199999, &error));
    bytes = opcraft_part_read(package, "/docProps/app.xml", 0, &error);
    CHECK(DONE(bytes != NULL) && bytes->length == 0 && bytes->data != NULL && bytes->data[0] == 0);
    opcraft_bytes_free(bytes);
}

void testPackages(void) {
    static const char type[] = "application/xml;charset=utf-8";
    opcraft_store* store;
    opcraft_package* package = openLetter(&store);
    bool has = true;
    DONE(opcraft_part_create(package,
                             "/gr\xC3\xBC\xC3\x9F"
                             "e.xml",
                             type, OPCRAFT_COMPRESSION_MAXIMUM, &error));
    writeInBlocks(package, "/gr\xC3\xBC\xC3\x9F"
                           "e.xml");
    DONE(opcraft_part_write(package, "/docProps/app.xml", NULL, 0, &error));
    DONE(opcraft_part_move(package, "/word/document.xml", "/word/letter.xml", &error));
    char* id = opcraft_relationship_create(package, "/word/letter.xml", "http://example.org/note",
                                           "/gr\xC3\xBC\xC3\x9F"
                                           "e.xml",
                                           false, NULL, &error);
    DONE(id != NULL);
    char* other = opcraft_relationship_create(package, "/word/letter.xml", "http://example.org/link",
                                              "http://example.org/\xC3\xBC", true, "rId9", &error);
    CHECK_TEXT(other, "rId9");
    opcraft_text_free(other);
    DONE(opcraft_relationship_delete(package, "/word/letter.xml", "rId3", &error));
    DONE(opcraft_part_delete(package, "/word/styles.xml", &error));
    DONE(opcraft_package_has_part(package, "/WORD/STYLES.XML", &has, &error));
    CHECK(!has);
    setProperties(package);
    DONE(opcraft_package_close(package, &error));
    opcraft_package_free(package);

    /* what was saved, in a store of its own */
    size_t length = 0;
    const void* data = opcraft_store_data(store, &length);
    opcraft_store* copy = opcraft_store_new_memory(data, length, NULL, &error);
    opcraft_store_free(store);
    opcraft_open_options tolerant = {sizeof tolerant, true};
    for (int i = 0; i != 2; ++i) {
        package = opcraft_package_open(copy, OPCRAFT_MODE_READ, i == 0 ? NULL : &tolerant, &error);
        DONE(package != NULL);
        DONE(opcraft_package_has_part(package, "/Gr%c3%bc%C3%9FE.xml", &has, &error));
        CHECK(has);
        checkParts(package);
        checkRelationships(package, id);
        checkProperties(package);
        checkReading(package);
        opcraft_package_free(package);
    }
    opcraft_text_free(id);
    opcraft_store_free(copy);
}

/* A store with the letter in which the relationships of the package are other ones. */
static opcraft_store* breakRelationships(const char* relationships) {
    opcraft_store* store;
    opcraft_package* package = openLetter(&store);
    /* A part by the name of relationships cannot be made by a package: one of the same length is renamed. */
    DONE(opcraft_part_create(package, "/word/_rels_styles.xml.rels",
                             "application/vnd.openxmlformats-package.relationships+xml", OPCRAFT_COMPRESSION_NONE,
                             &error));
    DONE(opcraft_part_write(package, "/word/_rels_styles.xml.rels", relationships, strlen(relationships), &error));
    DONE(opcraft_package_close(package, &error));
    size_t length = 0;
    const char* data = opcraft_store_data(store, &length);
    char* bytes = malloc(length);
    memcpy(bytes, data, length);
    for (size_t i = 0; i + 21 < length; ++i)
        if (memcmp(bytes + i, "_rels_styles.xml.rels", 21) == 0)
            bytes[i + 5] = '/';
    closeLetter(package, store);
    store = opcraft_store_new_memory(bytes, length, NULL, &error);
    free(bytes);
    return store;
}

void testErrors(void) {
    static const struct {
        opcraft_error_kind kind;
        int systemError;
        const char *data, *path;
    } unopened[] = {
        {OPCRAFT_ERROR_DAMAGED_STORE, 74, "no package", NULL},
        {OPCRAFT_ERROR_DAMAGED_STORE, 74, "", NULL},
        {OPCRAFT_ERROR_PACKAGE_NOT_FOUND, 0, NULL, "/nowhere/\xFF.docx"},
        {OPCRAFT_ERROR_INVALID_ARGUMENT, 22, NULL, ""},
        {OPCRAFT_ERROR_DAMAGED_STORE, 74, NULL, "/dev/null"},
    };
    for (size_t i = 0; i != sizeof unopened / sizeof *unopened; ++i) {
        opcraft_store* store = unopened[i].path != NULL
                                   ? opcraft_store_new_file(unopened[i].path, NULL, &error)
                                   : opcraft_store_new_memory(unopened[i].data, strlen(unopened[i].data), NULL, &error);
        CHECK(opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error) == NULL);
        CHECK_TEXT(opcraft_error_kind_name(error->kind), opcraft_error_kind_name(unopened[i].kind));
        CHECK(error->system_error == unopened[i].systemError && error->item == NULL && error->line == 0);
        CHECK(strchr(error->message, '\xFF') == NULL);
        opcraft_error_free(error);
        opcraft_store_free(store);
    }

    /* the place of an error */
    opcraft_store* store =
        breakRelationships("<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">\n"
                           "  <Relationship Id=\"a1\" Type=\"http://example.org/t\" Target=\"x y\"/></Relationships>");
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error);
    if (CHECK(package == NULL && error != NULL)) {
        CHECK(error->size == sizeof *error && error->kind == OPCRAFT_ERROR_INVALID_RELATIONSHIP_CONTENT);
        CHECK(error->line == 2);
        CHECK_TEXT(error->item, "/word/_rels/styles.xml.rels");
        CHECK_TEXT(error->element, "Relationship");
        CHECK_TEXT(error->attribute, "Target");
        CHECK_TEXT(error->value, "x y");
        CHECK_TEXT(error->id, "a1");
    }
    opcraft_error_free(error);
    const opcraft_open_options tolerant = {sizeof tolerant, true};
    package = opcraft_package_open(store, OPCRAFT_MODE_READ, &tolerant, &error);
    DONE(package != NULL);
    REFUSED(PACKAGE_READ_ONLY, opcraft_part_delete(package, "/word/styles.xml", &error));
    closeLetter(package, store);

    package = openLetter(&store);
    REFUSED(INVALID_PART_NAME, opcraft_part_content_type(package, "word/document.xml", &error));
    REFUSED(INVALID_URI, opcraft_part_content_type(package, "/a b", &error));
    REFUSED(PART_NOT_FOUND, opcraft_part_read(package, "/none.xml", 0, &error));
    REFUSED(PART_NOT_FOUND, opcraft_package_list_relationships(package, "/none.xml", &error));
    REFUSED(INVALID_CONTENT_TYPE, opcraft_part_create(package, "/a", "text", OPCRAFT_COMPRESSION_NORMAL, &error));
    REFUSED(PART_ALREADY_EXISTS,
            opcraft_part_create(package, "/WORD/styles.xml", "a/b", OPCRAFT_COMPRESSION_NORMAL, &error));
    REFUSED(RELATIONSHIP_NOT_FOUND, opcraft_relationship_delete(package, "/", "rId99", &error));
    REFUSED(RELATIONSHIP_ALREADY_EXISTS, opcraft_relationship_create(package, "/", "t", "/a", false, "rId1", &error));
    REFUSED(INVALID_RELATIONSHIP_ID, opcraft_relationship_create(package, "/", "t", "/a", false, "1", &error));
    closeLetter(package, store);
    CHECK_TEXT(opcraft_error_kind_name((opcraft_error_kind)9999), "Other");
}

void testLifetimes(void) {
    opcraft_store* store;
    opcraft_package* package = openLetter(&store);
    char byte;
    size_t length;
    opcraft_reader* reader = opcraft_part_open(package, "/word/document.xml", &error);
    opcraft_writer* writer = opcraft_part_rewrite(package, "/word/styles.xml", &error);
    opcraft_reader* ofProperties = opcraft_part_open(package, "/docProps/core.xml", &error);
    DONE(reader != NULL && writer != NULL && ofProperties != NULL);
    REFUSED(STORE_IN_USE, opcraft_package_set_properties(package, NULL, 0, &error));
    opcraft_reader_free(ofProperties);
    REFUSED(STORE_IN_USE, opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error));
    REFUSED(STORE_IN_USE, opcraft_part_move(package, "/word/document.xml", "/a.xml", &error));
    REFUSED(STORE_IN_USE, opcraft_part_delete(package, "/word/document.xml", &error));
    REFUSED(STORE_IN_USE, opcraft_part_write(package, "/word/styles.xml", "", 0, &error));
    REFUSED(STORE_IN_USE, opcraft_package_close(package, &error));
    opcraft_part_list* list = opcraft_package_list_parts(package, &error);
    opcraft_package_free(package);
    REFUSED(INVALID_OBJECT, opcraft_reader_read(reader, &byte, 1, &length, &error));
    REFUSED(INVALID_OBJECT, opcraft_writer_write(writer, "x", 1, &error));

    /* The store is free again, and a closed package does not hold it either. */
    opcraft_package* second = opcraft_package_open(store, OPCRAFT_MODE_CHANGE, NULL, &error);
    DONE(second != NULL);
    DONE(opcraft_package_close(second, &error));
    REFUSED(PACKAGE_NOT_OPEN, opcraft_package_list_parts(second, &error));
    REFUSED(PACKAGE_NOT_OPEN, opcraft_part_read(second, "/word/document.xml", 0, &error));
    opcraft_package* third = opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error);
    DONE(third != NULL);
    opcraft_package_free(second);
    REFUSED(STORE_IN_USE, opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error));
    closeLetter(third, store);

    CHECK_TEXT(list->parts[0]->name, "/docProps/app.xml"); /* a result outlives all of it */
    opcraft_part_list_free(list);
    opcraft_reader_free(reader);
    opcraft_writer_free(writer);
}
