// Watch boxes: tornado and severe-thunderstorm watches decoded from the
// aviation watch bulletins ("AWW") of the hours before the plot time and
// drawn as boxes along their axis with number and end time.
#include "zor/watch.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "zor/attrib.h"
#include "zor/cty.h"
#include "zor/data_dir.h"
#include "zor/date.h"
#include "zor/file.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/map.h"
#include "zor/map_draw.h"
#include "zor/mess.h"
#include "zor/res.h"
#include "zor/text.h"

namespace zor::watch {

namespace {

constexpr float kMiss = -9999.0f;
constexpr float kMileKm = 1.60934f;
constexpr int kSearchBack = -32401;  // just over nine hours before the plot time
constexpr int kPlotData = 7;

struct State {
  std::array<::watch, WATCH_MAX> watches{};
  int num_watch = 0;
  int slabel = 0;
  void reset() { *this = State{}; }
};

State& state() {
  static State s;
  return s;
}

// Reads the bulletin text the way the bulletins are laid out: blank-separated
// words of at most 79 characters, numbers of fixed width, literal marks.
class Scanner {
 public:
  explicit Scanner(std::string text) : text_(std::move(text)) {}

  bool eof() const { return pos_ >= text_.size(); }
  std::size_t pos() const { return pos_; }
  void seek(std::size_t p) { pos_ = p; }

  void skip_ws() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }
  // Next word, at most max characters (the rest is the next word).
  bool word(std::string* w, std::size_t max = 79) {
    skip_ws();
    w->clear();
    while (pos_ < text_.size() && w->size() < max && !std::isspace(static_cast<unsigned char>(text_[pos_]))) {
      w->push_back(text_[pos_++]);
    }
    return !w->empty();
  }
  // A number of at most width digits (0: any), after blanks.
  bool integer(int* v, std::size_t width = 0) {
    skip_ws();
    std::size_t p = pos_;
    bool neg = false;
    if (p < text_.size() && (text_[p] == '-' || text_[p] == '+')) {
      neg = text_[p] == '-';
      ++p;
    }
    const std::size_t start = p;
    long n = 0;
    while (p < text_.size() && std::isdigit(static_cast<unsigned char>(text_[p])) &&
           (width == 0 || p - pos_ < width) && n < 100000000) {
      n = n * 10 + (text_[p++] - '0');
    }
    if (p == start) return false;
    pos_ = p;
    *v = static_cast<int>(neg ? -n : n);
    return true;
  }
  bool real(float* v) {
    skip_ws();
    const char* begin = text_.c_str() + pos_;
    char* end = nullptr;
    const float f = std::strtof(begin, &end);
    if (end == begin) return false;
    pos_ += static_cast<std::size_t>(end - begin);
    *v = f;
    return true;
  }
  // A literal character; a blank in a pattern stands for any blanks.
  bool literal(char c) {
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }
  bool pattern(std::string_view pat) {
    for (char c : pat) {
      if (c == ' ') skip_ws();
      else if (!literal(c)) return false;
    }
    return true;
  }
  // Text up to (not including) the next stop character on this line and
  // the following ones; empty when there is none.
  std::string upto(char stop) {
    const std::size_t p = text_.find(stop, pos_);
    if (p == std::string::npos) return {};
    std::string out = text_.substr(pos_, p - pos_);
    pos_ = p;
    return out;
  }
  // Skips to the first of the characters.
  bool skip_to_any(std::string_view chars) {
    const std::size_t p = text_.find_first_of(chars, pos_);
    if (p == std::string::npos) {
      pos_ = text_.size();
      return false;
    }
    pos_ = p;
    return true;
  }
  // Skips what is not the stop character nor a newline; false when empty.
  bool skip_not(char stop) {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && text_[pos_] != stop && text_[pos_] != '\n') ++pos_;
    return pos_ > start;
  }

 private:
  std::string text_;
  std::size_t pos_ = 0;
};

// Compass text (N, NNE, ... NW) to degrees; -9999 when unknown.
float compass_degrees(std::string_view dir) {
  static constexpr std::array<const char*, 16> kPoints{"N",  "NNE", "NE", "ENE", "E",  "ESE", "SE", "SSE",
                                                      "S",  "SSW", "SW", "WSW", "W",  "WNW", "NW", "NNW"};
  for (std::size_t i = 0; i < kPoints.size(); ++i) {
    if (dir == kPoints[i]) return 22.5f * static_cast<float>(i);
  }
  return kMiss;
}

template <std::size_t N>
void copy_id(char (&dst)[N], std::string_view src) {
  const std::size_t n = std::min(src.size(), N - 1);
  std::memcpy(dst, src.data(), n);
  dst[n] = '\0';
}

bool starts(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

// An end point "20WNW DHT" (distance, direction, station) or a station alone.
void end_point(::watch* w, int i, const std::string& text) {
  int dist = 0;
  char dir[16] = {};
  char id[4] = {};
  if (std::sscanf(text.c_str(), " %d%15s %3s", &dist, dir, id) == 3) {
    w->dist[i] = static_cast<float>(dist);
    w->ang[i] = compass_degrees(dir);
    copy_id(w->id[i], id);
  } else if (std::sscanf(text.c_str(), " %3s", id) == 1) {
    w->dist[i] = 0.0f;
    w->ang[i] = 0.0f;
    copy_id(w->id[i], id);
  }
}

// An aviation end point "67NNE TCC".
void aviation_point(Scanner& in, ::watch* w, int i) {
  int dist = 0;
  std::string dir, id;
  if (!in.integer(&dist)) return;
  if (!in.word(&dir, 4)) return;
  if (!in.word(&id, 3)) return;
  w->dist[i] = static_cast<float>(dist);
  w->ang[i] = compass_degrees(dir);
  copy_id(w->id[i], id);
}

// Seconds of a bulletin day, hour and minute in the file's year and month;
// a day before the file's day belongs to the next month.
long bulletin_secs(const Date& file, int day, int hour, int min) {
  Date d;
  d.year = file.year;
  d.month = file.month;
  if (day < file.day) {
    if (++d.month > 12) {
      d.month = 1;
      ++d.year;
    }
  }
  d.day = day;
  d.hour = hour;
  d.min = min;
  d.sec = 0;
  return DATE_num_sec(&d);
}

int find_entry(int num) {
  const State& s = state();
  for (int i = 0; i < s.num_watch; ++i) {
    if (s.watches[static_cast<std::size_t>(i)].num == num) return i;
  }
  return -1;
}

void end_all(int num) {
  State& s = state();
  for (int i = 0; i < s.num_watch; ++i) {
    auto& w = s.watches[static_cast<std::size_t>(i)];
    if (w.num == num) w.end = 0;
  }
}

// One bulletin after its "AWW"; the index of the entry it made or changed,
// or -1.
int decode_bulletin(Scanner& in, const Date& file, long cur_time) {
  State& s = state();
  int day = 0, hour = 0, min = 0;
  if (!in.integer(&day, 2) || !in.integer(&hour, 2) || !in.integer(&min, 2)) return -1;
  std::string word;
  in.word(&word);
  const bool cor = word == "COR";
  if (cor) in.word(&word);  // "WW"
  const long issue = bulletin_secs(file, day, hour, min);

  ::watch w;
  if (!in.integer(&w.num)) return -1;
  std::string type;
  in.word(&type, 14);
  copy_id(w.type, type);
  if (type == "SEVERE") in.word(&word);  // the thunderstorm abbreviation

  in.word(&word);
  if (starts(word, "CANCELLED")) {
    if (cur_time > issue) end_all(w.num);
    return -1;
  }

  int sd = 0, sh = 0, sm = 0, ed = 0, eh = 0, em = 0;
  in.skip_to_any("0123");
  if (!in.integer(&sd, 2) || !in.integer(&sh, 2) || !in.integer(&sm, 2) || !in.pattern("Z - ") ||
      !in.integer(&ed, 2) || !in.integer(&eh, 2) || !in.integer(&em, 2) || !in.literal('Z')) {
    MESS_print(M_WARN, "WATCH_decode_file: no valid times in watch %d\n", w.num);
    return -1;
  }
  w.sday = sd, w.shour = sh, w.smin = sm;
  w.eday = ed, w.ehour = eh, w.emin = em;
  w.start = bulletin_secs(file, sd, sh, sm);
  w.end = bulletin_secs(file, ed, eh, em);
  const bool valid = w.start <= cur_time && cur_time <= w.end;
  MESS_print(M_MESS, valid ? "VALID\n" : "NOT VALID\n");

  if (in.pattern(" AXIS..") && in.real(&w.width)) {
    std::string side;
    for (int i = 0; i < 3; ++i) in.word(&side);
    if (side == "EAST") w.w_dir = 2;
    else if (side == "NORTH") w.w_dir = 3;
    else w.w_dir = 1;
  }

  // Public end points.
  while (in.word(&word) && !starts(word, "LINE..")) {
    if (word == "AWW") {
      in.seek(in.pos() - 3);
      return -1;
    }
  }
  if (word.size() > 6) {
    std::string id;
    in.word(&id, 3);
    end_point(&w, 0, word.substr(6) + " " + id);
    in.skip_to_any("/\n");
  } else {
    end_point(&w, 0, in.upto('/'));
  }
  if (in.pattern(" /") && in.skip_not('/') && in.pattern(" / - ")) end_point(&w, 1, in.upto('/'));

  // Aviation end points.
  for (int i = 0; i < 5 && in.word(&word); ++i) {
    if (!starts(word, "COORDS")) continue;
    std::string side;
    in.word(&side);  // the width
    in.word(&side);
    in.pattern(" /");
    if (side == "EITHER") {
      in.word(&side);
      in.pattern(" /");
    }
    aviation_point(in, &w, 2);
    if (in.pattern(" - ")) aviation_point(in, &w, 3);
    break;
  }

  // The rest of the bulletin: the watch it replaces.
  while (in.word(&word)) {
    if (word == "AWW") {
      in.seek(in.pos() - 3);
      break;
    }
    int old = 0;
    if (word == "REPLACES" && in.pattern(" WW") && in.integer(&old) && w.start <= cur_time) end_all(old);
  }

  w.width = w.width * kMileKm;
  for (float& d : w.dist) {
    if (d != kMiss) d *= kMileKm;
  }

  int index = cor ? find_entry(w.num) : -1;
  if (index >= 0) {
    if (!valid) w.end = 0;
    s.watches[static_cast<std::size_t>(index)] = w;
    return index;
  }
  if (!valid) return -1;
  if (s.num_watch >= WATCH_MAX) {
    MESS_print(M_WARN, "WATCH_decode_file: more than %d watches, watch %d left out\n", WATCH_MAX, w.num);
    return -1;
  }
  s.watches[static_cast<std::size_t>(s.num_watch)] = w;
  return s.num_watch++;
}

// Station positions of the given entries from the city database; false when
// the database does not open.
bool place_stations(const std::vector<int>& entries) {
  State& s = state();
  const auto path = zor::find_runtime_file("sao.cty");
  const int fd = path ? CTY_open(path->c_str(), 0, 0) : -1;
  if (fd < 0) {
    MESS_print(M_WARN, "WATCH_decode_file: City database file not found\n");
    return false;
  }
  CTY_data city;
  while (CTY_read(fd, &city) >= 0) {
    const char* id = city.id;
    if (std::strlen(id) == 4 && id[0] == 'K') ++id;
    for (int e : entries) {
      auto& w = s.watches[static_cast<std::size_t>(e)];
      for (int i = 0; i < 4; ++i) {
        if (w.id[i][0] != '\0' && std::strcmp(w.id[i], id) == 0) {
          w.lat[i] = city.lat;
          w.lon[i] = city.lon;
        }
      }
    }
  }
  CTY_close(fd);
  for (int e : entries) {
    auto& w = s.watches[static_cast<std::size_t>(e)];
    for (int i = 0; i < 2; ++i) {
      if (w.lat[i] != kMiss) continue;
      const int avn = i + 2;
      if (w.lat[avn] != kMiss) {
        MESS_print(M_WARN, "WATCH_decode_file: Station %d not found: %s in watch %d\n", i + 1, w.id[i], w.num);
        MESS_print(M_WARN, "Using: %s\n", w.id[avn]);
        w.lat[i] = w.lat[avn];
        w.lon[i] = w.lon[avn];
      } else {
        MESS_print(M_WARN, "WATCH_decode_file: Station not found: %s in watch %d\n", w.id[i], w.num);
      }
    }
  }
  return true;
}

float plot_scale() {
  const char* v = RES_get("plot_scale");
  if (v == nullptr || *v == '\0') return 1.0f;
  const float f = std::strtof(v, nullptr);
  return f > 0.0f ? f : 1.0f;
}

// End-hour text of a label.
std::string end_text(const ::watch& w, bool long_label) {
  char buf[64];
  if (!long_label) {
    std::snprintf(buf, sizeof buf, "to %dZ", w.ehour);
    return buf;
  }
  const int h = (w.ehour + 24 + DATE_get_tz_off() / 3600) % 24;
  const char* zone = DATE_get_tz_str();
  if (h == 0) std::snprintf(buf, sizeof buf, "to 12 AM %s", zone);
  else if (h >= 13) std::snprintf(buf, sizeof buf, "to %d PM %s", h - 12, zone);
  else if (h == 12) std::snprintf(buf, sizeof buf, "to %d PM %s", 12, zone);
  else std::snprintf(buf, sizeof buf, "to %d AM %s", h, zone);
  return buf;
}

void draw_watch(const ::watch& w, const Gattribs& attr, const Gattribs& data, float scale) {
  float x1 = kMiss, y1 = kMiss, x2 = kMiss, y2 = kMiss;
  for (int i = 0; i < 2; ++i) {
    if (w.lat[i] == kMiss || w.lon[i] == kMiss) return;
  }
  float x = kMiss, y = kMiss;
  if (!MAP_tran(w.lat[0], w.lon[0], &x, &y) || x == kMiss) return;
  MAP_offset(x, y, w.ang[0] == kMiss ? 0.0f : w.ang[0], w.dist[0] == kMiss ? 0.0f : w.dist[0], &x1, &y1);
  if (!MAP_tran(w.lat[1], w.lon[1], &x, &y) || x == kMiss) return;
  MAP_offset(x, y, w.ang[1] == kMiss ? 0.0f : w.ang[1], w.dist[1] == kMiss ? 0.0f : w.dist[1], &x2, &y2);
  if (x1 == kMiss || y1 == kMiss || x2 == kMiss || y2 == kMiss) return;

  float a1 = 270.0f, a2 = 90.0f;  // sides of the first corner, then the second
  if (w.w_dir == 3) {
    a1 = 0.0f;
    a2 = 180.0f;
  } else if (w.w_dir != 2) {
    const float d = MAP_dir(x1, y1, x2, y2);
    a1 = d - 90.0f;
    a2 = d + 90.0f;
  }
  std::array<Gpt, 5> box{};
  MAP_offset(x1, y1, a1, w.width, &box[0].x, &box[0].y);
  MAP_offset(x1, y1, a2, w.width, &box[1].x, &box[1].y);
  MAP_offset(x2, y2, a2, w.width, &box[2].x, &box[2].y);
  MAP_offset(x2, y2, a1, w.width, &box[3].x, &box[3].y);
  box[4] = box[0];
  for (const Gpt& p : box) {
    if (p.x == kMiss || p.y == kMiss) return;
  }
  const bool filled = attr.fill_pat != ZOR_MISSING;
  if (filled) {
    GPH_fill_attr(&attr);
    gfill_area(5, box.data());
  } else {
    GPH_line_attr(&attr);
    gpolyline(5, box.data());
  }

  const float h = MAP_get_vert();
  const Gattribs& text = filled ? data : attr;
  GPH_text_attr(&text, 0.018f * h * scale);
  GPH_text_align(2, 3);
  const bool long_label = state().slabel != 0;
  const float mx = 0.5f * (x1 + x2);
  const float my = 0.5f * (y1 + y2) + 0.01f * h * scale;
  if (long_label) GPH_printf(mx, my, "%s", w.type[0] == 'T' ? "TORNADO WATCH" : "SEV TSTORM WATCH");
  else GPH_printf(mx, my, "%c%d", w.type[0], w.num);
  GPH_printf(mx, my - 0.02f * h * scale, "%s", end_text(w, long_label).c_str());
}

}  // namespace

void reset() { state().reset(); }
int count() { return state().num_watch; }
const ::watch* table() { return state().watches.data(); }

}  // namespace zor::watch

using zor::watch::state;

int WATCH_set_label(int i) {
  state().slabel = i;
  return 0;
}

int WATCH_decode_file(const char* filename, Date* datim, long int cur_time) {
  if (filename == nullptr || datim == nullptr) return 0;
  MESS_print(M_MESS, "Reading watch file: %s\n", filename);
  std::ifstream in(filename, std::ios::binary);
  if (!in) {
    MESS_print(M_WARN, "WATCH_decode_file: file not found: %s\n", filename);
    return 0;
  }
  // A bulletin file is a few kilobytes; an endless one is read to the limit.
  std::string text(zor::kTextFileMax, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(in.gcount()));
  if (text.size() == zor::kTextFileMax)
    MESS_print(M_WARN, "WATCH_decode_file: %s longer than %zu bytes, the rest ignored\n", filename, zor::kTextFileMax);
  std::erase(text, '\r');
  zor::watch::Scanner scan(std::move(text));

  std::vector<int> entries;
  std::string word;
  while (scan.word(&word)) {
    if (word != "AWW") continue;
    const int e = zor::watch::decode_bulletin(scan, *datim, cur_time);
    if (e >= 0 && std::find(entries.begin(), entries.end(), e) == entries.end()) entries.push_back(e);
  }
  if (entries.empty()) return 1;
  return zor::watch::place_stations(entries) ? 1 : 0;
}

int WATCH_decode(Date* datim) {
  auto& s = state();
  s.num_watch = 0;
  if (datim == nullptr) return 0;
  Date plot = *datim;
  const long cur_time = DATE_num_sec(&plot);
  FILE_save_name_conv();
  FILE_set_name("wat_dat");
  const int step = FILE_get_offset() > 0 ? FILE_get_offset() : 3600;
  char filename[FILE_NAME_MAX];
  for (int off = zor::watch::kSearchBack;; off += step) {
    Date at = plot;
    if (FILE_set_date_off(&at, off, filename, sizeof filename) > 0) break;
    long secs = cur_time + off;
    Date file_date;
    DATE_get_gmdate(&secs, &file_date);
    WATCH_decode_file(filename, &file_date, cur_time);
  }
  FILE_restore_name_conv();
  return 0;
}

int WATCH_plot() {
  Gattribs data;
  ATTRIB_get("color_data", gget_inverse() ? "black" : "white", &data);
  Gattribs severe = data;
  Gattribs tornado = data;
  int n = 0;
  char** items = nullptr;
  if (RES_getvals("color_watch", &n, &items) > 0) {
    Gattribs first;
    ATTRIB_parse(items[0], &first);
    Gattribs second;
    ATTRIB_parse(n > 1 ? items[1] : items[0], &second);
    severe = first;
    tornado = second;
  }
  free_parsed_array(n, items);
  if (FLAG_getplot(zor::watch::kPlotData) == 0 || data.color == -1) return 0;
  const float scale = zor::watch::plot_scale();
  const auto& s = state();
  for (int i = 0; i < s.num_watch; ++i) {
    const auto& w = s.watches[static_cast<std::size_t>(i)];
    if (w.end == 0) continue;
    zor::watch::draw_watch(w, w.type[0] == 'T' ? tornado : severe, data, scale);
  }
  return 0;
}
