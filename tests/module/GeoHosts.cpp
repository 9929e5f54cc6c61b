// Geometric transforms with hosts that refuse, fail and throw.
#include "support/Geometry.h"

namespace {

using test::Call;
using test::TestImage;

class GeoHosts : public test::GeometryTest {
protected:
    static SmartPtr<TestImage> Source(uint32_t depth = 24) {
        test::Random random(depth);
        return TestImage::New(test::RandomImage(random, 20, 15, 2, depth, ref::kBgr));
    }
    // An outcome that the caller can live with: an image of its own, or a failure and no image.
    static void ExpectImageOrFailure(const Maker& maker, const SmartPtr<TestImage>& source) {
        IVEL* out = nullptr;
        const HRESULT result = maker.run(source.Get(), &out);
        EXPECT_EQ(out != nullptr, result == S_OK) << result;
        if (out) Handed(out);
    }
};

TEST_F(GeoHosts, WithoutAnImageEveryOperationFails) {
    collection->refuseImages = true;
    const auto source = Source();
    for (const Maker& maker : Makers()) {
        IVEL* out = nullptr;
        EXPECT_EQ(maker.run(source.Get(), &out), E_FAIL) << maker.name;
        EXPECT_EQ(out, nullptr) << maker.name;
        EXPECT_EQ(source->Count(), 1u) << maker.name;
    }
}

TEST_F(GeoHosts, WithoutASourceEveryOperationFails) {
    for (const Maker& maker : Makers()) {
        IVEL* out = nullptr;
        EXPECT_EQ(maker.run(nullptr, &out), E_FAIL) << maker.name;
        EXPECT_EQ(out, nullptr) << maker.name;
    }
}

TEST_F(GeoHosts, WithoutADestinationNothingCrashesOrLeaks) {
    const auto source = Source();
    const ref::Image before = source->Content();
    for (const Maker& maker : Makers()) {
        const int alive = test::LiveObjects();
        maker.run(source.Get(), nullptr);
        EXPECT_LE(test::LiveObjects(), alive + 2) << maker.name;  // the kept component string and its kin
        EXPECT_EQ(source->Count(), 1u) << maker.name;
        EXPECT_EQ(source->Content().width, before.width) << maker.name;
    }
}

TEST_F(GeoHosts, ImagesThatCannotBeCreated) {
    for (const uint32_t depth : {1u, 8u, 16u, 24u, 32u}) {
        for (const bool silent : {false, true}) {
            collection->imageFaults = {};
            (silent ? collection->imageFaults.createSilent : collection->imageFaults.create) = true;
            const auto source = Source(depth);
            for (const Maker& maker : Makers()) {
                SCOPED_TRACE(testing::Message() << maker.name << ", " << depth << " bits, silent " << silent);
                IVEL* out = nullptr;
                const HRESULT result = maker.run(source.Get(), &out);
                if (std::string(maker.name) == "IncreaseBpp") {
                    // The one operation that hands on Create's failure.
                    EXPECT_EQ(result, depth == 32 ? S_FALSE : silent ? S_OK : E_FAIL);
                    if (out) out->Release();
                } else {
                    EXPECT_EQ(result, S_OK);
                    Handed(out);
                }
                EXPECT_EQ(source->Count(), 1u);
            }
        }
    }
}

TEST_F(GeoHosts, NewImagesThatGiveNoRows) {
    for (const bool refuse : {false, true}) {
        collection->imageFaults = {};
        (refuse ? collection->imageFaults.getBits : collection->imageFaults.nullBits) = true;
        const auto source = Source();
        for (const Maker& maker : Makers()) {
            SCOPED_TRACE(maker.name);
            ExpectImageOrFailure(maker, source);
            EXPECT_EQ(source->Count(), 1u);
        }
    }
}

TEST_F(GeoHosts, SourcesThatGiveNoRows) {
    for (const bool refuse : {false, true}) {
        const auto source = Source();
        (refuse ? source->faults.getBits : source->faults.nullBits) = true;
        for (const Maker& maker : Makers()) {
            SCOPED_TRACE(maker.name);
            ExpectImageOrFailure(maker, source);
            EXPECT_EQ(source->Count(), 1u);
        }
        EXPECT_EQ(transform->FlipBits(source.Get()), S_OK);
        EXPECT_EQ(FillVoids(source.Get()), S_OK);
        const auto other = Source();
        const ref::Image before = other->Content();
        EXPECT_EQ(transform->RotatePaste(other.Get(), source.Get(), 0.5, 4, 0), S_OK);
        EXPECT_EQ(transform->TransformPaste(identity.Get(), other.Get(), source.Get(), 0, 0, 1, 0), S_OK);
        EXPECT_EQ(transform->RotatePaste(source.Get(), other.Get(), 0.5, 4, 0), S_OK);
        EXPECT_EQ(transform->TransformPaste(identity.Get(), source.Get(), other.Get(), 0, 0, 1, 0), S_OK);
        EXPECT_TRUE(other->GuardsIntact());
    }
}

TEST_F(GeoHosts, SourcesWithoutSizeOrFormat) {
    for (const bool size : {false, true}) {
        const auto source = Source();
        (size ? source->faults.getSize : source->faults.getFormat) = true;
        const ref::Image before = source->Content();
        for (const Maker& maker : Makers()) {
            SCOPED_TRACE(maker.name);
            IVEL* out = nullptr;
            const HRESULT result = maker.run(source.Get(), &out);
            if (out) out->Release();
            EXPECT_TRUE(result == S_OK || result == E_FAIL || result == S_FALSE) << result;
            EXPECT_EQ(source->Count(), 1u);
        }
        transform->FlipBits(source.Get());
        FillVoids(source.Get());
        EXPECT_TRUE(test::SameBytes(before, source));
    }
}

// Whatever call throws: the exception arrives, and what was held is released.
TEST_F(GeoHosts, ExceptionsPassAndLeakNothing) {
    for (const Maker& maker : Makers()) {
        SCOPED_TRACE(maker.name);
        int thrown = 0;
        // Once without an accident, so that what the module keeps is there.
        {
            const auto source = Source();
            IVEL* out = nullptr;
            EXPECT_EQ(maker.run(source.Get(), &out), S_OK);
            if (out) out->Release();
        }
        const int alive = test::LiveObjects();
        for (const Call call : {Call::GetSize, Call::GetFormat, Call::GetBits, Call::Create, Call::FillColor,
                                Call::CreateInstance, Call::CreateObject}) {
            for (int skip = 0; skip < 2; ++skip) {
                for (const int where : {0, 1, 2}) {
                    const auto source = Source();
                    if (where == 0) source->bomb.Arm(call, skip);
                    if (where == 1) collection->imageBomb.Arm(call, skip);
                    if (where == 2) collection->bomb.Arm(call, skip);
                    IVEL* out = nullptr;
                    bool caught = false;
                    try {
                        maker.run(source.Get(), &out);
                    } catch (const test::HostError&) {
                        caught = true;
                        ++thrown;
                    }
                    collection->imageBomb = {};
                    collection->bomb = {};
                    // Resample hands its image over before it is finished.
                    if (caught && std::string(maker.name).rfind("Resample", 0) != 0) {
                        EXPECT_EQ(out, nullptr);
                    }
                    if (out) out->Release();
                    EXPECT_EQ(source->Count(), 1u);
                }
            }
        }
        EXPECT_GE(thrown, 5);
        EXPECT_EQ(test::LiveObjects(), alive);
    }
}

// The caller has the image before it takes over the source.
TEST_F(GeoHosts, ExceptionOfAssignLeavesTheImageWithTheCaller) {
    const auto source = Source();
    collection->imageBomb.Arm(Call::Assign);
    IVEL* out = nullptr;
    EXPECT_THROW(transform->Resample(source.Get(), &out, 20, 15, 0, 0), test::HostError);
    Handed(out);
    EXPECT_EQ(source->Count(), 1u);
}

TEST_F(GeoHosts, ExceptionsOfImagesThatAreChangedInPlace) {
    const auto other = Source();
    for (const Call call : {Call::GetSize, Call::GetFormat, Call::GetBits}) {
        const auto run = [&](const std::function<void(TestImage*)>& body) {
            const auto image = Source();
            image->bomb.Arm(call);
            EXPECT_THROW(body(image.Get()), test::HostError);
            EXPECT_EQ(image->Count(), 1u);
        };
        run([&](TestImage* image) { transform->FlipBits(image); });
        run([&](TestImage* image) { FillVoids(image); });
        run([&](TestImage* image) { transform->RotatePaste(other.Get(), image, 0.3, 4, 0); });
        run([&](TestImage* image) { transform->RotatePaste(image, other.Get(), 0.3, 4, 0); });
        run([&](TestImage* image) { transform->TransformPaste(identity.Get(), other.Get(), image, 0, 0, 0, 0); });
        run([&](TestImage* image) { transform->TransformPaste(identity.Get(), image, other.Get(), 0, 0, 0, 0); });
    }
    EXPECT_EQ(other->Count(), 1u);
}

// What each operation asks of Create: shape, planes and format.
TEST_F(GeoHosts, NewImagesAreCreatedOnceInTheStatedShape) {
    const auto source = Source();  // 20 x 15, 2 planes, 24 bits
    const std::vector<std::pair<std::string, test::CreateArguments>> expected = {
        {"Flip", {20, 15, 2, 24, ref::kBgr}},         {"Mirror", {20, 15, 2, 24, ref::kBgr}},
        {"Rotate 45", {25, 25, 2, 24, ref::kBgr}},    {"Rotate 90", {15, 20, 2, 24, ref::kBgr}},
        {"Rotate 180", {20, 15, 2, 24, ref::kBgr}},   {"Skew", {20, 15, 2, 24, ref::kBgr}},
        {"Resample down", {5, 4, 2, 24, ref::kBgr}},  {"Resample up", {40, 30, 2, 24, ref::kBgr}},
        {"IncreaseBpp", {20, 15, 2, 32, ref::kArgb}}, {"Quad", {7, 6, 1, 24, ref::kBgr}},
        {"Transform", {20, 15, 1, 24, ref::kBgr}}};
    size_t i = 0;
    for (const Maker& maker : Makers()) {
        IVEL* out = nullptr;
        EXPECT_EQ(maker.run(source.Get(), &out), S_OK);
        ASSERT_EQ(expected.at(i).first, maker.name);
        EXPECT_EQ(Handed(out)->log->created, (std::vector<test::CreateArguments>{expected[i].second})) << maker.name;
        ++i;
    }
    EXPECT_EQ(collection->images.size(), i);
}

}  // namespace
