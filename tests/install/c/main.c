/* SPDX-License-Identifier: Apache-2.0 */
#include <opcraft/opcraft.h>

#include <stdio.h>

/* main PACKAGE: how many parts it has. */
int main(int argc, char** argv) {
    opcraft_error* error = NULL;
    opcraft_store* store = opcraft_store_new_file(argc > 1 ? argv[1] : "", NULL, &error);
    opcraft_package* package = store != NULL ? opcraft_package_open(store, OPCRAFT_MODE_READ, NULL, &error) : NULL;
    opcraft_part_list* parts = package != NULL ? opcraft_package_list_parts(package, &error) : NULL;
    int failed = parts == NULL;
    if (failed)
        fprintf(stderr, "%s: %s\n", opcraft_error_kind_name(error->kind), error->message);
    else
        printf("%u parts by version %s\n", (unsigned)parts->count, opcraft_version());
    opcraft_error_free(error);
    opcraft_part_list_free(parts);
    opcraft_package_free(package);
    opcraft_store_free(store);
    return failed;
}
