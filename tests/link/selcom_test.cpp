#include "link/selcom.h"

#include <gtest/gtest.h>

#include "foundation/settings.h"
#include "instrument/family.h"
#include "support/sim_line.h"

namespace ovn::test {
namespace {

class SelcomTest : public SimLineTest {
 protected:
  // The families in the order the search opened the port for them, by the open log line
  // "<name> as <baud> baud <settings> set to COM<n> " or its failure.
  std::vector<std::string> families_tried() const {
    std::vector<std::string> out;
    for (const std::string& line : log_texts()) {
      size_t as = line.find(" as ");
      if (as != std::string::npos &&
          (line.find(" set to COM") != std::string::npos ||
           line.find(" failed to set baudrate at ") != std::string::npos))
        out.push_back(line.substr(0, as));
    }
    return out;
  }
};

TEST_F(SelcomTest, TheAutomaticSearchFindsAKstAndLeavesItsAddressSet) {
  build(SimFamily::Kst, 'B');
  selcom_load(port);
  int32_t found = 0;
  ASSERT_TRUE(selcom_opened_and_talking(kTmNone, "", found));
  EXPECT_EQ(found, kTmKst);
  EXPECT_EQ(families_tried(), (std::vector<std::string>{"RDX", "WQPM", "KSVM", "KSTM"}));
  EXPECT_TRUE(logged("KSTM:1104:Exit selcom_opened_and_talking"));
  EXPECT_TRUE(logged("KSTM as 115200 baud 115200,n,8,1 set to COM1 "));
  EXPECT_EQ(frm_selcom().caption, "Choose COM port for KST");
  EXPECT_EQ(selcom_key(), "KST");
  EXPECT_EQ(rs232_id(), "B");
  EXPECT_TRUE(port.is_open());
  EXPECT_TRUE(frm_selcom().ls_id.visible);
  EXPECT_EQ(port.baud(), 115200);
}

TEST_F(SelcomTest, SearchingAutomaticallyOnAnS350PlusFailsAndNamingItSucceeds) {
  build(SimFamily::S350Plus, 'A', 38400);
  selcom_load(port);
  int32_t found = 0;
  EXPECT_FALSE(selcom_opened_and_talking(kTmNone, "", found));
  EXPECT_EQ(found, kTmNone);
  // S350+ is never in the automatic order, and the pass ends after S350.
  EXPECT_EQ(families_tried(), (std::vector<std::string>{"RDX", "WQPM", "KSVM", "KSTM", "KSLW",
                                                        "FGA1000", "HZYM", "350"}));
  const std::string& info = frm_selcom().lb_info.caption;
  EXPECT_NE(info.find("38400,n,8,1 w/ 350 Bad Response:"), std::string::npos) << info;
  EXPECT_NE(info.find("115200,n,8,1 w/ WQPM:Bad Response to CCA::COM1\r\n"), std::string::npos)
      << info;
  EXPECT_EQ(info.rfind("115200,n,8,1 w/ RDX Bad Response AVR:", 0), 0u) << info;
  EXPECT_EQ(frm_selcom().caption, "Choose COM port for S350");
  EXPECT_TRUE(op.shown.empty());

  // The S350 families take the present baud: here the 38400 of the last family tried.
  ASSERT_TRUE(selcom_opened_and_talking(kTmS350Plus, "", found));
  EXPECT_EQ(found, kTmS350Plus);
  EXPECT_EQ(frm_selcom().caption, "Choose COM port for S350+");
  EXPECT_TRUE(logged("350+:1108:Exit selcom_opened_and_talking"));
}

TEST_F(SelcomTest, AnS350WithNoBaudEverSetIsSkippedWithoutTouchingTheLine) {
  build(SimFamily::S350);
  selcom_load(port);
  int32_t found = 0;
  EXPECT_FALSE(selcom_opened_and_talking(kTmS350, "", found));
  EXPECT_EQ(frm_selcom().lb_info.caption, "Unable to open COM1:Baudrate (0) < 0\r\n");
  EXPECT_TRUE(sent().empty());
  EXPECT_FALSE(port.is_open());
  // Once a family has set a rate, the S350 is probed at it.
  build(SimFamily::S350, 'C');
  EXPECT_FALSE(selcom_opened_and_talking(kTmKst, "", found));
  ASSERT_TRUE(selcom_opened_and_talking(kTmS350, "", found));
  EXPECT_EQ(rs232_id(), "C");
}

TEST_F(SelcomTest, ThePortListHoldsThePortsThatOpenAndAllThirtyTwoWithoutTheScan) {
  PortRack rack(port, {2, 3, 17}, 3);
  selcom_load(rack);
  EXPECT_EQ(frm_selcom().ls_comport.items, (std::vector<std::string>{"COM2", "COM3", "COM17"}));
  EXPECT_EQ(frm_selcom().port_numbers, (std::vector<int>{2, 3, 17}));
  EXPECT_EQ(rack.opens, 3);
  EXPECT_FALSE(rack.is_open());
  EXPECT_EQ(rack.port_number(), 1);  // the stored port, default 1, not listed
  EXPECT_EQ(frm_selcom().ls_comport.list_index, -1);
  // The ID list: "None", "*" and the 52 letters, hidden until a family with an ID is tried.
  const std::vector<std::string>& ids = frm_selcom().ls_id.items;
  ASSERT_EQ(ids.size(), 54u);
  EXPECT_EQ(ids[0], "None");
  EXPECT_EQ(ids[1], "*");
  EXPECT_EQ(ids[2], "A");
  EXPECT_EQ(ids[27], "Z");
  EXPECT_EQ(ids[28], "a");
  EXPECT_EQ(ids[53], "z");
  EXPECT_FALSE(frm_selcom().ls_id.visible);
  EXPECT_FALSE(frm_selcom().btn_ip.visible);

  set_command_line("ovn-kst -nologo -nocommportscan");
  rack.opens = 0;
  selcom_load(rack);
  ASSERT_EQ(frm_selcom().ls_comport.items.size(), 32u);
  EXPECT_EQ(frm_selcom().ls_comport.items[31], "COM32");
  EXPECT_EQ(frm_selcom().port_numbers[31], 32);
  EXPECT_EQ(rack.opens, 0);
}

TEST_F(SelcomTest, AStoredPortThatWasRemovedLeavesTheListUnselectedAndRetryFindsTheChosenPort) {
  build(SimFamily::Kst);
  PortRack rack(port, {1, 3}, 3);
  kw_setting_put("KST", "Communications", "COM Port", "7");
  op.expect_selcom("Choose COM port for KST", SelcomChoice::Retry, [](FrmSelcom& form) {
    EXPECT_EQ(form.ls_comport.items, (std::vector<std::string>{"COM1", "COM3"}));
    EXPECT_EQ(form.ls_comport.list_index, -1);
    EXPECT_EQ(form.lb_info.caption.rfind("Unable to open COM7:", 0), 0u) << form.lb_info.caption;
    selcom_ls_comport_click(1);
  });
  EXPECT_EQ(rs232_open_instrument(kTmKst, "", 0, rack), kTmKst);
  EXPECT_EQ(rack.port_number(), 3);
  EXPECT_EQ(kw_setting_get("KST", "Communications", "COM Port", ""), "3");
  EXPECT_TRUE(logged("REG READ COMPORT 7"));
  EXPECT_TRUE(logged("REG SAVE COMPORT KST:3"));
  EXPECT_EQ(log_texts().back(), "Done Opening");
}

TEST_F(SelcomTest, TheDialogComesAfterAFailedPassAndRetrySearchesAgain) {
  build(SimFamily::Ksvm);
  port.drop_replies(2);  // the first pass's two sends of "VR" go unanswered
  op.expect_selcom("KSVM No/Bad Response to VR:", SelcomChoice::Retry);
  EXPECT_EQ(rs232_open_instrument(kTmKsvm, "", 0, port), kTmKsvm);
  EXPECT_EQ(op.shown.size(), 1u);
  EXPECT_FALSE(frm_selcom().ls_id.visible);  // a KSVM has no ID
  EXPECT_EQ(rs232_id(), "");
  EXPECT_EQ(sent(), (std::vector<std::string>{"VR", "VR", "VR", "VR"}));
  EXPECT_EQ(log_texts().back(), "Done Opening");

  // A port below 0 shows the form before anything is sent; closing it searches again.
  port.clear_transcript();
  op.expect_selcom("Choose COM port for KSVM", SelcomChoice::Closed,
                   [this](FrmSelcom&) { EXPECT_TRUE(sent().empty()); });
  EXPECT_EQ(rs232_open_instrument(kTmKsvm, "", -1, port), kTmKsvm);
  EXPECT_EQ(sent().size(), 2u);
}

TEST_F(SelcomTest, AbortEndsTheProcessAtOnce) {
  build(SimFamily::Kst);
  port.drop_replies(1000);
  op.expect_selcom("KST Bad Response CTMA:", SelcomChoice::Abort);
  EXPECT_PROCESS_EXIT(rs232_open_instrument(kTmKst, "", 0, port), 1);
  EXPECT_FALSE(logged("Done Opening"));
}

TEST_F(SelcomTest, TheIdChosenAtRetryIsStoredOrForgotten) {
  build(SimFamily::Kst);
  selcom_load(port);
  int32_t found = 0;
  ASSERT_TRUE(selcom_opened_and_talking(kTmKst, "", found));  // key KST, ID list shown
  struct Case {
    bool visible;
    int row;
    std::string id;  // what the exchange and the setting get; "" deletes the setting
  } cases[] = {
      {true, 3, "B"}, {true, 1, "*"}, {true, 0, ""},  {true, 29, "b"},
      {true, -1, ""}, {false, 3, ""}, {true, 2, "A"},
  };
  for (const Case& c : cases) {
    kw_setting_put("KST", "Communications", "ID", "old");
    frm_selcom().ls_id.visible = c.visible;
    frm_selcom().ls_id.list_index = c.row;
    selcom_pick_id();
    EXPECT_EQ(rs232_id(), c.id) << c.row;
    EXPECT_EQ(kw_setting_get("KST", "Communications", "ID", "(deleted)"),
              c.id.empty() ? "(deleted)" : c.id)
        << c.row;
  }
  // The stored ID is the first candidate of the next search and is shown as the choice.
  build(SimFamily::Kst, 'b');
  kw_setting_put("KST", "Communications", "ID", "b");
  port.clear_transcript();
  ASSERT_TRUE(selcom_opened_and_talking(kTmKst, "", found));
  EXPECT_EQ(sent().front(), "bTMA");
  EXPECT_EQ(frm_selcom().ls_id.items[frm_selcom().ls_id.list_index], "b");
}

}  // namespace
}  // namespace ovn::test
