// The settings files as the program reads them, against 10,000 generated files with a fixed
// seed: random bytes, cut short, bytes changed, NUL and control characters in values,
// overlong lines. Every read ends; a stored port that cannot be a path is named and passed
// over, never handed to the system.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/settings.h"
#include "link/port_map.h"
#include "monitor/headless_operator.h"
#include "qt/qt_settings_store.h"
#include "support/qt_application.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn::test {
namespace {

TEST(SettingsFuzz, AnyIniFileIsReadAndADamagedPortIsPassedOver) {
  qt_application();
  TestSeams seams;
  TempDir dir;
  std::ostringstream boxes;
  HeadlessOperator op(FailurePolicy::Abort, boxes);
  set_operator(&op);
  const std::vector<std::string> seeds = {
      "[Ports]\nCOM1=/dev/ttyUSB0\nCOM2=/dev/serial/by-id/usb-FTDI-if00\n",
      std::string("[Ports]\nCOM1=/dev/tt\0y\n", 21), "[Settings]\nDisplay%20Mode=3\n",
      "[General]\nSplash=\"a,b\"\n[Ports]\nCOM3=\\x1\n"};
  std::mt19937_64 rng(20261125);
  auto pick = [&rng](size_t n) { return n == 0 ? 0 : static_cast<size_t>(rng() % n); };
  const std::string path = dir / (std::string(kSharedApp) + ".ini");
  for (int i = 0; i < 10000; ++i) {
    std::string text = seeds[pick(seeds.size())];
    switch (pick(5)) {
      case 0:
        text.clear();
        for (size_t n = pick(60); n > 0; --n) text += static_cast<char>(pick(256));
        break;
      case 1:
        text = text.substr(0, pick(text.size() + 1));
        break;
      case 2:
        if (!text.empty()) text[pick(text.size())] = static_cast<char>(pick(256));
        break;
      case 3:
        text.insert(pick(text.size() + 1), std::string(1 + pick(2000), 'x'));
        break;
      default:
        text.insert(pick(text.size() + 1), 1, static_cast<char>(pick(32)));
        break;
    }
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    qt::QtSettingsStore store(QString::fromStdString(dir.path()));
    set_settings_store(&store);
    for (int n = 1; n <= 4; ++n) {
      const std::string device = port_map_device(n, {});
      for (char c : device) ASSERT_GE(static_cast<unsigned char>(c), 0x20) << text;
    }
    (void)kw_setting_get("KST", "Settings", "Display Mode", "");
    set_settings_store(&seams.settings);
  }
  set_operator(nullptr);
  EXPECT_TRUE(seams.fatal_texts.empty());
}

}  // namespace
}  // namespace ovn::test
