#include "monitor/data_dir.h"

#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "build_info.h"
#include "foundation/platform.h"
#include "monitor/frm_data_dir.h"
#include "support/scripted_operator.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

namespace fs = std::filesystem;
using test::ScriptedOperator;
using test::SeamsTest;

const char* const kApp = "KST";

std::string read_file(const fs::path& path) {
  return test::TempDir::read(path.string()).value_or("<unreadable>");
}

void touch(const fs::path& path, const std::string& content = "old") {
  std::ofstream(path, std::ios::binary) << content;
}

std::string first_lines() {
  return std::string("# Data saved via ovn-kst ") + build::version +
         "\r\n# Start Time:2026-11-23T10:00:00\r\n";
}

// A fresh folder under the system's temporary folder with the key "KST" pointing at it,
// and a scripted operator; everything is put back afterwards.
class DataDirTest : public SeamsTest {
 protected:
  DataDirTest() { put(kDtdrKeyDir, dir.string()); }
  void put(const char* key, const std::string& value) {
    seams.settings.put(kApp, kDtdrSection, key, value);
  }
  std::string stored(const char* key) {
    return seams.settings.get(kApp, kDtdrSection, key).value_or("<none>");
  }
  std::string name(int n) const {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04d", n);
    return (dir / (std::string("KST.") + digits + ".csv")).string();
  }

  test::TempDir temp;
  fs::path dir{temp.path()};
  ScriptedOperator op;
};

// ---- file contents ---------------------------------------------------------------------

TEST_F(DataDirTest, ATimedFileHoldsTheHeaderAndARowEachTimeTheScheduleComes) {
  put(kDtdrKeyRate, "0.5");
  dtdr_init(kApp);
  ASSERT_TRUE(dtdr_start_stop(" Time(s),Torque(lbf-in)", "Model:X   Serial:1"));
  ASSERT_EQ(dtdr_file_name(), name(0));

  // Offers at virtual times; the start is at 1000 ms.
  const struct {
    double advance_ms;
    std::string row;
    bool written;
  } rounds[] = {
      {0, "1.5,2,\?\?!E1??", true},  // the first offer is due at once
      {200, "x", false},
      {300, "2.5,3", true},  // 0.5 s
      {750, "", true},       // 1.25 s: a row with no data is time and comma
      {200, "y", false},     // next due at 2.0 s after the start, not 1.75 s
      {1750, "3", true},     // 3.2 s: late, and behind by three periods...
      {1, "4", true},        // ...so the next rows come at once
      {1, "5", true},        //
      {1, "6", true},        //
      {1, "7", false},       // caught up: next at 3.5 s
  };
  for (const auto& round : rounds) {
    seams.clock.advance(round.advance_ms);
    EXPECT_EQ(dtdr_save_row(round.row, 0), round.written) << "row " << round.row;
  }
  EXPECT_EQ(dtdr_rows(), 7);
  EXPECT_EQ(read_file(name(0)), first_lines() +
                                    "#  Time(s),Torque(lbf-in)\r\n"
                                    "# Model:X   Serial:1\r\n"
                                    "0.000,1.5,2,\?\?!E1??\r\n"
                                    "0.500,2.5,3\r\n"
                                    "1.250,\r\n"
                                    "3.200,3\r\n"
                                    "3.201,4\r\n"
                                    "3.202,5\r\n"
                                    "3.203,6\r\n");

  // The button stops timed saving; rows are no longer taken.
  EXPECT_FALSE(dtdr_start_stop("", ""));
  EXPECT_FALSE(dtdr_saving());
  EXPECT_FALSE(dtdr_save_row("8", 0));
  EXPECT_EQ(op.shown.size(), 0u);
}

TEST_F(DataDirTest, RateZeroWritesEveryRoundAndEmptyHeaderLinesAreLeftOut) {
  put(kDtdrKeyRate, "0");
  dtdr_init(kApp);
  ASSERT_TRUE(dtdr_start_stop("", ""));
  EXPECT_TRUE(dtdr_save_row("1", 0));
  EXPECT_TRUE(dtdr_save_row("2", 0));  // same instant: still written
  seams.clock.advance(0.4);
  EXPECT_TRUE(dtdr_save_row("3", 0));
  EXPECT_TRUE(dtdr_save_row("4", 1000 + 12345.6789));  // an explicit time
  EXPECT_EQ(read_file(name(0)), first_lines() + "0.000,1\r\n0.000,2\r\n0.000,3\r\n12.346,4\r\n");
}

TEST_F(DataDirTest, TheHeadingAndIdentityOfTheMainWindow) {
  EXPECT_EQ(dtdr_heading(3, "lbf-in", "RPM", "Hp", "C"),
            " Time(s),Torque(lbf-in),Speed(RPM),Power(Hp),Temperature(C)");
  EXPECT_EQ(dtdr_heading(1, "N-m", "RPM", "Hp", "F"), " Time(s),Torque(N-m),Temperature(F)");
  EXPECT_EQ(dtdr_heading(2, "N-m", "RPM", "Hp", "F"), " Time(s),Torque(N-m),Temperature(F)");
  EXPECT_EQ(dtdr_identity("KST-500", "12345", "S1", "ACME", "COM3"),
            "Model:KST-500   Serial:12345   Shaft:S1   Customer:ACME   COM3");
}

// ---- names -----------------------------------------------------------------------------

TEST_F(DataDirTest, TheCounterNeverOverwritesAnExistingFile) {
  touch(name(0));
  touch(name(1));
  dtdr_init(kApp);
  EXPECT_EQ(dtdr_next_name(false), name(2));
  EXPECT_EQ(dtdr_next_name(false), name(2));  // asking again does not move on
  ASSERT_TRUE(dtdr_start_stop("", ""));
  EXPECT_EQ(dtdr_file_name(), name(2));
  dtdr_save_row("1", 0);
  EXPECT_FALSE(dtdr_start_stop("", ""));

  // Stop then start: the counter goes on, the old files keep their contents.
  touch(name(4));
  ASSERT_TRUE(dtdr_start_stop("", ""));
  EXPECT_EQ(dtdr_file_name(), name(3));
  EXPECT_FALSE(dtdr_start_stop("", ""));
  ASSERT_TRUE(dtdr_start_stop("", ""));
  EXPECT_EQ(dtdr_file_name(), name(5));
  EXPECT_EQ(read_file(name(0)), "old");
  EXPECT_EQ(read_file(name(1)), "old");
  EXPECT_EQ(read_file(name(4)), "old");
  EXPECT_EQ(read_file(name(2)), first_lines() + "0.000,1\r\n");
  EXPECT_FALSE(dtdr_start_stop("", ""));

  // A reset starts from 0 again and still skips what exists; a freed number is reused.
  fs::remove(name(1));
  EXPECT_EQ(dtdr_next_name(true), name(1));
}

TEST_F(DataDirTest, TheBaseNameAndFolderComeFromTheSettings) {
  put(kDtdrKeyBasename, "run");
  put(kDtdrKeyDir, dir.string() + "/");  // a trailing separator is not doubled
  dtdr_init(kApp);
  EXPECT_EQ(dtdr_next_name(false), (dir / "run.0000.csv").string());
  EXPECT_EQ(dtdr_get_dir(), dir.string());
}

TEST_F(DataDirTest, CaptionAndToolTipFollowTheSavingState) {
  dtdr_init(kApp);
  EXPECT_EQ(dtdr_button_caption(), "Save Data");
  EXPECT_EQ(dtdr_button_tooltip(), "Save Data to " + name(0));
  dtdr_start_stop("", "");
  EXPECT_EQ(dtdr_button_caption(), "Saved: 0");
  dtdr_save_row("1", 0);
  dtdr_save_row("2", 0);  // not due at rate 1
  seams.clock.advance(1000);
  dtdr_save_row("3", 0);
  EXPECT_EQ(dtdr_button_caption(), "Saved: 2");
  EXPECT_EQ(dtdr_button_tooltip(), "Saving to " + name(0) + "  Saved: 2");
  dtdr_start_stop("", "");
  EXPECT_EQ(dtdr_button_caption(), "Save Data");
  EXPECT_EQ(dtdr_button_tooltip(), "Save Data to " + name(1));
}

// ---- event mode ------------------------------------------------------------------------

TEST_F(DataDirTest, EventModeWritesOneRowPerPressAndKeepsTheFileOpen) {
  put(kDtdrKeyEvent, "True");
  put(kDtdrKeyRate, "0");  // the rate plays no part in event mode
  dtdr_init(kApp);
  ASSERT_TRUE(dtdr_start_stop("", ""));
  seams.clock.advance(100);
  EXPECT_TRUE(dtdr_save_row("a", 0));  // the press that opened the file asks for a row
  EXPECT_FALSE(dtdr_save_row("b", 0));
  seams.clock.advance(2000);
  EXPECT_FALSE(dtdr_save_row("c", 0));
  EXPECT_TRUE(dtdr_start_stop("", ""));  // second press: still saving, same file
  EXPECT_TRUE(dtdr_start_stop("", ""));  // a third before the round: still one row
  EXPECT_EQ(dtdr_file_name(), name(0));
  seams.clock.advance(5);
  EXPECT_TRUE(dtdr_save_row("d", 0));
  EXPECT_FALSE(dtdr_save_row("e", 0));
  EXPECT_EQ(dtdr_button_caption(), "Saved: 2");
  EXPECT_EQ(read_file(name(0)), first_lines() + "0.100,a\r\n2.105,d\r\n");

  // Turning "Event Save" off in the options lets the button close the file.
  put(kDtdrKeyEvent, "False");
  EXPECT_FALSE(dtdr_start_stop("", ""));
  EXPECT_FALSE(dtdr_saving());
  EXPECT_EQ(op.shown.size(), 0u);
}

// ---- settings --------------------------------------------------------------------------

TEST_F(DataDirTest, SettingsAreSeededWithTheirDefaultsOnFirstRead) {
  // The default folder lies in the documents folder.
  const fs::path documents = dir / "Documents";
  fs::create_directories(documents);
  test::EnvGuard env;
  env.set("XDG_DOCUMENTS_DIR", documents.string());
  seams.settings.remove_key(kApp, kDtdrSection, kDtdrKeyDir);

  dtdr_init(kApp);  // the default folder is made, so no complaint
  DtdrSettings settings;
  ASSERT_TRUE(dtdr_get_settings(settings));

  EXPECT_EQ(settings.dir, (documents / "OVN-KST-Data").string());
  EXPECT_TRUE(fs::is_directory(settings.dir));
  EXPECT_EQ(settings.basename, "KST");
  EXPECT_EQ(settings.rate, 1.0);
  EXPECT_FALSE(settings.event_save);
  EXPECT_FALSE(settings.logic_io);
  EXPECT_FALSE(settings.specify);
  EXPECT_EQ(stored(kDtdrKeyDir), settings.dir);
  EXPECT_EQ(stored(kDtdrKeyBasename), "KST");
  EXPECT_EQ(stored(kDtdrKeyRate), "1");
  EXPECT_EQ(stored(kDtdrKeyEvent), "False");
  EXPECT_EQ(stored(kDtdrKeyLogic), "False");
  EXPECT_EQ(stored(kDtdrKeySpecify), "False");
  EXPECT_EQ(op.shown.size(), 0u);

  // Stored texts as other versions wrote them, and a rate that is no number.
  const struct {
    const char* text;
    bool flag;
  } flags[] = {{"True", true},   {"true", true}, {"-1", true}, {"1", true},
               {"False", false}, {"0", false},   {"", false},  {"yes", false}};
  for (const auto& f : flags) {
    put(kDtdrKeyLogic, f.text);
    EXPECT_EQ(dtdr_get_logic_io(), f.flag) << f.text;
  }
  const struct {
    const char* text;
    double rate;
  } rates[] = {{"0.25", 0.25}, {"0", 0}, {" 2", 2}, {"fast", 1}, {"-3", 1}, {"1e-3", 0.001}};
  for (const auto& r : rates) {
    put(kDtdrKeyRate, r.text);
    EXPECT_EQ(dtdr_get_rate(), r.rate) << r.text;
  }
}

TEST_F(DataDirTest, EveryUseBeforeInitAsksForIt) {
  op.expect_msg_box("Please call data_dir.dtdr_init(REGKEY)", MsgAnswer::Ok);
  EXPECT_FALSE(dtdr_start_stop("", ""));
  op.expect_msg_box("Please call data_dir.dtdr_init(REGKEY)", MsgAnswer::Ok);
  EXPECT_EQ(dtdr_next_name(false), "");
  op.expect_msg_box("Please call data_dir.dtdr_init(REGKEY)", MsgAnswer::Ok);
  EXPECT_EQ(dtdr_button_tooltip(), "Save Data to ");
  // The per-round call stays silent: nothing can be saving.
  EXPECT_FALSE(dtdr_save_row("1", 0));
  EXPECT_EQ(dtdr_button_caption(), "Save Data");
  EXPECT_EQ(op.shown.size(), 3u);
  EXPECT_EQ(seams.settings.all().size(), 1u);  // only the folder this test put there
}

// ---- directory checks and the options dialog -------------------------------------------

TEST_F(DataDirTest, AnUnwritableFolderAtInitLeadsThroughTheDialogsChecksToANewChoice) {
  const std::string missing = (dir / "gone").string();
  const std::string also_missing = (dir / "nowhere").string();
  const fs::path chosen = dir / "chosen";
  fs::create_directories(chosen);
  put(kDtdrKeyDir, missing);

  op.expect_gib("is not writeable driectory", "OK");
  op.expect_gib("Save Rate must be numeric", "OK");
  op.expect_gib("Save Rate must be positive", "OK");
  op.expect_gib("Unable to write to directory", "Choose another directory");
  op.expect_file_dialog("Save data in file ", (chosen / "bench7.000.cvs").string());
  int shows = 0;
  set_frm_data_dir_runner([&](FrmDataDir& form) {
    ++shows;
    EXPECT_EQ(form.dir, missing);
    form.txt_save_rate.text = "1,5";
    frm_data_dir_btn_exit_click(form);
    EXPECT_TRUE(form.visible);
    form.txt_save_rate.text = "-0.5";
    frm_data_dir_btn_exit_click(form);
    form.txt_save_rate.text = " 0.25 ";
    form.dir = also_missing;
    frm_data_dir_btn_exit_click(form);  // refused, and the file dialog comes up at once
    EXPECT_EQ(form.dir, chosen.string());
    EXPECT_EQ(form.basename, "bench7");
    EXPECT_TRUE(form.visible);
    frm_data_dir_btn_exit_click(form);
    EXPECT_FALSE(form.visible);
  });
  dtdr_init(kApp);

  EXPECT_EQ(shows, 1);
  ASSERT_EQ(op.shown.size(), 5u);
  EXPECT_EQ(op.shown[0].text,
            "Data Save Directory\r\n   " + missing +
                "\r\nis not writeable driectory\r\nSelect a writeable directory.");
  EXPECT_EQ(op.shown[3].text, "Unable to write to directory \"" + also_missing + "\"");
  EXPECT_EQ(op.shown[4].default_text, "KST.000.cvs");
  EXPECT_EQ(stored(kDtdrKeyDir), chosen.string());
  EXPECT_EQ(stored(kDtdrKeyBasename), "bench7");
  EXPECT_EQ(stored(kDtdrKeyRate), "0.25");
  EXPECT_EQ(dtdr_next_name(false), (chosen / "bench7.0000.csv").string());
}

TEST_F(DataDirTest, CancelInTheDialogStoresNothingAndInitAsksAgain) {
  const std::string missing = (dir / "gone").string();
  put(kDtdrKeyDir, missing);
  op.expect_gib("is not writeable driectory", "OK");
  op.expect_gib("is not writeable driectory", "OK");
  int shows = 0;
  set_frm_data_dir_runner([&](FrmDataDir& form) {
    form.txt_save_rate.text = "7";
    if (++shows == 1) return frm_data_dir_btn_cancel_click(form);
    form.dir = dir.string();
    frm_data_dir_btn_exit_click(form);
  });
  dtdr_init(kApp);
  EXPECT_EQ(shows, 2);
  EXPECT_EQ(stored(kDtdrKeyDir), dir.string());
  EXPECT_EQ(stored(kDtdrKeyRate), "7");
}

TEST_F(DataDirTest, TheDialogShowsTheSettingsAndGreysWhatTheModesRuleOut) {
  put(kDtdrKeyRate, "0.1");
  put(kDtdrKeyBasename, "rig");
  dtdr_init(kApp);
  FrmDataDir form;
  frm_data_dir_load(form);
  EXPECT_TRUE(form.visible);
  EXPECT_EQ(form.txt_save_rate.text, "0.1");
  EXPECT_EQ(form.lb_save_rate.caption, "Seconds per sample (0 means as fast as possible)");
  EXPECT_EQ(form.cb_event_save.caption, "Event Save (1 slice when \"Save\" is pressed)");
  EXPECT_EQ(form.cb_logic_io.caption, "Save data when IM2 is on (new file on rising edge)");
  EXPECT_EQ(form.lb_desc.caption,
            "Data will be saved in a *.csv format in a file named like: " + dir.string() +
                "/rig.0000.csv\r\nThese files can be easily imported into most spreadsheet "
                "programs for further analysis.");

  const struct {
    bool event, logic;
    bool rate_enabled, event_enabled;
  } cases[] = {{false, false, true, true},
               {true, false, false, true},
               {false, true, false, false},
               {true, true, false, false}};
  for (const auto& c : cases) {
    form.cb_event_save.value = c.event;
    form.cb_logic_io.value = c.logic;
    frm_data_dir_changed(form);
    EXPECT_EQ(form.txt_save_rate.enabled, c.rate_enabled) << c.event << c.logic;
    EXPECT_EQ(form.cb_event_save.enabled, c.event_enabled) << c.event << c.logic;
  }

  // OK stores the check boxes as they stand.
  form.cb_event_save.value = true;
  form.cb_logic_io.value = true;
  form.cb_specify.value = true;
  frm_data_dir_btn_exit_click(form);
  EXPECT_TRUE(form.stored);
  EXPECT_EQ(stored(kDtdrKeyEvent), "True");
  EXPECT_EQ(stored(kDtdrKeyLogic), "True");
  EXPECT_EQ(stored(kDtdrKeySpecify), "True");
  EXPECT_EQ(stored(kDtdrKeyRate), "0.1");
}

TEST(FrmDataDirBaseOf, TheBaseNameLosesTheExtensionAndTheCounterField) {
  const std::pair<const char*, const char*> cases[] = {
      {"/data/KST.000.cvs", "KST"}, {"/data/KST.0007.csv", "KST"},  {"run5.csv", "run5"},
      {"/data/run5", "run5"},       {"/data/run.v2.csv", "run.v2"}, {"C:\\d\\x.12.csv", "x"},
      {"/data/.hidden", ".hidden"}, {"/data/a.b.c", "a.b"},
  };
  for (const auto& [path, base] : cases) EXPECT_EQ(frm_data_dir_base_of(path), base) << path;
}

// ---- failures --------------------------------------------------------------------------

// Lets files grow only to a given size for as long as it lives, as a full disk would.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &old_);
    old_signal_ = std::signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails instead
    rlimit small = old_;
    small.rlim_cur = bytes;
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, old_signal_);
  }

 private:
  rlimit old_{};
  void (*old_signal_)(int) = nullptr;
};

std::string file_error(int err) {
  return "Error " + std::to_string(err) + ":" + std::strerror(err);
}

TEST_F(DataDirTest, ADiskFullHalfWayKeepsTheRowsWrittenAndStopsWithOneMessage) {
  put(kDtdrKeyRate, "0");
  dtdr_init(kApp);
  ASSERT_TRUE(dtdr_start_stop("heading", ""));
  ASSERT_TRUE(dtdr_save_row("1.25,2.5", 0));
  ASSERT_TRUE(dtdr_save_row("1.5,3.5", 0));
  const std::string before = read_file(name(0));

  op.expect_msg_box("Unable to print to file", MsgAnswer::Ok);
  {
    FileSizeLimit limit(fs::file_size(name(0)) + 5);  // the next row is cut off inside
    EXPECT_FALSE(dtdr_save_row("123.456,789.012", 0));
  }
  EXPECT_FALSE(dtdr_saving());
  EXPECT_EQ(read_file(name(0)), before);  // no half row left behind
  EXPECT_EQ(before, first_lines() + "# heading\r\n0.000,1.25,2.5\r\n0.000,1.5,3.5\r\n");
  ASSERT_EQ(op.shown.size(), 1u);
  EXPECT_EQ(op.shown[0].text, file_error(EFBIG) + "\r\nUnable to print to file \"" + name(0) +
                                  "\"\r\nData saving has stopped; the 2 rows saved before are "
                                  "kept.");
  EXPECT_EQ(op.shown[0].title, "Save Data");
  // Later rounds go on quietly.
  EXPECT_FALSE(dtdr_save_row("4", 0));
  EXPECT_EQ(dtdr_button_caption(), "Save Data");

  // A header that does not fit leaves no file behind; giving up does not end the program.
  op.expect_msg_box("Retry opening?", MsgAnswer::No);
  {
    FileSizeLimit limit(20);
    EXPECT_FALSE(dtdr_start_stop("heading", ""));
  }
  EXPECT_EQ(op.last().text.rfind(file_error(EFBIG), 0), 0u);
  EXPECT_FALSE(fs::exists(name(1)));
  ASSERT_TRUE(dtdr_start_stop("", ""));
  EXPECT_EQ(dtdr_file_name(), name(1));
}

TEST_F(DataDirTest, AFolderRemovedWhileSavingStopsSavingAndCannotBeReopenedSilently) {
  put(kDtdrKeyRate, "0");
  dtdr_init(kApp);
  ASSERT_TRUE(dtdr_start_stop("", ""));
  ASSERT_TRUE(dtdr_save_row("1", 0));
  fs::remove_all(dir);

  op.expect_msg_box("Unable to print to file", MsgAnswer::Ok);
  EXPECT_FALSE(dtdr_save_row("2", 0));
  EXPECT_FALSE(dtdr_save_row("3", 0));
  EXPECT_FALSE(dtdr_saving());
  EXPECT_EQ(op.shown.size(), 1u);
  EXPECT_EQ(op.shown[0].text.rfind(file_error(ENOENT), 0), 0u);

  // Starting again (the number of the vanished file is free again): the file cannot be made; Yes
  // tries again, No gives up without ending the program.
  op.expect_msg_box("Retry opening?", MsgAnswer::Yes);
  op.expect_msg_box("Retry opening?", MsgAnswer::No);
  EXPECT_FALSE(dtdr_start_stop("", ""));
  EXPECT_FALSE(dtdr_saving());
  EXPECT_EQ(op.shown[1].text, file_error(ENOENT) + "\r\nUnable to open file \"" + name(0) +
                                  "\"\r\n   for Output\r\n\r\nRetry opening?");
}

}  // namespace
}  // namespace ovn

namespace ovn {
namespace {

// The analysis form, for pandas, R and csv.reader: UTF-8, the heading first, every column
// in every row with the temperature carried from the last readout, ISO times with the
// offset, an event column, and the identity in a sidecar.
TEST_F(DataDirTest, TheAnalysisFormIsATableWithoutRaggedRowsAndASidecar) {
  test::EnvGuard env;
  env.set("TZ", "CET-1");
  put(kDtdrKeyRate, "0");
  put(kDtdrKeyAnalysis, "True");
  dtdr_init(kApp);
  ASSERT_TRUE(
      dtdr_start_stop(" Time(s),Torque(lbf-in),Speed(RPM),Power(Hp),Temperature(\xB0"
                      "F)",
                      "Model:52002V \"2-3\""));
  ASSERT_TRUE(dtdr_save_row("1.5,2,3", 0));
  ASSERT_TRUE(dtdr_save_row("1.25,2.5,3.5,75.0", 0));
  clock().sleep(125);
  ASSERT_TRUE(dtdr_save_row("1,2,3", 0));
  dtdr_close();
  EXPECT_EQ(read_file(name(0)),
            "time,t_s,torque_lbf-in,speed_RPM,power_Hp,temperature_F,event\r\n"
            "2026-11-23T10:00:00.000+01:00,0.000,1.5,2,3,,\r\n"
            "2026-11-23T10:00:00.000+01:00,0.000,1.25,2.5,3.5,75.0,\r\n"
            "2026-11-23T10:00:00.125+01:00,0.125,1,2,3,75.0,\r\n");
  EXPECT_EQ(read_file(dir / "KST.0000.json"),
            std::string("{\n  \"program\": \"ovn-kst\",\n  \"version\": \"") + build::version +
                "\",\n  \"start_time\": \"2026-11-23T10:00:00.000+01:00\",\n"
                "  \"heading\": \" Time(s),Torque(lbf-in),Speed(RPM),Power(Hp),Temperature(\xC2\xB0"
                "F)\",\n  \"identity\": \"Model:52002V \\\"2-3\\\"\",\n  \"save_rate_s\": 0,\n"
                "  \"event_save\": false,\n  \"columns\": [\"time\", \"t_s\", \"torque_lbf-in\", "
                "\"speed_RPM\", \"power_Hp\", \"temperature_F\", \"event\"]\n}\n");

  // Rows that events write say so.
  put(kDtdrKeyEvent, "True");
  ASSERT_TRUE(dtdr_start_stop(" Time(s),Torque(lbf-in)", ""));
  ASSERT_TRUE(dtdr_save_row("7", 0));
  dtdr_close();
  EXPECT_EQ(read_file(name(1)),
            "time,t_s,torque_lbf-in,event\r\n"
            "2026-11-23T10:00:00.125+01:00,0.000,7,event\r\n");
}

}  // namespace
}  // namespace ovn
