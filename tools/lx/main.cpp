// lx - the lorvex command-line program: one program, one subcommand per task,
// all of it through the library's public interface.
#include <cstdio>
#include <cstring>
#include <string>

#include "lx.h"

namespace {

struct Command {
    const char *name;
    const char *summary;
    const char *usage;
    int (*run)(int argc, char **argv, const char *argv0);
};

const Command kCommands[] = {
    {"parts", "list the parts of the locale directory", kPartsUsage, lx_cmd_parts},
    {"locale", "show the information items of a locale", kLocaleUsage, lx_cmd_locale},
    {"conv", "convert files between codesets, as iconv", kConvUsage, lx_cmd_conv},
    {"map", "map text to upper or lower case, width or ASCII digits", kMapUsage, lx_cmd_map},
};

void PrintHelp(FILE *out) {
    std::fputs("usage: lx COMMAND [ARGUMENTS]\n"
               "       lx help [COMMAND]\n"
               "       lx --version\n"
               "\n"
               "Commands:\n",
               out);
    for (const Command &c : kCommands) std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
    std::fputs("\nThe locale directory is the one given with -d, else LX_LOCALEDIR,\n"
               "else ../share/lorvex/locale beside lx, else the library's default.\n",
               out);
}

const Command *Find(const char *name) {
    for (const Command &c : kCommands)
        if (std::strcmp(c.name, name) == 0) return &c;
    return nullptr;
}

}  // namespace

int main(int argc, char **argv) {
    const char *argv0 = argc > 0 ? argv[0] : nullptr;
    if (argc < 2) {
        PrintHelp(stderr);
        return 2;
    }
    const std::string first = argv[1];
    if (first == "--version" || first == "-V") {
        std::printf("lx %s\n", LORVEX_VERSION);
        return 0;
    }
    if (first == "help" || first == "-h" || first == "--help") {
        if (argc > 2) {
            const Command *c = Find(argv[2]);
            if (!c) return lx_usage_error("no command \"" + std::string(argv[2]) + "\"");
            std::fputs(c->usage, stdout);
            return 0;
        }
        PrintHelp(stdout);
        return 0;
    }
    const Command *c = Find(argv[1]);
    if (!c) return lx_usage_error("no command \"" + first + "\"");
    return c->run(argc - 1, argv + 1, argv0);
}
