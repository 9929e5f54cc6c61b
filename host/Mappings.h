// Coordinate mappings that the host makes for transform and transform-paste.
//
// A mapping takes a point (x, y) in pixels, column to the right and row downwards, to another one (u, v). Its text
// forms:
//   identity
//   affine:a,b,c,d,e,f        u = a x + b y + c, v = d x + e y + f
//   projective:PAIRS          the plane-to-plane mapping through exactly four pairs
//   polynomial:DEGREE;PAIRS   degree 2 or 3 in x and y, by least squares over at least 6 or 10 pairs
//   lens:k1,k2,k3,cx,cy,r     radial distortion: (u, v) - c = ((x, y) - c) (1 + k1 q + k2 q^2 + k3 q^3), where q is the
//                             square of the distance from the centre c = (cx, cy) in units of r pixels
//   grid:CxR,x0,y0,dx,dy;u,v;u,v;...   C x R control points, row by row, standing at (x0 + i dx, y0 + j dy): bilinear
//                             between them, and beyond the outer ones continued from the nearest cell
//   @FILE                     a JSON file (below)
// PAIRS are x,y=u,v joined by semicolons: the point (x, y) goes to (u, v).
//
// JSON: {"type": "affine", "matrix": [a, b, c, d, e, f]}
//       {"type": "projective", "points": [[x, y, u, v], ...]}
//       {"type": "polynomial", "degree": 2, "points": [[x, y, u, v], ...]}
//       {"type": "lens", "k": [k1, k2, k3], "centre": [cx, cy], "radius": r}
//       {"type": "grid", "columns": C, "rows": R, "origin": [x0, y0], "step": [dx, dy], "points": [[u, v], ...]}
#pragma once

#include <string>

#include "Interface.h"
#include "SmartPtr.h"

namespace velhost {

// The mapping that the text describes, or null with one line on what is wrong. Mappings keep no state between calls, so
// several threads may use one.
SmartPtr<ITransform> MakeMapping(const std::string& text, std::string* error);

// What MakeMapping reads, in a few words.
std::string MappingForms();

}  // namespace velhost
