// lxdc - the locale data compiler.
//
//   lxdc [--builtin] [--data DATA] -o DIR
//
// Collects the parts to compile into one list, checks the list as a whole,
// then writes one file per part and the control file that lists them all.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "parts.h"

namespace {

const char kUsage[] =
    "usage: lxdc [--builtin] [--data DATA] -o DIR\n"
    "\n"
    "Compiles locale parts into the locale directory DIR: one file per part\n"
    "and control.nls listing them.\n"
    "\n"
    "  --builtin     include the library's built-in locale\n"
    "                (English, UnitedStates, US-ASCII)\n"
    "  --data DATA   compile the sources under DATA: every DATA/codeset/*.txt;\n"
    "                a source replaces a built-in part of the same number\n"
    "  -o DIR        the locale directory to write (created when missing)\n"
    "  -h, --help    show this text\n"
    "  --version     show the version\n";

struct Options {
    bool builtin = false;
    std::string dataDir;
    std::string outDir;
};

// Returns -1 to go on, or the exit status.
int ParseArguments(int argc, char **argv, Options &opt) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (a == "--version") {
            std::printf("lxdc %s\n", LORVEX_VERSION);
            return 0;
        } else if (a == "--builtin") {
            opt.builtin = true;
        } else if (a == "--data") {
            if (i + 1 >= argc) throw lxdc::Error(a + " needs a directory");
            opt.dataDir = argv[++i];
        } else if (a.rfind("--data=", 0) == 0) {
            opt.dataDir = a.substr(7);
        } else if (a == "-o" || a == "--output") {
            if (i + 1 >= argc) throw lxdc::Error(a + " needs a directory");
            opt.outDir = argv[++i];
        } else if (a.rfind("-o", 0) == 0 && a.size() > 2) {
            opt.outDir = a.substr(2);
        } else if (a.rfind("--output=", 0) == 0) {
            opt.outDir = a.substr(9);
        } else {
            throw lxdc::Error("unknown argument \"" + a + "\" (see lxdc --help)");
        }
    }
    if (opt.outDir.empty()) throw lxdc::Error("no output directory given: use -o DIR");
    if (!opt.builtin && opt.dataDir.empty()) throw lxdc::Error("nothing to compile: give --builtin or --data");
    return -1;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        Options opt;
        if (int status = ParseArguments(argc, argv, opt); status >= 0) return status;

        lxdc::PartList parts;
        if (opt.builtin) lxdc::AddBuiltinParts(parts);
        if (!opt.dataDir.empty()) lxdc::AddDataParts(parts, opt.dataDir);

        lxdc::CheckParts(parts);
        lxdc::WriteDirectory(opt.outDir, parts);
        return 0;
    } catch (const lxdc::Error &e) {
        // Every line of a multi-problem message gets the program's name.
        const char *s = e.what();
        while (*s) {
            const char *end = std::strchr(s, '\n');
            const size_t n = end ? size_t(end - s) : std::strlen(s);
            std::fprintf(stderr, "lxdc: %.*s\n", int(n), s);
            s += n + (end ? 1 : 0);
        }
    } catch (const std::exception &e) {
        std::fprintf(stderr, "lxdc: %s\n", e.what());
    }
    return 1;
}
