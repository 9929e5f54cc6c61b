// Every transcendental function that results depend on, so that one place decides how it is computed.
#pragma once

#include <math.h>

namespace UTILMath {

constexpr double kPi = 3.141592653589793;

inline double Pow(double base, double exponent) { return pow(base, exponent); }
inline float Exp(float x) { return expf(x); }
inline float Sin(float x) { return sinf(x); }
inline double Sin(double x) { return sin(x); }
inline float Cos(float x) { return cosf(x); }
inline double Cos(double x) { return cos(x); }
inline double Atan2(double y, double x) { return atan2(y, x); }
inline double Abs(double x) { return fabs(x); }
inline double Sqrt(double x) { return sqrt(x); }
inline float Sqrt(float x) { return sqrtf(x); }

}  // namespace UTILMath
