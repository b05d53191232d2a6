#include "audit/audit_report.h"

#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "audit/checkit.h"
#include "audit/tm_check_config.h"
#include "config/catalogue.h"
#include "config/config_commands.h"
#include "config/tm_file.h"
#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/version_notice.h"
#include "instrument/tm_info.h"

namespace ovn {

namespace {

std::string escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> out;
  for (std::string line : kw_split(text, "\n")) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
    if (line.find_first_not_of(' ') != std::string::npos) out.push_back(line);
  }
  return out;
}

size_t level_of(const std::string& line) {
  return line.find_first_not_of(' ') / 3;
}

// The lines of one text: a heading is a line ending in ":" with deeper lines below it.
std::string html_lines(const std::string& text, const std::string& mark, const std::string& kind,
                       int& sentences) {
  const std::vector<std::string> lines = lines_of(text);
  std::string out;
  sentences = 0;
  for (size_t i = 0; i < lines.size(); ++i) {
    const size_t level = level_of(lines[i]);
    const std::string words = lines[i].substr(lines[i].find_first_not_of(' '));
    const bool heading =
        words.back() == ':' && i + 1 < lines.size() && level_of(lines[i + 1]) > level;
    out += "<p class=\"" + std::string(heading ? "section" : kind) +
           "\" style=\"margin-left:" + std::to_string(level * 2) + "em\">";
    if (!heading) {
      out += "<span class=\"mark\">" + mark + "</span> ";
      ++sentences;
    }
    out += escape(words) + "</p>\n";
  }
  return out;
}

std::string row(const std::string& name, const std::string& value) {
  return "<tr><th>" + escape(name) + "</th><td>" + escape(value) + "</td></tr>\n";
}

// A configuration file's lines keyed by message: the value as written.
std::map<std::string, std::string> config_values(const std::string& text,
                                                 const std::vector<CatalogueMessage>& messages) {
  std::map<std::string, std::string> values;
  for (std::string line : kw_split(text, "\n")) {
    while (!line.empty() && line.back() == '\r') line.pop_back();
    ConfigLine parts;
    if (tm_info_config_split(line, messages, parts)) values[parts.name] = parts.value;
  }
  return values;
}

bool same_value(const std::string& a, const std::string& b) {
  if (a == b) return true;
  if (!kw_is_numeric(a) || !kw_is_numeric(b)) return false;
  int stop = 0;
  return ck_same(kw_parse_double(a, stop), kw_parse_double(b, stop));
}

}  // namespace

std::string audit_report_html() {
  const TmInfoRecord& r = tm_info_current_record();
  const std::string title = "Configuration audit of " + r.model + " " + r.serial;
  std::string page =
      "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n<head>\n"
      "<meta charset=\"utf-8\"/>\n<title>" +
      escape(title) +
      "</title>\n<style>\n"
      "body{font-family:sans-serif;margin:2em;color:#000}\n"
      "table{border-collapse:collapse;margin-bottom:1.5em}\n"
      "th,td{text-align:left;padding:.15em .8em .15em 0;vertical-align:top}\n"
      "p{margin:.1em 0;font-family:monospace;white-space:pre-wrap}\n"
      "p.section{font-weight:bold;margin-top:.5em}\n"
      "p.fail{border-left:.4em solid #000;padding-left:.4em;font-weight:bold}\n"
      "p.fail .mark{color:#b00000}\n"
      "p.pass .mark{color:#006000}\n"
      "@media print{body{margin:0}h2{page-break-after:avoid}}\n"
      "</style>\n</head>\n<body>\n<h1>" +
      escape(title) + "</h1>\n<table>\n";
  page += row("Instrument", r.uid);
  page += row("Family", r.tm_name);
  page += row("Model", r.model);
  page += row("Serial number", r.serial);
  page += row("Shaft", r.shaft);
  page += row("Firmware", r.firmware);
  page += row("Date and time", kw_iso_time(kw_now(), false));
  page += row("Program", "ovn-kst " + kw_version_text());
  const std::string failures = ck_failures();
  const std::string passes = ck_passes();
  int failed = 0, passed = 0;
  const std::string failure_lines =
      ck_has_failures() ? html_lines(failures, "FAIL", "fail", failed) : "<p>None.</p>\n";
  const std::string pass_lines =
      ck_has_passes() ? html_lines(passes, "ok", "pass", passed) : "<p>None.</p>\n";
  page += row("Verdict", failed > 0 ? "FAILED: " + std::to_string(failed) + " failures, " +
                                          std::to_string(passed) + " passes"
                                    : "passed: " + std::to_string(passed) + " passes");
  page += "</table>\n<h2>Failures</h2>\n" + failure_lines + "<h2>Passes</h2>\n" + pass_lines;
  page += "</body>\n</html>\n";
  return page;
}

bool audit_report_write(const std::string& path) {
  if (kw_file_replace(path, audit_report_html())) return true;
  gib("The report could not be written to" + std::string("\r\n") + path, "OK", kGibWarning,
      "Save report");
  return false;
}

void audit_report_save_dialog() {
  const TmInfoRecord& r = tm_info_current_record();
  FileDialogRequest request;
  request.save = true;
  request.title = "Save report";
  request.filters = {{"Web pages", "*.html"}};
  request.folder = kw_documents_dir();
  request.file_name = tm_file_default_name("audit-" + r.model + "-" + r.serial) + ".html";
  const FileDialogResult chosen = file_dialog(request);
  if (chosen.chosen) audit_report_write(chosen.path);
}

void audit_baseline(const std::string& path) {
  const std::string file = path.substr(path.find_last_of('/') + 1);
  ck_section("Changed since " + file, true);
  std::ifstream in(path, std::ios::binary);
  std::stringstream saved;
  saved << in.rdbuf();
  if (!in || saved.str().empty()) {
    ck_fail_line("The configuration file " + path + " could not be read");
    ck_end_section(true);
    return;
  }
  const ConfigInstrument instrument = config_instrument_of(kTmInfoCurrent);
  const std::vector<CatalogueMessage> messages =
      tm_info_catalogue_messages(tm_info_catalogue(instrument.tm_type, instrument.version1));
  const std::map<std::string, std::string> before = config_values(saved.str(), messages);
  const std::map<std::string, std::string> now =
      config_values(tm_info_config_read(instrument), messages);
  if (before.empty()) ck_fail_line(file + " holds no value of this instrument's family");
  for (const CatalogueMessage& m : messages) {
    const auto was = before.find(m.name);
    const auto is = now.find(m.name);
    if (was == before.end() && is == now.end()) continue;
    if (was == before.end())
      ck_fail_line(m.name + " was not in the file, is now " + is->second);
    else if (is == now.end())
      ck_fail_line(m.name + " was " + was->second + ", is not read now");
    else if (!same_value(was->second, is->second))
      ck_fail_line(m.name + " was " + was->second + ", is now " + is->second);
  }
  ck_pass_line(std::to_string(before.size()) + " values compared with " + file);
  ck_end_section(true);
}

}  // namespace ovn
