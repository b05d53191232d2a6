#include <gtest/gtest.h>

#include "monitor/strip_chart.h"

namespace ovn {
namespace {

TEST(ReadableColor, EveryPaletteColourReadsOnLightMiddleAndDarkGrounds) {
  // White, the usual window grey, a middle grey just on each side of the turn from black
  // to white ink, and black.
  for (int32_t ground : {0xFFFFFF, 0xEFEFEF, 0x777777, 0x747474, 0x000000}) {
    for (int i = 0; i < 16; ++i) {
      const int32_t pen = palette_color(i);
      const int32_t ink = readable_color(pen, ground);
      EXPECT_GE(contrast_ratio(ink, ground), 4.5) << std::hex << pen << " on " << ground;
      if (contrast_ratio(pen, ground) >= 4.5) {
        EXPECT_EQ(ink, pen) << std::hex << pen;
      }
    }
  }
}

TEST(ReadableColor, ContrastRatioMatchesTheGuidelinesFigures) {
  EXPECT_NEAR(contrast_ratio(0x000000, 0xFFFFFF), 21.0, 1e-9);
  EXPECT_NEAR(contrast_ratio(0xFFFFFF, 0x000000), 21.0, 1e-9);
  EXPECT_NEAR(contrast_ratio(0x767676, 0xFFFFFF), 4.54, 0.01);  // the lightest grey that reads
  EXPECT_NEAR(contrast_ratio(0x00FFFF, 0xFFFFFF), 1.07, 0.01);  // yellow (blue byte first)
  // A bright yellow pen on the window grey keeps its hue, only darker.
  const int32_t ink = readable_color(0x00FFFF, 0xEFEFEF);
  EXPECT_EQ(ink & 0xFF0000, 0);
  EXPECT_EQ(ink & 0xFF, (ink >> 8) & 0xFF);
  EXPECT_LT(ink & 0xFF, 0x90);
}

}  // namespace
}  // namespace ovn
