// What the tests of the geometric transforms share.
#pragma once

#include <functional>
#include <vector>

#include "reference/Geometry.h"
#include "support/Images.h"
#include "support/Module.h"
#include "support/NewImages.h"

namespace test {

// A host's coordinate mapping that records the points it is asked for.
class TestMapping final : public Counted, public ITransform {
public:
    struct Point {
        double x, y, z;
        bool operator==(const Point&) const = default;
    };
    static SmartPtr<TestMapping> New(ref::Mapping map);

    std::vector<Point> points;  // as they arrived, in order
    int throwAt = -1;           // throws HostError from that call, counted from 0
    HRESULT answer = S_OK;

    HRESULT QueryInterface(const IID& iid, void** object) override;
    uint32_t AddRef() override { return Up(); }
    uint32_t Release() override;
    HRESULT TransformPoint(double* x, double* y, double* z) override;

private:
    explicit TestMapping(ref::Mapping map) : m_map(std::move(map)) {}
    ref::Mapping m_map;
};

class GeometryTest : public ModuleTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // From now on the module's new images and the reference's are laid out alike.
    void UseRecipe(const StoreRecipe& recipe);
    void UseRandomRecipe(Random& random) { UseRecipe(RandomRecipe(random)); }
    // Operations that only the class's own table holds.
    HRESULT Rotate4(IVEL* source, IVELImage* destination, int angle) const;
    HRESULT FillVoids(IVEL* image) const;

    // Takes over an image that an operation handed out: the one reference to it.
    static SmartPtr<TestImage> Handed(IVEL* image);

    // An operation on one image, with its other arguments filled in, that hands out a new one.
    struct Maker {
        const char* name;
        std::function<HRESULT(IVEL* source, IVEL** destination)> run;
    };
    // Every operation of a new image, Rotate by a general angle and by a quarter turn.
    std::vector<Maker> Makers() const;

    SmartPtr<IVELTransform> transform;
    SmartPtr<TestMapping> identity;
    ref::Host host;
};

// Memory for an 8-bit image of those values, one list per row.
ref::Image GreyImage(std::initializer_list<std::initializer_list<int>> rows);

}  // namespace test
