// WMO station numbers and the letter identifiers derived from them.
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "zor/text.h"

namespace {

struct WmoBlock {
  int first;
  int last;
  const char* prefix;  // one letter: 4 digits follow; two: 3 digits follow
};

// Number ranges in look-up order: the first range holding a number wins.
constexpr WmoBlock kBlocks[] = {
    {1000, 1499, "EN"},
    {2000, 2699, "ES"},
    {2800, 2999, "EF"},
    {3000, 3949, "EG"},
    {3950, 3999, "EI"},
    {4000, 4099, "BI"},
    {4100, 4399, "BG"},
    {6000, 6199, "EK"},
    {6200, 6399, "EH"},
    {6400, 6499, "EB"},
    {6500, 6599, "EL"},
    {6600, 6799, "LS"},
    {7000, 7999, "LF"},
    {8000, 8499, "LE"},
    {8500, 8579, "LP"},
    {11000, 11399, "LO"},
    {11400, 11999, "LK"},
    {12100, 12699, "EP"},
    {12700, 12999, "LH"},
    {13000, 13599, "LY"},
    {13600, 13699, "LA"},
    {14000, 14299, "LJ"},
    {15000, 15499, "LR"},
    {15500, 15999, "LB"},
    {16000, 16599, "LI"},
    {16600, 16999, "LG"},
    {17000, 17599, "LT"},
    {17600, 17699, "LC"},
    {30000, 39999, "X"},
    {40000, 40099, "OS"},
    {40100, 40149, "OL"},
    {40150, 40199, "LL"},
    {40250, 40349, "OJ"},
    {40350, 40499, "OE"},
    {40500, 40599, "OK"},
    {40600, 40699, "OR"},
    {40700, 40899, "OI"},
    {40900, 40999, "OA"},
    {41000, 41149, "OE"},
    {41150, 41159, "OB"},
    {41160, 41179, "OE"},
    {41180, 41239, "OT"},
    {41240, 41319, "OM"},
    {41320, 41409, "OY"},
    {41410, 41499, "OD"},
    {41500, 41799, "OP"},
    {41800, 41999, "VG"},
    {42000, 42999, "VI"},
    {43000, 43999, "VO"},
    {44000, 44399, "ZM"},
    {44400, 44499, "VN"},
    {45000, 45099, "VH"},
    {46000, 46999, "RC"},
    {47000, 47079, "ZK"},
    {47080, 47199, "RK"},
    {47400, 47999, "RJ"},
    {48000, 48199, "VB"},
    {48300, 48599, "VT"},
    {48600, 48689, "WM"},
    {48690, 48699, "WS"},
    {48800, 48929, "VV"},
    {48930, 48959, "VL"},
    {48960, 48999, "VD"},
    {50000, 59999, "Z"},
    {60000, 60049, "GC"},
    {60050, 60319, "GM"},
    {60320, 60339, "GE"},
    {60350, 60699, "DA"},
    {60700, 60799, "DT"},
    {61000, 61099, "DR"},
    {61100, 61299, "GA"},
    {61400, 61499, "GQ"},
    {61600, 61699, "GO"},
    {61700, 61749, "GB"},
    {61750, 61799, "GG"},
    {61800, 61849, "GU"},
    {61850, 61899, "GF"},
    {62000, 62299, "HL"},
    {62300, 62499, "HE"},
    {62600, 62999, "HS"},
    {63000, 63099, "HA"},
    {63100, 63149, "HF"},
    {63150, 63299, "HC"},
    {63300, 63499, "HA"},
    {63600, 63979, "HK"},
    {63680, 63999, "FS"},
    {64000, 64360, "FZ"},
    {64380, 64389, "HR"},
    {64390, 64399, "HB"},
    {64400, 64499, "FC"},
    {64500, 64599, "FO"},
    {64600, 64699, "FE"},
    {64700, 64799, "FT"},
    {64800, 64849, "FG"},
    {64850, 64999, "FK"},
    {65000, 65299, "DN"},
    {65300, 65349, "DB"},
    {65350, 65399, "DX"},
    {65400, 65499, "DG"},
    {65500, 65524, "DF"},
    {65600, 65699, "GL"},
    {66000, 66999, "FN"},
    {67000, 67199, "FM"},
    {67200, 67399, "FQ"},
    {67400, 67753, "FL"},
    {67755, 67789, "FV"},
    {67790, 67799, "FW"},
    {67800, 67999, "FV"},
    {68000, 68999, "FA"},
    {69000, 69999, "KQ"},
    {70000, 70999, "PA"},
    {71000, 71999, "CY"},
    {72000, 72999, "K2"},
    {74000, 74999, "K4"},
    {76000, 76999, "MM"},
    {78000, 78199, "MY"},
    {78200, 78379, "MU"},
    {78380, 78384, "MW"},
    {78385, 78399, "MK"},
    {78400, 78449, "MT"},
    {78450, 78499, "MD"},
    {78500, 78519, "MH"},
    {78520, 78534, "TJ"},
    {78535, 78550, "TI"},
    {78580, 78599, "MZ"},
    {78600, 78649, "MG"},
    {78650, 78699, "MS"},
    {78700, 78729, "MH"},
    {78730, 78759, "MN"},
    {78760, 78789, "MR"},
    {78790, 78819, "MP"},
    {78840, 78864, "TK"},
    {78865, 78889, "TN"},
    {78890, 78899, "TF"},
    {78900, 78919, "TD"},
    {78920, 78939, "TF"},
    {78940, 78959, "TL"},
    {78960, 78979, "TT"},
    {78980, 78999, "TN"},
    {80000, 80399, "SK"},
    {80400, 80999, "SV"},
    {81000, 81199, "SY"},
    {81200, 81399, "SM"},
    {81400, 81599, "SO"},
    {82000, 82999, "SB"},
    {83000, 83999, "SZ"},
    {84000, 84299, "SE"},
    {84300, 84999, "SP"},
    {85000, 85399, "SL"},
    {85400, 85999, "SC"},
    {86000, 86299, "SG"},
    {86300, 86599, "SU"},
    {87000, 87999, "SA"},
    {88000, 88999, "SF"},
    {88000, 88999, "AN"},
    {91000, 91199, "PH"},
    {91250, 91259, "PK"},
    {91260, 91299, "PH"},
    {91300, 91359, "PT"},
    {91360, 91379, "PK"},
    {91380, 91399, "PL"},
    {91400, 91449, "PT"},
    {91450, 91499, "PL"},
    {91500, 91549, "AG"},
    {91550, 91569, "NV"},
    {91570, 91599, "NW"},
    {91600, 91649, "NG"},
    {91650, 91699, "NF"},
    {91700, 91749, "N1"},
    {91750, 91759, "NL"},
    {91760, 91769, "NS"},
    {91770, 91799, "NF"},
    {91800, 91849, "NC"},
    {91900, 91959, "NT"},
    {92000, 92999, "AY"},
    {93000, 93999, "NZ"},
    {94100, 95999, "Y"},
    {96000, 96999, "WI"},
    {97000, 97999, "WA"},
    {98000, 98999, "RP"},
};

// Only this part of the chain is used for numbers; the rest still serves
// the reverse look-up of identifiers that carry those prefixes.
constexpr int kLookupMax = 19999;
constexpr int kNoStation = 99999;

int modulus(const WmoBlock& b) { return std::strlen(b.prefix) == 1 ? 10000 : 1000; }

bool all_digits(std::string_view s) {
  if (s.empty()) return false;
  for (char c : s)
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  return true;
}

int to_int(std::string_view s) {
  int v = 0;
  for (char c : s) v = v * 10 + (c - '0');
  return v;
}

// The first block with this prefix whose range holds the block base plus the
// identifier's digits.
bool reverse_lookup(std::string_view prefix, int digits, int* wmo) {
  for (const WmoBlock& b : kBlocks) {
    if (prefix != b.prefix) continue;
    int m = modulus(b);
    int candidate = b.first - b.first % m + digits;
    if (candidate >= b.first && candidate <= b.last) {
      *wmo = candidate;
      return true;
    }
  }
  return false;
}

}  // namespace

int wmo_to_id(char* id, int wmo) {
  if (id == nullptr) return -1;
  // Six characters is all a caller's identifier buffer is promised, so a
  // number that does not fit five digits is refused as "no station".
  if (wmo < 0 || wmo > kNoStation) {
    std::snprintf(id, 6, "%5.5d", kNoStation);
    return -1;
  }
  if (wmo <= kLookupMax) {
    for (const WmoBlock& b : kBlocks) {
      if (wmo < b.first || wmo > b.last) continue;
      if (modulus(b) == 10000)
        std::snprintf(id, 6, "%s%4.4d", b.prefix, wmo % 10000);
      else
        std::snprintf(id, 6, "%s%3.3d", b.prefix, wmo % 1000);
      return 0;
    }
  }
  std::snprintf(id, 6, "%5.5d", wmo);
  return 0;
}

int id_to_wmo(const char* id, int* wmo) {
  if (wmo == nullptr) return -1;
  *wmo = kNoStation;
  if (id == nullptr) return -1;
  char up[6] = {};
  std::size_t n = std::strlen(id);
  if (n != 5) return -1;
  for (std::size_t i = 0; i < n; ++i)
    up[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(id[i])));
  std::string_view v(up, n);
  if (all_digits(v)) {
    *wmo = to_int(v);
    return 0;
  }
  // Two-letter prefixes first: some of them ("K2", "N1") end in a digit.
  if (all_digits(v.substr(2)) && reverse_lookup(v.substr(0, 2), to_int(v.substr(2)), wmo)) return 0;
  if (all_digits(v.substr(1)) && reverse_lookup(v.substr(0, 1), to_int(v.substr(1)), wmo)) return 0;
  return -1;
}
