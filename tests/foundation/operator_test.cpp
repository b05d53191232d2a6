#include "foundation/operator.h"

#include <gtest/gtest-spi.h>

#include "foundation/platform.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn {
namespace {

using test::BoxKind;
using test::ScriptedOperator;
using test::SeamsTest;
using Texts = std::vector<std::string>;

class OperatorTest : public SeamsTest {
 protected:
  ScriptedOperator op;
};

// Repeats "B|" n times, for lists at the limits.
std::string many_buttons(int n) {
  std::string list;
  for (int i = 0; i < n; ++i) list += (i ? "|B" : "B");
  return list;
}

// ---- text preparation -----------------------------------------------------------------

TEST(GmbInit, PreparesTheTextInOrderEscapesThenLineEndsThenVerticalTabs) {
  struct Case {
    std::string text;
    int32_t flags;
    std::string expected;
  };
  const Case cases[] = {
      // The program's own escapes: "\n" is CR, "\r" is LF.
      {"Line1\\nLine2", 0, "Line1\rLine2"},
      {"Line1\\r\\nLine2", 0, "Line1\n\rLine2"},
      {"Done\r\n\r\n", 0, "Done"},
      {"Done\\n\\r", 0, "Done"},  // escapes expand first, so their line ends strip too
      {"Tab\\there", 0, "Tab\there"},
      // Verbatim: backslashes stay, line ends still strip.
      {"C:\\new\\temp\r\n", kGibVerbatim, "C:\\new\\temp"},
      // Vertical tabs go after stripping: a VT at the end shields the CR before it.
      {"abc\r\v", 0, "abc\r"},
      {"a\vb\\vc", 0, "abc"},
      {"", 0, ""},
      {"\r\n\n", 0, ""}};
  for (const Case& c : cases) {
    GibBox box = gmb_init(c.text, "OK", c.flags, "", "", 0, 8, 36);
    EXPECT_EQ(box.text, c.expected) << "from \"" << c.text << "\"";
  }
}

TEST(GmbInit, TurnsSecondsIntoRoundedTenthsAndDropsTheButtonsOfATimedBox) {
  struct Case {
    double seconds;
    int32_t ticks;
  };
  // 0.3 / 0.1 is 2.9999999999999996 in doubles: truncating would give 2.
  const Case cases[] = {{0, 0},    {0.3, 3},  {2, 20},   {1.25, 13},
                        {0.04, 0}, {0.05, 1}, {-1, -10}, {0.7, 7}};
  for (const Case& c : cases) {
    GibBox box = gmb_init("Please wait", "OK", 0, "", "", c.seconds, 8, 36);
    EXPECT_EQ(box.ticks, c.ticks) << c.seconds << " s";
    EXPECT_EQ(box.buttons.buttons.empty(), c.seconds != 0) << c.seconds << " s";
    EXPECT_EQ(box.button_list, c.seconds != 0 ? "" : "OK");
  }
}

TEST(GmbInit, FillsInTheDefaultsOfFontSizeAndWidth) {
  GibBox plain = gmb_init("x", "", 0, "T", "", 0, 0, -3);
  EXPECT_EQ(std::tie(plain.font, plain.size, plain.width), std::make_tuple("Courier New", 6, 36));
  GibBox given = gmb_init("x", "", kGibWarning | kGibNonModal, "T", "Arial", 0, 10, 60);
  EXPECT_EQ(std::tie(given.font, given.size, given.width), std::make_tuple("Arial", 10, 60));
  EXPECT_TRUE(given.non_modal());
  EXPECT_EQ(given.style(), kGibWarning);
  // The verbatim bit lies inside the low 24 bits but is no style.
  EXPECT_EQ(gmb_init("x", "", kGibInfo | kGibVerbatim, "", "", 0, 8, 36).style(), kGibInfo);
}

// ---- button lists ---------------------------------------------------------------------

TEST(GmbParseButtons, ReadsEveryCodeOfTheButtonTable) {
  struct Case {
    std::string entry;
    std::string caption;
    int32_t color;
    bool style;
    bool spaced;
  };
  const Case cases[] = {{"?gGo", "Go", 0x00FF00, false, false},
                        {"?yWait", "Wait", 0x00FFFF, false, false},
                        {"?rStop", "Stop", 0x0000FF, false, false},
                        {"?bInfo", "Info", 0xFF0000, false, false},
                        {"?r?iSame", "Same", kColorInherit, false, false},
                        {"?/Alt", "Alt", kColorInherit, true, false},
                        {"?_Gap", "Gap", kColorInherit, false, true},
                        {"?x", "?x", kColorInherit, false, false},
                        {"?", "?", kColorInherit, false, false},
                        {"?g?xy", "?xy", 0x00FF00, false, false},
                        {"Why?g", "Why?g", kColorInherit, false, false}};
  for (const Case& c : cases) {
    // Behind a first button, so that row codes could not hide anything.
    GibButtonList list = gmb_parse_buttons("First|" + c.entry);
    ASSERT_EQ(list.buttons.size(), 2u) << c.entry;
    const GibButton& b = list.buttons[1];
    EXPECT_EQ(b.caption, c.caption) << c.entry;
    EXPECT_EQ(b.color, c.color) << c.entry;
    EXPECT_EQ(b.style, c.style) << c.entry;
    EXPECT_EQ(b.spaced, c.spaced) << c.entry;
    EXPECT_EQ(b.row, 0) << c.entry;
  }
}

TEST(GmbParseButtons, SplitsOffToolTipsBeforeReadingCodes) {
  GibButtonList list = gmb_parse_buttons("?gSave?:Write it to ?r flash|Plain?:|?:only tip");
  Texts captions_and_tips;
  for (const GibButton& b : list.buttons) captions_and_tips.push_back(b.caption + "|" + b.tool_tip);
  EXPECT_EQ(captions_and_tips, (Texts{"Save|Write it to ?r flash", "Plain|", "|only tip"}));
  EXPECT_EQ(list.buttons[0].color, 0x00FF00);
}

TEST(GmbParseButtons, RowCodesStartRowsExceptOnTheFirstButton) {
  GibButtonList list = gmb_parse_buttons("?<A|B|?>C|? D|?.E|?<? F");
  ASSERT_EQ(list.buttons.size(), 6u);
  std::vector<int> rows;
  for (const GibButton& b : list.buttons) rows.push_back(b.row);
  EXPECT_EQ(rows, (std::vector<int>{0, 0, 1, 2, 3, 4}));
  // Row 0 is shaped by the first button's code; two row codes on one button shape one row:
  // the last is flush left, after a blank row.
  std::vector<std::pair<RowAlign, bool>> rows_shaped;
  for (const auto& row : list.rows) rows_shaped.emplace_back(row.align, row.blank_before);
  ASSERT_EQ(rows_shaped.size(), 5u);
  EXPECT_EQ(rows_shaped[0].first, RowAlign::Left);
  EXPECT_EQ(rows_shaped[1].first, RowAlign::Right);
  EXPECT_EQ(rows_shaped[2], std::pair(RowAlign::Center, true));
  EXPECT_FALSE(rows_shaped[3].second);
  EXPECT_EQ(rows_shaped[4], std::pair(RowAlign::Left, true));
  EXPECT_EQ(list.buttons[5].caption, "F");
}

TEST(GmbParseButtons, FindsTheDefaultAndTheCancelButton) {
  struct Case {
    std::string list;
    int default_button;
    int cancel_button;
  };
  const Case cases[] = {
      {"OK|Cancel", 0, 1},         {"OK|?!Later", 1, -1},  // "?!" on a later button beats "OK"
      {"?!Now|OK", 0, -1},                                 // and an earlier one too
      {"Yes|No", -1, -1},          {"ok|cancel", -1, -1},  // captions match exactly
      {"?gOK|?rCancel", 0, 1},                             // after their codes are read
      {"OK |Cancel?:Leave", -1, 1}};
  for (const Case& c : cases) {
    GibButtonList list = gmb_parse_buttons(c.list);
    EXPECT_EQ(list.default_button, c.default_button) << c.list;
    EXPECT_EQ(list.cancel_button, c.cancel_button) << c.list;
  }
}

TEST(GmbParseButtons, EndsTheListAtAnEmptyEntryAfterTheFirst) {
  EXPECT_TRUE(gmb_parse_buttons("").buttons.empty());
  EXPECT_EQ(gmb_parse_buttons("").rows.size(), 1u);
  EXPECT_EQ(gmb_parse_buttons("A||B").buttons.size(), 1u);
  EXPECT_EQ(gmb_parse_buttons("A|B|").buttons.size(), 2u);
  GibButtonList leading = gmb_parse_buttons("|A");
  ASSERT_EQ(leading.buttons.size(), 2u);
  EXPECT_EQ(leading.buttons[0].caption, "");
  EXPECT_EQ(leading.buttons[1].caption, "A");
}

TEST_F(SeamsTest, MoreThan101ButtonsOr41RowsIsAProgrammersError) {
  EXPECT_EQ(gmb_parse_buttons(many_buttons(101)).buttons.size(), 101u);
  EXPECT_PROCESS_EXIT(gmb_parse_buttons(many_buttons(102)), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 1u);
  EXPECT_NE(seams.fatal_texts[0].find("more than 101 buttons"), std::string::npos);

  std::string rows = "A";
  for (int i = 1; i < 41; ++i) rows += "|?.R";
  EXPECT_EQ(gmb_parse_buttons(rows).rows.size(), 41u);
  EXPECT_PROCESS_EXIT(gmb_parse_buttons(rows + "|?.R"), 1);
}

// ---- gib through the operator ---------------------------------------------------------

TEST_F(OperatorTest, GibShowsThePreparedBoxAndReturnsThePressedButton) {
  op.expect_gib("Communications Failure", "Skip");
  op.expect_gib("Configuration uploaded", 0);
  EXPECT_EQ(gib("Communications Failure on COM1\\n3 attempts\r\n", "Abort|Retry|Skip", 16, "COM1"),
            2);
  EXPECT_EQ(gmb_ret(), 2);
  EXPECT_EQ(gib("Configuration uploaded", "OK", 0, "", "", 0, 8, 36), 0);
  EXPECT_EQ(gmb_ret(), 0);

  ASSERT_EQ(op.shown.size(), 2u);
  const test::Shown& first = op.shown[0];
  EXPECT_EQ(first.kind, BoxKind::Gib);
  EXPECT_EQ((Texts{first.text, first.font, first.title, op.shown[1].font}),
            (Texts{"Communications Failure on COM1\r3 attempts", "Courier New", "COM1",
                   "Courier New"}));  // an empty font is the default one
  EXPECT_EQ(first.buttons, (Texts{"Abort", "Retry", "Skip"}));
  EXPECT_EQ(first.flags, 16);
}

TEST_F(OperatorTest, ShortFormsCarryTheirStyleAndShowNothingForAnEmptyText) {
  op.expect_gib("Low battery", 1);
  op.expect_gib("Saved", 0);
  EXPECT_EQ(gib_warning("", "OK", "Warning"), -1);
  EXPECT_EQ(gib_info("", "OK", "Info"), -1);
  EXPECT_EQ(gib_warning("Low battery", "OK|Cancel", "Warning"), 1);
  EXPECT_EQ(gib_info("Saved", "OK", "Info"), 0);
  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_EQ(op.shown[0].flags, 48);
  EXPECT_EQ(op.shown[1].flags, 64);
}

TEST_F(OperatorTest, ATimedBoxShowsNoButtonsRunsDownOnTheClockAndReturnsZero) {
  op.expect_gib("Please wait for", 0);
  double start = now_ms();
  int pumps_before = seams.pumps;
  EXPECT_EQ(gib("Please wait for 2 seconds", "OK", 0, "", "", 2), 0);
  EXPECT_EQ(now_ms() - start, 20 * 102.0);
  EXPECT_EQ(seams.pumps - pumps_before, 20);  // the program goes on while it counts down
  EXPECT_TRUE(op.last().buttons.empty());
  EXPECT_EQ(op.last().gib.ticks, 20);
  // The untitled box counted down in its title, starting at the virtual 10:00:00.
  ASSERT_EQ(op.last().fields.size(), 20u);
  EXPECT_EQ(op.last().fields[0], "10:00:00 <= 1.9 seconds left");
  EXPECT_EQ(op.last().fields[10], "10:00:01 <= .9 seconds left");
}

TEST_F(OperatorTest, AnEmptyButtonListLeavesTheBoxToTheCaller) {
  op.expect_gib("Uploading", 0);
  op.expect_gib("Done", 0);
  int pumps_before = seams.pumps;
  EXPECT_EQ(gib("Uploading...", "", kGibNonModal, "Upload"), -1);
  EXPECT_EQ(gmb_ret(), -1);
  EXPECT_TRUE(op.box_open);
  EXPECT_EQ(seams.pumps, pumps_before + 1);  // painted before the work starts
  EXPECT_TRUE(op.last().buttons.empty());

  gib_set_title("Upload 50%");
  EXPECT_EQ(op.box_title, "Upload 50%");
  EXPECT_FALSE(gib_title_empty());
  gib_set_title("");
  EXPECT_TRUE(gib_title_empty());

  // The next box closes the open one first.
  EXPECT_EQ(gib("Done", "OK", 0, ""), 0);
  EXPECT_FALSE(op.box_open);
  EXPECT_EQ(op.box_closes, 1);
  gib_close();  // nothing open: nothing happens
  EXPECT_EQ(op.box_closes, 1);
}

TEST_F(SeamsTest, AServiceWithNoOperatorIsAProgrammersError) {
  EXPECT_PROCESS_EXIT(gib("Hello there", "OK", 0, ""), 1);
  EXPECT_PROCESS_EXIT(msg_box("Bad Parsing Job:", MsgButtons::Ok, ""), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 2u);
  EXPECT_EQ(seams.fatal_texts[0], "gib called with no operator installed: Hello there");
  EXPECT_EQ(seams.fatal_texts[1], "msg_box called with no operator installed: Bad Parsing Job:");
  // Without an operator there is no window to title.
  std::string title = "unchanged";
  EXPECT_FALSE(active_window_title(title));
  set_active_window_title("No replie to ...");
  flash_active_window();
  EXPECT_EQ(title, "unchanged");
}

// ---- gibcb ----------------------------------------------------------------------------

TEST(GibcbParse, SharesPieceZeroAndSplitsTheOthersByState) {
  struct Case {
    std::string entry;
    std::string unchecked;
    std::string checked;
  };
  const Case cases[] = {
      {"RS485 Termination ^Off^On^", "RS485 Termination Off", "RS485 Termination On"},
      {"^Don't ^^Derive Shunt Scaling From Load", "Don't Derive Shunt Scaling From Load",
       "Derive Shunt Scaling From Load"},
      {"Shunt Has ^^No ^Effect On Speed", "Shunt Has Effect On Speed",
       "Shunt Has No Effect On Speed"},
      {"^2.015 kHz ^7.8125 kHz^ Highest Filter", "2.015 kHz  Highest Filter",
       "7.8125 kHz Highest Filter"},
      {"^Don't ^^Fix^^ed^ Duty Cycle", "Don't Fix Duty Cycle", "Fixed Duty Cycle"},
      {"Plain", "Plain", "Plain"}};
  for (const Case& c : cases) {
    std::vector<GibcbSetting> settings = gibcb_parse(c.entry);
    ASSERT_EQ(settings.size(), 1u) << c.entry;
    EXPECT_EQ(settings[0].unchecked, c.unchecked) << c.entry;
    EXPECT_EQ(settings[0].checked, c.checked) << c.entry;
  }
  EXPECT_TRUE(gibcb_parse("").empty());
  EXPECT_EQ(gibcb_parse("A^x^y|B^x^y|").size(), 3u);  // empty entries keep their bit
}

TEST(GibcbParse, ToolTipNamesTheOtherStateAndTheValueWordHasOneBitASetting) {
  GibcbSetting s = gibcb_parse("RS485 Termination ^Off^On^")[0];
  EXPECT_EQ(gibcb_tool_tip(s, true), "Other setting is \"RS485 Termination Off\"");
  EXPECT_EQ(gibcb_tool_tip(s, false), "Other setting is \"RS485 Termination On\"");
  EXPECT_EQ(gibcb_value({true, false, true}), 5);
  std::vector<bool> all(40, true);
  EXPECT_EQ(gibcb_value(all), -1);  // 32 bits, the rest have none
}

TEST_F(SeamsTest, GibcbRefusesMoreThan21PiecesOr101Settings) {
  std::string pieces = "a";
  for (int i = 1; i < 21; ++i) pieces += "^a";
  EXPECT_EQ(gibcb_parse(pieces).size(), 1u);
  EXPECT_PROCESS_EXIT(gibcb_parse(pieces + "^a"), 1);
  std::string settings = "s";
  for (int i = 1; i < 101; ++i) settings += "|s";
  EXPECT_EQ(gibcb_parse(settings).size(), 101u);
  EXPECT_PROCESS_EXIT(gibcb_parse(settings + "|s"), 1);
}

TEST_F(OperatorTest, GibcbShowsTheWordAsSettingsAndRebuildsItFromTheToggles) {
  const std::string flags =
      "RS485 Termination ^Off^On^|^Don't ^^Derive Shunt Scaling From Load|Shunt Has ^^No "
      "^Effect On Speed";
  op.expect_gibcb("RS485 Termination On", 0, {0, 2});
  int32_t value = 0x101;  // bit 0 on, bit 8 beyond the settings shown
  EXPECT_EQ(gibcb(value, flags, "Apply Changes|Cancel", ""), 0);
  EXPECT_EQ(value, 0x104);  // bit 0 cleared, bit 2 set, bit 8 untouched

  const test::Shown& box = op.last();
  EXPECT_EQ(box.title, "Info Box");
  EXPECT_EQ(box.font, "Courier New");
  EXPECT_EQ(box.text,
            "RS485 Termination On\r\nDon't Derive Shunt Scaling From Load\r\nShunt Has Effect "
            "On Speed");
  EXPECT_EQ(box.fields[0], "RS485 Termination Off");
  EXPECT_EQ(box.fields[2], "Shunt Has No Effect On Speed");
  EXPECT_EQ(box.buttons, (std::vector<std::string>{"Apply Changes", "Cancel"}));
}

// ---- user_input -----------------------------------------------------------------------

TEST(UserInputParseText, FillsLabelDataCommentAndStartsAFieldAfterAnEmptyPiece) {
  std::vector<UserInputField> f =
      user_input_parse_text("|", " Model |KST-1| the model number |Serial|)  5 ||Customer||Port|}");
  // Each field as label/data/comment and "+" editable or "-" read-only: the read-only mark
  // is removed and the rest trimmed; two separators in a row start a new field; editable
  // data is kept as given.
  auto shape = [](const std::vector<UserInputField>& fields) {
    Texts out;
    for (const auto& x : fields)
      out.push_back(x.label + "/" + x.data + "/" + x.comment + (x.enabled ? "+" : "-"));
    return out;
  };
  EXPECT_EQ(shape(f),
            (Texts{"Model/KST-1/the model number+", "Serial/5/-", "Customer//+", "Port//-"}));
  EXPECT_EQ(shape(user_input_parse_text(",", "A,]x,,B,}y,,C, z ")),
            (Texts{"A/x/-", "B/y/-", "C/ z /+"}));

  std::string text;
  for (int i = 0; i < 60; ++i) text += "L" + std::to_string(i) + "|d||";
  EXPECT_EQ(user_input_parse_text("|", text).size(), 51u);
}

TEST(UserInputMove, DownAndUpSkipReadOnlyFields) {
  std::vector<UserInputField> f = user_input_parse_text("|", "A|1||B|)2||C|3||D|]4");
  EXPECT_EQ(user_input_move(f, 0, +1), 2);
  EXPECT_EQ(user_input_move(f, 2, -1), 0);
  EXPECT_EQ(user_input_move(f, 2, +1), -1);  // only read-only fields below
  EXPECT_EQ(user_input_move(f, 0, -1), -1);
  EXPECT_EQ(user_input_move(f, -1, +1), 0);  // entering the form
}

TEST_F(OperatorTest, ReadOnlyDataIsShownButNotReadBack) {
  op.expect_user_input("Range", true, {{0, "9"}, {1, "500"}});
  EXPECT_TRUE(user_input_text("|", "Channel|)5||Range|100", "Setup"));
  EXPECT_EQ(user_input_data(0), "5");
  EXPECT_EQ(user_input_data(1), "500");
  EXPECT_EQ(op.last().fields, (std::vector<std::string>{"5", "100"}));
  EXPECT_FALSE(op.last().form.fields[0].enabled);
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Ok", "Cancel"}));
}

TEST_F(OperatorTest, ListFormPairsTheListsAndKeepsTypedTextForTheNextShowing) {
  op.expect_user_input("Input Message", false, {{0, "VR|TA"}});
  op.expect_user_input("Input Message", true);
  EXPECT_FALSE(user_input("~", "Input Message", "", "Send Message", "", "Send|Exit"));
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Send", "Exit"}));
  EXPECT_TRUE(user_input_again());
  EXPECT_EQ(op.last().fields, (std::vector<std::string>{"VR|TA"}));

  op.expect_user_input("B", true);
  EXPECT_TRUE(user_input(",", "A,B,,C", "1,2,3", "T", "first"));
  EXPECT_EQ(user_input_count(), 2);  // an empty label ends the list
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Ok", "Cancel"}));
  EXPECT_EQ(user_input_comment(0), "first");
  EXPECT_EQ(user_input_comment(1), "");
  EXPECT_EQ(user_input_current(1), "B (currently=2)");
}

TEST_F(OperatorTest, IndexedAccessOutsideTheFieldsReadsEmptyAndLogsWrites) {
  op.expect_user_input("", true);
  user_input_text("|", "Load|10|lbf-in", "Step");
  bool found = false;
  EXPECT_EQ(user_input_label(0, &found), "Load");
  EXPECT_TRUE(found);
  for (int bad : {-1, 1, 50}) {
    EXPECT_EQ(user_input_data(bad, &found), "");
    EXPECT_FALSE(found);
    EXPECT_EQ(user_input_current(bad, &found), "");
    EXPECT_FALSE(found);
  }
  user_input_set_data(0, "20");
  user_input_set_comment(0, "new");
  EXPECT_EQ(user_input_current(0), "Load (currently=20)");
  EXPECT_EQ(user_input_comment(0), "new");
  EXPECT_TRUE(seams.log.lines.empty());

  user_input_set_data(3, "7.5");
  user_input_set_comment(-2, "why");
  std::vector<std::string> tails;
  for (const std::string& line : seams.log.lines)
    if (line.size() > 8 && line.find("User-Input") == 8) tails.push_back(line.substr(8));
  EXPECT_EQ(tails,
            (std::vector<std::string>{"User-Input Index Bad:3", "User-Input Data     :7.5",
                                      "User-Input Index Bad:-2", "User-Input Comment  :why"}));
  EXPECT_EQ(user_input_data(0), "20");
}

// ---- plain dialogs and the window -----------------------------------------------------

TEST_F(OperatorTest, PlainDialogsPassTheOperatorsAnswersThrough) {
  op.expect_input_box("Enter New ID:", "B");
  op.expect_input_box("Enter current", std::nullopt);
  op.expect_input_box("Usually", "90\\n");
  op.expect_msg_box("Retry opening?", MsgAnswer::No);
  op.expect_file_dialog("Configurations for KST", "/tmp/a.611");
  op.expect_file_dialog("", std::nullopt, "Path not found");
  op.expect_color_dialog(0x00FF00);

  EXPECT_EQ(input_box("Current ID:A\r\nEnter New ID:", "ID", "A"), "B");
  EXPECT_EQ(op.last().default_text, "A");
  EXPECT_EQ(input_box("Enter current", ""), std::nullopt);
  EXPECT_EQ(input_box("Enter Starting Frequency in kHz\\n   Usually 90.00 kHz", "", "90"), "90\\n");
  EXPECT_EQ(op.last().text, "Enter Starting Frequency in kHz\r   Usually 90.00 kHz");
  EXPECT_EQ(msg_box("Unable to open file\r\nRetry opening?", MsgButtons::YesNo, ""), MsgAnswer::No);
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Yes", "No"}));

  FileDialogRequest request{.save = true,
                            .title = "Save Configuration",
                            .filters = {{"Configurations for KST", "*.611"}},
                            .folder = "/tmp",
                            .file_name = "KST_1"};
  FileDialogResult chosen = file_dialog(request);
  EXPECT_TRUE(chosen.chosen);
  EXPECT_EQ(chosen.path, "/tmp/a.611");
  EXPECT_EQ(op.last().file.folder, "/tmp");
  FileDialogResult failed = file_dialog(request);
  EXPECT_FALSE(failed.chosen);
  EXPECT_EQ(failed.error, "Path not found");
  EXPECT_EQ(color_dialog(0xFF0000), 0x00FF00);
}

TEST_F(OperatorTest, TheActiveWindowTitleIsKeptForTheSerialExchange) {
  std::string title;
  op.window_title = "KST Monitor";
  ASSERT_TRUE(active_window_title(title));
  EXPECT_EQ(title, "KST Monitor");
  set_active_window_title("No replie to DT");
  flash_active_window();
  EXPECT_EQ(op.window_title, "No replie to DT");
  EXPECT_EQ(op.flashes, 1);
  op.window_active = false;
  EXPECT_FALSE(active_window_title(title));
}

// ---- the scripted operator's own rules ------------------------------------------------

TEST_F(SeamsTest, AnUnexpectedBoxFailsTheTestWithItsTextAndIsCancelled) {
  ScriptedOperator op;
  int answer = 0;
  EXPECT_NONFATAL_FAILURE(answer = gib("Communications Failure", "Abort|Retry|Skip", 0, ""),
                          "unexpected gib \"Communications Failure\"");
  EXPECT_EQ(answer, 2);  // no Cancel button: the last one
  EXPECT_NONFATAL_FAILURE(answer = gib("Sure?", "Yes|Cancel|No", 0, ""), "nothing more");
  EXPECT_EQ(answer, 1);
  MsgAnswer reply = MsgAnswer::Ok;
  EXPECT_NONFATAL_FAILURE(reply = msg_box("Retry?", MsgButtons::YesNo, ""), "Retry?");
  EXPECT_EQ(reply, MsgAnswer::No);
  bool accepted = true;
  EXPECT_NONFATAL_FAILURE(accepted = user_input_text("|", "Load|1", "Step"), "user_input");
  EXPECT_FALSE(accepted);
  EXPECT_EQ(op.shown.size(), 4u);
  EXPECT_FALSE(op.shown[0].expected);
}

TEST_F(SeamsTest, ABoxOutOfOrderFailsAndLeavesTheExpectationQueued) {
  ScriptedOperator op;
  op.expect_gib("Second", 0);
  EXPECT_NONFATAL_FAILURE(gib("First", "OK", 0, ""), "expected a gib matching \"Second\"");
  EXPECT_NONFATAL_FAILURE(input_box("Second", ""), "expected a gib matching \"Second\"");
  EXPECT_EQ(op.pending(), 1u);
  EXPECT_EQ(gib("The Second one", "OK", 0, ""), 0);  // the title could match too
  EXPECT_EQ(op.pending(), 0u);
}

TEST_F(SeamsTest, ExpectationsNeverMetFailWhenTheOperatorGoes) {
  EXPECT_NONFATAL_FAILURE(
      {
        ScriptedOperator op;
        op.expect_msg_box("Never shown", MsgAnswer::Ok);
      },
      "matching \"Never shown\" that never came");
  EXPECT_EQ(current_operator(), nullptr);
}

TEST_F(SeamsTest, AnAnswerTheBoxCannotGiveFailsTheTest) {
  ScriptedOperator op;
  op.expect_gib("Save?", "Maybe");
  op.expect_gib("Save?", 3);
  op.expect_gib("Wait", 1);
  int answer = 0;
  EXPECT_NONFATAL_FAILURE(answer = gib("Save?", "Yes|No", 0, ""), "no button \"Maybe\"");
  EXPECT_EQ(answer, 1);
  EXPECT_NONFATAL_FAILURE(gib("Save?", "Yes|No", 0, ""), "button 3 does not exist");
  EXPECT_NONFATAL_FAILURE(answer = gib("Wait", "OK", 0, "", "", 0.5), "always answers 0");
  EXPECT_EQ(answer, 0);

  op.expect_msg_box("Retry?", MsgAnswer::Yes);
  EXPECT_NONFATAL_FAILURE(msg_box("Retry?", MsgButtons::RetryCancel, ""),
                          "the answer Yes is not offered");
  op.expect_gibcb("Flag", 2);
  int32_t value = 0;
  EXPECT_NONFATAL_FAILURE(gibcb(value, "Flag ^Off^On", "Apply|Cancel", ""),
                          "button 2 does not exist");
  op.expect_display_data("Step", {{0}, {4}});
  EXPECT_NONFATAL_FAILURE(answer = display_data("Step", "", 24, "", "", "", ""),
                          "no button answers code 0");
  EXPECT_EQ(answer, 4);
  // A modal box with no buttons ends by its window: any answer stands for that.
  op.expect_gib("Stuck", 7);
  EXPECT_EQ(gib("Stuck", "", 0, ""), 7);
}

TEST_F(SeamsTest, ANestedOperatorPutsThePreviousOneBack) {
  ScriptedOperator outer;
  {
    ScriptedOperator inner;
    EXPECT_EQ(current_operator(), &inner);
  }
  EXPECT_EQ(current_operator(), &outer);
}

}  // namespace
}  // namespace ovn
