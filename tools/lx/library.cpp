// Finding the locale directory and starting the library on it.
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "lx.h"

namespace fs = std::filesystem;

namespace {

// Where the build tree and an installation both keep the locale directory,
// relative to the directory of lx.
const char kBesideProgram[] = "../share/lorvex/locale";

// 0 when dir/control.nls can be opened for reading, else the library error
// code that opening it would give.
int32_t ControlFileError(const std::string &dir) {
    const std::string path = dir + "/control.nls";
    errno = 0;
    FILE *f = std::fopen(path.c_str(), "rb");
    if (f) {
        std::fclose(f);
        return 0;
    }
    switch (errno) {
        case ENOENT:
        case ENOTDIR: return LX_ERR_FILE_NOT_FOUND;
        case EACCES:
        case EPERM: return LX_ERR_ACCESS;
        case ENOMEM: return LX_ERR_NO_MEMORY;
        case ENAMETOOLONG: return LX_ERR_IO;
        default: return LX_ERR_PLATFORM;
    }
}

// The lx executable's path: /proc/self/exe, else argv[0] made absolute
// (searched along PATH when it holds no '/').  Empty when neither works.
std::string ExecutablePath(const char *argv0) {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (!ec && !exe.empty()) return exe.string();
    if (!argv0 || !*argv0) return {};
    if (std::strchr(argv0, '/')) {
        fs::path p = fs::weakly_canonical(fs::absolute(argv0, ec), ec);
        return ec ? std::string() : p.string();
    }
    const char *path = std::getenv("PATH");
    std::string rest = path ? path : "";
    size_t start = 0;
    while (start <= rest.size()) {
        size_t end = rest.find(':', start);
        if (end == std::string::npos) end = rest.size();
        std::string candidate = end > start ? rest.substr(start, end - start) : ".";
        candidate.append("/").append(argv0);
        if (::access(candidate.c_str(), X_OK) == 0) {
            fs::path p = fs::weakly_canonical(fs::absolute(candidate, ec), ec);
            return ec ? std::string() : p.string();
        }
        start = end + 1;
    }
    return {};
}

std::string Describe(const std::string &dir, int32_t code) {
    return dir + "/control.nls: " + lx_error_text(code);
}

}  // namespace

const char *lx_dir_source_text(DirSource s) {
    switch (s) {
        case DirSource::Option: return "given with -d";
        case DirSource::Environment: return "from LX_LOCALEDIR";
        case DirSource::BesideProgram: return "beside the program";
        case DirSource::LibraryDefault: break;
    }
    return "the library's default";
}

bool lx_find_locale_dir(const char *option, const char *argv0, LocaleDir &dir) {
    dir = LocaleDir{DirSource::LibraryDefault, {}, {}};
    if (option) {
        if (int32_t e = ControlFileError(option)) {
            lx_fail(std::string(option) + "/control.nls", e);
            return false;
        }
        dir = {DirSource::Option, option, {}};
        return true;
    }

    std::string note;
    if (const char *env = std::getenv("LX_LOCALEDIR"); env && *env) {
        if (int32_t e = ControlFileError(env)) {
            note = "LX_LOCALEDIR passed over: " + Describe(env, e);
        } else {
            dir = {DirSource::Environment, env, {}};
            return true;
        }
    }

    const std::string exe = ExecutablePath(argv0);
    if (!exe.empty()) {
        fs::path beside = (fs::path(exe).parent_path() / kBesideProgram).lexically_normal();
        std::string path = beside.string();
        if (path.size() > 1 && path.back() == '/') path.pop_back();
        if (ControlFileError(path) == 0) {
            dir = {DirSource::BesideProgram, path, note};
            return true;
        }
    }
    dir.note = note;
    return true;
}

LxLibrary::~LxLibrary() {
    if (running_) LXTerm();
}

bool LxLibrary::start(const LocaleDir &dir) {
    const char *path = dir.path.empty() ? nullptr : dir.path.c_str();
    initResult_ = LXInit(path, nullptr, nullptr, 0, 0);
    if (initResult_ != 0 && initResult_ != LX_ERR_BUILTIN_ONLY) {
        lx_fail(std::string("LXInit(") + (path ? path : "default directory") + ")", initResult_);
        return false;
    }
    running_ = true;
    return true;
}

bool LxLibrary::stop() {
    if (!running_) return true;
    running_ = false;
    if (int32_t e = LXTerm(); e != 0) {
        lx_fail("LXTerm", e);
        return false;
    }
    return true;
}
