// Parts compiled from the text sources of a data directory.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "codeset_compiler.h"
#include "locale_compiler.h"
#include "parts.h"

namespace lxdc {

namespace fs = std::filesystem;

namespace {

// DIR/SUB/*.txt sorted by name, so that the output does not depend on the
// order the file system lists them in.  A missing SUB holds no sources.
std::vector<fs::path> Sources(const fs::path &dir, const char *sub) {
    std::vector<fs::path> out;
    std::error_code ec;
    const fs::path where = dir / sub;
    if (!fs::exists(where, ec)) return out;
    for (fs::directory_iterator it(where, ec), end; !ec && it != end; it.increment(ec))
        if (it->path().extension() == ".txt" && it->is_regular_file(ec)) out.push_back(it->path());
    if (ec) throw Error(where.string() + ": " + ec.message());
    std::sort(out.begin(), out.end());
    return out;
}

std::string ReadText(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in) throw Error(path.string() + ": cannot read");
    return text.str();
}

// Each kind of source: its subdirectory of the data directory and its compiler.
struct SourceKind {
    const char *subdirectory;
    Part (*compile)(const std::string &text, const std::string &fileName);
};
constexpr SourceKind kSourceKinds[] = {
    {"language", CompileLanguage},
    {"territory", CompileTerritory},
    {"codeset", CompileCodeset},
};

}  // namespace

void AddDataParts(PartList &parts, const std::string &dirName) {
    const fs::path dir(dirName);
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) throw Error(dir.string() + ": not a directory");
    PartList compiled;
    for (const SourceKind &kind : kSourceKinds)
        for (const fs::path &file : Sources(dir, kind.subdirectory))
            compiled.push_back(kind.compile(ReadText(file), file.string()));
    for (Part &p : compiled) {
        // A source replaces the built-in part of its kind and number; two
        // sources of one number are left for CheckParts to report.
        std::erase_if(parts, [&](const Part &q) {
            return q.kind == p.kind && q.number == p.number && q.origin == kBuiltinOrigin;
        });
        parts.push_back(std::move(p));
    }
}

}  // namespace lxdc
