#!/usr/bin/env python3
"""Writes the language and territory sources data/language/*.txt and
data/territory/*.txt from the POSIX locale sources of this machine
(/usr/share/i18n/locales, Debian's "locales" package), and from ICU's locale
data (libicu, through ctypes) for the few locales that have no POSIX source.

Run from the repository root:

    python3 tools/import/import_locales.py            # write data/language/, data/territory/
    python3 tools/import/import_locales.py --check    # compare, write nothing

What is written, and from where:

- The parts to write, their names and numbers come from two tables kept
  below: NATIVE_NAMES (Windows locale identifiers and the locale names they
  stand for) and PART_ROWS (language, territory and codeset part numbers with
  the identifier they convert to). Joining them numbers every language,
  territory and codeset they name; the rest are numbered by the rules in
  number_parts().
- A language file holds the day, month and AM/PM names of the locale of the
  language and its default territory; a territory file holds the numeric,
  monetary and date/time conventions of the locale of the first row that
  names it (assign_locales). LANGUAGE_INFO and TERRITORY_INFO turn a
  (language, territory) pair into a POSIX locale name.
- Every value goes through the conversions documented at each function:
  grouping (posix_grouping), currency placement (posix_flag,
  posix_sign_position), separators (one_character, other_separator), and
  time pictures (PosixPicture).
- A language's case rules come from Unicode's SpecialCasing.txt (Debian's
  unicode-data) and the language's entry in CASE_RULES (case_rules).
- Hand corrections live in OVERRIDES, each with its reason; nothing else is
  edited by hand.

docs/locale-source.md describes the file format. Python standard library
only.
"""

import argparse
import ctypes
import datetime
import os
import re
import sys
import unicodedata

SCRIPT = "tools/import/import_locales.py"
REGENERATE = "python3 tools/import/import_locales.py"
REPO_ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LANGUAGE_DIR = os.path.join(REPO_ROOT, "data", "language")
TERRITORY_DIR = os.path.join(REPO_ROOT, "data", "territory")
POSIX_DIR = "/usr/share/i18n/locales"


class SourceError(Exception):
    """A problem in the sources or the tables; printed as it is."""


# ---------------------------------------------------------------------------
# The tables: Windows locale identifiers and the locale names they stand for,
# and the part numbers of the rows that convert back to an identifier.

NATIVE_NAMES = """
0x0401 Arabic_SaudiArabia.MS1256; 0x0402 Bulgarian_Bulgaria.MS1251; 0x0403 Catalan_Catalonia.MS1252;
0x0404 TraditionalChinese_Taiwan.MS950; 0x0405 Czech_CzechRepublic.MS1250; 0x0406 Danish_Denmark.MS1252;
0x0407 German_Germany.MS1252; 0x0408 Greek_Greece.MS1253; 0x0409 English_UnitedStates.MS1252;
0x040A Spanish_Spain.MS1252@TraditionalSpanish; 0x040B Finnish_Finland.MS1252; 0x040C French_France.MS1252;
0x040D Hebrew_Israel.MS1255; 0x040E Hungarian_Hungary.MS1250; 0x040F Icelandic_Iceland.MS1252;
0x0410 Italian_Italy.MS1252; 0x0411 Japanese_Japan.MS932; 0x0412 Korean_Korea.MS949;
0x0413 Dutch_Netherlands.MS1252; 0x0414 Norwegian_Norway.MS1252; 0x0415 Polish_Poland.MS1250;
0x0416 Portuguese_Brazil.MS1252; 0x0417 Rhaeto-Romanic; 0x0418 Romanian_Romania.MS1250;
0x0419 Russian_Russia.MS1251; 0x041A Croatian_Croatia.MS1250; 0x041B Slovak_Slovakia.MS1250;
0x041C Albanian_Albania.MS1250; 0x041D Swedish_Sweden.MS1252; 0x041E Thai_Thailand.MS874;
0x041F Turkish_Turkey.MS1254; 0x0420 Urdu_Pakistan.MS1256; 0x0421 Indonesian_Indonesia.MS1252;
0x0422 Ukrainian_Ukraine.MS1251; 0x0423 Byelorussian_Belarus.MS1251; 0x0424 Slovenian_Slovenia.MS1250;
0x0425 Estonian_Estonia.MS1257; 0x0426 Latvian_Latvia.MS1257; 0x0427 Lithuanian_Lithuania.MS1257;
0x0428 Maori; 0x0429 Farsi_Iran.MS1256; 0x042A Vietnamese_VietNam.MS1258; 0x042B Laotian;
0x042C Kampuchean; 0x042D Basque.MS1252; 0x042E Sorbian_Germany; 0x042F Macedonian_Macedonia.MS1251;
0x0430 Sutu; 0x0431 Tsonga; 0x0432 Tswana; 0x0433 Venda; 0x0434 Xhosa; 0x0435 Zulu;
0x0436 Afrikaans_SouthAfrica.MS1252; 0x0438 Faeroese.MS1250; 0x0439 Hindi_India; 0x043A Maltese;
0x043B Sami; 0x043C ScotsGaelic; 0x0801 Arabic_Iraq.MS1256; 0x0804 SimplifiedChinese_China.MS936;
0x0807 German_German-Switzerland.MS1252; 0x0809 English_UnitedKingdom.MS1252; 0x080A Spanish_Mexico.MS1252;
0x080C French_French-Belgium.MS1252; 0x0810 Italian_Italian-Switzerland.MS1252; 0x0812 Korean_Korea.MS1361;
0x0813 Dutch_Dutch-Belgium.MS1252; 0x0814 Norwegian(Nynorsk)_Norway.MS1252; 0x0816 Portuguese_Portugal.MS1252;
0x0818 Romanian_Moldavia; 0x0819 Russian_Moldavia; 0x081A Serbian_Yugoslavia.MS1250;
0x0C01 Arabic_Egypt.MS1256; 0x0C04 TraditionalChinese_HongKong.MS950; 0x0C09 English_Australia.MS1252;
0x0C0A Spanish_Spain.MS1252@Spanish; 0x0C0C CanadianFrench_French-Canada.MS1252; 0x1001 Arabic_Libya.MS1256;
0x1004 SimplifiedChinese_Singapore.MS936; 0x1007 German_Luxembourg.MS1252; 0x1009 English_Canada.MS1252;
0x100A Spanish_Guatemala.MS1252; 0x100C French_French-Switzerland.MS1252; 0x1401 Arabic_Algeria.MS1256;
0x1409 English_NewZealand.MS1252; 0x140A Spanish_CostaRica.MS1252; 0x140C French_Luxembourg.MS1252;
0x1801 Arabic_Morocco.MS1256; 0x1809 English_Ireland.MS1252; 0x180A Spanish_Panama.MS1252;
0x1C01 Arabic_Tunisia.MS1256; 0x1C09 English_SouthAfrica.MS1252; 0x1C0A Spanish_DominicanRepublic.MS1252;
0x2001 Arabic_Oman.MS1256; 0x2009 English_Jamaica.MS1252; 0x200A Spanish_Venezuela.MS1252;
0x2401 Arabic_Yemen.MS1256; 0x2409 English_TheCarribean.MS1252; 0x240A Spanish_Columbia.MS1252;
0x2801 Arabic_Syria.MS1256; 0x280A Spanish_Peru.MS1252; 0x2C01 Arabic_Jordan.MS1256;
0x2C0A Spanish_Argentina.MS1252; 0x3001 Arabic_Lebanon.MS1256; 0x300A Spanish_Ecuador.MS1252;
0x3401 Arabic_Kuwait.MS1256; 0x340A Spanish_Chile.MS1252; 0x3801 Arabic_UnitedArabEmirates.MS1256;
0x380A Spanish_Uruguay.MS1252; 0x3C01 Arabic_Bahrain.MS1256; 0x3C0A Spanish_Paraguay.MS1252;
0x4001 Arabic_Qatar.MS1256; 0x400A Spanish_Boliva.MS1252
"""

PART_ROWS = """
1/1/2252/1 0x0409; 1/36/2252/1 0x0C09; 1/124/2252/1 0x1009; 1/826/2252/1 0x0809; 1/710/2252/1 0x1C09;
2/276/2252/1 0x0407; 2/40/2252/1 0x0C07; 2/756/2252/1 0x0807; 3/250/2252/1 0x040C; 3/757/2252/1 0x100C;
3/57/2252/1 0x080C; 4/724/2252/2 0x0C0A; 4/724/2252/3 0x040A; 4/32/2252/2 0x2C0A; 4/152/2252/2 0x340A;
4/484/2252/2 0x080A; 5/380/2252/1 0x0410; 5/758/2252/1 0x0810; 6/620/2252/1 0x0816; 6/76/2252/1 0x0416;
7/578/2252/4 0x0414; 8/752/2252/5 0x041D; 9/208/2252/4 0x0406; 10/246/2252/6 0x040B; 11/392/2024/0 0x0411;
12/125/2252/1 0x0C0C; 13/158/950/0 0x0404; 14/156/936/0 0x0804; 15/8/2250/1 0x041C; 16/682/2256/1 0x0401;
17/100/2251/1 0x0402; 18/112/2251/1 0x0423; 19/134/2252/1 0x0403; 20/191/2250/7 0x041A;
21/203/2250/8 0x0405; 22/528/2252/1 0x0413; 22/56/2252/1 0x0813; 23/233/2257/9 0x0425;
24/364/2256/1 0x0429; 25/300/2253/1 0x0408; 26/376/2255/1 0x040D; 27/348/2250/10 0x040E;
28/410/949/0 0x0412; 28/410/1361/0 0x0812; 29/428/2257/11 0x0426; 30/442/2257/12 0x0427;
31/807/2251/1 0x042F; 32/642/2250/13 0x0418; 33/643/2251/1 0x0419; 34/891/2250/1 0x081A;
35/891/2251/1 0x0C1A; 36/703/2250/14 0x041B; 37/705/2250/15 0x0424; 38/764/874/16 0x041E;
39/792/2254/17 0x041F; 40/804/2251/18 0x0422; 41/704/2258/19 0x042A
"""

# Two rows of PART_ROWS convert to identifiers that NATIVE_NAMES does not
# list; these are the names their part numbers stand for.
EXTRA_NATIVE_NAMES = {
    0x0C07: "German_Austria.MS1252",
    0x0C1A: "Serbian(Cyrillic)_Yugoslavia.MS1251",
}

# Languages that only NATIVE_NAMES names are numbered from 42 up, in this
# order.
NEW_LANGUAGES = [
    "Icelandic", "Polish", "Urdu", "Indonesian", "Basque", "Afrikaans", "Faeroese", "Hindi",
    "Norwegian(Nynorsk)", "Sorbian", "Maltese", "Sami", "ScotsGaelic", "Maori", "Laotian",
    "Kampuchean", "Sutu", "Tsonga", "Tswana", "Venda", "Xhosa", "Zulu", "Rhaeto-Romanic",
]
FIRST_NEW_LANGUAGE = 42

# The codeset a language uses when no row names one.
UTF8_CODESET = ("UTF-8", 106)

# Numbers from 901 up go to territories whose ISO 3166-1 number is taken by
# another part, or that have none.
FIRST_FREE_TERRITORY = 901

# ---------------------------------------------------------------------------
# Languages: POSIX language code (and modifier), abbreviation (ISO 639-1 in
# capitals, ISO 639-2 where there is no two-letter code) and English name.

LANGUAGE_INFO = {
    "English": ("en", "", "EN", "English"),
    "German": ("de", "", "DE", "German"),
    "French": ("fr", "", "FR", "French"),
    "Spanish": ("es", "", "ES", "Spanish"),
    "Italian": ("it", "", "IT", "Italian"),
    "Portuguese": ("pt", "", "PT", "Portuguese"),
    "Norwegian": ("nb", "", "NB", "Norwegian Bokmål"),
    "Swedish": ("sv", "", "SV", "Swedish"),
    "Danish": ("da", "", "DA", "Danish"),
    "Finnish": ("fi", "", "FI", "Finnish"),
    "Japanese": ("ja", "", "JA", "Japanese"),
    "CanadianFrench": ("fr", "", "FR", "French (Canada)"),
    "TraditionalChinese": ("zh", "", "ZH", "Chinese (Traditional)"),
    "SimplifiedChinese": ("zh", "", "ZH", "Chinese (Simplified)"),
    "Albanian": ("sq", "", "SQ", "Albanian"),
    "Arabic": ("ar", "", "AR", "Arabic"),
    "Bulgarian": ("bg", "", "BG", "Bulgarian"),
    "Byelorussian": ("be", "", "BE", "Belarusian"),
    "Catalan": ("ca", "", "CA", "Catalan"),
    "Croatian": ("hr", "", "HR", "Croatian"),
    "Czech": ("cs", "", "CS", "Czech"),
    "Dutch": ("nl", "", "NL", "Dutch"),
    "Estonian": ("et", "", "ET", "Estonian"),
    "Farsi": ("fa", "", "FA", "Persian"),
    "Greek": ("el", "", "EL", "Greek"),
    "Hebrew": ("he", "", "HE", "Hebrew"),
    "Hungarian": ("hu", "", "HU", "Hungarian"),
    "Korean": ("ko", "", "KO", "Korean"),
    "Latvian": ("lv", "", "LV", "Latvian"),
    "Lithuanian": ("lt", "", "LT", "Lithuanian"),
    "Macedonian": ("mk", "", "MK", "Macedonian"),
    "Romanian": ("ro", "", "RO", "Romanian"),
    "Russian": ("ru", "", "RU", "Russian"),
    "Serbian": ("sr", "@latin", "SR", "Serbian (Latin)"),
    "Serbian(Cyrillic)": ("sr", "", "SR", "Serbian (Cyrillic)"),
    "Slovak": ("sk", "", "SK", "Slovak"),
    "Slovenian": ("sl", "", "SL", "Slovenian"),
    "Thai": ("th", "", "TH", "Thai"),
    "Turkish": ("tr", "", "TR", "Turkish"),
    "Ukrainian": ("uk", "", "UK", "Ukrainian"),
    "Vietnamese": ("vi", "", "VI", "Vietnamese"),
    "Icelandic": ("is", "", "IS", "Icelandic"),
    "Polish": ("pl", "", "PL", "Polish"),
    "Urdu": ("ur", "", "UR", "Urdu"),
    "Indonesian": ("id", "", "ID", "Indonesian"),
    "Basque": ("eu", "", "EU", "Basque"),
    "Afrikaans": ("af", "", "AF", "Afrikaans"),
    "Faeroese": ("fo", "", "FO", "Faroese"),
    "Hindi": ("hi", "", "HI", "Hindi"),
    "Norwegian(Nynorsk)": ("nn", "", "NN", "Norwegian Nynorsk"),
    "Sorbian": ("hsb", "", "HSB", "Upper Sorbian"),
    "Maltese": ("mt", "", "MT", "Maltese"),
    "Sami": ("se", "", "SE", "Northern Sami"),
    "ScotsGaelic": ("gd", "", "GD", "Scottish Gaelic"),
    "Maori": ("mi", "", "MI", "Maori"),
    "Laotian": ("lo", "", "LO", "Lao"),
    "Kampuchean": ("km", "", "KM", "Khmer"),
    "Sutu": ("st", "", "ST", "Southern Sotho"),
    "Tsonga": ("ts", "", "TS", "Tsonga"),
    "Tswana": ("tn", "", "TN", "Tswana"),
    "Venda": ("ve", "", "VE", "Venda"),
    "Xhosa": ("xh", "", "XH", "Xhosa"),
    "Zulu": ("zu", "", "ZU", "Zulu"),
    "Rhaeto-Romanic": ("rm", "", "RM", "Romansh"),
}

# Languages that no row pairs with a territory get the territory where the
# language is spoken as their default.
LANGUAGE_HOME = {
    "Rhaeto-Romanic": "German-Switzerland",
    "Maori": "NewZealand",
    "Laotian": "Laos",
    "Kampuchean": "Cambodia",
    "Basque": "Spain",
    "Sutu": "SouthAfrica",
    "Tsonga": "SouthAfrica",
    "Tswana": "SouthAfrica",
    "Venda": "SouthAfrica",
    "Xhosa": "SouthAfrica",
    "Zulu": "SouthAfrica",
    "Faeroese": "FaroeIslands",
    "Maltese": "Malta",
    "Sami": "Norway",
    "ScotsGaelic": "UnitedKingdom",
}

# ---------------------------------------------------------------------------
# Territories: ISO 3166-1 alpha-2 code of the POSIX locale, ISO 3166-1
# numeric code, abbreviation (ISO 3166-1 alpha-3) and English name. The
# tables' own territories that stand for a part of a country (the Swiss and
# Belgian language regions, French Canada, Catalonia) carry the country's
# codes and say which part in their name.

TERRITORY_INFO = {
    "UnitedStates": ("US", 840, "USA", "United States"),
    "Australia": ("AU", 36, "AUS", "Australia"),
    "Canada": ("CA", 124, "CAN", "Canada"),
    "UnitedKingdom": ("GB", 826, "GBR", "United Kingdom"),
    "SouthAfrica": ("ZA", 710, "ZAF", "South Africa"),
    "Germany": ("DE", 276, "DEU", "Germany"),
    "Austria": ("AT", 40, "AUT", "Austria"),
    "German-Switzerland": ("CH", 756, "CHE", "Switzerland (German)"),
    "France": ("FR", 250, "FRA", "France"),
    "French-Switzerland": ("CH", 756, "CHE", "Switzerland (French)"),
    "French-Belgium": ("BE", 56, "BEL", "Belgium (French)"),
    "Spain": ("ES", 724, "ESP", "Spain"),
    "Argentina": ("AR", 32, "ARG", "Argentina"),
    "Chile": ("CL", 152, "CHL", "Chile"),
    "Mexico": ("MX", 484, "MEX", "Mexico"),
    "Italy": ("IT", 380, "ITA", "Italy"),
    "Italian-Switzerland": ("CH", 756, "CHE", "Switzerland (Italian)"),
    "Portugal": ("PT", 620, "PRT", "Portugal"),
    "Brazil": ("BR", 76, "BRA", "Brazil"),
    "Norway": ("NO", 578, "NOR", "Norway"),
    "Sweden": ("SE", 752, "SWE", "Sweden"),
    "Denmark": ("DK", 208, "DNK", "Denmark"),
    "Finland": ("FI", 246, "FIN", "Finland"),
    "Japan": ("JP", 392, "JPN", "Japan"),
    "French-Canada": ("CA", 124, "CAN", "Canada (French)"),
    "Taiwan": ("TW", 158, "TWN", "Taiwan"),
    "China": ("CN", 156, "CHN", "China"),
    "Albania": ("AL", 8, "ALB", "Albania"),
    "SaudiArabia": ("SA", 682, "SAU", "Saudi Arabia"),
    "Bulgaria": ("BG", 100, "BGR", "Bulgaria"),
    "Belarus": ("BY", 112, "BLR", "Belarus"),
    "Catalonia": ("ES", 724, "ESP", "Spain (Catalonia)"),
    "Croatia": ("HR", 191, "HRV", "Croatia"),
    "CzechRepublic": ("CZ", 203, "CZE", "Czech Republic"),
    "Netherlands": ("NL", 528, "NLD", "Netherlands"),
    "Dutch-Belgium": ("BE", 56, "BEL", "Belgium (Dutch)"),
    "Estonia": ("EE", 233, "EST", "Estonia"),
    "Iran": ("IR", 364, "IRN", "Iran"),
    "Greece": ("GR", 300, "GRC", "Greece"),
    "Israel": ("IL", 376, "ISR", "Israel"),
    "Hungary": ("HU", 348, "HUN", "Hungary"),
    "Korea": ("KR", 410, "KOR", "South Korea"),
    "Latvia": ("LV", 428, "LVA", "Latvia"),
    "Lithuania": ("LT", 440, "LTU", "Lithuania"),
    "Macedonia": ("MK", 807, "MKD", "North Macedonia"),
    "Romania": ("RO", 642, "ROU", "Romania"),
    "Russia": ("RU", 643, "RUS", "Russia"),
    # The conventions are Serbia's (sr_RS), whose number this was.
    "Yugoslavia": ("RS", 891, "SRB", "Serbia"),
    "Slovakia": ("SK", 703, "SVK", "Slovakia"),
    "Slovenia": ("SI", 705, "SVN", "Slovenia"),
    "Thailand": ("TH", 764, "THA", "Thailand"),
    "Turkey": ("TR", 792, "TUR", "Turkey"),
    "Ukraine": ("UA", 804, "UKR", "Ukraine"),
    "VietNam": ("VN", 704, "VNM", "Vietnam"),
    "Iceland": ("IS", 352, "ISL", "Iceland"),
    "Poland": ("PL", 616, "POL", "Poland"),
    "Pakistan": ("PK", 586, "PAK", "Pakistan"),
    "Indonesia": ("ID", 360, "IDN", "Indonesia"),
    "India": ("IN", 356, "IND", "India"),
    "Moldavia": ("MD", 498, "MDA", "Moldova"),
    "Iraq": ("IQ", 368, "IRQ", "Iraq"),
    "Singapore": ("SG", 702, "SGP", "Singapore"),
    "Luxembourg": ("LU", 442, "LUX", "Luxembourg"),
    "Guatemala": ("GT", 320, "GTM", "Guatemala"),
    "NewZealand": ("NZ", 554, "NZL", "New Zealand"),
    "CostaRica": ("CR", 188, "CRI", "Costa Rica"),
    "Ireland": ("IE", 372, "IRL", "Ireland"),
    "Panama": ("PA", 591, "PAN", "Panama"),
    "DominicanRepublic": ("DO", 214, "DOM", "Dominican Republic"),
    "Jamaica": ("JM", 388, "JAM", "Jamaica"),
    "Venezuela": ("VE", 862, "VEN", "Venezuela"),
    # No country: the conventions are those of Antigua and Barbuda (en_AG),
    # whose East Caribbean dollar eight Caribbean states share. The
    # abbreviation is from the range ISO 3166-1 leaves to its users.
    "TheCarribean": ("AG", None, "XCB", "Caribbean"),
    "Columbia": ("CO", 170, "COL", "Colombia"),
    "Peru": ("PE", 604, "PER", "Peru"),
    "Ecuador": ("EC", 218, "ECU", "Ecuador"),
    "Uruguay": ("UY", 858, "URY", "Uruguay"),
    "Paraguay": ("PY", 600, "PRY", "Paraguay"),
    "Boliva": ("BO", 68, "BOL", "Bolivia"),
    "Egypt": ("EG", 818, "EGY", "Egypt"),
    "Libya": ("LY", 434, "LBY", "Libya"),
    "Algeria": ("DZ", 12, "DZA", "Algeria"),
    "Morocco": ("MA", 504, "MAR", "Morocco"),
    "Tunisia": ("TN", 788, "TUN", "Tunisia"),
    "Oman": ("OM", 512, "OMN", "Oman"),
    "Yemen": ("YE", 887, "YEM", "Yemen"),
    "Syria": ("SY", 760, "SYR", "Syria"),
    "Jordan": ("JO", 400, "JOR", "Jordan"),
    "Lebanon": ("LB", 422, "LBN", "Lebanon"),
    "Kuwait": ("KW", 414, "KWT", "Kuwait"),
    "UnitedArabEmirates": ("AE", 784, "ARE", "United Arab Emirates"),
    "Bahrain": ("BH", 48, "BHR", "Bahrain"),
    "Qatar": ("QA", 634, "QAT", "Qatar"),
    "HongKong": ("HK", 344, "HKG", "Hong Kong"),
    # Homes of languages that no row pairs with a territory (LANGUAGE_HOME).
    "Laos": ("LA", 418, "LAO", "Laos"),
    "Cambodia": ("KH", 116, "KHM", "Cambodia"),
    "FaroeIslands": ("FO", 234, "FRO", "Faroe Islands"),
    "Malta": ("MT", 470, "MLT", "Malta"),
}

# ---------------------------------------------------------------------------
# Values every territory gets, for items the POSIX sources have no field for.

# Digits after the decimal point of an ordinary number: POSIX gives a count
# for monetary amounts only.
PLAIN_FRACTION_DIGITS = 2
# Stored-only territory values; no formatter reads them, and the sources have
# nothing to say about them, so every territory keeps the built-in values.
TERRITORY_FLAGS = {"territory-flag-0": 1, "territory-flag-5": 1, "territory-flag-6": 1,
                   "territory-value": 0}

# ---------------------------------------------------------------------------
# Case rules: the one- and two-character upper- and lower-case rules of a
# language part (docs/mapping.md). They come from Unicode's SpecialCasing.txt
# and from a few rules of the language's own orthography; each language names
# what it takes.
#
#   specials   unconditional rows of SpecialCasing.txt, by code point: only
#              letters of the language's own alphabet, so that languages that
#              do not write them keep the plain mapping (and the fast
#              case-insensitive comparison that goes with having no rules)
#   tag        the rows of SpecialCasing.txt for that language tag
#   soft       lt: the soft-dotted letters of the alphabet, whose combining
#              dot above (U+0307) upper-casing removes
#   upper      rules of the orthography that SpecialCasing.txt does not hold
#   greek      upper-casing drops the tonos (see greek_upper_rules)
#
# A mapping a rule cannot express (a result of three characters, or a
# condition on the text around the character) is written into the language
# file as a comment, so that each file says what it lacks.

SPECIAL_CASING = ["/usr/share/unicode/SpecialCasing.txt",       # Debian's unicode-data
                  "/usr/share/perl/5.36.0/unicore/SpecialCasing.txt"]

CASE_RULES = {
    "German": {"specials": [0x00DF]},                     # ß -> SS
    "Afrikaans": {"specials": [0x0149]},                  # ŉ -> ʼN
    "Turkish": {"tag": "tr"},                             # i -> İ, I -> ı, İ -> i
    "Lithuanian": {"tag": "lt", "soft": [0x0069, 0x006A, 0x012F]},
    "Dutch": {"upper": [(0x0069, 0x006A, 0x0049, 0x004A)]},   # ij -> IJ as one letter
    "Greek": {"greek": True},
}

# Conditions of SpecialCasing.txt that a one-character rule keeps the sense
# of when the condition is dropped: I lowers to ı except before U+0307, and
# without the condition I + U+0307 lowers to ı + U+0307.
DROPPABLE_CONDITIONS = {"Not_Before_Dot"}


def special_casing_rows():
    """[(code, lower, upper, conditions)] of SpecialCasing.txt, the mappings
    as lists of code points and the conditions as a list of words."""
    for path in SPECIAL_CASING:
        if os.path.exists(path):
            break
    else:
        raise SourceError("SpecialCasing.txt not found (install Debian's unicode-data): "
                          + ", ".join(SPECIAL_CASING))
    rows = []
    with open(path, encoding="utf-8") as f:
        for line in f:
            fields = [x.strip() for x in line.split("#", 1)[0].split(";")]
            if len(fields) < 5:
                continue
            code = int(fields[0], 16)
            lower, upper = ([int(x, 16) for x in fields[i].split()] for i in (1, 3))
            rows.append((code, lower, upper, fields[4].split()))
    return rows


def u(c):
    return f"U+{c:04X}"


def greek_upper_rules():
    """Upper-casing Greek drops the tonos, as modern Greek writes capitals:
    ά -> Α, and Ά -> Α too; ΐ keeps its dialytika (-> Ϊ). One rule for every
    monotonic letter with the tonos (U+0386 to U+03CE)."""
    rules = []
    for c in range(0x0386, 0x03CF):
        d = unicodedata.normalize("NFD", chr(c))
        if len(d) < 2 or "\u0301" not in d[1:] or not 0x0391 <= ord(d[0].upper()) <= 0x03A9:
            continue
        rest = "".join(m for m in d[1:] if m != "\u0301")
        result = unicodedata.normalize("NFC", d[0].upper() + rest)
        rules.append(("upper", c, 0, [ord(x) for x in result], "tonos dropped"))
    return rules


def case_rules(language, rows):
    """([(kind, from1, from2, [to...], note)], [comment]) for a language."""
    wanted = CASE_RULES.get(language, {})
    rules, lacking = [], []

    def take(kind, code, to, note):
        if to == [code]:
            return
        if len(to) > 2:
            lacking.append(f"{kind} {u(code)} -> {' '.join(u(c) for c in to)}: three characters")
        else:
            rules.append((kind, code, 0, to, note))

    for code, lower, upper, cond in rows:
        tag = cond[0] if cond and cond[0].islower() else None
        context = [c for c in cond if not c.islower()]
        if tag is None and not context and code in wanted.get("specials", []):
            take("upper", code, upper, "SpecialCasing")
            take("lower", code, lower, "SpecialCasing")
        if tag is None or tag != wanted.get("tag"):
            continue
        for kind, to in (("lower", lower), ("upper", upper)):
            if to == [code]:
                continue
            if "After_Soft_Dotted" in context and not to:
                for s in wanted.get("soft", []):
                    rules.append((kind, s, code, [ord(chr(s).upper())], "dot above dropped"))
            elif all(c in DROPPABLE_CONDITIONS for c in context):
                take(kind, code, to, "SpecialCasing " + " ".join(cond))
            else:
                shown = " ".join(u(c) for c in to) or "nothing"
                lacking.append(f"{kind} {u(code)} -> {shown} only {' '.join(context)}: "
                               "depends on the text around it")
    for from1, from2, to1, to2 in wanted.get("upper", []):
        rules.append(("upper", from1, from2, [to1, to2], "one letter"))
    if wanted.get("greek"):
        rules += greek_upper_rules()
    return rules, lacking


def case_rule_lines(language, rows):
    rules, lacking = case_rules(language, rows)
    if not rules and not lacking:
        return []
    lines = [""]
    for kind in ("upper", "lower"):
        for _, from1, from2, to, note in (r for r in rules if r[0] == kind):
            to = to + [0] * (2 - len(to))
            values = " ".join(u(c) if c else "0" for c in (from1, from2, *to))
            text = "".join(chr(c) for c in (from1, from2) if c) + " -> " + \
                "".join(chr(c) for c in to if c)
            lines.append(f"{kind}-rule {values:<27} # {quote(text)[1:-1]}, {note}")
    lines += [f"# not expressible: {x}" for x in lacking]
    return lines


# ---------------------------------------------------------------------------
# Hand corrections: (kind, part name) -> {keyword: value}, each with its
# reason. They are applied after the import, and the files name them.

OVERRIDES = {
    # Territory 1 is also the library's built-in territory, used when no
    # locale directory can be read. The directory's copy formats exactly as
    # the built-in one, so that a program's output does not change with the
    # presence of a directory: parentheses for negative amounts, and the
    # time and date pictures without leading zeros (en_US has sign position
    # 1 for both, "%r", "%m/%d/%Y" and no long date).
    ("territory", "UnitedStates"): {
        "p-sign-posn": 3,
        "n-sign-posn": 0,
        "time-format": "%#I:%M:%S %p",
        "date-format": "%#m/%#d/%y",
        "long-date-format": "%A, %B %d, %Y",
    },
    # nb_NO writes "kl." ("o'clock") before the time; the long date is the
    # date-and-time picture without the time, so the word goes with it.
    ("territory", "Norway"): {
        "long-date-format": "%A %d. %B %Y",
    },
    # The time formatter reads a picture into 32 bytes. km_KH's long date
    # spells the words for day, month and year between the fields, 48 bytes
    # in UTF-8; the fields alone remain.
    ("territory", "Cambodia"): {
        "long-date-format": "%A %#d %B %Y",
    },
    # The time formatter reads a name into 32 bytes. km_KH's day names start
    # with "ថ្ងៃ" ("day") and a zero-width space, up to 48 bytes in UTF-8; the
    # names without it are those of ICU's km locale.
    ("language", "Kampuchean"): {
        "day": ["អាទិត្យ", "ច័ន្ទ", "អង្គារ", "ពុធ", "ព្រហស្បតិ៍", "សុក្រ", "សៅរ៍"],
    },
}

# ---------------------------------------------------------------------------
# The tables joined: parts, numbers, defaults.


class LanguagePart:
    def __init__(self, name, number):
        self.name = name
        self.number = number
        self.territory = None      # name of the default territory
        self.codeset = None        # (name, number) of the default codeset
        self.locale = None         # main locale


class TerritoryPart:
    def __init__(self, name, number):
        self.name = name
        self.number = number
        self.locale = None


def split_locale_name(name):
    """'Spanish_Spain.MS1252@Spanish' -> ('Spanish', 'Spain', 'MS1252')."""
    name = name.split("@", 1)[0]
    name, _, codeset = name.partition(".")
    language, _, territory = name.partition("_")
    return language, territory or None, codeset or None


def native_rows():
    """[(identifier, locale name)] in the order of NATIVE_NAMES."""
    rows = []
    for item in NATIVE_NAMES.replace("\n", " ").split(";"):
        ident, name = item.split()
        rows.append((int(ident, 16), name))
    return rows


def part_rows():
    """[(language, territory, codeset, sort, identifier)] in table order."""
    rows = []
    for item in PART_ROWS.replace("\n", " ").split(";"):
        numbers, ident = item.split()
        la, te, cp, so = (int(n) for n in numbers.split("/"))
        rows.append((la, te, cp, so, int(ident, 16)))
    return rows


def number_parts():
    """Joins the tables: returns ({language: LanguagePart},
    {territory: TerritoryPart}, {codeset name: number}).

    - Languages, territories and codesets of PART_ROWS take the numbers of
      their rows (the identifier names them in NATIVE_NAMES).
    - Languages that only NATIVE_NAMES names are numbered from 42 up in the
      order of NEW_LANGUAGES.
    - Other territories take their ISO 3166-1 numeric code, unless a part
      already has that number or the territory has none: then the next free
      number from 901 up.
    - A language's default territory is the territory of its first row in
      PART_ROWS, else of its first row in NATIVE_NAMES, else its home
      (LANGUAGE_HOME); its default codeset is the codeset of that first row,
      else of its first row in NATIVE_NAMES that names one, else UTF-8.
    """
    names = dict(native_rows())
    names.update(EXTRA_NATIVE_NAMES)
    languages, territories, codesets = {}, {}, {"UTF-8": UTF8_CODESET[1]}

    def bind(table, key, number, make):
        if key not in table:
            table[key] = make(key, number)
        elif table[key].number != number:
            raise SourceError(f"{key} has two numbers in the tables")
        return table[key]

    def bind_codeset(key, number):
        if codesets.setdefault(key, number) != number:
            raise SourceError(f"codeset {key} has two numbers in the tables")

    for la, te, cp, _so, ident in part_rows():
        if ident not in names:
            raise SourceError(f"row with identifier {ident:#06x} names no locale")
        lname, tname, cname = split_locale_name(names[ident])
        lang = bind(languages, lname, la, LanguagePart)
        bind(territories, tname, te, TerritoryPart)
        bind_codeset(cname, cp)
        if lang.territory is None:
            lang.territory = tname
            lang.codeset = (cname, cp)

    for offset, lname in enumerate(NEW_LANGUAGES):
        if lname in languages:
            raise SourceError(f"{lname} is numbered by the part table already")
        languages[lname] = LanguagePart(lname, FIRST_NEW_LANGUAGE + offset)

    used = {t.number for t in territories.values()}
    free = FIRST_FREE_TERRITORY
    pending = []
    for _ident, name in native_rows():
        lname, tname, cname = split_locale_name(name)
        if lname not in languages:
            raise SourceError(f"language {lname} has no number")
        lang = languages[lname]
        if tname and tname not in territories:
            pending.append(tname)
            territories[tname] = None
        if lang.territory is None and tname:
            lang.territory = tname
        if lang.codeset is None and cname:
            if cname not in codesets:
                raise SourceError(f"codeset {cname} has no number")
            lang.codeset = (cname, codesets[cname])
    for lname, home in LANGUAGE_HOME.items():
        lang = languages[lname]
        if lang.territory is not None:
            raise SourceError(f"{lname} has a territory in the tables; drop it from LANGUAGE_HOME")
        lang.territory = home
        if home not in territories:
            pending.append(home)
            territories[home] = None
    for tname in pending:
        if tname not in TERRITORY_INFO:
            raise SourceError(f"territory {tname} is not in TERRITORY_INFO")
        number = TERRITORY_INFO[tname][1]
        if number is None or number in used:
            while free in used:
                free += 1
            number = free
        used.add(number)
        territories[tname] = TerritoryPart(tname, number)

    for lang in languages.values():
        if lang.territory is None:
            raise SourceError(f"language {lang.name} has no default territory")
        if lang.codeset is None:
            lang.codeset = UTF8_CODESET
    return languages, territories, codesets


def locale_of(language, territory):
    """The POSIX locale name of a (language, territory) pair."""
    code, modifier, _, _ = LANGUAGE_INFO[language]
    return f"{code}_{TERRITORY_INFO[territory][0]}{modifier}"


def assign_locales(languages, territories):
    """Main locales: a language's is that of its default territory; a
    territory's is that of the first row naming it (PART_ROWS first, then
    NATIVE_NAMES), or of the language it is home to."""
    for lang in languages.values():
        lang.locale = locale_of(lang.name, lang.territory)
    names = dict(native_rows())
    names.update(EXTRA_NATIVE_NAMES)
    firsts = [split_locale_name(names[row[4]]) for row in part_rows()]
    firsts += [split_locale_name(name) for _, name in native_rows()]
    firsts += [(lname, home, None) for lname, home in LANGUAGE_HOME.items()]
    for lname, tname, _ in firsts:
        if tname and territories[tname].locale is None:
            territories[tname].locale = locale_of(lname, tname)
    for terr in territories.values():
        if terr.locale is None:
            raise SourceError(f"territory {terr.name} has no locale")


# ---------------------------------------------------------------------------
# POSIX locale sources


class PosixSources:
    """Reads categories of the locale source files, following copy
    directives. Values come back as lists: text items as str (with <Uxxxx>
    and escapes decoded), other items as int or as the raw token."""

    def __init__(self, directory=POSIX_DIR):
        self.directory = directory
        self.cache = {}

    def exists(self, locale):
        return os.path.isfile(os.path.join(self.directory, locale))

    def _logical_lines(self, locale):
        """The lines of a source file with comments removed and continued
        lines joined. A line continues when it ends in the escape
        character, even after a comment; the comment character starts a
        comment anywhere outside a quoted text."""
        path = os.path.join(self.directory, locale)
        with open(path, encoding="utf-8") as f:
            raw = f.read().split("\n")
        comment, escape = "#", "\\"
        lines, current = [], ""
        for line in raw:
            m = re.match(r"^\s*(comment_char|escape_char)\s+(\S)\s*$", line)
            if m and not current:
                if m.group(1) == "comment_char":
                    comment = m.group(2)
                else:
                    escape = m.group(2)
                continue
            body, continued, quoted, i = [], False, False, 0
            while i < len(line):
                c = line[i]
                if c == escape:
                    if line[i + 1:].strip() == "":
                        continued = True
                        break
                    body.append(line[i:i + 2])
                    i += 2
                    continue
                if c == '"':
                    quoted = not quoted
                elif c == comment and not quoted:
                    continued = line.rstrip().endswith(escape)
                    break
                body.append(c)
                i += 1
            current += "".join(body)
            if continued:
                continue
            if current.strip():
                lines.append(current.strip())
            current = ""
        if current.strip():
            lines.append(current.strip())
        return lines, escape

    def category(self, locale, name):
        """{keyword: [values]} of category name (LC_TIME, ...) of locale."""
        key = (locale, name)
        if key in self.cache:
            return self.cache[key]
        lines, escape = self._logical_lines(locale)
        try:
            start = lines.index(name)
            end = lines.index("END " + name, start)
        except ValueError:
            raise SourceError(f"{locale}: no {name} category") from None
        result = {}
        for line in lines[start + 1:end]:
            keyword, _, rest = line.partition(" ")
            if "\t" in keyword:
                keyword, _, more = keyword.partition("\t")
                rest = more + " " + rest
            rest = rest.strip()
            if keyword == "copy":
                base = self.decode_values(rest, escape)[0]
                result.update(self.category(base, name))
            else:
                result[keyword] = self.decode_values(rest, escape)
        self.cache[key] = result
        return result

    @staticmethod
    def decode_values(text, escape):
        values, i, n = [], 0, len(text)
        while i < n:
            while i < n and text[i] in " \t":
                i += 1
            if i >= n:
                break
            if text[i] == '"':
                i += 1
                out = []
                while i < n and text[i] != '"':
                    c = text[i]
                    if c == escape and i + 1 < n:
                        out.append(text[i + 1])
                        i += 2
                    elif c == "<":
                        j = text.index(">", i)
                        out.append(symbol(text[i + 1:j]))
                        i = j + 1
                    else:
                        out.append(c)
                        i += 1
                i += 1
                values.append("".join(out))
            else:
                j = i
                while j < n and text[j] != ";":
                    j += 1
                token = text[i:j].strip()
                if re.fullmatch(r"-?\d+", token):
                    values.append(int(token))
                elif re.fullmatch(r"(<[^>]+>)+", token):
                    values.append("".join(symbol(s) for s in re.findall(r"<([^>]+)>", token)))
                else:
                    values.append(token)
                i = j
            while i < n and text[i] in " \t":
                i += 1
            if i < n and text[i] == ";":
                i += 1
        return values


def symbol(name):
    m = re.fullmatch(r"U([0-9A-Fa-f]{4,8})", name)
    if not m:
        raise SourceError(f"unknown symbol <{name}>")
    return chr(int(m.group(1), 16))


# ---------------------------------------------------------------------------
# Time pictures: POSIX strftime conversions into the library's directives
# (%% %a %A %b %B %c %d %H %I %j %m %M %p %S %U %w %W %x %X %y %Y, "#" for no
# leading zeros). Tokens are ("lit", text) or ("dir", directive, role), role
# being "date", "time" or "" (neither, e.g. %%).

NUMERIC = set("dHIjmMSyYUW")
# Directional embedding controls are left out of pictures: pieces of pictures
# are cut and joined, and these must come in balanced pairs.
BIDI_EMBEDDING = set("\u202A\u202B\u202C\u202D\u202E")
TIME_LETTERS = set("HIMSp")


class PosixPicture:
    """Translates the pictures of one LC_TIME category.

    - %a %A %b %B %d %H %I %j %m %M %p %S %U %w %W %y %Y %% are kept.
    - The "-" and "_" flags (no padding, space padding) become "#"; "0" and
      "^" are dropped.
    - %h is %b; %P (lower-case am/pm) is %p; %e (space-padded day) is %#d;
      %k and %l (space-padded hours) are %#H and %#I.
    - %T, %R, %D, %F become %H:%M:%S, %H:%M, %m/%d/%y, %Y-%m-%d; %r becomes
      the locale's 12-hour picture (t_fmt_ampm); %x, %X and %c become the
      locale's date, time and date-and-time pictures, so that no format
      refers to another.
    - The E (era) and O (alternative digits) modifiers are dropped: %Ey is
      %y, %OH is %H.
    - %Z and %z (time zone), %s and %EC have no counterpart: they are
      dropped with one adjacent space.
    - %n and %t become a space.
    Anything else is an error, so that a new conversion is noticed.
    """

    def __init__(self, time_category, where):
        self.cat = time_category
        self.where = where

    def text(self, keyword):
        values = self.cat.get(keyword)
        return values[0] if values else ""

    def tokens(self, picture, depth=0):
        if depth > 4:
            raise SourceError(f"{self.where}: pictures refer to each other")
        out, i, n = [], 0, len(picture)
        while i < n:
            c = picture[i]
            if c != "%":
                if c not in BIDI_EMBEDDING:
                    out.append(("lit", c))
                i += 1
                continue
            m = re.compile(r"%([-_0^#]*)(\d*)([EO]?)(.)").match(picture, i)
            if not m:
                raise SourceError(f"{self.where}: picture {picture!r} ends in '%'")
            i = m.end()
            flags, _width, _mod, conv = m.groups()
            nopad = "-" in flags or "_" in flags
            if conv == "%":
                out.append(("dir", "%%", ""))
            elif conv in "aAbBpwUW" or conv in NUMERIC:
                hash_ = "#" if nopad and conv in NUMERIC else ""
                role = "time" if conv in TIME_LETTERS else "date"
                out.append(("dir", f"%{hash_}{conv}", role))
            elif conv == "h":
                out.append(("dir", "%b", "date"))
            elif conv == "P":
                out.append(("dir", "%p", "time"))
            elif conv == "e":
                out.append(("dir", "%d" if "0" in flags else "%#d", "date"))
            elif conv == "k":
                out.append(("dir", "%#H", "time"))
            elif conv == "l":
                out.append(("dir", "%#I", "time"))
            elif conv in "TRDF":
                expansion = {"T": "%H:%M:%S", "R": "%H:%M", "D": "%m/%d/%y", "F": "%Y-%m-%d"}[conv]
                out += self.tokens(expansion, depth + 1)
            elif conv == "r":
                out += self.tokens(self.text("t_fmt_ampm") or "%I:%M:%S %p", depth + 1)
            elif conv == "x":
                out += self.tokens(self.text("d_fmt"), depth + 1)
            elif conv == "X":
                out += self.tokens(self.text("t_fmt"), depth + 1)
            elif conv == "c":
                out += self.tokens(self.text("d_t_fmt"), depth + 1)
            elif conv in "Zzs" or (conv == "C" and _mod == "E"):
                out.append(("drop",))
            elif conv in "nt":
                out.append(("lit", " "))
            else:
                raise SourceError(f"{self.where}: no translation for %{conv} in {picture!r}")
        return drop_with_space(out)

    def translate(self, keyword):
        return render(self.tokens(self.text(keyword)))

    def long_date(self):
        """The date part of the date-and-time picture, with day and month
        names in full (%a and %b become %A and %B).

        The time is the run from the first to the last time directive. Text
        after it goes too when no date directive follows, and so does text
        before it when no date directive precedes; otherwise only the word
        glued to the last time directive ("秒" in "%S秒 ...") goes with it.
        Spaces, commas and semicolons left at either end are then removed."""
        toks = self.tokens(self.text("d_t_fmt"))
        times = [i for i, t in enumerate(toks) if t[0] == "dir" and t[2] == "time"]

        def is_date(t):
            return t[0] == "dir" and t[2] == "date"

        def is_word(t):
            return t[0] == "lit" and not t[1].isspace()

        if times:
            first, last = times[0], times[-1]
            if not any(is_date(t) for t in toks[last + 1:]):
                last = len(toks) - 1
            else:
                while last + 1 < len(toks) and is_word(toks[last + 1]):
                    last += 1
            if not any(is_date(t) for t in toks[:first]):
                first = 0
            toks = toks[:first] + toks[last + 1:]
        toks = [("dir", {"%a": "%A", "%b": "%B"}.get(t[1], t[1]), t[2]) if t[0] == "dir" else t
                for t in toks]
        return trim(render(toks))


def trim(text):
    """Removes spaces (any kind), commas and semicolons at either end, and
    turns runs of spaces inside into one."""
    def loose(ch):
        return ch.isspace() or ch in ",;\u060C" or unicodedata.category(ch) == "Zs"
    text = re.sub(r"  +", " ", text)
    while text and loose(text[-1]):
        text = text[:-1]
    while text and loose(text[0]):
        text = text[1:]
    return text


def drop_with_space(tokens):
    out = []
    for i, t in enumerate(tokens):
        if t[0] != "drop":
            out.append(t)
            continue
        if out and out[-1] == ("lit", " "):
            out.pop()
        elif i + 1 < len(tokens) and tokens[i + 1] == ("lit", " "):
            tokens[i + 1] = ("drop",)
    return [t for t in out if t[0] != "drop"]


def render(tokens):
    parts = []
    for t in tokens:
        if t[0] == "lit":
            parts.append("%%" if t[1] == "%" else t[1])
        else:
            parts.append(t[1])
    return "".join(parts)


# ---------------------------------------------------------------------------
# Conversions of POSIX values


def posix_grouping(values, where):
    """POSIX grouping (sizes from the decimal point leftwards; the last size
    repeats, -1 ends grouping) as our grouping text (0 repeats the previous
    size, the end ends grouping): "3;3" and "3" -> "3;0", "3;2" -> "3;2;0",
    "3;-1" -> "3", "-1" or "0" or nothing -> "" (no grouping)."""
    sizes = []
    repeat = True
    for v in values:
        if not isinstance(v, int):
            raise SourceError(f"{where}: grouping {values!r}")
        if v < 0 or v >= 127:       # -1 (CHAR_MAX in localedef) ends grouping
            repeat = False
            break
        if v == 0:
            break
        sizes.append(v)
    if not sizes:
        return ""
    if repeat:
        while len(sizes) > 1 and sizes[-1] == sizes[-2]:
            sizes.pop()
        return ";".join(str(s) for s in sizes) + ";0"
    return ";".join(str(s) for s in sizes)


def one_character(text, where, field, empty_allowed):
    """Separators are one UCS-2 character. A longer POSIX value keeps its
    first character. An empty value is stored as "" (no separator) where the
    field allows it, else it is an error."""
    if text == "":
        if not empty_allowed:
            raise SourceError(f"{where}: {field} is empty")
        return ""
    if ord(text[0]) > 0xFFFF:
        raise SourceError(f"{where}: {field} is outside the 16-bit range")
    return text[0]


def other_separator(decimal_point):
    """The list separator, which POSIX does not give: ";" where the decimal
    point is a comma, else ","."""
    return ";" if decimal_point == "," else ","


def posix_flag(value, where, field, default):
    """cs_precedes (0/1) and sep_by_space (0, 1, 2). -1 (unspecified) takes
    the default. sep_by_space 2 (a space between sign and symbol) becomes 0:
    the amount stays next to the symbol, as POSIX has it."""
    if value in (-1, 127):
        return default
    if value == 2 and "sep" in field:
        return 0
    if value not in (0, 1):
        raise SourceError(f"{where}: {field} {value}")
    return value


def posix_sign_position(value, where, field):
    """sign_posn 0..4 have the same meaning in the library; -1 (unspecified)
    becomes 1 (sign before amount and symbol)."""
    if value in (-1, 127):
        return 1
    if value not in range(5):
        raise SourceError(f"{where}: {field} {value}")
    return value


def first_value(cat, keyword, where, default=None):
    values = cat.get(keyword)
    if not values:
        if default is not None:
            return default
        raise SourceError(f"{where}: no {keyword}")
    return values[0]


def posix_language(src, locale):
    """Day, month and AM/PM names of a locale's LC_TIME. The day lists are
    turned to start on Sunday (week's second value is the date of their first
    day). The month names are "mon" and "abmon", the forms used inside a date
    (some languages give separate stand-alone forms in alt_mon)."""
    where = f"{locale} LC_TIME"
    cat = src.category(locale, "LC_TIME")
    day, abday, mon, abmon, am_pm = (cat.get(k) for k in ("day", "abday", "mon", "abmon", "am_pm"))
    if not (day and abday and mon and abmon and am_pm):
        raise SourceError(f"{where}: incomplete")
    if len(day) != 7 or len(abday) != 7 or len(mon) != 12 or len(abmon) != 12 or len(am_pm) != 2:
        raise SourceError(f"{where}: wrong number of names")
    week = cat.get("week")
    if week and len(week) >= 2:
        first = datetime.date(int(str(week[1])[:4]), int(str(week[1])[4:6]), int(str(week[1])[6:]))
        shift = (first.weekday() + 1) % 7           # 0 when the list starts on Sunday
        if shift:
            day = day[-shift:] + day[:-shift]
            abday = abday[-shift:] + abday[:-shift]
    return {"day": day, "abday": abday, "month": mon + [""], "abmonth": abmon + [""],
            "am": am_pm[0], "pm": am_pm[1]}


def posix_territory(src, locale):
    """Numeric, monetary and time conventions of a locale."""
    num = src.category(locale, "LC_NUMERIC")
    mon = src.category(locale, "LC_MONETARY")
    tim = src.category(locale, "LC_TIME")
    w_num, w_mon = f"{locale} LC_NUMERIC", f"{locale} LC_MONETARY"
    decimal = one_character(first_value(num, "decimal_point", w_num), w_num, "decimal_point", False)
    values = {
        "decimal-point": decimal,
        "thousands-sep": one_character(first_value(num, "thousands_sep", w_num, ""), w_num,
                                       "thousands_sep", True),
        "other-sep": other_separator(decimal),
        "grouping": posix_grouping(num.get("grouping", [-1]), w_num),
        "frac-digits": PLAIN_FRACTION_DIGITS,
        "mon-decimal-point": one_character(first_value(mon, "mon_decimal_point", w_mon), w_mon,
                                           "mon_decimal_point", False),
        "mon-thousands-sep": one_character(first_value(mon, "mon_thousands_sep", w_mon, ""), w_mon,
                                           "mon_thousands_sep", True),
        "mon-grouping": posix_grouping(mon.get("mon_grouping", [-1]), w_mon),
        "currency-symbol": first_value(mon, "currency_symbol", w_mon),
        "int-currency-symbol": first_value(mon, "int_curr_symbol", w_mon)[:3],
        "currency-digits": first_value(mon, "frac_digits", w_mon),
        "int-currency-digits": first_value(mon, "int_frac_digits", w_mon),
        "positive-sign": first_value(mon, "positive_sign", w_mon, ""),
        "negative-sign": first_value(mon, "negative_sign", w_mon, ""),
    }
    for field in ("p_cs_precedes", "n_cs_precedes"):
        values[field.replace("_", "-")] = posix_flag(first_value(mon, field, w_mon), w_mon, field, 1)
    for field in ("p_sep_by_space", "n_sep_by_space"):
        values[field.replace("_", "-")] = posix_flag(first_value(mon, field, w_mon), w_mon, field, 0)
    for field in ("p_sign_posn", "n_sign_posn"):
        values[field.replace("_", "-")] = posix_sign_position(first_value(mon, field, w_mon), w_mon,
                                                              field)
    for field in ("currency-digits", "int-currency-digits"):
        if not isinstance(values[field], int) or not 0 <= values[field] <= 9:
            raise SourceError(f"{w_mon}: {field} {values[field]!r}")
    pic = PosixPicture(tim, f"{locale} LC_TIME")
    values["time-format"] = pic.translate("t_fmt")
    values["date-format"] = pic.translate("d_fmt")
    values["long-date-format"] = pic.long_date()
    return values


# ---------------------------------------------------------------------------
# ICU locale data, for locales without a POSIX source


class Icu:
    """The few entry points of ICU's C interface, through ctypes."""

    UDAT_FULL, UDAT_MEDIUM, UDAT_SHORT, UDAT_NONE = 0, 2, 3, -1
    UDAT_MONTHS, UDAT_SHORT_MONTHS, UDAT_WEEKDAYS, UDAT_SHORT_WEEKDAYS, UDAT_AM_PMS = 1, 2, 3, 4, 5
    UNUM_DECIMAL, UNUM_CURRENCY = 1, 2
    UNUM_FRACTION_DIGITS, UNUM_GROUPING_SIZE, UNUM_SECONDARY_GROUPING_SIZE = 8, 10, 15
    UNUM_POSITIVE_PREFIX, UNUM_POSITIVE_SUFFIX, UNUM_NEGATIVE_PREFIX, UNUM_NEGATIVE_SUFFIX = 0, 1, 2, 3
    SYMBOLS = {"decimal": 0, "group": 1, "minus": 6, "plus": 7, "currency": 8, "intl": 9,
               "mon-decimal": 10, "mon-group": 17}

    def __init__(self):
        self.i18n = None
        for major in range(80, 59, -1):
            try:
                self.i18n = ctypes.CDLL(f"libicui18n.so.{major}")
                self.suffix = f"_{major}"
                self.version = major
                break
            except OSError:
                continue
        if self.i18n is None:
            raise SourceError("ICU (libicui18n) is not installed")
        c_int_p = ctypes.POINTER(ctypes.c_int)
        self.udat_open = self.fn("udat_open", ctypes.c_void_p,
                                 [ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_void_p,
                                  ctypes.c_int32, ctypes.c_void_p, ctypes.c_int32, c_int_p])
        self.udat_getSymbols = self.fn("udat_getSymbols", ctypes.c_int32,
                                       [ctypes.c_void_p, ctypes.c_int, ctypes.c_int32,
                                        ctypes.c_void_p, ctypes.c_int32, c_int_p])
        self.udat_toPattern = self.fn("udat_toPattern", ctypes.c_int32,
                                      [ctypes.c_void_p, ctypes.c_int8, ctypes.c_void_p,
                                       ctypes.c_int32, c_int_p])
        self.udat_close = self.fn("udat_close", None, [ctypes.c_void_p])
        self.unum_open = self.fn("unum_open", ctypes.c_void_p,
                                 [ctypes.c_int, ctypes.c_void_p, ctypes.c_int32, ctypes.c_char_p,
                                  ctypes.c_void_p, c_int_p])
        self.unum_getSymbol = self.fn("unum_getSymbol", ctypes.c_int32,
                                      [ctypes.c_void_p, ctypes.c_int, ctypes.c_void_p,
                                       ctypes.c_int32, c_int_p])
        self.unum_getAttribute = self.fn("unum_getAttribute", ctypes.c_int32,
                                         [ctypes.c_void_p, ctypes.c_int])
        self.unum_getTextAttribute = self.fn("unum_getTextAttribute", ctypes.c_int32,
                                             [ctypes.c_void_p, ctypes.c_int, ctypes.c_void_p,
                                              ctypes.c_int32, c_int_p])
        self.unum_close = self.fn("unum_close", None, [ctypes.c_void_p])

    def fn(self, name, restype, argtypes):
        f = getattr(self.i18n, name + self.suffix)
        f.restype = restype
        f.argtypes = argtypes
        return f

    def _text(self, call, *args):
        buf = ctypes.create_string_buffer(1024)
        status = ctypes.c_int(0)
        n = call(*args, buf, 512, ctypes.byref(status))
        if status.value > 0:
            raise SourceError(f"ICU error {status.value}")
        return bytes(buf)[:2 * n].decode("utf-16-le")

    def _open_date(self, locale, date_style, time_style):
        status = ctypes.c_int(0)
        handle = self.udat_open(time_style, date_style, locale.encode(), None, -1, None, 0,
                                ctypes.byref(status))
        if status.value > 0 or not handle:
            raise SourceError(f"ICU cannot open a date format for {locale}")
        return handle

    def _open_number(self, locale, style):
        status = ctypes.c_int(0)
        handle = self.unum_open(style, None, 0, locale.encode(), None, ctypes.byref(status))
        if status.value > 0 or not handle:
            raise SourceError(f"ICU cannot open a number format for {locale}")
        return handle

    def language(self, locale):
        """Names from ICU's format-context symbols (day lists start on
        Sunday there too)."""
        d = self._open_date(locale, self.UDAT_SHORT, self.UDAT_NONE)
        try:
            def symbols(kind, indexes):
                return [self._text(self.udat_getSymbols, d, kind, i) for i in indexes]
            am, pm = symbols(self.UDAT_AM_PMS, range(2))
            return {"day": symbols(self.UDAT_WEEKDAYS, range(1, 8)),
                    "abday": symbols(self.UDAT_SHORT_WEEKDAYS, range(1, 8)),
                    "month": symbols(self.UDAT_MONTHS, range(12)) + [""],
                    "abmonth": symbols(self.UDAT_SHORT_MONTHS, range(12)) + [""],
                    "am": am, "pm": pm}
        finally:
            self.udat_close(d)

    def date_pattern(self, locale, date_style, time_style):
        d = self._open_date(locale, date_style, time_style)
        try:
            return self._text(self.udat_toPattern, d, 0)
        finally:
            self.udat_close(d)

    def territory(self, locale):
        """Conventions from ICU's decimal and currency formats: separators
        and signs from the symbols, grouping from the pattern's sizes,
        currency placement from the currency format's affixes, and pictures
        from the medium time, short date and full date patterns."""
        where = f"ICU {locale}"
        dec = self._open_number(locale, self.UNUM_DECIMAL)
        cur = self._open_number(locale, self.UNUM_CURRENCY)
        try:
            sym = {k: self._text(self.unum_getSymbol, dec, v) for k, v in self.SYMBOLS.items()}
            primary = self.unum_getAttribute(dec, self.UNUM_GROUPING_SIZE)
            secondary = self.unum_getAttribute(dec, self.UNUM_SECONDARY_GROUPING_SIZE)
            grouping = icu_grouping(primary, secondary)
            cprimary = self.unum_getAttribute(cur, self.UNUM_GROUPING_SIZE)
            csecondary = self.unum_getAttribute(cur, self.UNUM_SECONDARY_GROUPING_SIZE)
            digits = self.unum_getAttribute(cur, self.UNUM_FRACTION_DIGITS)
            affixes = [self._text(self.unum_getTextAttribute, cur, a)
                       for a in (self.UNUM_POSITIVE_PREFIX, self.UNUM_POSITIVE_SUFFIX,
                                 self.UNUM_NEGATIVE_PREFIX, self.UNUM_NEGATIVE_SUFFIX)]
        finally:
            self.unum_close(dec)
            self.unum_close(cur)
        decimal = one_character(sym["decimal"], where, "decimal", False)
        values = {
            "decimal-point": decimal,
            "thousands-sep": one_character(sym["group"], where, "group", True),
            "other-sep": other_separator(decimal),
            "grouping": grouping,
            "frac-digits": PLAIN_FRACTION_DIGITS,
            "mon-decimal-point": one_character(sym["mon-decimal"], where, "mon-decimal", False),
            "mon-thousands-sep": one_character(sym["mon-group"], where, "mon-group", True),
            "mon-grouping": icu_grouping(cprimary, csecondary),
            "currency-symbol": sym["currency"],
            "int-currency-symbol": sym["intl"],
            "currency-digits": digits,
            "int-currency-digits": digits,
            "positive-sign": "",
            "negative-sign": sym["minus"],
        }
        values.update(icu_currency_placement(affixes, sym["currency"], sym["minus"], where))
        values["time-format"] = cldr_picture(self.date_pattern(locale, self.UDAT_NONE,
                                                               self.UDAT_MEDIUM), where)
        values["date-format"] = cldr_picture(self.date_pattern(locale, self.UDAT_SHORT,
                                                               self.UDAT_NONE), where)
        values["long-date-format"] = cldr_picture(self.date_pattern(locale, self.UDAT_FULL,
                                                                    self.UDAT_NONE), where)
        return values


def icu_grouping(primary, secondary):
    if primary <= 0:
        return ""
    if secondary > 0 and secondary != primary:
        return f"{primary};{secondary};0"
    return f"{primary};0"


def icu_currency_placement(affixes, symbol_, minus, where):
    """cs-precedes, sep-by-space and sign positions from the affixes of a
    currency format, e.g. ("", " L", "-", " L")."""
    pp, ps, np_, ns = affixes
    out = {}
    for prefix, suffix, tag in ((pp, ps, "p"), (np_, ns, "n")):
        if symbol_ in prefix:
            out[f"{tag}-cs-precedes"] = 1
            rest = prefix.replace(symbol_, "\0")
            out[f"{tag}-sep-by-space"] = 1 if re.search(r"\0\s", rest) else 0
        elif symbol_ in suffix:
            out[f"{tag}-cs-precedes"] = 0
            rest = suffix.replace(symbol_, "\0")
            out[f"{tag}-sep-by-space"] = 1 if re.search(r"\s\0", rest) else 0
        else:
            raise SourceError(f"{where}: currency symbol not in the currency format")
    out["p-sign-posn"] = 1
    if minus in np_:
        before_symbol = symbol_ in np_ and np_.index(minus) < np_.index(symbol_)
        after_symbol = symbol_ in np_ and np_.index(minus) > np_.index(symbol_)
        out["n-sign-posn"] = 3 if before_symbol and np_.index(minus) > 0 else \
            4 if after_symbol else 1
    elif minus in ns:
        out["n-sign-posn"] = 2
    elif "(" in np_:
        out["n-sign-posn"] = 0
    else:
        raise SourceError(f"{where}: no negative sign in the currency format")
    return out


CLDR_FIELDS = {
    "d": ["%#d", "%d"], "M": ["%#m", "%m", "%b", "%B"], "L": ["%#m", "%m", "%b", "%B"],
    "y": ["%Y", "%y", "%Y", "%Y"], "E": ["%a", "%a", "%a", "%A"], "c": ["%w", "%w", "%a", "%A"],
    "h": ["%#I", "%I"], "H": ["%#H", "%H"], "m": ["%#M", "%M"], "s": ["%#S", "%S"],
    "a": ["%p"],
}
CLDR_DROPPED = set("GzZvVOXx")


def cldr_picture(pattern, where):
    """A CLDR date pattern as our directives: y and yyyy %Y, yy %y; d %#d,
    dd %d; M %#m, MM %m, MMM %b, MMMM %B; E..EEE %a, EEEE %A; h, hh, H, HH,
    m, mm, s, ss as %#I %I %#H %H %#M %M %#S %S; a %p; quoted text literally;
    era and zone fields dropped with one adjacent space."""
    toks, i, n = [], 0, len(pattern)
    while i < n:
        c = pattern[i]
        if c == "'":
            j = pattern.find("'", i + 1)
            j = n if j < 0 else j
            text = pattern[i + 1:j] if j > i + 1 else "'"
            toks += [("lit", ch) for ch in text]
            i = j + 1
        elif c.isascii() and c.isalpha():
            j = i
            while j < n and pattern[j] == c:
                j += 1
            count = j - i
            if c in CLDR_DROPPED:
                toks.append(("drop",))
            elif c in CLDR_FIELDS:
                forms = CLDR_FIELDS[c]
                d = forms[min(count, len(forms)) - 1]
                toks.append(("dir", d, "time" if c in "hHmsa" else "date"))
            else:
                raise SourceError(f"{where}: no translation for {c * count!r} in {pattern!r}")
            i = j
        else:
            toks.append(("lit", c))
            i += 1
    return render(drop_with_space(toks)).strip()


# ---------------------------------------------------------------------------
# Building the sources


def check_ucs2(values, where):
    for key, value in values.items():
        texts = value if isinstance(value, list) else [value]
        for t in texts:
            if isinstance(t, str) and any(ord(ch) > 0xFFFF or ord(ch) == 0 for ch in t):
                raise SourceError(f"{where}: {key} {t!r} is not 16-bit text")


def apply_overrides(kind, name, values):
    applied = []
    for key, value in OVERRIDES.get((kind, name), {}).items():
        if key not in values:
            raise SourceError(f"override of {kind} {name}: unknown keyword {key}")
        if values[key] != value:
            values[key] = value
            applied.append(key)
    return applied


def quote(text):
    """A text in the source syntax: double quotes, with \\" and \\\\, and
    \\uXXXX for characters that do not show (controls, format characters and
    spaces other than U+0020)."""
    out = ['"']
    for ch in text:
        cat = unicodedata.category(ch)
        if ch == '"' or ch == "\\":
            out.append("\\" + ch)
        elif ch != " " and (cat[0] in "CZ"):
            out.append(f"\\u{ord(ch):04X}")
        else:
            out.append(ch)
    out.append('"')
    return "".join(out)


def header(source, applied):
    lines = [f"# Generated by {SCRIPT} from {source}; do not edit.",
             f"# Regenerate from the repository root: {REGENERATE}"]
    if applied:
        lines.append(f"# Overridden in the importer: {', '.join(applied)}.")
    return lines


def language_text(lang, territories, values, source, applied, casing):
    _, _, abbrev, display = LANGUAGE_INFO[lang.name]
    terr = territories[lang.territory]
    cname, cnumber = lang.codeset
    lines = header(source, applied) + [
        "",
        f"name               {lang.name}",
        f"part               {lang.number}",
        f"abbreviation       {quote(abbrev)}",
        f"display-name       {quote(display)}",
        f"default-territory  {terr.number:<8d} # {terr.name}",
        f"default-codeset    {cnumber:<8d} # {cname}",
        f"default-sort       {0:<8d} # binary collation",
        f"source             {source}",
        "",
    ]
    for key in ("day", "abday", "month", "abmonth"):
        lines.append(f"{key:<10} " + " ".join(quote(v) for v in values[key]))
    lines.append(f"{'am':<10} {quote(values['am'])}")
    lines.append(f"{'pm':<10} {quote(values['pm'])}")
    lines += case_rule_lines(lang.name, casing)
    return "\n".join(lines) + "\n"


TERRITORY_LAYOUT = [
    ["decimal-point", "thousands-sep", "other-sep", "grouping", "frac-digits"],
    ["mon-decimal-point", "mon-thousands-sep", "mon-grouping", "currency-symbol",
     "int-currency-symbol", "currency-digits", "int-currency-digits", "positive-sign",
     "negative-sign", "p-cs-precedes", "p-sep-by-space", "n-cs-precedes", "n-sep-by-space",
     "p-sign-posn", "n-sign-posn"],
    ["time-format", "date-format", "long-date-format"],
    list(TERRITORY_FLAGS),
]


def territory_text(terr, values, source, applied):
    _, _, abbrev, display = TERRITORY_INFO[terr.name]
    lines = header(source, applied) + [
        "",
        f"name                 {terr.name}",
        f"part                 {terr.number}",
        f"abbreviation         {quote(abbrev)}",
        f"display-name         {quote(display)}",
        f"source               {source}",
    ]
    for group in TERRITORY_LAYOUT:
        lines.append("")
        for key in group:
            v = values[key]
            lines.append(f"{key:<20} {quote(v) if isinstance(v, str) else v}")
    return "\n".join(lines) + "\n"


def file_name(part_name):
    return part_name.lower() + ".txt"


def build():
    """{path: text} of every file to write."""
    languages, territories, _codesets = number_parts()
    assign_locales(languages, territories)
    for name in list(languages) + list(territories):
        if len(name) > 35 or any(c in name for c in "_.@ "):
            raise SourceError(f"part name {name!r} breaks the naming rules")
    posix = PosixSources()
    casing = special_casing_rows()
    icu = None

    def values_of(part, from_posix, from_icu):
        # The POSIX source where Debian has one, else ICU (opened once, on
        # first need); with the name of the source the values came from.
        nonlocal icu
        if posix.exists(part.locale):
            return from_posix(posix, part.locale), f"posix:{part.locale}"
        icu = icu or Icu()
        return from_icu(icu, part.locale), f"icu{icu.version}:{part.locale}"

    files = {}
    for lang in sorted(languages.values(), key=lambda p: p.number):
        values, source = values_of(lang, posix_language, Icu.language)
        check_ucs2(values, lang.name)
        applied = apply_overrides("language", lang.name, values)
        files[os.path.join(LANGUAGE_DIR, file_name(lang.name))] = \
            language_text(lang, territories, values, source, applied, casing)
    for terr in sorted(territories.values(), key=lambda p: p.number):
        values, source = values_of(terr, posix_territory, Icu.territory)
        values.update(TERRITORY_FLAGS)
        check_ucs2(values, terr.name)
        applied = apply_overrides("territory", terr.name, values)
        files[os.path.join(TERRITORY_DIR, file_name(terr.name))] = \
            territory_text(terr, values, source, applied)
    return files


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--check", action="store_true",
                        help="compare data/ with what would be written; write nothing")
    args = parser.parse_args(argv)
    try:
        files = build()
    except SourceError as e:
        print(f"import_locales: {e}", file=sys.stderr)
        return 1
    stale = []
    for directory in (LANGUAGE_DIR, TERRITORY_DIR):
        if os.path.isdir(directory):
            for entry in sorted(os.listdir(directory)):
                path = os.path.join(directory, entry)
                if entry.endswith(".txt") and path not in files:
                    stale.append(path)
    differ = []
    for path, text in sorted(files.items()):
        try:
            with open(path, encoding="utf-8", newline="") as f:
                if f.read() == text:
                    continue
        except FileNotFoundError:
            pass
        differ.append(path)
    if args.check:
        for path in differ:
            print(f"import_locales: {os.path.relpath(path, REPO_ROOT)} differs from the import",
                  file=sys.stderr)
        for path in stale:
            print(f"import_locales: {os.path.relpath(path, REPO_ROOT)} is not written by the import",
                  file=sys.stderr)
        if differ or stale:
            print(f"import_locales: run {REGENERATE}", file=sys.stderr)
            return 1
        print(f"import_locales: {len(files)} files up to date")
        return 0
    for directory in (LANGUAGE_DIR, TERRITORY_DIR):
        os.makedirs(directory, exist_ok=True)
    for path in differ:
        with open(path, "w", encoding="utf-8", newline="\n") as f:
            f.write(files[path])
    for path in stale:
        os.remove(path)
    print(f"import_locales: {len(files)} files, {len(differ)} written, {len(stale)} removed")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
