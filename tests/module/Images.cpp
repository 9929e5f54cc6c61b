// What every operation meets, tried on the simplest one: any layout of rows, nothing written but pixels.
#include "support/Images.h"
#include "support/Module.h"

namespace {

class Images : public test::ModuleTest {};

TEST_F(Images, EveryLayoutOfRowsIsFollowed) {
    const auto colour = Make<IVELColorTransform>();
    test::RandomCases(300, [&](test::Random& random) {
        const ref::Image before = test::RandomImage(random, {.depths = {8}});
        SCOPED_TRACE(test::Describe(before));
        const auto image = test::TestImage::New(before, static_cast<size_t>(random.Int(0, 9)));
        ASSERT_EQ(colour->Negative(image.Get()), S_OK);
        ref::Image after = before;
        for (uint32_t y = 0; y < after.height; ++y) {
            for (uint32_t x = 0; x < after.width; ++x) after.Put(y, x, static_cast<uint8_t>(255 - before.Get(y, x)));
        }
        EXPECT_TRUE(test::SameBytes(after, image));
    });
}

}  // namespace
