// Coordinate mappings: what their texts and files mean, and what is refused.
#include "host/Mappings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

using velhost::MakeMapping;

struct Point {
    double x, y;
};

SmartPtr<ITransform> Made(const std::string& text) {
    std::string error;
    SmartPtr<ITransform> mapping = MakeMapping(text, &error);
    EXPECT_TRUE(mapping.Get()) << text << ": " << error;
    return mapping;
}

Point Map(const SmartPtr<ITransform>& mapping, double x, double y) {
    double z = 0;
    EXPECT_EQ(mapping->TransformPoint(&x, &y, &z), S_OK);
    return {x, y};
}

void ExpectMaps(const SmartPtr<ITransform>& mapping, double x, double y, double u, double v, double within = 1e-9) {
    const Point to = Map(mapping, x, y);
    EXPECT_NEAR(to.x, u, within) << "(" << x << ", " << y << ")";
    EXPECT_NEAR(to.y, v, within) << "(" << x << ", " << y << ")";
}

void ExpectRefused(const std::string& text, const std::string& says) {
    std::string error;
    EXPECT_FALSE(MakeMapping(text, &error).Get()) << text;
    EXPECT_NE(error.find(says), std::string::npos) << text << ": " << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
}

// "x,y=u,v;..." of a function at the points of a lattice.
template <class Function>
std::string Pairs(int columns, int rows, Function&& function) {
    std::string text;
    for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < columns; ++i) {
            const double x = 40.0 * i + 3 * j, y = 30.0 * j - 2 * i;
            const Point to = function(x, y);
            char pair[160];
            std::snprintf(pair, sizeof pair, "%s%.17g,%.17g=%.17g,%.17g", text.empty() ? "" : ";", x, y, to.x, to.y);
            text += pair;
        }
    }
    return text;
}

TEST(Mappings, IdentityLeavesPoints) { ExpectMaps(Made("identity"), 3.25, -7, 3.25, -7); }

TEST(Mappings, AffineIsTwoRowsOfThree) {
    const auto mapping = Made("affine:2,0.5,-3,-1,4,10");
    ExpectMaps(mapping, 5, 8, 2 * 5 + 0.5 * 8 - 3, -5 + 4 * 8 + 10);
    ExpectMaps(mapping, 0, 0, -3, 10);
}

TEST(Mappings, ObjectsAnswerForTheInterfaceAndAreCounted) {
    const auto mapping = Made("identity");
    void* other = nullptr;
    EXPECT_EQ(mapping->QueryInterface(IID_ITransform, &other), S_OK);
    EXPECT_EQ(other, mapping.Get());
    EXPECT_EQ(mapping->Release(), 1u);
    EXPECT_EQ(mapping->QueryInterface(IID_IVEL, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
}

TEST(Mappings, ProjectiveGoesThroughItsFourPairs) {
    const auto mapping = Made("projective:0,0=12,7;100,0=90,15;0,80=5,70;100,80=110,95");
    ExpectMaps(mapping, 0, 0, 12, 7);
    ExpectMaps(mapping, 100, 0, 90, 15);
    ExpectMaps(mapping, 0, 80, 5, 70);
    ExpectMaps(mapping, 100, 80, 110, 95);
}

TEST(Mappings, ProjectiveKeepsStraightLinesStraight) {
    const auto mapping = Made("projective:0,0=12,7;100,0=90,15;0,80=5,70;100,80=110,95");
    const Point a = Map(mapping, 10, 10), b = Map(mapping, 40, 30), c = Map(mapping, 85, 60);
    EXPECT_NEAR((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x), 0, 1e-8);
}

TEST(Mappings, ProjectiveWithPointsOnOneLineIsRefused) {
    ExpectRefused("projective:0,0=1,1;1,1=2,2;2,2=3,3;5,0=4,4", "line");
    ExpectRefused("projective:0,0=1,1;1,0=2,2;0,1=3,3", "four pairs");
}

TEST(Mappings, PolynomialReproducesOneOfItsDegree) {
    const auto quadratic = [](double x, double y) {
        return Point{3 + 1.1 * x - 0.2 * y + 0.001 * x * x - 0.002 * x * y, -4 + 0.1 * x + 0.9 * y + 0.003 * y * y};
    };
    const auto cubic = [&](double x, double y) {
        const Point p = quadratic(x, y);
        return Point{p.x + 1e-5 * x * x * y, p.y - 2e-5 * y * y * y};
    };
    const auto two = Made("polynomial:2;" + Pairs(4, 3, quadratic));
    const auto three = Made("polynomial:3;" + Pairs(5, 4, cubic));
    for (const Point p : {Point{0, 0}, Point{17.5, 42}, Point{110, -5}, Point{150, 100}}) {
        ExpectMaps(two, p.x, p.y, quadratic(p.x, p.y).x, quadratic(p.x, p.y).y, 1e-7);
        ExpectMaps(three, p.x, p.y, cubic(p.x, p.y).x, cubic(p.x, p.y).y, 1e-7);
    }
}

TEST(Mappings, PolynomialIsTheLeastSquaresOne) {
    // Two values at every point: the least squares lie half-way.
    const auto low = Pairs(4, 3, [](double x, double y) { return Point{x - 1, y + 3}; });
    const auto high = Pairs(4, 3, [](double x, double y) { return Point{x + 1, y - 3}; });
    ExpectMaps(Made("polynomial:2;" + low + ";" + high), 33, 21, 33, 21, 1e-8);
}

TEST(Mappings, PolynomialNeedsEnoughIndependentPairs) {
    ExpectRefused("polynomial:2;0,0=0,0;1,0=1,0;0,1=0,1;1,1=1,1;2,0=2,0", "at least 6 pairs");
    ExpectRefused("polynomial:3;" + Pairs(3, 3, [](double x, double y) { return Point{x, y}; }), "at least 10");
    ExpectRefused("polynomial:4;" + Pairs(4, 4, [](double x, double y) { return Point{x, y}; }), "2 or 3");
    ExpectRefused("polynomial:2;0,0=0,0;1,0=1,0;2,0=2,0;3,0=3,0;4,0=4,0;5,0=5,0;6,0=6,0", "too regularly");
}

TEST(Mappings, LensMovesPointsAlongTheirRadius) {
    const auto mapping = Made("lens:0.1,0.02,-0.003,50,40,100");
    ExpectMaps(mapping, 50, 40, 50, 40);
    ExpectMaps(mapping, 150, 40, 50 + 100 * (1 + 0.1 + 0.02 - 0.003), 40);
    const double q = 0.25;
    ExpectMaps(mapping, 50, -10, 50, 40 - 50 * (1 + 0.1 * q + 0.02 * q * q - 0.003 * q * q * q));
    ExpectRefused("lens:0.1,0,0,50,40,0", "radius");
}

TEST(Mappings, GridIsBilinearBetweenItsPoints) {
    const auto mapping = Made("grid:3x2,10,20,100,50;0,0;110,5;190,0;3,60;100,70;210,80");
    ExpectMaps(mapping, 10, 20, 0, 0);
    ExpectMaps(mapping, 110, 20, 110, 5);
    ExpectMaps(mapping, 210, 70, 210, 80);
    ExpectMaps(mapping, 60, 20, 55, 2.5);
    ExpectMaps(mapping, 60, 45, (0 + 110 + 3 + 100) / 4.0, (0 + 5 + 60 + 70) / 4.0);
}

TEST(Mappings, GridGoesOnBeyondItsOuterPoints) {
    const auto mapping = Made("grid:2x2,0,0,10,10;0,0;20,0;0,30;20,30");
    ExpectMaps(mapping, 15, 25, 30, 75);
    ExpectMaps(mapping, -5, -10, -10, -30);
    const Point nowhere = Map(mapping, std::nan(""), 1);
    EXPECT_TRUE(std::isnan(nowhere.x));
}

TEST(Mappings, GridNeedsAllItsPoints) {
    ExpectRefused("grid:2x2,0,0,10,10;0,0;20,0;0,30", "4 control points");
    ExpectRefused("grid:1x2,0,0,10,10;0,0;20,0", "2 x 2");
    ExpectRefused("grid:2x2,0,0,0,10;0,0;20,0;0,30;20,30", "steps");
}

TEST(Mappings, TextsThatFitNoFormAreRefused) {
    for (const char* text : {"", "affine", "affine:1,2,3", "affine:1,2,3,4,5,x", "affine:1,2,3,4,5,inf", "spiral:1",
                             "projective:1,2;3,4", "grid:2,0,0,1,1;0,0", "lens:1,2,3", "polynomial:two;1,1=1,1"}) {
        ExpectRefused(text, "allowed is");
    }
}

class MappingsFile : public testing::Test {
protected:
    std::string Written(const std::string& json) {
        m_path = testing::TempDir() + "mapping.json";
        std::ofstream(m_path) << json;
        return "@" + m_path;
    }
    void TearDown() override { std::remove(m_path.c_str()); }
    std::string m_path;
};

TEST_F(MappingsFile, EveryTypeMeansWhatItsTextMeans) {
    const struct {
        const char *json, *text;
    } cases[] = {
        {R"({"type": "identity"})", "identity"},
        {R"({"type": "affine", "matrix": [2, 0.5, -3, -1, 4, 10]})", "affine:2,0.5,-3,-1,4,10"},
        {R"({"type": "projective", "points": [[0,0,12,7],[100,0,90,15],[0,80,5,70],[100,80,110,95]]})",
         "projective:0,0=12,7;100,0=90,15;0,80=5,70;100,80=110,95"},
        {R"({"type": "polynomial", "degree": 2,
             "points": [[0,0,1,1],[9,0,8,1],[0,9,2,9],[9,9,9,9],[4,5,4,6],[2,6,3,7]]})",
         "polynomial:2;0,0=1,1;9,0=8,1;0,9=2,9;9,9=9,9;4,5=4,6;2,6=3,7"},
        {R"({"type": "lens", "k": [0.1, 0.02, 0], "centre": [50, 40], "radius": 100})", "lens:0.1,0.02,0,50,40,100"},
        {R"({"type": "grid", "columns": 2, "rows": 2, "origin": [0, 1], "step": [10, 20],
             "points": [[0,0],[20,0],[0,30],[21,31]]})",
         "grid:2x2,0,1,10,20;0,0;20,0;0,30;21,31"},
    };
    for (const auto& c : cases) {
        const auto fromFile = Made(Written(c.json)), fromText = Made(c.text);
        for (const Point p : {Point{0, 0}, Point{7, 3}, Point{-20, 55}}) {
            const Point want = Map(fromText, p.x, p.y);
            ExpectMaps(fromFile, p.x, p.y, want.x, want.y);
        }
    }
}

TEST_F(MappingsFile, FilesThatSayTooLittleAreRefused) {
    ExpectRefused(Written("{\"type\": \"affine\"}"), "matrix");
    ExpectRefused(Written("{\"type\": \"affine\", \"matrix\": [1, 2]}"), "6 numbers");
    ExpectRefused(Written("{\"type\": \"spiral\"}"), "spiral");
    ExpectRefused(Written("{\"type\": "), "mapping.json");
    ExpectRefused("@/no/such/file.json", "cannot be read");
}

}  // namespace
