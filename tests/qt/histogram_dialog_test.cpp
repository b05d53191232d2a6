// The live histogram window on the simulated KST: its timer fills the bars from the
// instrument, its controls reach the model, the mouse readout names the bar under it.
// With OVN_SCREENSHOT_DIR set (scripts/screenshots) it keeps a picture of the window.

#include "qt/histogram_dialog.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <cstdlib>

#include "adjust/noise_fixture.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "support/qt_application.h"

namespace ovn::test {
namespace {

class HistogramDialogTest : public NoiseTest {
 protected:
  HistogramDialogTest() { qt_application(); }
  FrmTmHistogram form(bool rate_form) {
    FrmTmHistogram h;
    h.rate_form = rate_form;
    h.caption = "Histogram " + tm_info_current_record().uid;
    h.max_uvpv_noise = tm_info_current_record().max_uvpv_noise;
    h.uvpv_per_raw = tm_info_current_record().uvpv_per_raw;
    h.read = [] { return tm_info_read_uvpv(kTmInfoCurrent); };
    histogram_reset(h);
    return h;
  }
};

TEST_F(HistogramDialogTest, TheTimerFillsTheBarsAndTheControlsReachTheModel) {
  open_kst(0.5);
  sim.physics.torque.a = 0;
  FrmTmHistogram h = form(false);
  h.cb_max_allow_noise = false;  // the width follows the filtered readings' own deviation
  qt::HistogramDialog dialog(h);
  dialog.resize(900, 560);
  dialog.show();
  for (int i = 0; i < 40; ++i) dialog.tick();
  EXPECT_GT(stts_num(h.record), 50);
  EXPECT_EQ(child<QLabel>(&dialog, "lb_count")->text().toStdString(), h.lb_count);
  EXPECT_EQ(child<QLabel>(&dialog, "lb_title")->text().toStdString(), h.title);
  dialog.mouse_at(static_cast<double>(h.highest));
  EXPECT_NE(child<QLabel>(&dialog, "lb_mouse")->text().toStdString().find(" readings"),
            std::string::npos);
  QApplication::processEvents();
  if (const char* shots = std::getenv("OVN_SCREENSHOT_DIR"))
    dialog.grab().save(QString(shots) + "/histogram.png");

  child<QCheckBox>(&dialog, "cb_cmd1")->setChecked(false);  // "Show Empty Buckets"
  EXPECT_FALSE(h.cb_show_empty);
  child<QCheckBox>(&dialog, "cb_cmd2")->setChecked(true);  // "*MaxAllowNoise": counted anew
  EXPECT_TRUE(h.cb_max_allow_noise);
  EXPECT_EQ(stts_num(h.record), 0);
  dialog.tick();
  child<QPushButton>(&dialog, "btn_reset")->click();
  EXPECT_TRUE(h.due);
  EXPECT_EQ(h.lb_count, "Readings:0  Max=0");
}

TEST_F(HistogramDialogTest, TheRateFormTakesItsBucketSizeAndAxisFromItsBoxes) {
  open_kst(0.5);
  FrmTmHistogram h = form(true);
  qt::HistogramDialog dialog(h);
  EXPECT_FALSE(child<QCheckBox>(&dialog, "cb_cmd2")->isEnabled());
  QLineEdit* size = child<QLineEdit>(&dialog, "txt_bucket_size");
  size->setText("5");
  emit size->editingFinished();
  EXPECT_EQ(h.txt_bucket_size, "5");
  QLineEdit* top = child<QLineEdit>(&dialog, "txt_yaxis");
  top->setText("30");
  emit top->editingFinished();
  for (int i = 0; i < 5; ++i) dialog.tick();
  EXPECT_DOUBLE_EQ(h.size, 5);
  EXPECT_EQ(histogram_y_top(h), 30);
}

}  // namespace
}  // namespace ovn::test
