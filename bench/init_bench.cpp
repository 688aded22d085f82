// Start-up and shut-down: what one LXInit + LXTerm cycle costs, on the
// build's locale directory (control file read, records kept) and on a
// directory that does not exist (built-in fallback).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "lorvex.h"

namespace {

void InitTerm(benchmark::State &state, const char *dir, int32_t expected) {
    // The library falls back on LX_LOCALEDIR when dir does not open.
    ::unsetenv("LX_LOCALEDIR");
    for (auto _ : state) {
        const int32_t rc = LXInit(dir, nullptr, nullptr, 0, 0);
        if (rc != expected) {
            if (rc == 0 || rc == LX_ERR_BUILTIN_ONLY) LXTerm();
            state.SkipWithError(("LXInit returned " + std::to_string(rc) + ", expected " +
                                 std::to_string(expected)).c_str());
            break;
        }
        if (LXTerm() != 0) {
            state.SkipWithError("LXTerm failed");
            break;
        }
    }
}

void BM_InitTermLocaleDir(benchmark::State &state) {
    InitTerm(state, LORVEX_BENCH_LOCALE_DIR, LX_OK);
}
BENCHMARK(BM_InitTermLocaleDir);

// Falls back to the built-in locale only if the library's default directory
// is not there either; on a machine with lorvex installed the benchmark
// reports the unexpected result instead of measuring the wrong thing.
void BM_InitTermBuiltin(benchmark::State &state) {
    InitTerm(state, "/nonexistent/lorvex-bench/locale", LX_ERR_BUILTIN_ONLY);
}
BENCHMARK(BM_InitTermBuiltin);

}  // namespace
