// lx map: maps standard input to standard output with LXMapStringEx (case,
// width or digits) in a locale's codeset, in fixed-size chunks, so that
// input of any size maps in constant memory.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "lx.h"

const char kMapUsage[] =
    "usage: lx map -l LOCALE (--upper|--lower|--full|--half|--digits) [-d DIR]\n"
    "\n"
    "Maps standard input, text in LOCALE's codeset, to standard output:\n"
    "\n"
    "  --upper    to upper case, with the language's special rules (German\n"
    "             \"ß\" becomes \"SS\", Turkish \"i\" becomes \"İ\")\n"
    "  --lower    to lower case, with the language's special rules\n"
    "  --full     half-width and ASCII forms to full-width forms\n"
    "  --half     full-width forms to half-width forms\n"
    "  --digits   native decimal digits to ASCII digits\n"
    "\n"
    "  -l LOCALE  the locale, Language[_Territory][.Codeset][@Sort], for\n"
    "             example Turkish_Turkey.UTF-8\n"
    "  -d DIR     read the locale directory DIR\n";

namespace {

constexpr size_t kChunk = 64 * 1024;
// One source byte becomes at most two characters (a rule), each of at most
// four bytes and a shift byte.
constexpr size_t kGrowth = 10;

struct KindOption {
    const char *option;
    uint32_t kind;
};
const KindOption kKinds[] = {{"--upper", LX_MAP_UPPER},    {"--lower", LX_MAP_LOWER},
                             {"--full", LX_MAP_FULLWIDTH}, {"--half", LX_MAP_HALFWIDTH},
                             {"--digits", LX_MAP_DIGITS}};

std::string KindList() {
    std::string s;
    for (const KindOption &o : kKinds) s += (s.empty() ? "" : ", ") + std::string(o.option);
    return s;
}

class Mapper {
public:
    Mapper(LXLocale *loc, uint32_t kind) : loc_(loc), kind_(kind), in_(kChunk), out_(kChunk * kGrowth + 16) {}

    // Maps standard input to standard output; false on a read, write or
    // mapping error (reported).
    bool run() {
        size_t have = 0;
        for (;;) {
            const size_t got = std::fread(in_.data() + have, 1, in_.size() - have, stdin);
            if (std::ferror(stdin)) return Report("read error");
            have += got;
            const bool last = have < in_.size();
            const size_t cut = last ? have : Cut(have);
            if (!map(cut)) return false;
            std::memmove(in_.data(), in_.data() + cut, have - cut);
            have -= cut;
            if (last) return std::fflush(stdout) == 0 || Report("write error");
        }
    }

private:
    // Where a full buffer is mapped up to: after its last line end, so that
    // a rule over two characters always sees both; in a line longer than the
    // buffer, the last character boundary.  Never inside a character.
    size_t Cut(size_t have) {
        size_t end = have;
        while (end > 0 && in_[end - 1] != '\n') --end;
        if (end == 0) end = have;
        const unsigned char *p = LXMoveStringPointerEx(loc_, in_.data(), inState_, int32_t(end), nullptr, 0);
        // A byte that no walk steps over (none of the shipped codesets has
        // one) would hold the buffer still: the whole buffer goes instead.
        return p > in_.data() ? size_t(p - in_.data()) : have;
    }

    // Maps in_[0..n) and writes the result; the source and output states
    // carry over to the next chunk.
    bool map(size_t n) {
        if (n == 0) return true;
        const int32_t written = LXMapStringEx(loc_, out_.data(), outState_, int32_t(out_.size()), in_.data(),
                                              inState_, int32_t(n), kind_);
        if (written < 0) {
            lx_fail("map: LXMapStringEx", LXGetError(loc_));
            return false;
        }
        LXMoveStringPointerEx(loc_, in_.data(), inState_, int32_t(n), &inState_, 0);
        LXMoveStringPointerEx(loc_, out_.data(), outState_, written, &outState_, 0);
        if (written > 0 && std::fwrite(out_.data(), 1, size_t(written), stdout) != size_t(written))
            return Report("write error");
        return true;
    }

    static bool Report(const char *what) {
        std::fprintf(stderr, "lx: map: %s: %s\n", what, std::strerror(errno));
        return false;
    }

    LXLocale *loc_;
    uint32_t kind_;
    std::vector<unsigned char> in_, out_;
    LXState inState_ = 0, outState_ = 0;
};

}  // namespace

int lx_cmd_map(int argc, char **argv, const char *argv0) {
    const char *dirOption = nullptr;
    std::string name;
    uint32_t kind = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const KindOption *k = nullptr;
        for (const KindOption &o : kKinds)
            if (a == o.option) k = &o;
        if (a == "-h" || a == "--help") {
            std::fputs(kMapUsage, stdout);
            return 0;
        } else if (k) {
            if (kind != 0 && kind != k->kind) return lx_usage_error("map: give only one of " + KindList());
            kind = k->kind;
        } else if (a == "-l") {
            if (i + 1 >= argc) return lx_usage_error("map: -l needs a locale name");
            name = argv[++i];
        } else if (a == "-d") {
            if (i + 1 >= argc) return lx_usage_error("map: -d needs a directory");
            dirOption = argv[++i];
        } else {
            return lx_usage_error("map: unknown argument \"" + a + "\"");
        }
    }
    if (name.empty()) return lx_usage_error("map: give the locale with -l LOCALE");
    if (kind == 0) return lx_usage_error("map: give one of " + KindList());

    LocaleDir dir;
    if (!lx_find_locale_dir(dirOption, argv0, dir)) return 1;
    LxLibrary lib;
    if (!lib.start(dir)) return 1;
    int32_t err = LX_OK;
    LXLocale *loc = LXGetLocale(name.c_str(), 0, &err);
    if (!loc) return lx_fail("LXGetLocale(" + name + ")", err);
    const bool ok = Mapper(loc, kind).run();
    LXReleaseLocale(loc, 0);
    return ok ? 0 : 1;
}
