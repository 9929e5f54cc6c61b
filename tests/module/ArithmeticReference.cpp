// Image arithmetic against the literal reference: depths and codes, layouts, planes, masks, one image in several roles.
#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "reference/Arithmetic.h"
#include "support/NewImages.h"

namespace {

using test::Random;
using test::TestImage;

// The images of one call, once for the module and once for the reference. Two roles may be filled by one image.
struct Cast {
    std::vector<ref::Image> before, expected;
    std::vector<SmartPtr<TestImage>> images;

    int Add(const ref::Image& content, Random& random) {
        before.push_back(content);
        expected.push_back(content);
        images.push_back(TestImage::New(content, static_cast<size_t>(random.Pick({0, 0, 1, 2, 5, 8}))));
        return static_cast<int>(images.size()) - 1;
    }
    TestImage* Image(int role) { return role < 0 ? nullptr : images[static_cast<size_t>(role)].Get(); }
    ref::Image* Expected(int role) { return role < 0 ? nullptr : &expected[static_cast<size_t>(role)]; }

    // `created`: the image that the operation created anew, or -1.
    void Check(int created = -1) {
        for (size_t i = 0; i < images.size(); ++i) {
            SCOPED_TRACE("image " + std::to_string(i) + ", before the call " + test::Describe(before[i]));
            EXPECT_EQ(images[i]->Count(), 1u);
            if (static_cast<int>(i) == created) {
                EXPECT_TRUE(test::SameNewImage(expected[i], images[i]->Content()));
            } else {
                EXPECT_TRUE(test::SameBytes(expected[i], images[i]));
            }
        }
    }
};

class ArithmeticReference : public test::ComponentTest<IVELMaths> {};

uint32_t AnyDepth(Random& random) {
    if (random.Chance(3)) return random.Pick({0u, 2u, 12u, 20u, 25u, 31u, 40u, 48u, 64u});
    return random.Pick({1u, 4u, 8u, 16u, 24u, 32u});
}

uint32_t AnyFormat(Random& random) { return random.Pick({ref::kMono, ref::kBgr, ref::kAbgr, ref::kArgb, uint32_t{0}}); }

uint32_t AnyPlanes(Random& random) { return random.Pick({1u, 1u, 1u, 2u, 3u}); }

// Now and then beyond any buffer for a part of a row.
uint32_t AnyWidth(Random& random) {
    return random.Chance(4) ? static_cast<uint32_t>(random.Int(1000, 6000)) : test::RandomSize(random, 140);
}

ref::Image AnyImage(Random& random) {
    return test::RandomImage(random, AnyWidth(random), test::RandomSize(random, 9), AnyPlanes(random), AnyDepth(random),
                             AnyFormat(random));
}

// Like the model, with another depth, code, size or plane count now and then.
ref::Image Companion(Random& random, const ref::Image& model, int percentOther) {
    const auto size = [&](uint32_t length) {
        if (!random.Chance(percentOther)) return length;
        return static_cast<uint32_t>(std::max(0, static_cast<int>(length) + random.Int(-6, 6)));
    };
    const uint32_t width = size(model.width), height = size(model.height);
    const uint32_t planes = random.Chance(percentOther) ? AnyPlanes(random) : model.planes;
    const uint32_t depth = random.Chance(percentOther) ? AnyDepth(random) : model.bitsPerPixel;
    const uint32_t format = random.Chance(percentOther) ? AnyFormat(random) : model.format;
    return test::RandomImage(random, width, height, planes, depth, format);
}

// One byte a pixel, mostly; about half of the pixels are selected.
ref::Image RandomMask(Random& random, uint32_t width, uint32_t height) {
    const uint32_t depth = random.Chance(80) ? 8 : AnyDepth(random);
    const int more = random.Chance(80) ? 0 : random.Int(-5, 5);
    ref::Image mask = test::RandomImage(random, static_cast<uint32_t>(std::max(0, static_cast<int>(width) + more)),
                                        static_cast<uint32_t>(std::max(0, static_cast<int>(height) + more)),
                                        AnyPlanes(random), depth, AnyFormat(random));
    for (std::vector<uint8_t>& plane : mask.store) {
        for (uint8_t& byte : plane) byte = static_cast<uint8_t>(byte & 3 ? (byte & 4 ? 0 : byte) : 0);
    }
    if (random.Chance(5)) mask.store.clear();
    return mask;
}

float AnyFactor(Random& random) {
    switch (random.Int(0, 5)) {
        case 0: return random.Pick({0.0f, -0.0f, 1.0f, -1.0f, 2.0f, 0.5f, 1e30f, -1e30f, 1e-40f});
        case 1:
            return random.Pick({std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max()});
        case 2: return static_cast<float>(random.Real(-300, 300));
        default: return static_cast<float>(random.Real(-2, 2));
    }
}

float AnyOffset(Random& random) {
    return random.Chance(80) ? static_cast<float>(random.Int(-2000, 2000)) / 8 : AnyFactor(random);
}

TEST_F(ArithmeticReference, Copy) {
    test::RandomCases(2500, [&](Random& random) {
        Cast cast;
        const int to = cast.Add(AnyImage(random), random);
        const int from =
            random.Chance(10)
                ? to
                : cast.Add(random.Chance(50) ? AnyImage(random) : Companion(random, cast.before[0], 20), random);
        const int x = random.Chance(50) ? 0 : random.Int(-2, static_cast<int>(cast.before[0].width) + 1);
        const int y = random.Chance(50) ? 0 : random.Int(-2, static_cast<int>(cast.before[0].height) + 1);
        SCOPED_TRACE("at " + std::to_string(x) + ", " + std::to_string(y));
        const int32_t code = ref::Copy(*cast.Expected(to), *cast.Expected(from), x, y);
        EXPECT_EQ(component->Copy(cast.Image(to), cast.Image(from), nullptr, x, y), code);
        cast.Check();
    });
}

TEST_F(ArithmeticReference, CopyOf16To24Bits) {
    test::RandomCases(300, [&](Random& random) {
        Cast cast;
        const uint32_t width = AnyWidth(random), height = test::RandomSize(random, 9);
        const int to = cast.Add(
            test::RandomImage(random, width, height, 1, 24, random.Pick({ref::kBgr, uint32_t{0}, ref::kArgb})), random);
        const int from =
            cast.Add(test::RandomImage(random, width, height, 1, 16, random.Chance(90) ? ref::kBgr : 0), random);
        const int32_t code = ref::Copy(*cast.Expected(to), *cast.Expected(from), 0, 0);
        EXPECT_EQ(component->Copy(cast.Image(to), cast.Image(from), nullptr, 0, 0), code);
        cast.Check();
    });
}

TEST_F(ArithmeticReference, Equal) {
    test::RandomCases(2000, [&](Random& random) {
        Cast cast;
        const int image = cast.Add(AnyImage(random), random);
        const ref::Image content = cast.before[0];
        int mask = -1;
        if (random.Chance(60)) mask = cast.Add(RandomMask(random, content.width, content.height), random);
        // Where monochrome rows are counted in words, a row and the bytes that select in it would mix.
        const bool words = content.format == ref::kMono && (content.bitsPerPixel == 16 || content.bitsPerPixel == 24);
        if (random.Chance(5) && !words) mask = image;
        const int value = static_cast<int>(static_cast<uint32_t>(random.Bits()));
        ref::Equal(*cast.Expected(image), cast.Expected(mask), value);
        EXPECT_EQ(component->Equal(cast.Image(image), cast.Image(mask), value), S_OK);
        cast.Check();
    });
}

TEST_F(ArithmeticReference, Add) {
    test::RandomCases(2000, [&](Random& random) {
        Cast cast;
        const int first = cast.Add(AnyImage(random), random);
        const int second =
            random.Chance(10) ? first : cast.Add(Companion(random, cast.before[0], random.Chance(60) ? 0 : 30), random);
        const int to = random.Chance(20) ? random.Pick({first, second}) : cast.Add(AnyImage(random), random);
        cast.images[static_cast<size_t>(to)]->recipe = test::RandomRecipe(random);
        // Where the destination is a source too, what it is made anew with may be read beyond a row.
        if (to == first || to == second) cast.images[static_cast<size_t>(to)]->recipe = {};
        const float divisor = random.Chance(40) ? random.Pick({0.0f, 2.0f, 1.0f, 4.0f}) : AnyFactor(random);
        SCOPED_TRACE("roles " + std::to_string(to) + " = " + std::to_string(first) + " + " + std::to_string(second) +
                     ", divisor " + std::to_string(divisor));
        const int32_t code = ref::Add(*cast.Expected(to), *cast.Expected(first), *cast.Expected(second), divisor);
        EXPECT_EQ(component->Add(cast.Image(to), cast.Image(first), cast.Image(second), divisor), code);
        cast.Check(code == ref::kOk ? to : -1);
    });
}

TEST_F(ArithmeticReference, Subtract) {
    test::RandomCases(2000, [&](Random& random) {
        Cast cast;
        const int first = cast.Add(AnyImage(random), random);
        const int second =
            random.Chance(10) ? first : cast.Add(Companion(random, cast.before[0], random.Chance(60) ? 0 : 30), random);
        // As large as the minuend or larger; sometimes in place.
        const ref::Image& model = cast.before[0];
        const int more = random.Pick({0, 0, 1, 7});
        const int to = random.Chance(25) ? first
                                         : cast.Add(test::RandomImage(random, model.width + static_cast<uint32_t>(more),
                                                                      model.height + static_cast<uint32_t>(more),
                                                                      model.planes, model.bitsPerPixel, model.format),
                                                    random);
        const int mode = random.Pick({0, 0, 1, 2, 3, 4, -1, INT_MIN, INT_MIN + 1});
        SCOPED_TRACE("roles " + std::to_string(to) + " = " + std::to_string(first) + " - " + std::to_string(second) +
                     ", mode " + std::to_string(mode));
        const int32_t code = ref::Subtract(*cast.Expected(to), *cast.Expected(first), *cast.Expected(second), mode);
        EXPECT_EQ(component->Subtract(cast.Image(to), cast.Image(first), cast.Image(second), mode), code);
        cast.Check();
    });
}

TEST_F(ArithmeticReference, AddScale) {
    test::RandomCases(3000, [&](Random& random) {
        Cast cast;
        const bool mixed = random.Chance(40);
        const uint32_t common = AnyWidth(random);
        const auto make = [&] {
            if (cast.before.empty() && !mixed) return AnyImage(random);
            if (!mixed) return Companion(random, cast.before[0], random.Chance(70) ? 0 : 30);
            const uint32_t width = random.Chance(70) ? common : AnyWidth(random);
            return test::RandomImage(random, width, test::RandomSize(random, 9), AnyPlanes(random),
                                     random.Pick({24u, 32u}), AnyFormat(random));
        };
        const int first = cast.Add(make(), random);
        const int second = random.Chance(10) ? first : cast.Add(make(), random);
        const int to = random.Chance(30) ? random.Pick({first, second}) : cast.Add(make(), random);
        const ref::Image& model = cast.before[static_cast<size_t>(to)];
        int mask = -1;
        if (random.Chance(50)) mask = cast.Add(RandomMask(random, model.width, model.height), random);
        if (random.Chance(5)) mask = random.Pick({to, first, second});
        const float a = AnyFactor(random), b = AnyFactor(random), offset = AnyOffset(random);
        SCOPED_TRACE("roles " + std::to_string(to) + " = " + std::to_string(first) + " + " + std::to_string(second) +
                     ", mask " + std::to_string(mask) + ", factors " + std::to_string(a) + ", " + std::to_string(b) +
                     ", offset " + std::to_string(offset));
        const int32_t code = ref::AddScale(*cast.Expected(to), *cast.Expected(first), *cast.Expected(second),
                                           cast.Expected(mask), a, b, offset);
        EXPECT_EQ(
            component->AddScale(cast.Image(to), cast.Image(first), cast.Image(second), cast.Image(mask), a, b, offset),
            code);
        cast.Check();
    });
}

TEST_F(ArithmeticReference, Scale) {
    test::RandomCases(4000, [&](Random& random) {
        Cast cast;
        const auto make = [&](bool like) {
            const ref::Image* model = like ? &cast.before[0] : nullptr;
            const bool other = random.Chance(30);
            return test::RandomImage(random, model && !other ? model->width : AnyWidth(random),
                                     model && !other ? model->height : test::RandomSize(random, 9), AnyPlanes(random),
                                     random.Chance(90) ? random.Pick({8u, 24u, 32u, 32u}) : AnyDepth(random),
                                     random.Chance(40) ? ref::kMono : AnyFormat(random));
        };
        const int from = cast.Add(make(false), random);
        if (cast.before[0].bitsPerPixel == 32 && random.Chance(60)) {
            // Integers of moderate size, so that not all results are clamped.
            for (ref::Image* image : {&cast.before[0], &cast.expected[0]}) {
                for (std::vector<uint8_t>& plane : image->store) {
                    for (size_t i = 0; i + 1 < plane.size(); i += 4) plane[i] &= 0x7F;
                }
                for (uint32_t y = 0; y < image->height; ++y) {
                    for (uint32_t x = 0; x < image->width; ++x) {
                        image->PutWord(y, 4 * x, static_cast<uint32_t>(image->GetWord(y, 4 * x) >> 20));
                    }
                }
            }
            cast.images[0]->SetContent(cast.before[0]);
        }
        const int to = random.Chance(15) ? from : cast.Add(make(true), random);
        const ref::Image& model = cast.before[static_cast<size_t>(to)];
        int mask = -1;
        if (random.Chance(40)) mask = cast.Add(RandomMask(random, model.width, model.height), random);
        if (random.Chance(5)) mask = random.Pick({to, from});
        const float factor = AnyFactor(random), offset = AnyOffset(random);
        SCOPED_TRACE("roles " + std::to_string(to) + " from " + std::to_string(from) + ", mask " +
                     std::to_string(mask) + ", factor " + std::to_string(factor) + ", offset " +
                     std::to_string(offset));
        const int32_t code = ref::Scale(*cast.Expected(to), *cast.Expected(from), cast.Expected(mask), factor, offset);
        EXPECT_EQ(component->Scale(cast.Image(to), cast.Image(from), cast.Image(mask), factor, offset), code);
        cast.Check();
    });
}

TEST_F(ArithmeticReference, Scale8) {
    test::RandomCases(1500, [&](Random& random) {
        Cast cast;
        ref::Image source = test::RandomImage(random, AnyWidth(random), test::RandomSize(random, 9), AnyPlanes(random),
                                              random.Chance(70) ? 32 : AnyDepth(random),
                                              random.Chance(90) ? ref::kMono : AnyFormat(random));
        if (random.Chance(50)) {
            for (uint32_t y = 0; y < source.height; ++y) {
                for (uint32_t x = 0; x < source.width; ++x)
                    source.PutWord(y, 4 * x, static_cast<uint32_t>(random.Int(-700, 700)));
            }
        }
        const int from = cast.Add(source, random);
        const int to = cast.Add(AnyImage(random), random);
        cast.images[static_cast<size_t>(to)]->recipe = test::RandomRecipe(random);
        const double factor = random.Chance(70) ? random.Real(-2, 2) : static_cast<double>(AnyFactor(random));
        const int offset = random.Chance(80) ? random.Int(-300, 300) : random.Pick({INT_MIN, INT_MAX, 0});
        SCOPED_TRACE(test::Describe(source) + ", factor " + std::to_string(factor) + ", offset " +
                     std::to_string(offset));
        const int32_t code = ref::Scale8(*cast.Expected(to), *cast.Expected(from), offset, factor);
        EXPECT_EQ(component->Scale8(cast.Image(to), cast.Image(from), offset, factor), code);
        cast.Check(code == ref::kOk ? to : -1);
    });
}

// Large images may be computed in another way than small ones.
TEST_F(ArithmeticReference, Scale8OfLargeImages) {
    test::RandomCases(24, [&](Random& random) {
        Cast cast;
        const uint32_t width = static_cast<uint32_t>(random.Int(256, 400));
        ref::Image source =
            test::RandomImage(random, width, static_cast<uint32_t>(random.Int(230, 270)), 1, 32, ref::kMono);
        const double factor =
            random.Pick({0.1, 0.25, 0.4, 0.5, 1.0 / 256, 1.0 / 257, random.Real(0, 0.5), random.Real(-1, 1)});
        const int offset = random.Pick({0, 10, random.Int(-400, 400)});
        for (uint32_t y = 0; y < source.height; ++y) {
            for (uint32_t x = 0; x < source.width; ++x) {
                // Around the integers whose products reach a level.
                const double step = std::round((random.Int(-2, 258) - offset) / factor) + random.Int(-1, 1);
                if (std::fabs(step) < 2e9) source.PutWord(y, 4 * x, static_cast<uint32_t>(static_cast<int32_t>(step)));
            }
        }
        const int from = cast.Add(source, random), to = cast.Add(AnyImage(random), random);
        SCOPED_TRACE(test::Describe(source) + ", factor " + std::to_string(factor) + ", offset " +
                     std::to_string(offset));
        const int32_t code = ref::Scale8(*cast.Expected(to), *cast.Expected(from), offset, factor);
        EXPECT_EQ(component->Scale8(cast.Image(to), cast.Image(from), offset, factor), code);
        cast.Check(to);
    });
}

// What the caller must not do has no result that could be compared, but it must not reach beyond the pixels either:
// the guards of the test images and the sanitizers watch.
TEST_F(ArithmeticReference, ImagesThatAreTooSmallDoNoHarm) {
    test::RandomCases(1500, [&](Random& random) {
        const ref::Image model = AnyImage(random);
        const auto image = [&] {
            ref::Image content = test::RandomImage(
                random, test::RandomSize(random, 20), test::RandomSize(random, 4), AnyPlanes(random),
                random.Pick({model.bitsPerPixel, model.bitsPerPixel, 1u, 8u, 24u, 32u}), model.format);
            if (random.Chance(10)) content.store.clear();
            return TestImage::New(content, static_cast<size_t>(random.Int(0, 7)));
        };
        const auto large = TestImage::New(model), other = TestImage::New(model), a = image(), b = image(), c = image();
        const float factor = AnyFactor(random), offset = AnyOffset(random);
        component->Subtract(a.Get(), large.Get(), other.Get(), random.Int(0, 3));
        component->Subtract(a.Get(), b.Get(), large.Get(), random.Int(0, 3));
        component->Equal(large.Get(), a.Get(), 0x01020304);
        component->AddScale(large.Get(), other.Get(), large.Get(), b.Get(), factor, offset, 1);
        component->Scale(large.Get(), other.Get(), c.Get(), factor, offset);
        component->Scale(a.Get(), large.Get(), b.Get(), factor, offset);
        component->Copy(a.Get(), large.Get(), nullptr, random.Int(0, 5), random.Int(0, 3));
        component->Copy(large.Get(), b.Get(), nullptr, random.Int(0, 5), random.Int(0, 3));
        component->Add(c.Get(), large.Get(), a.Get(), factor);
        component->Scale8(b.Get(), large.Get(), 3, 0.5);
        component->Scale8(other.Get(), other.Get(), 3, 0.5);
        for (const TestImage* each : {large.Get(), other.Get(), a.Get(), b.Get(), c.Get()}) {
            EXPECT_TRUE(each->GuardsIntact());
            EXPECT_EQ(each->Count(), 1u);
        }
    });
}

TEST_F(ArithmeticReference, AnExceptionOfTheHostLeaksNothing) {
    const ref::Image content = test::Flat(5, 4, 8, ref::kMono, 0x00101010);
    for (const test::Call call : {test::Call::GetSize, test::Call::GetFormat, test::Call::GetBits}) {
        for (int victim = 0; victim < 4; ++victim) {
            SmartPtr<TestImage> images[4];
            const auto each = [&](const auto& operation) {
                for (SmartPtr<TestImage>& image : images) image = TestImage::New(content);
                images[victim]->bomb.Arm(call);
                try {
                    operation();
                } catch (const test::HostError&) {
                }
                for (const SmartPtr<TestImage>& image : images) EXPECT_EQ(image->Count(), 1u);
            };
            each([&] { component->Equal(images[0].Get(), images[3].Get(), 7); });
            each([&] { component->Copy(images[0].Get(), images[1].Get(), nullptr, 0, 0); });
            each([&] {
                component->AddScale(images[0].Get(), images[1].Get(), images[2].Get(), images[3].Get(), 1, 1, 0);
            });
            each([&] { component->Scale(images[0].Get(), images[1].Get(), images[3].Get(), 1, 0); });
            each([&] { component->Subtract(images[0].Get(), images[1].Get(), images[2].Get(), 1); });
            each([&] { component->Add(images[0].Get(), images[1].Get(), images[2].Get(), 3); });
            each([&] { component->Scale8(images[0].Get(), images[1].Get(), 1, 2); });
        }
    }
}

}  // namespace
