// Sums of weighted taps whose weights or whose order differ from Accumulate's, with a bound of how far they can be off.

static constexpr float kRounding = 1 / 16777216.0f;

// A twentieth covers that bounds are computed from rounded values themselves.
template <class Number>
static inline Number Tolerance(Number bound) {
    return bound * 1.05f;
}

// How far a channel's sum by rows, with approximate weights, can be from Accumulate's with exact ones. Accumulate
// rounds every product twice and every partial sum, each by at most 2^-24 of it; a partial sum exceeds the one before
// its row by at most 255 * |the row's weight| * (the sum of the columns' weights so far). What sums by rows add to that
// is said with each form; then comes what the approximation of the weights adds.
template <class Kind>
struct SumTolerance {
    typedef typename Kind::Number Number;

    Number columns, cumulated;  // the sum of the column weights' magnitudes; of its values after each column
    Number rows;                // of the row weights' magnitudes
    Number partial;             // sum over the rows of the largest channel's magnitude after the row

    void AddColumn(Number magnitude) {
        columns = columns + magnitude;
        cumulated = cumulated + columns;
    }
    // Each row's sum is rounded as often as Accumulate's is in a row, then multiplied and added to the sum.
    Number OfRowSums(int taps) const { return Of((columns * 2 + cumulated) * 2, static_cast<float>(taps + 1)); }
    // Each row's sum is a whole number that is rounded to single precision, multiplied and added without another
    // rounding. `error` is how far that number's weights are from the column weights.
    Number OfDigits(int taps, Number error) const {
        return Of(columns * 3 + cumulated, static_cast<float>(taps + 1)) + Tolerance(rows * error * 255.0f);
    }

private:
    Number Of(Number columnTerms, float partialTerms) const {
        const Number deviation = (columns + rows + kSeriesDeviation) * (255 * kSeriesDeviation);
        return Tolerance((rows * columnTerms * 255.0f + partial * partialTerms) * kRounding + deviation);
    }
};

struct SingleFloat {
    typedef float Number;
};

// doubts[k] goes up by 1 where a step is near.
template <int kPixelBytes, int kTaps>
static void GuardPlain(uint32_t* colours, uint32_t* doubts, const SampledPixels& source, const TapRun& taps,
                       size_t first, size_t last) {
    for (size_t k = first; k < last; ++k) {
        const uint8_t* row = source.bits + taps.offsets[k];
        float sums[kPixelBytes] = {};
        SumTolerance<SingleFloat> tolerance{};
        for (size_t i = 0; i < kTaps; ++i) tolerance.AddColumn(Magnitude(taps.columns[i * taps.columnPitch + k]));
        for (size_t j = 0; j < kTaps; ++j, row += source.stride) {
            const float rowWeight = taps.rows[j * taps.rowPitch + k];
            float largest = 0;
            for (size_t c = 0; c < kPixelBytes; ++c) {
                float sum = 0;
                for (size_t i = 0; i < kTaps; ++i) {
                    sum += taps.columns[i * taps.columnPitch + k] * static_cast<float>(row[i * kPixelBytes + c]);
                }
                sums[c] += rowWeight * sum;
                largest = Magnitude(sums[c]) > largest ? Magnitude(sums[c]) : largest;
            }
            tolerance.partial += largest;
            tolerance.rows += Magnitude(rowWeight);
        }
        colours[k] = ColourOfSums<kPixelBytes>(sums);
        bool near = false;
        for (const float sum : sums) near |= NearStep(sum, tolerance.OfRowSums(kTaps));
        doubts[k] += near ? 1 : 0;
    }
}
