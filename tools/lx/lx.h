// Shared pieces of the lx program: error reporting, finding the locale
// directory, and starting and stopping the library around a subcommand.
#pragma once

#include <cstdint>
#include <string>

#include "lorvex.h"

// The meaning of a library error code, as one short phrase; "unknown error
// code" for a number the library does not define.
const char *lx_error_text(int32_t code);

// Prints "lx: <what>: error <code>: <meaning>" to stderr and returns 1, the
// exit status of a failed subcommand.
int lx_fail(const std::string &what, int32_t code);

// Prints "lx: <message>" to stderr and returns 2, the exit status of a
// command line lx does not understand.
int lx_usage_error(const std::string &message);

// Where the locale directory came from, in the order lx tries them.
enum class DirSource { Option, Environment, BesideProgram, LibraryDefault };

struct LocaleDir {
    DirSource source;
    std::string path;   // empty for LibraryDefault: the library picks it
    std::string note;   // why an earlier candidate was passed over, or empty
};

// Picks the locale directory: the -d argument (option, may be null), then
// LX_LOCALEDIR, then ../share/lorvex/locale beside the lx executable, each
// only when it holds a readable control.nls; otherwise the library's own
// default.  A -d directory without a readable control.nls is an error: the
// function prints it and returns false.
bool lx_find_locale_dir(const char *option, const char *argv0, LocaleDir &dir);

// "given with -d", "from LX_LOCALEDIR", ...
const char *lx_dir_source_text(DirSource s);

// The library, started on a locale directory for the life of the object.
class LxLibrary {
public:
    LxLibrary() = default;
    LxLibrary(const LxLibrary &) = delete;
    LxLibrary &operator=(const LxLibrary &) = delete;
    // Calls LXTerm if start() succeeded and stop() was not called.
    ~LxLibrary();

    // LXInit on dir; prints the failure and returns false when the library
    // did not start.  Result 10 (built-in locale only) is a start.
    bool start(const LocaleDir &dir);
    // LXTerm; prints the failure and returns false when it reported one.
    bool stop();

    // LXInit's result: 0, or 10 when only the built-in locale is available.
    int32_t initResult() const { return initResult_; }
    bool builtinOnly() const { return initResult_ == LX_ERR_BUILTIN_ONLY; }

private:
    bool running_ = false;
    int32_t initResult_ = 0;
};

// Subcommands: argv[0] is the subcommand's name; argv0 is lx's own.
int lx_cmd_parts(int argc, char **argv, const char *argv0);
extern const char kPartsUsage[];
int lx_cmd_locale(int argc, char **argv, const char *argv0);
extern const char kLocaleUsage[];
int lx_cmd_conv(int argc, char **argv, const char *argv0);
extern const char kConvUsage[];
int lx_cmd_map(int argc, char **argv, const char *argv0);
extern const char kMapUsage[];
