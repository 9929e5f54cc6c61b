// What a mapping's text or file says, before anything is solved.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace velhost {

// (x, y) goes to (u, v).
using PointPair = std::array<double, 4>;

struct MappingText {
    enum Type { Identity, Affine, Projective, Polynomial, Lens, Grid } type = Identity;
    std::vector<double> numbers;  // of affine (6), lens (6) and grid (x0, y0, dx, dy)
    int degree = 0;               // of a polynomial
    int columns = 0, rows = 0;    // of a grid
    // Pairs of projective and polynomial; of a grid's points only the last two are set.
    std::vector<PointPair> points;
};

// Reads one of the forms of Mappings.h. False with one line on what is wrong.
bool ReadMappingText(const std::string& text, MappingText* mapping, std::string* error);

}  // namespace velhost
