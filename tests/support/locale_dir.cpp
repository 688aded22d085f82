#include "support/locale_dir.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "locale/builtin.h"
#include "locale/layout.h"

namespace lorvex::test {

TempDir::TempDir() {
    char tmpl[] = "/tmp/lorvex-test-XXXXXX";
    if (!mkdtemp(tmpl)) throw std::runtime_error("mkdtemp failed");
    path_ = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

void TempDir::write(const std::string &name, const Bytes &bytes) const {
    if (!nls::WriteBytes(file(name), bytes)) throw std::runtime_error("cannot write " + file(name));
}

void TempDir::remove(const std::string &name) const { std::filesystem::remove(file(name)); }

Bytes BuiltinTable(uint8_t kind, int table) {
    const builtin::Table *t = nullptr;
    switch (kind) {
    case layout::kLanguage: t = &builtin::kLanguage; break;
    case layout::kTerritory: t = &builtin::kTerritory; break;
    case layout::kCodeset: t = table == 2 ? &builtin::kCodesetTable2 : &builtin::kCodeset; break;
    default: break;
    }
    if (!t || (table != 0 && !(kind == layout::kCodeset && table == 2))) return Bytes(layout::so::kFixed, 0);
    return Bytes(t->data, t->data + t->size);
}

void LocaleDir::control(const std::vector<ControlEntry> &entries, uint32_t magic) const {
    Bytes bytes = nls::BuildFile({nls::BuildRecords(entries)});
    layout::wr32(&bytes[layout::kHdrMagic], magic);
    write("control.nls", bytes);
}

void LocaleDir::part(uint8_t kind, uint16_t number, const std::vector<Bytes> &tables,
                     uint32_t versionWord) const {
    write(nls::PartFileName(kind, number), nls::BuildFile(tables, versionWord));
}

void LocaleDir::builtinPart(uint8_t kind, uint16_t number) const {
    if (kind == layout::kCodeset)
        part(kind, number, {BuiltinTable(kind), {}, BuiltinTable(kind, 2)});
    else
        part(kind, number, {BuiltinTable(kind)});
}

void LocaleDir::standard() const {
    control({{1, 0, "English"}, {1, 1, "UnitedStates"}, {1, 2, "US-ASCII"}});
    builtinPart(layout::kLanguage, 1);
    builtinPart(layout::kTerritory, 1);
    builtinPart(layout::kCodeset, 1);
}

void *CountingAllocator::Alloc(uintptr_t ctx, size_t size) {
    auto *self = reinterpret_cast<CountingAllocator *>(ctx);
    ++self->allocations;
    if (self->failAt != 0 && self->allocations == self->failAt) return nullptr;
    void *p = std::malloc(size ? size : 1);
    if (p) ++self->live;
    return p;
}

int32_t CountingAllocator::Free(uintptr_t ctx, void *block) {
    auto *self = reinterpret_cast<CountingAllocator *>(ctx);
    ++self->frees;
    if (block) {
        --self->live;
        std::free(block);
    }
    return self->failFrees || self->frees == self->failFreeAt ? 0 : 1;
}

ScopedEnv::ScopedEnv(const char *name, std::optional<std::string> value) : name_(name) {
    if (const char *old = std::getenv(name)) old_ = old;
    if (value) setenv(name, value->c_str(), 1);
    else unsetenv(name);
}

ScopedEnv::~ScopedEnv() {
    if (old_) setenv(name_.c_str(), old_->c_str(), 1);
    else unsetenv(name_.c_str());
}

Started::Started(const char *dir, uint32_t flags, CountingAllocator *a)
    : result_(a ? LXInit(dir, &CountingAllocator::Alloc, &CountingAllocator::Free, a->context(), flags)
                : LXInit(dir, nullptr, nullptr, 0, flags)) {}

Started::~Started() {
    if (result_ == LX_OK || result_ == LX_ERR_BUILTIN_ONLY) LXTerm();
}

}  // namespace lorvex::test
