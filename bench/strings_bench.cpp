// The string functions on a single-byte locale (MS1252) beside the C library
// functions they stand in for, on text of 64 bytes and 4 KB where the match
// or the difference is at the very end: the whole text is read.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "bench_locale.h"

namespace {

bench::Library library;

struct Texts {
    explicit Texts(size_t n) : a(n, 'x'), b(n, 'x'), out(n + 1, 0) {
        a.back() = 'y';
        b.back() = 'z';
    }
    std::string a, b, out;
    const unsigned char *pa() const { return reinterpret_cast<const unsigned char *>(a.c_str()); }
    const unsigned char *pb() const { return reinterpret_cast<const unsigned char *>(b.c_str()); }
    int32_t n() const { return int32_t(a.size()); }
};

LXLocale *Latin(benchmark::State &state) {
    LXLocale *loc = library.locale("MS1252");
    if (!loc) state.SkipWithError("no MS1252 locale");
    return loc;
}

void BM_LXStrchr(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    LXLocale *loc = Latin(state);
    const unsigned char y = 'y';
    for (auto _ : state) benchmark::DoNotOptimize(LXStrchr(loc, t.pa(), -1, &y, 0));
}
void BM_strchr(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(std::strchr(t.a.c_str(), 'y'));
}

void BM_LXStrstr(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    LXLocale *loc = Latin(state);
    const unsigned char needle[] = "xxy";
    for (auto _ : state) benchmark::DoNotOptimize(LXStrstr(loc, t.pa(), t.n(), needle, 3, 0));
}
void BM_memmem(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(memmem(t.a.data(), t.a.size(), "xxy", 3));
}

void BM_LXStrcmp(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    LXLocale *loc = Latin(state);
    for (auto _ : state) benchmark::DoNotOptimize(LXStrcmp(loc, t.pa(), -1, t.pb(), -1, 0));
}
// The same with the lengths given, as a caller that knows them passes them.
void BM_LXStrcmpLengths(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    LXLocale *loc = Latin(state);
    for (auto _ : state) benchmark::DoNotOptimize(LXStrcmp(loc, t.pa(), t.n(), t.pb(), t.n(), 0));
}
void BM_strcmp(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(std::strcmp(t.a.c_str(), t.b.c_str()));
}

void BM_LXStrcpy(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    LXLocale *loc = Latin(state);
    auto *out = reinterpret_cast<unsigned char *>(t.out.data());
    for (auto _ : state) {
        benchmark::DoNotOptimize(LXStrcpy(loc, out, t.n(), t.pa(), t.n(), 0));
        benchmark::ClobberMemory();
    }
}
void BM_memcpy(benchmark::State &state) {
    Texts t(size_t(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::memcpy(t.out.data(), t.a.data(), t.a.size()));
        benchmark::ClobberMemory();
    }
}

}  // namespace

BENCHMARK(BM_LXStrchr)->Arg(64)->Arg(4096);
BENCHMARK(BM_strchr)->Arg(64)->Arg(4096);
BENCHMARK(BM_LXStrstr)->Arg(64)->Arg(4096);
BENCHMARK(BM_memmem)->Arg(64)->Arg(4096);
BENCHMARK(BM_LXStrcmp)->Arg(64)->Arg(4096);
BENCHMARK(BM_LXStrcmpLengths)->Arg(64)->Arg(4096);
BENCHMARK(BM_strcmp)->Arg(64)->Arg(4096);
BENCHMARK(BM_LXStrcpy)->Arg(64)->Arg(4096);
BENCHMARK(BM_memcpy)->Arg(64)->Arg(4096);
