// Conversion throughput: LXConvertString and LXConvertBuffer against glibc's
// iconv and ICU's converters, on the same few megabytes of text, in one run.
//
// The text is prose in the script of each source codeset (French and German
// for MS1252, Japanese for MS932 and IBM939, Chinese for MS936 targets; the
// Latin pairs also run on pangrams dense with accented letters),
// repeated to about 4 MB and converted into the source codeset once, by ICU,
// before timing.  Each benchmark reports bytes of input per second.
#include <benchmark/benchmark.h>

#include <iconv.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench_locale.h"
#include "lorvex.h"

#ifdef LORVEX_BENCH_HAVE_ICU
#include <unicode/ucnv.h>
#endif

namespace {

using Bytes = std::vector<unsigned char>;

constexpr size_t kTextBytes = 4u << 20;
constexpr int32_t kChunk = 64 * 1024;

// Ordinary French and German prose: one letter in twenty to fifty outside
// ASCII, as newspapers and books have them.
const char kLatinProse[] =
    "Le matin, la petite ville se réveillait lentement. Les commerçants ouvraient leurs volets, "
    "le boulanger sortait les premières baguettes du four et les enfants traversaient la place "
    "pour aller à l'école. Au café du coin, quelques habitués lisaient le journal en buvant un "
    "café noir, et l'on parlait du temps, des élections prochaines et du marché de samedi. "
    "Am Nachmittag fuhr der Zug pünktlich aus dem Bahnhof. Die Reisenden hatten ihre Koffer "
    "verstaut und schauten aus dem Fenster auf die Felder, die Wälder und die kleinen Dörfer, "
    "an denen sie vorbeifuhren. Eine Frau las ein Buch, ein Mann schlief, und zwei Kinder "
    "spielten Karten, bis der Schaffner kam und nach den Fahrkarten fragte.\n";
// Pangrams: an accented letter in almost every word, the hard case for the
// ASCII fast paths.
const char kDenseLatin[] =
    "Le cœur déçu mais l'âme plutôt naïve, Louÿs rêva de crapaüter en canoë au delà des îles, "
    "près du mälström où brûlent les novæ. Zwölf Boxkämpfer jagen Viktor quer über den großen "
    "Sylter Deich; Falsches Üben von Xylophonmusik quält jeden größeren Zwerg. The quick brown "
    "fox jumps over the lazy dog while the price stays at 12,50 € or £9.99.\n";
const char kJapaneseProse[] =
    "いろはにほへと　ちりぬるを　わかよたれそ　つねならむ　うゐのおくやま　けふこえて　"
    "あさきゆめみし　ゑひもせす。日本語の文章は漢字と平仮名と片仮名を混ぜて書かれる。"
    "東京都の人口は約千四百万人で、ＡＢＣ１２３のような全角英数字も使われます。\n";
const char kChineseProse[] =
    "天地玄黄，宇宙洪荒。日月盈昃，辰宿列张。寒来暑往，秋收冬藏。闰余成岁，律吕调阳。"
    "中华人民共和国的首都是北京，人口约两千一百万。这段文字用于测试转换速度。\n";

std::string Repeat(const char *sample) {
    std::string out;
    const size_t n = std::strlen(sample);
    out.reserve(kTextBytes + n);
    while (out.size() < kTextBytes) out.append(sample, n);
    return out;
}

// Converts with glibc's iconv in chunks of the given output size; returns
// the bytes produced, or -1 if the pair is not supported.
long IconvConvert(iconv_t cd, const Bytes &in, Bytes &out) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char *src = reinterpret_cast<char *>(const_cast<unsigned char *>(in.data()));
    size_t srcLeft = in.size();
    char *dst = reinterpret_cast<char *>(out.data());
    size_t dstLeft = out.size();
    while (srcLeft > 0) {
        if (iconv(cd, &src, &srcLeft, &dst, &dstLeft) == size_t(-1)) {
            if (errno == EILSEQ) {  // skip what it cannot convert, as -c does
                ++src;
                --srcLeft;
                continue;
            }
            return -1;
        }
    }
    iconv(cd, nullptr, nullptr, &dst, &dstLeft);
    return long(out.size() - dstLeft);
}

struct Pair {
    const char *name;        // benchmark label
    const char *lxFrom;      // part names
    const char *lxTo;
    const char *iconvFrom;   // glibc names
    const char *iconvTo;
    const char *icuFrom;     // ICU names
    const char *icuTo;
    const char *prose;
    bool stateful = false;   // the source has shift states
};

const Pair kPairs[] = {
    {"MS1252->UTF-8", "MS1252", "UTF-8", "CP1252", "UTF-8", "windows-1252", "UTF-8", kLatinProse},
    {"UTF-8->MS1252", "UTF-8", "MS1252", "UTF-8", "CP1252", "UTF-8", "windows-1252", kLatinProse},
    {"MS1252->UTF-8(dense)", "MS1252", "UTF-8", "CP1252", "UTF-8", "windows-1252", "UTF-8", kDenseLatin},
    {"UTF-8->MS1252(dense)", "UTF-8", "MS1252", "UTF-8", "CP1252", "UTF-8", "windows-1252", kDenseLatin},
    {"MS932->UTF-8", "MS932", "UTF-8", "CP932", "UTF-8", "windows-31j", "UTF-8", kJapaneseProse},
    {"UTF-8->MS936", "UTF-8", "MS936", "UTF-8", "CP936", "UTF-8", "windows-936-2000", kChineseProse},
    {"IBM939->UTF-8", "IBM939", "UTF-8", "IBM939", "UTF-8", "ibm-939", "UTF-8", kJapaneseProse, true},
};

// The input of a pair in its source codeset, made once.
const Bytes &Input(const Pair &p) {
    static std::map<std::string, Bytes> cache;
    auto it = cache.find(p.name);
    if (it != cache.end()) return it->second;
    const std::string utf8 = Repeat(p.prose);
    Bytes in(utf8.begin(), utf8.end());
    if (std::strcmp(p.iconvFrom, "UTF-8") != 0) {
        iconv_t cd = iconv_open(p.iconvFrom, "UTF-8");
        Bytes out(utf8.size() * 2 + 16);
        long n = cd == iconv_t(-1) ? -1 : IconvConvert(cd, in, out);
        if (cd != iconv_t(-1)) iconv_close(cd);
        in.assign(out.begin(), out.begin() + (n > 0 ? n : 0));
    }
    return cache.emplace(p.name, std::move(in)).first->second;
}

void BM_LXConvertString(benchmark::State &state, const Pair &p) {
    bench::Library lib;
    LXLocale *from = lib.locale(p.lxFrom), *to = lib.locale(p.lxTo);
    if (!from || !to) return state.SkipWithError("locale not available");
    const Bytes &in = Input(p);
    Bytes out(in.size() * 4 + 16);
    for (auto _ : state) {
        // A stateful source needs the Ex form, which obeys its shift bytes.
        int32_t n = p.stateful ? LXConvertStringEx(to, out.data(), 0, int32_t(out.size()), from, in.data(), 0,
                                                   int32_t(in.size()), 0)
                               : LXConvertString(to, out.data(), int32_t(out.size()), from, in.data(),
                                                 int32_t(in.size()), 0);
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

void BM_LXConvertBuffer(benchmark::State &state, const Pair &p) {
    bench::Library lib;
    LXLocale *from = lib.locale(p.lxFrom), *to = lib.locale(p.lxTo);
    if (!from || !to) return state.SkipWithError("locale not available");
    const Bytes &in = Input(p);
    Bytes out(kChunk);
    for (auto _ : state) {
        LXConversion *conv = LXOpenConversion(to, from);
        const unsigned char *src = in.data();
        int32_t srcLeft = 0;
        size_t done = 0;
        while (done < in.size()) {
            srcLeft = int32_t(std::min<size_t>(kChunk, in.size() - done));
            const unsigned char *chunkStart = src;
            for (;;) {
                unsigned char *dst = out.data();
                int32_t dstLeft = int32_t(out.size());
                int32_t rc = LXConvertBuffer(conv, &dst, &dstLeft, &src, &srcLeft);
                benchmark::DoNotOptimize(dst);
                if (rc != LX_ERR_OUTPUT_PENDING) break;
            }
            done += size_t(src - chunkStart);
        }
        LXCloseConversion(conv);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

void BM_iconv(benchmark::State &state, const Pair &p) {
    iconv_t cd = iconv_open(p.iconvTo, p.iconvFrom);
    if (cd == iconv_t(-1)) return state.SkipWithError("iconv does not know the pair");
    const Bytes &in = Input(p);
    Bytes out(in.size() * 4 + 16);
    for (auto _ : state) benchmark::DoNotOptimize(IconvConvert(cd, in, out));
    iconv_close(cd);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}

#ifdef LORVEX_BENCH_HAVE_ICU
void BM_ICU(benchmark::State &state, const Pair &p) {
    UErrorCode err = U_ZERO_ERROR;
    UConverter *from = ucnv_open(p.icuFrom, &err);
    UConverter *to = ucnv_open(p.icuTo, &err);
    if (U_FAILURE(err)) {
        if (from) ucnv_close(from);
        if (to) ucnv_close(to);
        return state.SkipWithError("ICU does not know the pair");
    }
    const Bytes &in = Input(p);
    Bytes out(in.size() * 4 + 16);
    std::vector<UChar> pivot(8192);
    for (auto _ : state) {
        char *dst = reinterpret_cast<char *>(out.data());
        const char *src = reinterpret_cast<const char *>(in.data());
        UChar *ps = pivot.data(), *pt = pivot.data();
        err = U_ZERO_ERROR;
        ucnv_convertEx(to, from, &dst, dst + out.size(), &src, src + in.size(), pivot.data(), &ps, &pt,
                       pivot.data() + pivot.size(), true, true, &err);
        benchmark::DoNotOptimize(dst);
    }
    ucnv_close(from);
    ucnv_close(to);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(in.size()));
}
#endif

int Register() {
    for (const Pair &p : kPairs) {
        const std::string n = p.name;
        const char *whole = p.stateful ? "/LXConvertStringEx" : "/LXConvertString";
        benchmark::RegisterBenchmark(("Convert/" + n + whole).c_str(), BM_LXConvertString, p);
        benchmark::RegisterBenchmark(("Convert/" + n + "/LXConvertBuffer").c_str(), BM_LXConvertBuffer, p);
        benchmark::RegisterBenchmark(("Convert/" + n + "/iconv").c_str(), BM_iconv, p);
#ifdef LORVEX_BENCH_HAVE_ICU
        benchmark::RegisterBenchmark(("Convert/" + n + "/ICU").c_str(), BM_ICU, p);
#endif
    }
    return 0;
}
const int kRegistered = Register();

}  // namespace
