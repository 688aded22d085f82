// lx conv: converts files from one codeset to another, as iconv does, through
// LXConvertBuffer in fixed-size buffers, so that a file of any size converts
// in constant memory.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "codeset/codeset.h"
#include "codeset/convert.h"
#include "codeset/unicode.h"
#include "frame/state.h"
#include "locale/locale_object.h"
#include "locale/registry.h"
#include "lx.h"

const char kConvUsage[] =
    "usage: lx conv -f FROM -t TO [-c] [-o OUT] [-d DIR] [FILE...]\n"
    "       lx conv -l [-d DIR]\n"
    "\n"
    "Converts the FILEs (standard input when none, or for \"-\") from codeset\n"
    "FROM to codeset TO and writes the result to standard output or OUT.\n"
    "Codeset names are the part names (MS1252, UTF-8, IBM939, ...), in any case.\n"
    "\n"
    "A character the target cannot represent becomes the target's substitution\n"
    "character, and bytes that are not a character of FROM are converted as\n"
    "U+FFFD; with -c such characters are left out instead.  A stateful target\n"
    "is always returned to its initial state at the end.\n"
    "\n"
    "  -f FROM   source codeset\n"
    "  -t TO     target codeset\n"
    "  -c        omit characters that cannot be converted\n"
    "  -o OUT    write to OUT instead of standard output\n"
    "  -l        list the codesets\n"
    "  -d DIR    read the locale directory DIR\n";

namespace {

constexpr size_t kBufferSize = 64 * 1024;

using lorvex::Codeset;
using lorvex::PartRecord;

// A locale for one codeset: language and territory 1 with the named codeset
// part, found by name without regard to case.
LXLocale *CodesetLocale(const std::string &name, int32_t *err) {
    lorvex::Registry *r = lorvex::Library().registry;
    *err = LX_OK;
    PartRecord *cs = lorvex::LXFindPartByName(r, lorvex::layout::kCodeset, name.c_str(),
                                              int32_t(name.size()), lorvex::kLoad, err);
    if (!cs) {
        if (*err == LX_OK || *err == LX_ERR_REJECTED) *err = LX_ERR_NO_CODESET;
        return nullptr;
    }
    int32_t e = LX_OK;
    PartRecord *la = lorvex::LXFindPartByNumber(r, lorvex::layout::kLanguage, 1, lorvex::kLoad, &e);
    PartRecord *te = lorvex::LXFindPartByNumber(r, lorvex::layout::kTerritory, 1, lorvex::kLoad, &e);
    if (!la || !te) {
        *err = la ? LX_ERR_NO_TERRITORY : LX_ERR_NO_LANGUAGE;
        return nullptr;
    }
    return lorvex::NewLocale(la, te, cs, nullptr, err);
}

// -c: drops the source characters that would not survive the conversion,
// before the bytes reach LXConvertBuffer.  A character survives when it is a
// character of the source (it decodes to something other than U+FFFD, or the
// source itself maps U+FFFD to it) and the target represents its value (it
// does not encode to the substitution byte, unless the value is the
// substitution character itself).
class Omitter {
public:
    Omitter(const Codeset &from, const Codeset &to) : from_(from), to_(to) {}

    // Appends the surviving characters of in[0..n) to out and returns how
    // many bytes at the end form an incomplete character (kept by the caller
    // for the next chunk).  At the end of the input, last is true and an
    // incomplete character is dropped.
    size_t filter(const uint8_t *in, size_t n, bool last, std::vector<uint8_t> &out) {
        size_t at = 0;
        while (at < n) {
            const uint8_t b = in[at];
            if (from_.stateful() && (b == from_.shiftOut() || b == from_.shiftIn())) {
                state_ = b == from_.shiftOut();
                out.push_back(b);
                ++at;
                continue;
            }
            size_t len = from_.stateful() ? (state_ ? from_.maxBytes() : 1u) : from_.byteLength(b);
            if (len == 0) len = 1;
            if (at + len > n) return last ? 0 : n - at;
            if (survives(in + at, unsigned(len))) out.insert(out.end(), in + at, in + at + len);
            at += len;
        }
        return 0;
    }

private:
    bool survives(const uint8_t *s, unsigned len) const {
        const uint16_t u = lorvex::DecodeMb(from_, s, len);
        if (u == lorvex::kReplacement) {
            uint8_t back[4];
            const unsigned k = lorvex::EncodeUnicode(from_, u, back);
            if (k != len || std::memcmp(back, s, len) != 0) return false;
        }
        const LXWchar code = lorvex::EncodeToWchar(to_, u);
        if (code == to_.substitution() && lorvex::DecodeWchar(to_, code) != u) return false;
        return true;
    }

    const Codeset &from_;
    const Codeset &to_;
    bool state_ = false;
};

class Converter {
public:
    Converter(LXLocale *from, LXLocale *to, bool omit, FILE *out)
        : from_(from), to_(to), out_(out), conv_(LXOpenConversion(to, from)), fromSet_(from->codeset),
          toSet_(to->codeset), omitter_(fromSet_, toSet_), omit_(omit), outBuf_(kBufferSize) {}
    ~Converter() {
        if (conv_) LXCloseConversion(conv_);
    }
    bool ok() const { return conv_ != nullptr; }

    // Converts one file; false on a read or write error (reported).
    bool file(FILE *in, const char *name) {
        std::vector<uint8_t> inBuf(kBufferSize), filtered, carry;
        for (;;) {
            const size_t got = std::fread(inBuf.data(), 1, inBuf.size(), in);
            if (std::ferror(in)) {
                std::fprintf(stderr, "lx: conv: %s: %s\n", name, std::strerror(errno));
                return false;
            }
            const bool last = got < inBuf.size();
            if (!omit_) {
                if (!feed(inBuf.data(), got)) return false;
            } else {
                std::vector<uint8_t> joined(carry);
                joined.insert(joined.end(), inBuf.begin(), inBuf.begin() + long(got));
                filtered.clear();
                const size_t keep = omitter_.filter(joined.data(), joined.size(), last, filtered);
                carry.assign(joined.end() - long(keep), joined.end());
                if (!feed(filtered.data(), filtered.size())) return false;
            }
            if (last) return true;
        }
    }

    // Returns a stateful target to state 0 and flushes.
    bool finish() {
        if (conv_->targetState != 0) {
            unsigned char close[2];
            const int32_t n = LXTerminateStringEx(to_, close, 1, 0);
            if (n > 0 && !write(close, size_t(n))) return false;
        }
        if (std::fflush(out_) != 0) {
            std::fprintf(stderr, "lx: conv: write error: %s\n", std::strerror(errno));
            return false;
        }
        return true;
    }

private:
    bool feed(const uint8_t *data, size_t n) {
        const unsigned char *src = data;
        int32_t srcLeft = int32_t(n);
        int32_t rc;
        do {
            unsigned char *dst = outBuf_.data();
            int32_t dstLeft = int32_t(outBuf_.size());
            rc = LXConvertBuffer(conv_, &dst, &dstLeft, &src, &srcLeft);
            if (!write(outBuf_.data(), outBuf_.size() - size_t(dstLeft))) return false;
        } while (rc == LX_ERR_OUTPUT_PENDING);
        // 53: the input ended inside a character; its bytes wait in the
        // conversion object for the next chunk.
        return true;
    }

    bool write(const unsigned char *p, size_t n) {
        if (n != 0 && std::fwrite(p, 1, n, out_) != n) {
            std::fprintf(stderr, "lx: conv: write error: %s\n", std::strerror(errno));
            return false;
        }
        return true;
    }

    LXLocale *from_, *to_;
    FILE *out_;
    LXConversion *conv_;
    Codeset fromSet_, toSet_;
    Omitter omitter_;
    bool omit_;
    std::vector<unsigned char> outBuf_;
};

int ListCodesets() {
    const lorvex::Registry *r = lorvex::Library().registry;
    for (uint16_t i = 0; r && i < r->count; ++i)
        if (r->records[i].kind == lorvex::layout::kCodeset) std::printf("%s\n", r->records[i].name);
    return 0;
}

}  // namespace

int lx_cmd_conv(int argc, char **argv, const char *argv0) {
    const char *dirOption = nullptr;
    std::string from, to, outName;
    bool omit = false, list = false;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&](std::string &into) -> bool {
            if (i + 1 >= argc) return false;
            into = argv[++i];
            return true;
        };
        std::string dir;
        if (a == "-h" || a == "--help") {
            std::fputs(kConvUsage, stdout);
            return 0;
        } else if (a == "-f") {
            if (!value(from)) return lx_usage_error("conv: -f needs a codeset");
        } else if (a == "-t") {
            if (!value(to)) return lx_usage_error("conv: -t needs a codeset");
        } else if (a == "-o") {
            if (!value(outName)) return lx_usage_error("conv: -o needs a file");
        } else if (a == "-d") {
            if (i + 1 >= argc) return lx_usage_error("conv: -d needs a directory");
            dirOption = argv[++i];
        } else if (a == "-c") {
            omit = true;
        } else if (a == "-l") {
            list = true;
        } else if (a.size() > 2 && a[0] == '-' && (a[1] == 'f' || a[1] == 't' || a[1] == 'o')) {
            (a[1] == 'f' ? from : a[1] == 't' ? to : outName) = a.substr(2);
        } else if (a.size() > 1 && a[0] == '-' && a != "-") {
            return lx_usage_error("conv: unknown option \"" + a + "\"");
        } else {
            files.push_back(a);
        }
    }
    if (!list && (from.empty() || to.empty())) return lx_usage_error("conv: give -f FROM and -t TO");

    LocaleDir dir;
    if (!lx_find_locale_dir(dirOption, argv0, dir)) return 1;
    LxLibrary lib;
    if (!lib.start(dir)) return 1;
    if (list) return ListCodesets();

    int32_t err = LX_OK;
    LXLocale *src = CodesetLocale(from, &err);
    if (!src) return lx_fail("conv: codeset \"" + from + "\"", err);
    LXLocale *dst = CodesetLocale(to, &err);
    if (!dst) {
        LXReleaseLocale(src, 0);
        return lx_fail("conv: codeset \"" + to + "\"", err);
    }

    FILE *out = stdout;
    if (!outName.empty() && !(out = std::fopen(outName.c_str(), "wb"))) {
        std::fprintf(stderr, "lx: conv: %s: %s\n", outName.c_str(), std::strerror(errno));
        LXReleaseLocale(src, 0);
        LXReleaseLocale(dst, 0);
        return 1;
    }
    int status = 0;
    {
        Converter conv(src, dst, omit, out);
        if (!conv.ok()) {
            status = lx_fail("conv: LXOpenConversion", LXGetError(dst));
        } else {
            if (files.empty()) files.push_back("-");
            for (const std::string &name : files) {
                FILE *in = name == "-" ? stdin : std::fopen(name.c_str(), "rb");
                if (!in) {
                    std::fprintf(stderr, "lx: conv: %s: %s\n", name.c_str(), std::strerror(errno));
                    status = 1;
                    break;
                }
                const bool ok = conv.file(in, name.c_str());
                if (in != stdin) std::fclose(in);
                if (!ok) {
                    status = 1;
                    break;
                }
            }
            if (status == 0 && !conv.finish()) status = 1;
        }
    }
    if (out != stdout && std::fclose(out) != 0) status = 1;
    LXReleaseLocale(src, 0);
    LXReleaseLocale(dst, 0);
    return status;
}
