// Making and freeing a locale object whose data is already loaded: lorvex's
// LXGetLocale + LXReleaseLocale beside glibc's newlocale + freelocale and
// ICU's unum_open + unum_close, in one run.
//
// The three do not do the same work.  LXGetLocale parses the name, finds four
// parts in the registry (their tables stay mapped after the first call) and
// derives the locale's current item values: eight texts converted into the
// codeset, each with a UCS-2 copy.  newlocale finds the locale's categories
// in glibc's cache of loaded locales and allocates the locale object.
// unum_open builds a decimal number formatter: it resolves the locale, reads
// its symbols and patterns from ICU's resource cache and parses the pattern.
// Each is what an application calls to get a usable locale for formatting.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <locale.h>
#include <string>

#include "lorvex.h"

#ifdef LORVEX_BENCH_HAVE_ICU
#include <unicode/unum.h>
#endif

namespace {

void BM_LXGetLocale(benchmark::State &state, const char *name) {
    ::unsetenv("LX_LOCALEDIR");
    if (LXInit(LORVEX_BENCH_LOCALE_DIR, nullptr, nullptr, 0, LX_INIT_STRICT) != LX_OK)
        return state.SkipWithError("the build's locale directory could not be read");
    int32_t err = LX_OK;
    // The warm-up call loads the parts; the timed calls find them loaded.
    LXLocale *warm = LXGetLocale(name, 0, &err);
    if (!warm) {
        LXTerm();
        return state.SkipWithError(("LXGetLocale failed with " + std::to_string(err)).c_str());
    }
    LXReleaseLocale(warm, 0);
    for (auto _ : state) {
        LXLocale *loc = LXGetLocale(name, 0, &err);
        benchmark::DoNotOptimize(loc);
        LXReleaseLocale(loc, 0);
    }
    LXTerm();
}
BENCHMARK_CAPTURE(BM_LXGetLocale, German_Germany.MS1252, "German_Germany.MS1252");
BENCHMARK_CAPTURE(BM_LXGetLocale, Japanese_Japan.MS932, "Japanese_Japan.MS932");

// The first LXGetLocale after a start: the three part files are opened and
// their tables mapped (never copied, so the cost does not grow with the
// tables: MS932's are 77 KB, MS1252's 4 KB), and the codeset's tables are
// checked once.  Each iteration is a whole start, first locale and stop.
void BM_FirstLoad(benchmark::State &state, const char *name) {
    ::unsetenv("LX_LOCALEDIR");
    for (auto _ : state) {
        if (LXInit(LORVEX_BENCH_LOCALE_DIR, nullptr, nullptr, 0, LX_INIT_STRICT) != LX_OK)
            return state.SkipWithError("the build's locale directory could not be read");
        int32_t err = LX_OK;
        LXLocale *loc = LXGetLocale(name, 0, &err);
        benchmark::DoNotOptimize(loc);
        LXReleaseLocale(loc, 0);
        LXTerm();
    }
}
BENCHMARK_CAPTURE(BM_FirstLoad, German_Germany.MS1252, "German_Germany.MS1252");
BENCHMARK_CAPTURE(BM_FirstLoad, Japanese_Japan.MS932, "Japanese_Japan.MS932");

// glibc: the first locale of the candidates this machine has generated.
// glibc unloads a locale's data when its last user is freed, so the warm-up
// object is kept for the whole loop: the timed calls then find the data
// loaded, as LXGetLocale finds its parts.
void BM_newlocale(benchmark::State &state) {
    const char *name = nullptr;
    locale_t warm = locale_t(nullptr);
    for (const char *candidate : {"de_DE.UTF-8", "de_DE.utf8", "C.UTF-8", "C.utf8"}) {
        if ((warm = ::newlocale(LC_ALL_MASK, candidate, locale_t(nullptr)))) {
            name = candidate;
            break;
        }
    }
    if (!name) return state.SkipWithError("neither de_DE.UTF-8 nor C.UTF-8 is available");
    state.SetLabel(name);
    for (auto _ : state) {
        locale_t loc = ::newlocale(LC_ALL_MASK, name, locale_t(nullptr));
        benchmark::DoNotOptimize(loc);
        ::freelocale(loc);
    }
    ::freelocale(warm);
}
BENCHMARK(BM_newlocale);

#ifdef LORVEX_BENCH_HAVE_ICU
void BM_unum_open(benchmark::State &state) {
    UErrorCode status = U_ZERO_ERROR;
    // The warm-up call fills ICU's resource cache, as the lorvex warm-up
    // loads the parts.
    UNumberFormat *warm = unum_open(UNUM_DECIMAL, nullptr, 0, "de_DE", nullptr, &status);
    if (U_FAILURE(status)) return state.SkipWithError(u_errorName(status));
    unum_close(warm);
    for (auto _ : state) {
        status = U_ZERO_ERROR;
        UNumberFormat *fmt = unum_open(UNUM_DECIMAL, nullptr, 0, "de_DE", nullptr, &status);
        benchmark::DoNotOptimize(fmt);
        unum_close(fmt);
    }
}
BENCHMARK(BM_unum_open);
#endif

}  // namespace
