// netCDF helpers: open files, dimensions and whole variables by name.
//
// The netCDF library (with HDF5 and the rest it pulls in) is loaded when the
// first netCDF file is opened, not at start-up: linked in, its dozens of
// shared libraries made every run of the program, of any input type, about
// 20 ms slower to start.
#include "zor/ncf.h"

#include <dlfcn.h>
#include <netcdf.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <vector>

#include "zor/byte_reader.h"
#include "zor/mess.h"

namespace zor::ncf {

namespace {

struct Api {
  decltype(&::nc_open) nc_open = nullptr;
  decltype(&::nc_close) nc_close = nullptr;
  decltype(&::nc_inq_dimid) nc_inq_dimid = nullptr;
  decltype(&::nc_inq_dimlen) nc_inq_dimlen = nullptr;
  decltype(&::nc_inq_dimname) nc_inq_dimname = nullptr;
  decltype(&::nc_inq_varid) nc_inq_varid = nullptr;
  decltype(&::nc_inq_varndims) nc_inq_varndims = nullptr;
  decltype(&::nc_inq_vardimid) nc_inq_vardimid = nullptr;
  decltype(&::nc_inq_att) nc_inq_att = nullptr;
  decltype(&::nc_get_att_text) nc_get_att_text = nullptr;
  decltype(&::nc_get_att_double) nc_get_att_double = nullptr;
  decltype(&::nc_get_var_float) nc_get_var_float = nullptr;
  decltype(&::nc_get_var_int) nc_get_var_int = nullptr;
  decltype(&::nc_get_var_schar) nc_get_var_schar = nullptr;
  decltype(&::nc_get_var_text) nc_get_var_text = nullptr;
  bool ok = false;
};

template <typename F>
bool bind(void* lib, const char* name, F& fn) {
  fn = reinterpret_cast<F>(dlsym(lib, name));
  return fn != nullptr;
}

Api load() {
  Api a;
  void* lib = nullptr;
  for (const char* name : {ZOR_NETCDF_SONAME, "libnetcdf.so"})
    if ((lib = dlopen(name, RTLD_NOW | RTLD_LOCAL)) != nullptr) break;
  if (lib == nullptr) {
    MESS_print(M_ERROR, "netCDF files cannot be read: %s\n", dlerror());
    return a;
  }
  a.ok = bind(lib, "nc_open", a.nc_open) && bind(lib, "nc_close", a.nc_close) &&
         bind(lib, "nc_inq_dimid", a.nc_inq_dimid) && bind(lib, "nc_inq_dimlen", a.nc_inq_dimlen) &&
         bind(lib, "nc_inq_dimname", a.nc_inq_dimname) && bind(lib, "nc_inq_varid", a.nc_inq_varid) &&
         bind(lib, "nc_inq_varndims", a.nc_inq_varndims) &&
         bind(lib, "nc_inq_vardimid", a.nc_inq_vardimid) && bind(lib, "nc_inq_att", a.nc_inq_att) &&
         bind(lib, "nc_get_att_text", a.nc_get_att_text) &&
         bind(lib, "nc_get_att_double", a.nc_get_att_double) &&
         bind(lib, "nc_get_var_float", a.nc_get_var_float) &&
         bind(lib, "nc_get_var_int", a.nc_get_var_int) &&
         bind(lib, "nc_get_var_schar", a.nc_get_var_schar) &&
         bind(lib, "nc_get_var_text", a.nc_get_var_text);
  if (!a.ok) MESS_print(M_ERROR, "netCDF files cannot be read: %s\n", dlerror());
  return a;
}

const Api& api() {
  static const Api a = load();
  return a;
}

// Whether a classic-format header (CDF-1, -2 or -5) is consistent with the
// file's size. The library allocates what the header's counts ask for before
// it reads them, so a damaged count in a small file became gigabytes. Other
// files (netCDF-4) are left to the library.
bool classic_header_fits(const char* path) {
  std::FILE* f = std::fopen(path, "rb");
  if (f == nullptr) return true;  // the library says why
  const long file_size = std::fseek(f, 0, SEEK_END) == 0 ? std::ftell(f) : -1;
  std::rewind(f);
  // The first megabyte at most, and no more than the file holds: most files
  // are small, and this runs at every open.
  constexpr long kHead = 1 << 20;
  std::vector<std::uint8_t> head(static_cast<std::size_t>(file_size < 0 || file_size > kHead ? kHead : file_size));
  head.resize(std::fread(head.data(), 1, head.size(), f));
  const bool whole = std::fgetc(f) == EOF;
  std::fclose(f);
  if (head.size() < 4 || head[0] != 'C' || head[1] != 'D' || head[2] != 'F') return true;
  const int version = head[3];
  if (version != 1 && version != 2 && version != 5) return true;
  const std::uint64_t size = file_size > 0 ? static_cast<std::uint64_t>(file_size) : 0;
  ByteReader r(head);
  r.skip(4);
  const bool wide = version == 5;
  auto count = [&] {
    const std::uint64_t high = wide ? r.u32() : 0;
    return (high << 32) | r.u32();
  };
  auto padded = [](std::uint64_t n) { return (n + 3) & ~std::uint64_t{3}; };
  // Every element takes at least 4 bytes: a count of more than the file
  // holds is damage.
  auto fits = [&](std::uint64_t n, std::uint64_t each) { return n <= size / each; };
  auto name = [&] {
    const std::uint64_t n = count();
    if (!fits(n, 1)) return false;
    r.skip(static_cast<std::size_t>(padded(n)));
    return true;
  };
  auto type_size = [](std::uint32_t t) -> std::uint64_t {
    static constexpr std::uint64_t kSizes[] = {0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};
    return t < std::size(kSizes) ? kSizes[t] : 0;
  };
  auto attributes = [&] {
    const std::uint32_t tag = r.u32();
    const std::uint64_t n = count();
    if ((tag != 0 && tag != 0x0C) || !fits(n, 12)) return false;
    for (std::uint64_t i = 0; i < n; ++i) {
      if (!name()) return false;
      const std::uint64_t each = type_size(r.u32());
      const std::uint64_t values = count();
      if (each == 0 || !fits(values, each)) return false;
      r.skip(static_cast<std::size_t>(padded(values * each)));
    }
    return true;
  };
  try {
    r.skip(wide ? 8 : 4);  // record count
    std::uint32_t tag = r.u32();
    std::uint64_t n = count();
    if ((tag != 0 && tag != 0x0A) || !fits(n, 8)) return false;
    for (std::uint64_t i = 0; i < n; ++i) {
      if (!name()) return false;
      count();  // dimension length
    }
    if (!attributes()) return false;
    tag = r.u32();
    n = count();
    if ((tag != 0 && tag != 0x0B) || !fits(n, 16)) return false;
    for (std::uint64_t i = 0; i < n; ++i) {
      if (!name()) return false;
      const std::uint64_t dims = count();
      if (!fits(dims, 4)) return false;
      r.skip(static_cast<std::size_t>(dims * (wide ? 8 : 4)));
      if (!attributes() || type_size(r.u32()) == 0) return false;
      count();                      // size
      r.skip(version == 1 ? 4 : 8);  // begin
    }
  } catch (const DecodeError&) {
    return !whole;  // a header running past the first megabyte is not checked
  }
  return true;
}

}  // namespace

File::File(const char* path) {
  int id = -1;
  if (path != nullptr && api().ok && classic_header_fits(path) && api().nc_open(path, NC_NOWRITE, &id) == NC_NOERR) {
    id_ = id;
    std::error_code ec;
    const auto bytes = std::filesystem::file_size(path, ec);
    max_values_ = std::max<long>(ec ? 0 : static_cast<long>(std::min<std::uintmax_t>(bytes, LONG_MAX)), 1L << 24);
  }
}

File::~File() {
  if (id_ >= 0) api().nc_close(id_);
}

File& File::operator=(File&& o) noexcept {
  if (this != &o) {
    if (id_ >= 0) api().nc_close(id_);
    id_ = o.id_;
    max_values_ = o.max_values_;
    o.id_ = -1;
  }
  return *this;
}

long File::dim(const char* name) const {
  int d = -1;
  std::size_t len = 0;
  if (id_ < 0 || api().nc_inq_dimid(id_, name, &d) != NC_NOERR) return -1;
  if (api().nc_inq_dimlen(id_, d, &len) != NC_NOERR) return -1;
  return static_cast<long>(len);
}

bool File::has_var(const char* name) const {
  int v = -1;
  return id_ >= 0 && api().nc_inq_varid(id_, name, &v) == NC_NOERR;
}

std::vector<std::string> File::var_dims(const char* name) const {
  std::vector<std::string> out;
  int v = -1, nd = 0;
  if (id_ < 0 || api().nc_inq_varid(id_, name, &v) != NC_NOERR) return out;
  if (api().nc_inq_varndims(id_, v, &nd) != NC_NOERR || nd > NC_MAX_VAR_DIMS) return out;
  int dims[NC_MAX_VAR_DIMS];
  if (api().nc_inq_vardimid(id_, v, dims) != NC_NOERR) return out;
  for (int i = 0; i < nd; ++i) {
    char dn[NC_MAX_NAME + 1] = {};
    if (api().nc_inq_dimname(id_, dims[i], dn) != NC_NOERR) return {};
    out.emplace_back(dn);
  }
  return out;
}

long File::var_size(const char* name) const {
  int v = -1, nd = 0;
  if (id_ < 0 || api().nc_inq_varid(id_, name, &v) != NC_NOERR) return -1;
  if (api().nc_inq_varndims(id_, v, &nd) != NC_NOERR || nd > NC_MAX_VAR_DIMS) return -1;
  int dims[NC_MAX_VAR_DIMS];
  if (api().nc_inq_vardimid(id_, v, dims) != NC_NOERR) return -1;
  long n = 1;
  for (int i = 0; i < nd; ++i) {
    std::size_t len = 0;
    if (api().nc_inq_dimlen(id_, dims[i], &len) != NC_NOERR) return -1;
    if (len > 0 && static_cast<std::size_t>(n) > static_cast<std::size_t>(max_values_) / len) return -1;
    n *= static_cast<long>(len);
  }
  return n;
}

namespace {

// Reads variable `name` into `out` with `get` (one of the nc_get_var_*).
template <typename T, typename Get>
bool read_as(const File& f, const char* name, std::vector<T>& out, Get get) {
  out.clear();
  const long n = f.var_size(name);
  int v = -1;
  if (n < 0 || api().nc_inq_varid(f.id(), name, &v) != NC_NOERR) return false;
  out.resize(static_cast<std::size_t>(n));
  if (n == 0) return true;
  if (get(f.id(), v, out.data()) != NC_NOERR) {
    out.clear();
    return false;
  }
  return true;
}

}  // namespace

bool File::read(const char* name, std::vector<float>& out) const { return read_as(*this, name, out, api().nc_get_var_float); }
bool File::read(const char* name, std::vector<int>& out) const { return read_as(*this, name, out, api().nc_get_var_int); }
bool File::read(const char* name, std::vector<signed char>& out) const {
  return read_as(*this, name, out, api().nc_get_var_schar);
}
bool File::read(const char* name, std::vector<char>& out) const { return read_as(*this, name, out, api().nc_get_var_text); }

std::string File::text_att(const char* var, const char* name) const {
  int v = NC_GLOBAL;
  if (id_ < 0 || (var != nullptr && api().nc_inq_varid(id_, var, &v) != NC_NOERR)) return {};
  nc_type type = NC_NAT;
  std::size_t len = 0;
  if (api().nc_inq_att(id_, v, name, &type, &len) != NC_NOERR || type != NC_CHAR) return {};
  std::string s(len, '\0');
  if (len > 0 && api().nc_get_att_text(id_, v, name, s.data()) != NC_NOERR) return {};
  while (!s.empty() && s.back() == '\0') s.pop_back();
  return s;
}

double File::num_att(const char* var, const char* name, double def) const {
  int v = NC_GLOBAL;
  if (id_ < 0 || (var != nullptr && api().nc_inq_varid(id_, var, &v) != NC_NOERR)) return def;
  std::size_t len = 0;
  nc_type type = NC_NAT;
  if (api().nc_inq_att(id_, v, name, &type, &len) != NC_NOERR || len < 1 || type == NC_CHAR) return def;
  std::vector<double> vals(len);
  if (api().nc_get_att_double(id_, v, name, vals.data()) != NC_NOERR) return def;
  return vals[0];
}

int has_dim(const char* path, const char* name) {
  File f(path);
  if (!f.is_open()) return -1;
  return f.dim(name) >= 0 ? 1 : 0;
}

}  // namespace zor::ncf
