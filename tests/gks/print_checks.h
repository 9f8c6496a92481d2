// Readers of print outputs shared by the device and program tests: the
// workstation's size, and the elements of a binary CGM.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "zor/byte_reader.h"
#include "zor/gks.h"

namespace zor::test {

inline std::pair<int, int> win_size() {
  int w = 0, h = 0;
  gget_win_size(&w, &h);
  return {w, h};
}

// Class, id and parameter bytes of each element, the partitions of a long
// form joined; `whole` says whether the elements end the file.
struct CgmElement {
  int cls = 0, id = 0;
  std::vector<std::uint8_t> params;
};

inline std::vector<CgmElement> cgm_elements(const std::string& bytes, bool* whole = nullptr) {
  std::vector<CgmElement> out;
  zor::ByteReader r(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  if (whole) *whole = false;
  try {
    while (!r.empty()) {
      const std::uint16_t head = r.u16();
      CgmElement e{head >> 12, (head >> 5) & 0x7F, {}};
      std::size_t len = head & 31;
      bool more = len == 31;
      for (bool first = true; first || more; first = false) {
        if (more) {
          const std::uint16_t part = r.u16();
          more = (part & 0x8000) != 0;
          len = part & 0x7FFF;
        }
        const auto p = r.bytes(len);
        e.params.insert(e.params.end(), p.begin(), p.end());
        if (len % 2 == 1) r.u8();
      }
      out.push_back(std::move(e));
    }
  } catch (const zor::DecodeError&) {
    return out;
  }
  if (whole) *whole = true;
  return out;
}

}  // namespace zor::test
