// lx parts: the parts of the locale directory, one per line.
#include <cstdio>
#include <cstring>
#include <string>

#include "frame/state.h"
#include "locale/registry.h"
#include "lx.h"

const char kPartsUsage[] =
    "usage: lx parts [-d DIR]\n"
    "\n"
    "Lists the parts of the locale directory, one per line: kind (language,\n"
    "territory, codeset or sort), part number and name.  The first line names the\n"
    "directory and how it was found: -d DIR, else LX_LOCALEDIR, else\n"
    "../share/lorvex/locale beside lx, else the library's default.\n"
    "\n"
    "  -d DIR   read the locale directory DIR\n";

namespace {

const char *KindName(int32_t kind) {
    switch (kind) {
        case LX_KIND_LANGUAGE: return "language";
        case LX_KIND_TERRITORY: return "territory";
        case LX_KIND_CODESET: return "codeset";
        case LX_KIND_SORT: return "sort";
        default: return nullptr;
    }
}

void PrintPart(int32_t kind, unsigned number, const char *name) {
    if (const char *k = KindName(kind))
        std::printf("%-10s %5u  %s\n", k, number, name);
    else
        std::printf("kind-%-5d %5u  %s\n", int(kind), number, name);
}

}  // namespace

int lx_cmd_parts(int argc, char **argv, const char *argv0) {
    const char *dirOption = nullptr;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            std::fputs(kPartsUsage, stdout);
            return 0;
        } else if (a == "-d") {
            if (i + 1 >= argc) return lx_usage_error("parts: -d needs a directory");
            dirOption = argv[++i];
        } else if (a.rfind("-d", 0) == 0 && a.size() > 2) {
            dirOption = argv[i] + 2;
        } else {
            return lx_usage_error("parts: unexpected argument \"" + a + "\"");
        }
    }

    LocaleDir dir;
    if (!lx_find_locale_dir(dirOption, argv0, dir)) return 1;
    if (!dir.note.empty()) std::fprintf(stderr, "lx: %s\n", dir.note.c_str());

    LxLibrary lib;
    if (!lib.start(dir)) return 1;

    if (!lib.builtinOnly()) {
        std::printf("directory: %s (%s)\n",
                    dir.path.empty() ? LORVEX_DEFAULT_LOCALEDIR : dir.path.c_str(),
                    lx_dir_source_text(dir.source));
    } else {
        if (dir.path.empty())
            std::printf("directory: none found (no readable control.nls in LX_LOCALEDIR, "
                        "beside the program or in the library's default %s)\n",
                        LORVEX_DEFAULT_LOCALEDIR);
        else
            std::printf("directory: %s (%s) could not be used\n", dir.path.c_str(),
                        lx_dir_source_text(dir.source));
        std::printf("only the built-in locale (English_UnitedStates.US-ASCII) is available\n");
    }

    // The registry's records, in stored order: kind, number, name.
    const lorvex::Registry *registry = lorvex::Library().registry;
    const uint16_t count = registry ? registry->count : 0;
    for (uint16_t i = 0; i < count; ++i) {
        const lorvex::PartRecord &rec = registry->records[i];
        PrintPart(rec.kind, rec.number, rec.name);
    }
    if (count == 0) std::printf("(the control file lists no parts)\n");
    return lib.stop() ? 0 : 1;
}
