// The conversion that Colorize takes its tints from.
#include "Colorize.h"
#include "VELMathsHelpers.h"
#include "reference/Colour.h"
#include "reference/Pixel.h"
#include "support/Images.h"

namespace {

TEST(HueSaturationLightness, EveryQuadAgainstReference) {
    for (uint32_t hue = 0; hue < 256; ++hue) {
        for (uint32_t saturation = 0; saturation < 256; ++saturation) {
            for (uint32_t lightness = 0; lightness < 256; ++lightness) {
                const uint32_t quad = ref::ColourOf(lightness, saturation, hue, (hue + lightness) & 255);
                ASSERT_EQ(HSLtoRGB(vel::QuadOf(quad)), ref::HSLtoRGB(quad))
                    << "hue " << hue << ", saturation " << saturation << ", lightness " << lightness;
            }
        }
    }
}

TEST(HueSaturationLightness, Saturation0GivesTheLightnessBack) {
    for (uint32_t lightness = 0; lightness < 256; ++lightness) {
        EXPECT_EQ(HSLtoRGB(vel::QuadOf(ref::ColourOf(lightness, 0, 77, 200))),
                  ref::ColourOf(lightness, lightness, lightness, 200));
    }
}

TEST(HueSaturationLightness, TheEndsOfTheHueCircleAreTheSameRed) {
    // lightness 127 of 255 and full saturation: one channel at 254, the others at 0
    const auto full = [](uint32_t hue) { return HSLtoRGB(vel::QuadOf(ref::ColourOf(127, 255, hue, 0))); };
    EXPECT_EQ(full(0), ref::ColourOf(0, 0, 254, 0));
    EXPECT_EQ(full(255), ref::ColourOf(0, 0, 254, 0));
    EXPECT_EQ(full(85), ref::ColourOf(0, 254, 0, 0));
    EXPECT_EQ(full(170), ref::ColourOf(254, 0, 0, 0));
}

}  // namespace
