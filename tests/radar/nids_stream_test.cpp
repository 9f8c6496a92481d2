// The streaming reader: compressed products decode exactly like their plain
// form, and bad counts are refused with a reason (cut and damaged products
// are swept in robust_test).
#include <gtest/gtest.h>

#include <bzlib.h>
#include <zlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "nids_test_util.h"

using namespace nids_test;

namespace {

// Length of the first `lines` text lines of a product (its bulletin header).
std::size_t after_lines(const Bytes& b, int lines) {
  std::size_t pos = 0;
  for (int i = 0; i < lines; ++i)
    pos = static_cast<std::size_t>(std::find(b.begin() + static_cast<long>(pos), b.end(), '\n') - b.begin()) + 1;
  return pos;
}

// The zlib streams from `pos` on (as compressed products hold them one after
// the other), unpacked by zlib itself; false if one does not end cleanly.
bool inflate_streams(const Bytes& in, std::size_t pos, Bytes* out) {
  for (Bytes buf(1 << 20); pos + 2 <= in.size() && in[pos] == 'x';) {
    uLongf n = buf.size();
    uLong used = in.size() - pos;
    if (uncompress2(buf.data(), &n, in.data() + pos, &used) != Z_OK) return false;
    out->insert(out->end(), buf.begin(), buf.begin() + static_cast<long>(n));
    pos += used;
  }
  return !out->empty();
}

// The bzip2 stream from `pos` on, unpacked by libbz2 itself.
bool bunzip(const Bytes& in, std::size_t pos, Bytes* out) {
  Bytes buf(1 << 22);
  unsigned n = static_cast<unsigned>(buf.size());
  char* src = reinterpret_cast<char*>(const_cast<std::uint8_t*>(in.data() + pos));
  if (BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(buf.data()), &n, src, static_cast<unsigned>(in.size() - pos),
                                 0, 0) != BZ_OK)
    return false;
  out->insert(out->end(), buf.begin(), buf.begin() + n);
  return true;
}

// Compressed products and a bulletin trailer decode exactly like the plain
// product, and a second decode of one open file (a redraw) like the first.
TEST(NidsCompression, ProductsDecodeLikeTheirPlainForm) {
  struct Pair {
    std::string what;
    Bytes product, plain;
  };
  std::vector<Pair> pairs;
  // Whole product zlib-compressed (in several streams) after a SOH CR
  // bulletin header; each stream repeats 54 bytes of bulletin text first.
  const Bytes z = read_file(data_path("N0R_20041119_2147"));
  ASSERT_EQ(z[0], 0x01);
  const std::size_t head = after_lines(z, 4);
  Bytes body;
  EXPECT_TRUE(inflate_streams(z, head, &body));
  ASSERT_GT(body.size(), 54u + 120u);
  Bytes plain(z.begin(), z.begin() + static_cast<long>(head));
  plain.insert(plain.end(), body.begin() + 54, body.end());
  pairs.push_back({"zlib", z, plain});
  for (const char* name : {"KBMX_SDUS54_N0QBMX_201501020205", "KBMX_SDUS54_DVLBMX_201501020205",
                           "KLOT_SDUS53_TZLORD_201501150003"}) {
    const Bytes c = read_file(data_path(name));
    const std::size_t symb = after_lines(c, 2) + 120;
    ASSERT_EQ(c[symb], 'B') << name;
    Bytes p(c.begin(), c.begin() + static_cast<long>(symb));
    EXPECT_TRUE(bunzip(c, symb, &p)) << name;
    pairs.push_back({name, c, p});
  }
  // A plain product whose bulletin ends in CR CR LF ETX.
  const Bytes with = read_file(data_path("DPA_20041123_1709"));
  ASSERT_EQ(with.back(), 3);
  pairs.push_back({"trailer", with, Bytes(with.begin(), with.end() - 4)});
  for (const Pair& p : pairs) {
    const Listing a = dump_bytes(p.product);
    const Listing b = dump_bytes(p.plain);
    ASSERT_EQ(a.status, 0) << p.what << ": " << a.error;
    EXPECT_GT(a.lines.size(), 100u) << p.what;
    EXPECT_EQ(a.lines, b.lines) << p.what;
  }
  FilePtr f(std::fopen(data_path("KBMX_SDUS54_N0QBMX_201501020205").c_str(), "rb"));
  const Listing first = dump(f.get());
  EXPECT_EQ(first.status, 0);
  EXPECT_EQ(dump(f.get()).lines, first.lines);
}

TEST(NidsRobustness, HandMadeBadCounts) {
  struct Case {
    const char* what;
    Bytes layer;
    const char* error;
  };
  auto packet = [](std::initializer_list<int> words) {
    Builder b;
    for (int w : words) b.i16(w);
    return b.b;
  };
  const Case cases[] = {
      {"too many radials", packet({0xAF1F, 0, 230, 256, 280, 999, 30000}), "out of range"},
      {"negative bins", packet({16, 0, -4, 256, 280, 999, 360}), "out of range"},
      {"too many rows", packet({0xBA0F, 0x8000, 0x00C0, 0, 0, 1, 0, 1, 0, 9000, 2}), "out of range"},
      {"short text", packet({8, 3, 1, 1, 1}), "too short"},
      {"radial cut short", packet({0xAF1F, 0, 230, 256, 280, 999, 2, 100, 0, 10}), "ends inside"},
  };
  for (const Case& c : cases) {
    Builder b;
    b.headers(19).symbology(16 + static_cast<long>(c.layer.size()));
    b.b.insert(b.b.end(), c.layer.begin(), c.layer.end());
    const Listing l = dump_bytes(b.b);
    EXPECT_EQ(l.status, 2) << c.what;
    EXPECT_NE(l.error.find(c.error), std::string::npos) << c.what << ": " << l.error;
  }
}

}  // namespace
