// String functions on real text in a double-byte codeset (MS932), beside the
// C library's byte functions on the same bytes, and upper-case mapping on
// MS1252 and MS932 text against ICU's u_strToUpper on the equivalent UTF-16
// text.  (strings_bench.cpp has the single-byte functions on short texts.)
//
// Each benchmark makes the function walk the whole text: the searched
// character and substring sit at the very end, the compared strings differ
// in their last byte only, the copy takes everything.  Bytes per second are
// the bytes of the codeset text walked, so rows of one function compare
// across implementations.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstring>
#include <string>
#include <vector>

#ifdef LORVEX_BENCH_HAVE_ICU
#include <unicode/ustring.h>
#endif

#include "bench_locale.h"

namespace {

constexpr size_t kTextBytes = 256 * 1024;

const char kLatinProse[] =
    "Le cœur déçu mais l'âme plutôt naïve, Louÿs rêva de crapaüter en canoë au delà des îles, "
    "près du mälström où brûlent les novæ. Zwölf Boxkämpfer jagen Viktor quer über den großen "
    "Sylter Deich; The quick brown fox jumps over the lazy dog.\n";
const char kJapaneseProse[] =
    "いろはにほへと　ちりぬるを　わかよたれそ　つねならむ　うゐのおくやま　けふこえて　"
    "あさきゆめみし　ゑひもせす。日本語の文章は漢字と平仮名と片仮名を混ぜて書かれる。"
    "東京都の人口は約千四百万人で、ＡＢＣ１２３のような全角英数字も使われます。abc\n";

// UTF-8 text converted with iconv; the NUL terminator is part of the string.
std::string Encode(const char *utf8, const char *codeset) {
    std::string in;
    while (in.size() < kTextBytes) in += utf8;
    iconv_t cd = iconv_open(codeset, "UTF-8");
    std::string out(in.size() * 2, '\0');
    char *src = in.data(), *dst = out.data();
    size_t srcLeft = in.size(), dstLeft = out.size();
    if (cd == iconv_t(-1) || iconv(cd, &src, &srcLeft, &dst, &dstLeft) == size_t(-1)) return {};
    iconv_close(cd);
    out.resize(out.size() - dstLeft);
    return out;
}

struct Text {
    const char *label;     // benchmark label: the locale's codeset
    const char *codeset;   // lorvex part name
    const char *iconvName;
    const char *prose;
};
const Text kTexts[] = {
    {"MS1252", "MS1252", "CP1252", kLatinProse},
    {"MS932", "MS932", "CP932", kJapaneseProse},
};

bench::Library &Lib() {
    static bench::Library lib;
    return lib;
}

// The text with a marker at its end that occurs nowhere before: '#'.
struct Data {
    std::string text, other;  // other: text with its last byte changed
    LXLocale *loc = nullptr;
};
const Data &DataFor(const Text &t) {
    static std::vector<std::pair<const Text *, Data>> cache;
    for (auto &kv : cache)
        if (kv.first == &t) return kv.second;
    Data d;
    d.text = Encode(t.prose, t.iconvName);
    d.text += '#';
    d.other = d.text;
    d.other.back() = '%';
    d.loc = Lib().locale(t.codeset);
    cache.emplace_back(&t, std::move(d));
    return cache.back().second;
}

const unsigned char *U(const std::string &s) { return reinterpret_cast<const unsigned char *>(s.data()); }
int32_t Len(const std::string &s) { return int32_t(s.size()); }

bool Ready(benchmark::State &state, const Data &d) {
    if (d.loc && !d.text.empty()) return true;
    state.SkipWithError("locale or text missing");
    return false;
}

void Done(benchmark::State &state, const Data &d) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(d.text.size()));
}

void BM_LXStrchr(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    if (!Ready(state, d)) return;
    const unsigned char hash = '#';
    for (auto _ : state) benchmark::DoNotOptimize(LXStrchr(d.loc, U(d.text), -1, &hash, 0));
    Done(state, d);
}
void BM_strchr(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    for (auto _ : state) benchmark::DoNotOptimize(std::strchr(d.text.c_str(), '#'));
    Done(state, d);
}

void BM_LXStrstr(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    if (!Ready(state, d)) return;
    // The last characters of the text: found only at its end.
    const std::string sub = d.text.substr(d.text.size() - 12);
    for (auto _ : state) benchmark::DoNotOptimize(LXStrstr(d.loc, U(d.text), Len(d.text), U(sub), Len(sub), 0));
    Done(state, d);
}
void BM_memmem(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    const std::string sub = d.text.substr(d.text.size() - 12);
    for (auto _ : state) benchmark::DoNotOptimize(memmem(d.text.data(), d.text.size(), sub.data(), sub.size()));
    Done(state, d);
}

void BM_LXStrcmp(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    if (!Ready(state, d)) return;
    for (auto _ : state) benchmark::DoNotOptimize(LXStrcmp(d.loc, U(d.text), -1, U(d.other), -1, 0));
    Done(state, d);
}
void BM_strcmp(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    for (auto _ : state) benchmark::DoNotOptimize(std::strcmp(d.text.c_str(), d.other.c_str()));
    Done(state, d);
}

void BM_LXStrcpy(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    if (!Ready(state, d)) return;
    std::vector<unsigned char> out(d.text.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(LXStrcpy(d.loc, out.data(), Len(d.text), U(d.text), Len(d.text), 0));
        benchmark::ClobberMemory();
    }
    Done(state, d);
}
void BM_memcpy(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    std::vector<unsigned char> out(d.text.size());
    for (auto _ : state) {
        std::memcpy(out.data(), d.text.data(), d.text.size());
        benchmark::ClobberMemory();
    }
    Done(state, d);
}

void BM_LXMapStringUpper(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    if (!Ready(state, d)) return;
    std::vector<unsigned char> out(d.text.size() * 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            LXMapString(d.loc, out.data(), int32_t(out.size()), U(d.text), Len(d.text), LX_MAP_UPPER));
    Done(state, d);
}

#ifdef LORVEX_BENCH_HAVE_ICU
// The same text as UTF-16; bytes counted are those of the codeset text, so
// that the rate compares with the lorvex row of the same codeset.
void BM_u_strToUpper(benchmark::State &state, const Text &t) {
    const Data &d = DataFor(t);
    std::string utf16 = Encode(t.prose, "UTF-16LE");
    std::vector<UChar> src(utf16.size() / 2), out(utf16.size());
    std::memcpy(src.data(), utf16.data(), src.size() * 2);
    for (auto _ : state) {
        UErrorCode err = U_ZERO_ERROR;
        benchmark::DoNotOptimize(
            u_strToUpper(out.data(), int32_t(out.size()), src.data(), int32_t(src.size()), "", &err));
    }
    Done(state, d);
}
#endif

int Register() {
    for (const Text &t : kTexts) {
        const std::string n = std::string("String/") + t.label + "/";
        if (std::strcmp(t.label, "MS932") == 0) {
            benchmark::RegisterBenchmark((n + "LXStrchr").c_str(), BM_LXStrchr, t);
            benchmark::RegisterBenchmark((n + "strchr").c_str(), BM_strchr, t);
            benchmark::RegisterBenchmark((n + "LXStrstr").c_str(), BM_LXStrstr, t);
            benchmark::RegisterBenchmark((n + "memmem").c_str(), BM_memmem, t);
            benchmark::RegisterBenchmark((n + "LXStrcmp").c_str(), BM_LXStrcmp, t);
            benchmark::RegisterBenchmark((n + "strcmp").c_str(), BM_strcmp, t);
            benchmark::RegisterBenchmark((n + "LXStrcpy").c_str(), BM_LXStrcpy, t);
            benchmark::RegisterBenchmark((n + "memcpy").c_str(), BM_memcpy, t);
        }
        benchmark::RegisterBenchmark((n + "LXMapString_upper").c_str(), BM_LXMapStringUpper, t);
#ifdef LORVEX_BENCH_HAVE_ICU
        benchmark::RegisterBenchmark((n + "u_strToUpper").c_str(), BM_u_strToUpper, t);
#endif
    }
    return 0;
}
const int kRegistered = Register();

}  // namespace
