// The six corner texts around the plot, one line per overlay, the `label`
// resource with its small format language, and the drawing of the block.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "zor/attrib.h"
#include "zor/cont.h"
#include "zor/date.h"
#include "zor/flag.h"
#include "zor/gks.h"
#include "zor/plt.h"
#include "zor/reset.h"
#include "zor/res.h"
#include "zor/text.h"

namespace {

constexpr int kLastOver = PLT_NUM_OVER - 1;
constexpr std::size_t kMaxCopy = 68;    // longest text PLT_label_strcpy keeps
constexpr std::size_t kMaxAppend = 59;  // end of the appended piece in combined mode

using Text = std::array<char, PLT_LABEL_LEN>;

struct LabelState {
  std::array<std::array<Text, PLT_NUM_OVER>, PLT_NUM_LABEL> label{};
  std::array<int, PLT_NUM_LABEL> label_ind{};
  // Positions filled by a user label without overlay digit: one line only.
  std::array<bool, PLT_NUM_LABEL> single{};
  int overlay = 0;
  int num_over = 0;
  int over_base = 0;
  int lab_type = 0;
  Date date;
  long fhour = ZOR_MISSING;
};

LabelState& state() {
  static LabelState s;
  return s;
}

void put(Text& t, std::string_view s) {
  t.fill('\0');
  std::memcpy(t.data(), s.data(), std::min(s.size(), t.size() - 1));
}

using zor::ResValues;

int store(int pos, const char* str) {
  auto& s = state();
  if (str == nullptr) return -1;
  if (s.lab_type < 0 && s.overlay > 0) return PLT_label_strcat(pos, str);
  if (s.overlay < 0) return -1;
  return PLT_label_strcpy(pos, str);
}

// Position code of a user label value ("ul" … "lr").
int position_code(std::string_view v) {
  static constexpr std::array<const char*, PLT_NUM_LABEL> kCodes = {"ul", "uc", "ur", "ll", "lc", "lr"};
  if (v.size() < 2) return -1;
  for (int i = 0; i < PLT_NUM_LABEL; ++i) {
    const char* c = kCodes[static_cast<std::size_t>(i)];
    if (std::tolower(static_cast<unsigned char>(v[0])) == c[0] && std::tolower(static_cast<unsigned char>(v[1])) == c[1])
      return i;
  }
  return -1;
}

void apply_user_labels() {
  auto& s = state();
  ResValues rv("label");
  for (int i = 0; i < rv.n; ++i) {
    const std::string_view v = rv.v[i] != nullptr ? rv.v[i] : "";
    PLT_set_overlay(0);
    const int pos = position_code(v);
    if (pos < 0 || v.size() < 3) continue;
    char text[PLT_LABEL_LEN] = {};
    if (v[2] == ':') {
      PLT_label_format(std::string(v.substr(3)).c_str(), text, sizeof text);
      PLT_label_strcpy(pos, text);
      s.single[static_cast<std::size_t>(pos)] = true;
    } else if (std::isdigit(static_cast<unsigned char>(v[2])) && v.size() >= 4 && v[3] == ':') {
      PLT_set_overlay(v[2] - '0');
      PLT_label_format(std::string(v.substr(4)).c_str(), text, sizeof text);
      PLT_label_strcpy(pos, text);
      PLT_set_overlay(0);
    }
  }
}

}  // namespace

namespace zor::plt_label {
void reset() { state() = LabelState{}; }
}  // namespace zor::plt_label

int PLT_init_labels() {
  auto& s = state();
  for (auto& pos : s.label)
    for (auto& t : pos) t.fill('\0');
  s.label_ind.fill(0);
  s.single.fill(false);
  s.num_over = 0;
  return 0;
}

int PLT_set_overlay(int ind) {
  auto& s = state();
  ind = std::clamp(ind, 0, kLastOver);
  if (s.num_over < ind) s.num_over = ind;
  s.overlay = ind;
  return 0;
}

int PLT_get_overlay() { return state().overlay; }

int PLT_set_overlay_base(int ind) {
  auto& s = state();
  ind = std::clamp(ind, 0, kLastOver);
  if (s.num_over < ind) s.num_over = ind;
  s.over_base = ind;
  return 0;
}

int PLT_get_overlay_base() { return state().over_base; }

int PLT_set_num_overlay(int ind) {
  auto& s = state();
  // Overlay numbers index the label rows, so any count is held to the last row.
  const int n = ind < 0 ? (ind < -kLastOver ? kLastOver : -ind) : std::min(ind, kLastOver);
  if (ind < 0) s.num_over = n;
  else if (n > s.num_over) s.num_over = n;
  return 0;
}

int PLT_get_num_over() { return state().num_over; }

int PLT_next_overlay() {
  auto& s = state();
  if (s.overlay >= kLastOver) return -1;
  ++s.overlay;
  if (s.lab_type > 0) ++s.lab_type;
  else if (s.lab_type < 0) --s.lab_type;
  for (int i = 0; i < PLT_NUM_LABEL; ++i)
    s.label_ind[static_cast<std::size_t>(i)] = static_cast<int>(std::strlen(s.label[static_cast<std::size_t>(i)][0].data()));
  if (s.num_over < s.overlay + 1) s.num_over = s.overlay + 1;
  return s.overlay;
}

int PLT_get_label_type() { return state().lab_type; }
int PLT_set_label_type(int val) {
  state().lab_type = val;
  return 0;
}

int PLT_label_strcpy(int lab, const char* str) {
  auto& s = state();
  if (lab < 0 || lab >= PLT_NUM_LABEL || str == nullptr || s.overlay < 0 || s.overlay > kLastOver) return -1;
  if (std::strlen(str) > kMaxCopy) return -1;
  put(s.label[static_cast<std::size_t>(lab)][static_cast<std::size_t>(s.overlay)], str);
  return 0;
}

int PLT_label_strcat(int lab, const char* str) {
  auto& s = state();
  if (lab < 0 || lab >= PLT_NUM_LABEL || str == nullptr) return -1;
  const auto at = static_cast<std::size_t>(s.label_ind[static_cast<std::size_t>(lab)]);
  if (at + std::strlen(str) > kMaxAppend) return -1;
  Text& t = s.label[static_cast<std::size_t>(lab)][0];
  std::snprintf(t.data() + at, t.size() - at, " %s", str);
  return 0;
}

int PLT_label_up_left(const char* str) { return store(0, str); }
int PLT_label_up_center(const char* str) { return store(1, str); }
int PLT_label_up_right(const char* str) { return store(2, str); }
int PLT_label_low_left(const char* str) { return store(3, str); }
int PLT_label_low_center(const char* str) { return store(4, str); }
int PLT_label_low_right(const char* str) { return store(5, str); }

const char* PLT_get_label(int lab, int over) {
  if (lab < 0 || lab >= PLT_NUM_LABEL || over < 0 || over >= PLT_NUM_OVER) return "";
  return state().label[static_cast<std::size_t>(lab)][static_cast<std::size_t>(over)].data();
}

int PLT_label_date(const Date* datim) {
  if (datim == nullptr) return -1;
  state().date = *datim;
  return 0;
}

int PLT_get_label_date(Date* datim) {
  if (datim == nullptr) return -1;
  *datim = state().date;
  return 0;
}

int PLT_label_for_time(long val) {
  state().fhour = val;
  return 0;
}

int PLT_label_format(const char* form, char* str, std::size_t size) {
  if (str == nullptr || size == 0) return -1;
  auto& s = state();
  std::string out;
  const int fh = s.fhour == ZOR_MISSING ? 0 : static_cast<int>(s.fhour);
  auto two = [&out](int v) {
    char b[16];
    std::snprintf(b, sizeof b, "%2.2d", v);
    out += b;
  };
  for (const char* p = form != nullptr ? form : ""; *p != '\0'; ++p) {
    if (*p == '_') {
      out += ' ';
      continue;
    }
    if (*p != '%') {
      out += *p;
      continue;
    }
    ++p;
    if (*p == '\0') break;
    char buf[64] = {};
    switch (*p) {
      case 'D': DATE_make_label(&s.date, buf); out += buf; break;
      case 'V': DATE_make_label_valid_time(fh, &s.date, buf); out += buf; break;
      case 'W':
        s.date.hour = ZOR_MISSING;
        DATE_make_label_valid_time(fh, &s.date, buf);
        out += buf;
        break;
      case 'y': two(s.date.year % 100); break;
      case 'm': two(s.date.month); break;
      case 'b': {
        const char* m = DATE_month(s.date.month);
        out += std::string(m != nullptr ? m : "").substr(0, 3);
        break;
      }
      case 'd': two(s.date.day); break;
      case 'h': two(s.date.hour); break;
      case 'n': two(s.date.min); break;
      case 'f': DATE_fhour_label(buf, fh, 0); out += buf; break;
      case 'F': DATE_fhour_label(buf, fh, 1); out += buf; break;
      case '%': out += '%'; break;
      default: break;
    }
  }
  const std::size_t n = std::min(out.size(), size - 1);
  std::memcpy(str, out.data(), n);
  str[n] = '\0';
  return out.size() < size ? 0 : -1;
}

int PLT_labels() {
  auto& s = state();
  apply_user_labels();

  Gattribs text;
  ATTRIB_get("color_text", gget_inverse() ? "black" : "white", &text);
  PLT_mess("Labels");
  GPH_trans(1);
  Glim dis;
  GPH_get_view_size(&dis);
  Glim vp;
  PLT_get_view(&vp);
  const float h = vp.y_max - vp.y_min;
  const float w = vp.x_max - vp.x_min;
  const bool full = PLT_get_full_lab() != 0;
  const float room = full ? 0.06f : vp.y_min - dis.y_min;

  if (PLT_get_border() != 0 && FLAG_getplot(11) != 0) {
    Gattribs line = text;
    GPH_line_attr(&line);
    GPH_border(&vp);
  }
  if (room < 0.005f) return -1;
  if (FLAG_getplot(0) == 0) return 0;

  const int n = s.lab_type < 0 ? 1 : (s.num_over != 0 ? s.num_over : 1);
  const float line_h = std::min(room / static_cast<float>(n), 0.03f * h);
  const float gap = full ? -0.2f * line_h - static_cast<float>(n) * line_h : 0.2f * line_h;
  text.height = 0.75f * line_h;
  GPH_text_attr(&text, 1.0f);
  gset_char_ht(0.75f * line_h);

  const std::array<float, 3> xs = {vp.x_min + 0.01f * w, (vp.x_min + vp.x_max) / 2.0f, vp.x_max - 0.01f * w};
  const std::array<int, 3> hor = {GLEFT_HOR, GCENTER_HOR, GRIGHT_HOR};
  const bool bar = CONT_get_bar() >= 1;
  for (int pos = 0; pos < PLT_NUM_LABEL; ++pos) {
    if (FLAG_getplot(pos + 1) == 0) continue;
    const bool upper = pos < 3;
    // The colour bar takes the lower-left and lower-centre room.
    if (!upper && pos < 5 && bar) continue;
    const auto col = static_cast<std::size_t>(pos % 3);
    const int lines = s.single[static_cast<std::size_t>(pos)] ? 1 : n;
    GPH_text_align(hor[col], upper ? GBOTTOM_VERT : GTOP_VERT);
    for (int i = 0; i < lines; ++i) {
      const char* t = s.label[static_cast<std::size_t>(pos)][static_cast<std::size_t>(i)].data();
      if (*t == '\0') continue;
      float y = 0;
      if (upper) y = vp.y_max + gap + static_cast<float>(s.over_base + i) * line_h;
      else y = vp.y_min - gap - static_cast<float>(n - 1) * line_h + static_cast<float>(s.over_base + i) * line_h;
      const Gpt p{xs[col], y};
      GPH_pprint(&p, t);
    }
  }
  return 0;
}
