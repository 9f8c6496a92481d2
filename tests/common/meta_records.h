// Records of a text metafile read back: primitives with their points,
// texts, and attribute records with their arguments.
#pragma once

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "files.h"
#include "zor/gks.h"

namespace zor::test::meta {

struct Record {
  std::string kind;
  std::string text;  // TE: the text; attribute records: their arguments
  std::vector<Gpt> pts;
};

// Records of a text metafile after its header: primitives with their points
// (continuation lines joined; a continuation line may also start the next
// record), texts, and attribute records with their arguments.
inline std::vector<Record> records(const std::string& file) {
  std::vector<Record> out;
  const auto lines = lines_of(slurp(file));
  bool in_points = false;
  for (std::size_t i = 4; i < lines.size(); ++i) {
    std::istringstream in(lines[i]);
    std::string tok;
    while (in >> tok) {
      if (tok.find(',') != std::string::npos && in_points) {
        Gpt p;
        if (std::sscanf(tok.c_str(), "%f,%f", &p.x, &p.y) == 2) out.back().pts.push_back(p);
        continue;
      }
      in_points = tok == "PL" || tok == "FA" || tok == "PM";
      out.push_back({tok, "", {}});
      if (in_points) {
        in >> tok;  // the count
        continue;
      }
      Record& r = out.back();
      if (tok == "TE") {
        std::string pos;
        in >> pos;
        Gpt p{};
        std::sscanf(pos.c_str(), "%f,%f", &p.x, &p.y);
        r.pts.push_back(p);
      }
      std::getline(in, r.text);
      if (!r.text.empty() && r.text[0] == ' ') r.text.erase(0, 1);
      break;
    }
  }
  return out;
}

inline std::vector<Record> only(const std::vector<Record>& recs, const std::string& kind) {
  std::vector<Record> out;
  for (const auto& r : recs)
    if (r.kind == kind) out.push_back(r);
  return out;
}

inline std::vector<std::string> texts(const std::vector<Record>& recs) {
  std::vector<std::string> out;
  for (const auto& r : only(recs, "TE")) out.push_back(r.text);
  return out;
}

}  // namespace zor::test::meta
