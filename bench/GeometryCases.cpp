#include <cmath>

#include "Make.h"
#include "reference/Geometry.h"

namespace bench {
namespace {

const ref::Host& ReferenceHost() {
    static const ref::Host host;
    return host;
}

// The peer's name for a method: it has four, so kernels of 4 x 4 taps meet its bicubic one and Lanczos its 8 x 8.
int PeerMethod(int method) {
    return method == 0 ? cv::INTER_NEAREST : method == 5 ? cv::INTER_LANCZOS4 : cv::INTER_CUBIC;
}
std::string PeerName(int method) { return method == 0 ? "nearest" : method == 5 ? "Lanczos 8x8" : "bicubic"; }

void AddTurns(uint32_t bpp) {
    AddFilterLike(
        "Flip", bpp, "turn", "=", "flip", [](IVEL* src, IVEL** dest) { Transforms()->Flip(src, dest); },
        [](const cv::Mat& src, cv::Mat& dst) { cv::flip(src, dst, 0); },
        [](const ref::Image& image) { ref::Flip(image, ReferenceHost()); });
    AddFilterLike(
        "Mirror", bpp, "turn", "=", "flip", [](IVEL* src, IVEL** dest) { Transforms()->Mirror(src, dest); },
        [](const cv::Mat& src, cv::Mat& dst) { cv::flip(src, dst, 1); },
        [](const ref::Image& image) { ref::Mirror(image, ReferenceHost()); });
    if (bpp != 8) {
        AddInPlace(
            "FlipBits", bpp, "turn", "=", "cvtColor", [](IVEL* image) { Transforms()->FlipBits(image); },
            [=](cv::Mat& mat) { cv::cvtColor(mat, mat, bpp == 24 ? cv::COLOR_BGR2RGB : cv::COLOR_BGRA2RGBA); },
            [](ref::Image& image) { ref::FlipBits(image); });
    }
    const struct {
        int angle, code;
    } turns[] = {{90, cv::ROTATE_90_CLOCKWISE}, {180, cv::ROTATE_180}, {270, cv::ROTATE_90_COUNTERCLOCKWISE}};
    for (const auto& turn : turns) {
        AddFilterLike(
            "Rot" + std::to_string(turn.angle), bpp, "turn", "=", "rotate",
            [=](IVEL* src, IVEL** dest) { Transforms()->Rotate(src, dest, turn.angle, 0, 0, 0); },
            [=](const cv::Mat& src, cv::Mat& dst) { cv::rotate(src, dst, turn.code); },
            [=](const ref::Image& image) { ref::Rotate4(image, turn.angle, ReferenceHost()); });
    }
}

void AddRotate(uint32_t bpp, int method) {
    AddFilterLike(
        "Rotate30.m" + std::to_string(method), bpp, "sampling", method == 0 ? "=" : "<",
        "warpAffine " + PeerName(method),
        [=](IVEL* src, IVEL** dest) { Transforms()->Rotate(src, dest, 30, method, 0, 1); },
        [=](const cv::Mat& src, cv::Mat& dst) {
            const cv::Mat turn = cv::getRotationMatrix2D({float(src.cols) / 2, float(src.rows) / 2}, 30, 1);
            cv::warpAffine(src, dst, turn, src.size(), PeerMethod(method));
        },
        [=](const ref::Image& image) { ref::Rotate(image, 30, method, false, true, ReferenceHost()); });
}

void AddPaste(uint32_t bpp, int method) {
    Case added;
    added.name = "Paste.m" + std::to_string(method);
    added.bitsPerPixel = bpp;
    added.family = "sampling";
    added.relation = "<";
    added.peerCall = "warpAffine " + PeerName(method) + ", transparent border";
    added.prepare = [=](Size size) {
        const SmartPtr<Picture> source = Photo(size, bpp);
        const SmartPtr<Picture> target = Photo(size, bpp, FormatOf(bpp), 2);
        constexpr double angle = 0.5235987755982988;
        Calls calls;
        calls.ours = [=] {
            Transforms()->RotatePaste(static_cast<IVELImageDIB*>(source.Get()),
                                      static_cast<IVELImageDIB*>(target.Get()), angle, method, 0);
        };
        auto result = std::make_shared<cv::Mat>(target->Mat().clone());
        calls.peer = [=] {
            // The same mapping: the turned box's top left corner at (0, 0).
            const double c = std::cos(angle), s = std::sin(angle);
            const cv::Mat turn = (cv::Mat_<double>(2, 3) << c, s, -s * double(size.height), -s, c, 0.0);
            cv::warpAffine(source->Mat(), *result, turn, result->size(), PeerMethod(method) | cv::WARP_INVERSE_MAP,
                           cv::BORDER_TRANSPARENT);
        };
        return calls;
    };
    added.reference = [=](Size size) -> std::function<void()> {
        auto source = std::make_shared<ref::Image>(ReferenceOf(*Photo(size, bpp).Get()));
        auto target = std::make_shared<ref::Image>(*source);
        return [=] { ref::RotatePaste(*source, *target, 0.5235987755982988, method, 0); };
    };
    AllCases().push_back(added);
}

void AddResize(uint32_t bpp) {
    const auto add = [=](const std::string& name, int numerator, int denominator, int method, int mode,
                         const std::string& relation) {
        const auto scaled = [=](uint32_t n) { return static_cast<int>(n) * numerator / denominator; };
        AddFilterLike(
            name, bpp, "resize", relation, "resize " + PeerName(method),
            [=](IVEL* src, IVEL** dest) {
                uint32_t w, h, planes;
                src->GetSize(&w, &h, &planes);
                Transforms()->Resample(src, dest, scaled(w), scaled(h), method, mode);
            },
            [=](const cv::Mat& src, cv::Mat& dst) {
                cv::resize(src, dst, {scaled(uint32_t(src.cols)), scaled(uint32_t(src.rows))}, 0, 0,
                           PeerMethod(method));
            },
            [=](const ref::Image& image) {
                ref::Resample(image, scaled(image.width), scaled(image.height), method, mode, ReferenceHost());
            })
            .pixelRatio = double(numerator) * numerator / (double(denominator) * denominator);
    };
    add("Shrink2.m0", 1, 2, 0, 0, "=");
    add("Shrink2.m4", 1, 2, 4, 0, "~");
    add("Shrink2.m5", 1, 2, 5, 0, "~");
    add("Shrink2.rep", 1, 2, 0, 1, "=");
    add("Enlarge2", 2, 1, 0, 0, "=");
}

void AddSkew(uint32_t bpp) {
    AddFilterLike(
        "Skew", bpp, "sampling", "=", "warpAffine nearest",
        [](IVEL* src, IVEL** dest) { Transforms()->Skew(src, dest, 0.2f, 0.1f, 0, 0, 0, 0); },
        [](const cv::Mat& src, cv::Mat& dst) {
            const cv::Mat shear = (cv::Mat_<double>(2, 3) << 1, 0.2, -0.1 * src.rows, 0.1, 1, -0.05 * src.cols);
            cv::warpAffine(src, dst, shear, src.size(), cv::INTER_NEAREST | cv::WARP_INVERSE_MAP);
        },
        [](const ref::Image& image) { ref::Skew(image, 0.2f, 0.1f, 0, 0, false, ReferenceHost()); });
}

void AddQuad(uint32_t bpp, bool interpolate) {
    const auto corners = [](double w, double h) {
        return std::array<double, 8>{0.1 * w, 0.15 * h, 0.9 * w, 0.05 * h, 0.05 * w, 0.9 * h, 0.95 * w, 0.85 * h};
    };
    AddFilterLike(
        interpolate ? "Quad.i" : "Quad.n", bpp, "sampling", "~",
        interpolate ? "warpPerspective linear" : "warpPerspective nearest",
        [=](IVEL* src, IVEL** dest) {
            uint32_t w, h, planes;
            src->GetSize(&w, &h, &planes);
            const auto c = corners(w, h);
            Transforms()->Quad(src, dest, c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], w, h, interpolate ? 1 : 0);
        },
        [=](const cv::Mat& src, cv::Mat& dst) {
            const auto c = corners(src.cols, src.rows);
            const cv::Point2f from[4] = {{float(c[0]), float(c[1])},
                                         {float(c[2]), float(c[3])},
                                         {float(c[4]), float(c[5])},
                                         {float(c[6]), float(c[7])}};
            const float w = float(src.cols), h = float(src.rows);
            const cv::Point2f to[4] = {{0, 0}, {w, 0}, {0, h}, {w, h}};
            cv::warpPerspective(src, dst, cv::getPerspectiveTransform(from, to), src.size(),
                                interpolate ? cv::INTER_LINEAR : cv::INTER_NEAREST);
        },
        [=](const ref::Image& image) {
            const auto c = corners(image.width, image.height);
            const double flat[8] = {c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7]};
            ref::QuadRegion(image, flat, image.width, image.height, interpolate ? 1 : 0, ReferenceHost());
        });
}

std::function<void()> BareMappings(Size size) {
    return [=] {
        ITransform* mapping = TurnMapping();
        double sum = 0;
        for (uint32_t y = 0; y < size.height; ++y) {
            for (uint32_t i = 0; i < size.width; ++i) {
                double u = i, v = y, w = 0;
                mapping->TransformPoint(&u, &v, &w);
                sum += u + v;
            }
        }
        volatile double sink = sum;
        (void)sink;
    };
}

void AddMapped(uint32_t bpp) {
    Case& pull = AddFilterLike(
        "Transform", bpp, "mapping", "<", "warpAffine nearest, no calls",
        [](IVEL* src, IVEL** dest) { Transforms()->Transform(TurnMapping(), src, dest, 0, 0, 0, 0, 0, 0); },
        [](const cv::Mat& src, cv::Mat& dst) {
            const cv::Mat map = (cv::Mat_<double>(2, 3) << 0.98, -0.17, 20, 0.17, 0.98, -15);
            cv::warpAffine(src, dst, map, src.size(), cv::INTER_NEAREST | cv::WARP_INVERSE_MAP);
        });
    pull.boundByCalls = true;
    pull.prepare = [inner = pull.prepare](Size size) {
        Calls calls = inner(size);
        calls.floor = BareMappings(size);
        return calls;
    };
    Case push;
    push.name = "TransformPaste";
    push.bitsPerPixel = bpp;
    push.family = "mapping";
    push.boundByCalls = true;
    push.prepare = [=](Size size) {
        const SmartPtr<Picture> source = Photo(size, bpp);
        const SmartPtr<Picture> target = Photo(size, bpp, FormatOf(bpp), 2);
        Calls calls;
        calls.ours = [=] {
            Transforms()->TransformPaste(TurnMapping(), static_cast<IVELImageDIB*>(source.Get()),
                                         static_cast<IVELImageDIB*>(target.Get()), 0, 0, 0, 0);
        };
        calls.floor = BareMappings(size);
        return calls;
    };
    AllCases().push_back(push);
    AddInPlace(
        "FillVoids", bpp, "mapping", "", "", [](IVEL* image) { FillVoids(image); }, {},
        [](ref::Image& image) { ref::FillVoids(image); });
}

void AddDepth(const std::string& name, uint32_t from, uint32_t to, bool palette, int code,
              const std::string& relation) {
    Case added;
    added.name = name;
    added.bitsPerPixel = from;
    added.family = "depth";
    added.relation = relation;
    added.peerCall = palette ? "cvtColor and LUT" : "cvtColor";
    added.prepare = [=](Size size) {
        const SmartPtr<Picture> photo = Photo(size, from);
        if (palette) {
            for (int i = 0; i < 256; ++i) {
                photo->palette.push_back({uint8_t(i), uint8_t(255 - i), uint8_t(i * 7), 0});
            }
        }
        Calls calls;
        calls.ours = [=] {
            IVEL* made = nullptr;
            Transforms()->IncreaseBpp(static_cast<IVELImageDIB*>(photo.Get()), &made, int(to), FormatOf(to));
            if (made) made->Release();
        };
        auto result = std::make_shared<cv::Mat>();
        auto table = std::make_shared<cv::Mat>(1, 256, CV_8UC3, cv::Scalar(1, 2, 3));
        calls.peer = [=] {
            cv::cvtColor(photo->Mat(), *result, code);
            if (palette) cv::LUT(*result, *table, *result);
        };
        return calls;
    };
    AllCases().push_back(added);
}

}  // namespace

void AddGeometryCases() {
    for (const uint32_t bpp : {24u, 8u, 32u}) {
        AddTurns(bpp);
        for (const int method : {0, 4, 9, 5}) AddRotate(bpp, method);
        if (bpp != 8) {
            AddPaste(bpp, 0);
            AddPaste(bpp, 4);
        }
        AddSkew(bpp);
        AddResize(bpp);
        AddQuad(bpp, false);
        if (bpp != 8) AddQuad(bpp, true);
        AddMapped(bpp);
    }
    AddDepth("Bpp8>24", 8, 24, false, cv::COLOR_GRAY2BGR, "=");
    AddDepth("Bpp8>32", 8, 32, false, cv::COLOR_GRAY2BGRA, "=");
    AddDepth("Bpp24>32", 24, 32, false, cv::COLOR_BGR2BGRA, "=");
    AddDepth("BppPal>24", 8, 24, true, cv::COLOR_GRAY2BGR, "=");
}

}  // namespace bench
