#include "support/locale_dir.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
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

const char kNativeNames[] =
    "0x0401 Arabic_SaudiArabia.MS1256;0x0402 Bulgarian_Bulgaria.MS1251;0x0403 Catalan_Catalonia.MS1252;"
    "0x0404 TraditionalChinese_Taiwan.MS950;0x0405 Czech_CzechRepublic.MS1250;0x0406 Danish_Denmark.MS1252;"
    "0x0407 German_Germany.MS1252;0x0408 Greek_Greece.MS1253;0x0409 English_UnitedStates.MS1252;"
    "0x040A Spanish_Spain.MS1252@TraditionalSpanish;0x040B Finnish_Finland.MS1252;0x040C French_France.MS1252;"
    "0x040D Hebrew_Israel.MS1255;0x040E Hungarian_Hungary.MS1250;0x040F Icelandic_Iceland.MS1252;"
    "0x0410 Italian_Italy.MS1252;0x0411 Japanese_Japan.MS932;0x0412 Korean_Korea.MS949;"
    "0x0413 Dutch_Netherlands.MS1252;0x0414 Norwegian_Norway.MS1252;0x0415 Polish_Poland.MS1250;"
    "0x0416 Portuguese_Brazil.MS1252;0x0417 Rhaeto-Romanic;0x0418 Romanian_Romania.MS1250;"
    "0x0419 Russian_Russia.MS1251;0x041A Croatian_Croatia.MS1250;0x041B Slovak_Slovakia.MS1250;"
    "0x041C Albanian_Albania.MS1250;0x041D Swedish_Sweden.MS1252;0x041E Thai_Thailand.MS874;"
    "0x041F Turkish_Turkey.MS1254;0x0420 Urdu_Pakistan.MS1256;0x0421 Indonesian_Indonesia.MS1252;"
    "0x0422 Ukrainian_Ukraine.MS1251;0x0423 Byelorussian_Belarus.MS1251;0x0424 Slovenian_Slovenia.MS1250;"
    "0x0425 Estonian_Estonia.MS1257;0x0426 Latvian_Latvia.MS1257;0x0427 Lithuanian_Lithuania.MS1257;"
    "0x0428 Maori;0x0429 Farsi_Iran.MS1256;0x042A Vietnamese_VietNam.MS1258;0x042B Laotian;"
    "0x042C Kampuchean;0x042D Basque.MS1252;0x042E Sorbian_Germany;0x042F Macedonian_Macedonia.MS1251;"
    "0x0430 Sutu;0x0431 Tsonga;0x0432 Tswana;0x0433 Venda;0x0434 Xhosa;0x0435 Zulu;"
    "0x0436 Afrikaans_SouthAfrica.MS1252;0x0438 Faeroese.MS1250;0x0439 Hindi_India;0x043A Maltese;"
    "0x043B Sami;0x043C ScotsGaelic;0x0801 Arabic_Iraq.MS1256;0x0804 SimplifiedChinese_China.MS936;"
    "0x0807 German_German-Switzerland.MS1252;0x0809 English_UnitedKingdom.MS1252;0x080A Spanish_Mexico.MS1252;"
    "0x080C French_French-Belgium.MS1252;0x0810 Italian_Italian-Switzerland.MS1252;0x0812 Korean_Korea.MS1361;"
    "0x0813 Dutch_Dutch-Belgium.MS1252;0x0814 Norwegian(Nynorsk)_Norway.MS1252;0x0816 Portuguese_Portugal.MS1252;"
    "0x0818 Romanian_Moldavia;0x0819 Russian_Moldavia;0x081A Serbian_Yugoslavia.MS1250;"
    "0x0C01 Arabic_Egypt.MS1256;0x0C04 TraditionalChinese_HongKong.MS950;0x0C09 English_Australia.MS1252;"
    "0x0C0A Spanish_Spain.MS1252@Spanish;0x0C0C CanadianFrench_French-Canada.MS1252;0x1001 Arabic_Libya.MS1256;"
    "0x1004 SimplifiedChinese_Singapore.MS936;0x1007 German_Luxembourg.MS1252;0x1009 English_Canada.MS1252;"
    "0x100A Spanish_Guatemala.MS1252;0x100C French_French-Switzerland.MS1252;0x1401 Arabic_Algeria.MS1256;"
    "0x1409 English_NewZealand.MS1252;0x140A Spanish_CostaRica.MS1252;0x140C French_Luxembourg.MS1252;"
    "0x1801 Arabic_Morocco.MS1256;0x1809 English_Ireland.MS1252;0x180A Spanish_Panama.MS1252;"
    "0x1C01 Arabic_Tunisia.MS1256;0x1C09 English_SouthAfrica.MS1252;0x1C0A Spanish_DominicanRepublic.MS1252;"
    "0x2001 Arabic_Oman.MS1256;0x2009 English_Jamaica.MS1252;0x200A Spanish_Venezuela.MS1252;"
    "0x2401 Arabic_Yemen.MS1256;0x2409 English_TheCarribean.MS1252;0x240A Spanish_Columbia.MS1252;"
    "0x2801 Arabic_Syria.MS1256;0x280A Spanish_Peru.MS1252;0x2C01 Arabic_Jordan.MS1256;"
    "0x2C0A Spanish_Argentina.MS1252;0x3001 Arabic_Lebanon.MS1256;0x300A Spanish_Ecuador.MS1252;"
    "0x3401 Arabic_Kuwait.MS1256;0x340A Spanish_Chile.MS1252;0x3801 Arabic_UnitedArabEmirates.MS1256;"
    "0x380A Spanish_Uruguay.MS1252;0x3C01 Arabic_Bahrain.MS1256;0x3C0A Spanish_Paraguay.MS1252;"
    "0x4001 Arabic_Qatar.MS1256;0x400A Spanish_Boliva.MS1252";

std::vector<std::string> Split(const std::string &s, char sep) {
    std::vector<std::string> out;
    std::string item;
    std::istringstream in(s);
    while (std::getline(in, item, sep)) out.push_back(item);
    return out;
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
