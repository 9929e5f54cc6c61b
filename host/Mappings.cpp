#include "Mappings.h"

#include <array>
#include <charconv>
#include <cmath>

#include "Object.h"

namespace velhost {
namespace {

// x' = m[0] x + m[1] y + m[2], y' = m[3] x + m[4] y + m[5]
class Affine final : public Counted<Affine, ITransform> {
public:
    explicit Affine(const std::array<double, 6>& matrix) : m_matrix(matrix) {}
    HRESULT QueryInterface(const IID& iid, void** object) override {
        *object = nullptr;
        if (iid == IID_IUnknown) {
            *object = static_cast<ITransform*>(this);
            AddRef();
            return S_OK;
        }
        VELHOST_ANSWER(ITransform)
        return E_NOINTERFACE;
    }
    HRESULT TransformPoint(double* x, double* y, double* /*z*/) override {
        const double oldX = *x, oldY = *y;
        *x = m_matrix[0] * oldX + m_matrix[1] * oldY + m_matrix[2];
        *y = m_matrix[3] * oldX + m_matrix[4] * oldY + m_matrix[5];
        return S_OK;
    }

private:
    friend class Counted<Affine, ITransform>;
    ~Affine() = default;
    std::array<double, 6> m_matrix;
};

constexpr std::string_view kAffine = "affine:";

}  // namespace

SmartPtr<ITransform> MakeMapping(const std::string& text, std::string* error) {
    std::array<double, 6> matrix{1, 0, 0, 0, 1, 0};
    if (text != "identity") {
        *error = "'" + text + "': allowed is " + MappingForms();
        if (!text.starts_with(kAffine)) return {};
        const char* at = text.data() + kAffine.size();
        const char* const end = text.data() + text.size();
        for (size_t i = 0; i < matrix.size(); ++i) {
            if (i > 0 && (at == end || *at++ != ',')) return {};
            const auto [next, code] = std::from_chars(at, end, matrix[i]);
            if (code != std::errc() || !std::isfinite(matrix[i])) return {};
            at = next;
        }
        if (at != end) return {};
        error->clear();
    }
    return SmartPtr<ITransform>::Adopt(new Affine(matrix));
}

std::string MappingForms() { return "identity or affine:a,b,c,d,e,f (x' = a x + b y + c, y' = d x + e y + f)"; }

}  // namespace velhost
