/* SPDX-License-Identifier: Apache-2.0 */
/* What is wrong with a package, how two differ, who signed one: the results, the errors, and what options need. */
#define _XOPEN_SOURCE 700
#include "check.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* A file that a test reads whole. */
typedef struct File {
    char data[8192];
    size_t length;
} File;

static File readFile(const char* name) {
    File file = {{0}, 0};
    FILE* stream = fopen(pathOf(name), "rb");
    if (CHECK(stream != NULL)) {
        file.length = fread(file.data, 1, sizeof file.data, stream);
        fclose(stream);
    }
    return file;
}

static bool run(const char* arguments) {
    char command[2048];
    char here[512];
    snprintf(here, sizeof here, "%s", pathOf(""));
    snprintf(command, sizeof command, "cd %s && openssl %s >out 2>&1", here, arguments);
    return system(command) == 0;
}

/* Keys and certificates by the openssl command. */
static File key, locked, certificate, publicKey, otherCertificate, otherKey, bundle;

static void makeKeys(void) {
    const char* request = "req -x509 -newkey rsa:2048 -noenc -addext keyUsage=digitalSignature";
    char ada[512], bob[512];
    snprintf(ada, sizeof ada, "%s -keyout key.pem -out cert.pem -subj /CN=Ada", request);
    snprintf(bob, sizeof bob, "%s -keyout other.key -out other.pem -subj /CN=Bob", request);
    CHECK(run(ada) && run(bob) && run("pkey -in key.pem -pubout -out key.pub") &&
          run("pkey -in key.pem -aes128 -passout pass:secret -out locked.pem") &&
          run("pkcs12 -export -inkey key.pem -in cert.pem -out ada.p12 -passout pass:secret"));
    key = readFile("key.pem");
    locked = readFile("locked.pem");
    certificate = readFile("cert.pem");
    publicKey = readFile("key.pub");
    otherCertificate = readFile("other.pem");
    otherKey = readFile("other.key");
    bundle = readFile("ada.p12");
}

static opcraft_store* letterStore(void) {
    opcraft_store* store = NULL;
    opcraft_package* package = openLetter(&store);
    opcraft_package_free(package);
    return store;
}

static void write(opcraft_store* store, const char* part, const char* text) {
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_CHANGE, NULL, &error);
    if (DONE(package != NULL)) {
        bool has = false;
        DONE(opcraft_package_has_part(package, part, &has, &error));
        if (!has)
            DONE(opcraft_part_create(package, part, "application/xml", OPCRAFT_COMPRESSION_NORMAL, &error));
        DONE(opcraft_part_write(package, part, text, strlen(text), &error));
        DONE(opcraft_package_close(package, &error));
    }
    opcraft_package_free(package);
}

/* ---- Findings ---- */

/* What repair does about core properties without a type: looks at it, does it, and finds nothing more. */
static void checkRepair(opcraft_store* store) {
    const char* const unknown[] = {"no-such-rule"};
    opcraft_repair_options options = {sizeof options, unknown, 1, OPCRAFT_TAKE_NEITHER, false, false};
    REFUSED(INVALID_ARGUMENT, opcraft_repair(NULL, NULL, &error) != NULL);
    REFUSED(INVALID_ARGUMENT, opcraft_repair(store, &options, &error) != NULL);
    options.only_count = 0;
    options.take = (opcraft_take)7;
    REFUSED(INVALID_ARGUMENT, opcraft_repair(store, &options, &error) != NULL);
    options.take = OPCRAFT_TAKE_NEITHER;
    for (int round = 0; round != 3; ++round) {
        options.apply = round == 1;
        opcraft_repair_plan* plan = opcraft_repair(store, &options, &error);
        if (!DONE(plan != NULL))
            return;
        if (CHECK(plan->step_count == (round == 2 ? 0U : 1U)) && round != 2) {
            CHECK_TEXT(plan->steps[0]->finding->rule->name, "M4.5");
            CHECK(plan->steps[0]->applies && plan->steps[0]->why == NULL && plan->steps[0]->loss == NULL);
        }
        CHECK(plan->applied == options.apply && plan->left_count == 0 && plan->broken_signature_count == 0);
        opcraft_repair_plan_free(plan);
    }
}

static void checkLint(opcraft_store* store) {
    const char* const typed[] = {"M4.5"};
    const char* const none[] = {NULL};
    opcraft_lint_options options = {sizeof options, false, typed, 1};
    opcraft_finding_list* list = opcraft_lint(store, NULL, &error);
    if (DONE(list != NULL))
        CHECK(list->count == 1 && list->findings[list->count] == NULL);
    opcraft_finding_list_free(list);
    list = opcraft_lint(store, &options, &error);
    if (DONE(list != NULL) && CHECK(list->count == 1)) {
        const opcraft_finding* finding = list->findings[0];
        CHECK_TEXT(finding->item, "/docProps/core.xml");
        CHECK_TEXT(finding->element, "dcterms:created");
        CHECK(finding->line == 1 && finding->rule->severity == OPCRAFT_SEVERITY_ERROR && !finding->blocks);
    }
    opcraft_finding_list_free(list);
    options.without_contents = true;
    list = opcraft_lint(store, &options, &error);
    CHECK(DONE(list != NULL) && list->count == 0);
    opcraft_finding_list_free(list);
    options.rules = none;
    REFUSED(INVALID_ARGUMENT, opcraft_lint(store, &options, &error) != NULL);
    options.size = 0;
    REFUSED(INVALID_ARGUMENT, opcraft_lint(store, &options, &error) != NULL);
    REFUSED(INVALID_ARGUMENT, opcraft_lint(NULL, NULL, &error) != NULL);
}

/* A package that is opened tolerantly tells what was wrong; one that is not has nothing to tell. */
static void checkTolerance(void) {
    static const char types[] = "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
                                "<Default Extension=\".js\" ContentType=\"a/b\"/></Types>";
    const opcraft_open_options tolerant = {sizeof tolerant, true};
    opcraft_store* store = opcraft_store_new_file(pathOf(""), NULL, &error);
    FILE* file = fopen(pathOf("[Content_Types].xml"), "wb");
    CHECK(file != NULL && fwrite(types, 1, sizeof types - 1, file) == sizeof types - 1 && fclose(file) == 0);
    opcraft_package* package = opcraft_package_open(store, OPCRAFT_MODE_READ, &tolerant, &error);
    opcraft_finding_list* list = DONE(package != NULL) ? opcraft_package_list_findings(package, &error) : NULL;
    if (DONE(list != NULL) && CHECK(list->count != 0))
        CHECK_TEXT(list->findings[0]->item, "[Content_Types].xml");
    opcraft_finding_list_free(list);
    opcraft_package_free(package);
    opcraft_store_free(store);
    REFUSED(INVALID_ARGUMENT, opcraft_package_list_findings(NULL, &error) != NULL);
}

/* Nothing is reported of a package that was not read to its end. */
static void checkCancelling(void) {
    opcraft_monitor* monitor = opcraft_monitor_new(&error);
    opcraft_store_options options = {0};
    options.size = sizeof options;
    options.monitor = monitor;
    opcraft_store* store = opcraft_store_new_file(copyLetter("letter.docx"), &options, &error);
    opcraft_store* other = letterStore();
    DONE(store != NULL);
    opcraft_monitor_cancel(monitor);
    REFUSED(CANCELLED, opcraft_lint(store, NULL, &error) != NULL);
    REFUSED(CANCELLED, opcraft_repair(store, NULL, &error) != NULL);
    REFUSED(CANCELLED, opcraft_compare(store, other, NULL, &error) != NULL);
    REFUSED(CANCELLED, opcraft_compare(other, store, NULL, &error) != NULL);
    REFUSED(CANCELLED, opcraft_verify(store, NULL, &error) != NULL);
    REFUSED(CANCELLED, opcraft_unsign(store, NULL, NULL, &error));
    opcraft_store_free(store);
    opcraft_store_free(other);
    opcraft_monitor_free(monitor);
}

void testFindings(void) {
    opcraft_store* store = letterStore();
    size_t count = 0;
    const opcraft_rule* const* rules = opcraft_rules(&count);
    CHECK(count > 50 && rules == opcraft_rules(NULL) && rules[0]->size == sizeof(opcraft_rule));
    write(store, "/docProps/core.xml",
          "<c:coreProperties xmlns:c=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\" "
          "xmlns:dcterms=\"http://purl.org/dc/terms/\"><dcterms:created>2026-01-01</dcterms:created>"
          "</c:coreProperties>");
    checkLint(store);
    checkRepair(store);
    checkTolerance();
    checkCancelling();
    opcraft_store_free(store);
}

/* ---- Differences ---- */

void testComparing(void) {
    opcraft_store* before = letterStore();
    opcraft_store* after = letterStore();
    opcraft_compare_options options = {sizeof options, false, false, false, false, true, false};
    opcraft_difference_report* report = opcraft_compare(before, after, NULL, &error);
    CHECK(DONE(report != NULL) && report->equal && report->part_count == 0 && report->compared_parts == 5);
    opcraft_difference_report_free(report);
    write(after, "/more.xml", "<a/>");
    write(after, "/word/styles.xml", "<a/>");
    for (int round = 0; round != 2; ++round) {
        report = opcraft_compare(before, after, round == 0 ? NULL : &options, &error);
        if (DONE(report != NULL) && CHECK(!report->equal && report->part_count == 2)) {
            const opcraft_part_difference* added = report->parts[0];
            const opcraft_part_difference* changed = report->parts[1];
            CHECK(added->kind == OPCRAFT_DIFFERENCE_ADDED && added->name_before == NULL && added->length_after == 4);
            CHECK_TEXT(added->name_after, "/more.xml");
            CHECK(changed->content == OPCRAFT_CONTENT_XML && changed->lines_added == 1 && changed->lines_removed == 23);
            CHECK(round == 0 ? strncmp(changed->lines, "@@ -1,23 +1,1 @@\n-<w:styles ", 28) == 0
                             : changed->lines == NULL);
        }
        opcraft_difference_report_free(report);
    }
    REFUSED(STORE_IN_USE, opcraft_compare(before, before, NULL, &error) != NULL);
    REFUSED(INVALID_ARGUMENT, opcraft_compare(before, NULL, NULL, &error) != NULL);
    options.size = 1;
    REFUSED(INVALID_ARGUMENT, opcraft_compare(before, after, &options, &error) != NULL);
    opcraft_store_free(before);
    opcraft_store_free(after);
}

/* ---- Signatures ---- */

/* What a signer of the tests answers. */
typedef enum Answer { ANSWER_GOOD, ANSWER_FAILURE, ANSWER_OTHER, ANSWER_TOO_LONG } Answer;

static int answer(void* data, opcraft_digest digest, const void* octets, size_t length, void* signature,
                  size_t capacity, size_t* signatureLength) {
    const Answer how = *(Answer*)data;
    CHECK(digest == OPCRAFT_DIGEST_SHA384 && capacity >= 8192);
    if (how == ANSWER_FAILURE)
        return EIO;
    FILE* file = fopen(pathOf("octets"), "wb");
    CHECK(file != NULL && fwrite(octets, 1, length, file) == length && fclose(file) == 0);
    CHECK(run(how == ANSWER_OTHER ? "dgst -sha384 -sign other.key -out value octets"
                                  : "dgst -sha384 -sign key.pem -out value octets"));
    const File value = readFile("value");
    memcpy(signature, value.data, value.length);
    *signatureLength = how == ANSWER_TOO_LONG ? capacity + 1 : value.length;
    return 0;
}

static bool sign(opcraft_store* store, const opcraft_sign_options* options) {
    opcraft_sign_result* result = opcraft_sign(store, options, &error);
    const bool done = result != NULL && result->name != NULL && result->parts != 0;
    opcraft_sign_result_free(result);
    return done;
}

static opcraft_sign_options byAda(void) {
    opcraft_sign_options options = {0};
    options.size = sizeof options;
    options.key = key.data;
    options.key_length = key.length;
    options.certificate = certificate.data;
    options.certificate_length = certificate.length;
    return options;
}

static void checkSigner(opcraft_store* store) {
    Answer how = ANSWER_FAILURE;
    opcraft_signer signer = {sizeof signer, publicKey.data, publicKey.length, answer, &how};
    opcraft_sign_options options = byAda();
    options.key = NULL;
    options.signer = &signer;
    options.digest = OPCRAFT_DIGEST_SHA384;
    CHECK(!sign(store, &options) && error != NULL && error->system_error == EIO);
    opcraft_error_free(error);
    how = ANSWER_OTHER; /* what it answers is not believed */
    REFUSED(COULD_NOT_GENERATE_SIGNATURE, sign(store, &options));
    how = ANSWER_TOO_LONG;
    REFUSED(COULD_NOT_GENERATE_SIGNATURE, sign(store, &options));
    how = ANSWER_GOOD;
    DONE(sign(store, &options));
    signer.sign = NULL;
    REFUSED(INVALID_ARGUMENT, sign(store, &options));
}

/* Options that are refused, and leave the store as it is. */
static void checkRefusedOptions(opcraft_store* store) {
    opcraft_sign_options rows[10];
    for (size_t i = 0; i != 10; ++i)
        rows[i] = byAda();
    const char* const none[] = {NULL};
    rows[0].key = NULL;
    rows[1].pkcs12 = bundle.data;
    rows[2].key_length = 9; /* no whole key */
    rows[3].digest = OPCRAFT_DIGEST_SHA1;
    rows[4].comments = "a purpose"; /* not in this form */
    rows[5].form = (opcraft_signature_form)9;
    rows[6].certificate = NULL, rows[6].chain = certificate.data;
    rows[7].countersign = true, rows[7].parts = none, rows[7].part_count = 1;
    rows[8].key = locked.data, rows[8].key_length = locked.length; /* without its password */
    rows[9].parts = none, rows[9].part_count = 1;
    for (size_t i = 0; i != 10; ++i)
        if (!REFUSED(INVALID_ARGUMENT, sign(store, &rows[i])))
            fprintf(stderr, "in row %u\n", (unsigned)i);
    REFUSED(INVALID_ARGUMENT, sign(store, NULL));
    REFUSED(INVALID_ARGUMENT, sign(NULL, &rows[9]));
    const char* const missing[] = {"/none.xml"};
    rows[9].parts = missing;
    REFUSED(PART_NOT_FOUND, sign(store, &rows[9]));
    opcraft_sign_options options = byAda();
    options.certificate = otherCertificate.data;
    options.certificate_length = otherCertificate.length;
    REFUSED(COULD_NOT_GENERATE_SIGNATURE, sign(store, &options));
}

static void checkUnsigning(opcraft_store* store, uint64_t signatures) {
    opcraft_sign_options options = byAda();
    uint64_t removed = 0;
    options.countersign = true;
    DONE(sign(store, &options));
    REFUSED(COULD_NOT_REMOVE_SIGNATURE, opcraft_unsign(store, "sig1", &removed, &error));
    REFUSED(SIGNATURE_NOT_FOUND, opcraft_unsign(store, "sig99", &removed, &error));
    REFUSED(INVALID_ARGUMENT, opcraft_unsign(NULL, NULL, &removed, &error));
    DONE(opcraft_unsign(store, NULL, &removed, &error));
    CHECK(removed == signatures + 1);
    DONE(opcraft_unsign(store, NULL, &removed, &error));
    CHECK(removed == 0);
}

void testSigning(void) {
    opcraft_store* store = letterStore();
    const char* const parts[] = {"/word/styles.xml"};
    opcraft_sign_options options = byAda();
    makeKeys();
    checkRefusedOptions(store);
    checkSigner(store);
    options = byAda();
    options.key = locked.data;
    options.key_length = locked.length;
    options.password = "secret";
    DONE(sign(store, &options));
    options = byAda();
    options.key = options.certificate = NULL;
    options.pkcs12 = bundle.data;
    options.pkcs12_length = bundle.length;
    REFUSED(INVALID_ARGUMENT, sign(store, &options)); /* without its password */
    options.password = "secret";
    options.form = OPCRAFT_FORM_OFFICE;
    options.comments = "a purpose";
    options.parts = parts;
    options.part_count = 1;
    opcraft_sign_result* result = opcraft_sign(store, &options, &error);
    if (DONE(result != NULL)) {
        CHECK_TEXT(result->name, "sig3");
        CHECK(result->parts == 1 && result->relationships == 0);
    }
    opcraft_sign_result_free(result);
    checkUnsigning(store, 3);
    opcraft_store_free(store);
}

static opcraft_verification* verify(opcraft_store* store, const opcraft_verify_options* options,
                                    opcraft_verdict verdict) {
    opcraft_verification* result = opcraft_verify(store, options, &error);
    if (DONE(result != NULL) && !CHECK(result->verdict == verdict))
        fprintf(stderr, "the verdict is %d, not %d\n", (int)result->verdict, (int)verdict);
    return result;
}

static void expectVerdict(opcraft_store* store, const opcraft_verify_options* options, opcraft_verdict verdict) {
    opcraft_verification_free(verify(store, options, verdict));
}

static opcraft_verify_options trustAda(void) {
    opcraft_verify_options options = {0};
    options.size = sizeof options;
    options.trust = certificate.data;
    options.trust_length = certificate.length;
    return options;
}

/* Everything that is told of a good signature. */
static void checkReport(opcraft_store* store) {
    const opcraft_verify_options options = trustAda();
    opcraft_verification* result = verify(store, &options, OPCRAFT_VERDICT_VALID);
    if (result != NULL && CHECK(result->signature_count == 1 && result->problem == NULL)) {
        const opcraft_signature* signature = result->signatures[0];
        CHECK_TEXT(signature->name, "sig1");
        CHECK_TEXT(signature->part, "/_xmlsignatures/sig1.xml");
        CHECK_TEXT(signature->subject, "CN=Ada");
        CHECK(signature->holds && signature->complete && signature->problem == NULL && signature->doubt == NULL);
        CHECK(signature->voucher == OPCRAFT_VOUCHER_TRUSTED_CERTIFICATE && signature->objection_count == 0);
        CHECK(signature->key_size == 2048 && strlen(signature->key_fingerprint) == 64 && signature->weak_count == 0);
        CHECK(signature->covered_part_count == 5 && signature->uncovered_part_count == 0);
        CHECK(signature->certificate != NULL && signature->trust_anchor != NULL &&
              signature->certificate->der_length == signature->trust_anchor->der_length &&
              memcmp(signature->certificate->der, signature->trust_anchor->der, signature->certificate->der_length) ==
                  0 &&
              ((const unsigned char*)signature->certificate->der)[0] == 0x30);
        for (size_t i = 0; i != signature->reference_count; ++i)
            CHECK(signature->references[i]->verdict == OPCRAFT_REFERENCE_HOLDS &&
                  signature->references[i]->problem == NULL);
        CHECK(signature->reference_count > 5);
    }
    opcraft_verification_free(result);
}

/* The demands that decide whether a good signature is accepted. */
static void checkDemands(opcraft_store* store) {
    const char* const ada[] = {"CN=Bob", "CN=Ada"};
    opcraft_verify_options options = trustAda();
    expectVerdict(store, NULL, OPCRAFT_VERDICT_INVALID); /* nobody is trusted */
    options.signers = ada;
    options.signer_count = 2;
    expectVerdict(store, &options, OPCRAFT_VERDICT_VALID);
    options.signer_count = 1;
    opcraft_verification* result = verify(store, &options, OPCRAFT_VERDICT_INVALID);
    CHECK(result->signatures[0]->objection_count == 1 && result->signatures[0]->holds);
    opcraft_verification_free(result);
    const char* const nobody[] = {""};
    options.signers = nobody;
    REFUSED(INVALID_ARGUMENT, opcraft_verify(store, &options, &error) != NULL);
    options.signer_count = 0;
    options.weakest_digest = OPCRAFT_DIGEST_SHA512;
    expectVerdict(store, &options, OPCRAFT_VERDICT_INVALID);
    options.weakest_digest = OPCRAFT_DIGEST_DEFAULT;
    options.time = OPCRAFT_TIME_GIVEN;
    options.given_time = "2060-01-01";
    expectVerdict(store, &options, OPCRAFT_VERDICT_INVALID);
    options.allow_untrusted = true;
    expectVerdict(store, &options, OPCRAFT_VERDICT_VALID);
    options.given_time = "soon";
    REFUSED(INVALID_ARGUMENT, opcraft_verify(store, &options, &error) != NULL);
    options = trustAda();
    options.given_time = "2060-01-01";
    REFUSED(INVALID_ARGUMENT, opcraft_verify(store, &options, &error) != NULL);
    options = trustAda();
    options.trust_length = 0; /* not the certificates of the system instead */
    REFUSED(INVALID_ARGUMENT, opcraft_verify(store, &options, &error) != NULL);
    options = trustAda();
    options.public_key = publicKey.data;
    options.public_key_length = publicKey.length;
    REFUSED(INVALID_ARGUMENT, opcraft_verify(store, &options, &error) != NULL);
    options.trust = NULL;
    result = verify(store, &options, OPCRAFT_VERDICT_VALID);
    CHECK(result->signatures[0]->voucher == OPCRAFT_VOUCHER_GIVEN_KEY && result->signatures[0]->subject == NULL);
    opcraft_verification_free(result);
    options.coverage = (opcraft_coverage)9;
    REFUSED(INVALID_ARGUMENT, opcraft_verify(store, &options, &error) != NULL);
    options.size = 0;
    REFUSED(INVALID_ARGUMENT, opcraft_verify(store, &options, &error) != NULL);
    REFUSED(INVALID_ARGUMENT, opcraft_verify(NULL, NULL, &error) != NULL);
}

void testVerifying(void) {
    opcraft_store* store = letterStore();
    opcraft_store* damaged = opcraft_store_new_memory("PK", 2, NULL, &error);
    makeKeys();
    opcraft_sign_options signing = byAda();
    opcraft_verify_options options = trustAda();
    REFUSED(DAMAGED_STORE, opcraft_verify(damaged, &options, &error) != NULL);
    opcraft_store_free(damaged);
    expectVerdict(store, &options, OPCRAFT_VERDICT_UNSIGNED);
    DONE(sign(store, &signing));
    checkReport(store);
    checkDemands(store);
    write(store, "/more.xml", "<a/>");
    opcraft_verification* result = verify(store, &options, OPCRAFT_VERDICT_INCOMPLETE);
    CHECK(result->signatures[0]->uncovered_part_count == 1);
    CHECK_TEXT(result->signatures[0]->uncovered_parts[0], "/more.xml");
    opcraft_verification_free(result);
    options.coverage = OPCRAFT_COVERAGE_ANY;
    expectVerdict(store, &options, OPCRAFT_VERDICT_VALID);
    write(store, "/word/styles.xml", "<a/>");
    result = verify(store, &options, OPCRAFT_VERDICT_INVALID);
    CHECK_TEXT(result->signatures[0]->problem, "/word/styles.xml was changed");
    opcraft_verification_free(result);
    /* a signature of the library's own form that cannot be read */
    signing.form = OPCRAFT_FORM_LIBRARY;
    REFUSED(COULD_NOT_GENERATE_SIGNATURE, sign(store, &signing)); /* not beside the other one */
    DONE(opcraft_unsign(store, NULL, NULL, &error));
    DONE(sign(store, &signing));
    result = verify(store, &options, OPCRAFT_VERDICT_VALID);
    char part[64];
    snprintf(part, sizeof part, "%s", result->signatures[0]->part);
    opcraft_verification_free(result);
    write(store, part, "<a/>");
    result = verify(store, &options, OPCRAFT_VERDICT_UNREADABLE);
    CHECK(result->problem != NULL && result->signature_count == 0);
    opcraft_verification_free(result);
    opcraft_store_free(store);
}
