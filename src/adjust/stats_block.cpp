// The report forms of a statistics record. Kept apart from the arithmetic in stats.cpp,
// which needs nothing but <cmath>.

#include <cmath>
#include <string>

#include "adjust/stats.h"
#include "foundation/kw.h"

namespace ovn {

namespace {

const char* const kCrLf = "\r\n";
constexpr size_t kCell = 14;
constexpr size_t kRatioCell = 8;
constexpr size_t kDateCell = 19;
constexpr size_t kNumberCell = 8;

// Right-justifies in `width`; a longer text keeps all its characters.
std::string right(const std::string& text, size_t width) {
  return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

std::string fixed(double value, int decimals) {
  return kw_fixed(value, 0, decimals, false, "");
}

bool counts_unit(const std::string& unit) {
  return kw_list_has(unit, "A/D,Count,Counts,Raw,Hz,RRC", ",");
}

// The mean's uncertainty at k=2 as the reports give it: 2 stdev sqrt(1 / (n - 1)).
double mean_unc_k2(const STTS& record) {
  const double n = std::fabs(record.num);
  return n > 1.0 ? 2.0 * stts_stdev(record) * std::sqrt(1.0 / (n - 1.0)) : 0.0;
}

struct Column {
  std::string label;
  double reference;
  double factor;
  int decimals;
};

std::vector<Column> columns_of(const STTS& record, const SttsUnits& units) {
  std::vector<SttsScale> scales = {{units.raw_unit, 0.0, 1.0}};
  if (!units.engineering.label.empty()) scales.push_back(units.engineering);
  if (units.uvpv_per_raw != 0.0) scales.push_back({"uV/V", 0.0, units.uvpv_per_raw});
  if (!units.percent.label.empty()) scales.push_back(units.percent);
  std::vector<Column> columns;
  for (const auto& s : scales) {
    const bool fixed_digits = columns.empty() && counts_unit(units.raw_unit);
    const int decimals =
        fixed_digits ? 3 : stts_digits(stts_stdev(record) * std::fabs(s.factor), 1.0);
    columns.push_back({s.label, s.reference, s.factor, decimals});
  }
  return columns;
}

std::string position_cells(const std::vector<Column>& columns, double x) {
  std::string out;
  for (const auto& c : columns)
    out += right(fixed((x - c.reference) * c.factor, c.decimals), kCell);
  return out;
}

std::string width_cells(const std::vector<Column>& columns, double w) {
  std::string out;
  for (const auto& c : columns) out += right(fixed(w * std::fabs(c.factor), c.decimals), kCell);
  return out;
}

}  // namespace

std::string stts_block(const STTS& record, const SttsUnits& units,
                       const std::vector<std::string>& heading) {
  const std::vector<Column> columns = columns_of(record, units);
  const double n = std::fabs(record.num);
  const bool ratios = n > 1.0 || units.extended;
  const bool uncertainties = units.extended && n > 1.0;
  const double stdev = stts_stdev(record);
  std::string out;
  for (const auto& line : heading) out += line + kCrLf;

  std::string title(11, ' ');
  for (const auto& c : columns) title += right(c.label, kCell);
  if (ratios) title += right("Ratios", kRatioCell + 1);
  out += title + kCrLf;

  out += "      MEAN:" + position_cells(columns, record.mean) + kCrLf;
  if (uncertainties) {
    const double u = mean_unc_k2(record);
    out += " MUnc(k=2):" + width_cells(columns, u);
    const double in_percent = u * std::fabs(units.percent.factor);
    if (!units.percent.label.empty() && in_percent != 0.0) {
      const double resolution = 1.0 / (in_percent * 0.01);
      out += " " + right(kw_eng_format(resolution), kRatioCell) + " (" +
             kw_format(kw_round(resolution), "0") + ")";
    }
    out += kCrLf;
  }
  out += "    STDDEV:" + width_cells(columns, stdev) + kCrLf;
  if (uncertainties) {
    const double f = std::sqrt(1.0 + std::sqrt(2.0 / (n - 1.0)) * normal_quantile(0.975)) - 1.0;
    out += " SUnc(k=2):" + width_cells(columns, f * stdev) + " " +
           right(kw_format(f, "0.0000"), kRatioCell) + kCrLf;
  }
  out += "    SPREAD:" + width_cells(columns, stts_spread(record));
  if (ratios) out += " " + right(kw_format(stts_ratio(record), "0.0000"), kRatioCell);
  return out + kCrLf;
}

std::string stts_row_heading() {
  std::string date = "Date-and-Time";
  date.append(kDateCell - date.size(), ' ');
  return date + " | " + right("Number", kNumberCell) + " | " + right("Mean", kCell) + " | " +
         right("k=2", kCell) + " | " + right("StdDev", kCell) + " | " + right("Spread", kCell) +
         " | " + right("Ratio", kRatioCell);
}

std::string stts_row(const STTS& record, const std::string& date_time, int decimals) {
  const double stdev = stts_stdev(record);
  if (decimals < 0) decimals = stts_digits(stdev, 1.0);
  std::string date = date_time;
  if (date.size() < kDateCell) date.append(kDateCell - date.size(), ' ');
  return date + " | " + right(kw_format(record.num, "0"), kNumberCell) + " | " +
         right(fixed(record.mean, decimals), kCell) + " | " +
         right(fixed(mean_unc_k2(record), decimals), kCell) + " | " +
         right(fixed(stdev, decimals), kCell) + " | " +
         right(fixed(stts_spread(record), decimals), kCell) + " | " +
         right(kw_format(stts_ratio(record), "0.0000"), kRatioCell);
}

}  // namespace ovn
