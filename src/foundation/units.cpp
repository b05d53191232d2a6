#include "foundation/units.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "build_info.h"
#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/operator.h"

namespace ovn {

namespace {
struct Unit {
  std::string name;
  double factor = 0, reciprocal = 0, offset = 0;
};
struct Word {
  std::string name;
  double factor = 0, offset = 0;
};
struct UnitsState {
  std::vector<std::string> groups;  // "[NAME]" for each group of the caller's list
  std::array<std::vector<Unit>, kUnitsMaxGroups> units;
  std::vector<Word> words;
  std::string file = "None";
  std::string beside_program, fallback;  // set by tests; empty = the defaults
};
UnitsState& st() {
  static UnitsState s;
  return s;
}

// The built-in table, in the file's own form, so that both go through one reader and the
// shipped ovn-units.ini can say the same. Factors are written as the conversions they come
// from (2 pi / 60 for rpm); "\xBA" is the degree sign.
constexpr const char* kBuiltIn = R"([TORQUE]
lbf-in 0.11298482902761668
lbf-ft 1.3558179483314001
ozf-in 0.007061551814226043
ozf-ft 0.08473862177071251
N-m 1
kN-m 1000
N-cm 0.01
kgf-m 9.80665
kgf-cm 0.0980665
gf-cm 0.0000980665
[TEMPERATURE]
)"
                                 "\xBA"
                                 R"(F 0.5555555555555556:-255.3722222222222/0.5555555555555556
)"
                                 "\xBA"
                                 R"(C 1:-273.15
K 1
[SPEED]
rpm 2*3.141592653589793/60
rps 2*3.141592653589793
rph 2*3.141592653589793/3600
rad/s 1
rad/min 1/60
rad/h 1/3600
degree/s 3.141592653589793/180
degree/min 3.141592653589793/180/60
degree/h 3.141592653589793/180/3600
grads/s 0.015707963267948967
[POWER]
hp 745.6998715822702
hp(metric) 735.49875
W 1
kW 1000
ft-lbf/s 1.3558179483314003
ft-lbf/min 1.3558179483314003/60
Btu/s 1054.350264488889
Btu/min 1054.350264488889/60
Btu/h 1054.350264488889/3600
ton 137826801.98561564/39190.380768
cal/s 4.184
cal/min 4.184/60
cal/h 4.184/3600
lbfinrpm 0.011831743628008646
[ENERGY]
kW-h 3600000
kW-min 60000
kW-s 1000
MW-h 3600000000
W-h 3600
W-min 60
W-s 1
kJ 1000
J 1
hp-h 2684519.5376961725
hp-h(metric) 2647795.5
kcal 4184
cal 4.184
Btu 1054.350264488889
therm 105435026.4488889
in-lbf 0.1129848290276167
ft-lbf 1.3558179483314003
N-m 1
[FORCE]
lbf 4.4482216152605
klbf 4448.2216152605
ozf 0.2780138509537812
ton 8896.443230521
MN 1000000
N 1
kN 1000
gf 0.00980665
kgf 9.80665
tonne 9806.65
Mgf 9806.65
)";

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

std::string trim(const std::string& text) {
  size_t b = 0, e = text.size();
  while (b < e && is_blank(text[b])) ++b;
  while (e > b && (is_blank(text[e - 1]) || text[e - 1] == '\r' || text[e - 1] == '\n')) --e;
  return text.substr(b, e - b);
}

// One line of the file: a section heading or a definition. `group` is the current group
// index (-1 outside the caller's groups).
void read_line(std::string line, int& group) {
  line = trim(line.substr(0, line.find('#')));
  if (line.empty()) return;
  auto& s = st();
  if (line[0] == '[') {
    auto it = std::find(s.groups.begin(), s.groups.end(), line);
    group = it == s.groups.end() ? -1 : static_cast<int>(it - s.groups.begin());
    return;
  }
  size_t blank = 0;
  while (blank < line.size() && !is_blank(line[blank])) ++blank;
  std::string name = line.substr(0, blank);
  std::string value = trim(line.substr(blank));
  size_t colon = value.find(':');
  double factor = units_eval(value.substr(0, colon));
  double offset = colon == std::string::npos ? 0.0 : units_eval(value.substr(colon + 1));
  if (group >= 0)
    units_add_unit(group, name, factor, offset);
  else
    units_add_word(name, factor, offset);
}

const Unit* unit_at(int unit, int group) {
  if (group < 0 || group >= kUnitsMaxGroups) return nullptr;
  const auto& list = st().units[group];
  if (unit < 0 || unit >= static_cast<int>(list.size())) return nullptr;
  return &list[unit];
}
}  // namespace

bool units_init(const std::string& group_list) {
  auto& s = st();
  s.groups.clear();
  for (auto& list : s.units) list.clear();
  s.words.clear();
  for (const auto& name : kw_split(group_list, "|"))
    if (static_cast<int>(s.groups.size()) < kUnitsMaxGroups) s.groups.push_back("[" + name + "]");

  std::string beside = s.beside_program.empty() ? kw_program_dir() : s.beside_program;
  std::string fallback = s.fallback.empty() ? std::string(build::share_dir) : s.fallback;
  s.file = "None";
  for (const auto& dir : {beside, fallback}) {
    std::error_code ec;
    std::string path = dir + "/ovn-units.ini";
    if (std::filesystem::is_regular_file(path, ec)) {
      s.file = path;
      break;
    }
  }

  // A file that stops being readable part way leaves the lines read so far.
  bool from_file = s.file != "None";
  std::ifstream file;
  if (from_file) file.open(s.file, std::ios::binary);
  std::istringstream built_in(from_file ? "" : kBuiltIn);
  std::istream& in = from_file ? static_cast<std::istream&>(file) : built_in;
  int group = -1;
  for (std::string line; std::getline(in, line);) read_line(line, group);
  return from_file;
}

std::string units_file() {
  return st().file;
}

void units_set_search_dirs(const std::string& beside_program, const std::string& fallback) {
  st().beside_program = beside_program;
  st().fallback = fallback;
}

int units_count(int group) {
  if (group < 0 || group >= kUnitsMaxGroups) return 0;
  return static_cast<int>(st().units[group].size());
}

std::string units_name(int unit, int group) {
  const Unit* u = unit_at(unit, group);
  return u ? u->name : "";
}

double units_factor(int unit, int group) {
  const Unit* u = unit_at(unit, group);
  return u ? u->factor : 0.0;
}

double units_offset(int unit, int group) {
  const Unit* u = unit_at(unit, group);
  return u ? u->offset : 0.0;
}

double units_to_base(int unit, int group, double value) {
  const Unit* u = unit_at(unit, group);
  return u ? (value - u->offset) * u->factor : 0.0;
}

double units_from_base(int unit, int group, double value) {
  const Unit* u = unit_at(unit, group);
  return u ? value * u->reciprocal + u->offset : 0.0;
}

double units_eval(const std::string& text) {
  std::string t = trim(text);
  size_t slash = t.rfind('/'), star = t.rfind('*');
  size_t op = slash == std::string::npos  ? star
              : star == std::string::npos ? slash
                                          : std::max(slash, star);
  if (op != std::string::npos) {
    double left = units_eval(t.substr(0, op));
    double right = units_eval(t.substr(op + 1));
    // A divisor of 0 has already been reported as an undefined word.
    return t[op] == '/' ? kw_safe_div(left, right, 0.0) : left * right;
  }
  int stop = 0;
  if (kw_is_numeric(t)) return kw_parse_double(t, stop);
  double value = 0;
  for (const auto& w : st().words) {
    if (w.name == t) {
      value = w.factor;
      break;
    }
  }
  // 0 is also what "not found" gives, so a word worth 0 is reported the same way.
  if (value == 0)
    msg_box("Word \"" + t + "\" not defined in ovn-units.ini file", MsgButtons::Ok, "Units");
  return value;
}

bool units_add_word(const std::string& name, double factor, double offset) {
  auto& words = st().words;
  if (static_cast<int>(words.size()) >= kUnitsMaxWords) return false;
  words.push_back({name, factor, offset});
  return true;
}

bool units_add_unit(int group, const std::string& name, double factor, double offset) {
  units_add_word(name, factor, offset);
  if (group < 0 || group >= kUnitsMaxGroups) return false;
  auto& list = st().units[group];
  if (static_cast<int>(list.size()) >= kUnitsMaxPerGroup) return false;
  list.push_back({name, factor, kw_safe_div(1.0, factor, 0.0), offset});
  return true;
}

}  // namespace ovn
