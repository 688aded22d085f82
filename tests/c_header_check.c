/*
 * The public header used from strict C99: this file is compiled with
 * -std=c99 -pedantic -Werror and linked against the shared library.  Run with
 * the build tree's locale directory, it starts the library there, checks that
 * the enumeration reports the three built-in parts compiled into it, and
 * stops the library again.
 */
#include <lorvex.h>

#include <stdio.h>
#include <string.h>

/* Constants must be usable where C needs constant expressions. */
static const uint32_t kStrict = LX_INIT_STRICT;
static const int32_t kCodes[] = {LX_OK, LX_ERR_BUILTIN_ONLY, LX_ERR_INIT, LX_ERR_MAGIC};
typedef char kind_numbers_are_distinct[(LX_KIND_LANGUAGE != LX_KIND_SORT) ? 1 : -1];

struct seen {
    int count;
    int english, united_states, us_ascii;
};

static int32_t on_part(uintptr_t user, int32_t kind, const char *name) {
    struct seen *s = (struct seen *)user;
    s->count++;
    if (kind == LX_KIND_LANGUAGE && strcmp(name, "English") == 0) s->english++;
    if (kind == LX_KIND_TERRITORY && strcmp(name, "UnitedStates") == 0) s->united_states++;
    if (kind == LX_KIND_CODESET && strcmp(name, "US-ASCII") == 0) s->us_ascii++;
    return 1;
}

static int failures = 0;

static void expect(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "FAILED: %s\n", what);
        failures++;
    }
}

int main(int argc, char **argv) {
    struct seen s = {0, 0, 0, 0};
    LXEnumFn fn = on_part;
    int32_t rc;

    if (argc != 2) {
        fprintf(stderr, "usage: %s LOCALE_DIR\n", argv[0]);
        return 2;
    }
    (void)kStrict;
    (void)kCodes;

    rc = LXInit(argv[1], NULL, NULL, 0, 0);
    expect(rc == LX_OK, "LXInit on the build's locale directory returns 0");
    if (rc != LX_OK && rc != LX_ERR_BUILTIN_ONLY) {
        fprintf(stderr, "LXInit returned %d\n", (int)rc);
        return 1;
    }
    expect(LXEnumLocales(fn, (uintptr_t)&s) == 0, "LXEnumLocales returns 0");
    expect(s.english == 1 && s.united_states == 1 && s.us_ascii == 1,
           "English, UnitedStates and US-ASCII each enumerated once");
    expect(s.count >= 3, "at least three parts");
    expect(LXTerm() == 0, "LXTerm returns 0");

    if (failures) return 1;
    printf("ok: %d parts\n", s.count);
    return 0;
}
