#include "config/catalogue.h"

#include "config_fixture.h"

namespace ovn::test {
namespace {

class CatalogueTest : public ConfigFixture {};
class WqpmCatalogueTest : public ConfigFixture {
 protected:
  WqpmCatalogueTest() : ConfigFixture(SimFamily::Wqpm) {}
};

// The message names of a catalogue, in order, with ranges expanded and comment items left
// out: what a download asks.
std::vector<std::string> names_of(const std::string& catalogue) {
  std::vector<std::string> out;
  for (std::string item : kw_split(catalogue, "|")) {
    if (item.empty() || item[0] == '#') continue;
    std::string name = item.substr(0, item.find_first_of(" #"));
    size_t open = name.find('[');
    if (open != std::string::npos) {
      for (char c = name[open + 1]; c <= name[open + 3]; ++c)
        out.push_back(name.substr(0, open) + c);
      continue;
    }
    out.push_back(name);
  }
  return out;
}

bool has(const std::vector<std::string>& list, const std::string& name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

TEST_F(CatalogueTest, ParameterLinesArePaddedToColumnTwentyUnlessLonger) {
  EXPECT_EQ(tm_info_catalogue_item("UCA Pole0 Full Scale"),
            "UCA655360000        # Pole0 Full Scale\r\n");
  // The model fills more than 20 columns: the comment follows it directly.
  EXPECT_EQ(tm_info_catalogue_item("UIA Model"), "UIAZQVD52002V(2-3 lbf-in)# Model\r\n");
  // No comment: the line is still padded, as the instrument's file always was.
  EXPECT_EQ(tm_info_catalogue_item("TA"), "TA3                 \r\n");
  // "=" and "==" markers go between name and value.
  EXPECT_EQ(tm_info_catalogue_item("UIB= Serial Number"),
            "UIB=SIM0001         # Serial Number\r\n");
  EXPECT_EQ(tm_info_catalogue_item("UID==#Shaft"), "UID==S1             #Shaft\r\n");
  EXPECT_EQ(requests(), (std::vector<std::string>{"UCA", "UIA", "TA", "UIB", "UID"}));
}

TEST_F(CatalogueTest, CommentItemsAndNumberedItemsAndBlankItems) {
  EXPECT_EQ(tm_info_catalogue_item("######################### Speed"),
            "######################### Speed\r\n");
  EXPECT_EQ(tm_info_catalogue_item("  ### 1=+CAL 2=-CAL "), "### 1=+CAL 2=-CAL\r\n");
  EXPECT_EQ(tm_info_catalogue_item("   "), "");
  EXPECT_TRUE(requests().empty()) << "comment lines ask nothing";
  // The number in front and its ":" are dropped.
  EXPECT_EQ(tm_info_catalogue_item("12:UCB (flags)"), "UCB0                # (flags)\r\n");
  EXPECT_EQ(requests(), (std::vector<std::string>{"UCB"}));
}

TEST_F(CatalogueTest, ARangeAsksEveryCharacterFromStartToEnd) {
  sim_set_param(sim, "ILI", "2.5");
  std::string lines = tm_info_catalogue_item("IL[H-J] Limit");
  EXPECT_EQ(requests(), (std::vector<std::string>{"ILH", "ILI", "ILJ"}));
  EXPECT_EQ(lines_of(lines),
            (std::vector<std::string>{"ILH-1.1             # Limit", "ILI2.5              # Limit",
                                      "ILJ-1.1             # Limit"}));
}

TEST_F(CatalogueTest, AParameterRefusedThreeTimesBecomesABadReplyLine) {
  port.answer_bang("UIC");
  double start = now_ms();
  EXPECT_EQ(tm_info_catalogue_item("UIC Customer Name"), "# BAD REPLY TO UIC:!\r\n");
  EXPECT_EQ(count_requests("UIC"), 3);
  EXPECT_LT(now_ms() - start, 3 * 200.0) << "a refusal is an answer: no time-outs";
  // The rest of the catalogue goes on as usual.
  EXPECT_EQ(tm_info_catalogue_item("UID Shaft Number"), "UIDS1               # Shaft Number\r\n");
}

TEST_F(WqpmCatalogueTest, TypeMarkersShowTheDecodedHexValues) {
  // References: IEEE-754 single 0x43FA8000 is 501, 0xC0490FDB is -3.1415927.
  sim.table["CCA"] = "43FA8000";
  sim.table["CCB"] = "C0490FDB";
  sim.table["AC1"] = "FFFF000A0102";
  sim.table["SC"] = "3F80000040000000";
  sim.table["FS3"] = "12";
  sim.table["OF"] = "XYZ";   // not hex: no values rather than a guess
  sim.table["GN"] = "00FF";  // hex, but short for a float
  sim.table["MD"] = "WQ-1000";
  struct Case {
    std::string item, line;
  };
  const Case cases[] = {
      {"CCA Full Scale ??f", "CCA43FA8000         # Full Scale (501)"},
      {"CCB Zero load Value (Leave at 0) ??f",
       "CCBC0490FDB         # Zero load Value (Leave at 0) (-3.1415927)"},
      {"AC1 Analog Output Setup ??ssbb", "AC1FFFF000A0102     # Analog Output Setup (-1,10,1,2)"},
      {"SC Scaling Constants ??ff", "SC3F80000040000000  # Scaling Constants (1,2)"},
      {"FS3 Full Scale ??", "FS312               # Full Scale ()"},
      {"OF Offset ??s", "OFXYZ               # Offset ()"},
      {"GN== Gain ??f", "GN==00FF            # Gain ()"},
      {"MD== Model Name", "MD==WQ-1000         # Model Name"}};
  for (const auto& c : cases) EXPECT_EQ(tm_info_catalogue_item(c.item), c.line + "\r\n") << c.item;
}

TEST_F(WqpmCatalogueTest, TheLastRangeOfAWqpmCatalogueAsksEightMessages) {
  for (char c = 'I'; c <= 'P'; ++c) sim.table[std::string("TC") + c] = "3F800000";
  std::string lines = tm_info_catalogue_item("TC[I-P] Temp Zero Compensation ??f");
  EXPECT_EQ(requests(),
            (std::vector<std::string>{"TCI", "TCJ", "TCK", "TCL", "TCM", "TCN", "TCO", "TCP"}));
  EXPECT_EQ(lines_of(lines).back(), "TCP3F800000         # Temp Zero Compensation (1)");
}

TEST(CatalogueData, KstSpeedAndPowerGroupsOnlyWithThreeChannels) {
  auto three = names_of(tm_info_catalogue_for(kTmKst, 150, "3", ""));
  auto two = names_of(tm_info_catalogue_for(kTmKst, 150, "2", ""));
  for (const char* n : {"UN2", "CE2B", "CF2A", "SCE", "UN3", "CF3B"}) {
    EXPECT_TRUE(has(three, n)) << n;
    EXPECT_FALSE(has(two, n)) << n;
  }
  for (const char* n : {"TCF", "AOA", "AOU", "IOA", "IOH", "ILP", "TMB"}) {
    EXPECT_TRUE(has(two, n)) << n;
  }
  // The two-channel catalogue goes from the temperature group straight to the outputs.
  auto tcf = std::find(two.begin(), two.end(), "TCF");
  ASSERT_NE(tcf, two.end());
  EXPECT_EQ(*(tcf + 1), "AOA");
  EXPECT_EQ(three.size(), two.size() + 21);
}

TEST(CatalogueData, KstOrderOfTheAnalogAndIoGroups) {
  auto names = names_of(tm_info_catalogue_for(kTmKst, 150, "3", ""));
  auto from = [&](const std::string& first, size_t n) {
    auto it = std::find(names.begin(), names.end(), first);
    if (it == names.end() || names.end() - it < static_cast<long>(n)) return std::string("?");
    std::string out;
    for (size_t i = 0; i < n; ++i) out += *(it + static_cast<long>(i)) + " ";
    return out;
  };
  // Each output's settings, then its three voltage points.
  EXPECT_EQ(from("AOA", 14), "AOA AOB AOC AOD AOM AON AOO AOE AOF AOG AOH AOP AOQ AOR ");
  EXPECT_EQ(from("AOI", 7), "AOI AOJ AOK AOL AOS AOT AOU ");
  // Each I/O function is followed by its two limits; the creep and power items end it.
  EXPECT_EQ(from("IOA", 6), "IOA ILA ILB IOB ILC ILD ");
  EXPECT_EQ(from("IOH", 12), "IOH ILO ILP CCA CCB CCC PWA PWB PWC PWD TMA TMB ");
  EXPECT_EQ(names.front(), "UCA");
  EXPECT_EQ(names.back(), "TMB");
  EXPECT_EQ(names.size(), 104u);
}

TEST(CatalogueData, KstCommentsAsTheTechnicianReadsThem) {
  std::string kst = tm_info_catalogue_for(kTmKst, 150, "3", "");
  for (const char* item :
       {"|SCE Cofiguration flags|", "|PWB Inititial Power Duty (60MHz)|",
        "|AOM Analog 1 +10 V (DACCNT)|", "|AOU Analog 3 -10 V (DACCNT)|", "|IOC I/O 3 function|",
        "|ILF I/O 3 Lo Limit (FS)|", "|CE1E Adjustment Point 4 Load (FS)|",
        "|TCF Shunt Span Compensation (gain/degF)|######################### Speed|UN2 ",
        "|CF3B LEAVE AT 400000000|######################### Analog Outputs|AOA ",
        // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): adjacent items, one text
        "|AOU Analog 3 -10 V (DACCNT)|######################### I/O|"
        "### 1=+CAL 2=-CAL 3=TARE 4=CLEAR_TARE 5=RESET|"
        "### 16=TORQUE_IN_LIMIT 17=SPEED_IN_LIMIT 18=TEMP_OK 19=POWER_IN_LIMIT|IOA",
        "|TM[A-B] Stator Temp Span Compensation"})
    EXPECT_NE(kst.find(item), std::string::npos) << item;
}

TEST(CatalogueData, KslwSetsWithEqualsAndHasNoIoGroup) {
  std::string kslw = tm_info_catalogue_for(kTmKslw, 0, "3", "");
  for (const char* item :
       {"UCA= Pole0 Full Scale|", "|UIB Serial Number|", "|DS3 Display Scaling|",
        "|CE3A Full Scale (Hp)|", "|UN2= Speed Unit Name|", "|AOM= Analog 1 +10 V (DACCNT)|",
        "|TCB= Temp Compensation (A2DCNT/degF)|",
        // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): adjacent items, one text
        "|CCC= Creep Compensation Filter Shift|"
        "PWA= Power Coeffient|TM[A-B]= Stator Temp Span Compensation"})
    EXPECT_NE(kslw.find(item), std::string::npos) << item;
  auto names = names_of(kslw);
  for (const char* n : {"TA=", "CE1D=", "CF1E=", "IOA", "IOA=", "PWB="})
    EXPECT_FALSE(has(names, n)) << n;
  EXPECT_TRUE(has(names, "CF1C="));
}

TEST(CatalogueData, RunTimePartsOfRdxAndHzym) {
  auto rdx141 = names_of(tm_info_catalogue_for(kTmRdx, 141, "", ""));
  auto rdx142 = names_of(tm_info_catalogue_for(kTmRdx, 142, "", ""));
  EXPECT_FALSE(has(rdx141, "CFH"));
  EXPECT_EQ(rdx142.size(), rdx141.size() + 2);
  auto cfg = std::find(rdx142.begin(), rdx142.end(), "CFG");
  ASSERT_LT(cfg + 3, rdx142.end());
  EXPECT_EQ(*(cfg + 1) + *(cfg + 2) + *(cfg + 3), "CFHCFITCA");
  EXPECT_EQ(rdx142.back(), "PWB==");

  auto one = names_of(tm_info_catalogue_for(kTmHzym, 0, "", "0002"));
  auto three = names_of(tm_info_catalogue_for(kTmHzym, 0, "", "0003"));
  EXPECT_EQ(one.back(), "HS2");
  EXPECT_EQ(three.back(), "CC3A");
  EXPECT_EQ(three.size(), one.size() + 12);

  for (int32_t family : {kTmS350, kTmS350Plus, kTmFga, kTmNone})
    EXPECT_EQ(tm_info_catalogue_for(family, 0, "3", ""), "") << family;
  EXPECT_EQ(names_of(tm_info_catalogue_for(kTmKsvm, 0, "", "")).size(), 19u);
  EXPECT_EQ(names_of(tm_info_catalogue_for(kTmWqpm, 0, "", "")).size(), 50u);
}

TEST_F(CatalogueTest, TheKstCatalogueAsksTheChannelCount) {
  sim.config.channels = 2;
  std::string catalogue = tm_info_catalogue(kTmKst, 150);
  EXPECT_EQ(requests(), (std::vector<std::string>{"SD"}));
  EXPECT_EQ(catalogue, tm_info_catalogue_for(kTmKst, 150, "2", ""));
}

}  // namespace
}  // namespace ovn::test
