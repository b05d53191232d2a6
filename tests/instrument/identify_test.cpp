#include "instrument/identify.h"

#include <gtest/gtest.h>

#include "foundation/settings.h"
#include "instrument/family.h"
#include "instrument/model_stems.h"
#include "support/sim_line.h"

namespace ovn::test {
namespace {

class IdentifyTest : public SimLineTest {};

// The baud each probe is made at; the S350 families are set to 115200 here.
long probe_baud(int32_t type) {
  return type == kTmHzym || type == kTmKsvm ? 38400 : 115200;
}

TEST_F(IdentifyTest, EveryFamilyAnswersItsOwnProbeAndOnlyKstAndKslwAnswerEachOther) {
  for (int32_t instrument = kTmWqpm; instrument <= kTmFga; ++instrument) {
    for (int32_t probe = kTmWqpm; probe <= kTmFga; ++probe) {
      build(static_cast<SimFamily>(instrument));
      rs232_reset_state();
      open_at(probe_baud(probe));
      std::string result = tm_identify(probe, "");
      bool alike =
          (instrument == kTmKst || instrument == kTmKslw) && (probe == kTmKst || probe == kTmKslw);
      bool expect_found = probe == instrument || alike;
      EXPECT_EQ(result.empty(), expect_found)
          << tm_info_family_name(probe) << " probe on a " << tm_info_family_name(instrument)
          << ": \"" << result << "\"";
      if (expect_found) {
        EXPECT_EQ(rs232_id(), tm_family_has_address(probe) ? "A" : "")
            << tm_info_family_name(probe);
      }
    }
  }
}

TEST_F(IdentifyTest, AnInstrumentAnsweringOnAddressBIsFoundAfterAFails) {
  open_at(115200);
  for (SimFamily family : {SimFamily::Kst, SimFamily::Rdx, SimFamily::S350}) {
    build(family, 'B');
    port.clear_transcript();
    int32_t type = static_cast<int32_t>(family);
    EXPECT_EQ(tm_identify(type, ""), "") << tm_info_family_name(type);
    EXPECT_EQ(rs232_id(), "B");
    ASSERT_EQ(sent().size(), 4u);
    EXPECT_EQ(sent()[0][0], 'A');
    EXPECT_EQ(sent()[3][0], 'B');
  }
}

TEST_F(IdentifyTest, AddressCandidatesAreTheRememberedIdThenTheCallersLettersThenAbc) {
  build(SimFamily::Rdx, 'Z');
  open_at(115200);
  // An empty list still tries A, B and C, two sends each.
  EXPECT_NE(tm_identify(kTmRdx, ""), "");
  EXPECT_EQ(sent(), (std::vector<std::string>{"AVR", "AVR", "BVR", "BVR", "CVR", "CVR"}));

  // Characters that are not letters are skipped; the remembered ID comes first.
  kw_setting_put("RDX", "Communications", "ID", "Q");
  EXPECT_EQ(tm_address_candidates(kTmRdx, "x1"), "Qx1ABC");
  port.clear_transcript();
  EXPECT_NE(tm_identify(kTmRdx, "x1"), "");
  std::vector<std::string> addresses;
  for (size_t i = 0; i < sent().size(); i += 2) addresses.push_back(sent()[i].substr(0, 1));
  EXPECT_EQ(addresses, (std::vector<std::string>{"Q", "x", "A", "B", "C"}));

  // The S350 families try every character, letter or not (the exchange makes "7" an "A").
  port.clear_transcript();
  tm_identify(kTmS350, "7");
  EXPECT_EQ(sent().size(), 8u);

  // Families without addressing probe with no ID at all.
  EXPECT_EQ(tm_address_candidates(kTmWqpm, "AB"), "");
  build(SimFamily::Wqpm);
  rs232_set_id("B");
  port.clear_transcript();
  EXPECT_EQ(tm_identify(kTmWqpm, "AB"), "");
  EXPECT_EQ(rs232_id(), "");
  EXPECT_EQ(sent(), (std::vector<std::string>{"CCA", "CCA"}));
}

TEST_F(IdentifyTest, AWqpmIsToldByTheLengthOfItsReplyWithTheLineEnd) {
  build(SimFamily::Wqpm);
  open_at(115200);
  struct Case {
    std::string reply;
    std::string result;
  } cases[] = {{"1234567", "WQPM:Bad Response to CCA:1234567\r"},  // 8 with the CR
               {"12345678", ""},                                   // 9
               {"abc de!?", ""},                                   // 9, whatever the characters
               {"123456789", "WQPM:Bad Response to CCA:123456789\r"}};
  for (const Case& c : cases) {
    sim.table["CCA"] = c.reply;
    EXPECT_EQ(tm_identify(kTmWqpm, ""), c.result) << c.reply;
  }
}

TEST_F(IdentifyTest, WrongRepliesAreToldInTheFamilysOwnWords) {
  struct Case {
    SimFamily family;
    std::string message, reply;
    int32_t probe;
    std::string result;
  } cases[] = {
      {SimFamily::Rdx, "VR", "I1m142", kTmRdx,
       "RDX Bad Response AVR:I1m142\r\nRDX Bad Response BVR:\r\nRDX Bad Response CVR:\r\n"},
      {SimFamily::Hzym, "VR", "1.x.4", kTmHzym, "HZYM No/Bad Response to VR:1.x.4\r"},
      {SimFamily::Hzym, "VR", "1.5", kTmHzym, "HZYM No/Bad Response to VR:1.5\r"},
      {SimFamily::Hzym, "VR", "1a5b7", kTmHzym, ""},
      {SimFamily::Ksvm, "VR", "20 5", kTmKsvm, "KSVM No/Bad Response to VR:20 5"},
      {SimFamily::Ksvm, "VR", "-2.5E3", kTmKsvm, ""},
      {SimFamily::S350, "VR", "Model 35a v7", kTmS350, "350 Bad Response:"},
      {SimFamily::S350, "VR", "Model 350 v7", kTmS350Plus, "350 Bad Response:"},
      {SimFamily::S350Plus, "VR", "Model 350+v7", kTmS350, "350 Bad Response:"},
      {SimFamily::S350Plus, "VR", "Model 977+", kTmS350Plus, ""},
      {SimFamily::Fga, "v", "encal 3000", kTmFga, "FGA No/Bad Response to v:encal 3000\r"}};
  for (const Case& c : cases) {
    build(c.family);
    rs232_reset_state();
    open_at(probe_baud(c.probe));
    sim.table[c.message] = c.reply;
    EXPECT_EQ(tm_identify(c.probe, ""), c.result) << c.reply;
  }
}

TEST_F(IdentifyTest, ASilentLineCostsOneReplyWaitPerSendAndNeverAsksTheOperator) {
  build(SimFamily::Kst);
  open_at(115200);
  port.drop_replies(1000);
  struct Case {
    int32_t type;
    double ms;  // 103 ms a send at 115200 unless the probe asks longer
    std::string result;
  } cases[] = {{kTmWqpm, 2 * 103, "WQPM:Bad Response to CCA:"},
               {kTmKst, 6 * 103,
                "KST Bad Response ATMA:\r\nKST Bad Response BTMA:\r\nKST Bad Response CTMA:\r\n"},
               {kTmRdx, 6 * 103,
                "RDX Bad Response AVR:\r\nRDX Bad Response BVR:\r\nRDX Bad Response CVR:\r\n"},
               {kTmHzym, 2 * 103, "HZYM No/Bad Response to VR:"},
               {kTmKsvm, 2 * 103, "KSVM No/Bad Response to VR:"},
               {kTmS350Plus, 6 * 103, "350 Bad Response:"},
               {kTmFga, 200 + 500, "FGA No/Bad Response to v:"},
               {kTmNone, 0, ""},
               {1099, 0, "Bad Type:1099"},
               {1110, 0, "Bad Type:1110"}};
  for (const Case& c : cases) {
    double start = now_ms();
    EXPECT_EQ(tm_identify(c.type, ""), c.result) << c.type;
    EXPECT_NEAR(now_ms() - start, c.ms, 5) << c.type;
  }
  EXPECT_TRUE(op.shown.empty());
}

TEST(ModelFamily, AModelNumberGivesItsFamilyByStemAndAKslwGivesNone) {
  struct Case {
    const char* model;
    int32_t family;
  } cases[] = {{"1100(500)", kTmRdx},
               {"ZQVD2999B(5-2 lbf-in)", kTmRdx},
               {"1950(100)", kTmRdx},
               {"52004H(5-2 Nm)", kTmKst},
               {"ZQVD40000(1k lbf-in)", kTmKst},
               {"71234", kTmKst},
               {"61234V(20 Nm)", kTmKsvm},
               {"80001(1000 ozf-in)", kTmWqpm},
               {"ZQVD30001", kTmHzym},
               {"9880002V(5-2 Nm)", kTmNone},
               {"ZQVD9880002V(5-2 Nm)", kTmNone},
               {"520041(5 Nm)", kTmNone},
               {"1099(10)", kTmNone},
               {"XQVD52004", kTmNone},
               {"", kTmNone},
               {"52004 (5 Nm)", kTmNone}};
  for (const Case& c : cases) EXPECT_EQ(tm_info_family_from_model(c.model), c.family) << c.model;

  // The KSLW stems exist; they are only never asked by the family test.
  EXPECT_TRUE(tm_model_in_stems(StemSet::Kslw, "ZQVD9880002V(5-2 Nm)"));
  // Force models are RDX models rated in lbf.
  EXPECT_TRUE(tm_model_in_stems(StemSet::Force, "1950(100)"));
  EXPECT_TRUE(tm_model_in_stems(StemSet::Rdx, "1950(100)"));
  EXPECT_FALSE(tm_model_in_stems(StemSet::Force, "1850(100)"));
}

}  // namespace
}  // namespace ovn::test
