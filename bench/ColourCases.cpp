#include <cmath>

#include "Make.h"
#include "reference/Colour.h"

namespace bench {
namespace {

uint8_t* SomeTable() {
    static uint8_t table[256];
    for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(i * 37 + 11);
    return table;
}

cv::Mat SomeTableMat() { return cv::Mat(1, 256, CV_8U, SomeTable()).clone(); }

int ToGrey(uint32_t bpp) { return bpp == 24 ? cv::COLOR_BGR2GRAY : cv::COLOR_BGRA2GRAY; }
int FromGrey(uint32_t bpp) { return bpp == 24 ? cv::COLOR_GRAY2BGR : cv::COLOR_GRAY2BGRA; }

void AddTables(uint32_t bpp) {
    AddInPlace(
        "Lut", bpp, "colour", bpp == 32 ? "<" : "=", "LUT", [](IVEL* image) { Colours()->Lut(image, SomeTable()); },
        [](cv::Mat& m) { cv::LUT(m, SomeTableMat(), m); }, [](ref::Image& image) { ref::Lut(image, SomeTable()); });
    AddInPlace(
        "Gamma", bpp, "colour", bpp == 32 ? "<" : "=", "table and LUT",
        [](IVEL* image) { Colours()->Gamma(image, 1.02f); },
        [](cv::Mat& m) {
            cv::Mat table(1, 256, CV_8U);
            for (int i = 0; i < 256; ++i)
                table.at<uint8_t>(i) = cv::saturate_cast<uint8_t>(255 * std::pow(i / 255.0, 1 / 1.02));
            cv::LUT(m, table, m);
        },
        [](ref::Image& image) { ref::Gamma(image, 1.02f); });
    AddInPlace(
        "Light", bpp, "colour", bpp == 32 ? "<" : "=", "convertTo", [](IVEL* image) { Colours()->Light(image, 1, 1); },
        [](cv::Mat& m) { m.convertTo(m, -1, 1.01, -0.28); }, [](ref::Image& image) { ref::Light(image, 1, 1); });
}

void AddSimple(uint32_t bpp) {
    AddInPlace(
        "Negative", bpp, "colour", bpp == 32 ? "<" : "=", "bitwise_not",
        [](IVEL* image) { Colours()->Negative(image); }, [](cv::Mat& m) { cv::bitwise_not(m, m); },
        [](ref::Image& image) { ref::Negative(image); });
    AddTables(bpp);
    AddInPlace(
        "GrayScale", bpp, "colour", "~", bpp == 8 ? "filter2D 3x1" : "cvtColor to grey and back (luma)",
        [](IVEL* image) { Colours()->GrayScale(image); },
        [=](cv::Mat& m) {
            static cv::Mat grey;
            if (bpp == 8) {
                static const cv::Mat kernel = (cv::Mat_<float>(1, 3) << 0.114f, 0.587f, 0.299f);
                cv::filter2D(m, grey, -1, kernel);
            } else {
                cv::cvtColor(m, grey, ToGrey(bpp));
                cv::cvtColor(grey, m, FromGrey(bpp));
            }
        },
        [](ref::Image& image) { ref::GrayScale(image); });
    AddInPlace(
        "ShiftRGB", bpp, "colour", "=", bpp == 8 ? "LUT" : "add of a scalar",
        [](IVEL* image) { Colours()->ShiftRGB(image, 3, -2, 1); },
        [=](cv::Mat& m) {
            if (bpp == 8) {
                cv::LUT(m, SomeTableMat(), m);
            } else {
                cv::add(m, cv::Scalar(1, -2, 3, 0), m);
            }
        },
        [](ref::Image& image) { ref::ShiftRGB(image, 3, -2, 1); });
    AddInPlace(
        "Threshold", bpp, "colour", "~", bpp == 8 ? "filter2D 3x1 and threshold" : "cvtColor, threshold, cvtColor",
        [](IVEL* image) { Colours()->Threshold(image, 100); },
        [=](cv::Mat& m) {
            static cv::Mat grey;
            if (bpp == 8) {
                static const cv::Mat kernel = (cv::Mat_<float>(1, 3) << 0.114f, 0.587f, 0.299f);
                cv::filter2D(m, grey, -1, kernel);
                cv::threshold(grey, m, 100, 255, cv::THRESH_BINARY);
            } else {
                cv::cvtColor(m, grey, ToGrey(bpp));
                cv::threshold(grey, grey, 100, 255, cv::THRESH_BINARY);
                cv::cvtColor(grey, m, FromGrey(bpp));
            }
        },
        [](ref::Image& image) { ref::Threshold(image, 100); });
}

// Lightness by channels, then one table a channel: the peer's shortest way to the same colours.
void PeerColorize(cv::Mat& m, double blend) {
    static cv::Mat tables, light, high, low, tinted;
    if (tables.empty()) {
        tables = cv::Mat(1, 256, CV_8UC3);
        for (int i = 0; i < 256; ++i)
            tables.at<cv::Vec3b>(i) = {uint8_t(i / 2), uint8_t(i), uint8_t(255 - (255 - i) / 2)};
    }
    std::vector<cv::Mat> channels;
    cv::split(m, channels);
    cv::max(channels[0], channels[1], high);
    cv::max(high, channels[2], high);
    cv::min(channels[0], channels[1], low);
    cv::min(low, channels[2], low);
    cv::addWeighted(high, 0.5, low, 0.5, 0, light);
    cv::merge(std::vector<cv::Mat>{light, light, light}, tinted);
    cv::LUT(tinted, tables, tinted);
    if (blend < 1) {
        if (m.channels() == 3) cv::addWeighted(tinted, blend, m, 1 - blend, 0, m);
    } else if (m.channels() == 3) {
        tinted.copyTo(m);
    }
}

void AddColorize(uint32_t bpp) {
    for (const float blend : {1.0f, 0.5f}) {
        AddInPlace(
            blend == 1.0f ? "Colorize" : "ColorizeBlend", bpp, "colour", bpp == 24 ? "=" : "<",
            "split, max, min, addWeighted, merge, LUT",
            [=](IVEL* image) { Colours()->Colorize(image, 30, 120, blend); },
            [=](cv::Mat& m) {
                if (bpp == 8) {
                    cv::LUT(m, SomeTableMat(), m);
                } else {
                    PeerColorize(m, blend);
                }
            },
            [=](ref::Image& image) { ref::Colorize(image, 30, 120, blend); });
    }
    if (bpp == 8) AllCases().back().peerCall = (AllCases().end() - 2)->peerCall = "LUT";
}

void AddAlpha() {
    AddInPlace(
        "SetAlpha", 32, "colour", "=", "insertChannel", [](IVEL* image) { Colours()->SetImageAlpha(image, 200, 0); },
        [](cv::Mat& m) {
            static cv::Mat alpha;
            if (alpha.size() != m.size()) alpha = cv::Mat(m.size(), CV_8U, cv::Scalar(200));
            cv::insertChannel(alpha, m, 3);
        },
        [](ref::Image& image) { ref::SetImageAlpha(image, 200); });
    const auto mask = [](const cv::Mat& m) {
        static cv::Mat found;
        cv::inRange(m, cv::Scalar(90, 100, 110, 0), cv::Scalar(90, 100, 110, 255), found);
        return found;
    };
    AddInPlace(
        "AlphaKey", 32, "colour", "=", "inRange, bitwise_not, insertChannel",
        [](IVEL* image) { Colours()->SetImageAlphaTransparency(image, 255, 0x005A646E); },
        [=](cv::Mat& m) {
            cv::Mat found = mask(m);
            cv::bitwise_not(found, found);
            cv::insertChannel(found, m, 3);
        },
        [](ref::Image& image) { ref::SetImageAlphaTransparency(image, 255, 0x005A646E); });
    AddInPlace(
        "KeyPixel", 32, "colour", "=", "inRange, setTo with a mask",
        [](IVEL* image) { Colours()->SetImageTransparentPixel(image, 0x005A646E); },
        [=](cv::Mat& m) { m.setTo(cv::Scalar(90, 100, 110, 0), mask(m)); },
        [](ref::Image& image) { ref::SetImageTransparentPixel(image, 0x005A646E); });
}

}  // namespace

void AddColourCases() {
    for (const uint32_t bpp : {24u, 8u, 32u}) {
        AddSimple(bpp);
        AddColorize(bpp);
    }
    AddAlpha();
}

}  // namespace bench
