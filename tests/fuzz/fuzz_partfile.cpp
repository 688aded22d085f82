// Fuzzes the part-file loader: the input becomes a part file of the kind its
// first byte selects, listed in a valid control file, and is loaded through
// the registry.  A part that loads must have tables that lie wholly inside
// what the loader mapped or allocated: every byte of them is read.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "frame/state.h"
#include "locale/layout.h"
#include "locale/registry.h"
#include "nls_writer.h"

namespace {

std::string Dir() {
    static std::string dir = [] {
        char tmpl[] = "/tmp/lorvex-fuzz-XXXXXX";
        if (!mkdtemp(tmpl)) std::abort();
        return std::string(tmpl);
    }();
    return dir;
}

void WriteControl(uint8_t kind) {
    using namespace lorvex::nls;
    WriteBytes(Dir() + "/control.nls", BuildFile({BuildRecords({{1, kind, "Fuzz"}})}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1) return 0;
    const uint8_t kind = data[0] & 3;
    WriteControl(kind);
    lorvex::nls::WriteBytes(Dir() + "/" + lorvex::nls::PartFileName(kind, 1),
                            lorvex::nls::Bytes(data + 1, data + size));
    if (LXInit(Dir().c_str(), nullptr, nullptr, 0, LX_INIT_STRICT) != LX_OK) std::abort();
    int32_t err = 0;
    lorvex::PartRecord *rec = lorvex::LXFindPartByNumber(lorvex::Library().registry, kind, 1, lorvex::kLoad, &err);
    if (rec) {
        unsigned sum = 0;
        for (int t = 0; t < 4; ++t)
            for (uint32_t i = 0; rec->table[t] && i < rec->size[t]; ++i) sum += rec->table[t][i];
        volatile unsigned sink = sum;
        (void)sink;
    }
    LXTerm();
    return 0;
}
