// Text utilities, line readers, keyed table, station identifiers and byte
// swapping, checked against a real product where the helpers read one.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "../common/files.h"
#include "zor/file_io.h"
#include "zor/text.h"

namespace {

const std::string kData = std::string(ZOR_TEST_DATA_DIR) + "/frame/";

std::vector<std::string> split(const char* s, char delim) {
  int argc = 0;
  char** argv = nullptr;
  std::vector<std::string> out;
  if (parse_string(s, delim, &argc, &argv) != 0) return {"<fail>"};
  for (int i = 0; i < argc; ++i) out.emplace_back(argv[i]);
  free_parsed_array(argc, argv);
  return out;
}

TEST(ParseString, SplitsKeepingEmptyItemsAndDroppingTrailingDelimiters) {
  EXPECT_EQ(split("a,,b,", ','), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(split("nids", ','), (std::vector<std::string>{"nids"}));
  EXPECT_EQ(split(",x", ','), (std::vector<std::string>{"", "x"}));
  EXPECT_EQ(split("red wi=2 st=dsh", ' '), (std::vector<std::string>{"red", "wi=2", "st=dsh"}));
  // Only delimiters: all trailing, so one empty item remains.
  EXPECT_EQ(split(",,,", ','), (std::vector<std::string>{""}));
  int argc = 7;
  char** argv = reinterpret_cast<char**>(&argc);
  EXPECT_EQ(parse_string("", ',', &argc, &argv), -1);
  EXPECT_EQ(argc, 0);
  EXPECT_EQ(argv, nullptr);
  EXPECT_EQ(parse_string(nullptr, ',', &argc, &argv), -1);
  EXPECT_EQ(free_parsed_array(0, nullptr), 0);
}

TEST(StringEdits, InPlaceEditsNumbersAndComparison) {
  const std::tuple<const char*, void (*)(char*), const char*> edits[] = {
      {"a_b_c", [](char* s) { fill_string(s, '_', ' '); }, "a b c"},
      {"a b c", [](char* s) { strip_string(s, ' '); }, "abc"},
      {"line one  \r\n", [](char* s) { EXPECT_EQ(wstrim_string(s), 1); }, "line one"},
      {"a\r\nb \n ", [](char* s) { wstrim_string(s); }, "ab"},
      {"  x  ", [](char* s) { trim_string(s); }, "  x"},
      {"x\r\r", [](char* s) { trim_cr_string(s); }, "x"},
      {"a\\,b\\\\c\\", [](char* s) { strip_escape(s); }, "a,b\\c"},
      {"Kbmx-9", [](char* s) { EXPECT_EQ(up_string(s), 1); }, "KBMX-9"},
  };
  for (const auto& [text, edit, want] : edits) {
    char s[64];
    std::strcpy(s, text);
    edit(s);
    EXPECT_STREQ(s, want) << text;
  }
  EXPECT_EQ(low_string(nullptr), 0);

  for (const auto& [text, num] : {std::pair{"72469", 1}, {"-12", 1}, {"-", 0}, {"", 0}, {"12a", 0}, {"+1", 0}})
    EXPECT_EQ(string_is_num(text), num) << text;

  EXPECT_EQ(std::tuple(stricmp("NIDS", "nids"), stricmp(nullptr, "nids"), stricmp("nids", nullptr)), std::tuple(0, 1, 1));
  EXPECT_TRUE(stricmp("lev2", "LEV2Z") < 0 && stricmp("b", "A") > 0);
  EXPECT_EQ(std::tuple(strnicmp("lev2z", "lev2", 4), strnicmp("ab", "AB", 10)), std::tuple(0, 0));
  EXPECT_NE(strnicmp("lev2z", "lev2", 5), 0);
}

TEST(SetNum, WidthSignificantDigitsAndMinimumDecimals) {
  char s[80];
  // Width 0 becomes S + 1; a millionth counts as zero; widths cap at 9.
  for (const auto& [form, v, want] : {std::tuple{"4.2.0", 12.3f, "  12"},
                                      {"4.2.0", 1.234f, " 1.2"},
                                      {"4.2.0", 0.0123f, "0.012"},
                                      {"4.2.0", -12.3f, " -12"},
                                      {"4.2.2", 12.3f, "12.30"},
                                      {"0.3.0", 1.5f, "1.50"},
                                      {"4.2.0", 0.000001f, "   0"},
                                      {"12.1.0", 5.0f, "        5"}})
    EXPECT_STREQ(set_num(s, form, v), want) << form << " " << v;
  // The largest float still fits the caller's label buffer.
  EXPECT_EQ(std::strlen(set_num(s, "9.9.9", -3.0e38f)), 50u);
}

TEST(LineReaders, LongLinesAreSplitNeverOverflowed) {
  const std::string path = zor::test::scratch("long_lines.txt");
  zor::test::write_file(path, std::string(200, 'x') + "\n\nabcdefgh\nskipped\nlast");
  zor::File f = zor::open_file(path.c_str(), "r");
  ASSERT_TRUE(f);
  char buf[161 + 8];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(fgetline(f.get(), buf), 160);
  EXPECT_EQ(buf[161], '#');
  EXPECT_EQ(fgetline(f.get(), buf), 40);
  EXPECT_EQ(fgetline(f.get(), buf), 0);  // the empty line
  EXPECT_STREQ(buf, "");
  char small[6];
  EXPECT_EQ(fgetnline(f.get(), small, 5), 5);
  EXPECT_STREQ(small, "abcde");
  EXPECT_EQ(fskipline(f.get()), 0);  // rest of "abcdefgh"
  EXPECT_EQ(fskipline(f.get()), 0);  // "skipped"
  EXPECT_EQ(fgetstring(f.get(), small, 5), 1);
  EXPECT_STREQ(small, "last");
  EXPECT_EQ(fgetstring(f.get(), small, 5), -1);
  EXPECT_EQ(fgetline(f.get(), buf), -1);
  EXPECT_EQ(fgetline(nullptr, buf), -1);
}

TEST(KeyedTable, ChainsDuplicatesOrderAndOddBytes) {
  TAB_table tab;
  TAB_init(&tab);
  ASSERT_EQ(TAB_create(&tab, 1, 4, 2), 0);  // one bucket: everything chains
  ASSERT_EQ(TAB_enter(&tab, "aaa", "A", "x"), 0);
  ASSERT_EQ(TAB_enter(&tab, "bbb", "B", "x"), 0);
  ASSERT_EQ(TAB_enter(&tab, "ccc", "\xe9t\xe9", "y"), 0);  // bytes above 127
  EXPECT_EQ(tab.num_entry, 3);
  EXPECT_STREQ(TAB_search(&tab, 1, "B"), "bbb");
  EXPECT_EQ(TAB_search(&tab, 1, "b"), nullptr);  // case-sensitive
  EXPECT_EQ(TAB_search(&tab, 0, "B"), nullptr);
  EXPECT_STREQ(TAB_search(&tab, 1, "\xe9t\xe9"), "ccc");
  EXPECT_STREQ(TAB_search(&tab, 2, "x"), "aaa");  // first in the chain
  EXPECT_EQ(TAB_search(&tab, 3, "x"), nullptr);

  char* found[4] = {};
  EXPECT_EQ(TAB_searches(&tab, 2, "x", found, 4), 2);
  EXPECT_STREQ(found[0], "aaa");
  EXPECT_STREQ(found[1], "bbb");
  EXPECT_EQ(TAB_searches(&tab, 2, "x", found, 1), 1);  // never past the caller's array

  // Both keys of a record share its data.
  EXPECT_EQ(TAB_search(&tab, 1, "A"), TAB_search(&tab, 2, "x"));

  std::vector<std::string> order;
  TAB_entry* pos = nullptr;
  for (char* r = TAB_first(&tab, &pos); r != nullptr; r = TAB_next(&pos)) order.emplace_back(r);
  EXPECT_EQ(order, (std::vector<std::string>{"aaa", "bbb", "ccc"}));
  TAB_clear(&tab);
  EXPECT_TRUE(TAB_search(&tab, 1, "B") == nullptr && tab.num_entry == 0);
  TAB_table empty;
  TAB_init(&empty);
  EXPECT_EQ(TAB_search(&empty, 1, "A"), nullptr);
  EXPECT_EQ(TAB_enter(&empty, "x", "A"), -1);
  EXPECT_EQ(TAB_create(&empty, 10, 4, 5), -1);  // at most four keys
}

TEST(StationIds, NumbersToIdentifiersAndBack) {
  const std::tuple<int, const char*, int> cases[] = {
      {1234, "EN234", 0},  {1499, "EN499", 0},  {1500, "01500", 0},  {6001, "EK001", 0},
      {17650, "LC650", 0}, {500, "00500", 0},   {19999, "19999", 0}, {72469, "72469", 0},
      {31234, "31234", 0},  // the one-letter rows lie above the looked-up span
      {-5, "99999", -1},   {123456, "99999", -1},
  };
  for (const auto& [wmo, want, ret] : cases) {
    char id[6];
    EXPECT_EQ(wmo_to_id(id, wmo), ret) << wmo;
    EXPECT_STREQ(id, want) << wmo;
  }
  for (int n = 0; n <= 19999; ++n) {
    char id[6];
    wmo_to_id(id, n);
    int back = -1;
    ASSERT_EQ(id_to_wmo(id, &back), 0) << id;
    ASSERT_EQ(back, n) << id;
  }
  const std::pair<const char*, int> ids[] = {{"K2469", 72469}, {"OE100", 41100}, {"OE400", 40400}, {"X1234", 31234},
                                             {"en234", 1234},  {"72469", 72469}, {"ZZ123", 99999}, {"EN600", 99999},
                                             {"KBMX", 99999},  {"", 99999}};
  int wmo = 0;
  for (const auto& [id, want] : ids) {
    id_to_wmo(id, &wmo);
    EXPECT_EQ(wmo, want) << id;
  }
  EXPECT_EQ(id_to_wmo("ZZ123", &wmo), -1);
  EXPECT_EQ(id_to_wmo(nullptr, &wmo), -1);
}

bool host_little() {
  const std::uint16_t one = 1;
  return *reinterpret_cast<const unsigned char*>(&one) == 1;
}

TEST(ByteSwap, SetupDecidesWhetherSwapsAct) {
  unsigned char b[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  swap_setup(-1);
  EXPECT_EQ(swap_long(b), -1);
  EXPECT_EQ(b[0], 1);

  swap_setup(0);  // always
  EXPECT_EQ(swap_long(b), 0);
  EXPECT_EQ((std::vector<int>(b, b + 4)), (std::vector<int>{4, 3, 2, 1}));
  EXPECT_EQ(swap_shorts(b, 4), 0);
  EXPECT_EQ((std::vector<int>(b, b + 8)), (std::vector<int>{3, 4, 1, 2, 6, 5, 8, 7}));
  EXPECT_EQ(swap_double(b), 0);
  EXPECT_EQ((std::vector<int>(b, b + 8)), (std::vector<int>{7, 8, 5, 6, 2, 1, 4, 3}));
  unsigned char l[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(swap_longs(l, 2), 0);
  EXPECT_EQ((std::vector<int>(l, l + 8)), (std::vector<int>{4, 3, 2, 1, 8, 7, 6, 5}));

  unsigned char c[4] = {1, 2, 3, 4};
  swap_setup(1);  // big-endian data
  EXPECT_EQ(swap_long(c), host_little() ? 0 : -1);
  EXPECT_EQ(c[0], host_little() ? 4 : 1);
  swap_setup(2);  // little-endian data
  EXPECT_EQ(swap_long(c), host_little() ? -1 : 0);
  swap_setup(0);
}

TEST(ByteSwap, ReadersDecodeARealBigEndianProductHeader) {
  // A NIDS product: 30 bytes of bulletin header, then the message header
  // (code, days since 1970, seconds of day, length).
  zor::File f = zor::open_file((kData + "KBMX_SDUS54_N0RBMX_201501020205").c_str(), "rb");
  ASSERT_TRUE(f);
  ASSERT_EQ(std::fseek(f.get(), 30, SEEK_SET), 0);
  swap_setup(1);
  std::int16_t code = 0, days = 0;
  std::int32_t secs = 0, length = 0;
  ASSERT_EQ(fread_short_swap(reinterpret_cast<unsigned char*>(&code), f.get()), 1);
  ASSERT_EQ(fread_short_swap(reinterpret_cast<unsigned char*>(&days), f.get()), 1);
  ASSERT_EQ(fread_long_swap(reinterpret_cast<unsigned char*>(&secs), f.get()), 1);
  ASSERT_EQ(fread_long_swap(reinterpret_cast<unsigned char*>(&length), f.get()), 1);
  // Product 19 of 2 January 2015 (day 16438 counting 1 January 1970 as 1),
  // minute 126 (02:06 UTC); the length is the file less its bulletin header.
  EXPECT_EQ(std::tuple(code, days, secs / 60, length), std::tuple(19, 16438, 126, 23350));

  // Writing swaps in place and puts the big-endian bytes on disk.
  const std::string out_path = zor::test::scratch("swap_out.bin");
  {
    zor::File out = zor::open_file(out_path.c_str(), "wb");
    std::int32_t v = 0x01020304;
    std::int16_t h = 0x0A0B;
    ASSERT_EQ(fwrite_long_swap(reinterpret_cast<unsigned char*>(&v), out.get()), 1);
    ASSERT_EQ(fwrite_short_swap(reinterpret_cast<unsigned char*>(&h), out.get()), 1);
  }
  EXPECT_EQ(zor::test::slurp(out_path), std::string("\x01\x02\x03\x04\x0A\x0B", 6));
  swap_setup(0);
}

}  // namespace
