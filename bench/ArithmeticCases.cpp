#include "Make.h"
#include "reference/Arithmetic.h"

namespace bench {
namespace {

// Two sources, a destination and a mask with hard-edged regions.
struct Four {
    SmartPtr<Picture> first, second, target, mask;
    IVEL* First() const { return static_cast<IVELImageDIB*>(first.Get()); }
    IVEL* Second() const { return static_cast<IVELImageDIB*>(second.Get()); }
    IVELImage* Target() const { return static_cast<IVELImageDIB*>(target.Get()); }
    IVEL* Mask() const { return static_cast<IVELImageDIB*>(mask.Get()); }
};

struct Formats {
    uint32_t firstBits, firstFormat, secondBits, secondFormat, targetBits, targetFormat;
};

std::shared_ptr<Four> MakeFour(Size size, const Formats& f) {
    auto four = std::make_shared<Four>();
    four->first = Photo(size, f.firstBits, f.firstFormat, 1);
    four->second = Photo(size, f.secondBits, f.secondFormat, 2);
    four->target = Photo(size, f.targetBits, f.targetFormat, 3);
    four->mask = Photo(size, 8, FORMAT_MONO, 4);
    for (size_t i = 0; i < four->mask->ByteCount(); ++i) {
        uint8_t& byte = four->mask->Bits()[i];
        byte = byte > 128 ? 255 : 0;
    }
    return four;
}

using OursCall = std::function<void(const Four&)>;
using PeerCall = std::function<void(const cv::Mat&, const cv::Mat&, cv::Mat&, const cv::Mat&)>;
using ReferenceCall = std::function<void(ref::Image&, const ref::Image&, const ref::Image&, const ref::Image&)>;

void Add(const std::string& name, uint32_t bpp, const Formats& formats, const std::string& relation,
         const std::string& peerCall, OursCall ours, PeerCall peer, ReferenceCall reference = {}) {
    Case added;
    added.name = name;
    added.bitsPerPixel = bpp;
    added.family = "arithmetic";
    added.relation = relation;
    added.peerCall = peerCall;
    added.prepare = [=](Size size) {
        const auto four = MakeFour(size, formats);
        Calls calls;
        calls.ours = [=] { ours(*four); };
        auto result = std::make_shared<cv::Mat>(four->target->Mat().clone());
        calls.peer = [=] { peer(four->first->Mat(), four->second->Mat(), *result, four->mask->Mat()); };
        return calls;
    };
    if (reference) {
        added.reference = [=](Size size) -> std::function<void()> {
            const auto four = MakeFour(size, formats);
            auto target = std::make_shared<ref::Image>(ReferenceOf(*four->target.Get()));
            auto first = std::make_shared<ref::Image>(ReferenceOf(*four->first.Get()));
            auto second = std::make_shared<ref::Image>(ReferenceOf(*four->second.Get()));
            auto mask = std::make_shared<ref::Image>(ReferenceOf(*four->mask.Get()));
            return [=] { reference(*target, *first, *second, *mask); };
        };
    }
    AllCases().push_back(added);
}

Formats Same(uint32_t bpp) {
    const uint32_t format = FormatOf(bpp);
    return {bpp, format, bpp, format, bpp, format};
}
Formats FromTo(uint32_t from, uint32_t fromFormat, uint32_t to, uint32_t toFormat) {
    return {from, fromFormat, from, fromFormat, to, toFormat};
}

void AddSameDepth(uint32_t bpp) {
    using Mat = cv::Mat;
    using Image = ref::Image;
    Add(
        "Equal", bpp, Same(bpp), "=", "setTo", [](const Four& f) { Maths()->Equal(f.Target(), nullptr, 0x00336699); },
        [](const Mat&, const Mat&, Mat& d, const Mat&) { d.setTo(cv::Scalar(0x33, 0x66, 0x99, 0)); },
        [](Image& d, const Image&, const Image&, const Image&) { ref::Equal(d, nullptr, 0x00336699); });
    Add(
        "Copy", bpp, Same(bpp), "=", "copyTo",
        [](const Four& f) { Maths()->Copy(f.Target(), f.First(), nullptr, 0, 0); },
        [](const Mat& a, const Mat&, Mat& d, const Mat&) { a.copyTo(d); },
        [](Image& d, const Image& a, const Image&, const Image&) { ref::Copy(d, a, 0, 0); });
    Add(
        "Add0", bpp, Same(bpp), "=", "add", [](const Four& f) { Maths()->Add(f.Target(), f.First(), f.Second(), 0); },
        [](const Mat& a, const Mat& b, Mat& d, const Mat&) { cv::add(a, b, d); },
        [](Image& d, const Image& a, const Image& b, const Image&) { ref::Add(d, a, b, 0); });
    Add(
        "Add3", bpp, Same(bpp), "=", "addWeighted",
        [](const Four& f) { Maths()->Add(f.Target(), f.First(), f.Second(), 3); },
        [](const Mat& a, const Mat& b, Mat& d, const Mat&) { cv::addWeighted(a, 1 / 3.0, b, 1 / 3.0, 0, d); },
        [](Image& d, const Image& a, const Image& b, const Image&) { ref::Add(d, a, b, 3); });
    Add(
        "Subtract1", bpp, Same(bpp), bpp == 8 ? "=" : "<", "absdiff (no count)",
        [](const Four& f) { Maths()->Subtract(f.Target(), f.First(), f.Second(), 1); },
        [](const Mat& a, const Mat& b, Mat& d, const Mat&) { cv::absdiff(a, b, d); },
        [](Image& d, const Image& a, const Image& b, const Image&) { ref::Subtract(d, a, b, 1); });
    Add(
        "AddScale", bpp, Same(bpp), "=", "addWeighted",
        [](const Four& f) { Maths()->AddScale(f.Target(), f.First(), f.Second(), nullptr, 0.6f, 0.4f, 3.0f); },
        [](const Mat& a, const Mat& b, Mat& d, const Mat&) { cv::addWeighted(a, 0.6, b, 0.4, 3, d); },
        [](Image& d, const Image& a, const Image& b, const Image&) { ref::AddScale(d, a, b, nullptr, 0.6f, 0.4f, 3); });
    Add(
        "AddScaleMask", bpp, Same(bpp), "=", "addWeighted and copyTo with a mask",
        [](const Four& f) { Maths()->AddScale(f.Target(), f.First(), f.Second(), f.Mask(), 0.6f, 0.4f, 3.0f); },
        [](const Mat& a, const Mat& b, Mat& d, const Mat& m) {
            static Mat sum;
            cv::addWeighted(a, 0.6, b, 0.4, 3, sum);
            sum.copyTo(d, m);
        },
        [](Image& d, const Image& a, const Image& b, const Image& m) { ref::AddScale(d, a, b, &m, 0.6f, 0.4f, 3); });
}

void AddConversions() {
    using Mat = cv::Mat;
    using Image = ref::Image;
    Add(
        "EqualMask", 32, Same(32), "=", "setTo with a mask",
        [](const Four& f) { Maths()->Equal(f.Target(), f.Mask(), 0x11336699); },
        [](const Mat&, const Mat&, Mat& d, const Mat& m) { d.setTo(cv::Scalar(0x99, 0x66, 0x33, 0x11), m); },
        [](Image& d, const Image&, const Image&, const Image& m) { ref::Equal(d, &m, 0x11336699); });
    Add(
        "AddScaleMix", 24, {24, FORMAT_BGR, 32, FORMAT_ARGB, 24, FORMAT_BGR}, "=", "cvtColor and addWeighted",
        [](const Four& f) { Maths()->AddScale(f.Target(), f.First(), f.Second(), nullptr, 0.6f, 0.4f, 3.0f); },
        [](const Mat& a, const Mat& b, Mat& d, const Mat&) {
            static Mat converted;
            cv::cvtColor(b, converted, cv::COLOR_BGRA2BGR);
            cv::addWeighted(a, 0.6, converted, 0.4, 3, d);
        },
        [](Image& d, const Image& a, const Image& b, const Image&) { ref::AddScale(d, a, b, nullptr, 0.6f, 0.4f, 3); });
    const auto copy = [](const Four& f) { Maths()->Copy(f.Target(), f.First(), nullptr, 0, 0); };
    const auto copyReference = [](Image& d, const Image& a, const Image&, const Image&) { ref::Copy(d, a, 0, 0); };
    Add(
        "Copy32>24", 32, FromTo(32, FORMAT_ARGB, 24, FORMAT_BGR), "=", "cvtColor", copy,
        [](const Mat& a, const Mat&, Mat& d, const Mat&) { cv::cvtColor(a, d, cv::COLOR_BGRA2BGR); }, copyReference);
    Add(
        "Copy16>24", 16, FromTo(16, FORMAT_BGR, 24, FORMAT_BGR), "=", "cvtColor", copy,
        [](const Mat& a, const Mat&, Mat& d, const Mat&) { cv::cvtColor(a, d, cv::COLOR_BGR5652BGR); }, copyReference);
    const auto scale = [](const Four& f) { Maths()->Scale(f.Target(), f.First(), nullptr, 0.4f, 10.0f); };
    const auto scaleReference = [](Image& d, const Image& a, const Image&, const Image&) {
        ref::Scale(d, a, nullptr, 0.4f, 10.0f);
    };
    Add(
        "Scale.m32>8", 32, FromTo(32, FORMAT_MONO, 8, FORMAT_MONO), "=", "convertTo", scale,
        [](const Mat& a, const Mat&, Mat& d, const Mat&) { a.convertTo(d, CV_8U, 0.4, 10); }, scaleReference);
    Add(
        "Scale.32>24", 32, FromTo(32, FORMAT_ARGB, 24, FORMAT_BGR), "=", "cvtColor and convertTo", scale,
        [](const Mat& a, const Mat&, Mat& d, const Mat&) {
            cv::cvtColor(a, d, cv::COLOR_BGRA2BGR);
            d.convertTo(d, -1, 0.4, 10);
        },
        scaleReference);
    Add(
        "Scale.24>8", 24, FromTo(24, FORMAT_BGR, 8, FORMAT_MONO), "~", "cvtColor to grey and convertTo", scale,
        [](const Mat& a, const Mat&, Mat& d, const Mat&) {
            cv::cvtColor(a, d, cv::COLOR_BGR2GRAY);
            d.convertTo(d, -1, 1.2, 10);
        },
        scaleReference);
    Add(
        "Scale.8>8", 8, Same(8), "=", "convertTo", scale,
        [](const Mat& a, const Mat&, Mat& d, const Mat&) { a.convertTo(d, -1, 0.4, 10); }, scaleReference);
    Add(
        "Scale8", 32, FromTo(32, FORMAT_MONO, 8, FORMAT_MONO), "=", "convertTo",
        [](const Four& f) { Maths()->Scale8(f.Target(), f.First(), 10, 0.4); },
        [](const Mat& a, const Mat&, Mat& d, const Mat&) { a.convertTo(d, CV_8U, 0.4, 10); },
        [](Image& d, const Image& a, const Image&, const Image&) { ref::Scale8(d, a, 10, 0.4); });
}

}  // namespace

void AddArithmeticCases() {
    for (const uint32_t bpp : {24u, 8u, 32u}) AddSameDepth(bpp);
    AddConversions();
}

}  // namespace bench
