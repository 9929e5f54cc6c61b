// Convolutions whose kernel is a column of coefficients times a row of them.
#pragma once

#include "Coefficients.h"

namespace vel {

// The two factors of a kernel. A factor that is the same everywhere is flat: its sums slide from place to place at a
// cost that does not depend on its length.
class Factors {
public:
    explicit Factors(const Coefficients& coefficients);
    bool Ready() const { return m_down.Ready() && m_across.Data(); }
    // The kernel is such a product, and two sums are less work than one over all its taps.
    bool Worthwhile() const { return m_worthwhile; }

    const Coefficients& Down() const { return m_down; }                 // one column; all 1 when it is flat
    const uint32_t* Across() const { return m_across.As<uint32_t>(); }  // modulo 2^32
    bool FlatDown() const { return m_flatDown; }
    bool FlatAcross() const { return m_flatAcross; }

private:
    bool Split(const Coefficients& coefficients);
    void FindFlat();

    Coefficients m_down;
    int64_t m_columns;
    ScratchBuffer m_across;
    bool m_flatDown = false, m_flatAcross = false, m_worthwhile = false;
};

HRESULT ConvolveByFactors(const ImageView& target, const ImageView& source, const Window& window,
                          const Factors& factors, const Quotient& quotient);

}  // namespace vel
