// One call through every layer of the test support.
#include "support/Images.h"
#include "support/Module.h"

namespace {

class Smoke : public test::ModuleTest {};

TEST_F(Smoke, NegativeOfOnePixel) {
    const auto image = test::TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{10, 20, 30}}));
    const auto colour = Make<IVELColorTransform>();
    EXPECT_EQ(colour->Negative(image.Get()), S_OK);
    EXPECT_TRUE(test::SameBytes(test::ImageOf(1, 24, ref::kBgr, {{245, 235, 225}}), image));
    EXPECT_EQ(image->Count(), 1u);
}

}  // namespace
