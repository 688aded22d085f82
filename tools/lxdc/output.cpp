// Writing the locale directory.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "locale/layout.h"
#include "parts.h"

namespace lxdc {

namespace fs = std::filesystem;
using namespace lorvex;

namespace {

// Writes bytes to dir/name through dir/name.tmp, so that the target is
// either the old file or the complete new one.
void WriteFile(const fs::path &dir, const std::string &name, const Bytes &bytes) {
    const fs::path target = dir / name;
    const fs::path temp = dir / (name + ".tmp");
    errno = 0;
    if (!nls::WriteBytes(temp.string(), bytes)) {
        const int e = errno;
        std::error_code ignored;
        fs::remove(temp, ignored);
        throw Error(temp.string() + ": " + (e ? std::strerror(e) : "write failed"));
    }
    std::error_code ec;
    fs::rename(temp, target, ec);
    if (ec) {
        std::error_code ignored;
        fs::remove(temp, ignored);
        throw Error(target.string() + ": " + ec.message());
    }
}

}  // namespace

void WriteDirectory(const std::string &dirName, const PartList &parts) {
    const fs::path dir(dirName);
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec) throw Error(dir.string() + ": " + ec.message());
    if (!fs::is_directory(dir, ec)) throw Error(dir.string() + ": not a directory");

    std::vector<nls::ControlEntry> entries;
    entries.reserve(parts.size());
    for (const Part &p : parts) {
        Bytes file;
        try {
            file = nls::BuildFile(p.tables, p.versionWord);
        } catch (const std::exception &e) {
            throw Error(Describe(p) + ": " + e.what());
        }
        WriteFile(dir, nls::PartFileName(p.kind, p.number), file);
        entries.push_back({p.number, p.kind, p.name});
    }

    nls::SortEntries(entries);
    Bytes control;
    try {
        control = nls::BuildFile({nls::BuildRecords(entries)});
    } catch (const std::exception &e) {
        throw Error(std::string("control.nls: ") + e.what());
    }
    WriteFile(dir, "control.nls", control);
}

}  // namespace lxdc
