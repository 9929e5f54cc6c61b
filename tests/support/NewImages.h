// Operations that make a new image: one call through the interface beside the same call of the reference.
#pragma once

#include <functional>
#include <string>

#include "reference/Made.h"
#include "support/Images.h"
#include "support/Module.h"

namespace test {

// The test image behind an interface that an operation handed out.
inline TestImage* Behind(IVEL* image) { return static_cast<TestImage*>(static_cast<IVELImageDIB*>(image)); }

// A new image: shape, pixels, and every other byte of its rows as Create left it.
testing::AssertionResult SameNewImage(const ref::Image& expected, const ref::Image& actual);

struct NewImageCall {
    std::string text;
    // `dest` null: the source takes the result over.
    std::function<HRESULT(IVEL* source, IVEL** dest)> module;
    std::function<ref::Made(const ref::Image& source)> reference;
};

enum class Delivery { OutputPointer, IntoSource };

// Makes both calls from the same state of rand(); compares result code, new image, source, reference counts, and how
// many numbers were drawn.
void Compare(const NewImageCall& call, const ref::Image& source, Delivery delivery, size_t misalign = 0);

// What the operation makes of the image, by the output pointer; a test failure when it makes none.
ref::Image Result(const std::function<HRESULT(IVEL* source, IVEL** dest)>& module, const ref::Image& source);

// Every pixel of the image has that colour word.
ref::Image Flat(uint32_t width, uint32_t height, uint32_t bitsPerPixel, uint32_t format, uint32_t colour);

// The image with other contents, as filters meet them: noise, few values (many equal samples), steps and ramps.
ref::Image Repainted(Random& random, ref::Image image);

// A test of one component, with an object of it.
template <class I>
class ComponentTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        component = Make<I>();
    }
    void TearDown() override {
        component.Clear();
        ModuleTest::TearDown();
    }
    // Another layout of the images that the collection makes.
    void RandomLayout(Random& random) { collection->recipe = RandomRecipe(random); }

    SmartPtr<I> component;
};

}  // namespace test
