/* SPDX-License-Identifier: Apache-2.0 */
/* list-parts FILE: prints every part of a package with its size and content type, and where its relationships lead. */
#include <opcraft/opcraft.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

/* Where something in the content of the package is wrong, an error tells the place. */
static void print_error(const opcraft_error* error) {
    fprintf(stderr, "%s: %s\n", opcraft_error_kind_name(error->kind), error->message);
    if (error->item != NULL)
        fprintf(stderr, "  in %s, line %" PRIu64 ", column %" PRIu64 "\n", error->item, error->line, error->column);
    if (error->attribute != NULL)
        fprintf(stderr, "  attribute %s: \"%s\"\n", error->attribute, error->value != NULL ? error->value : "");
}

static bool print_relationships(const opcraft_package* package, const char* source, opcraft_error** error) {
    opcraft_relationship_list* list = opcraft_package_list_relationships(package, source, error);
    if (list == NULL)
        return false;
    for (size_t i = 0; i != list->count; ++i) {
        const opcraft_relationship* each = list->relationships[i];
        printf("    %s -> %s%s\n", each->id, each->resolved != NULL ? each->resolved : each->target,
               each->dangling ? " (missing)" : "");
    }
    opcraft_relationship_list_free(list);
    return true;
}

static bool print_parts(const opcraft_package* package, opcraft_error** error) {
    opcraft_part_list* list = opcraft_package_list_parts(package, error);
    bool done = list != NULL && print_relationships(package, "/", error);
    for (size_t i = 0; done && i != list->count; ++i) {
        const opcraft_part* part = list->parts[i];
        printf("%10" PRIu64 "  %s  %s\n", part->length, part->name, part->content_type);
        done = print_relationships(package, part->name, error);
    }
    opcraft_part_list_free(list);
    return done;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: list-parts FILE\n");
        return EXIT_FAILURE;
    }
    opcraft_error* error = NULL;
    opcraft_store* store = opcraft_store_new_file(argv[1], NULL, &error);
    opcraft_package* package = store != NULL ? opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error) : NULL;
    const bool done = package != NULL && print_parts(package, &error);
    if (!done)
        print_error(error);

    /* Every function that frees takes NULL. */
    opcraft_error_free(error);
    opcraft_package_free(package);
    opcraft_store_free(store);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
