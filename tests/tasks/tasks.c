/* SPDX-License-Identifier: Apache-2.0 */
/* The tasks of TASKS.md in C. */
#include <opcraft/opcraft.h>

#include <openssl/evp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define DOCUMENT "/word/document.xml"
#define OFFICE_DOCUMENT "http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument"

static opcraft_error* error;

/* Ends the program unless a call was done. */
static void must(bool done) {
    if (done)
        return;
    fprintf(stderr, "%s: %s\n", opcraft_error_kind_name(error->kind), error->message);
    exit(EXIT_FAILURE);
}

static opcraft_store* newStore(const char* file, const char* output) {
    const opcraft_store_options options = {.size = sizeof options, .output = output};
    opcraft_store* store = opcraft_store_new_file(file, &options, &error);
    must(store != NULL);
    return store;
}

struct opened {
    opcraft_store* store;
    opcraft_package* package;
};

static struct opened openPackage(const char* file, opcraft_mode mode, const char* output) {
    struct opened opened = {newStore(file, output), NULL};
    opened.package = opcraft_package_open(opened.store, mode, NULL, &error);
    must(opened.package != NULL);
    return opened;
}

static struct opened readPackage(const char* file) {
    return openPackage(file, OPCRAFT_MODE_READ, NULL);
}

/* Saves what was changed. */
static void closePackage(struct opened opened) {
    must(opcraft_package_close(opened.package, &error));
    opcraft_package_free(opened.package);
    opcraft_store_free(opened.store);
}

static opcraft_part_list* listParts(struct opened opened) {
    opcraft_part_list* list = opcraft_package_list_parts(opened.package, &error);
    must(list != NULL);
    return list;
}

static opcraft_relationship_list* listRelationships(struct opened opened, const char* source) {
    opcraft_relationship_list* list = opcraft_package_list_relationships(opened.package, source, &error);
    must(list != NULL);
    return list;
}

static opcraft_bytes* readPart(struct opened opened, const char* name) {
    opcraft_bytes* bytes = opcraft_part_read(opened.package, name, 0, &error);
    must(bytes != NULL);
    return bytes;
}

static void createPart(struct opened opened, const char* name, const char* type, const void* data, size_t length) {
    must(opcraft_part_create(opened.package, name, type, OPCRAFT_COMPRESSION_NORMAL, &error));
    must(opcraft_part_write(opened.package, name, data, length, &error));
}

static void relate(struct opened opened, const char* source, const char* type, const char* target) {
    char* id = opcraft_relationship_create(opened.package, source, type, target, false, NULL, &error);
    must(id != NULL);
    opcraft_text_free(id);
}

/* A text with ", " in front of it but for the first. */
static void printNext(size_t index, const char* text) {
    printf("%s%s", index == 0 ? "" : ", ", text);
}

static void printPartCount(struct opened opened) {
    opcraft_part_list* list = listParts(opened);
    printf("%zu", list->count);
    opcraft_part_list_free(list);
}

static void countParts(void) {
    const struct opened letter = readPackage("letter.docx");
    printPartCount(letter);
    closePackage(letter);
}

static void listNamesAndTypes(void) {
    const struct opened letter = readPackage("letter.docx");
    opcraft_part_list* list = listParts(letter);
    for (size_t i = 0; i != list->count; ++i) {
        printNext(i, list->parts[i]->name);
        printf(" %s", list->parts[i]->content_type);
    }
    opcraft_part_list_free(list);
    closePackage(letter);
}

static void readText(void) {
    const struct opened letter = readPackage("letter.docx");
    opcraft_bytes* bytes = readPart(letter, "/docProps/app.xml");
    size_t end = bytes->length;
    while (end != 0 && bytes->data[end - 1] == '\n')
        --end;
    size_t begin = end;
    while (begin != 0 && bytes->data[begin - 1] != '\n')
        --begin;
    printf("%zu, %.*s", bytes->length, (int)(end - begin), (const char*)bytes->data + begin);
    opcraft_bytes_free(bytes);
    closePackage(letter);
}

static void stream(void) {
    const size_t size = 10000000;
    unsigned char* data = malloc(size);
    unsigned char block[65536], digest[32];
    size_t length = 1;
    for (size_t i = 0; i != size; ++i)
        data[i] = (unsigned char)(i % 251);
    struct opened package = openPackage("large.zip", OPCRAFT_MODE_CREATE, NULL);
    createPart(package, "/large.bin", "application/octet-stream", data, size);
    closePackage(package);
    free(data);

    package = readPackage("large.zip");
    opcraft_reader* reader = opcraft_part_open(package.package, "/large.bin", &error);
    must(reader != NULL);
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, EVP_sha256(), NULL);
    while (length != 0) {
        must(opcraft_reader_read(reader, block, sizeof block, &length, &error));
        EVP_DigestUpdate(context, block, length);
    }
    EVP_DigestFinal_ex(context, digest, NULL);
    EVP_MD_CTX_free(context);
    opcraft_reader_free(reader);
    closePackage(package);
    for (size_t i = 0; i != sizeof digest; ++i)
        printf("%02x", digest[i]);
}

static void create(void) {
    struct opened package = openPackage("new.zip", OPCRAFT_MODE_CREATE, NULL);
    createPart(package, "/hello.txt", "text/plain", "Hello, world!", 13);
    relate(package, "/", "http://example.org/hello", "/hello.txt");
    closePackage(package);
    package = readPackage("new.zip");
    opcraft_relationship_list* list = listRelationships(package, "/");
    for (size_t i = 0; i != list->count; ++i) {
        opcraft_bytes* bytes = readPart(package, list->relationships[i]->resolved);
        printf("%s, %s, %s", list->relationships[i]->id, list->relationships[i]->resolved, (const char*)bytes->data);
        opcraft_bytes_free(bytes);
    }
    opcraft_relationship_list_free(list);
    closePackage(package);
}

static void add(void) {
    struct opened package = openPackage("letter.docx", OPCRAFT_MODE_CHANGE, "added.docx");
    createPart(package, "/customXml/item1.xml", "application/xml", "<item/>", 7);
    relate(package, DOCUMENT, "http://example.org/item", "/customXml/item1.xml");
    closePackage(package);
    package = readPackage("added.docx");
    opcraft_relationship_list* list = listRelationships(package, DOCUMENT);
    for (size_t i = 0; i != list->count; ++i)
        if (strcmp(list->relationships[i]->type, "http://example.org/item") == 0)
            printf("%s, %s, ", list->relationships[i]->id, list->relationships[i]->target);
    opcraft_relationship_list_free(list);
    printPartCount(package);
    closePackage(package);
}

static void change(void) {
    static const char item[] = "<item>Gr\xC3\xBC\xC3\x9F"
                               "e</item>";
    struct opened package = openPackage("added.docx", OPCRAFT_MODE_CHANGE, NULL);
    must(opcraft_part_write(package.package, "/customXml/item1.xml", item, sizeof item - 1, &error));
    closePackage(package);
    package = readPackage("added.docx");
    opcraft_bytes* bytes = readPart(package, "/customXml/item1.xml");
    printf("%s", (const char*)bytes->data);
    opcraft_bytes_free(bytes);
    closePackage(package);
}

static void deletePart(void) {
    struct opened package = openPackage("letter.docx", OPCRAFT_MODE_CHANGE, "deleted.docx");
    must(opcraft_part_delete(package.package, "/word/media/bar.png", &error));
    must(opcraft_relationship_delete(package.package, DOCUMENT, "rId2", &error));
    closePackage(package);
    package = readPackage("deleted.docx");
    opcraft_relationship_list* list = listRelationships(package, DOCUMENT);
    printPartCount(package);
    printf(", %zu", list->count);
    opcraft_relationship_list_free(list);
    closePackage(package);
}

static void findMainDocument(void) {
    const struct opened letter = readPackage("letter.docx");
    opcraft_relationship_list* list = listRelationships(letter, "/");
    for (size_t i = 0; i != list->count; ++i)
        if (strcmp(list->relationships[i]->type, OFFICE_DOCUMENT) == 0) {
            const char* name = list->relationships[i]->resolved;
            char* type = opcraft_part_content_type(letter.package, name, &error);
            must(type != NULL);
            printf("%s %s", name, type);
            opcraft_text_free(type);
        }
    opcraft_relationship_list_free(list);
    closePackage(letter);
}

static const opcraft_property* findProperty(const opcraft_property_list* list, const char* name) {
    for (size_t i = 0; i != list->count; ++i)
        if (strcmp(list->properties[i]->name, name) == 0)
            return list->properties[i];
    return NULL;
}

static void printProperties(const char* file) {
    static const char* const names[] = {"title", "creator", "created", "modified"};
    const struct opened package = readPackage(file);
    opcraft_property_list* list = opcraft_package_list_properties(package.package, &error);
    must(list != NULL);
    for (size_t i = 0; i != 4; ++i)
        printNext(i, findProperty(list, names[i])->value);
    const opcraft_property* keywords = findProperty(list, "keywords");
    for (size_t i = 0; keywords != NULL && i != keywords->keyword_count; ++i)
        printf(", %s, %s", keywords->keywords[i]->text, keywords->keywords[i]->language);
    opcraft_property_list_free(list);
    closePackage(package);
}

static void readProperties(void) {
    printProperties("letter.docx");
}

static void setProperties(void) {
    const opcraft_keyword keyword = {sizeof keyword, "note", "en"};
    const opcraft_keyword* const list[] = {&keyword};
    const opcraft_property title = {.size = sizeof title,
                                    .name = "title",
                                    .value = "Gr\xC3\xBC\xC3\x9F"
                                             "e"};
    const opcraft_property modified = {.size = sizeof modified, .name = "modified", .value = "2026-02-03T04:05:06Z"};
    const opcraft_property keywords = {
        .size = sizeof keywords, .name = "keywords", .keyword_count = 1, .keywords = list};
    const opcraft_property* const changes[] = {&title, &modified, &keywords};
    const struct opened package = openPackage("letter.docx", OPCRAFT_MODE_CHANGE, "titled.docx");
    must(opcraft_package_set_properties(package.package, changes, 3, &error));
    closePackage(package);
    printProperties("titled.docx");
}

static void examine(const char* file) {
    opcraft_store* store = newStore(file, NULL);
    opcraft_finding_list* list = opcraft_lint(store, NULL, &error);
    must(list != NULL);
    for (size_t i = 0; i != list->count; ++i)
        printNext(i, list->findings[i]->rule->name);
    opcraft_finding_list_free(list);
    opcraft_store_free(store);
}

static void lint(void) {
    const struct opened package = openPackage("letter.docx", OPCRAFT_MODE_CHANGE, "broken.docx");
    relate(package, DOCUMENT, "http://example.org/broken", "/word/Media/bar.png");
    relate(package, DOCUMENT, "http://example.org/broken", "/word/gone.xml");
    closePackage(package);
    examine("broken.docx");
}

static void repair(void) {
    const opcraft_repair_options options = {.size = sizeof options, .apply = true};
    opcraft_store* store = newStore("broken.docx", NULL);
    opcraft_repair_plan* plan = opcraft_repair(store, &options, &error);
    must(plan != NULL);
    for (size_t i = 0; i != plan->step_count; ++i)
        if (plan->steps[i]->applies)
            printf("%s, ", plan->steps[i]->finding->rule->name);
    opcraft_repair_plan_free(plan);
    opcraft_store_free(store);
    printf("left: ");
    examine("broken.docx");
}

static void diff(void) {
    static const char* const kinds[] = {"added", "removed", "renamed", "changed"};
    opcraft_store* before = newStore("letter.docx", NULL);
    opcraft_store* after = newStore("added.docx", NULL);
    opcraft_difference_report* report = opcraft_compare(before, after, NULL, &error);
    must(report != NULL);
    for (size_t i = 0; i != report->part_count; ++i) {
        const opcraft_part_difference* part = report->parts[i];
        printNext(i, kinds[part->kind]);
        printf(" %s", part->name_after != NULL ? part->name_after : part->name_before);
    }
    for (size_t i = 0; i != report->relationship_count; ++i) {
        const opcraft_relationship_difference* relationship = report->relationships[i];
        printNext(report->part_count + i, kinds[relationship->kind]);
        printf(" %s %s", relationship->source, relationship->target);
    }
    opcraft_difference_report_free(report);
    opcraft_store_free(before);
    opcraft_store_free(after);
}

struct file {
    char data[8192];
    size_t length;
};

static struct file readFile(const char* name) {
    struct file file = {{0}, 0};
    FILE* from = fopen(name, "rb");
    if (from != NULL)
        file.length = fread(file.data, 1, sizeof file.data, from);
    if (from == NULL || fclose(from) != 0)
        exit(EXIT_FAILURE);
    return file;
}

/* @param isShort whether the first word is enough. */
static void verify(const struct file* certificate, bool isShort) {
    const opcraft_verify_options options = {
        .size = sizeof options, .trust = certificate->data, .trust_length = certificate->length};
    opcraft_store* store = newStore("signed.docx", NULL);
    opcraft_verification* verification = opcraft_verify(store, &options, &error);
    must(verification != NULL);
    for (size_t i = 0; i != verification->signature_count; ++i) {
        const opcraft_signature* signature = verification->signatures[i];
        const bool isValid = signature->holds && signature->voucher == OPCRAFT_VOUCHER_TRUSTED_CERTIFICATE;
        printf("%s", isValid ? "valid" : "invalid");
        if (!isShort)
            printf(", %s, %s, ", signature->subject, signature->complete ? "complete" : "incomplete");
    }
    opcraft_verification_free(verification);
    opcraft_store_free(store);
}

static void sign(void) {
    const struct file key = readFile("key.pem"), certificate = readFile("cert.pem");
    const opcraft_sign_options options = {.size = sizeof options,
                                          .key = key.data,
                                          .key_length = key.length,
                                          .certificate = certificate.data,
                                          .certificate_length = certificate.length};
    opcraft_store* store = newStore("letter.docx", "signed.docx");
    opcraft_sign_result* result = opcraft_sign(store, &options, &error);
    must(result != NULL);
    opcraft_sign_result_free(result);
    opcraft_store_free(store);
    verify(&certificate, false);
    const struct opened package = openPackage("signed.docx", OPCRAFT_MODE_CHANGE, NULL);
    must(opcraft_part_write(package.package, "/word/styles.xml", "<forged/>", 9, &error));
    closePackage(package);
    verify(&certificate, true);
}

int main(void) {
    static const struct {
        const char* name;
        void (*run)(void);
    } tasks[] = {
        {"count-parts", countParts},
        {"list-parts", listNamesAndTypes},
        {"read-text", readText},
        {"stream", stream},
        {"create", create},
        {"add", add},
        {"change", change},
        {"delete", deletePart},
        {"main-document", findMainDocument},
        {"read-properties", readProperties},
        {"set-properties", setProperties},
        {"lint", lint},
        {"repair", repair},
        {"diff", diff},
        {"sign", sign},
    };
    for (size_t i = 0; i != sizeof tasks / sizeof *tasks; ++i) {
        printf("%s: ", tasks[i].name);
        tasks[i].run();
        printf("\n");
    }
}
