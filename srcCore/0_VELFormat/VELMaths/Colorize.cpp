#include "Colorize.h"

#include "Kernels/Kernels.h"
#include "PixelRows.h"
#include "VELColorTransform.h"

using vel::ImageView;

namespace {

// A channel as a share of its angle, from m1 to m2 and back around the circle.
float ChannelValue(float m1, float m2, float angle) {
    if (angle < 60.0f) return m1 + (m2 - m1) * angle / 60.0f;
    if (angle < 180.0f) return m2;
    if (angle < 240.0f) return m1 + (m2 - m1) * (240.0f - angle) / 60.0f;
    return m1;
}

float Reduced(float angle) { return angle > 360.0f ? angle - 360.0f : angle < 0.0f ? angle + 360.0f : angle; }

uint32_t ChannelByte(float value) { return static_cast<uint32_t>(static_cast<int32_t>(value * 255.0f)) & 0xFF; }

}  // namespace

uint32_t HSLtoRGB(RGBQUAD hsl) {
    const float lightness = hsl.rgbBlue / 255.0f, saturation = hsl.rgbGreen / 255.0f;
    if (saturation == 0.0f) {
        const uint32_t grey = ChannelByte(lightness);
        return vel::ColourWord(grey, grey, grey, hsl.rgbReserved);
    }
    const float m2 =
        lightness <= 0.5f ? lightness * (1.0f + saturation) : lightness + saturation - lightness * saturation;
    const float m1 = 2.0f * lightness - m2;
    const float hue = hsl.rgbRed * 360.0f / 255.0f;
    const auto channel = [&](float angle) { return ChannelByte(ChannelValue(m1, m2, Reduced(angle))); };
    return vel::ColourWord(channel(hue - 120.0f), channel(hue), channel(hue + 120.0f), hsl.rgbReserved);
}

namespace {

constexpr int kFullWeight = 256;

// 256ths of the tint in the mix: all of it above 0.999, at most 255 below. NaN counts as no tint.
int WeightOf(float blend) {
    const float share = blend > 0.0f ? (blend < 1.0f ? blend : 1.0f) : 0.0f;
    return share > 0.999f ? kFullWeight : static_cast<int>(share * 256.0f);
}

// The tint of every lightness. A pixel takes part through its lightness alone.
void FillTints(uint8_t hue, uint8_t saturation, vel::TintTable& table) {
    for (int lightness = 0; lightness < 256; ++lightness) {
        const uint32_t colour = HSLtoRGB({static_cast<uint8_t>(lightness), saturation, hue, 0});
        table.colour[lightness] = colour;
        table.blue[lightness] = static_cast<uint8_t>(vel::BlueOf(colour));
        table.green[lightness] = static_cast<uint8_t>(vel::GreenOf(colour));
        table.red[lightness] = static_cast<uint8_t>(vel::RedOf(colour));
    }
}

// A grey stays a grey, the one nearest to its tint: a table from index to index.
void TintIndexes(const ImageView& view, const vel::TintTable& tints, int weight) {
    uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
        const auto mixed = [&](uint8_t tint) {
            return static_cast<uint32_t>((i * (kFullWeight - weight) + tint * weight) >> 8);
        };
        const uint32_t sum = mixed(tints.blue[i]) + mixed(tints.green[i]) + mixed(tints.red[i]);
        table[i] = static_cast<uint8_t>(vel::NearestGreyIndex(sum));
    }
    vel::MapIndexRows(view, table);
}

void TintColours(const ImageView& view, const vel::TintTable& tints, int weight) {
    const auto& kernels = vel::Kernels().Colour();
    const auto tint = view.HasAlpha() ? kernels.TintRow32 : kernels.TintRow24;
    const auto blend = view.HasAlpha() ? kernels.BlendTintRow32 : kernels.BlendTintRow24;
    for (uint32_t y = 0; y < view.height; ++y) {
        if (weight == kFullWeight) {
            tint(view.Row(y), view.width, &tints);
        } else {
            blend(view.Row(y), view.width, &tints, weight);
        }
    }
}

}  // namespace

HRESULT CVELColorTransform::Colorize(IVEL* image, unsigned char hue, unsigned char saturation, float blend) {
    if (!image) return E_FAIL;
    const ImageView view = vel::ViewOf(image);
    const int weight = WeightOf(blend);
    if (view.Empty() || weight == 0) return S_OK;
    vel::TintTable tints;
    FillTints(hue, saturation, tints);
    if (view.Indexed()) TintIndexes(view, tints, weight);
    if (view.Coloured()) TintColours(view, tints, weight);
    return S_OK;
}
