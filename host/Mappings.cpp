#include "Mappings.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <Eigen/Dense>

#include "MappingText.h"
#include "Object.h"

namespace velhost {
namespace {

// A mapping object around a function of a point.
template <class Function>
class Mapped final : public Counted<Mapped<Function>, ITransform> {
public:
    explicit Mapped(Function function) : m_function(std::move(function)) {}
    HRESULT QueryInterface(const IID& iid, void** object) override {
        *object = nullptr;
        if (!(iid == IID_IUnknown) && !(iid == IID_ITransform)) return E_NOINTERFACE;
        *object = static_cast<ITransform*>(this);
        this->AddRef();
        return S_OK;
    }
    HRESULT TransformPoint(double* x, double* y, double* /*z*/) override {
        m_function(*x, *y);
        return S_OK;
    }

private:
    friend class Counted<Mapped, ITransform>;
    ~Mapped() = default;
    Function m_function;
};

template <class Function>
SmartPtr<ITransform> Make(Function function) {
    return SmartPtr<ITransform>::Adopt(new Mapped<Function>(std::move(function)));
}

struct AffineMap {
    double a, b, c, d, e, f;
    void operator()(double& x, double& y) const {
        const double oldX = x;
        x = a * oldX + b * y + c;
        y = d * oldX + e * y + f;
    }
};

struct ProjectiveMap {
    Eigen::Matrix3d matrix;
    void operator()(double& x, double& y) const {
        const Eigen::Vector3d point = matrix * Eigen::Vector3d(x, y, 1);
        x = point[0] / point[2];
        y = point[1] / point[2];
    }
};

// u and v as polynomials of x and y, in coordinates moved and scaled to about -1 to 1, where the powers stay small.
struct PolynomialMap {
    double middleX, middleY, scale;
    int degree;
    Eigen::MatrixX2d coefficients;

    static int Terms(int degree) { return (degree + 1) * (degree + 2) / 2; }
    // Calls term(value, index) for 1, x, y, x^2, x y, y^2, ...
    template <class Term>
    void ForEachTerm(double x, double y, Term&& term) const {
        const double s = (x - middleX) * scale, t = (y - middleY) * scale;
        const double sPowers[4] = {1, s, s * s, s * s * s}, tPowers[4] = {1, t, t * t, t * t * t};
        int at = 0;
        for (int order = 0; order <= degree; ++order) {
            for (int j = 0; j <= order; ++j) term(sPowers[order - j] * tPowers[j], at++);
        }
    }
    void operator()(double& x, double& y) const {
        double u = 0, v = 0;
        ForEachTerm(x, y, [&](double term, int i) {
            u += coefficients(i, 0) * term;
            v += coefficients(i, 1) * term;
        });
        x = u;
        y = v;
    }
};

struct LensMap {
    double k1, k2, k3, centreX, centreY, radius;
    void operator()(double& x, double& y) const {
        const double dx = x - centreX, dy = y - centreY;
        const double q = (dx * dx + dy * dy) / (radius * radius);
        const double factor = 1 + q * (k1 + q * (k2 + q * k3));
        x = centreX + dx * factor;
        y = centreY + dy * factor;
    }
};

struct GridMap {
    int columns, rows;
    double x0, y0, dx, dy;
    std::vector<PointPair> points;

    void operator()(double& x, double& y) const {
        const auto [i, s] = CellOf((x - x0) / dx, columns);
        const auto [j, t] = CellOf((y - y0) / dy, rows);
        const PointPair &a = At(i, j), &b = At(i + 1, j), &c = At(i, j + 1), &d = At(i + 1, j + 1);
        const auto blend = [&, s = s, t = t](size_t k) {
            const double top = a[k] + (b[k] - a[k]) * s, bottom = c[k] + (d[k] - c[k]) * s;
            return top + (bottom - top) * t;
        };
        x = blend(2);
        y = blend(3);
    }

private:
    const PointPair& At(int i, int j) const { return points[size_t(j) * size_t(columns) + size_t(i)]; }
    // The cell that a position lies in, the outer ones reaching on without end, and the position within it.
    static std::pair<int, double> CellOf(double position, int count) {
        const double cell = std::clamp(std::floor(position), 0.0, double(count - 2));
        const int index = cell >= 0 ? static_cast<int>(cell) : 0;  // what is no number stays in the first cell
        return {index, position - index};
    }
};

SmartPtr<ITransform> Refused(std::string* error, const std::string& reason) {
    *error = reason;
    return {};
}

SmartPtr<ITransform> MakeProjective(const MappingText& text, std::string* error) {
    if (text.points.size() != 4) {
        return Refused(error, "projective: four pairs are needed, not " + std::to_string(text.points.size()));
    }
    Eigen::Matrix<double, 8, 8> a;
    Eigen::Matrix<double, 8, 1> b;
    for (int i = 0; i < 4; ++i) {
        const auto [x, y, u, v] = text.points[size_t(i)];
        a.row(2 * i) << x, y, 1, 0, 0, 0, -u * x, -u * y;
        a.row(2 * i + 1) << 0, 0, 0, x, y, 1, -v * x, -v * y;
        b[2 * i] = u;
        b[2 * i + 1] = v;
    }
    const Eigen::FullPivLU<Eigen::Matrix<double, 8, 8>> solver(a);
    if (!solver.isInvertible()) return Refused(error, "projective: three of the points lie on one line");
    const Eigen::Matrix<double, 8, 1> h = solver.solve(b);
    ProjectiveMap map;
    map.matrix << h[0], h[1], h[2], h[3], h[4], h[5], h[6], h[7], 1;
    return Make(map);
}

SmartPtr<ITransform> MakePolynomial(const MappingText& text, std::string* error) {
    if (text.degree != 2 && text.degree != 3) return Refused(error, "polynomial: the degree is 2 or 3");
    const int terms = PolynomialMap::Terms(text.degree);
    const auto count = static_cast<Eigen::Index>(text.points.size());
    if (count < terms) {
        return Refused(error, "polynomial: degree " + std::to_string(text.degree) + " needs at least " +
                                  std::to_string(terms) + " pairs, not " + std::to_string(count));
    }
    PolynomialMap map{0, 0, 1, text.degree, {}};
    for (const PointPair& pair : text.points) {
        map.middleX += pair[0] / double(count);
        map.middleY += pair[1] / double(count);
    }
    double reach = 0;
    for (const PointPair& pair : text.points) {
        reach = std::max({reach, std::abs(pair[0] - map.middleX), std::abs(pair[1] - map.middleY)});
    }
    map.scale = reach > 0 ? 1 / reach : 1;
    Eigen::MatrixXd powers(count, terms);
    Eigen::MatrixX2d targets(count, 2);
    for (Eigen::Index i = 0; i < count; ++i) {
        const auto [x, y, u, v] = text.points[size_t(i)];
        map.ForEachTerm(x, y, [&](double term, int at) { powers(i, at) = term; });
        targets.row(i) << u, v;
    }
    const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> solver(powers);
    if (solver.rank() < terms)
        return Refused(error, "polynomial: the points lie too regularly to tell the terms apart");
    map.coefficients = solver.solve(targets);
    return Make(map);
}

SmartPtr<ITransform> MakeGrid(const MappingText& text, std::string* error) {
    const auto& n = text.numbers;
    if (text.columns < 2 || text.rows < 2) return Refused(error, "grid: at least 2 x 2 control points are needed");
    const uint64_t wanted = uint64_t(text.columns) * uint64_t(text.rows);
    if (text.points.size() != wanted) {
        return Refused(error, "grid: " + std::to_string(wanted) + " control points are needed, not " +
                                  std::to_string(text.points.size()));
    }
    if (n[2] == 0 || n[3] == 0) return Refused(error, "grid: the steps must not be 0");
    return Make(GridMap{text.columns, text.rows, n[0], n[1], n[2], n[3], text.points});
}

}  // namespace

SmartPtr<ITransform> MakeMapping(const std::string& text, std::string* error) {
    MappingText read;
    if (!ReadMappingText(text, &read, error)) return {};
    const auto& n = read.numbers;
    switch (read.type) {
        case MappingText::Identity: return Make(AffineMap{1, 0, 0, 0, 1, 0});
        case MappingText::Affine: return Make(AffineMap{n[0], n[1], n[2], n[3], n[4], n[5]});
        case MappingText::Projective: return MakeProjective(read, error);
        case MappingText::Polynomial: return MakePolynomial(read, error);
        case MappingText::Lens:
            if (!(n[5] > 0)) return Refused(error, "lens: the radius must be above 0");
            return Make(LensMap{n[0], n[1], n[2], n[3], n[4], n[5]});
        case MappingText::Grid: return MakeGrid(read, error);
    }
    return {};
}

std::string MappingForms() {
    return "identity, affine:a,b,c,d,e,f, projective:x,y=u,v;... (four pairs), polynomial:DEGREE;x,y=u,v;..., "
           "lens:k1,k2,k3,cx,cy,r, grid:CxR,x0,y0,dx,dy;u,v;... or @FILE.json";
}

}  // namespace velhost
