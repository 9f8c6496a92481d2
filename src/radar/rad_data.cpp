// Values of the report variables of converted radar report files: what one
// selected variable shows for an MDR station report or for one entry of an
// RCM station report.
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "zor/map.h"
#include "zor/rad.h"
#include "zor/text.h"

namespace zor::rad {
int noclar();
}

namespace {

// The variable's name up to its first '-'.
std::string base_name(const VAR_data* var) {
  const std::string_view n = var->name;
  return std::string(n.substr(0, n.find('-')));
}

void set_text(RAW_data* d, const std::string& t) { std::snprintf(d->data, sizeof d->data, "%s", t.c_str()); }

std::string trimmed(const char* s) {
  std::string t = s;
  const auto b = t.find_first_not_of(' ');
  if (b == std::string::npos) return {};
  t.erase(0, b);
  while (!t.empty() && t.back() == ' ') t.pop_back();
  return t;
}

const char* intensity_mark(int intens) {
  static constexpr struct {
    int intens;
    const char* mark;
  } kMarks[] = {{1, "-"}, {2, ""}, {3, "+"}, {4, "++"}, {5, "x"}, {6, "xx"}, {9, "u"}};
  for (const auto& m : kMarks)
    if (m.intens == intens) return m.mark;
  return "";
}

std::string trend_mark(const std::string& trend) {
  static constexpr struct {
    const char* trend;
    const char* mark;
  } kMarks[] = {{"+", "/"}, {"-", "\\"}, {"NC", "-"}, {"NEW", "*"}};
  for (const auto& m : kMarks)
    if (trend == m.trend) return m.mark;
  return trend;
}

void movement(const MDR_report* r, const char* kinds, RAW_data* d) {
  for (const auto& m : r->move) {
    if (std::strchr(kinds, m.type) == nullptr || m.type == '\0' || m.dir == ZOR_MISSING || m.spd == ZOR_MISSING)
      continue;
    d->value[0] = static_cast<float>(m.dir);
    d->value[1] = static_cast<float>(m.spd);
  }
}

}  // namespace

int MDR_get_data(MDR_report* report, VAR_data* var, RAW_data* data) {
  if (report == nullptr || var == nullptr || data == nullptr) return 1;
  RAW_data_init_val(data);
  const std::string name = base_name(var);
  auto is = [&](const char* w) { return stricmp(name.c_str(), w) == 0; };
  const std::string letters = trimmed(report->prec[0].type);
  const std::string trend = trimmed(report->trend);
  if (is("city")) {
    set_text(data, report->id);
  } else if (is("stat")) {
    const std::string c = report->config;
    if (c == "NA" || c == "NE" || c == "OM") set_text(data, c);
  } else if (is("pr_typ")) {
    if (!letters.empty()) set_text(data, letters + intensity_mark(report->prec[0].intens));
  } else if (is("pr_tt")) {
    if (!letters.empty()) set_text(data, letters + (trend.empty() ? std::string() : trend_mark(trend)));
  } else if (is("pr_tnd")) {
    if (!trend.empty()) set_text(data, trend);
  } else if (is("echtop")) {
    const MDR_tops& t = report->tops;
    if (t.h != ZOR_MISSING) {
      const int dir = t.dir == ZOR_MISSING ? 0 : t.dir, rad = t.rad == ZOR_MISSING ? 0 : t.rad;
      char buf[24];
      if (dir == 0 && rad == 0) {
        std::snprintf(buf, sizeof buf, "%d*", t.h);
      } else {
        std::snprintf(buf, sizeof buf, "%d", t.h);
        float x = data->x, y = data->y;
        if (MAP_offset(data->x, data->y, static_cast<float>(dir), static_cast<float>(rad) * 1.852f, &x, &y) >= 0) {
          data->x = x;
          data->y = y;
        }
      }
      set_text(data, buf);
    }
  } else if (is("pr_amv")) {
    movement(report, "AL", data);
  } else if (is("pr_cmv")) {
    movement(report, "C", data);
  }
  return 1;
}

int RCM_get_data(RCM_report* report, int ind, VAR_data* var, RAW_data* data) {
  if (report == nullptr || var == nullptr || data == nullptr || ind < 0) return 0;
  RAW_data_init_val(data);
  const std::string name = base_name(var);
  auto is = [&](const char* w) { return stricmp(name.c_str(), w) == 0; };
  auto at = [&](float lat, float lon) {
    if (lat == ZOR_MISSING_F || lon == ZOR_MISSING_F) return false;
    float x = 0.0f, y = 0.0f;
    if (!MAP_tran(lat, lon, &x, &y)) return false;
    data->x = x;
    data->y = y;
    return true;
  };
  // Entries of each kind the variable walks; -1 for the station-wide ones.
  const bool first_only = is("city") || is("stat") || is("mode") || is("echotop");
  const bool storm = is("id") || is("top") || is("hail") || is("spd") || is("mvmt");
  int count = 0;
  if (first_only) count = 1;
  else if (storm) count = report->num_storm;
  else if (is("tvs")) count = report->num_tvs;
  else if (is("meso")) count = report->num_meso;
  else return 0;
  if (ind >= count) return 0;
  if (zor::rad::noclar() && report->mode == 2) return 1;

  if (is("city")) {
    set_text(data, report->id);
  } else if (is("stat")) {
    static constexpr struct {
      int status;
      const char* text;
    } kStatus[] = {{-1, "NA"}, {1, "NE"}, {2, "OM"}};
    for (const auto& s : kStatus)
      if (s.status == report->status) set_text(data, s.text);
  } else if (is("mode")) {
    if (report->mode == 1) set_text(data, "P");
    if (report->mode == 2) set_text(data, "C");
  } else if (is("echotop")) {
    if (report->maxt != ZOR_MISSING) {
      at(report->maxt_x, report->maxt_y);
      data->value[0] = static_cast<float>(report->maxt);
    }
  } else if (is("tvs") || is("meso")) {
    const RCM_point& p = is("tvs") ? report->tvs[ind] : report->meso[ind];
    if (at(p.x, p.y)) {
      data->value[0] = 1.0f;
      set_text(data, is("tvs") ? "T" : "M");
    }
  } else {
    const RCM_storm& s = report->storm[ind];
    if (!at(s.x, s.y)) return 1;
    auto value = [&](int v, int slot) {
      if (v != ZOR_MISSING) data->value[slot] = static_cast<float>(v);
    };
    if (is("id")) {
      data->value[0] = 1.0f;
      set_text(data, s.id);
    } else if (is("top")) {
      value(s.hgt, 0);
    } else if (is("hail")) {
      if (s.hail > 0) {
        value(s.hail, 0);
        set_text(data, s.hail == 2 ? "*" : (s.hail == 1 ? "+" : ""));
      }
    } else if (is("spd")) {
      value(s.spd, 0);
    } else if (is("mvmt")) {
      if (s.dir != ZOR_MISSING && s.spd != ZOR_MISSING) {
        value(s.dir, 0);
        value(s.spd, 1);
      }
    }
  }
  return 1;
}
